#include "ymotion/filtering/layer_plot.h"

#include <algorithm>

#include <fmt/format.h>

#include "ymotion/filtering/filter_pipeline.h"
#include "ymotion/filtering/filter_report.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

using Json = nlohmann::ordered_json;

/// The properties of one data type.
struct PlottedType
{
    std::string name;
    const char* unit = "";
    std::int64_t properties = 0;
    std::int64_t resampled = 0;
    std::int64_t keysBefore = 0;
    std::int64_t keysAfter = 0;
    const PlottedProperty* worst = nullptr;
};

std::vector<PlottedType> TypesOf(const std::vector<PlottedProperty>& properties)
{
    std::vector<PlottedType> types;
    for (const PlottedProperty& property : properties) {
        const std::string name = TypeName(*property.node);
        auto type = std::find_if(types.begin(), types.end(),
                                 [&](const PlottedType& each) { return each.name == name; });
        if (type == types.end()) {
            types.push_back({});
            type = std::prev(types.end());
            type->name = name;
            type->unit = UnitOf(*property.node);
        }
        ++type->properties;
        type->resampled += property.resampled ? 1 : 0;
        type->keysBefore += property.keysBefore;
        type->keysAfter += property.keysAfter;
        if (type->worst == nullptr || property.largest > type->worst->largest) type->worst = &property;
    }
    return types;
}

/// Why a property cannot be plotted or merged and, behind a semicolon, what can be done.
const char* PlotStatusText(eYFCurvePlotStatus status)
{
    switch (status) {
        case eYFCurvePlotStatus::Done:
            return "done";
        case eYFCurvePlotStatus::BadNode:
            return "it lacks a curve, or has components with layers or properties; choose others with --node";
        case eYFCurvePlotStatus::BadOptions:
            return "the period or the tolerance is not positive; choose another one";
        case eYFCurvePlotStatus::BadSpan:
            return "the span is empty or takes too many samples; choose another --start and --stop, or a "
                   "lower --rate";
        case eYFCurvePlotStatus::Locked:
            return "a layer or curve that would change is locked; unlock it";
        case eYFCurvePlotStatus::NoLayer:
            return "it does not have the layer, and cannot; choose another one";
        case eYFCurvePlotStatus::TimeWarp:
            return "its time warp does not run forward throughout, so that no curve can follow it; leave it "
                   "out with --node";
        case eYFCurvePlotStatus::NoSource:
            return "it has values that are no numbers; mend those first";
        case eYFCurvePlotStatus::Unreachable:
            return "no values on the layer lead there, as they would be too large for a key or a layer below "
                   "scales by 0; choose another layer or other times";
        case eYFCurvePlotStatus::NoWeight:
            return "the layer is muted or has no weight then, so that nothing on it shows; unmute it or give "
                   "it weight, or choose another one";
        case eYFCurvePlotStatus::Hidden:
            return "a layer above replaces what is below it then, so that nothing on this one shows; choose "
                   "a "
                   "higher layer or other times";
        case eYFCurvePlotStatus::ShowsOutside:
            return "the layer is new there and would change what is outside the span; leave out --start and "
                   "--stop, or choose a layer that the property has";
        case eYFCurvePlotStatus::Extrapolation:
            return "its curves repeat or run on outside their keys in ways that one curve cannot; choose a "
                   "span inside their keys with --start and --stop, or a layer that does not repeat";
        case eYFCurvePlotStatus::NotLinear:
            return "its layers do not simply add up";
        case eYFCurvePlotStatus::Memory:
            return "out of memory; choose fewer properties with --node";
    }
    return "it was refused";
}

}  // namespace

std::vector<YFCurveNode*> PropertiesOf(const Scene& scene, const std::vector<std::string>& patterns)
{
    std::vector<YFCurveNode*> properties;
    for (const SelectedCurve& selected : SelectCurves(scene, patterns)) {
        if (properties.empty() || properties.back() != selected.property) {
            properties.push_back(selected.property);
        }
    }
    return properties;
}

void FailPlot(const Scene& scene, const YFCurveNode& property, const YFCurvePlotReport& report,
              const char* reason)
{
    std::string place = PathOf(property);
    const bool hasPlace =
        report.status == eYFCurvePlotStatus::Unreachable || report.status == eYFCurvePlotStatus::NoWeight ||
        report.status == eYFCurvePlotStatus::Hidden || report.status == eYFCurvePlotStatus::ShowsOutside;
    if (hasPlace) {
        place += fmt::format(" at {} s", ShortSecondsText(report.time));
    }
    throw Failure(fmt::format("{}: {}: {}", scene.file, Printable(place),
                              reason != nullptr ? reason : PlotStatusText(report.status)));
}

std::int64_t SumOf(const std::vector<PlottedProperty>& properties, std::int64_t PlottedProperty::*keys)
{
    std::int64_t sum = 0;
    for (const PlottedProperty& property : properties) sum += property.*keys;
    return sum;
}

std::string PlotTable(const std::vector<PlottedProperty>& properties, const Style& style)
{
    const bool someExact = std::any_of(properties.begin(), properties.end(),
                                       [](const PlottedProperty& property) { return !property.resampled; });
    std::vector<std::vector<std::string>> rows{
        {"property", "count", "keys before", "after", "largest difference"}};
    if (someExact) rows.front().insert(rows.front().begin() + 2, "resampled");
    for (const PlottedType& type : TypesOf(properties)) {
        rows.push_back({type.name, GroupedText(type.properties), GroupedText(type.keysBefore),
                        GroupedText(type.keysAfter), ErrorText(type.worst->largest, type.unit)});
        if (someExact) rows.back().insert(rows.back().begin() + 2, GroupedText(type.resampled));
    }
    std::string text = AlignedTable(rows, style);
    for (const PlottedType& type : TypesOf(properties)) {
        if (type.worst->largest == 0) continue;
        text += LargestLine(type.name, type.worst->when, PathOf(*type.worst->node), style);
    }
    return text;
}

Json PlotJson(const std::vector<PlottedProperty>& properties)
{
    Json json = Json::array();
    for (const PlottedProperty& property : properties) {
        json.push_back({{"path", Printable(PathOf(*property.node))},
                        {"how", property.resampled ? "plotted" : "exact"},
                        {"keysBefore", property.keysBefore},
                        {"keysAfter", property.keysAfter},
                        {"largestDifference", property.largest},
                        {"unit", UnitOf(*property.node)},
                        {"time", property.when.GetSecondDouble()}});
    }
    return json;
}

}  // namespace ymotion
