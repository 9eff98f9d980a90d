#include <optional>
#include <tuple>

#include <pybind11/stl.h>

#include "python/bindings/bindings.h"

namespace yfpy {
namespace {

// --- Files ---------------------------------------------------------------------------------------------

OwnerPtr OwnerOf(YMotion&& scene)
{
    return std::make_shared<Owner>(std::move(scene));
}

OwnerPtr Load(const std::string& path)
{
    YMotion scene;
    if (!WithoutInterpreter([&] { return scene.Load(path.c_str()); })) RaiseErrorOf(scene, "FormatError");
    return OwnerOf(std::move(scene));
}

/// \param content  is not changed meanwhile, as it belongs to Python's own, unchangeable bytes
OwnerPtr LoadBytes(const py::bytes& content, const Text& name)
{
    YMotion scene;
    const char* const text = PyBytes_AS_STRING(content.ptr());
    const auto size = static_cast<std::size_t>(PyBytes_GET_SIZE(content.ptr()));
    if (!WithoutInterpreter([&] { return scene.LoadText(text, size, name.bytes.c_str()); }))
        RaiseErrorOf(scene, "FormatError");
    return OwnerOf(std::move(scene));
}

const char* FormatOf(const std::optional<std::string>& format)
{
    return format ? format->c_str() : nullptr;
}

void Save(Owner& owner, const std::string& path, const std::optional<std::string>& format, bool repair)
{
    const Use use(owner);
    YMotion& scene = *owner.Scene();
    if (!WithoutInterpreter([&] { return scene.Save(path.c_str(), FormatOf(format), repair); }))
        RaiseErrorOf(scene, "FileError");
}

py::bytes ToBytes(Owner& owner, const std::optional<std::string>& format)
{
    std::string content;
    {
        const Use use(owner);
        const YMotion& scene = *owner.Scene();
        if (!WithoutInterpreter([&] { return scene.SaveText(content, FormatOf(format)); }))
            RaiseErrorOf(scene, "FileError");
    }
    return py::bytes(content);
}

/// Content, path, name, format, whether it is packed, and the counts and lines of what was left out.
using State =
    std::tuple<py::bytes, py::bytes, py::bytes, int, bool, std::vector<std::pair<int, std::int64_t>>>;

State StateOf(Owner& owner)
{
    std::string content;
    YMotionOrigin origin;
    {
        const Use use(owner);
        const YMotion& scene = *owner.Scene();
        if (!WithoutInterpreter([&] { return scene.SaveText(content, "ytalo"); }))
            RaiseErrorOf(scene, "FileError");
        origin = scene.GetOrigin();
    }
    std::vector<std::pair<int, std::int64_t>> leftOut;
    for (const YMotionOrigin::LeftOut& each : origin.leftOut) leftOut.emplace_back(each.count, each.line);
    return {py::bytes(content), py::bytes(origin.path), py::bytes(origin.name),
            origin.format,      origin.isPacked,        leftOut};
}

OwnerPtr OfState(const State& state)
{
    const OwnerPtr owner = LoadBytes(std::get<0>(state), Text{"copy"});
    YMotionOrigin origin{std::get<1>(state), std::get<2>(state), std::get<3>(state), std::get<4>(state), {}};
    for (const auto& [count, line] : std::get<5>(state)) origin.leftOut.push_back({count, line});
    if (!owner->Scene()->SetOrigin(origin)) RaiseErrorOf(*owner->Scene(), "FormatError");
    return owner;
}

// --- What is in it -------------------------------------------------------------------------------------

template<class Act>
auto OfScene(Owner& owner, Purpose purpose, const Act& act)
{
    const Use use(owner, purpose);
    return act(*owner.Scene());
}

std::vector<Text> NotesOf(Owner& owner)
{
    return OfScene(owner, Purpose::Read, [](const YMotion& scene) { return TextsOf(scene.GetNotes()); });
}

NodePartPtr RootOf(const OwnerPtr& owner)
{
    const Use use(*owner);
    if (owner->Root() == nullptr) throw std::bad_alloc();
    return std::make_shared<NodePart>(owner, *owner->Root());
}

/// Name, parent, whether it is an end site, offset, node.
using JointRow = std::tuple<Text, int, bool, std::array<float, 3>, NodePartPtr>;

std::vector<JointRow> JointsOf(const OwnerPtr& owner)
{
    return OfScene(*owner, Purpose::Read, [&](const YMotion& scene) {
        std::vector<JointRow> rows;
        for (const YMotionJoint& joint : scene.GetJoints()) {
            const std::array<float, 3> offset{joint.offset[0], joint.offset[1], joint.offset[2]};
            NodePartPtr node;
            if (joint.node != nullptr) node = std::make_shared<NodePart>(owner, *joint.node);
            rows.emplace_back(Text{joint.name}, joint.parent, joint.isEndSite, offset, node);
        }
        return rows;
    });
}

using CurveRow = std::tuple<Text, CurvePartPtr, NodePartPtr>;

std::vector<CurveRow> CurvesOf(const OwnerPtr& owner, const std::vector<Text>& patterns)
{
    return OfScene(*owner, Purpose::Read, [&](const YMotion& scene) {
        std::vector<YMotionCurve> curves;
        if (!scene.GetCurves(curves, BytesOf(patterns))) RaiseErrorOf(scene, "NotFound");
        std::vector<CurveRow> rows;
        for (const YMotionCurve& curve : curves) {
            rows.emplace_back(Text{curve.path}, std::make_shared<CurvePart>(owner, *curve.curve),
                              std::make_shared<NodePart>(owner, *curve.property));
        }
        return rows;
    });
}

std::vector<NodePartPtr> NodesOf(const OwnerPtr& owner, const std::vector<Text>& patterns)
{
    return OfScene(*owner, Purpose::Read, [&](const YMotion& scene) {
        std::vector<YFCurveNode*> nodes;
        if (!scene.GetNodes(nodes, BytesOf(patterns))) RaiseErrorOf(scene, "NotFound");
        std::vector<NodePartPtr> parts;
        for (YFCurveNode* node : nodes) parts.push_back(std::make_shared<NodePart>(owner, *node));
        return parts;
    });
}

using Rate = std::pair<std::int32_t, std::int32_t>;

Rate RateOf(Owner& owner)
{
    const YFrameRate rate =
        OfScene(owner, Purpose::Read, [](const YMotion& scene) { return scene.GetFrameRate(); });
    return {rate.numerator, rate.denominator};
}

void SetRate(Owner& owner, const Rate& rate)
{
    OfScene(owner, Purpose::Edit, [&](YMotion& scene) {
        if (!scene.SetFrameRate({rate.first, rate.second})) RaiseErrorOf(scene, "Refused");
    });
}

std::optional<std::pair<std::int64_t, std::int64_t>> SpanOf(Owner& owner)
{
    using Span = std::optional<std::pair<std::int64_t, std::int64_t>>;
    return OfScene(owner, Purpose::Read, [](const YMotion& scene) -> Span {
        YTime start;
        YTime stop;
        if (!scene.GetSpan(start, stop)) return std::nullopt;
        return std::pair(start.Get(), stop.Get());
    });
}

}  // namespace

void AddScenes(py::module_& module)
{
    py::class_<Owner, OwnerPtr> scene(module, "Scene");
    scene.def(py::init([] { return OwnerOf(YMotion()); }));
    scene.def_static("load", Load);
    scene.def_static("load_bytes", LoadBytes);
    scene.def("save", Save);
    scene.def("to_bytes", ToBytes);
    scene.def("state", StateOf);
    scene.def_static("of_state", OfState);
    scene.def("notes", NotesOf);
    scene.def("root", RootOf);
    scene.def("joints", JointsOf);
    scene.def("curves", CurvesOf);
    scene.def("nodes", NodesOf);
    scene.def("rate", RateOf);
    scene.def("set_rate", SetRate);
    scene.def("span", SpanOf);
}

}  // namespace yfpy
