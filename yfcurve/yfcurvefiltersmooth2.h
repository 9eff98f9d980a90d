#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// Robust smoothing of a path in space.

/// Moves the keys of a translation to where the path around them leads: a straight line is fitted to the path
/// in a window around each key, and points that are off the line in space, in whatever direction, count less.
/// So jitter and stray points go, while the path keeps its corners and its speed.
///
/// Keys keep their times and attributes; the slopes of user keys turn to that of the fitted line, all the way
/// beside segments no longer than the window and less beside longer ones, so that few keys stay near the path
/// too. Others follow the values by themselves. Towards the ends of the span and of the keys the window
/// shrinks, so that the first and the last key stay. Straight motion stays as it is.
///
/// The three curves may have different key times. Locked ones count for the path and are not written; false
/// without a message when all are. Refused, the keys as they were:
/// - status 0 for three curves without keys;
/// - status 1 for a span or a width that is not positive, for one without keys in it, and for values that are
///   not finite;
/// - status 2 for a node that is no translation and has none below it;
/// - status 3 for anything else than three curves.
class YFCURVE_EXPORT YFCurveFilterSmooth2 : public YFCurveFilterOf<YFCurveFilterSmooth2>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilterSmooth2();

    /// How far off the line a point counts in full, in standard deviations of the points in the window; 1.5
    /// at first. Large numbers treat all points alike, small ones go by the majority. Numbers below 0.01, and
    /// what is no number, act as 0.01.
    double GetFactor() const { return mFactor; }
    void SetFactor(double factor) { mFactor = factor; }
    /// The window from its first to its last moment; 8/30 of a second at first.
    YTime GetWidth() const { return mWidth; }
    void SetWidth(YTime width) { mWidth = width; }
    /// Into how many equal parts the window is cut; 8 at first, so that the points of the path which are
    /// looked at, where the parts meet, are the frames of a 30th of a second. Up to 2 leave the key alone to
    /// be looked at, which changes nothing; more than 1024 act as 1024.
    int GetSampleCount() const { return mSampleCount; }
    void SetSampleCount(int count) { mSampleCount = count; }

  protected:
    /// Status 3: a path has three curves.
    bool FilterCurve(YFCurve& curve) override;
    /// Takes three curves as the members of one path.
    bool FilterCurves(YFCurve** curves, int count) override;
    /// Smooths the node if it is a translation, else with `recursive` all translations below it that are not
    /// locked.
    /// \return  for one translation what became of it, for those below a node true.
    bool FilterNode(YFCurveNode& node, bool recursive) override;

  private:
    bool ApplyToTranslation(YFCurveNode& node);
    int ApplyBelow(YFCurveNode& node, bool isLocked);

    double mFactor{};
    YTime mWidth;
    int mSampleCount{};
};
