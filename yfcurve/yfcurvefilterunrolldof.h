#pragma once

#include <array>

#include "yfcurve/yfcurvefilter.h"

/// \file
/// Rotations without needless turns, inside limits.

namespace yfc {
struct AngleLimits;
}

/// As `YFCurveFilterUnroll`, but of the triples for a key's orientation the nearest to the key before it
/// *among those inside the limits* of the three angles. A knee that may turn by 0 to 150 degrees about one
/// axis stays in this range even where the flipped triple would be nearer.
///
/// An orientation that no triple reaches inside the limits gets the one that exceeds them least, in the sum
/// of squares over the three angles: limits choose between equal orientations, and never change one. Within
/// 0.0005 degrees of a pole, where the angles that turn first and third turn about the same line, every
/// split between the two is a choice.
///
/// Unlike with that filter, the first key of a rotation is drawn towards angles of 0 inside the limits, keys
/// outside the span keep values and tangents (curves without a key at the nearest key times outside get one
/// there), and explicit tangents are mirrored where a flipped triple mirrors the second angle, so that the
/// motion between such keys stays as it is.
class YFCURVE_EXPORT YFCurveFilterUnrollDof : public YFCurveFilterOf<YFCurveFilterUnrollDof>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilterUnrollDof();

    /// Whether an angle has a lower limit; none has at first.
    bool GetEnableMinX() const { return mEnableMinX; }
    bool GetEnableMinY() const { return mEnableMinY; }
    bool GetEnableMinZ() const { return mEnableMinZ; }
    void SetEnableMinX(bool enable) { mEnableMinX = enable; }
    void SetEnableMinY(bool enable) { mEnableMinY = enable; }
    void SetEnableMinZ(bool enable) { mEnableMinZ = enable; }
    /// The lower limits in degrees, which count where they are enabled; 0 at first. Not-a-number is no limit.
    /// An angle whose limits stand in the wrong order is limited as if they were exchanged.
    void GetMinFreedom(double& x, double& y, double& z) const;
    void SetMinFreedom(double x, double y, double z) { mMinFreedom = {x, y, z}; }

    /// The upper limits, under the same rules.
    bool GetEnableMaxX() const { return mEnableMaxX; }
    bool GetEnableMaxY() const { return mEnableMaxY; }
    bool GetEnableMaxZ() const { return mEnableMaxZ; }
    void SetEnableMaxX(bool enable) { mEnableMaxX = enable; }
    void SetEnableMaxY(bool enable) { mEnableMaxY = enable; }
    void SetEnableMaxZ(bool enable) { mEnableMaxZ = enable; }
    void GetMaxFreedom(double& x, double& y, double& z) const;
    void SetMaxFreedom(double x, double y, double z) { mMaxFreedom = {x, y, z}; }

    /// These are those of `YFCurveFilterUnroll`.
    double GetQualityTolerance() const { return mQualityTolerance; }
    void SetQualityTolerance(double tolerance) { mQualityTolerance = tolerance; }
    bool GetTestForPath() const { return mTestForPath; }
    void SetTestForPath(bool test) { mTestForPath = test; }
    int GetRotationOrder() const { return mRotationOrder; }
    void SetRotationOrder(int order) { mRotationOrder = order; }

    using YFCurveFilterOf<YFCurveFilterUnrollDof>::Apply;
    /// Refused (status 2): one angle is no rotation.
    bool Apply(YFCurve& curve) override;

  protected:
    /// Three curves, of the angles about X, Y and Z; other counts are refused (status 2).
    bool FilterCurves(YFCurve** curves, int count) override;
    /// The node itself is the rotation; it does not look for rotations below it. Status 2 for a node that is
    /// none, 0 for one without keys in the span, 1 when all keys are as they should be, 3 where a curve repeats
    /// its keys at times at which another one has some.
    bool FilterNode(YFCurveNode& node, bool recursive) override;

  private:
    yfc::AngleLimits Limits() const;
    bool UnrollKeys(const YFCurveNode& rotation);

    bool mEnableMinX{};
    bool mEnableMinY{};
    bool mEnableMinZ{};
    std::array<double, 3> mMinFreedom{};
    bool mEnableMaxX{};
    bool mEnableMaxY{};
    bool mEnableMaxZ{};
    std::array<double, 3> mMaxFreedom{};
    double mQualityTolerance{};
    bool mTestForPath{};
    int mRotationOrder{};
};
