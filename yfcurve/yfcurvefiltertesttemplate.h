#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// The pattern that filters follow.

/// A filter that changes nothing: every curve comes back with status 1, one without keys with status 0.
class YFCURVE_EXPORT YFCurveFilter_TestTemplate : public YFCurveFilterOf<YFCurveFilter_TestTemplate>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilter_TestTemplate();

  protected:
    bool FilterCurve(YFCurve& curve) override;
};
