#include <memory>

#include "program/commands/command.h"
#include "program/scene_work.h"
#include "program/terminal/messages.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/scene_file.h"

using namespace ymotion;

namespace program {
namespace {

struct ConvertOptions
{
    std::string input;
    std::string output;
    std::string format;
    bool repair = false;
};

}  // namespace

void AddConvertCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<ConvertOptions>();
    CLI::App* command = program.add_subcommand("convert", "Read a motion file and write it anew");
    AddInputArgument(*command, options->input);
    AddOutputArgument(*command, options->output)->required();
    command
        ->add_option("--to", options->format,
                     "the format to write, whatever the name of OUT: bvh, ytalo, bvh.gz or "
                     "ytalo.gz")
        ->type_name("FORMAT");
    AddRepairFlag(*command, options->repair);
    command->footer(
        "The input's format is recognised by its content. The output replaces an existing file only when\n"
        "it is complete; input and output may be the same file. Standard output gets the format of the\n"
        "input, unpacked. With .gz behind .bvh or .ytalo OUT is packed, and such files are read everywhere.\n"
        "\n"
        "A scene file (.ytalo) keeps everything: curves with their keys, layers, skeleton, frame rate. A\n"
        "BVH file has no keys and layers: it gets what they show at each frame, and needs a skeleton.\n"
        "\n"
        "Examples:\n"
        "  yfcurve convert capture.bvh scene.ytalo\n"
        "  yfcurve convert scene.ytalo clean.bvh\n"
        "  yfcurve convert capture.bvh.gz scene.ytalo.gz\n"
        "  yfcurve convert - - --to ytalo < capture.bvh > scene.ytalo");
    command->callback([options, &chosen] {
        chosen = [options] {
            const EditLock lock(options->input, options->output, PrintNoteOnTerminal);
            const Scene scene = LoadScene(options->input);
            CheckWhole(scene, options->input, options->output, options->repair);
            SaveScene(scene, options->output, options->format);
        };
    });
}

}  // namespace program
