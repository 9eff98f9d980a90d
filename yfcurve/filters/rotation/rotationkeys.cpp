// What the filters share that choose among the Euler triples of a rotation: its curves are copied and get
// keys at common times, the chosen triples are taken back, and explicit tangents are mirrored with the second
// angle. What differs is the choice: nearest the key before (`gimblekiller.cpp`), the same inside limits
// (`unrolldof.cpp`), or all keys at once (`triplechoice.cpp`).

#include "yfcurve/filters/rotation/rotationkeys.h"

#include <algorithm>

#include "yfcurve/curve/edit/ascendingedit.h"
#include "yfcurve/curve/extrapolation.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/filters/rotation/quaternionform.h"
#include "yfcurve/yfcurvefilter.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"

namespace yfc {
namespace {

constexpr int kAngles = 3;
constexpr const char* kAngleNames[kAngles] = {"X", "Y", "Z"};

bool HasExplicitSlopes(const YFCurve& curve, int index)
{
    return KeyKind(curve, index).IsUser();
}

// Where the slope that a segment ends with is stored as such, other than as the parameter of a rule.
bool HasExplicitEnd(const YFCurve& curve, int index)
{
    const KeyKind kind(curve, index);
    if (!kind.IsCubic() || kind.IsTCB()) return false;
    const bool endIsCubic = KeyKind(curve, index + 1).IsCubic();
    return HasExplicitSlopes(curve, endIsCubic ? index + 1 : index);
}

std::array<YFCurve, 3> CopiesOf(const YFCurveNode& rotation)
{
    if (IsQuaternionRotation(rotation)) return SynchronizedTurns(rotation);
    const RotationCurves curves = *FindRotationCurves(rotation);
    return {YFCurve(*curves[0]), YFCurve(*curves[1]), YFCurve(*curves[2])};
}

// A span up to the nearest keys outside.
std::pair<YTime, YTime> WithNextKeys(std::span<const YFCurve* const> curves, YTime start, YTime stop)
{
    YTime before = YTIME_MINUS_INFINITE;
    YTime after = YTIME_INFINITE;
    for (const YFCurve* curve : curves) {
        const int first = FirstKeyFrom(*curve, start);
        const int next = LastKeyUntil(*curve, stop) + 1;
        if (first > 0) before = std::max(before, curve->KeyGetTime(first - 1));
        if (next < curve->KeyGetCount()) after = std::min(after, curve->KeyGetTime(next));
    }
    return {before != YTIME_MINUS_INFINITE ? before : start, after != YTIME_INFINITE ? after : stop};
}

// A node that gives its curves back when it ends.
class BorrowingNode
{
  public:
    BorrowingNode(YFCurve** curves, int order)
        : mNode(YFCurveNodeCreate("R", static_cast<YDataType*>(nullptr), YFCURVE_LAYERTYPE_ROTATION))
    {
        for (int i = 0; mNode && i < kAngles; ++i) {
            YFCurveNodePtr child(YFCurveNodeCreate(kAngleNames[i], YDataType::Get(eDataType::Number),
                                                   YFCURVE_LAYERTYPE_COMPONENT));
            if (!child || mNode->Add(child.get()) < 0) return;
            static_cast<void>(child.release());  // the node's from here on
        }
        if (!mNode) return;
        mNode->SetRotationOrder(order);
        // Last, since a node that is not finished would end with curves that are not its own.
        for (int i = 0; i < kAngles; ++i) mNode->Get(i)->FCurveSet(curves[i]);
    }
    ~BorrowingNode()
    {
        for (int i = 0; mNode && i < mNode->GetCount(); ++i) mNode->Get(i)->FCurveSet(nullptr);
    }
    BorrowingNode(const BorrowingNode&) = delete;
    BorrowingNode& operator=(const BorrowingNode&) = delete;

    YFCurveNode* Get() const { return mNode && mNode->GetCount() == kAngles ? mNode.get() : nullptr; }

  private:
    YFCurveNodePtr mNode;
};

}  // namespace

std::optional<RotationCurves> FindRotationCurves(const YFCurveNode& node)
{
    if (node.GetCount() != kAngles) return std::nullopt;
    const RotationCurves curves = {node.Get(0)->FCurveGet(), node.Get(1)->FCurveGet(),
                                   node.Get(2)->FCurveGet()};
    const bool complete = curves[0] != nullptr && curves[1] != nullptr && curves[2] != nullptr;
    return complete ? std::optional(curves) : std::nullopt;
}

bool IsRotationLocked(const YFCurveNode& node)
{
    bool locked = node.IsNodeLocked();
    for (int i = 0; i < node.GetCount(); ++i) {
        const YFCurve* curve = node.Get(i)->FCurveGet();
        locked = locked || node.Get(i)->IsNodeLocked() || (curve != nullptr && curve->IsLocked());
    }
    return locked;
}

std::vector<YTime> KeyTimes(std::span<const YFCurve* const> curves, YTime start, YTime stop)
{
    std::vector<YTime> times;
    for (const YFCurve* curve : curves) {
        const int last = LastKeyUntil(*curve, stop);
        for (int i = FirstKeyFrom(*curve, start); i <= last; ++i) times.push_back(curve->KeyGetTime(i));
    }
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end()), times.end());
    return times;
}

// A key that is inserted may bring others along, which a segment with long handles needs; those are for the
// next round. Should that not come to an end, the last round adds plain keys.
void CompleteKeys(std::span<YFCurve* const> curves, YTime start, YTime stop)
{
    constexpr int rounds = 8;
    for (int round = 0; round < rounds; ++round) {
        const std::vector<YTime> times = KeyTimes(curves, start, stop);
        bool complete = true;
        for (YFCurve* curve : curves) {
            const int own = std::max(0, LastKeyUntil(*curve, stop) - FirstKeyFrom(*curve, start) + 1);
            if (own == static_cast<int>(times.size())) continue;
            complete = false;
            const YFCurveModify modify(*curve, curve->KeyGetCount() + static_cast<int>(times.size()) - own);
            YFCurveAscendingEdit edit(*curve);
            int hint = 0;
            for (const YTime time : times) {
                edit.Reach(time);
                if (round < rounds - 1) {
                    curve->KeyInsert(time, &hint);
                } else {
                    curve->KeyAdd(time, &hint);
                }
            }
            edit.Finish();
        }
        if (complete) return;
    }
}

bool GoesOnAmongKeys(const YFCurveNode& rotation, YTime start, YTime stop)
{
    const RotationCurves curves = *FindRotationCurves(rotation);
    const bool turns = IsQuaternionRotation(rotation);
    const auto [from, to] =
        turns ? std::pair(YTIME_MINUS_INFINITE, YTIME_INFINITE)
              : WithNextKeys(std::array<const YFCurve*, 3>{curves[0], curves[1], curves[2]}, start, stop);
    const std::vector<YTime> times = KeyTimes(curves, from, to);
    const auto goesOn = [turns](const YFCurve& curve, bool before) {
        return turns ? curve.MovesOutside(before) : RepeatsOutside(curve, before);
    };
    return std::any_of(curves.begin(), curves.end(), [&](const YFCurve* curve) {
        if (times.empty() || curve->KeyGetCount() == 0) return false;
        const bool isBefore = times.front() < curve->KeyGetTime(0);
        const bool isBehind = times.back() > curve->KeyGetTime(curve->KeyGetCount() - 1);
        return (isBefore && goesOn(*curve, true)) || (isBehind && goesOn(*curve, false));
    });
}

bool IsHeldAfter(const std::array<const YFCurve*, 3>& curves, YTime time)
{
    return std::all_of(curves.begin(), curves.end(), [time](const YFCurve* curve) {
        const int key = LastKeyUntil(*curve, time);
        const bool isInside = key >= 0 && key + 1 < curve->KeyGetCount();
        return !isInside || KeyKind(*curve, key).IsConstant();
    });
}

bool ApplyToCurves(YFCurveFilter& filter, YFCurve** curves, int order)
{
    const bool complete = std::none_of(curves, curves + kAngles, [](YFCurve* c) { return c == nullptr; });
    if (!complete) return false;
    const BorrowingNode node(curves, order);
    return node.Get() != nullptr && filter.Apply(*node.Get(), true);
}

RotationKeys::RotationKeys(const YFCurveNode& rotation, YTime start, YTime stop)
    : mStart(start), mStop(stop), mCopies(CopiesOf(rotation))
{
    FindKeys();
    int hint = 0;
    if (mAnchorTime != YTIME_MINUS_INFINITE) mAnchor = Evaluate(mAnchorTime, hint);
}

// The nearest times of keys outside the span are completed as well: a curve without a key there would take
// what a key in the span becomes beyond it.
void RotationKeys::FindKeys()
{
    const auto [start, stop] = WithNextKeys(Copies(), mStart, mStop);
    if (start < mStart) mAnchorTime = start;
    CompleteKeys(RotationCurves{&mCopies[0], &mCopies[1], &mCopies[2]}, start, stop);
    for (std::size_t axis = 0; axis < mCopies.size(); ++axis) {
        mFirst[axis] = FirstKeyFrom(mCopies[axis], mStart);
        mCount = std::max(0, LastKeyUntil(mCopies[axis], mStop) - mFirst[axis] + 1);
    }
}

YgeRVector RotationKeys::GetAngles(int key) const
{
    return {mCopies[0].KeyGetValue(mFirst[0] + key), mCopies[1].KeyGetValue(mFirst[1] + key),
            mCopies[2].KeyGetValue(mFirst[2] + key)};
}

YgeRVector RotationKeys::Evaluate(YTime time, int& hint) const
{
    return {mCopies[0].Evaluate(time, &hint), mCopies[1].Evaluate(time, &hint),
            mCopies[2].Evaluate(time, &hint)};
}

void RotationKeys::Insert(const std::vector<YTime>& times)
{
    for (YFCurve& copy : mCopies) {
        const YFCurveModify modify(copy, copy.KeyGetCount() + static_cast<int>(times.size()));
        copy.KeyInsert(times.data(), static_cast<int>(times.size()));
    }
    FindKeys();
}

bool RotationKeys::SetForms(const std::vector<EulerForm>& forms, const ybase::AxisOrder& axes)
{
    bool changed = false;
    for (std::size_t axis = 0; axis < mCopies.size(); ++axis) {
        const YFCurveModify modify(mCopies[axis]);
        for (int key = 0; key < mCount; ++key) {
            const auto value =
                static_cast<float>(forms[static_cast<std::size_t>(key)].angles[static_cast<int>(axis)]);
            const int index = mFirst[axis] + key;
            // Not-a-number is not to count as a change.
            if (!(value < mCopies[axis].KeyGetValue(index)) && !(value > mCopies[axis].KeyGetValue(index)))
                continue;
            mCopies[axis].KeySetValue(index, value);
            changed = true;
        }
    }
    if (changed) MirrorTangents(forms, axes.second);
    return changed;
}

// A segment between two flipped keys is mirrored as a whole. Where only one of its keys was flipped, which
// undoes a flip, each end follows its own key; at a pole, which is neither, the key at the other end.
void RotationKeys::MirrorTangents(const std::vector<EulerForm>& forms, int secondAxis)
{
    const auto axis = static_cast<std::size_t>(secondAxis);
    YFCurve& curve = mCopies[axis];
    const YFCurveModify modify(curve);
    for (int key = 0; key + 1 < mCount; ++key) {
        const EulerForm& from = forms[static_cast<std::size_t>(key)];
        const EulerForm& to = forms[static_cast<std::size_t>(key) + 1];
        const int index = mFirst[axis] + key;
        if ((from.atPole ? to : from).flipped && HasExplicitSlopes(curve, index))
            curve.KeySetRightDerivative(index, -curve.KeyGetRightDerivative(index));
        if ((to.atPole ? from : to).flipped && HasExplicitEnd(curve, index))
            curve.KeySetLeftDerivative(index + 1, -curve.KeyGetLeftDerivative(index + 1));
    }
}

void RotationKeys::CopyTo(const RotationCurves& curves) const
{
    for (std::size_t axis = 0; axis < mCopies.size(); ++axis) curves[axis]->CopyFrom(mCopies[axis]);
}

}  // namespace yfc
