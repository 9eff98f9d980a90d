// A filter is asked for its scope and applied to every place of that kind: a refusal is counted and reported,
// and the others go on. With several jobs the places of a step are shared out among threads (`piecework.h`),
// each of which has a copy of the filter; what came of each place is put together in the order of places.
// Copies of the properties are kept, and `deviation.cpp` compares at every frame.

#include "ymotion/filtering/filter_pipeline.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <new>
#include <optional>

#include <fmt/format.h>

#include "yfcurve/yfcurvefiltereulerquat.h"
#include "yfcurve/yfcurvefilterunroll.h"
#include "ymotion/filtering/filter_catalogue.h"
#include "ymotion/filtering/filter_places.h"
#include "ymotion/filtering/filter_span.h"
#include "ymotion/filtering/piecework.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/finite_keys.h"
#include "ymotion/scene/layer_failure.h"
#include "ymotion/scene/playback.h"
#include "ymotion/scene/whole_turns.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

using Clock = std::chrono::steady_clock;

double MillisecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// --- Applying ------------------------------------------------------------------------------------------

/// Everything that filters may change at a place, as it is at a moment, to tell whether they did.
class Content
{
  public:
    explicit Content(const Place& place)
    {
        for (const YFCurve* curve : place.curves) {
            Add(curve->GetValue());
            for (int i = 0; i < curve->KeyGetCount(); ++i) Add(curve->KeyGet(i));
            Add(static_cast<int>(curve->GetPreExtrapolation()));
            Add(static_cast<int>(curve->GetPostExtrapolation()));
        }
        for (const YFCurveNode* property : place.properties) {
            Add(property->GetUseQuaternion() ? 1 : 0);
            Add(property->GetRotationOrder());
        }
    }
    friend bool operator==(const Content&, const Content&) = default;

  private:
    template<class T>
    void Add(const T& value)
    {
        const std::size_t at = mBytes.size();
        mBytes.resize(at + sizeof value);
        std::memcpy(mBytes.data() + at, &value, sizeof value);
    }

    std::vector<unsigned char> mBytes;
};

std::int64_t KeyCount(const std::vector<ChosenProperty>& chosen)
{
    std::int64_t keys = 0;
    for (const ChosenProperty& property : chosen)
        for (const YFCurve* curve : property.curves) keys += curve->KeyGetCount();
    return keys;
}

bool IsLocked(const Place& place)
{
    return std::all_of(place.curves.begin(), place.curves.end(),
                       [](const YFCurve* curve) { return curve->IsLocked(); });
}

void ApplyAt(YFCurveFilter& filter, Place& place)
{
    if (place.node != nullptr) {
        filter.Apply(*place.node, place.recursive);
    } else if (filter.GetScope() == eFilterScope::Curve) {
        filter.Apply(*place.curves.front());
    } else {
        filter.Apply(place.curves.data(), static_cast<int>(place.curves.size()));
    }
}

void NoteRefusal(StepOutcome& outcome, const FilterNote& refusal)
{
    outcome.refused += refusal.count;
    for (FilterNote& note : outcome.refusals) {
        if (note.message != refusal.message) continue;
        note.count += refusal.count;
        return;
    }
    outcome.refusals.push_back(refusal);
}

/// Counts what came of another place as well.
void AddTo(StepOutcome& outcome, const StepOutcome& place)
{
    outcome.changed += place.changed;
    outcome.unchanged += place.unchanged;
    outcome.locked += place.locked;
    outcome.skipped += place.skipped;
    outcome.along += place.along;
    for (const FilterNote& refusal : place.refusals) NoteRefusal(outcome, refusal);
}

/// Why nothing can be filtered at a place; empty where it can.
std::string ObstacleAt(const Place& place)
{
    const bool turns = place.node != nullptr && TurnsAsQuaternions(*place.node);
    if (turns && place.node->GetLayerID() != 0)
        return "works on the base layer alone where rotations turn as quaternions";
    if (place.whole) return {};
    return fmt::format("works on whole {}, of which some curves are not chosen",
                       turns ? "rotations where these turn as quaternions" : "joints");
}

bool HasFiniteCurves(const Place& place)
{
    return std::all_of(place.curves.begin(), place.curves.end(),
                       [](const YFCurve* curve) { return HasFiniteKeys(*curve); });
}

[[noreturn]] void FailInfinite(const Place& place)
{
    throw Failure(fmt::format("{}: its values would be too large for keys; choose other parameters",
                              Printable(place.path)));
}

/// Whether the filter unrolls, and no angle of the rotation would change: it would only add keys.
bool IsUnrolledAlready(YFCurveFilter& filter, const Place& place)
{
    const auto* const unroll = dynamic_cast<const YFCurveFilterUnroll*>(&filter);
    return unroll != nullptr && !unroll->GetTestForPath() && place.node != nullptr && IsUnrolled(*place.node);
}

void ApplyStepAt(YFCurveFilter& filter, Place& place, StepOutcome& outcome)
{
    if (std::string obstacle = ObstacleAt(place); !obstacle.empty())
        return NoteRefusal(outcome, {std::move(obstacle), place.count, place.path});
    if (IsLocked(place)) {
        outcome.locked += place.count;
        return;
    }
    if (IsUnrolledAlready(filter, place)) {
        outcome.unchanged += place.count;
        return;
    }
    const Content before(place);
    const bool wasFinite = HasFiniteCurves(place);
    filter.GetError().Clear();
    ApplyAt(filter, place);
    if (!(Content(place) == before)) {
        if (wasFinite && !HasFiniteCurves(place)) FailInfinite(place);
        outcome.changed += place.count;
        outcome.along += place.along;
        return;
    }
    switch (filter.GetOutcome()) {
        case eFilterOutcome::Locked:
            outcome.locked += place.count;
            break;
        case eFilterOutcome::DoesNotApply:
            outcome.skipped += place.count;
            break;
        case eFilterOutcome::Refused:
            NoteRefusal(outcome, {Printable(filter.GetLastErrorString()), place.count, place.path});
            break;
        case eFilterOutcome::OutOfMemory:
            throw std::bad_alloc();
        case eFilterOutcome::NothingToDo:
        case eFilterOutcome::Changed:
            outcome.unchanged += place.count;
            break;
    }
}

std::string WarningBefore(const YFCurveFilter& filter, const std::vector<ChosenProperty>& chosen)
{
    if (!filter.TakesJumpsForMotion()) return {};
    std::vector<YFCurveNode*> properties;
    for (const ChosenProperty& property : chosen) {
        if (!TurnsAsQuaternions(*property.node)) properties.push_back(property.node);
    }
    return WholeTurnsText(properties);
}

void AddWarning(StepOutcome& outcome, const std::string& warning)
{
    outcome.warning += (outcome.warning.empty() ? "" : "; ") + warning;
}

std::int64_t CountTurnsAsQuaternions(const std::vector<ChosenProperty>& chosen)
{
    return std::count_if(chosen.begin(), chosen.end(),
                         [](const ChosenProperty& property) { return TurnsAsQuaternions(*property.node); });
}

/// Tells of rotations in quaternion form that a filter has made angles of, which is not what it is there for.
void TellOfForm(StepOutcome& outcome, const YFCurveFilter& filter, std::int64_t lost)
{
    if (lost <= 0 || dynamic_cast<const YFCurveFilterQuatToEuler*>(&filter) != nullptr) return;
    AddWarning(outcome,
               lost == 1
                   ? "1 rotation no longer turns as quaternions, but by its angles"
                   : fmt::format("{} rotations no longer turn as quaternions, but by their angles", lost));
}

/// Tells of a span that misses the motion; where nothing comes of it, that is why.
void TellOfMiss(StepOutcome& outcome, const std::string& missed)
{
    if (missed.empty()) return;
    if (outcome.IsRefused()) {
        outcome.refusals = {{missed, outcome.refused, outcome.refusals.front().first}};
    } else {
        const char* const done =
            outcome.changed > 0 ? "; keys nearest to it, or the form of whole rotations, were changed" : "";
        AddWarning(outcome, missed + done);
    }
}

/// Tells of a layer that does not play, where joints say nothing about what has changed.
void TellOfSilence(std::vector<StepOutcome>& steps, const Scene& scene, const Layer& layer)
{
    const auto changed =
        std::find_if(steps.begin(), steps.end(), [](const StepOutcome& step) { return step.changed > 0; });
    if (!layer.IsMuted() || changed == steps.end()) return;
    AddWarning(*changed, SilenceText(scene, layer) + ", so that joints show no error");
}

/// A filter for each thread: places have nothing in common, filters remember what they do.
void ApplyAtPlaces(const Scene& scene, FilterStep& step, std::vector<Place>& places, StepOutcome& outcome,
                   std::size_t jobs, const std::function<void(std::size_t)>& countSteps)
{
    std::vector<std::unique_ptr<YFCurveFilter>> filters(std::min(jobs, places.size()));
    for (auto& ofThread : filters) ofThread = step.copy ? step.copy() : CopyOf(*step.filter);
    std::vector<StepOutcome> outcomes(places.size());
    DoPieces(
        places.size(), jobs,
        [&](std::size_t place, std::size_t thread) {
            const FramesOf frames(scene);
            ApplyStepAt(*filters[thread], places[place], outcomes[place]);
        },
        [&](std::size_t place) { countSteps(places[place].count); });
    for (const StepOutcome& ofPlace : outcomes) AddTo(outcome, ofPlace);
}

StepOutcome ApplyStep(const Scene& scene, FilterStep& step, const std::vector<ChosenProperty>& chosen,
                      std::size_t jobs, const std::function<void(std::size_t)>& countSteps)
{
    const Clock::time_point start = Clock::now();
    StepOutcome outcome;
    outcome.name = step.name;
    outcome.settings = step.settings;
    outcome.ofFrames = step.ofFrames;
    outcome.parameters = step.asked.empty() ? ParameterValues(*step.filter) : step.asked;
    outcome.scope = step.filter->GetScope();
    outcome.worksOn = step.filter->GetClassDefinition()->GetOptions().worksOn;
    outcome.keysBefore = KeyCount(chosen);
    outcome.warning = WarningBefore(*step.filter, chosen);
    if (!step.told.empty()) AddWarning(outcome, step.told);
    std::vector<Place> places = PlacesOf(chosen, outcome.scope);
    const std::string missed = MissedMotionText(*step.filter, chosen);
    const std::int64_t quaternions = CountTurnsAsQuaternions(chosen);
    ApplyAtPlaces(scene, step, places, outcome, jobs, countSteps);
    TellOfForm(outcome, *step.filter, quaternions - CountTurnsAsQuaternions(chosen));
    TellOfMiss(outcome, missed);
    outcome.keysAfter = KeyCount(chosen);
    outcome.milliseconds = MillisecondsSince(start);
    return outcome;
}

// --- Comparing -----------------------------------------------------------------------------------------

std::vector<PropertyOutcome> Remember(const std::vector<ChosenProperty>& chosen)
{
    std::vector<PropertyOutcome> properties;
    for (const ChosenProperty& property : chosen) {
        PropertyOutcome outcome;
        outcome.property = property.node;
        outcome.before.reset(property.node->SingleLayerCopy());
        if (outcome.before == nullptr) throw std::bad_alloc();
        const bool isBase = property.node->GetLayerID() == 0;
        if (isBase && property.node->GetUseQuaternion() && property.node->LayerGet() != nullptr) {
            outcome.beforeAllLayers.reset(property.node->Clone());
            if (outcome.beforeAllLayers == nullptr) throw std::bad_alloc();
        }
        outcome.path = property.path;
        outcome.keysBefore = KeyCountBelow(*property.node);
        properties.push_back(std::move(outcome));
    }
    return properties;
}

void AddToTypes(std::vector<TypeOutcome>& types, const PropertyOutcome& property)
{
    const std::string name = TypeName(*property.property);
    auto type =
        std::find_if(types.begin(), types.end(), [&](const TypeOutcome& t) { return t.type == name; });
    if (type == types.end()) {
        types.push_back({name, UnitOf(*property.property), 0, 0, 0, {}});
        type = std::prev(types.end());
    }
    ++type->properties;
    type->keysBefore += property.keysBefore;
    type->keysAfter += property.keysAfter;
    type->deviation.Add(property.deviation);
}

/// A joint whose rotation order a filter has changed gets the rotation channels that mean it.
void OrderChannels(Scene& scene)
{
    const std::optional<TimeSpan> span = KeySpan(scene);
    for (std::size_t i = 0; i < scene.skeleton.joints.size(); ++i) {
        Joint& joint = scene.skeleton.joints[i];
        if (joint.endSite) continue;
        YFCurveNode* rotation = PropertyOf(*scene.jointNodes[i], ChannelKind::Rotation);
        if (rotation == nullptr || rotation->GetRotationOrder() == RotationOrderOf(joint)) continue;
        FitRotationChannels(joint, *rotation, span, scene.rate);
    }
}

std::optional<WorldErrors> ErrorsInWorld(const Scene& scene, WorldPoses& before,
                                         const std::vector<YTime>& times, const TimeSpan& moved)
{
    std::optional<WorldPoses> after = PosesOf(scene);
    if (!after) return std::nullopt;
    return MeasureWorld(scene.skeleton, before, *after, times, moved);
}

/// The times of the motion as it was and as it is, at which errors are taken.
std::vector<YTime> TimesOfErrors(const Scene& scene, const std::vector<FilterStep>& steps,
                                 const TimeSpan& before, FilterOutcome& outcome)
{
    const TimeSpan after = KeySpan(scene).value_or(before);
    outcome.span = {std::min(before.start, after.start), std::max(before.stop, after.stop)};
    outcome.errorsEvery =
        std::max(FramesBetweenErrors(before, scene.rate), FramesBetweenErrors(after, scene.rate));
    outcome.betweenFrames =
        std::any_of(steps.begin(), steps.end(), [](const FilterStep& step) { return step.betweenFrames; });
    return TimesToCompare(before, after, scene.rate, outcome.errorsEvery, outcome.betweenFrames);
}

void CheckWorkOnAnyLayer(const std::vector<FilterStep>& steps)
{
    for (const FilterStep& step : steps) {
        const std::string why = WhyBaseLayerAlone(*step.filter);
        if (!why.empty()) throw Failure(fmt::format("{} {}; choose the base layer", step.name, why));
    }
}

/// Undoes the steps where an exception ends them.
class UndoUnlessDone
{
  public:
    UndoUnlessDone(Scene& scene, const FilterOutcome& outcome) : mScene(scene), mOutcome(outcome) {}
    ~UndoUnlessDone()
    {
        if (!mIsDone) UndoSteps(mScene, mOutcome);
    }
    UndoUnlessDone(const UndoUnlessDone&) = delete;
    UndoUnlessDone& operator=(const UndoUnlessDone&) = delete;

    void Done() { mIsDone = true; }

  private:
    Scene& mScene;
    const FilterOutcome& mOutcome;
    bool mIsDone = false;
};

std::int64_t Sum(const std::vector<TypeOutcome>& types, std::int64_t TypeOutcome::*keys)
{
    std::int64_t sum = 0;
    for (const TypeOutcome& type : types) sum += type.*keys;
    return sum;
}

}  // namespace

std::int64_t KeyCountBelow(const YFCurveNode& node)
{
    const YFCurve* curve = node.FCurveGet();
    std::int64_t keys = curve != nullptr ? curve->KeyGetCount() : 0;
    for (int i = 0; i < node.GetCount(); ++i) keys += KeyCountBelow(*node.Get(i));
    return keys;
}

std::string TypeName(const YFCurveNode& property)
{
    if (property.IsRotationLayerType()) return "rotation";
    const YDataType* type = property.GetDataType();
    if (type == YDataType::Get(eDataType::LocalTranslation)) return "translation";
    return Printable(type != nullptr ? type->GetName() : property.GetName());
}

std::int64_t FilterOutcome::KeysBefore() const
{
    return Sum(types, &TypeOutcome::keysBefore);
}

std::int64_t FilterOutcome::KeysAfter() const
{
    return Sum(types, &TypeOutcome::keysAfter);
}

std::string FilterOutcome::Refusal() const
{
    std::string text;
    for (const StepOutcome& step : steps) {
        if (!step.IsRefused()) continue;
        text += fmt::format("{}{}: {}", text.empty() ? "" : "; ", step.name, step.refusals.front().message);
    }
    return text;
}

FilterOutcome ApplySteps(Scene& scene, std::vector<FilterStep>& steps,
                         const std::vector<std::string>& patterns, const StepTaken& taken, std::size_t jobs,
                         const Layer* layer)
{
    const Clock::time_point start = Clock::now();
    const FramesOf frames(scene);
    const Layer& filtered = layer != nullptr ? *layer : scene.layers.Base();
    if (!filtered.IsBase()) CheckWorkOnAnyLayer(steps);
    const std::vector<ChosenProperty> chosen = Choose(scene, patterns, filtered);
    FilterOutcome outcome;
    UndoUnlessDone undo(scene, outcome);
    const TimeSpan before = KeySpan(scene).value_or(TimeSpan{});
    outcome.properties = Remember(chosen);
    std::optional<WorldPoses> poses = PosesOf(scene);

    std::size_t total = outcome.properties.size() + (poses ? 1 : 0);
    for (const FilterStep& step : steps) total += PartCount(chosen, step.filter->GetScope());
    std::size_t done = 0;
    if (taken) taken(done, total);
    const auto countSteps = [&](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            ++done;
            if (taken) taken(done, total);
        }
    };
    for (FilterStep& step : steps) outcome.steps.push_back(ApplyStep(scene, step, chosen, jobs, countSteps));
    if (poses) TellOfSilence(outcome.steps, scene, filtered);
    const std::vector<YTime> times = TimesOfErrors(scene, steps, before, outcome);
    const auto compare = [&](std::size_t i, std::size_t) {
        PropertyOutcome& property = outcome.properties[i];
        property.keysAfter = KeyCountBelow(*property.property);
        property.deviation = Compare(*property.before, *property.property, times);
        property.deviation.where = property.path;
    };
    DoPieces(outcome.properties.size(), jobs, compare, [&](std::size_t) { countSteps(1); });
    for (const PropertyOutcome& property : outcome.properties) AddToTypes(outcome.types, property);
    OrderChannels(scene);
    if (poses) {
        outcome.world = ErrorsInWorld(scene, *poses, times, before);
        countSteps(1);
    }
    outcome.milliseconds = MillisecondsSince(start);
    undo.Done();
    return outcome;
}

void UndoSteps(Scene& scene, const FilterOutcome& outcome)
{
    for (const PropertyOutcome& property : outcome.properties) {
        if (property.beforeAllLayers != nullptr) {
            property.property->CopyFrom(property.beforeAllLayers.get());
        } else {
            property.property->SingleLayerCopyFrom(property.before.get());
        }
    }
    OrderChannels(scene);
}

}  // namespace ymotion
