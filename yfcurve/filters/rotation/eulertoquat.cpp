// Keys are added by halving: a stretch between two keys fits when the even turn on the shortest way between
// its ends (Shoemake, "Animating Rotation with Quaternion Curves", 1985) stays within the precision of what
// the angles make, and cannot fit while the angles go through more than the shortest way can be.

#include <cmath>

#include "yfcurve/curve/guarded.h"
#include "yfcurve/curve/ticks.h"
#include "yfcurve/filters/rotation/quaternionform.h"
#include "yfcurve/yfcurvefiltereulerquat.h"
#include "yfcurve/yfcurvenode.h"

namespace {

constexpr int kNoKey = 0;
constexpr int kNotEuler = 1;
constexpr int kLeftUnchanged = 1;
// The first of the two texts has run into the second, and the table has kept its length.
constexpr const char* kMessages[] = {"No key", "Left unchangedNode not in Euler", nullptr, nullptr};
constexpr const char* kNoKeyText = "Euler To Quaternion, No key to be filtered.";
constexpr const char* kNotEulerText = "Euler To Quaternion, Node not in Euler.";
constexpr const char* kNoRotationText = "Euler To Quaternion, Works only on rotation CurveNodes.";

// The travel of the three angles together from which on a stretch is halved in any case.
constexpr double kLargestTravel = 170.0;

class EulerFitter
{
  public:
    EulerFitter(const yfc::RotationKeys& keys, eRotationOrder order, double precision)
        : mKeys(keys), mOrder(order), mPrecision(precision)
    {}

    /// The times at which keys are missing.
    std::vector<YTime> Run()
    {
        for (int key = 0; mPrecision > 0.0 && key + 1 < mKeys.GetCount(); ++key) {
            if (!mKeys.IsHeldAfter(key)) Fit(mKeys.GetTime(key), mKeys.GetTime(key + 1), 0);
        }
        return mTimes;
    }

  private:
    void Fit(YTime from, YTime to, int depth)
    {
        const YTime middle = yfc::Middle(from, to);
        if (depth == yfc::kLargestDepth || mTimes.size() >= yfc::kLargestKeyCount || middle == from) return;
        if (Fits(from, to)) return;
        Fit(from, middle, depth + 1);
        mTimes.push_back(middle);
        Fit(middle, to, depth + 1);
    }

    bool Fits(YTime from, YTime to)
    {
        YgeRVector angles[yfc::kProbes + 1];
        double travel = 0.0;
        for (int i = 0; i <= yfc::kProbes; ++i) {
            angles[i] = mKeys.Evaluate(TimeOf(i, from, to), mHint);
            for (int axis = 0; i > 0 && axis < 3; ++axis)
                travel += std::abs(angles[i][axis] - angles[i - 1][axis]);
        }
        if (travel > kLargestTravel) return false;
        const YgeQuaternion start(angles[0], mOrder);
        const YgeQuaternion stop(angles[yfc::kProbes], mOrder);
        for (int i = 1; i < yfc::kProbes; ++i) {
            const double fraction = yfc::Ticks(from, TimeOf(i, from, to)) / yfc::Ticks(from, to);
            const YgeQuaternion turned = Slerp(start, stop, fraction);
            if (YgeQuaternion(angles[i], mOrder).GetAngleTo(turned) > mPrecision) return false;
        }
        return true;
    }

    static YTime TimeOf(int probe, YTime from, YTime to)
    {
        if (probe == yfc::kProbes) return to;
        const double ticks = yfc::Ticks(from, to) * probe / yfc::kProbes;
        return YTime(from.Get() + static_cast<std::int64_t>(ticks));
    }

    const yfc::RotationKeys& mKeys;
    const eRotationOrder mOrder;
    const double mPrecision;
    int mHint = 0;
    std::vector<YTime> mTimes;
};

}  // namespace

YClassDefinition& YFCurveFilterEulerToQuat::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilterEulerToQuat::mPrecision>("Precision", yfc::kDefaultPrecision,
                                                           yfc::kPrecisionOptions),
    };
    static constinit YClassDefinition definition("YFCurveFilterEulerToQuat", &YFCurveFilter::StaticClass,
                                                 {.summary = "makes a rotation interpolate as quaternions",
                                                  .worksOn = "whole rotations",
                                                  .properties = properties,
                                                  .create = &YCreateObject<YFCurveFilterEulerToQuat>,
                                                  .tag = static_cast<int>(eFilterScope::Property)});
    return definition;
}

YFCurveFilterEulerToQuat::YFCurveFilterEulerToQuat() : YFCurveFilterOf("Euler To Quaternion", kMessages, 4)
{
    Reset();
}

bool YFCurveFilterEulerToQuat::Apply(YFCurve&)
{
    return DoesNotApply(kNotEuler, kNoRotationText);
}

bool YFCurveFilterEulerToQuat::FilterCurves(YFCurve**, int)
{
    return DoesNotApply(kNotEuler, kNoRotationText);
}

bool YFCurveFilterEulerToQuat::FilterNode(YFCurveNode& node, bool)
{
    if (!node.IsRotationLayerType() || !yfc::FindRotationCurves(node))
        return DoesNotApply(kNotEuler, kNoRotationText);
    if (node.GetUseQuaternion()) return NothingToDo(kNotEuler, kNotEulerText);
    return yfc::Guarded([&] { return Convert(node); });
}

bool YFCurveFilterEulerToQuat::Convert(YFCurveNode& node)
{
    const std::vector<YFCurveNode*> layers = yfc::RotationLayers(node);
    if (yfc::IsAnyLocked(layers)) return Locked();
    if (node.KeyGetCount(true) == 0) return NothingToDo(kNoKey, kNoKeyText);
    std::vector<yfc::RotationKeys> converted;
    for (const YFCurveNode* layer : layers) {
        if (yfc::GoesOnAmongKeys(*layer, GetStartTime(), GetStopTime()))
            return Refuse(kLeftUnchanged, yfc::kGoesOnText);
        yfc::RotationKeys& keys = converted.emplace_back(*layer, GetStartTime(), GetStopTime());
        keys.Insert(
            EulerFitter(keys, static_cast<eRotationOrder>(layer->GetRotationOrder()), mPrecision).Run());
    }
    for (std::size_t i = 0; i < layers.size(); ++i) {
        converted[i].CopyTo(*yfc::FindRotationCurves(*layers[i]));
    }
    node.SetUseQuaternion(true);
    return true;
}
