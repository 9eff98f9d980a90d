#include <new>

#include <fmt/format.h>

#include "yfcurve/yfcurveptr.h"
#include "ymotion/clipping/clip_curves.h"
#include "ymotion/clipping/clip_tools.h"
#include "ymotion/scene/node_walk.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

/// Makes the keys of a curve played backwards. A key stores the kind and the slopes of the segment behind it; played
/// backwards, that is the key at the segment's other end.
class Reversal
{
  public:
    Reversal(const YFCurve& curve, const TimeSpan& span)
        : mCurve(curve), mMirror(span.start + span.stop), mLast(curve.KeyGetCount() - 1)
    {}

    std::vector<YFCurveKey> Keys()
    {
        for (int i = mLast; i > 0; --i) AddSegment(i);
        mKeys.push_back(LastKey());
        return std::move(mKeys);
    }

  private:
    YTime TimeOf(int index) const { return mMirror - mCurve.KeyGetTime(index); }

    bool IsCubic(int index) const { return mCurve.KeyGetInterpolation(index) == YFCURVE_INTERP_CUBIC; }

    /// Whether a key is automatic without parameters, and alone decides about both its slopes.
    bool IsAutomatic(int index) const
    {
        return mCurve.IsKeyInterpolationPureCubicAuto(index) && (index == 0 || IsCubic(index - 1)) &&
               (index + 1 > mLast || IsCubic(index + 1)) && (index < 2 || IsCubic(index - 2));
    }

    /// The last key of the reversal, which is the first one of the curve. No segment follows it, but its kind decides
    /// which slope the segment before it arrives with.
    YFCurveKey LastKey() const
    {
        YFCurveKey key = mCurve.KeyGet(IsAutomatic(0) ? 0 : mLast);
        if (!IsAutomatic(0) && IsCubic(0)) {
            key.SetInterpolation(YFCURVE_INTERP_CUBIC);
            key.SetTangeantMode(YFCURVE_TANGENT_USER_BREAK);
        }
        key.SetTime(TimeOf(0));
        key.SetValue(mCurve.KeyGetValue(0));
        return key;
    }

    /// Adds the key with which the segment begins, played backwards, that ends at a key of the curve.
    void AddSegment(int index)
    {
        const unsigned interpolation = mCurve.KeyGetInterpolation(index - 1);
        YFCurveKey key;
        key.Set(TimeOf(index), mCurve.KeyGetValue(index), interpolation, 0u);
        if (interpolation == YFCURVE_INTERP_CUBIC) SetCubic(key, index);
        if (interpolation != YFCURVE_INTERP_CONSTANT) {
            mKeys.push_back(key);
            return;
        }
        const bool showsEnd = mCurve.KeyGetConstantMode(index - 1) == YFCURVE_CONSTANT_NEXT;
        const float held = mCurve.KeyGetValue(index - 1);
        const bool fits = mCurve.KeyGetTime(index) - mCurve.KeyGetTime(index - 1) > YTIME_ONE_TICK;
        if (showsEnd || held == key.GetValue() || !fits) {
            mKeys.push_back(key);
            return;
        }
        // Played backwards, the segment begins with the value that it led to, for that moment alone: a step of one tick
        // leads to the value that it holds.
        key.SetInterpolation(YFCURVE_INTERP_LINEAR);
        mKeys.push_back(key);
        YFCurveKey step;
        step.Set(TimeOf(index) + YTIME_ONE_TICK, held, YFCURVE_INTERP_CONSTANT, 0u);
        mKeys.push_back(step);
    }

    void SetCubic(YFCurveKey& key, int index) const
    {
        const bool automatic = IsAutomatic(index);
        const unsigned mode =
            automatic ? mCurve.KeyGetTangeantMode(index, true) : unsigned{YFCURVE_TANGENT_USER_BREAK};
        key.SetTangeantMode(mode, true);
        key.SetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE, automatic ? 0.0f : -mCurve.KeyGetLeftDerivative(index));
        key.SetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE,
                         IsAutomatic(index - 1) ? 0.0f : -mCurve.KeyGetRightDerivative(index - 1));
        unsigned weights = YFCURVE_WEIGHT_NONE;
        if (mCurve.KeyIsLeftTangeantWeighted(index)) weights |= YFCURVE_WEIGHT_RIGHT;
        if (mCurve.KeyIsRightTangeantWeighted(index - 1)) weights |= YFCURVE_WEIGHT_NEXT_LEFT;
        if (weights == YFCURVE_WEIGHT_NONE) return;
        key.SetTangeantWeightMode(weights);
        key.SetDataDouble(YFCURVEKEY_RIGHT_WEIGHT, mCurve.KeyGetLeftTangeantWeight(index));
        key.SetDataDouble(YFCURVEKEY_NEXT_LEFT_WEIGHT, mCurve.KeyGetRightTangeantWeight(index - 1));
    }

    const YFCurve& mCurve;
    YTime mMirror;
    int mLast;
    std::vector<YFCurveKey> mKeys;
};

void Reverse(YFCurve& curve, const TimeSpan& span)
{
    if (curve.KeyGetCount() == 0) return;
    StopIfAsked();
    const int last = curve.KeyGetCount() - 1;
    const bool endsFlat = last > 0 && curve.KeyGetInterpolation(last - 1) == YFCURVE_INTERP_CONSTANT;
    // A constant segment at the end holds its value beyond the end as well. Reversed, it begins with a step of one
    // tick, whose slope the extrapolation would keep in place of the value.
    if (endsFlat && curve.GetPostExtrapolation() == YFCURVE_EXTRAPOLATION_KEEP_SLOPE)
        curve.SetPostExtrapolation(YFCURVE_EXTRAPOLATION_CONST);
    const std::vector<YFCurveKey> keys = Reversal(curve, span).Keys();
    const YFCurveModify bracket(curve, static_cast<int>(keys.size()));
    curve.KeyClear();
    for (const YFCurveKey& key : keys) {
        if (!curve.KeySet(curve.KeyGetCount(), key)) throw std::bad_alloc();
    }
    const std::uint32_t mode = curve.GetPreExtrapolation();
    const std::uint32_t count = curve.GetPreExtrapolationCount();
    curve.SetPreExtrapolation(curve.GetPostExtrapolation());
    curve.SetPreExtrapolationCount(curve.GetPostExtrapolationCount());
    curve.SetPostExtrapolation(mode);
    curve.SetPostExtrapolationCount(count);
}

}  // namespace

ClipWork ParseReverse(const std::string&, const ClipSettings&)
{
    return [](Scene& scene) -> ClipChange {
        const std::vector<YFCurve*> curves = CurvesToMove(scene);
        const TimeSpan span = SpanOf(scene);
        if (span.start == span.stop) return {false, "nothing to do: all keys are at one time"};
        const auto visitTurns = [&scene](const auto& visit) {
            VisitNodesAndLayers(*scene.root, [&](YFCurveNode& node) {
                if (TurnsAsQuaternions(node) && node.KeyGetCount() > 0) visit(node);
            });
        };
        // `ShareKeys` makes segments linear, which changes what the curves show beyond their keys unless they hold
        // there.
        visitTurns([&scene](YFCurveNode& rotation) { CheckHoldsBeyondKeys(scene, rotation); });
        visitTurns([](YFCurveNode& rotation) { ShareKeys(rotation); });
        const YTime turned = span.start + span.stop;
        // Keys that would come to lie a tick or two beside a frame are moved by that much before they are reversed,
        // while it can still be told which key of a jump is on a frame.
        const SceneFrames frames{span.start, scene.rate};
        const auto mirroredOnFrame = [&](YTime time) { return turned - frames.Onto(turned - time); };
        for (YFCurve* curve : curves) {
            Retime(*curve, frames, mirroredOnFrame);
            Reverse(*curve, span);
        }
        return {true,
                fmt::format("plays from {} s back to {} s", ShortSecondsText(span.stop),
                            ShortSecondsText(span.start)),
                {[turned](YTime time) { return turned - time; }, {}}};
    };
}

}  // namespace ymotion
