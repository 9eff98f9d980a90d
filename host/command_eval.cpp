#include <memory>

#include <fmt/format.h>

#include "host/command.h"
#include "host/curve_selection.h"
#include "host/file_io.h"
#include "host/number_text.h"
#include "host/printable.h"
#include "host/scene_file.h"

namespace host {
namespace {

struct EvalOptions
{
    std::string file;
    std::vector<std::string> patterns;
    std::optional<FrameRate> rate;
    SpanOptions span;
    std::string output = "-";
};

/// A field as RFC 4180 wants it: in quotes where it would be misread, quotes doubled.
std::string CsvField(std::string_view text)
{
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(text);
    std::string field = "\"";
    for (const char c : text) field.append(c == '"' ? 2 : 1, c);
    return field += '"';
}

struct Column
{
    const YFCurve* curve;
    int hint = 0;
};

void RunEval(const EvalOptions& options)
{
    const Scene scene = ReadScene(options.file);
    const std::vector<SelectedCurve> curves = SelectCurves(scene, options.patterns);
    const TimeSpan span = options.span.Resolve(scene);
    const FrameRate rate = options.rate.value_or(scene.rate);
    OutputFile out(options.output);
    std::string line = "time";
    std::vector<Column> columns;
    for (const SelectedCurve& selected : curves) {
        line.append(",").append(CsvField(Printable(PathOf(*selected.node))));
        columns.push_back({selected.curve});
    }
    out.Write(line += '\n');
    const std::int64_t last = LastFrame(span.stop - span.start, rate);
    for (std::int64_t frame = 0; frame <= last; ++frame) {
        const YTime time = span.start + TimeOfFrame(frame, rate);
        line.clear();
        AppendSeconds(line, time);
        for (Column& column : columns) AppendFloat(line += ',', column.curve->Evaluate(time, &column.hint));
        out.Write(line += '\n');
    }
    out.Commit();
}

void AddRateOption(CLI::App& command, std::optional<FrameRate>& rate)
{
    const auto parse = [&rate](const std::string& text) {
        rate = ParseRate(text);
        if (!rate) throw CLI::ValidationError("--rate", fmt::format("{} is not a frame rate", Quoted(text)));
    };
    command
        .add_option_function<std::string>("--rate", parse,
                                          "rows a second: 30, 12.5, 24000/1001 (default: the file's)")
        ->type_name("FPS");
}

}  // namespace

void AddEvalCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<EvalOptions>();
    CLI::App* command = program.add_subcommand("eval", "Evaluate curves at regular times, as CSV");
    AddFileArgument(*command, options->file);
    AddNodeOption(*command, options->patterns);
    AddRateOption(*command, options->rate);
    AddSpanOptions(*command, options->span);
    command->add_option("-o,--output", options->output, "file to write (default: standard output)")
        ->type_name("OUT.csv");
    command->footer(
        "The first column is the time in seconds, the others are curves, named by their path. Between keys\n"
        "curves are interpolated, outside them extrapolated. 29.97 means 30000/1001, and so for its kin.\n"
        "\n"
        "Examples:\n"
        "  yfcurve eval walk.bvh -o walk.csv\n"
        "  yfcurve eval walk.bvh --node Hips --node 'Left*/Lcl Rotation/X' --rate 24\n"
        "  yfcurve eval walk.bvh --node 'Hips/Lcl Translation' --rate 1000 --start 0.5 --stop 0.6");
    command->callback([options, &chosen] { chosen = [options] { RunEval(*options); }; });
}

}  // namespace host
