#include <memory>

#include "host/command.h"
#include "host/scene_file.h"

namespace host {
namespace {

struct ConvertOptions
{
    std::string input;
    std::string output;
};

}  // namespace

void AddConvertCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<ConvertOptions>();
    CLI::App* command = program.add_subcommand("convert", "Read a motion file and write it anew");
    command->add_option("IN", options->input, "the file to read; - for standard input")
        ->required()
        ->type_name("");
    command
        ->add_option("OUT", options->output,
                     "the file to write, in the format that its name ends in; - for standard output")
        ->required()
        ->type_name("");
    command->footer(
        "The input's format is recognised by its content. The output replaces an existing file only when it\n"
        "is complete; input and output may be the same file.\n"
        "\n"
        "Examples:\n"
        "  yfcurve convert capture.bvh clean.bvh\n"
        "  yfcurve convert - - < capture.bvh | gzip > clean.bvh.gz");
    command->callback([options, &chosen] {
        chosen = [options] { WriteScene(ReadScene(options->input), options->output); };
    });
}

}  // namespace host
