#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// The keys of a span removed, with their time.

/// Removes the keys in the span, both ends included, and, with "CutTimeInterval", the time of the span: the
/// keys after it move earlier by its length, so that what was at the end of the span is then at its start. An
/// infinite start stands for the first key; with an infinite stop nothing is left to move.
///
/// No keys are added at the cut: the keys on either side of it are joined by one segment. The first of them
/// keeps its out-tangent, the second its in-tangent.
///
/// Statuses: 0 no keys, 1 neither a key in the span nor one to move.
class YFCURVE_EXPORT YFCurveFilterDeleteKey : public YFCurveFilterOf<YFCurveFilterDeleteKey>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilterDeleteKey();

    /// True at first.
    bool GetCutTimeInterval() const { return mCutTimeInterval; }
    void SetCutTimeInterval(bool cut) { mCutTimeInterval = cut; }

  protected:
    bool FilterCurve(YFCurve& curve) override;
    bool FilterNode(YFCurveNode& node, bool recursive) override;

  private:
    bool mCutTimeInterval{};
};
