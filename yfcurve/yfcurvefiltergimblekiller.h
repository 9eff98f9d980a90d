#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// Rotations without flips where they pass a pole.
///
/// At a pole the angle that turns second is an odd number of quarter turns, and the other two turn about the
/// same line: only their sum or difference counts. A motion that passes near a pole has to swing those two
/// angles, and what records orientations, or computes the angles of each frame for itself, flips there: two
/// angles jump by half a turn and the second turns back instead of going on; and at the pole itself the share
/// of each of the two is arbitrary.
///
/// Both filters here rewrite the keys of a rotation with other triples for the same orientations (to within
/// `PoleTolerance`, and the rounding of keys to single precision). They work on a rotation node
/// (layer type 2 or 5) with three children that have curves, in the node's rotation order, or on three such
/// curves. Curves that have keys at different times get keys at each other's times first, in the span and where
/// the nearest ones outside are; where a curve repeats its keys then, the rotation is refused (status 1). No two
/// neighbouring keys differ by more than 180 degrees in an angle afterwards. Explicit tangents of the second
/// angle are mirrored with it, so that the motion between keys that both were flipped stays as it is. Keys
/// outside the span stay, and so do keys whose angles are not finite or beyond 1e9 degrees.
///
/// A node that is locked, or has a locked curve, is refused without a message.

/// Undoes flips key by key: each key gets the triple nearest to that of the key before. What a key becomes
/// depends on earlier keys alone, so a recording that is cleaned up while it grows does not change
/// afterwards. The first key stays as it is. At a pole the two angles share a change equally.
class YFCURVE_EXPORT YFCurveFilterGimbleKiller : public YFCurveFilterOf<YFCurveFilterGimbleKiller>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilterGimbleKiller();

    /// How near to a pole, in degrees of the second angle, an orientation counts as being at the pole; 0.0005
    /// by default, which is what recorded angles of six digits can tell. A larger tolerance calms down swings
    /// further off the pole, and changes orientations accordingly. 0 to 45; not-a-number counts as 0.
    double GetPoleTolerance() const { return mPoleTolerance; }
    void SetPoleTolerance(double degrees) { mPoleTolerance = degrees; }

    /// The order in which three curves that come without a node turn, as `YFCurveNode::SetRotationOrder` has
    /// it: 0 (XYZ) to 5; other numbers count as 0. Filtering a node sets it to the node's.
    int GetRotationOrder() const { return mRotationOrder; }
    void SetRotationOrder(int order) { mRotationOrder = order; }

    using YFCurveFilterOf<YFCurveFilterGimbleKiller>::Apply;
    /// Refused (status 2): one angle is no rotation.
    bool Apply(YFCurve& curve) override;

  protected:
    /// Three curves, of the angles about X, Y and Z; other counts are refused (status 2).
    bool FilterCurves(YFCurve** curves, int count) override;
    /// The node itself is the rotation; it does not look for rotations below it. Status 3 for a node that is
    /// none, 2 when it does not hold three curves, 0 without keys in the span, 1 when there is nothing to do.
    bool FilterNode(YFCurveNode& node, bool recursive) override;

  private:
    double mPoleTolerance{};
    int mRotationOrder{};
};

/// Chooses the triples of all keys together, such that the angles turn least: of all ways to write the
/// orientations, the one with the smallest mean square speed of the angles. It looks ahead where
/// `YFCurveFilterGimbleKiller` cannot: while a motion stays at a pole, the two angles swing evenly in time
/// from where it arrives to where it leaves, rather than in one jump when it leaves. The first key stays as
/// it is, unless it is at a pole.
class YFCURVE_EXPORT YFCurveFilterGimbleKiller2 : public YFCurveFilterOf<YFCurveFilterGimbleKiller2>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilterGimbleKiller2();

    /// These are those of `YFCurveFilterGimbleKiller`.
    double GetPoleTolerance() const { return mPoleTolerance; }
    void SetPoleTolerance(double degrees) { mPoleTolerance = degrees; }
    int GetRotationOrder() const { return mRotationOrder; }
    void SetRotationOrder(int order) { mRotationOrder = order; }

    using YFCurveFilterOf<YFCurveFilterGimbleKiller2>::Apply;
    bool Apply(YFCurve& curve) override;

  protected:
    bool FilterCurves(YFCurve** curves, int count) override;
    bool FilterNode(YFCurveNode& node, bool recursive) override;

  private:
    double mPoleTolerance{};
    int mRotationOrder{};
};
