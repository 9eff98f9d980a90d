#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// No keys where nothing moves.

/// Removes keys from the flat stretches of a curve.
///
/// A key goes when it and the two keys on either side of it, as far as they are in the span, have one value
/// to within the value tolerance, and those of them that are cubic are plain auto keys. So a flat stretch
/// keeps the two keys at either end of it, which hold it flat, and one that is flat to the end of the span
/// loses its keys there. Where the span ends before the curve does, nothing holds that stretch any more: it
/// then leads to the next key, or shows its value. A curve that is flat throughout loses all keys and keeps its
/// value.
///
/// Applied to a node, both tolerances are the threshold that goes with the node's name or its parent's:
/// "R" or "Lcl Rotation", "S" or "Lcl Scaling", "T" or "Lcl Translation", or any other. Nodes that are
/// locked, that interpolate rotations as quaternions, or whose keys are all constant are refused. A curve
/// without keys gives status 0.
class YFCURVE_EXPORT YFCurveFilterConstantKeyReducer : public YFCurveFilterOf<YFCurveFilterConstantKeyReducer>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilterConstantKeyReducer();

    /// Kept for hosts; what counts as flat is decided by the values alone. 0.009 at first.
    double GetDerivativeTolerance() const { return mDerivativeTolerance; }
    void SetDerivativeTolerance(double tolerance) { mDerivativeTolerance = tolerance; }

    /// How far values of one stretch may be from that of its last key, in units of the value; 0.009 at first.
    double GetValueTolerance() const { return mValueTolerance; }
    void SetValueTolerance(double tolerance) { mValueTolerance = tolerance; }

    /// The tolerances for nodes: 0.00009, 0.009 (degrees), 0.004 and 0.009 at first.
    double GetTranslationThreshold() const { return mTranslationThreshold; }
    void SetTranslationThreshold(double threshold) { mTranslationThreshold = threshold; }
    double GetRotationThreshold() const { return mRotationThreshold; }
    void SetRotationThreshold(double threshold) { mRotationThreshold = threshold; }
    double GetScalingThreshold() const { return mScalingThreshold; }
    void SetScalingThreshold(double threshold) { mScalingThreshold = threshold; }
    double GetDefaultThreshold() const { return mDefaultThreshold; }
    void SetDefaultThreshold(double threshold) { mDefaultThreshold = threshold; }

    /// Kept for hosts; nothing here looks at it. False at first.
    bool GetKeepFirstAndLastKeys() const { return mKeepFirstAndLastKeys; }
    void SetKeepFirstAndLastKeys(bool keep) { mKeepFirstAndLastKeys = keep; }

    /// Whether a curve that is flat throughout keeps its first key; false at first.
    bool GetKeepOneKey() const { return mKeepOneKey; }
    void SetKeepOneKey(bool keep) { mKeepOneKey = keep; }

  protected:
    /// True without a message also when nothing was flat.
    bool FilterCurve(YFCurve& curve) override;
    bool FilterNode(YFCurveNode& node, bool recursive) override;

  private:
    double ThresholdFor(const YFCurveNode& node) const;

    double mDerivativeTolerance{};
    double mValueTolerance{};
    double mTranslationThreshold{};
    double mRotationThreshold{};
    double mScalingThreshold{};
    double mDefaultThreshold{};
    bool mKeepFirstAndLastKeys{};
    bool mKeepOneKey{};
};
