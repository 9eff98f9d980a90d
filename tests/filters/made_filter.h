#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "yfcurve/yfcurvefilter.h"
#include "yfcurve/yfcurveptr.h"

using FilterPtr = std::unique_ptr<YFCurveFilter, YFCurveDestroy>;

/// A filter with parameters such as "Start=1 Stop=2". The name comes without what the names of all begin
/// with.
inline FilterPtr MadeFilter(const std::string& name, const std::string& settings = {})
{
    FilterPtr filter(YFCurveFilterCreate(("YFCurveFilter" + name).c_str()));
    std::istringstream words(settings);
    for (std::string word; words >> word;) {
        const std::size_t sign = word.find('=');
        const std::string parameter = word.substr(0, sign);
        EXPECT_TRUE(filter->SetParameter(parameter.c_str(), word.substr(sign + 1).c_str())) << word;
    }
    return filter;
}
