#include <unistd.h>

#include <memory>

#include "program/commands/command.h"
#include "program/reports/report.h"
#include "program/scene_work.h"
#include "program/terminal/terminal.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/formats/scene_file.h"

using namespace ymotion;

namespace program {
namespace {

struct InfoOptions
{
    std::string file;
    bool json = false;
};

void RunInfo(const InfoOptions& options)
{
    const Scene scene = LoadScene(options.file);
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
        "\n"
        "Examples:\n"
        "  yfcurve info walk.bvh\n"
        "  yfcurve info walk.bvh --json | jq '.curves[] | select(.keys == 0) | .path'");
    command->callback([options, &chosen] { chosen = [options] { RunInfo(*options); }; });
}

}  // namespace program
