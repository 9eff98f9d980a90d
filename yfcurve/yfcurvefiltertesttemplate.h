#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// The pattern that filters follow.

/// A filter that changes nothing: every curve comes back with status 1, one without keys with status 0.
class YFCURVE_EXPORT YFCurveFilter_TestTemplate : public YFCurveFilter
{
  public:
    static YClassDefinition& StaticClass();
    YClassDefinition* GetClassDefinition() const override { return &StaticClass(); }

    YFCurveFilter_TestTemplate();

    using YFCurveFilter::Apply;
    bool Apply(YFCurve& curve) override;
    bool Apply(YFCurve** curves, int count) override;
    bool Apply(YFCurveNode& node, bool recursive) override;
    void Reset() override;
};
