#pragma once

#include "yfcurve/yfcurve.h"

/// \file
/// A span of a curve exchanged for that of another.

/// A friend of the curve.
class YFCurveReplace
{
  public:
    /// What `YFCurve::Replace` is asked for.
    struct Span
    {
        YTime start;
        YTime stop;
        YTime offset;
        bool exact;
        bool keyAtEnds;
        bool angles;  ///< join by whole turns
        bool holds =
            false;  ///< where the source holds an end key in the span, do so; else lead to what is kept
    };
    static void Apply(YFCurve& curve, const YFCurve& source, Span span);

    /// A curve with the values of another one over [start, stop] (keys are made of what repeating and
    /// limited extrapolation shows there), constant or keep-slope without limit outside.
    static YFCurve WithExtrapolationKeys(const YFCurve& source, YTime start, YTime stop);

  private:
    struct Parts;
    static void Turn(Parts& parts, const YFCurve& curve, bool angles);
    static void CutEnds(Parts& parts, bool holds);
    static void Assemble(YFCurve& curve, Parts& parts, bool holdSlopes);
    static bool ResolveSpan(const YFCurve& target, const YFCurve& source, Span& span);
    static bool HoldsFrom(const YFCurve& source, YTime start, YTime stop);
    static bool HoldsUntil(const YFCurve& source, YTime start, YTime stop);
    static void LeadIn(YFCurve& inside, const YFCurve& outside, YTime start);
    static void LeadOut(YFCurve& inside, const YFCurve& outside, YTime stop, float shift);
    static bool CutAtStart(YFCurve& outside, YFCurve& inside, YTime time);
    static bool CutAtStop(YFCurve& outside, YFCurve& inside, YTime time, float shift);
};
