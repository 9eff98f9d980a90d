#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// Rotations that are interpolated by angles, turned into ones that are interpolated as quaternions, and
/// back.
///
/// A rotation node keeps its keys as three curves of angles in either form. With
/// `YFCurveNode::SetUseQuaternion`, the orientations at the times of its keys are what counts, and the motion
/// between them is the even turn on the shortest way; without, each angle follows its curve. The two filters
/// switch the form of a node *and keep the motion*: every key keeps its orientation, and keys are added where
/// the new interpolation would leave the old motion by more than a precision. A spin of two turns between two
/// keys, which no quaternion interpolation knows, gets the keys in between that it needs.
///
/// They work on a rotation node (layer type 2 or 5) with three children that have curves, and convert the
/// layers behind it as well, since all layers of a chain have one form. Keys are added inside the span
/// and at the nearest keys outside; the form is that of the whole node. To quaternions, a rotation is refused
/// (status 1) that has a curve which repeats its keys where another one has some. A node that is locked, or
/// has a locked curve on any of these layers, is refused without a message. Three curves without a node have
/// no form, and are refused.

/// Makes a node interpolate as quaternions. The three curves get keys at the same times, which is what a
/// rotation in this form needs.
class YFCURVE_EXPORT YFCurveFilterEulerToQuat : public YFCurveFilterOf<YFCurveFilterEulerToQuat>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilterEulerToQuat();

    bool TakesJumpsForMotion() const override { return true; }

    /// How far the motion between keys may change, as an angle of rotation in degrees; 0.1 by default. 0 (or
    /// less) adds no keys for it. A jump, and a precision that cannot be had, costs 1024 keys in a segment
    /// and 100000 in a rotation at most.
    double GetPrecision() const { return mPrecision; }
    void SetPrecision(double degrees) { mPrecision = degrees; }

    using YFCurveFilterOf<YFCurveFilterEulerToQuat>::Apply;
    /// Refused (status 1).
    bool Apply(YFCurve& curve) override;

  protected:
    /// Refused (status 1).
    bool FilterCurves(YFCurve** curves, int count) override;
    /// The node itself is the rotation; it does not look for rotations below it. Status 1 for a node that is
    /// no rotation of three curves or is in quaternion form already, 0 for one without keys.
    bool FilterNode(YFCurveNode& node, bool recursive) override;

  private:
    bool Convert(YFCurveNode& node);

    double mPrecision{};
};

/// Makes a node interpolate by angles. Each key gets the triple nearest to that of the key before, and the
/// segments, other than constant ones, become cubic with the slopes of the motion.
class YFCURVE_EXPORT YFCurveFilterQuatToEuler : public YFCurveFilterOf<YFCurveFilterQuatToEuler>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilterQuatToEuler();

    /// As for `YFCurveFilterEulerToQuat`.
    double GetPrecision() const { return mPrecision; }
    void SetPrecision(double degrees) { mPrecision = degrees; }

    using YFCurveFilterOf<YFCurveFilterQuatToEuler>::Apply;
    /// Refused (status 2).
    bool Apply(YFCurve& curve) override;

  protected:
    /// Refused (status 2).
    bool FilterCurves(YFCurve** curves, int count) override;
    /// The node itself is the rotation; it does not look for rotations below it. Status 2 for a node that is
    /// no rotation of three curves or not in quaternion form, 0 for one without keys.
    bool FilterNode(YFCurveNode& node, bool recursive) override;

  private:
    bool Convert(YFCurveNode& node);

    double mPrecision{};
};
