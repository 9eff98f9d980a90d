#include "ymotion/ymotion.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <iterator>
#include <new>
#include <numeric>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "ymotion/clipping/clip_errors.h"
#include "ymotion/clipping/join.h"
#include "ymotion/clipping/scene_copy.h"
#include "ymotion/compare/scene_diff.h"
#include "ymotion/filtering/filter_catalogue.h"
#include "ymotion/filtering/filter_pipeline.h"
#include "ymotion/filtering/filter_report.h"
#include "ymotion/filtering/layer_merge.h"
#include "ymotion/filtering/plot_into_layer.h"
#include "ymotion/formats/clip_file.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/motiondata.h"
#include "ymotion/plots/plot_choice.h"
#include "ymotion/plots/svg_plot.h"
#include "ymotion/reducing/reduction_wish.h"
#include "ymotion/scene/layer_failure.h"
#include "ymotion/scene/playback.h"
#include "ymotion/scene/time_text.h"
#include "ymotion/scene/world_pose.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/property_report.h"
#include "ymotion/text/stopping.h"

using namespace ymotion;

namespace {

constexpr const char* kMessages[] = {nullptr, nullptr, "stopped; nothing is changed",
                                     "out of memory; free some, or take a smaller scene"};

void CheckGltfTolerance(double tolerance)
{
    if (tolerance > 0.0 && std::isfinite(tolerance)) return;
    throw Failure("the tolerance is no number of degrees above 0; choose another one", kExitUsage);
}

/// The way files are read, with what there is to tell kept.
GltfReading NotingIn(std::vector<std::string>& notes, const YMotionReading& wanted)
{
    CheckGltfTolerance(wanted.tolerance);
    if (wanted.rotationOrder < 0 || wanted.rotationOrder > 5)
        throw Failure("there are the rotation orders 0 to 5; choose one of them", kExitUsage);
    GltfReading reading;
    reading.animation = wanted.animation;
    reading.rotationOrder = wanted.rotationOrder;
    reading.tolerance = wanted.tolerance;
    reading.note = [&notes](const std::string& note) { notes.push_back(note); };
    return reading;
}

GltfWriting WritingOf(const YMotionWriting& wanted)
{
    CheckGltfTolerance(wanted.tolerance);
    return {wanted.sampled, wanted.mesh, wanted.tolerance, {}};
}

// --- What the reports of the rooms below are called outside ----------------------------------------------

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

YMotionValueDifference ReportOf(const ValueDifference& value)
{
    YMotionValueDifference report;
    report.path = value.curve.path;
    report.layer = value.curve.layer;
    report.isOrientation = value.turn.has_value();
    report.time = value.largest.time;
    report.difference = value.Size();
    if (report.isOrientation) return report;
    report.here = static_cast<double>(value.largest.a);
    report.there = static_cast<double>(value.largest.b);
    return report;
}

std::vector<YMotionCurveName> ReportOf(const std::vector<CurveName>& curves)
{
    std::vector<YMotionCurveName> names;
    for (const CurveName& curve : curves) names.push_back({curve.path, curve.layer});
    return names;
}

std::vector<YMotionJointDifference> ReportOf(const std::vector<JointError>& joints)
{
    std::vector<YMotionJointDifference> reports;
    for (const JointError& joint : joints)
        reports.push_back({joint.name, joint.largest, joint.Mean(), joint.when});
    return reports;
}

YMotionWorldDifference ReportOf(const WorldDifference& difference)
{
    return {difference.compared, ReportOf(difference.joints), difference.onlyA, difference.onlyB};
}

void CheckTolerance(double tolerance)
{
    if (tolerance >= 0.0) return;
    throw Failure("the tolerance is no number from 0 up; choose another one", kExitUsage);
}

YMotionDifference ReportOf(const SceneDifference& difference)
{
    YMotionDifference report;
    report.curvesCompared = difference.compared;
    report.keysCompared = difference.keys;
    for (const ValueDifference& value : difference.values) report.values.push_back(ReportOf(value));
    report.onlyHere = ReportOf(difference.onlyA);
    report.onlyThere = ReportOf(difference.onlyB);
    for (const SettingDifference& setting : difference.settings)
        report.settings.push_back({setting.what, setting.a, setting.b});
    if (difference.world) report.joints = ReportOf(difference.world->joints);
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

YMotionLayer ReportOf(const Layer& layer)
{
    YMotionLayer report;
    report.id = layer.GetLayerID();
    report.name = layer.Name();
    report.muted = layer.IsMuteOn();
    report.solo = layer.IsSolo();
    report.locked = layer.IsLocked();
    report.mode = layer.GetLayerMode();
    report.rotationMode = layer.GetLayerRotationMode();
    report.scalingMode = layer.GetLayerScalingMode();
    report.weight = layer.WeightCurve();
    return report;
}

/// \param name  of the layer afterwards.
[[noreturn]] void FailName(const std::string& name)
{
    throw Failure(
        fmt::format("{} can be no layer's name, as it is empty or taken; choose another one", Quoted(name)));
}

YMotionPlottedProperty ReportOf(const PlottedProperty& property)
{
    YMotionPlottedProperty report;
    report.path = PathOf(*property.node);
    report.unit = UnitOf(*property.node);
    report.isResampled = property.resampled;
    report.keysBefore = property.keysBefore;
    report.keysAfter = property.keysAfter;
    report.largest = property.largest;
    report.time = property.when;
    return report;
}

std::vector<YMotionPlottedProperty> ReportOf(const std::vector<PlottedProperty>& properties)
{
    std::vector<YMotionPlottedProperty> report;
    for (const PlottedProperty& property : properties) report.push_back(ReportOf(property));
    return report;
}

/// What plays, row by row. A curve that nothing is combined with is evaluated at all times at once.
void FillRows(std::vector<float>& rows, const std::vector<YTime>& times,
              const std::vector<SelectedCurve>& curves)
{
    std::vector<PlayedCurve> played = PlayedCurves(curves);
    std::vector<float> column(times.size());
    for (std::size_t i = 0; i < curves.size(); ++i) {
        if (!played[i].IsCurveAlone()) continue;
        StopIfAsked();
        curves[i].curve->Evaluate(times, column);
        for (std::size_t row = 0; row < times.size(); ++row) rows[row * curves.size() + i] = column[row];
    }
    auto value = rows.begin();
    for (const YTime time : times) {
        StopIfAsked();
        for (PlayedCurve& curve : played) {
            if (!curve.IsCurveAlone()) *value = curve.At(time);
            ++value;
        }
    }
}

/// The span to plot; nothing where it is open at both ends.
std::optional<TimeSpan> SpanOf(const Scene& scene, const YMotionPlotting& options)
{
    if (options.start == YTIME_MINUS_INFINITE && options.stop == YTIME_INFINITE) return std::nullopt;
    TimeSpan span = KeySpan(scene).value_or(TimeSpan{options.start, options.stop});
    if (options.start != YTIME_MINUS_INFINITE) span.start = options.start;
    if (options.stop != YTIME_INFINITE) span.stop = options.stop;
    if (span.start < span.stop) return span;
    throw Failure("the span has no length; choose a stop after its start", kExitUsage);
}

void TakeOptions(const Scene& scene, const YMotionPlotting& options, YSmartPlotOptions& plot)
{
    if (!(options.tolerance > 0.0) || options.period < YTIME_ZERO)
        throw Failure("the tolerance or the period is not above 0; choose another one", kExitUsage);
    plot.tolerance = options.tolerance;
    plot.period = options.period == YTIME_ZERO ? TimeOfFrame(1, scene.rate) : options.period;
}

LayerMerge MergeOf(const Scene& scene, const std::vector<int>& ids, int target)
{
    LayerMerge merge;
    for (const auto& layer : scene.layers.Layers()) {
        const bool isNamed = std::find(ids.begin(), ids.end(), layer->GetLayerID()) != ids.end();
        if (isNamed) CheckPlays(scene, *layer, "leave it out");
        if (isNamed || (ids.empty() && !layer->IsMuted())) merge.layers.push_back(layer.get());
    }
    for (const int id : ids) LayerOf(scene, id);
    if (merge.layers.empty())
        throw Failure(scene.file + ": all layers are muted; let those play that are to be merged");
    merge.target = target < 0 ? merge.layers.front() : &LayerOf(scene, target);
    CheckMerge(scene, merge);
    return merge;
}

/// Gives properties back what they and their layers had, unless the work on them is done.
class PropertiesKept
{
  public:
    explicit PropertiesKept(const std::vector<YFCurveNode*>& properties) : mProperties(properties)
    {
        for (const YFCurveNode* property : properties) {
            mBefore.emplace_back(property->Clone());
            if (mBefore.back() == nullptr) throw std::bad_alloc();
        }
    }
    ~PropertiesKept()
    {
        for (std::size_t i = 0; i < mBefore.size(); ++i) mProperties[i]->CopyFrom(mBefore[i].get());
    }
    PropertiesKept(const PropertiesKept&) = delete;
    PropertiesKept& operator=(const PropertiesKept&) = delete;

    void Done() { mBefore.clear(); }

  private:
    const std::vector<YFCurveNode*>& mProperties;
    std::vector<YFCurveNodePtr> mBefore;
};

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
                    const StepTaken& taken, const Wanted& wanted, std::vector<std::string>& notes)
{
    const FilterOutcome outcome = ApplySteps(scene, steps, nodes, taken);
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
    Reduction reduction = FindReduction(scene, goal, taken);
    std::vector<FilterStep> steps;
    steps.push_back(std::move(reduction.step));
    ApplyAndReport(scene, steps, {}, {}, wanted, notes);
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

}  // namespace

YMotionStopping::YMotionStopping(bool (*goesOn)(void* object), void* object, int pause)
{
    const StopQuestion outer = SetStopQuestion({goesOn, object, pause});
    mOuter = outer.goesOn;
    mObjectOfOuter = outer.object;
    mPauseOfOuter = outer.pause;
}

YMotionStopping::~YMotionStopping()
{
    SetStopQuestion({mOuter, mObjectOfOuter, mPauseOfOuter});
}

YMotion::Data& YMotion::Get() const
{
    if (mData == nullptr) throw std::bad_alloc();
    return *mData;
}

YMotion::YMotion() : mError(kMessages, static_cast<int>(std::size(kMessages)))
{
    try {
        auto data = std::make_unique<Data>();
        data->scene.file = "new scene";
        data->scene.root = MakeGroupNode("Scene");
        data->scene.layers.Bind(*data->scene.root);
        mData = std::move(data);
    } catch (const std::exception&) {
        mError.SetLastErrorID(eErrorMemory);
    }
}

YMotion::~YMotion() = default;
YMotion::YMotion(YMotion&& other) noexcept = default;
YMotion& YMotion::operator=(YMotion&& other) noexcept = default;

// --- Files ---------------------------------------------------------------------------------------------

void YMotion::Take(std::unique_ptr<Data> data, std::vector<std::string> notes)
{
    if (!data->scene.leftOut.empty())
        notes.push_back(fmt::format("{}: {}", data->scene.file, LeftOutText(data->scene)));
    mNotes = std::move(notes);
    mData = std::move(data);
}

bool YMotion::Load(const char* path, const YMotionReading& reading)
{
    return Try([&] {
        auto data = std::make_unique<Data>();
        data->path = TextOf(path);
        mNotes.clear();
        std::vector<std::string> notes;
        data->scene = ReadSceneToCheck(data->path, data->age, NotingIn(notes, reading));
        Take(std::move(data), std::move(notes));
    });
}

bool YMotion::LoadText(const char* text, std::size_t size, const char* name, const YMotionReading& reading)
{
    return Try([&] {
        auto data = std::make_unique<Data>();
        mNotes.clear();
        std::vector<std::string> notes;
        data->scene =
            ReadTextToCheck({text, size}, Printable(TextOf(name)), data->age, NotingIn(notes, reading));
        Take(std::move(data), std::move(notes));
    });
}

bool YMotion::Save(const char* path, const char* format, bool repair, const YMotionWriting& writing)
{
    return Try([&] {
        mNotes.clear();
        Data& data = Get();
        const std::string to = TextOf(path);
        const bool isRepair = !data.path.empty() && WouldLoseLeftOut(data.scene, data.path, to);
        if (isRepair) CheckWhole(data.scene, data.path, to, repair, "save another file, or allow the repair");
        const auto note = [this](const std::string& told) { mNotes.push_back(told); };
        if (IsClipName(to, TextOf(format))) {
            WriteClip(data.scene, to, note);
        } else {
            WriteScene(data.scene, to, TextOf(format), note, WritingOf(writing));
        }
        if (isRepair) data.scene.leftOut.clear();
    });
}

bool YMotion::SaveText(std::string& text, const char* format, const YMotionWriting& writing) const
{
    return Try([&] {
        mNotes.clear();
        GltfWriting how = WritingOf(writing);
        how.note = [this](const std::string& note) { mNotes.push_back(note); };
        const bool isClip = IsClipName({}, TextOf(format));
        text = isClip ? ClipText(Get().scene) : SceneText(Get().scene, TextOf(format), how);
    });
}

std::vector<std::string> YMotion::GetAnimations() const
{
    std::vector<std::string> names;
    const bool isWhole = Try([&] { names = Get().scene.animations; });
    if (!isWhole) names.clear();
    return names;
}

bool YMotion::CopyFrom(const YMotion& other)
{
    return Try([&] {
        const Data& from = other.Get();
        mData = std::make_unique<Data>(CopyOf(from.scene), from.path, from.age);
        mNotes.clear();
    });
}

YMotionOrigin YMotion::GetOrigin() const
{
    YMotionOrigin origin;
    const bool isWhole = Try([&] {
        const Data& data = Get();
        origin = {data.path, data.scene.file, static_cast<int>(data.scene.format), data.scene.isPacked, {}};
        for (const LeftOut& each : data.scene.leftOut) origin.leftOut.push_back({each.count, each.line});
    });
    return isWhole ? origin : YMotionOrigin();
}

bool YMotion::SetOrigin(const YMotionOrigin& origin)
{
    return Try([&] {
        const auto format = static_cast<SceneFormat>(origin.format);
        if (format < SceneFormat::Bvh || format > SceneFormat::Gltf)
            throw Failure(origin.name + ": is of no known kind of file; load it anew");
        YMotionOrigin own = origin;
        std::vector<LeftOut> leftOut;
        for (const YMotionOrigin::LeftOut& each : own.leftOut)
            leftOut.push_back({each.count, "part left out", "parts left out", each.line});
        Data& data = Get();
        data.path = std::move(own.path);
        data.scene.file = std::move(own.name);
        data.scene.format = format;
        data.scene.isPacked = own.isPacked;
        data.scene.leftOut = std::move(leftOut);
    });
}

// --- What is in it -------------------------------------------------------------------------------------

YFCurveNode* YMotion::GetRoot() const
{
    return mData == nullptr ? nullptr : mData->scene.root.get();
}

std::vector<YMotionJoint> YMotion::GetJoints() const
{
    std::vector<YMotionJoint> joints;
    const bool isWhole = Try([&] {
        const Scene& scene = Get().scene;
        for (std::size_t i = 0; i < scene.skeleton.joints.size(); ++i) {
            const Joint& joint = scene.skeleton.joints[i];
            const auto& [x, y, z] = joint.offset;
            joints.push_back({joint.name, joint.parent, joint.endSite, {x, y, z}, scene.jointNodes[i]});
        }
    });
    if (!isWhole) joints.clear();
    return joints;
}

bool YMotion::GetCurves(std::vector<YMotionCurve>& curves, const std::vector<std::string>& nodes) const
{
    return Try([&] {
        std::vector<YMotionCurve> chosen;
        for (const SelectedCurve& selected : SelectCurves(Get().scene, nodes))
            chosen.push_back({PathOf(*selected.node), selected.node->FCurveGet(), selected.property});
        curves = std::move(chosen);
    });
}

bool YMotion::GetNodes(std::vector<YFCurveNode*>& chosen, const std::vector<std::string>& nodes) const
{
    return Try([&] { chosen = SelectNodes(Get().scene, nodes); });
}

bool YMotion::ParseTime(const char* text, YTime& time) const
{
    return Try([&] {
        const std::string written = TextOf(text);
        const std::optional<WrittenTime> parsed = ymotion::ParseTime(written);
        if (!parsed) throw Failure(fmt::format("{} is not {}", Quoted(written), kTimeForms), kExitUsage);
        time = parsed->At(Get().scene.rate);
    });
}

YFrameRate YMotion::GetFrameRate() const
{
    return mData == nullptr ? YFrameRate() : LibraryRate(mData->scene.rate);
}

bool YMotion::SetFrameRate(YFrameRate rate)
{
    return Try([&] {
        Scene& scene = Get().scene;
        const double seconds = static_cast<double>(rate.denominator) / static_cast<double>(rate.numerator);
        const bool isPositive = rate.numerator > 0 && rate.denominator > 0;
        if (!isPositive || seconds < kShortestFrame || seconds > kLongestFrame) {
            throw Failure(fmt::format("{}/{} is no rate; choose one with frames from a microsecond to a "
                                      "million seconds",
                                      rate.numerator, rate.denominator),
                          kExitUsage);
        }
        const std::int32_t common = std::gcd(rate.numerator, rate.denominator);
        scene.SetRate({rate.numerator / common, rate.denominator / common});
    });
}

bool YMotion::GetSpan(YTime& start, YTime& stop) const
{
    std::optional<TimeSpan> span;
    if (!Try([&] { span = KeySpan(Get().scene); }) || !span) return false;
    start = span->start;
    stop = span->stop;
    return true;
}

bool YMotion::Sample(std::vector<float>& values, const std::vector<YTime>& times,
                     const std::vector<std::string>& nodes) const
{
    return Try([&] {
        const std::vector<SelectedCurve> curves = SelectCurves(Get().scene, nodes);
        std::vector<float> rows(times.size() * curves.size());
        FillRows(rows, times, curves);
        values = std::move(rows);
    });
}

bool YMotion::GetPoses(std::vector<YMotionPose>& poses, const std::vector<YTime>& times) const
{
    return Try([&] {
        WorldPoses world(Get().scene);
        std::vector<YMotionPose> rows;
        for (const YTime time : times) {
            StopIfAsked();
            for (const JointPose& pose : world.At(time)) {
                const auto& [position, rotation] = pose;
                rows.push_back(
                    {{position.x, position.y, position.z}, {rotation.x, rotation.y, rotation.z, rotation.w}});
            }
        }
        poses = std::move(rows);
    });
}

YFrameRate YMotion::ParseFrameRate(const char* text)
{
    const std::optional<FrameRate> rate = ParseRate(TextOf(text));
    return rate ? LibraryRate(*rate) : YFrameRate{0, 1};
}

YTime YMotion::GetFrameTime(std::int64_t frame, YFrameRate rate)
{
    return TimeOfFrame(frame, {rate.numerator, rate.denominator});
}

std::int64_t YMotion::GetLastFrame(YTime time, YFrameRate rate)
{
    return LastFrame(time, {rate.numerator, rate.denominator});
}

// --- Layers --------------------------------------------------------------------------------------------

std::vector<YMotionLayer> YMotion::GetLayers() const
{
    std::vector<YMotionLayer> layers;
    const bool isWhole = Try([&] {
        for (const auto& layer : Get().scene.layers.Layers()) layers.push_back(ReportOf(*layer));
    });
    if (!isWhole) layers.clear();
    return layers;
}

int YMotion::AddLayer(const char* name)
{
    int id = -1;
    Try([&] {
        const Layer* layer = Get().scene.layers.Add(TextOf(name));
        if (layer == nullptr) FailName(TextOf(name));
        id = layer->GetLayerID();
    });
    return id;
}

bool YMotion::SetLayer(const YMotionLayer& layer)
{
    return Try([&] {
        SceneLayers& layers = Get().scene.layers;
        Layer& target = LayerOf(Get().scene, layer.id);
        const eLayerMode modeBefore = target.GetLayerMode();
        std::string name = layer.name;
        if (!target.SetMode(layer.mode))
            throw Failure("the layer cannot have that mode; the base layer is additive", kExitUsage);
        if (!layers.Rename(target, std::move(name))) {
            target.SetMode(modeBefore);
            FailName(layer.name);
        }
        target.SetMute(layer.muted);
        layers.SetSolo(target, layer.solo);
        target.SetLocked(layer.locked);
        target.SetRotationMode(layer.rotationMode);
        target.SetScalingMode(layer.scalingMode);
        layers.Bind(*Get().scene.root);
    });
}

bool YMotion::RemoveLayer(int id)
{
    return Try([&] {
        Scene& scene = Get().scene;
        LayerOf(scene, id);
        if (!scene.layers.Remove(id, *scene.root))
            throw Failure("the base layer cannot be removed; choose another one");
    });
}

YFCurveLayerInfo YMotion::GetLayerInfo(int id) const
{
    Layer* layer = mData == nullptr ? nullptr : mData->scene.layers.Find(id);
    return layer == nullptr ? YFCurveLayerInfo::Base : layer->Info();
}

bool YMotion::MergeLayers(const std::vector<int>& ids, int target, const YMotionPlotting& options,
                          std::vector<YMotionPlottedProperty>* report)
{
    return Try([&] {
        Scene& scene = Get().scene;
        LayerMerge merge = MergeOf(scene, ids, target);
        TakeOptions(scene, options, merge.options.plot);
        const std::optional<TimeSpan> span = SpanOf(scene, options);
        if (span) {
            merge.options.start = span->start;
            merge.options.stop = span->stop;
        }
        merge.options.removeMerged = !options.keepLayers;
        merge.exact = options.exact;
        const std::vector<YFCurveNode*> properties = PropertiesOf(scene, options.nodes);
        PropertiesKept kept(properties);
        const std::vector<YMotionPlottedProperty> merged =
            ReportOf(MergeProperties(scene, merge, properties));
        StopIfAskedNow();
        kept.Done();
        if (!span && !options.keepLayers) RemoveUnusedLayers(scene, merge);
        scene.layers.Bind(*scene.root);
        if (report != nullptr) *report = merged;
    });
}

bool YMotion::PlotIntoLayer(int layer, const YMotion* from, const YMotionPlotting& options,
                            std::vector<YMotionPlottedProperty>* report)
{
    return Try([&] {
        Scene& scene = Get().scene;
        const Scene* const other = from == nullptr || from == this ? nullptr : &from->Get().scene;
        LayerPlotting plotting;
        plotting.layer = &LayerOf(scene, layer);
        TakeOptions(scene, options, plotting.plot);
        plotting.plot.smart = options.smart;
        plotting.span = SpanOf(other != nullptr ? *other : scene, options);
        const std::vector<YFCurveNode*> properties = PropertiesOf(scene, options.nodes);
        PropertiesKept kept(properties);
        const PlottedIntoLayer plotted = ymotion::PlotIntoLayer(scene, plotting, other, properties);
        const std::vector<YMotionPlottedProperty> done = ReportOf(plotted.properties);
        StopIfAskedNow();
        kept.Done();
        if (report != nullptr) *report = done;
    });
}

// --- Work ----------------------------------------------------------------------------------------------

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
                     YMotionFilterReport* report, YMotionProgress progress, void* object, std::string* page)
{
    return Try([&] {
        mNotes.clear();
        Scene& scene = Get().scene;
        std::vector<FilterStep> steps = ParseSteps(filters, &scene);
        std::string words = fmt::format("{}: {}", scene.file, fmt::join(filters, ", "));
        if (!nodes.empty()) words += fmt::format(" of {}", fmt::join(nodes, ", "));
        ApplyAndReport(scene, steps, nodes, Telling(progress, object), {report, page, words}, mNotes);
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
        std::string words = scene.file + ": reduce";
        if (wish.tolerance) words += ", tolerance " + wanted.tolerance;
        if (wish.ratio) words += ", ratio " + wanted.ratio;
        if (wish.keys) words += fmt::format(", keys {}", wanted.keys);
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

bool YMotion::Compare(const YMotion& other, YMotionDifference& difference, double tolerance,
                      bool orientation) const
{
    return Try([&] {
        CheckTolerance(tolerance);
        difference = ReportOf(CompareScenes(Get().scene, other.Get().scene, tolerance, orientation));
    });
}

bool YMotion::CompareWorld(const YMotion& other, YMotionWorldDifference& difference, double tolerance) const
{
    return Try([&] {
        CheckTolerance(tolerance);
        difference = ReportOf(CompareWorlds(Get().scene, other.Get().scene, tolerance));
    });
}

bool YMotion::PlotSvg(std::string& svg, const YMotionPlotOptions& options) const
{
    return Try([&] {
        constexpr double kNarrowest = 300.0;
        constexpr double kWidest = 10000.0;
        if (!(options.width >= kNarrowest) || !std::isfinite(options.width))
            throw Failure("the picture is less than 300 pixels wide; choose more", kExitUsage);
        if (options.width > kWidest)
            throw Failure("the picture is more than 10000 pixels wide; choose less", kExitUsage);
        const Scene& scene = Get().scene;
        Plot plot =
            MakePlot(scene, options.nodes,
                     SpanToPlot(SpanBetween(scene, options.start, options.stop), scene.rate), options.layers);
        plot.width = options.width;
        svg = SvgOf(plot);
    });
}
