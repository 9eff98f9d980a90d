#pragma once

#include <vector>

#include "yfcurve/yfcurvefilter.h"

/// \file
/// Angles brought into one turn.

/// Brings the angles of a rotation between two bounds, a full turn apart, by taking off whole turns: the
/// reverse of unrolling, for targets that know one turn only, and for reading.
///
/// Each angle is taken by itself. Where it passes a bound the curve gets a key on either side, one tick
/// apart, and jumps by a turn between them; everything else keeps its shape, so the orientation stays the
/// same at every time but within those ticks. An angle that is exactly on the upper bound stays there. Works
/// from the first to the last key that the span reaches, on a rotation node (layer type 2 or 5) with three
/// children that have curves, or on three curves. In a rotation in quaternion form
/// (`YFCurveNode::SetUseQuaternion`) keys are rolled alone, as whole turns between them do not play; it keeps
/// the form. Nodes with a lock on them or on a curve are refused without a message.
///
/// Statuses: 0 no keys, 1 nothing to change (also for values that are not finite or more than 100,000 turns
/// away, at keys or between them, and for a rotation in quaternion form with a curve that goes on outside its
/// keys where another one has some, and then nothing changes), 2 not a rotation, 3 an unknown key rate mode,
/// or one that needs an angle interval without one, 4 a start time after the stop time.
class YFCURVE_EXPORT YFCurveFilterRoll : public YFCurveFilterOf<YFCurveFilterRoll>
{
  public:
    static YClassDefinition& StaticClass();

    /// What keys there are besides those of the curves and those at the bounds.
    enum EKeyRateMode : int
    {
        eNoOtherKeys = 0,
        eKeyEachAngle = 1  ///< one wherever the angle is a multiple of the angle interval
    };

    YFCurveFilterRoll();

    /// In degrees, for `eKeyEachAngle`; 0 at first.
    double GetAngleInterval() const { return mAngleInterval; }
    void SetAngleInterval(double degrees) { mAngleInterval = degrees; }

    /// One of `EKeyRateMode`; 0 at first.
    int GetKeyRateMode() const { return mKeyRateMode; }
    void SetKeyRateMode(int mode) { mKeyRateMode = mode; }

    using YFCurveFilterOf<YFCurveFilterRoll>::Apply;
    /// Refused (status 2): one angle is no rotation.
    bool Apply(YFCurve& curve) override;

  protected:
    /// Three curves, of the angles about X, Y and Z; other counts are refused (status 2).
    bool FilterCurves(YFCurve** curves, int count) override;
    /// The node itself is the rotation; it does not look for rotations below it.
    bool FilterNode(YFCurveNode& node, bool recursive) override;

  private:
    struct Stretch;

    bool RollCurve(YFCurve& curve) const;
    bool RollTurns(YFCurveNode& node) const;
    std::vector<YTime> TimesOfPlayedAngles(const YFCurveNode& node) const;
    std::vector<YTime> TimesOfAngles(const YFCurve& curve, int firstKey, int lastKey) const;
    void FindStretches(YFCurve& curve, const YFCurve& before, int firstKey, int lastKey,
                       std::vector<Stretch>& stretches) const;
    void PassSegments(YFCurve& curve, const YFCurve& before, int firstKey, int& lastKey,
                      std::vector<Stretch>& stretches) const;
    void PassBounds(YFCurve& curve, const YFCurve& before, YTime from, YTime to, double endValue,
                    std::vector<Stretch>& stretches) const;
    bool InsertOnAngles(YFCurve& curve, const YFCurve& before, int firstKey, int& lastKey) const;
    double TurnOf(double angle) const;

    double mAngleInterval{};
    int mKeyRateMode{};
    double mLowerBound{};
    double mUpperBound{};
    double mTolerance{};
};
