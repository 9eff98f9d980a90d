// Filters, reductions and clip tools: what `YMotion` changes a whole scene with, and the reports about it.

#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "ymotion/clipping/clip_errors.h"
#include "ymotion/clipping/join.h"
#include "ymotion/filtering/filter_catalogue.h"
#include "ymotion/filtering/filter_pipeline.h"
#include "ymotion/filtering/filter_report.h"
#include "ymotion/motiondata.h"
#include "ymotion/reducing/reduction_wish.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/scene_copy.h"
#include "ymotion/scene/whole_turns.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/property_report.h"
#include "ymotion/text/stopping.h"

using namespace ymotion;

namespace {

YMotionStepReport ReportOf(const StepOutcome& step)
{
    YMotionStepReport report;
    report.name = step.name;
    report.changed = step.changed;
    report.unchanged = step.unchanged;
    report.refused = step.refused;
    report.locked = step.locked;
    report.skipped = step.skipped;
    report.keysBefore = step.keysBefore;
    report.keysAfter = step.keysAfter;
    for (const FilterNote& note : step.refusals)
        report.refusals.push_back({note.message, note.count, note.first});
    report.warning = step.warning;
    return report;
}

YMotionPropertyReport ReportOf(const PropertyOutcome& property)
{
    YMotionPropertyReport report;
    report.path = property.path;
    report.property = property.property;
    report.unit = UnitOf(*property.property);
    report.keysBefore = property.keysBefore;
    report.keysAfter = property.keysAfter;
    report.largest = property.deviation.largest;
    report.rootMeanSquare = property.deviation.RootMeanSquare();
    report.time = property.deviation.when;
    return report;
}

YMotionWorldReport ReportOf(const WorldErrors& errors)
{
    YMotionWorldReport report;
    for (const JointError& joint : errors.joints)
        report.joints.push_back({joint.joint, joint.largest, joint.Mean(), joint.when});
    for (const FootSlide& foot : errors.feet) {
        report.feet.push_back(
            {foot.joint, foot.contacts, foot.seconds, foot.before, foot.after, foot.largest, foot.when});
    }
    return report;
}

YMotionFilterReport ReportOf(const FilterOutcome& outcome)
{
    YMotionFilterReport report;
    for (const StepOutcome& step : outcome.steps) report.steps.push_back(ReportOf(step));
    for (const PropertyOutcome& property : outcome.properties)
        report.properties.push_back(ReportOf(property));
    if (outcome.world) static_cast<YMotionWorldReport&>(report) = ReportOf(*outcome.world);
    return report;
}

YMotionParameter ReportOf(const YProperty& parameter)
{
    const auto json = PropertyJson(parameter);
    YMotionParameter report;
    report.name = parameter.GetName();
    report.type = json.at("type").get<std::string>();
    report.defaultValue = json.at("default").get<std::string>();
    report.range = RangeText(*parameter.GetDescription());
    report.unit = json.at("unit").get<std::string>();
    report.help = json.at("help").get<std::string>();
    report.isNeeded = json.contains("needed");
    return report;
}

YMotionFilter ReportOf(const YClassDefinition& definition)
{
    YMotionFilter report{ShortName(definition), definition.GetOptions().summary, {}};
    const auto filter = MakeFilter(definition);
    for (const YProperty* parameter : ParametersOf(*filter))
        report.parameters.push_back(ReportOf(*parameter));
    return report;
}

/// Tells how far work has come, and ends it where it is not to go on.
StepTaken Telling(YMotionProgress progress, void* object)
{
    return [=](std::size_t done, std::size_t total) {
        StopIfAsked();
        if (progress != nullptr && !progress(done, total, object)) throw Stopped();
    };
}

/// What is to be told of steps.
struct Wanted
{
    YMotionFilterReport* report;  ///< null for none
    std::string* page;            ///< null for none
    std::string words;            ///< for the page: what was asked
};

/// Applies steps, or leaves the scene as it was.
void ApplyAndReport(Scene& scene, std::vector<FilterStep>& steps, const std::vector<std::string>& nodes,
                    const StepTaken& taken, const Wanted& wanted, std::vector<std::string>& notes,
                    const Layer* layer = nullptr)
{
    const FilterOutcome outcome = ApplySteps(scene, steps, nodes, taken, 1, layer);
    try {
        StopIfAskedNow();
        for (const StepOutcome& step : outcome.steps) {
            if (!step.warning.empty()) notes.push_back(fmt::format("{}: {}", step.name, step.warning));
        }
        if (wanted.report != nullptr) *wanted.report = ReportOf(outcome);
        if (const std::string refusal = outcome.Refusal(); !refusal.empty())
            throw Failure(fmt::format("{}: refused wherever it applies, {}", scene.file, refusal));
        if (wanted.page != nullptr) *wanted.page = FilterPage(scene, outcome, wanted.words);
    } catch (...) {
        UndoSteps(scene, outcome);
        throw;
    }
}

void ReduceAndReport(Scene& scene, const ReductionGoal& goal, const StepTaken& taken, const Wanted& wanted,
                     std::vector<std::string>& notes)
{
    const std::vector<YFCurveNode*> unrolled = JumpingRecordings(scene);
    PropertiesKept kept(unrolled);
    Reduction reduction = FindReduction(scene, goal, taken);
    std::vector<FilterStep> steps;
    steps.push_back(std::move(reduction.step));
    ApplyAndReport(scene, steps, {}, {}, wanted, notes);
    kept.Done();
}

ReductionWish WishOf(const YMotionReduction& wanted)
{
    ReductionWish wish;
    if (!wanted.tolerance.empty()) wish.tolerance = ParseLength(wanted.tolerance);
    if (!wanted.ratio.empty()) wish.ratio = ParsePart(wanted.ratio);
    if (wanted.keys != 0) wish.keys = wanted.keys;
    wish.contacts = wanted.contacts;
    wish.tangents = wanted.tangents;
    wish.height = wanted.height;
    return wish;
}

/// What was asked of a reduction, as its page says it.
std::string WordsOf(const YMotionReduction& wanted)
{
    std::string words = "reduce";
    if (!wanted.tolerance.empty()) words += ", tolerance " + wanted.tolerance;
    if (!wanted.ratio.empty()) words += ", ratio " + wanted.ratio;
    if (wanted.keys != 0) words += fmt::format(", keys {}", wanted.keys);
    if (wanted.contacts) words += ", contacts";
    if (wanted.tangents != YMotionReduction().tangents) words += ", tangents " + wanted.tangents;
    if (wanted.height > 0.0) words += fmt::format(", height {} m", wanted.height);
    return words;
}

}  // namespace

std::vector<YMotionFilter> YMotion::GetFilters()
{
    try {
        std::vector<YMotionFilter> filters;
        for (const YClassDefinition* definition : FilterClasses()) filters.push_back(ReportOf(*definition));
        return filters;
    } catch (const std::exception&) {
        return {};
    }
}

bool YMotion::Filter(const std::vector<std::string>& filters, const std::vector<std::string>& nodes,
                     YMotionFilterReport* report, YMotionProgress progress, void* object, std::string* page,
                     int layer)
{
    return Try([&] {
        mNotes.clear();
        Scene& scene = Get().scene;
        const Layer& filtered = LayerOf(scene, layer);
        std::vector<FilterStep> steps = ParseSteps(filters, &scene);
        std::string words = fmt::format("{}: {}", scene.file, fmt::join(filters, ", "));
        if (!nodes.empty()) words += " of " + PatternWords(nodes);
        if (!filtered.IsBase()) words += fmt::format(" on the layer {}", filtered.Name());
        ApplyAndReport(scene, steps, nodes, Telling(progress, object), {report, page, words}, mNotes,
                       &filtered);
    });
}

bool YMotion::Reduce(double tolerance, bool contacts, YMotionFilterReport* report, YMotionProgress progress,
                     void* object)
{
    return Try([&] {
        mNotes.clear();
        CheckTolerance(tolerance);
        ReductionGoal goal;
        goal.tolerance = tolerance;
        goal.contacts = contacts;
        ReduceAndReport(Get().scene, goal, Telling(progress, object), {report, nullptr, {}}, mNotes);
    });
}

bool YMotion::Reduce(const YMotionReduction& wanted, YMotionFilterReport* report, YMotionProgress progress,
                     void* object, std::string* page)
{
    return Try([&] {
        mNotes.clear();
        const ReductionWish wish = WishOf(wanted);
        CheckWish(wish);
        Scene& scene = Get().scene;
        const std::string words = fmt::format("{}: {}", scene.file, WordsOf(wanted));
        ReduceAndReport(scene, GoalOf(wish, scene), Telling(progress, object), {report, page, words}, mNotes);
    });
}

bool YMotion::Clip(const std::vector<std::string>& steps, std::vector<std::string>* report,
                   YMotionWorldReport* world)
{
    return Try([&] {
        mNotes.clear();
        const std::vector<ClipStep> parsed = ParseClip(steps);
        auto data = std::make_unique<Data>(CopyOf(Get().scene), Get().path, Get().age);
        std::vector<std::string> sentences;
        const std::vector<ClipOutcome> outcomes = ApplyClip(data->scene, parsed);
        for (const ClipOutcome& outcome : outcomes)
            sentences.push_back(fmt::format("{}: {}", outcome.step, outcome.change.text));
        if (world != nullptr) {
            const std::optional<ClipErrors> errors = MeasureClip(Get().scene, data->scene, outcomes);
            *world = errors ? ReportOf(errors->world) : YMotionWorldReport();
        }
        StopIfAskedNow();
        if (report != nullptr) *report = std::move(sentences);
        mData = std::move(data);
    });
}

bool YMotion::Join(const YMotion& next, YTime blend, bool align)
{
    return Try([&] {
        mNotes.clear();
        if (blend < YTIME_ZERO || blend.IsInfinite())
            throw Failure("the blend is no time from 0 up; choose another one", kExitUsage);
        auto data = std::make_unique<Data>(CopyOf(Get().scene), Get().path, Get().age);
        mNotes.push_back(ymotion::Join(data->scene, CopyOf(next.Get().scene), {blend, align}));
        StopIfAskedNow();
        mData = std::move(data);
    });
}
