#include <unistd.h>

#include <memory>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "program/commands/command.h"
#include "program/scene_work.h"
#include "program/terminal/messages.h"
#include "program/terminal/terminal.h"
#include "ymotion/checking/scene_check.h"
#include "ymotion/formats/clip_file.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

using Json = nlohmann::ordered_json;

struct CheckOptions
{
    std::vector<std::string> files;
    bool json = false;
};

/// What was found in a file.
struct CheckedFile
{
    std::string name;
    std::string format;  ///< empty for one that cannot be read
    std::vector<Finding> findings;

    bool IsWrong() const { return !findings.empty() && findings.front().isWrong; }
};

CheckedFile CheckFile(const std::string& path)
{
    CheckedFile checked;
    checked.name = InputName(path);
    try {
        NoteFileInWork(path);
        const ClipFile file = ReadClip(path);
        if (file.clip) {
            checked.format = "clip";
            return checked;
        }
        FileAge age;
        const Scene scene = path == "-" ? ReadTextToCheck(file.bytes.View(), checked.name, age, HowToRead())
                                        : LoadSceneToCheck(path, age);
        checked.format = FormatName(scene.format);
        checked.findings = CheckScene(scene, age);
    } catch (const Failure& failure) {
        Finding finding;
        finding.isWrong = true;
        finding.what = "unreadable";
        finding.text = failure.what();
        checked.findings.push_back(std::move(finding));
    }
    return checked;
}

std::string TextOf(const CheckedFile& checked, const Style& style)
{
    std::string text = fmt::format("{}{}{}", style.Bold(), checked.name, style.Plain());
    if (!checked.format.empty()) text += ": " + checked.format;
    text += checked.findings.empty() ? ", nothing to report\n" : "\n";
    const Finding* before = nullptr;
    for (const Finding& finding : checked.findings) {
        if (before == nullptr || before->isWrong != finding.isWrong)
            text += fmt::format("  {}\n", finding.isWrong ? "wrong" : "worth knowing");
        text += "    " + Wrapped(finding.text, style.Columns(), 6, 4) + "\n";
        before = &finding;
    }
    return text;
}

Json JsonOf(const Finding& finding)
{
    Json json{{"what", finding.what}, {"text", finding.text}};
    if (finding.count > 0) json["count"] = finding.count;
    if (!finding.path.empty()) json["path"] = finding.path;
    if (finding.time) json["time"] = finding.time->GetSecondDouble();
    if (finding.line > 0) json["line"] = finding.line;
    return json;
}

Json JsonOf(const CheckedFile& checked)
{
    Json json{{"file", checked.name},
              {"format", checked.format.empty() ? Json() : Json(checked.format)},
              {"wrong", Json::array()},
              {"worthKnowing", Json::array()}};
    for (const Finding& finding : checked.findings)
        json[finding.isWrong ? "wrong" : "worthKnowing"].push_back(JsonOf(finding));
    return json;
}

void RunCheck(const CheckOptions& options)
{
    const Style style = StyleOf(STDOUT_FILENO);
    std::string text;
    Json json = Json::array();
    bool isWrong = false;
    for (const std::string& path : options.files) {
        const CheckedFile checked = CheckFile(path);
        isWrong = isWrong || checked.IsWrong();
        if (options.json) {
            json.push_back(JsonOf(checked));
        } else {
            text += TextOf(checked, style);
        }
    }
    SaveText("-", options.json ? json.dump(2) + "\n" : text);
    if (isWrong) throw Verdict{kExitFailure};
}

}  // namespace

void AddCheckCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<CheckOptions>();
    CLI::App* command = program.add_subcommand("check", "Tell what to know of a file before using it");
    command->add_option("FILE", options->files, "motion or scene files to read; - for standard input")
        ->required()
        ->type_name("");
    AddJsonFlag(*command, options->json);
    AddReadingOptions(*command);
    command->footer(
        "Wrong is what is damaged or contradicts itself: a file that cannot be read, keys, values and "
        "fields\n"
        "that were left out, an end that was cut off, numbers that are not finite, keys of a newer layout,\n"
        "two frame rates. Worth knowing is what may surprise: no mark at the end, older keys, very large\n"
        "values and times, keys between frames, channels without keys, names that stand for several joints,\n"
        "rotations that jump by whole turns, no motion, an unusual frame rate, and layers that are muted,\n"
        "locked, empty or without effect.\n"
        "\n"
        "The JSON array has a member for each file: file, format (null where it cannot be read), wrong and\n"
        "worthKnowing, lists of what, text, and where they apply count, path, time (seconds) and line of\n"
        "the first.\n"
        "\n"
        "Exit status: 0 nothing is wrong; 1 something is, or a file cannot be read; 2 wrong usage.\n"
        "\n"
        "Examples:\n"
        "  yfcurve check walk.bvh\n"
        "  yfcurve check captures/*.bvh --json | jq -r '.[] | select(.wrong != []) | .file'");
    command->callback([options, &chosen] { chosen = [options] { RunCheck(*options); }; });
}

}  // namespace program
