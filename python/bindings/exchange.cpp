#include <optional>
#include <tuple>

#include <pybind11/stl.h>

#include "python/bindings/bindings.h"

namespace yfpy {
namespace {

// --- Findings ------------------------------------------------------------------------------------------

py::list Check(Owner& owner)
{
    std::vector<YMotionFinding> findings;
    {
        const Use use(owner);
        const YMotion& scene = *owner.Scene();
        if (!WithoutInterpreter([&] { return scene.Check(findings); })) RaiseErrorOf(scene, "Refused");
    }
    using namespace py::literals;
    py::list list;
    for (const YMotionFinding& finding : findings) {
        const auto ticks = finding.hasTime ? std::optional(finding.time.Get()) : std::nullopt;
        list.append(py::dict("is_wrong"_a = finding.isWrong, "what"_a = finding.what,
                             "text"_a = Text{finding.text}, "count"_a = finding.count,
                             "path"_a = Text{finding.path}, "ticks"_a = ticks, "line"_a = finding.line));
    }
    return list;
}

// --- Tables --------------------------------------------------------------------------------------------

/// Patterns, rate, start, stop, and whether there are frames, layers, the world, angles in it.
using TableRow = std::tuple<Choices, std::optional<std::pair<std::int32_t, std::int32_t>>, std::int64_t,
                            std::int64_t, bool, bool, bool, bool>;

YMotionTable TableOf(const Owner& owner, const TableRow& row)
{
    const auto& [nodes, rate, start, stop, frames, layers, world, euler] = row;
    YMotionTable table;
    table.nodes = PatternsOf(owner, nodes);
    if (rate) table.rate = {rate->first, rate->second};
    table.start = YTime(start);
    table.stop = YTime(stop);
    table.frames = frames;
    table.layers = layers;
    table.world = world;
    table.euler = euler;
    return table;
}

void SaveTable(Owner& owner, const std::string& path, const TableRow& row)
{
    const Use use(owner);
    const YMotionTable table = TableOf(owner, row);
    YMotion& scene = *owner.Scene();
    // A scene without joints is no fault of the file.
    std::vector<YMotionPose> none;
    if (table.world && !scene.GetPoses(none, {})) RaiseErrorOf(scene, "Refused");
    if (!WithoutInterpreter([&] { return scene.SaveTable(path.c_str(), table); }))
        RaiseErrorOf(scene, "FileError");
}

Text TableText(Owner& owner, const Text& format, const TableRow& row)
{
    const Use use(owner);
    const YMotionTable table = TableOf(owner, row);
    const YMotion& scene = *owner.Scene();
    Text text;
    if (!WithoutInterpreter([&] { return scene.SaveTableText(text.bytes, format.bytes.c_str(), table); }))
        RaiseErrorOf(scene, "Refused");
    return text;
}

// --- Keys ----------------------------------------------------------------------------------------------

Text KeysText(Owner& owner, const Choices& nodes, const std::vector<int>& layers)
{
    const Use use(owner);
    const YMotion& scene = *owner.Scene();
    const std::vector<std::string> patterns = PatternsOf(owner, nodes);
    Text text;
    if (!WithoutInterpreter([&] { return scene.SaveKeysText(text.bytes, patterns, layers); }))
        RaiseErrorOf(scene, "Refused");
    return text;
}

/// \return  how many curves and keys were read
std::pair<int, int> LoadKeys(Owner& owner, const Text& text, const Text& name)
{
    const Use use(owner, Purpose::Edit, "import keys");
    YMotion& scene = *owner.Scene();
    std::pair<int, int> read;
    const bool isRead = WithoutInterpreter([&] {
        return scene.LoadKeysText(text.bytes.data(), text.bytes.size(), name.bytes.c_str(), &read.first,
                                  &read.second);
    });
    if (!isRead) RaiseErrorOf(scene, "FormatError");
    return read;
}

}  // namespace

void AddExchange(py::module_& module)
{
    module.def("check", Check);
    module.def("save_table", SaveTable);
    module.def("table_text", TableText);
    module.def("keys_text", KeysText);
    module.def("load_keys", LoadKeys);
}

}  // namespace yfpy
