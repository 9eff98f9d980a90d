#include "yfcurve/filters/rotation/quaternionform.h"

#include <algorithm>
#include <cstdint>

#include "yfcurve/curve/edit/pieces.h"
#include "yfcurve/curve/edit/shape.h"
#include "yfcurve/curve/guarded.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/yfcurvefiltereulerquat.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"

namespace yfc {
namespace {

// How far a motion may be from what it was after it has become angles, in degrees.
constexpr double kAnglesPrecision = 0.01;

// A curve with keys at all times of a list, which has the times of its own keys in it. What is new carries on
// with the interpolation before it; outside the curve's own keys it holds, as the curve did that does not go
// on there (`GoesOnAmongKeys`).
YFCurve WithKeysAt(const YFCurve& curve, const std::vector<YTime>& times,
                   const std::vector<YgeRVector>& angles, int axis)
{
    YFCurve complete;
    complete.CopyFrom(curve, false);
    complete.KeyModifyBegin(static_cast<int>(times.size()));
    const int count = curve.KeyGetCount();
    int next = 0;
    for (std::size_t i = 0; i < times.size(); ++i) {
        if (next < count && curve.KeyGetTime(next) == times[i]) {
            YFCurvePieces::Append(complete, {&curve, next, next});
            ++next;
            continue;
        }
        YFCurveKey key;
        if (next > 0) key = ContinuingKey(curve.KeyGet(next - 1), 0.0f);
        if (next == 0 || next == count) key.SetInterpolation(YFCURVE_INTERP_CONSTANT);
        if (next > 0 && next == count) {
            complete.KeySetInterpolation(complete.KeyGetCount() - 1, YFCURVE_INTERP_CONSTANT);
        }
        key.SetValue(static_cast<float>(angles[i][axis]));
        complete.KeyAdd(times[i], key);
    }
    complete.KeyModifyEnd();
    return complete;
}

std::array<std::uint32_t, 3> UpdateIds(const RotationCurves& curves)
{
    return {curves[0]->GetUpdateId(), curves[1]->GetUpdateId(), curves[2]->GetUpdateId()};
}

// Does work on a copy, and gives a rotation the curves of the copy where they have changed. \param finish  is
// called before that.
template<class Finish>
bool WorkOnCopy(YFCurveNode& rotation, YFCurveNode& copy, const CurveWork& work, Finish finish)
{
    const RotationCurves results = *FindRotationCurves(copy);
    const auto before = UpdateIds(results);
    const bool isDone = work(copy);
    if (UpdateIds(results) == before) return isDone;
    finish();
    const RotationCurves curves = *FindRotationCurves(rotation);
    for (std::size_t axis = 0; axis < curves.size(); ++axis) curves[axis]->CopyFrom(*results[axis]);
    return isDone;
}

}  // namespace

YTime Middle(YTime from, YTime to)
{
    const std::uint64_t ticks = static_cast<std::uint64_t>(to.Get()) - static_cast<std::uint64_t>(from.Get());
    return YTime(from.Get() + static_cast<std::int64_t>(ticks / 2));
}

std::vector<YFCurveNode*> RotationLayers(YFCurveNode& node)
{
    std::vector<YFCurveNode*> layers;
    for (YFCurveNode* layer = &node; layer != nullptr; layer = layer->LayerGet()) {
        if (layer->IsRotationLayerType() && FindRotationCurves(*layer)) layers.push_back(layer);
    }
    return layers;
}

bool IsAnyLocked(const std::vector<YFCurveNode*>& layers)
{
    return std::any_of(layers.begin(), layers.end(),
                       [](const YFCurveNode* layer) { return IsRotationLocked(*layer); });
}

bool IsQuaternionRotation(const YFCurveNode& node)
{
    return node.GetUseQuaternion() && node.IsRotationLayerType() && FindRotationCurves(node);
}

YgeRVector PlayedAngles(const YFCurveNode& rotation, YTime time, int& hint)
{
    double angles[3];
    rotation.RotationNodeEvaluate(angles, time, &hint);
    return {angles[0], angles[1], angles[2]};
}

std::array<YFCurve, 3> SynchronizedTurns(const YFCurveNode& rotation, const std::vector<YTime>& furtherTimes)
{
    const RotationCurves curves = *FindRotationCurves(rotation);
    std::vector<YTime> times = KeyTimes(curves, YTIME_MINUS_INFINITE, YTIME_INFINITE);
    const std::size_t own = times.size();
    for (const YTime time : furtherTimes) {
        if (own > 0 && time > times.front() && time < times[own - 1]) times.push_back(time);
    }
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end()), times.end());
    std::vector<YgeRVector> angles;
    int hint = 0;
    for (const YTime time : times) angles.push_back(PlayedAngles(rotation, time, hint));
    return {WithKeysAt(*curves[0], times, angles, 0), WithKeysAt(*curves[1], times, angles, 1),
            WithKeysAt(*curves[2], times, angles, 2)};
}

void ExchangeSpan(const RotationCurves& curves, const std::array<YFCurve, 3>& outside,
                  const std::array<YFCurve, 3>& inside, YTime start, YTime stop)
{
    for (std::size_t axis = 0; axis < curves.size(); ++axis) {
        const YFCurve& kept = outside[axis];
        const YFCurve& put = inside[axis];
        const YFCurveModify modify(*curves[axis]);
        YFCurvePieces::Assemble(*curves[axis],
                                {{&kept, 0, FirstKeyFrom(kept, start) - 1},
                                 {&put, 0, put.KeyGetCount() - 1},
                                 {&kept, LastKeyUntil(kept, stop) + 1, kept.KeyGetCount() - 1}},
                                false);
    }
}

bool WorkOnAngles(YFCurveNode& rotation, const CurveWork& work)
{
    if (rotation.KeyGetCount() == 0) return work(rotation);
    return Guarded([&] {
        YFCurveFilterQuatToEuler toAngles;
        toAngles.SetPrecision(kAnglesPrecision);
        const YFCurveNodePtr copy(rotation.SingleLayerCopy());
        if (!copy || !toAngles.Apply(*copy, false)) return false;
        return WorkOnCopy(rotation, *copy, work, [&] {
            const std::vector<YFCurveNode*> layers = RotationLayers(rotation);
            if (layers.size() > 1) toAngles.Apply(*layers[1], false);
            rotation.SetUseQuaternion(false);
        });
    });
}

bool WorkOnKeyTimes(YFCurveNode& rotation, const CurveWork& work)
{
    if (rotation.KeyGetCount() == 0) return work(rotation);
    return Guarded([&] {
        const YFCurveNodePtr copy(rotation.SingleLayerCopy());
        if (!copy) return false;
        const std::array<YFCurve, 3> turns = SynchronizedTurns(rotation);
        const RotationCurves curves = *FindRotationCurves(*copy);
        for (std::size_t axis = 0; axis < curves.size(); ++axis) curves[axis]->CopyFrom(turns[axis]);
        return WorkOnCopy(rotation, *copy, work, [] {});
    });
}

}  // namespace yfc
