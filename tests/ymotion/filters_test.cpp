// What the library offers, as the program lists it.

#include <gtest/gtest.h>

#include <cstring>

#include <nlohmann/json.hpp>

#include "tests/motion_support.h"
#include "ymotion/filtering/filter_catalogue.h"
#include "ymotion/text/failure.h"

using namespace ymotion;

TEST(FilterCatalogue, FindsFiltersByAnyOfTheirNames)
{
    for (const YClassDefinition* definition : FilterClasses()) {
        const std::string className = definition->GetName();
        const std::string displayName = MakeFilter(*definition)->GetName();
        for (const std::string& name :
             {ShortName(*definition), className, className.substr(std::strlen("YFCurveFilter")), displayName,
              "filter " + displayName, ShortName(*definition) + "-FILTER"})
            EXPECT_EQ(&FindFilter(name), definition) << name;
    }
    for (const char* name : {"", "filter", "test-template"}) EXPECT_THROW(FindFilter(name), Failure) << name;
}

TEST(Program, ListsFiltersAndSettings)
{
    const std::string one = RunYFCurve({"filters", "key-sync"}).output;
    EXPECT_TRUE(Holds(one, "Stop   Time  inf     last time to filter [s]"));
    const auto filters = nlohmann::json::parse(RunYFCurve({"filters", "--json"}).output);
    EXPECT_EQ(filters.size(), FilterClasses().size());
    EXPECT_EQ(filters.at(0).at("parameters").at(1).at("default"), "inf");
    const auto settings = nlohmann::json::parse(RunYFCurve({"settings", "--json"}).output);
    EXPECT_EQ(settings.size(), 17u);
    EXPECT_EQ(settings.at(7).at("name"), "ButterworthFilterInternalRate");
    EXPECT_EQ(settings.at(7).at("default"), "240");
    EXPECT_EQ(settings.at(7).at("aboveMinimum"), true);
}
