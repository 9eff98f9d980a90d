#include "yfcurve/yfcurvefilterroll.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "yfcurve/curve/edit/ascendingedit.h"
#include "yfcurve/curve/edit/pieces.h"
#include "yfcurve/curve/guarded.h"
#include "yfcurve/filters/rotation/quaternionform.h"
#include "yfcurve/filters/values/monotoneparts.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvefiltereulerquat.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"

namespace {

constexpr int kNoKey = 0;
constexpr int kUnchanged = 1;
constexpr int kNoRotation = 2;
constexpr int kUnexpected = 3;
constexpr int kBadSpan = 4;
constexpr const char* kMessages[] = {"No key", "Left unchanged",
                                     "The filter must be applied on 3 euler rotation FCurves",
                                     "Unexpected error.", nullptr};

constexpr double kTurn = 360.0;
constexpr double kLargestAngle = 100000.0 * kTurn;
constexpr double kMostKeys = 1e6;

constexpr YEnumName kKeyRateModes[] = {{YFCurveFilterRoll::eNoOtherKeys, "None"},
                                       {YFCurveFilterRoll::eKeyEachAngle, "EachAngle"}};

// False for values that no number of turns brings back.
bool CanBeRolled(const YFCurve& curve)
{
    for (int key = 0; key < curve.KeyGetCount(); ++key) {
        if (!(std::fabs(curve.KeyGetValue(key)) <= kLargestAngle)) return false;
    }
    return true;
}

// False where a curve swings so far beyond its keys between them, or over so many turns, that it is no use.
bool StaysNear(const YFCurve& curve, int first, int last)
{
    double turns = 0.0;
    for (int key = std::max(first, 0); key < last; ++key) {
        const yfc::MonotoneParts segment(curve, key);
        for (int i = 1; i < segment.GetCount(); ++i) {
            turns += std::fabs(segment.GetValue(i) - segment.GetValue(i - 1)) / kTurn;
            if (!(std::fabs(segment.GetValue(i)) <= kLargestAngle && turns <= kMostKeys)) return false;
        }
    }
    return true;
}

// Adds a key with just the value that the curve before any of them shows there: what each one rounds would
// add up over thousands of keys.
int InsertOn(YFCurve& work, const YFCurve& before, YTime time)
{
    const int count = work.KeyGetCount();
    const int key = work.KeyInsert(time);
    if (work.KeyGetCount() > count) work.KeySetValue(key, before.Evaluate(time));
    return key;
}

}  // namespace

// Keys from one on, up to the next stretch, and how many turns are taken off their values.
struct YFCurveFilterRoll::Stretch
{
    int firstKey;
    double turn;
};

YClassDefinition& YFCurveFilterRoll::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilterRoll::mAngleInterval>(
            "AngleInterval", 0.0, {.minimum = 0.0, .unit = "degrees", .help = "for KeyRateMode EachAngle"}),
        YPropertyOf<&YFCurveFilterRoll::mKeyRateMode>(
            "KeyRateMode", 0,
            {.help = "whether each multiple of AngleInterval gets a key", .names = kKeyRateModes}),
        YPropertyOf<&YFCurveFilterRoll::mLowerBound>("LowerBound", -180.0,
                                                     {.unit = "degrees", .help = "least angle"}),
        YPropertyOf<&YFCurveFilterRoll::mUpperBound>(
            "UpperBound", 180.0,
            {.unit = "degrees", .help = "greatest angle, a turn above LowerBound or more"}),
        YPropertyOf<&YFCurveFilterRoll::mTolerance>(
            "Tolerance", 0.00001,
            {.minimum = 0.0, .unit = "degrees", .help = "how far beyond a bound is still inside"})};
    static constinit YClassDefinition definition("YFCurveFilterRoll", &YFCurveFilter::StaticClass,
                                                 {.summary = "brings angles into one turn",
                                                  .worksOn = "whole rotations",
                                                  .properties = properties,
                                                  .create = &YCreateObject<YFCurveFilterRoll>,
                                                  .tag = static_cast<int>(eFilterScope::Property)});
    return definition;
}

YFCurveFilterRoll::YFCurveFilterRoll() : YFCurveFilterOf("Filter Roll", kMessages, 5)
{
    Reset();
}

bool YFCurveFilterRoll::Apply(YFCurve&)
{
    return DoesNotApply(kNoRotation, "FilterRoll, You need 3 rotation curves.");
}

bool YFCurveFilterRoll::FilterCurves(YFCurve** curves, int count)
{
    if (count == 3) return yfc::ApplyToCurves(*this, curves, 0);
    return DoesNotApply(kNoRotation, "FilterRoll, You need 3 rotation curves.");
}

bool YFCurveFilterRoll::FilterNode(YFCurveNode& node, bool)
{
    const std::optional<yfc::RotationCurves> curves = yfc::FindRotationCurves(node);
    if (!node.IsRotationLayerType() || !curves) {
        return DoesNotApply(kNoRotation, "FilterRoll, You need 3 rotation curves.");
    }
    if (yfc::IsRotationLocked(node)) return Locked();
    if (GetStartTime() > GetStopTime()) return Refuse(kBadSpan, "FilterRoll. StartTime is after StopTime.");
    const bool hasMode =
        mKeyRateMode == eNoOtherKeys || (mKeyRateMode == eKeyEachAngle && mAngleInterval > 0.0);
    if (!hasMode) return Refuse(kUnexpected, "FilterRoll, Unexpected Key Rate Mode");
    if (node.KeyGetCount() == 0) return NothingToDo(kNoKey, "FilterRoll, No key to be filtered.");

    bool changed = false;
    const bool usable =
        mUpperBound - mLowerBound >= kTurn &&
        std::all_of(curves->begin(), curves->end(), [](YFCurve* c) { return CanBeRolled(*c); });
    constexpr const char* unchanged = "FilterRoll, No key were changed by filter.";
    if (!usable) return Refuse(kUnchanged, unchanged);
    if (yfc::IsQuaternionRotation(node)) {
        if (yfc::GoesOnAmongKeys(node, GetStartTime(), GetStopTime()))
            return Refuse(kUnchanged, yfc::kGoesOnText);
        changed = yfc::Guarded([&] { return RollTurns(node); });
    } else {
        const auto staysNear = [this](YFCurve* c) { return StaysNear(*c, GetStartKey(*c), GetStopKey(*c)); };
        if (!std::all_of(curves->begin(), curves->end(), staysNear)) return Refuse(kUnchanged, unchanged);
        for (YFCurve* curve : *curves) changed = RollCurve(*curve) || changed;
    }
    return changed || NothingToDo(kUnchanged, unchanged);
}

// The turns to take off an angle that follows no other; none from one between the bounds.
double YFCurveFilterRoll::TurnOf(double angle) const
{
    if (angle >= mLowerBound && angle <= mUpperBound) return 0.0;
    return std::floor((angle - mLowerBound) / kTurn);
}

bool YFCurveFilterRoll::RollCurve(YFCurve& curve) const
{
    const int firstKey = GetStartKey(curve);
    int lastKey = GetStopKey(curve);
    if (firstKey < 0 || lastKey < firstKey) return false;
    YFCurve work;
    work.CopyFrom(curve);
    const bool added = mKeyRateMode == eKeyEachAngle && InsertOnAngles(work, curve, firstKey, lastKey);

    std::vector<Stretch> stretches;
    FindStretches(work, curve, firstKey, lastKey, stretches);
    const auto isTurned = [](const Stretch& stretch) { return stretch.turn != 0.0; };
    if (!added && std::none_of(stretches.begin(), stretches.end(), isTurned)) return false;

    std::vector<YFCurvePiece> pieces;
    for (std::size_t i = 0; i < stretches.size(); ++i) {
        const int end = i + 1 < stretches.size() ? stretches[i + 1].firstKey : work.KeyGetCount();
        YFCurvePiece piece{&work, stretches[i].firstKey, end - 1};
        piece.valueShift = static_cast<float>(-kTurn * stretches[i].turn);
        pieces.push_back(piece);
    }
    const YFCurveModify modify(curve);
    YFCurvePieces::Assemble(curve, pieces, true);
    return true;
}

// Cuts the curve where it passes a bound, and lists what is between the cuts, from its first key to its last.
void YFCurveFilterRoll::FindStretches(YFCurve& curve, const YFCurve& before, int firstKey, int lastKey,
                                      std::vector<Stretch>& stretches) const
{
    stretches.push_back({0, 0.0});
    const double firstTurn = TurnOf(curve.KeyGetValue(firstKey));
    if (firstTurn != 0.0 && firstKey > 0) {  // the segment ahead of the span ends in a jump
        const int count = curve.KeyGetCount();
        curve.KeyInsert(curve.KeyGetTime(firstKey) - YTIME_ONE_TICK);
        firstKey += curve.KeyGetCount() - count;
        lastKey += curve.KeyGetCount() - count;
    }
    stretches.push_back({firstKey, firstTurn});
    PassSegments(curve, before, firstKey, lastKey, stretches);
    if (lastKey + 1 >= curve.KeyGetCount()) return;
    if (stretches.back().turn != 0.0) curve.KeyInsert(curve.KeyGetTime(lastKey) + YTIME_ONE_TICK);
    stretches.push_back({lastKey + 1, 0.0});
}

// The same for the segments from one key to another; counts the keys that come to be between them.
void YFCurveFilterRoll::PassSegments(YFCurve& curve, const YFCurve& before, int firstKey, int& lastKey,
                                     std::vector<Stretch>& stretches) const
{
    YFCurveAscendingEdit edit(curve);
    for (int key = firstKey; key < lastKey; ++key) {
        edit.Reach(curve.KeyGetTime(key));
        const yfc::MonotoneParts segment(curve, key);
        const int count = curve.KeyGetCount();
        for (int i = 1; i < segment.GetCount(); ++i)
            PassBounds(curve, before, segment.GetTime(i - 1), segment.GetTime(i), segment.GetValue(i),
                       stretches);
        key += curve.KeyGetCount() - count;
        lastKey += curve.KeyGetCount() - count;
        const double end = curve.KeyGetValue(key + 1) - kTurn * stretches.back().turn;
        if (end < mLowerBound - mTolerance || end > mUpperBound + mTolerance)  // after a constant segment
            stretches.push_back({key + 1, TurnOf(curve.KeyGetValue(key + 1))});
    }
    edit.Finish();
}

// Cuts a stretch wherever it goes on into another turn: a key at the bound, and one a tick later.
void YFCurveFilterRoll::PassBounds(YFCurve& curve, const YFCurve& before, YTime from, YTime to,
                                   double endValue, std::vector<Stretch>& stretches) const
{
    while (from < to) {
        const double turn = stretches.back().turn;
        const double end = endValue - kTurn * turn;
        const bool rises = end > mUpperBound + mTolerance;
        if (!rises && end >= mLowerBound - mTolerance) return;
        const double bound = (rises ? mUpperBound : mLowerBound) + kTurn * turn;
        const YTime last = yfc::LastTimeBeforeMeeting(before, from, to, bound, rises);
        InsertOn(curve, before, last);
        from = last + YTIME_ONE_TICK;
        const int next = InsertOn(curve, before, from);
        stretches.push_back({next, turn + (rises ? 1.0 : -1.0)});
    }
}

// Between keys nothing has to be cut: whole turns of a key do not change what plays.
bool YFCurveFilterRoll::RollTurns(YFCurveNode& node) const
{
    std::array<YFCurve, 3> turns = yfc::SynchronizedTurns(node, TimesOfPlayedAngles(node));
    const yfc::RotationCurves curves = *yfc::FindRotationCurves(node);
    bool changed = turns[0].KeyGetCount() > node.KeyGetCount();
    for (YFCurve& turn : turns) {
        const YFCurveModify modify(turn);
        const int last = GetStopKey(turn);
        for (int key = GetStartKey(turn); key <= last; ++key) {
            const double turned = TurnOf(turn.KeyGetValue(key));
            if (turned == 0.0) continue;
            turn.KeySetValue(key, static_cast<float>(turn.KeyGetValue(key) - kTurn * turned));
            changed = true;
        }
    }
    for (std::size_t axis = 0; changed && axis < curves.size(); ++axis) curves[axis]->CopyFrom(turns[axis]);
    return changed;
}

// Where a rotation in quaternion form plays multiples of the angle interval, if these are to have keys.
std::vector<YTime> YFCurveFilterRoll::TimesOfPlayedAngles(const YFCurveNode& node) const
{
    std::vector<YTime> times;
    const YFCurveNodePtr angles(mKeyRateMode == eKeyEachAngle ? node.SingleLayerCopy() : nullptr);
    if (!angles) return times;
    YFCurveFilterQuatToEuler().Apply(*angles, false);
    const yfc::RotationCurves curves = *yfc::FindRotationCurves(*angles);
    for (YFCurve* curve : curves) {
        const std::vector<YTime> found = TimesOfAngles(*curve, GetStartKey(*curve), GetStopKey(*curve));
        times.insert(times.end(), found.begin(), found.end());
    }
    return times;
}

// Adds keys where the curve is at a multiple of the angle interval.
bool YFCurveFilterRoll::InsertOnAngles(YFCurve& curve, const YFCurve& before, int firstKey,
                                       int& lastKey) const
{
    const std::vector<YTime> times = TimesOfAngles(curve, firstKey, lastKey);
    const int count = curve.KeyGetCount();
    {
        YFCurveAscendingEdit edit(curve);
        for (const YTime time : times) {
            edit.Reach(time);
            InsertOn(curve, before, time);
        }
        edit.Finish();
    }
    const int added = curve.KeyGetCount() - count;
    lastKey += added;
    return added > 0;
}

// Ascending; none where they are too many.
std::vector<YTime> YFCurveFilterRoll::TimesOfAngles(const YFCurve& curve, int firstKey, int lastKey) const
{
    std::vector<YTime> times;
    for (int key = firstKey; key < lastKey; ++key) {
        const yfc::MonotoneParts segment(curve, key);
        for (int i = 1; i < segment.GetCount(); ++i) {
            const double low = std::min(segment.GetValue(i - 1), segment.GetValue(i));
            const double high = std::max(segment.GetValue(i - 1), segment.GetValue(i));
            const double first = std::floor(low / mAngleInterval) + 1.0;
            const double stop = std::ceil(high / mAngleInterval);
            if (stop - first + static_cast<double>(times.size()) > kMostKeys) return {};
            for (double n = first; n < stop; ++n) {
                times.push_back(yfc::LastTimeBeforeMeeting(curve, segment.GetTime(i - 1), segment.GetTime(i),
                                                           n * mAngleInterval, true));
            }
        }
    }
    std::sort(times.begin(), times.end());
    return times;
}
