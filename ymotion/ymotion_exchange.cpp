// Findings, tables and keys as JSON: what `YMotion` writes, or reads, beside files of scenes.

#include <optional>
#include <vector>

#include <fmt/format.h>

#include "ymotion/checking/scene_check.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/formats/keys_json.h"
#include "ymotion/motiondata.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/scene_copy.h"
#include "ymotion/tables/scene_table.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/stopping.h"
#include "ymotion/text/suggestion.h"

using namespace ymotion;

namespace {

YMotionFinding ReportOf(const Finding& finding)
{
    YMotionFinding report;
    report.isWrong = finding.isWrong;
    report.what = finding.what;
    report.text = finding.text;
    report.count = finding.count;
    report.path = finding.path;
    report.hasTime = finding.time.has_value();
    report.time = finding.time.value_or(YTIME_ZERO);
    report.line = finding.line;
    return report;
}

SceneTable TableOf(const Scene& scene, const YMotionTable& wanted)
{
    if (wanted.world && wanted.layers)
        throw Failure("joints in the world have no layers of their own; leave one of the two out",
                      kExitUsage);
    if (wanted.euler && !wanted.world)
        throw Failure("euler is about rotations in the world; ask for world as well", kExitUsage);
    SceneTable table;
    table.patterns = wanted.nodes;
    if (wanted.rate.IsValid()) table.rate = FrameRate{wanted.rate.numerator, wanted.rate.denominator};
    table.span = SpanBetween(scene, wanted.start, wanted.stop);
    table.frames = wanted.frames;
    table.layers = wanted.layers;
    table.world = wanted.world;
    table.euler = wanted.euler;
    return table;
}

/// Tables have at most so many rows, so that a wrong time fills neither the disk nor the memory.
constexpr std::int64_t kMostRows = 100'000'000;
constexpr std::int64_t kMostRowsOfText = 1'000'000;

void CheckRows(const Scene& scene, const SceneTable& table, std::int64_t most, const char* advice)
{
    if (LastFrame(table.span.Length(), table.rate.value_or(scene.rate)) < most) return;
    throw Failure(fmt::format("the table would have more than {} rows; {}", GroupedText(most), advice),
                  kExitUsage);
}

/// \param format  without its point
TableFormat FormatCalled(const std::string& format)
{
    std::vector<std::string> names;
    for (const std::string& ending : TableEndings()) {
        if (ending == "." + format) return TableFormatOf(ending);
        names.push_back(ending.substr(1));
    }
    throw Failure("the format " + NoneOf(format, names), kExitUsage);
}

std::vector<const Layer*> LayersOf(const Scene& scene, const std::vector<int>& ids)
{
    std::vector<const Layer*> layers;
    for (const int id : ids) layers.push_back(&LayerOf(scene, id));
    if (layers.empty()) layers.push_back(&scene.layers.Base());
    return layers;
}

}  // namespace

bool YMotion::Check(std::vector<YMotionFinding>& findings) const
{
    return Try([&] {
        const Data& data = Get();
        std::vector<YMotionFinding> found;
        for (const Finding& finding : CheckScene(data.scene, data.age)) found.push_back(ReportOf(finding));
        findings = std::move(found);
    });
}

bool YMotion::SaveTable(const char* path, const YMotionTable& table)
{
    return Try([&] {
        mNotes.clear();
        const Scene& scene = Get().scene;
        const std::string to = TextOf(path);
        const TableFormat format = TableFormatOf(EndingToWrite(to, TableEndings()));
        const SceneTable wanted = TableOf(scene, table);
        CheckRows(scene, wanted, kMostRows, "take a lower rate or less time");
        OutputFile out(to, [this](const std::string& note) { mNotes.push_back(note); });
        WriteTable(scene, wanted, format, out);
        StopIfAskedNow();
        out.Commit();
    });
}

bool YMotion::SaveTableText(std::string& text, const char* format, const YMotionTable& table) const
{
    return Try([&] {
        const Scene& scene = Get().scene;
        const TableFormat wanted = FormatCalled(TextOf(format));
        const SceneTable rows = TableOf(scene, table);
        CheckRows(scene, rows, kMostRowsOfText, "write it into a file, or take a lower rate or less time");
        OutputText out;
        WriteTable(scene, rows, wanted, out);
        text = out.Take();
    });
}

bool YMotion::SaveKeysText(std::string& text, const std::vector<std::string>& nodes,
                           const std::vector<int>& layers) const
{
    return Try([&] {
        const Scene& scene = Get().scene;
        OutputText out;
        WriteKeysJson(scene, SelectCurves(scene, nodes), LayersOf(scene, layers), out);
        text = out.Take();
    });
}

bool YMotion::LoadKeysText(const char* text, std::size_t size, const char* name, int* curves, int* keys)
{
    return Try([&] {
        Scene& scene = Get().scene;
        const std::string file = Printable(TextOf(name));
        // On a copy first, so that a text that does not fit changes nothing.
        Scene copy = CopyOf(scene);
        ReadKeysJson({text, size}, file, copy);
        StopIfAskedNow();
        const ImportedKeys read = ReadKeysJson({text, size}, file, scene);
        if (curves != nullptr) *curves = read.curves;
        if (keys != nullptr) *keys = read.keys;
    });
}
