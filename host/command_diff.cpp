#include <unistd.h>

#include <memory>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "host/command.h"
#include "host/diagnostic.h"
#include "host/file_io.h"
#include "host/number_text.h"
#include "host/printable.h"
#include "host/scene_diff.h"
#include "host/scene_file.h"
#include "host/terminal.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

struct DiffOptions
{
    std::string a;
    std::string b;
    double tolerance = 0;
    bool json = false;
};

std::string ValueText(float value)
{
    std::string text;
    AppendFloat(text, value);
    return text;
}

std::string Counted(std::size_t count, std::string_view one, std::string_view many)
{
    return fmt::format("{} {}", GroupedText(static_cast<long long>(count)), count == 1 ? one : many);
}

/// "126 curves compared: 3 differ, by up to 0.25 degrees ...; 1 is in a.bvh only".
std::string SummaryLine(const SceneDifference& difference, const Scene& a, const Scene& b)
{
    std::string text = fmt::format("{} compared ({})", Counted(difference.compared, "curve", "curves"),
                                   Counted(difference.keys, "key", "keys"));
    if (difference.IsEmpty()) return text + ": no difference\n";
    std::vector<std::string> parts;
    if (const ValueDifference* largest = difference.Largest()) {
        parts.push_back(fmt::format("{}, most of all {} by {:.6g}",
                                    Counted(difference.values.size(), "differs", "differ"),
                                    largest->curve.Text(), largest->largest.Size()));
    }
    const auto onlyIn = [&](const std::vector<CurveName>& curves, const Scene& scene) {
        if (curves.empty()) return;
        parts.push_back(fmt::format("{} in {} only", Counted(curves.size(), "is", "are"), scene.file));
    };
    onlyIn(difference.onlyA, a);
    onlyIn(difference.onlyB, b);
    if (!difference.settings.empty()) {
        parts.push_back(Counted(difference.settings.size(), "setting differs", "settings differ"));
    }
    text += ": ";
    for (std::size_t i = 0; i < parts.size(); ++i) text += (i == 0 ? "" : "; ") + parts[i];
    return text + "\n";
}

std::string TextOf(const SceneDifference& difference, const Scene& a, const Scene& b)
{
    std::string text;
    for (const SettingDifference& setting : difference.settings) {
        if (setting.a.empty() || setting.b.empty()) {
            text += fmt::format("{}: only in {}\n", setting.what, setting.a.empty() ? b.file : a.file);
        } else {
            text += fmt::format("{}: {} and {}\n", setting.what, setting.a, setting.b);
        }
    }
    for (const CurveName& curve : difference.onlyA)
        text += fmt::format("{}: only in {}\n", curve.Text(), a.file);
    for (const CurveName& curve : difference.onlyB)
        text += fmt::format("{}: only in {}\n", curve.Text(), b.file);
    for (const ValueDifference& value : difference.values) {
        const CurveDifference& largest = value.largest;
        text += fmt::format("{}: {} and {} at {} s, {:.6g} apart\n", value.curve.Text(), ValueText(largest.a),
                            ValueText(largest.b), SecondsText(largest.time), largest.Size());
    }
    return text + SummaryLine(difference, a, b);
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
    Json json;
    json["files"] = {a.file, b.file};
    json["tolerance"] = tolerance;
    json["equal"] = difference.IsEmpty();
    json["curvesCompared"] = difference.compared;
    json["keysCompared"] = difference.keys;
    json["differences"] = Json::array();
    for (const ValueDifference& value : difference.values) {
        Json item = CurveJson(value.curve);
        item["time"] = value.largest.time.GetSecondDouble();
        item["values"] = {value.largest.a, value.largest.b};
        item["difference"] = value.largest.Size();
        json["differences"].push_back(std::move(item));
    }
    json["only"] = Json::array({Json::array(), Json::array()});
    for (const CurveName& curve : difference.onlyA) json["only"][0].push_back(CurveJson(curve));
    for (const CurveName& curve : difference.onlyB) json["only"][1].push_back(CurveJson(curve));
    json["settings"] = Json::array();
    for (const SettingDifference& setting : difference.settings) {
        json["settings"].push_back({{"setting", setting.what}, {"values", {setting.a, setting.b}}});
    }
    return json.dump(2) + "\n";
}

void RunDiff(const DiffOptions& options)
{
    if (options.a == "-" && options.b == "-") {
        throw Failure("standard input cannot be both files; give the name of one", kExitUsage);
    }
    const Scene a = ReadScene(options.a);
    const Scene b = ReadScene(options.b);
    const SceneDifference difference = CompareScenes(a, b, options.tolerance);
    WriteFile("-", options.json ? JsonOf(difference, a, b, options.tolerance) : TextOf(difference, a, b));
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
    AddJsonFlag(*command, options->json);
    command->footer(
        "Curves are paired by their path and layer, and compared at every key of either file and at three\n"
        "times between neighbouring keys; for each one that differs, the largest difference is shown. How\n"
        "the keys are made does not matter as long as the values are the same. Compared as well are what\n"
        "curves do before and after their keys, layers, frame rate and skeleton. The formats may differ.\n"
        "\n"
        "The JSON object has the members files, tolerance, equal, curvesCompared, keysCompared,\n"
        "differences (path, layer, time, values, difference), only (curves of either file) and settings.\n"
        "\n"
        "Exit status: 0 no difference; 1 a difference, or a file could not be read; 2 wrong usage.\n"
        "\n"
        "Examples:\n"
        "  yfcurve diff walk.bvh walk.ytalo\n"
        "  yfcurve diff before.ytalo after.ytalo --tolerance 0.01 --json | jq '.differences[].path'");
    command->callback([options, &chosen] { chosen = [options] { RunDiff(*options); }; });
}

}  // namespace host
