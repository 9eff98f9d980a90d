#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "yfcurve/yfcurvefilter.h"
#include "yfcurve/yfcurveptr.h"

using FilterPtr = std::unique_ptr<YFCurveFilter, YFCurveDestroy>;

/// All that there are, without what the names of all begin with.
inline std::vector<std::string> FilterNames()
{
    std::vector<std::string> names;
    for (YClassDefinition* found = YClassRegistry::GetFirst(); found != nullptr;
         found = YClassRegistry::GetNext(*found)) {
        if (found->IsDerivedFrom(YFCurveFilter::StaticClass()) && found->GetOptions().create != nullptr)
            names.emplace_back(std::string_view(found->GetName()).substr(std::strlen("YFCurveFilter")));
    }
    return names;
}

/// A filter with parameters such as "Start=1 Stop=2", by its name in `FilterNames`.
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
