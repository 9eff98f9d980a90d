#include "yfcurve/manipulator/composing.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "yfcurve/curve/edit/shape.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/tcbmode.h"
#include "yfcurve/manipulator/manipulation.h"

namespace yfc {

namespace {

float Scaled(float slope, double factor)
{
    constexpr double limit = std::numeric_limits<float>::max();
    return factor == 1.0 ? slope : static_cast<float>(std::clamp(slope * factor, -limit, limit));
}

class Composer
{
  public:
    Composer(const ManipulatedNode& manipulated, const KeyChange& change,
             const std::vector<PlacedKey>& placed, KeyRun run)
        : mManipulated(manipulated), mChange(change), mPlaced(placed), mRun(run)
    {}

    // The key with its right side; `at` counts the placed keys.
    YFCurveKey Compose(int at) const;
    // Then the left side of the key behind it. `next` is null for the last key of the curve.
    void SetNextLeft(int at, YFCurveKey& key, const YFCurveKey* next) const;

    const YFCurveKey& Original(int source) const
    {
        return mManipulated.keys[static_cast<std::size_t>(source)];
    }
    int KeyCount() const { return static_cast<int>(mManipulated.keys.size()); }

  private:
    // The placed key, or the first one behind the run; null behind the last key of the curve.
    const PlacedKey* At(int at, PlacedKey& behind) const;
    double SlopeFactor(const PlacedKey& placed) const { return placed.moved ? mChange.SlopeFactor() : 1.0; }
    bool IsMirrored(const PlacedKey& placed) const { return placed.moved && mChange.Mirrors(); }
    YFCurveTangeantInfo Side(const PlacedKey& placed, bool rightSide) const;
    void ContinueLastKey(const PlacedKey& placed, YFCurveKey& key) const;
    void Mirror(const PlacedKey& placed, const PlacedKey* next, YFCurveKey& key) const;
    void TakeSegment(const YFCurveKey& start, YFCurveKey& key) const;
    bool IsWeighted(const PlacedKey& start, const PlacedKey& end) const;
    void TurnToUser(const PlacedKey& placed, YFCurveKey& key) const;
    void MirrorTCB(YFCurveKey& key) const;

    const ManipulatedNode& mManipulated;
    const KeyChange& mChange;
    const std::vector<PlacedKey>& mPlaced;
    KeyRun mRun;
};

const PlacedKey* Composer::At(int at, PlacedKey& behind) const
{
    if (at < static_cast<int>(mPlaced.size())) return &mPlaced[static_cast<std::size_t>(at)];
    if (mRun.end == KeyCount()) return nullptr;
    behind.source = mRun.end;
    return &behind;
}

// One side of a key where it is now, with its slope as it has been stretched.
YFCurveTangeantInfo Composer::Side(const PlacedKey& placed, bool rightSide) const
{
    const bool originalRight = rightSide != IsMirrored(placed);
    const KeySnapshot& snapshot = (*mManipulated.all)[placed.source];
    YFCurveTangeantInfo info = originalRight ? snapshot.right : snapshot.left;
    info.Derivative = Scaled(info.Derivative, SlopeFactor(placed));
    // An end key had no segment on its outer side. Its tangent goes straight on there.
    const bool outer = placed.source == (originalRight ? KeyCount() - 1 : 0);
    if (outer) info.AutoValue = -(originalRight ? snapshot.left : snapshot.right).AutoValue;
    return info;
}

void SetRightSide(YFCurveKey& key, const YFCurveTangeantInfo& info)
{
    const bool isAuto = KeyKind(key).IsAuto();
    key.SetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE, isAuto ? info.AutoValue : info.Derivative);
    key.SetTangeantWeightMode(info.IsWeighted ? YFCURVE_WEIGHT_RIGHT : 0u, YFCURVE_WEIGHT_RIGHT);
    key.SetDataDouble(YFCURVEKEY_RIGHT_WEIGHT, RoundedWeight(info.Weight));
    key.SetTangeantVelocityMode(info.HasVelocity ? YFCURVE_VELOCITY_RIGHT : 0u, YFCURVE_VELOCITY_RIGHT);
    key.SetDataDouble(YFCURVEKEY_RIGHT_VELOCITY, YFCURVE_ToKeep(info.Velocity));
}

void SetNextLeftSide(YFCurveKey& key, const YFCurveTangeantInfo& info, bool isAuto)
{
    key.SetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE, isAuto ? info.AutoValue : info.Derivative);
    key.SetTangeantWeightMode(info.IsWeighted ? YFCURVE_WEIGHT_NEXT_LEFT : 0u, YFCURVE_WEIGHT_NEXT_LEFT);
    key.SetDataDouble(YFCURVEKEY_NEXT_LEFT_WEIGHT, RoundedWeight(info.Weight));
    key.SetTangeantVelocityMode(info.HasVelocity ? YFCURVE_VELOCITY_NEXT_LEFT : 0u,
                                YFCURVE_VELOCITY_NEXT_LEFT);
    key.SetDataDouble(YFCURVEKEY_NEXT_LEFT_VELOCITY, YFCURVE_ToKeep(info.Velocity));
}

YFCurveKey Composer::Compose(int at) const
{
    const PlacedKey& placed = mPlaced[static_cast<std::size_t>(at)];
    PlacedKey behind;
    const PlacedKey* next = At(at + 1, behind);
    YFCurveKey key = Original(placed.source);
    key.SetTime(placed.time);
    key.SetValue(placed.value);
    key.SetFlags((key.GetFlags() & ~kEditingState) | mManipulated.State(placed));
    if (IsMirrored(placed)) {
        Mirror(placed, next, key);
    } else if (KeyKind(key).IsUser()) {
        const float slope = key.GetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE);
        key.SetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE, Scaled(slope, SlopeFactor(placed)));
        if (next != nullptr) ContinueLastKey(placed, key);
    }
    return key;
}

// The last key of a curve had no segment on its right; where it gets one and is unbroken, its left slope goes
// on.
void Composer::ContinueLastKey(const PlacedKey& placed, YFCurveKey& key) const
{
    if (placed.source != KeyCount() - 1 || key.GetBreak()) return;
    key.SetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE, Side(placed, true).Derivative);
}

void Composer::SetNextLeft(int at, YFCurveKey& key, const YFCurveKey* next) const
{
    const PlacedKey& placed = mPlaced[static_cast<std::size_t>(at)];
    PlacedKey behind;
    const PlacedKey* placedNext = At(at + 1, behind);
    if (placedNext == nullptr || next == nullptr || !KeyKind(key).IsCubic() || KeyKind(key).IsTCB()) return;
    const KeyKind rule(KeyKind(*next).IsCubic() ? *next : key);
    const bool asBefore =
        placedNext->source == placed.source + 1 && !IsMirrored(placed) && !IsMirrored(*placedNext);
    if (!asBefore) {
        SetNextLeftSide(key, Side(*placedNext, false), rule.IsAuto());
    } else if (rule.IsUser()) {
        const float slope = key.GetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE);
        key.SetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE, Scaled(slope, SlopeFactor(*placedNext)));
    }
}

// --- Mirroring -----------------------------------------------------------------------------------------

// A segment between two mirrored neighbours now starts at what was its second key.
void Composer::Mirror(const PlacedKey& placed, const PlacedKey* next, YFCurveKey& key) const
{
    const bool startsSegment = next != nullptr && IsMirrored(*next) && next->source == placed.source - 1;
    if (KeyKind(key).IsTCB()) {
        if (startsSegment && IsWeighted(placed, *next)) {
            TurnToUser(placed, key);
        } else {
            MirrorTCB(key);
        }
    }
    if (startsSegment) TakeSegment(Original(next->source), key);
    if (KeyKind(key).IsCubic() && !KeyKind(key).IsTCB()) SetRightSide(key, Side(placed, true));
}

// `start` is the key that the segment used to start at.
void Composer::TakeSegment(const YFCurveKey& start, YFCurveKey& key) const
{
    const bool wasCubic = KeyKind(key).IsCubic();
    const KeyKind kind(start);
    key.SetInterpolation(start.GetInterpolation());
    if (kind.IsCubic() && !wasCubic) {
        const unsigned mode = start.GetTangeantMode(true) & ~unsigned{YFCURVE_TANGENT_BREAK};
        key.SetTangeantMode(kind.IsTCB() ? unsigned{YFCURVE_TANGENT_USER} : mode, true);
    } else if (kind.IsConstant()) {
        // What held the value of its first key now holds that of its second one, and the other way round.
        key.SetTangeantMode(start.GetConstantMode() ^ YFCURVE_CONSTANT_NEXT, true);
    }
}

bool Composer::IsWeighted(const PlacedKey& start, const PlacedKey& end) const
{
    return Side(start, true).IsWeighted || Side(end, false).IsWeighted;
}

// A TCB key has no room for the weights of a segment that has come to start at it.
void Composer::TurnToUser(const PlacedKey& placed, YFCurveKey& key) const
{
    const bool broken = Side(placed, true).Derivative != Side(placed, false).Derivative;
    key.ResetCubic();
    key.SetTangeantMode(broken ? YFCURVE_TANGENT_USER_BREAK : YFCURVE_TANGENT_USER, true);
}

// Where time runs backwards, the segments before and after a key change places and their slopes change signs.
// The formulas of both slopes then are those with the opposite bias; where the arriving slope is that of the
// leaving side, with the opposite continuity as well.
void Composer::MirrorTCB(YFCurveKey& key) const
{
    key.SetDataFloat(YFCURVEKEY_TCB_BIAS, -key.GetDataFloat(YFCURVEKEY_TCB_BIAS));
    if (!tcbArrivesAsItLeaves) return;
    key.SetDataFloat(YFCURVEKEY_TCB_CONTINUITY, -key.GetDataFloat(YFCURVEKEY_TCB_CONTINUITY));
}

}  // namespace

void ComposeKeys(const ManipulatedNode& manipulated, const KeyChange& change,
                 const std::vector<PlacedKey>& placed, KeyRun run, std::vector<YFCurveKey>& composed)
{
    const Composer composer(manipulated, change, placed, run);
    const int count = static_cast<int>(placed.size());
    composed.clear();
    for (int i = 0; i < count; ++i) composed.push_back(composer.Compose(i));
    for (int i = 0; i < count; ++i) {
        const YFCurveKey* next = nullptr;
        if (i + 1 < count) {
            next = &composed[static_cast<std::size_t>(i) + 1];
        } else if (run.end < composer.KeyCount()) {
            next = &composer.Original(run.end);
        }
        composer.SetNextLeft(i, composed[static_cast<std::size_t>(i)], next);
    }
}

void CarryLeftTangent(YFCurve& curve, int index, const YFCurveTangeantInfo& info)
{
    const YFCurveTangeantInfo present = curve.KeyGetLeftDerivativeInfo(index);
    if (present.Derivative == info.Derivative && present.AutoValue == info.AutoValue &&
        present.Weight == info.Weight && present.IsWeighted == info.IsWeighted &&
        present.Velocity == info.Velocity && present.HasVelocity == info.HasVelocity) {
        return;
    }
    curve.KeySetLeftDerivativeInfo(index, StoredAgain(info));
}

bool HoldMirroredSlopes(YFCurve& curve, int first, const ManipulatedNode& manipulated,
                        const KeyChange& change, const std::vector<PlacedKey>& placed)
{
    if (!change.Mirrors()) return false;
    bool held = false;
    const auto original = [&](int source) -> const YFCurveKey& {
        return manipulated.keys[static_cast<std::size_t>(source)];
    };
    const double factor = change.SlopeFactor();
    for (std::size_t i = 1; i < placed.size(); ++i) {
        const int source = placed[i].source;
        const bool endsSegment = placed[i].moved && placed[i - 1].moved && placed[i - 1].source == source + 1;
        const int index = first + static_cast<int>(i);
        const bool isLast = index == curve.KeyGetCount() - 1;
        const bool startsSegment =
            i + 1 < placed.size() && placed[i + 1].moved && placed[i + 1].source == source - 1;
        if (!endsSegment || (!startsSegment && !isLast)) continue;
        const YFCurveKey& own = original(source);
        const bool differs =
            startsSegment && KeyKind(own).IsCubic() != KeyKind(original(source - 1)).IsCubic();
        const bool hasNoRoom =
            KeyKind(curve.KeyGet(index - 1)).IsTCB() && !KeyKind(curve.KeyGet(index)).IsTCB();
        if (!differs && !hasNoRoom) continue;
        const KeySnapshot& snapshot = (*manipulated.all)[source];
        YFCurveShape::Hold(
            curve, index,
            {Scaled(snapshot.right.Derivative, factor), Scaled(snapshot.left.Derivative, factor)});
        held = true;
    }
    return held;
}

}  // namespace yfc
