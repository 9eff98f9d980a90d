#include <algorithm>
#include <map>
#include <memory>

#include <fmt/format.h>

#include "program/commands/command.h"
#include "program/scene_work.h"
#include "program/terminal/messages.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/playback.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

struct EvalOptions
{
    std::string file;
    std::vector<std::string> patterns;
    std::optional<FrameRate> rate;
    SpanOptions span;
    bool layers = false;
    std::string output = "-";
};

/// A name as RFC 4180 wants it: in quotes where it would be misread, quotes doubled. One that a spreadsheet
/// would run as a formula gets an apostrophe in front, which makes it text there.
std::string CsvName(std::string_view text)
{
    const bool isFormula =
        !text.empty() && std::string_view("=+-@\t\r").find(text.front()) != std::string_view::npos;
    if (!isFormula && text.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(text);
    std::string field = isFormula ? "\"'" : "\"";
    for (const char c : text) field.append(c == '"' ? 2 : 1, c);
    return field += '"';
}

/// The columns of the table and what stands in them at a time.
class Table
{
  public:
    virtual ~Table() = default;
    virtual std::vector<std::string> Heads() const = 0;
    virtual void AppendRow(std::string& line, YTime time) = 0;
};

/// A column for each curve.
class PlayedTable final : public Table
{
  public:
    explicit PlayedTable(const std::vector<SelectedCurve>& curves) : mCurves(PlayedCurves(curves))
    {
        for (const SelectedCurve& selected : curves) mHeads.push_back(PathOf(*selected.node));
    }

    std::vector<std::string> Heads() const override { return mHeads; }

    void AppendRow(std::string& line, YTime time) override
    {
        for (PlayedCurve& curve : mCurves) AppendFloat(line += ',', curve.At(time));
    }

  private:
    std::vector<PlayedCurve> mCurves;
    std::vector<std::string> mHeads;
};

/// The weights of the layers that the properties have; then, property by property, the values of each of its
/// layers and what becomes of them.
class LayeredTable final : public Table
{
  public:
    LayeredTable(const Scene& scene, const std::vector<SelectedCurve>& curves) : mTotals(PlayedCurves(curves))
    {
        for (std::size_t i = 0; i < curves.size(); ++i) {
            if (mProperties.empty() || mProperties.back().node != curves[i].property) {
                mProperties.push_back({curves[i].property, {}, {}, {}, i, 0});
            }
            Property& property = mProperties.back();
            property.components.push_back(ComponentOf(curves[i]));
            property.paths.push_back(PathOf(*curves[i].node));
        }
        for (Property& property : mProperties) FindLayers(scene, property);
    }

    std::vector<std::string> Heads() const override
    {
        std::vector<std::string> heads;
        for (const auto& [id, layer] : mWeights) heads.push_back(fmt::format("weight [{}]", layer->Name()));
        for (const Property& property : mProperties) {
            for (const Layer* layer : property.layers) {
                for (const std::string& path : property.paths) {
                    heads.push_back(fmt::format("{} [{}]", path, layer->Name()));
                }
            }
            heads.insert(heads.end(), property.paths.begin(), property.paths.end());
        }
        return heads;
    }

    void AppendRow(std::string& line, YTime time) override
    {
        for (const auto& [id, layer] : mWeights) {
            AppendFloat(line += ',', layer->IsMuted() ? 0.0f : static_cast<float>(layer->GetWeight(time)));
        }
        for (Property& property : mProperties) {
            for (const Layer* layer : property.layers) AppendShare(line, property, layer->GetLayerID(), time);
            for (std::size_t i = 0; i < property.components.size(); ++i) {
                AppendFloat(line += ',', mTotals[property.first + i].At(time));
            }
        }
    }

  private:
    struct Property
    {
        YFCurveNode* node = nullptr;
        std::vector<std::size_t> components;  ///< those that are wanted
        std::vector<std::string> paths;       ///< of these
        std::vector<const Layer*> layers;     ///< empty without any above the base
        std::size_t first = 0;                ///< of the totals
        int hint = 0;
    };

    void FindLayers(const Scene& scene, Property& property)
    {
        if (property.node->LayerGet() == nullptr) return;
        for (const YFCurveNode* node = property.node; node != nullptr; node = node->LayerGet()) {
            const Layer* layer = scene.layers.Find(node->GetLayerID());
            if (layer == nullptr) continue;
            property.layers.push_back(layer);
            if (!layer->IsBase()) mWeights[layer->GetLayerID()] = layer;
        }
        mValues.resize(std::max(mValues.size(), static_cast<std::size_t>(property.node->GetCount()) + 1));
    }

    void AppendShare(std::string& line, Property& property, int layerId, YTime time)
    {
        property.node->EvaluateSpecificLayer(mValues.data(), time, layerId, &property.hint);
        for (const std::size_t component : property.components) {
            AppendFloat(line += ',', static_cast<float>(mValues[component]));
        }
    }

    std::vector<PlayedCurve> mTotals;
    std::vector<Property> mProperties;
    std::map<int, const Layer*> mWeights;
    std::vector<double> mValues;
};

void RunEval(const EvalOptions& options)
{
    RefuseToReplaceInput(options.file, options.output);
    EndingToWrite(options.output, {".csv"});
    const Scene scene = LoadScene(options.file);
    const std::vector<SelectedCurve> curves = SelectCurves(scene, options.patterns);
    const TimeSpan span = options.span.Resolve(scene);
    const FrameRate rate = options.rate.value_or(scene.rate);
    std::unique_ptr<Table> table;
    if (options.layers) {
        table = std::make_unique<LayeredTable>(scene, curves);
    } else {
        table = std::make_unique<PlayedTable>(curves);
    }
    OutputFile out(options.output, PrintNote);
    std::string line = "time";
    for (const std::string& head : table->Heads()) line.append(",").append(CsvName(Printable(head)));
    out.Write(line += '\n');
    const std::int64_t last = LastFrame(span.Length(), rate);
    for (std::int64_t frame = 0; frame <= last; ++frame) {
        const YTime time = span.start + TimeOfFrame(frame, rate);
        line.clear();
        AppendSeconds(line, time);
        table->AppendRow(line, time);
        out.Write(line += '\n');
    }
    out.Commit();
}

}  // namespace

void AddEvalCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<EvalOptions>();
    CLI::App* command = program.add_subcommand("eval", "Evaluate curves at regular times, as CSV");
    AddFileArgument(*command, options->file);
    AddNodeOption(*command, options->patterns);
    AddRateOption(*command, options->rate, "rows a second: 30, 12.5, 24000/1001 (default: the file's)");
    AddSpanOptions(*command, options->span);
    command->add_flag("--layers", options->layers, "show each layer of a property before their sum");
    command->add_option("-o,--output", options->output, "file to write (default: standard output)")
        ->type_name("OUT.csv");
    command->footer(
        "The first column is the time in seconds, the others are curves, named by their path. Between\n"
        "keys curves are interpolated, outside them extrapolated. 29.97 means 30000/1001, and so for its\n"
        "kin. A name that a spreadsheet would run as a formula (= + - @ in front) gets an apostrophe.\n"
        "\n"
        "Where a property has layers, its values are those of all layers together. With --layers there\n"
        "are columns for the weights of the layers (0 for one that is muted) and for what the keys of\n"
        "each layer say, marked by the layer's name in brackets.\n"
        "\n"
        "Examples:\n"
        "  yfcurve eval walk.bvh -o walk.csv\n"
        "  yfcurve eval walk.bvh --node Hips --node 'Left*/Lcl Rotation/X' --rate 24\n"
        "  yfcurve eval scene.ytalo --node Chest --layers\n"
        "  yfcurve eval walk.bvh --node 'Hips/Lcl Translation' --rate 1000 --start 0.5 --stop 0.6");
    command->callback([options, &chosen] { chosen = [options] { RunEval(*options); }; });
}

}  // namespace program
