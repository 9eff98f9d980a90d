#pragma once

#include <vector>

#include "yfcurve/yfcurvefilter.h"

/// \file
/// The fewest keys, with the same curve to within a tolerance everywhere.

namespace yfc {
struct FitProperty;
}

/// Replaces the keys in the span by the fewest cubic keys that stay within the tolerance of the curve, at its
/// keys and everywhere between them, but for the rounding to single precision. Keys stand at times and values
/// of the curve; their slopes are fitted to it by least squares.
///
/// Nothing outside the span changes, and no segment around its ends. The first and the last key of the span
/// stay, and so do jumps, and steps but for those to values that the tolerance makes one. Where the curve's
/// last slope is its first one it stays so, and with an extrapolation that goes on with a slope this one
/// stays.
///
/// A recording, with keys at an even rate (`IsRecording`) and, where `GetWeighted`, without weights, gets the
/// fewest keys. Other keys have been chosen before, by hand or by this filter. Where half of them, and sixteen, can
/// go, they are chosen anew; else only keys go that make no difference. So a second run does not lead further
/// away: it changes nothing.
///
/// Locked curves are skipped; a curve without keys gives status 0, one that stays as it is status 1, as do
/// fewer than two keys in the span. Values and slopes that are no finite numbers are refused (status 2).
class YFCURVE_EXPORT YFCurveFilterFit : public YFCurveFilterOf<YFCurveFilterFit>
{
  public:
    enum ETangents : int
    {
        eSmooth = 0,  ///< one slope a key, but where the curve has a corner
        eBroken = 1,  ///< the fewest keys; slopes may differ from side to side
        eAuto = 2     ///< as smooth, and auto keys wherever their slope keeps the tolerance
    };

    static YClassDefinition& StaticClass();

    YFCurveFilterFit();

    bool TakesJumpsForMotion() const override { return true; }

    /// Whether keys follow each other at an even rate (`YFCurve::GuessWasData`). The first and the last key may
    /// stand nearer to their neighbour, as they do where a recording was cut between two samples.
    static bool IsRecording(const YFCurve& curve);

    /// How far the curve may be from what it was, in units of the value; 0.1 at first. For `Together` on a
    /// rotation, the angle between orientations in degrees. A negative number counts as 0, and 0 saves only
    /// keys that make no difference.
    double GetTolerance() const { return mTolerance; }
    void SetTolerance(double tolerance) { mTolerance = tolerance; }

    /// A factor of the tolerance that changes over time; null at first, for 1 throughout. Between two keys of
    /// a filtered curve the smaller one of those at the keys counts. The curve has to live as long as the
    /// filter is used; it is not the filter's own and not among its properties.
    const YFCurve* GetToleranceFactor() const { return mToleranceFactor; }
    void SetToleranceFactor(const YFCurve* factor) { mToleranceFactor = factor; }

    /// One of `ETangents`; smooth at first.
    int GetTangents() const { return mTangents; }
    void SetTangents(int tangents) { mTangents = tangents; }

    /// Whether segments get weights where these save keys; off at first. Recorded motion then takes about a fifth
    /// fewer keys, and seven times as long. Keys beside weights are no auto keys. Segments that have weights
    /// are fitted as all others, from key to key; while this is off they become several without.
    bool GetWeighted() const { return mWeighted; }
    void SetWeighted(bool weighted) { mWeighted = weighted; }

    /// Whether keys stand on frames, the whole multiples of the period, instead of key times of the curve;
    /// off at first. The ends of the span stay where they are, and where motion between two frames cannot be
    /// followed otherwise, so do keys there.
    bool GetOnFrame() const { return mOnFrame; }
    void SetOnFrame(bool onFrame) { mOnFrame = onFrame; }

    /// From frame to frame; at first one frame of the time mode that is current.
    YTime GetPeriod() const { return mPeriod; }
    void SetPeriod(const YTime& period) { mPeriod = period; }

    /// Whether two to nine curves get keys at the same times, fewest in sum; off at first. These are the curves
    /// of an array, of a node's children, or of all properties of a node that has nothing else, as a joint
    /// without child joints: its translation, rotation and scaling. Those of a rotation then stay within the
    /// tolerance as orientations, and those of one in quaternion form, which becomes angles first and is not
    /// joined with other properties, within 0.01 degrees more. Curves with steps or jumps, or that start or stop
    /// at different times, are fitted one by one all the same.
    bool GetTogether() const { return mTogether; }
    void SetTogether(bool together) { mTogether = together; }

  protected:
    bool FilterCurve(YFCurve& curve) override;
    bool FilterCurves(YFCurve** curves, int count) override;
    bool FilterNode(YFCurveNode& node, bool recursive) override;

  private:
    bool FitTogether(const std::vector<yfc::FitProperty>& properties, const std::vector<YFCurve*>& before);

    double mTolerance{};
    const YFCurve* mToleranceFactor = nullptr;
    int mTangents{};
    bool mWeighted{};
    bool mOnFrame{};
    YTime mPeriod{};
    bool mTogether{};
};
