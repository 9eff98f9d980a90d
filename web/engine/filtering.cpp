#include "web/engine/filtering.h"

#include "web/engine/keys.h"
#include "web/engine/layers.h"
#include "ymotion/filtering/filter_catalogue.h"
#include "ymotion/filtering/filter_places.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/property_report.h"

namespace editor {

using namespace ymotion;
using Json = nlohmann::ordered_json;

namespace {

Json StepJson(const StepOutcome& step)
{
    Json refusals = Json::array();
    for (const FilterNote& note : step.refusals)
        refusals.push_back({{"message", note.message}, {"count", note.count}, {"first", note.first}});
    return {{"name", step.name},
            {"changed", step.changed},
            {"unchanged", step.unchanged},
            {"refused", step.refused},
            {"locked", step.locked},
            {"skipped", step.skipped},
            {"keysBefore", step.keysBefore},
            {"keysAfter", step.keysAfter},
            {"refusals", refusals},
            {"warning", step.warning}};
}

Json OutcomeJson(const PropertyOutcome& property)
{
    return {{"path", property.path},
            {"unit", UnitOf(*property.property)},
            {"keysBefore", property.keysBefore},
            {"keysAfter", property.keysAfter},
            {"largest", property.deviation.largest},
            {"rootMeanSquare", property.deviation.RootMeanSquare()},
            {"time", TicksOf(property.deviation.when)}};
}

Json ReportOf(const FilterOutcome& outcome)
{
    Json report = {{"steps", Json::array()},
                   {"properties", Json::array()},
                   {"joints", Json::array()},
                   {"feet", Json::array()}};
    for (const StepOutcome& step : outcome.steps) report["steps"].push_back(StepJson(step));
    for (const PropertyOutcome& property : outcome.properties)
        report["properties"].push_back(OutcomeJson(property));
    if (!outcome.world) return report;
    for (const JointError& joint : outcome.world->joints) {
        report["joints"].push_back({{"joint", joint.joint},
                                    {"largest", joint.largest},
                                    {"mean", joint.Mean()},
                                    {"time", TicksOf(joint.when)}});
    }
    for (const FootSlide& foot : outcome.world->feet) {
        report["feet"].push_back({{"joint", foot.joint},
                                  {"contacts", foot.contacts},
                                  {"seconds", foot.seconds},
                                  {"slideBefore", foot.before},
                                  {"slideAfter", foot.after},
                                  {"largestSlide", foot.largest},
                                  {"time", TicksOf(foot.when)}});
    }
    return report;
}

}  // namespace

Json FiltersJson()
{
    Json filters = Json::array();
    for (const YClassDefinition* definition : FilterClasses()) {
        Json parameters = Json::array();
        const auto filter = MakeFilter(*definition);
        for (const YProperty* parameter : ParametersOf(*filter))
            parameters.push_back(PropertyJson(*parameter));
        filters.push_back({{"name", ShortName(*definition)},
                           {"summary", definition->GetOptions().summary},
                           {"whyBaseAlone", WhyBaseLayerAlone(*filter)},
                           {"parameters", parameters}});
    }
    return filters;
}

Json FilterScene(Scene& scene, const FilterRequest& request)
{
    const Layer& layer = UnlockedLayer(scene, request.layer);
    std::vector<FilterStep> steps = ParseSteps(request.steps, &scene);
    const FilterOutcome outcome = ApplySteps(scene, steps, request.nodes, {}, 1, &layer);
    if (const std::string refusal = outcome.Refusal(); !refusal.empty()) throw Failure(refusal);
    return ReportOf(outcome);
}

Json ApplyFilters(Document& document, const FilterRequest& request)
{
    Json report;
    document.Run("Filter", [&] { report = FilterScene(document.GetScene(), request); });
    document.ForgetTracks();
    document.AllMayHaveSelection();
    return report;
}

}  // namespace editor
