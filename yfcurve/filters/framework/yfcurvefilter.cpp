#include "yfcurve/yfcurvefilter.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "yfcurve/filters/framework/filterclasses.h"
#include "yfcurve/filters/rotation/quaternionform.h"
#include "yfcurve/node/tree/animationkeep.h"
#include "yfcurve/node/tree/treewalk.h"
#include "yfcurve/yfcurve.h"

namespace {

// The outcomes of the parts of an array or a tree.
class Parts
{
  public:
    void Add(eFilterOutcome outcome) { mOutcome = std::max(mOutcome.value_or(outcome), outcome); }
    eFilterOutcome GetOutcome() const { return mOutcome.value_or(eFilterOutcome::NothingToDo); }

  private:
    std::optional<eFilterOutcome> mOutcome;
};

// A filter calls itself for what is below a node. As many levels as this fit on every stack, and into a file.
constexpr int kMostLevels = 1024;
constexpr const char* kTooDeepText = "YFCurveFilter, The tree has more than 1024 levels.";
constexpr const char* kNoMemoryText = "YFCurveFilter, Memory has run out.";

// Throws `std::bad_alloc` when memory does not suffice to look.
bool IsTooDeep(const YFCurveNode& node)
{
    int level = 0;
    return !yfc::WalkBelow(
        node, yfc::ChildOf,
        [&](const YFCurveNode&) { return ++level > kMostLevels ? yfc::EWalk::Stop : yfc::EWalk::Into; },
        [&](const YFCurveNode&) { --level; });
}

// Counts the calls of a filter that are under way.
class Level
{
  public:
    explicit Level(int& level) : mLevel(level) { ++mLevel; }
    ~Level() { --mLevel; }
    Level(const Level&) = delete;
    Level& operator=(const Level&) = delete;

  private:
    int& mLevel;
};

}  // namespace

YClassDefinition& YFCurveFilter::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilter::mStart>("Start", YTIME_MINUS_INFINITE,
                                            {.unit = "s", .help = "first time to filter"}),
        YPropertyOf<&YFCurveFilter::mStop>("Stop", YTIME_INFINITE,
                                           {.unit = "s", .help = "last time to filter"}),
    };
    static constinit YClassDefinition definition(
        "YFCurveFilter", &YObject::StaticClass,
        {.summary = "rewrites the keys of curves", .properties = properties});
    return definition;
}

YFCurveFilter::YFCurveFilter(const char* name, const char* const* messageTable, int messageCount)
    : mName(name), mError(messageTable, messageCount)
{
    YFCURVE_RegisterFilterClasses();
}

YFCurveFilter::~YFCurveFilter()
{
    TearDown();
}

eFilterScope YFCurveFilter::GetScope() const
{
    return static_cast<eFilterScope>(GetClassDefinition()->GetOptions().tag);
}

// --- Span ----------------------------------------------------------------------------------------------

int YFCurveFilter::GetStartKey(YFCurve& curve) const
{
    if (curve.KeyGetCount() == 0) return -1;
    const YTime time = std::max(mStart, curve.KeyGetTime(0));
    return std::max(0, static_cast<int>(std::floor(curve.KeyFind(time))));
}

int YFCurveFilter::GetStopKey(YFCurve& curve) const
{
    if (curve.KeyGetCount() == 0) return -1;
    const int lastKey = curve.KeyGetCount() - 1;
    const YTime time = std::min(mStop, curve.KeyGetTime(lastKey));
    return std::min(lastKey, static_cast<int>(std::ceil(curve.KeyFind(time))));
}

// --- Parameters by name --------------------------------------------------------------------------------

bool YFCurveFilter::SetParameter(const char* name, const char* text)
{
    YProperty* property = FastFindPropertyByName(name);
    return property != nullptr && property->SetString(text);
}

// --- Filtering -----------------------------------------------------------------------------------------
// Operations on several curves return true once they have gone through all of them, whether or not a filter
// has changed any: what became of each is said by the outcome.

bool YFCurveFilter::NeedApply(YFCurve&)
{
    return true;
}

bool YFCurveFilter::NeedApply(YFCurve** curves, int count)
{
    for (int i = 0; i < count && curves != nullptr; ++i) {
        if (curves[i] != nullptr) NeedApply(*curves[i]);
    }
    return true;
}

bool YFCurveFilter::NeedApply(YFCurveNode& node, bool recursive)
{
    if (recursive && mLevel == 0 && yfc::GuardedOr(true, [&] { return IsTooDeep(node); })) return true;
    const Level level(mLevel);
    for (int i = 0; recursive && i < node.GetCount(); ++i) NeedApply(*node.Get(i), recursive);
    if (YFCurve* curve = node.FCurveGet()) NeedApply(&curve, 1);
    return true;
}

// Filters go through other filters, and through curves and nodes one by one: the outermost application keeps
// all that may change, to put it back when memory runs out.
template<class Keep, class Work>
bool YFCurveFilter::Run(const Keep& keepAll, const Work& work)
{
    const bool isOutermost = yfc::gGuardDepth == 0;
    bool applied = false;
    const bool hadMemory = yfc::HadMemoryFor([&] {
        mOutcome = eFilterOutcome::Changed;
        yfc::AnimationKeep keep;
        if (isOutermost) keepAll(keep);
        applied = yfc::PuttingBack(keep, false, work);
    });
    if (!hadMemory) {
        End(eFilterOutcome::OutOfMemory, 0, kNoMemoryText);
    } else if (!applied && mOutcome == eFilterOutcome::Changed) {
        mOutcome = eFilterOutcome::Refused;
    }
    return applied;
}

bool YFCurveFilter::Apply(YFCurve& curve)
{
    return Run([&](yfc::AnimationKeep& keep) { keep.Keep(curve); },
               [&] { return curve.IsLocked() ? Locked() : FilterCurve(curve); });
}

bool YFCurveFilter::Apply(YFCurve** curves, int count)
{
    if (count > 0 && (curves == nullptr || std::find(curves, curves + count, nullptr) != curves + count)) {
        mOutcome = eFilterOutcome::Refused;
        return false;
    }
    const auto keepAll = [&](yfc::AnimationKeep& keep) {
        for (int i = 0; i < count; ++i) keep.Keep(*curves[i]);
    };
    return Run(keepAll, [&] { return FilterCurves(curves, count); });
}

bool YFCurveFilter::Apply(YFCurveNode& node, bool recursive)
{
    bool isTooDeep = false;
    const bool isOutermost = recursive && mLevel == 0;
    if (isOutermost && !yfc::HadMemoryFor([&] { isTooDeep = IsTooDeep(node); })) {
        return End(eFilterOutcome::OutOfMemory, 0, kNoMemoryText);
    }
    if (isTooDeep) return Refuse(0, kTooDeepText);
    const Level level(mLevel);
    return Run([&](yfc::AnimationKeep& keep) { keep.Keep(node); },
               [&] { return FilterNode(node, recursive); });
}

bool YFCurveFilter::FilterCurve(YFCurve&)
{
    SetOutcome(eFilterOutcome::DoesNotApply);
    return false;
}

bool YFCurveFilter::FilterCurves(YFCurve** curves, int count)
{
    Parts parts;
    for (int i = 0; i < count; ++i) {
        const bool locked = curves[i]->IsLocked();
        if (!locked) Apply(*curves[i]);
        parts.Add(locked ? eFilterOutcome::Locked : mOutcome);
    }
    mOutcome = parts.GetOutcome();
    return true;
}

bool YFCurveFilter::FilterNode(YFCurveNode& node, bool recursive)
{
    if (!recursive || !yfc::IsQuaternionRotation(node)) return FilterParts(node, recursive);
    return FilterAsAngles(node, [this](YFCurveNode& angles) { return FilterParts(angles, true); });
}

bool YFCurveFilter::FilterKeyTimes(YFCurveNode& node, bool recursive)
{
    if (!recursive || !yfc::IsQuaternionRotation(node)) return FilterParts(node, recursive);
    if (yfc::IsRotationLocked(node)) return Locked();
    return yfc::WorkOnKeyTimes(node, [this](YFCurveNode& turns) { return FilterParts(turns, true); });
}

bool YFCurveFilter::FilterAsAngles(YFCurveNode& rotation,
                                   const std::function<bool(YFCurveNode& angles)>& work)
{
    if (yfc::IsAnyLocked(yfc::RotationLayers(rotation))) return Locked();
    return yfc::WorkOnAngles(rotation, work);
}

// A filter may add and remove children, so they are counted anew each time.
bool YFCurveFilter::FilterParts(YFCurveNode& node, bool recursive)
{
    Parts parts;
    for (int i = 0; recursive && i < node.GetCount(); ++i) {
        YFCurveNode& child = *node.Get(i);
        const bool locked = child.IsNodeLocked();
        if (!locked) Apply(child, recursive);
        parts.Add(locked ? eFilterOutcome::Locked : mOutcome);
    }
    if (YFCurve* curve = node.FCurveGet()) {
        const bool locked = curve->IsLocked();
        if (!locked) Apply(*curve);
        parts.Add(locked ? eFilterOutcome::Locked : mOutcome);
    }
    mOutcome = parts.GetOutcome();
    return true;
}

bool YFCurveFilter::Untouched()
{
    mOutcome = eFilterOutcome::NothingToDo;
    return true;
}

bool YFCurveFilter::Locked()
{
    return End(eFilterOutcome::Locked, YError::NoError, nullptr);
}

bool YFCurveFilter::NothingToDo(int identifier, const char* text)
{
    return End(eFilterOutcome::NothingToDo, identifier, text);
}

bool YFCurveFilter::DoesNotApply(int identifier, const char* text)
{
    return End(eFilterOutcome::DoesNotApply, identifier, text);
}

bool YFCurveFilter::Refuse(int identifier, const char* text)
{
    return End(eFilterOutcome::Refused, identifier, text);
}

bool YFCurveFilter::End(eFilterOutcome outcome, int identifier, const char* text)
{
    mOutcome = outcome;
    if (text != nullptr) {
        mError.SetLastError(identifier, text);
    } else if (identifier != YError::NoError) {
        mError.SetLastErrorID(identifier);
    }
    return outcome == eFilterOutcome::Changed;
}

void YFCurveFilter::Reset()
{
    ResetProperties(StaticClass());
}

void YFCurveFilter::UpdateProgressInformation(YTime, YTime) {}
