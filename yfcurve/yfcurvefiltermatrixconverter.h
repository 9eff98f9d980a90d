#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// A transform sampled anew, in another rotation order.

/// Rewrites the keys of a transform: its curves are sampled at a regular period, the orientation of each
/// sample is taken as a matrix and turned into the angles of another rotation order, which becomes that of
/// the rotation node. At every sample the transform is the same as before.
///
/// Where the order changes all keys are taken in, whatever the span, as keys that stayed would mean something
/// else; without the translation where that keeps its keys. Outside of a span the curves stay what they are.
///
/// What is sampled of a rotation in quaternion form is what plays, and it keeps the form.
///
/// Works on a node that has translation, rotation and scaling with three curves each; `recursive` is ignored.
/// A node with a lock on it, on a property or a curve is refused without a message.
///
/// Statuses: 1 no keys in the span, a period that is negative or too short for it, or a change of
/// order for a rotation that has layers, 2 not applied to a node, 3 a property or a curve is missing.
class YFCURVE_EXPORT YFCurveFilterMatrixConverter : public YFCurveFilterOf<YFCurveFilterMatrixConverter>
{
  public:
    static YClassDefinition& StaticClass();

    /// A rotation order that is the node's own.
    static constexpr int NodeRotateOrder = -1;

    YFCurveFilterMatrixConverter();

    /// The time from key to key; 0, as at first, stands for one frame of the time mode.
    YTime GetResamplingPeriod() const { return mResamplingPeriod; }
    void SetResamplingPeriod(YTime period) { mResamplingPeriod = period; }

    /// The order in which the angles are read and written: 0 to 5 as `YFCurveNode::SetRotationOrder` has it,
    /// or `NodeRotateOrder`, as at first. Other numbers count as that.
    void SetSrcRotateOrder(int order) { mSrcRotateOrder = order; }
    void SetDestRotateOrder(int order) { mDestRotateOrder = order; }

    // Options, all on at first.

    /// Whether keys are at whole multiples of the period, the first one excepted, or at multiples from there.
    bool GetResamplingOnFrameRateMultiple() const { return mResamplingOnFrameRateMultiple; }
    void SetResamplingOnFrameRateMultiple(bool on) { mResamplingOnFrameRateMultiple = on; }
    /// Whether angles are unrolled (`YFCurveFilterUnroll`), which is what makes them continuous.
    bool GetApplyUnroll() const { return mApplyUnroll; }
    void SetApplyUnroll(bool apply) { mApplyUnroll = apply; }
    /// Whether flat stretches lose their keys (`YFCurveFilterConstantKeyReducer`).
    bool GetApplyConstantKeyReducer() const { return mApplyConstantKeyReducer; }
    void SetApplyConstantKeyReducer(bool apply) { mApplyConstantKeyReducer = apply; }
    /// Whether there is a key at the very end of the span; the motion after the last key ends otherwise.
    bool GetGenerateLastKeyExactlyAtEndTime() const { return mGenerateLastKeyExactlyAtEndTime; }
    void SetGenerateLastKeyExactlyAtEndTime(bool generate) { mGenerateLastKeyExactlyAtEndTime = generate; }
    /// Whether the translation is sampled too, or keeps its keys. The scaling always is.
    bool GetResampleTranslation() const { return mResampleTranslation; }
    void SetResampleTranslation(bool resample) { mResampleTranslation = resample; }

    using YFCurveFilterOf<YFCurveFilterMatrixConverter>::Apply;
    bool Apply(YFCurve& curve) override;

  protected:
    bool FilterCurves(YFCurve** curves, int count) override;
    bool FilterNode(YFCurveNode& node, bool recursive) override;

  private:
    YTime mResamplingPeriod{};
    bool mResamplingOnFrameRateMultiple{};
    bool mApplyUnroll{};
    bool mApplyConstantKeyReducer{};
    bool mGenerateLastKeyExactlyAtEndTime{};
    bool mResampleTranslation{};
    int mSrcRotateOrder{};
    int mDestRotateOrder{};
};
