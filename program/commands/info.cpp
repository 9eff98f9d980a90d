#include <unistd.h>

#include <memory>
#include <string>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "program/commands/command.h"
#include "program/reports/report.h"
#include "program/scene_work.h"
#include "program/terminal/messages.h"
#include "program/terminal/terminal.h"
#include "ymotion/formats/clip_file.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

struct InfoOptions
{
    std::string file;
    bool json = false;
};

std::string ClipText(const std::string& file, const YFCurveClip& clip)
{
    std::string text =
        fmt::format("{}: clip\n{}, {} of them constant; {} from {:.3f} s to {:.3f} s, {} bytes\n", file,
                    Counted(clip.GetChannelCount(), "channel"), clip.GetConstantCount(),
                    Counted(clip.GetSegmentCount(), "segment"), clip.GetStart().GetSecondDouble(),
                    clip.GetStop().GetSecondDouble(), clip.GetBytes().size());
    for (int i = 0; i < clip.GetChannelCount(); ++i) {
        text += fmt::format("  {}\n", Printable(clip.GetChannelName(i)));
    }
    return text;
}

std::string ClipJson(const std::string& file, const YFCurveClip& clip)
{
    nlohmann::ordered_json report = {{"file", file},
                                     {"format", "clip"},
                                     {"start", clip.GetStart().GetSecondDouble()},
                                     {"stop", clip.GetStop().GetSecondDouble()},
                                     {"constantChannels", clip.GetConstantCount()},
                                     {"segments", clip.GetSegmentCount()},
                                     {"bytes", clip.GetBytes().size()},
                                     {"channels", nlohmann::ordered_json::array()}};
    for (int i = 0; i < clip.GetChannelCount(); ++i) report["channels"].push_back(clip.GetChannelName(i));
    return report.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

void RunInfo(const InfoOptions& options)
{
    NoteFileInWork(options.file);
    const ClipFile file = ReadClip(options.file);
    if (file.clip) {
        const std::string name = InputName(options.file);
        return SaveText("-", options.json ? ClipJson(name, *file.clip) : ClipText(name, *file.clip));
    }
    const Scene scene =
        options.file == "-" ? LoadSceneText(file.bytes.View(), options.file) : LoadScene(options.file);
    const ReportLook look{StyleOf(STDOUT_FILENO), ShowsUnicode(STDOUT_FILENO)};
    SaveText("-", options.json ? JsonReport(scene) : TextReport(scene, look));
}

}  // namespace

void AddInfoCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<InfoOptions>();
    CLI::App* command = program.add_subcommand("info", "Report what a motion file holds");
    AddFileArgument(*command, options->file);
    AddJsonFlag(*command, options->json);
    command->footer(
        "The JSON object has the members file, format, framesPerSecond, rate (a fraction), frames, start,\n"
        "stop, animations and animation (the index of the one that was read; both of glTF files), "
        "curveBytes, joints (name, path, parent, offset, channels, rotationOrder, endSites),\n"
        "layers, keyCount and curves (path, property, unit, interpolated, keys, start, stop, min, max),\n"
        "those of the base layer: min and max are of the keys, interpolated is that of a rotation, \"as\n"
        "quaternions\" or \"by angles\". parent is an index into joints.\n"
        "Of a clip (.yclip) it has file, format, start, stop, constantChannels, segments, bytes and "
        "channels,\n"
        "their names.\n"
        "\n"
        "Examples:\n"
        "  yfcurve info walk.bvh\n"
        "  yfcurve info walk.bvh --json | jq '.curves[] | select(.keys == 0) | .path'");
    command->callback([options, &chosen] { chosen = [options] { RunInfo(*options); }; });
}

}  // namespace program
