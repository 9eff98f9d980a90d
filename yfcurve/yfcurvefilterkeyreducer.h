#pragma once

#include "yfcurve/yfcurvefilter.h"

namespace yfc {
class ValueBounds;
}

/// \file
/// Few keys in place of many, with the same curve to within a tolerance.

/// Replaces the keys in the span by as few cubic keys as follow the curve: starting from one segment over the
/// whole span, it takes in the key that is missed most, until every key's value is met to within the
/// precision. The keys taken in keep their time, value and slopes; those outside the span stay. The last key
/// of the span is an auto key, of which the source's left slope is the parameter: the curve arrives there
/// along the last segment, and swings out before it where that slope is above 500 a second.
///
/// Locked curves are skipped, one with fewer than two keys and a span without duration give status 1. Where
/// the span ends before the keys do, the segment on its border takes the slopes that go with the keys outside
/// (`YFCurveUtils::Merge`), which may lead it past the tolerance; a span from first to last key has no such
/// border.
class YFCURVE_EXPORT YFCurveFilterKeyReducer : public YFCurveFilterOf<YFCurveFilterKeyReducer>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilterKeyReducer();

    bool TakesJumpsForMotion() const override { return true; }

    /// How far the reduced curve may be from a key's value, in units of the value; 1 at first. Only keys are
    /// compared: between them the curve goes where the remaining keys lead it. A negative number counts as
    /// its magnitude, and with one that is not a number every span is close enough.
    double GetPrecision() const { return mPrecision; }
    void SetPrecision(double precision) { mPrecision = precision; }

    /// Whether the curves that are reduced together, the children of a node or the curves of an array, get
    /// keys at the same times afterwards (`YFCurveFilterKeySync`); off at first. Applying to fewer than two
    /// leaves it switched off.
    bool GetKeySync() const { return mKeySync; }
    void SetKeySync(bool keySync) { mKeySync = keySync; }

  protected:
    /// Reduces a curve. True without a message also when every key is needed.
    bool FilterCurve(YFCurve& curve) override;
    bool FilterCurves(YFCurve** curves, int count) override;
    bool FilterNode(YFCurveNode& node, bool recursive) override;

  private:
    bool KeyReducer(YFCurve& source, YFCurve& reduced, YTime start, YTime stop);
    bool Subdivise(YFCurve& source, YFCurve& reduced, int firstKey, int lastKey);
    static double FindMaxError(const yfc::ValueBounds& source, YFCurve& reduced, int firstKey, int lastKey,
                               int& worstKey);

    double mPrecision{};
    int mDepth = 0;
    bool mKeySync{};
};
