#pragma once

#include <array>

#include "ybaselib/yrotation.h"
#include "yfcurve/yfcurvefilter.h"

/// \file
/// Rotations without needless turns.

/// Rewrites the keys of a rotation such that each triple of angles is, of all triples for its orientation,
/// the one nearest to that of the key before: full turns that cannot be seen are taken out, and so are flips,
/// where two angles jump by half a turn and the third is mirrored. Orientations at keys stay what they are.
///
/// Works on a rotation node (layer type 2 or 5) with three children that have curves, in the rotation order
/// of the node, or on three such curves. Curves that have keys at different times get keys at each other's
/// times first, in the span. The first key that counts is the last one at or before the start of the span,
/// or the first one in it where the curves do not have that one at the same time. It follows the key before
/// it; without one it is drawn towards angles of 0. Where it is earlier than the start it keeps its angles
/// all the same, but the keys after it follow what it would have become. What lies outside the span stays; a
/// jump at an end of the span is kept within one tick. A span that holds one key changes nothing. Keys are
/// rounded to single precision, so orientations of angles beyond some 10000 degrees suffer from it.
///
/// A rotation in quaternion form (`YFCurveNode::SetUseQuaternion`) keeps the form and all its motion; its
/// curves get keys at each other's times everywhere. It is refused (status 3) where a curve goes on moving
/// outside its own keys at times at which another one has some.
///
/// A node that is locked, or has a locked curve, is refused without a message: the three angles make one
/// orientation, and cannot be changed apart.
class YFCURVE_EXPORT YFCurveFilterUnroll : public YFCurveFilterOf<YFCurveFilterUnroll>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilterUnroll();

    /// With `SetTestForPath`, the least quality of a step, below which a key does not become the reference of
    /// the next one; see `InterpolationQualityFactor`. `YFCURVE_GetRotationFilterUnrollQuality` by default.
    double GetQualityTolerance() const { return mQualityTolerance; }
    void SetQualityTolerance(double tolerance) { mQualityTolerance = tolerance; }

    /// Whether a step of poor quality is kept from leading the keys after it astray: they are compared to the
    /// last good key instead. `YFCURVE_GetRotationFilterUnrollTestForPath` by default.
    bool GetTestForPath() const { return mTestForPath; }
    void SetTestForPath(bool test) { mTestForPath = test; }

    /// The order in which three curves that come without a node turn, as `YFCurveNode::SetRotationOrder` has
    /// it: 0 (XYZ) to 5; other numbers count as 0. Filtering a node sets it to the node's.
    int GetRotationOrder() const { return mRotationOrder; }
    void SetRotationOrder(int order) { mRotationOrder = order; }

    /// How well angles that move evenly from one triple to another, in degrees, follow the turn between the
    /// two orientations: the square of the turn's angle, 180 at most, over the squared distance of the
    /// triples. 1 for a turn about one axis, next to 0 for angles that move far for a small turn, 100 for
    /// equal triples and for not-a-number. The rotation order is that of the filter.
    double InterpolationQualityFactor(const YgeRVector& a, const YgeRVector& b) const;

    using YFCurveFilterOf<YFCurveFilterUnroll>::Apply;
    /// Refused (status 2): one angle is no rotation.
    bool Apply(YFCurve& curve) override;

  protected:
    /// Three curves, of the angles about X, Y and Z; other counts are refused (status 2).
    bool FilterCurves(YFCurve** curves, int count) override;
    /// The node itself is the rotation; it does not look for rotations below it. Status 2 for a node that is
    /// none, 0 for one without keys.
    bool FilterNode(YFCurveNode& node, bool recursive) override;

  private:
    bool DoUnroll(YFCurveNode& node);
    bool UnrollTurns(YFCurveNode& node);
    int UnrollKeys(const std::array<YFCurve*, 3>& curves, YTime start, YTime stop) const;

    double mQualityTolerance{};
    bool mTestForPath{};
    int mRotationOrder{};
};
