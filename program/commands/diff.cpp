#include <unistd.h>

#include <cmath>
#include <memory>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "program/commands/command.h"
#include "program/scene_work.h"
#include "program/terminal/messages.h"
#include "program/terminal/terminal.h"
#include "ymotion/compare/scene_diff.h"
#include "ymotion/filtering/filter_report.h"
#include "ymotion/filtering/world_report.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

using Json = nlohmann::ordered_json;

struct DiffOptions
{
    std::string a;
    std::string b;
    double tolerance = 0;
    bool orientation = false;
    bool world = false;
    bool json = false;
};

std::string ValueText(float value)
{
    std::string text;
    AppendFloat(text, value);
    return text;
}

/// "3 are in b.bvh only"; nothing for none.
void AddOnlyIn(std::vector<std::string>& parts, std::size_t count, const Scene& scene)
{
    if (count > 0) parts.push_back(fmt::format("{} in {} only", Counted(count, "is", "are"), scene.file));
}

/// "126 curves compared: 3 differ, by up to 0.25 degrees ...; 1 is in a.bvh only".
std::string SummaryLine(const SceneDifference& difference, const Scene& a, const Scene& b)
{
    std::string text = fmt::format("{} compared ({})", Counted(difference.compared, "curve", "curves"),
                                   Counted(difference.keys, "key", "keys"));
    if (difference.IsEmpty()) return text + ": no difference";
    std::vector<std::string> parts;
    if (const ValueDifference* largest = difference.Largest()) {
        parts.push_back(fmt::format("{}, most of all {} by {:.6g}",
                                    Counted(difference.values.size(), "differs", "differ"),
                                    largest->curve.Text(), largest->Size()));
    }
    AddOnlyIn(parts, difference.onlyA.size(), a);
    AddOnlyIn(parts, difference.onlyB.size(), b);
    if (!difference.settings.empty()) {
        parts.push_back(Counted(difference.settings.size(), "setting differs", "settings differ"));
    }
    return fmt::format("{}: {}", text, fmt::join(parts, "; "));
}

/// A line about a curve or joint, whose name loses its beginning where the line would be too long.
std::string LineAbout(const std::string& name, const std::string& words, std::size_t columns)
{
    return fmt::format("{}: {}\n", EndOf(name, RoomBeside(DisplayWidth(words) + 2, columns)), words);
}

std::string CurveLine(const CurveName& curve, const std::string& words, std::size_t columns)
{
    return LineAbout(curve.Text(), words, columns);
}

// --- Joints in the world -------------------------------------------------------------------------------

/// "Hips/Head: 0.123 units apart at 0.5 s (15f), 0.05 on average".
std::string JointLine(const JointError& joint, FrameRate rate, std::size_t columns, const char* where = "")
{
    std::string words =
        fmt::format("has no place in one of the files at {}", TimeWithFrame(joint.when, rate));
    if (std::isfinite(joint.largest)) {
        words = fmt::format("{} apart{} at {}, {} on average", DistanceText(joint.largest), where,
                            TimeWithFrame(joint.when, rate), ErrorText(joint.Mean(), ""));
    }
    return LineAbout(Printable(joint.name), words, columns);
}

/// The joint that is farthest apart, where any is.
std::string FarthestLine(const WorldDifference& difference, FrameRate rate, std::size_t columns)
{
    const JointError* largest = difference.Largest();
    return largest == nullptr ? std::string() : JointLine(*largest, rate, columns, " in the world");
}

/// "12 joints compared in the world: 2 are apart, most of all Hips/Head by 0.25 units; 1 is in a.bvh only".
std::string SummaryLine(const WorldDifference& difference, const Scene& a, const Scene& b)
{
    const std::string text =
        fmt::format("{} compared in the world", Counted(difference.compared, "joint", "joints"));
    if (difference.IsEmpty()) return text + ": no difference";
    std::vector<std::string> parts;
    if (const JointError* largest = difference.Largest()) {
        const std::string name = Printable(largest->name);
        const std::string most =
            std::isfinite(largest->largest)
                ? fmt::format("most of all {} by {}", name, DistanceText(largest->largest))
                : fmt::format("{} has no place in one of the files", name);
        parts.push_back(
            fmt::format("{}, {}", Counted(difference.joints.size(), "is apart", "are apart"), most));
    }
    AddOnlyIn(parts, difference.onlyA.size(), a);
    AddOnlyIn(parts, difference.onlyB.size(), b);
    return fmt::format("{}: {}", text, fmt::join(parts, "; "));
}

std::string TextOf(const WorldDifference& difference, const Scene& a, const Scene& b, std::size_t columns)
{
    std::string text;
    for (const std::string& path : difference.onlyA)
        text += LineAbout(Printable(path), "only in " + a.file, columns);
    for (const std::string& path : difference.onlyB)
        text += LineAbout(Printable(path), "only in " + b.file, columns);
    for (const JointError& joint : difference.joints) text += JointLine(joint, a.rate, columns);
    return text + Wrapped(SummaryLine(difference, a, b), columns, 2) + "\n";
}

/// What every comparison begins with.
Json JsonStart(bool equal, const Scene& a, const Scene& b, double tolerance)
{
    Json json;
    json["files"] = {a.file, b.file};
    json["tolerance"] = tolerance;
    json["equal"] = equal;
    return json;
}

Json JointsJson(const WorldDifference& difference)
{
    Json json = Json::array();
    for (const JointError& joint : difference.joints) {
        json.push_back({{"joint", Printable(joint.name)},
                        {"time", joint.when.GetSecondDouble()},
                        {"difference", NumberOrNull(joint.largest)},
                        {"mean", NumberOrNull(joint.Mean())}});
    }
    return json;
}

std::string JsonOf(const WorldDifference& difference, const Scene& a, const Scene& b, double tolerance)
{
    Json json = JsonStart(difference.IsEmpty(), a, b, tolerance);
    json["jointsCompared"] = difference.compared;
    json["joints"] = JointsJson(difference);
    json["only"] = Json::array({Json::array(), Json::array()});
    for (const std::string& path : difference.onlyA) json["only"][0].push_back({{"path", Printable(path)}});
    for (const std::string& path : difference.onlyB) json["only"][1].push_back({{"path", Printable(path)}});
    return json.dump(2) + "\n";
}

// --- Curves --------------------------------------------------------------------------------------------

std::string WordsOf(const ValueDifference& value)
{
    const CurveDifference& largest = value.largest;
    if (value.turn)
        return fmt::format("{:.6g} degrees apart at {} s", *value.turn, SecondsText(largest.time));
    return fmt::format("{} and {} at {} s, {:.6g} apart", ValueText(largest.a), ValueText(largest.b),
                       SecondsText(largest.time), largest.Size());
}

std::string TextOf(const SceneDifference& difference, const Scene& a, const Scene& b, std::size_t columns)
{
    std::string text;
    for (const SettingDifference& setting : difference.settings) {
        std::string line = fmt::format("{}: {} and {}", setting.what, setting.a, setting.b);
        if (setting.a.empty() || setting.b.empty())
            line = fmt::format("{}: only in {}", setting.what, setting.a.empty() ? b.file : a.file);
        text += Wrapped(line, columns, 2) + "\n";
    }
    for (const CurveName& curve : difference.onlyA) text += CurveLine(curve, "only in " + a.file, columns);
    for (const CurveName& curve : difference.onlyB) text += CurveLine(curve, "only in " + b.file, columns);
    for (const ValueDifference& value : difference.values)
        text += CurveLine(value.curve, WordsOf(value), columns);
    if (difference.world) text += FarthestLine(*difference.world, a.rate, columns);
    return text + Wrapped(SummaryLine(difference, a, b), columns, 2) + "\n";
}

Json CurveJson(const CurveName& curve)
{
    Json json;
    json["path"] = Printable(curve.path);
    if (!curve.layer.empty()) json["layer"] = Printable(curve.layer);
    return json;
}

/// Not-a-number and infinity, which JSON does not have, become null.
std::string JsonOf(const SceneDifference& difference, const Scene& a, const Scene& b, double tolerance)
{
    Json json = JsonStart(difference.IsEmpty(), a, b, tolerance);
    json["curvesCompared"] = difference.compared;
    json["keysCompared"] = difference.keys;
    json["differences"] = Json::array();
    for (const ValueDifference& value : difference.values) {
        Json item = CurveJson(value.curve);
        item["time"] = value.largest.time.GetSecondDouble();
        if (!value.turn) item["values"] = {value.largest.a, value.largest.b};
        item["difference"] = value.Size();
        json["differences"].push_back(std::move(item));
    }
    json["only"] = Json::array({Json::array(), Json::array()});
    for (const CurveName& curve : difference.onlyA) json["only"][0].push_back(CurveJson(curve));
    for (const CurveName& curve : difference.onlyB) json["only"][1].push_back(CurveJson(curve));
    json["settings"] = Json::array();
    for (const SettingDifference& setting : difference.settings) {
        json["settings"].push_back({{"setting", setting.what}, {"values", {setting.a, setting.b}}});
    }
    if (difference.world) json["joints"] = JointsJson(*difference.world);
    return json.dump(2) + "\n";
}

void RunDiff(const DiffOptions& options)
{
    RefuseSameStandardInput(options.a, options.b);
    const Scene a = LoadScene(options.a);
    const Scene b = LoadScene(options.b);
    const std::size_t columns = LineColumns(STDOUT_FILENO);
    if (options.world) {
        const WorldDifference difference = CompareWorlds(a, b, options.tolerance);
        SaveText("-", options.json ? JsonOf(difference, a, b, options.tolerance)
                                   : TextOf(difference, a, b, columns));
        if (!difference.IsEmpty()) throw Verdict{kExitFailure};
        return;
    }
    const SceneDifference difference = CompareScenes(a, b, options.tolerance, options.orientation);
    SaveText("-",
             options.json ? JsonOf(difference, a, b, options.tolerance) : TextOf(difference, a, b, columns));
    if (!difference.IsEmpty()) throw Verdict{kExitFailure};
}

}  // namespace

void AddDiffCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<DiffOptions>();
    CLI::App* command = program.add_subcommand("diff", "Compare two motion files curve by curve");
    command->add_option("A", options->a, "a motion file; - for standard input")->required()->type_name("");
    command->add_option("B", options->b, "another one")->required()->type_name("");
    command
        ->add_option_function<std::string>(
            "--tolerance",
            [options](const std::string& text) {
                options->tolerance = ParseNonNegative("--tolerance", text);
            },
            "values that are at most so far apart count as equal (default: 0, not at all)")
        ->type_name("X");
    CLI::Option* orientation =
        command->add_flag("--orientation", options->orientation,
                          "compare rotations by the angle between the orientations, in degrees");
    command->add_flag("--world", options->world, "compare where joints are in the world, and nothing else")
        ->excludes(orientation);
    AddJsonFlag(*command, options->json);
    AddReadingOptions(*command);
    command->footer(
        "Curves are paired by their path and layer, and compared at every key of either file and at three\n"
        "times between neighbouring keys; for each one that differs, the largest difference is shown. How\n"
        "the keys are made does not matter as long as the values are the same. Compared as well are what\n"
        "curves do before and after their keys, layers, frame rate and skeleton. The formats may differ.\n"
        "\n"
        "With --orientation a rotation counts as a whole, as it plays: at every key and frame the angle\n"
        "between the two orientations is taken, each in its own rotation order. Turns by 360 degrees and\n"
        "other angles for the same orientation are no difference then. Rotations have no values in JSON.\n"
        "How far joints are apart in the world is told besides.\n"
        "\n"
        "With --world the distances between joints of the same path are taken, in the units of the files:\n"
        "at every key, at every frame of A and half-way between. Those that rounded angles make along the\n"
        "bones count as none.\n"
        "\n"
        "The JSON object has the members files, tolerance, equal, curvesCompared, keysCompared,\n"
        "differences (path, layer, time, values, difference), only (curves of either file), settings and,\n"
        "with --orientation, joints (joint, time, difference, mean). With --world they are files,\n"
        "tolerance, equal, jointsCompared, joints and only (joints of either file).\n"
        "\n"
        "Exit status: 0 no difference; 1 a difference, or a file could not be read; 2 wrong usage.\n"
        "\n"
        "Examples:\n"
        "  yfcurve diff walk.bvh walk.ytalo\n"
        "  yfcurve diff walk.bvh unrolled.bvh --orientation --tolerance 0.01\n"
        "  yfcurve diff walk.bvh reduced.bvh --world --tolerance 0.1\n"
        "  yfcurve diff before.ytalo after.ytalo --tolerance 0.01 --json | jq '.differences[].path'");
    command->callback([options, &chosen] { chosen = [options] { RunDiff(*options); }; });
}

}  // namespace program
