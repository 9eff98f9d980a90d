// What the library offers, as the program lists it.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "host/diagnostic.h"
#include "host/filter_catalogue.h"
#include "support.h"
#include "yfcurve/yfcurvefiltertesttemplate.h"

namespace {

std::string RefusedAssignment(const std::string& assignment)
{
    YFCurveFilter_TestTemplate filter;
    try {
        host::SetFilterParameter(filter, assignment);
        return {};
    } catch (const host::Failure& failure) {
        EXPECT_EQ(failure.Code(), host::kExitUsage);
        return failure.what();
    }
}

}  // namespace

TEST(FilterCatalogue, FindsFiltersByAnyOfTheirNames)
{
    const YClassDefinition& template_ = YFCurveFilter_TestTemplate::StaticClass();
    for (const char* name : {"test-template", "TestTemplate", "YFCurveFilter_TestTemplate",
                             "yfcurvefilter_testtemplate", "filter NAME"})
        EXPECT_EQ(&host::FindFilter(name), &template_) << name;
    for (const YClassDefinition* definition : host::FilterClasses())
        EXPECT_EQ(&host::FindFilter(host::ShortName(*definition)), definition);
    EXPECT_THROW(host::FindFilter(""), host::Failure);
    const ProgramRun near = RunYFCurve({"filters", "test"});
    EXPECT_EQ(near.exitCode, 2);
    EXPECT_EQ(near.errors, "yfcurve: there is no filter 'test'; did you mean test-template?\n");
}

TEST(FilterCatalogue, SetsParametersFromText)
{
    YFCurveFilter_TestTemplate filter;
    host::SetFilterParameter(filter, "start=0.5");
    EXPECT_EQ(filter.GetStartTime(), YTime::FromSeconds(0.5));
    EXPECT_EQ(RefusedAssignment("start"), "'start' sets no parameter; write NAME=VALUE");
    EXPECT_EQ(RefusedAssignment("begin=1"),
              "test-template has no parameter 'begin'; 'yfcurve filters test-template' lists them");
    EXPECT_EQ(
        RefusedAssignment("stop=soon"),
        "'soon' is no value for Stop of test-template; it takes a time in seconds (0.5), ticks (@100), a "
        "time code (0:0:1:15), inf or -inf");
}

TEST(Program, ListsFiltersAndSettings)
{
    const ProgramRun one = RunYFCurve({"filters", "test-template"});
    EXPECT_EQ(one.output,
              "test-template  (\"Filter Name\", works on a curve at a time)\n"
              "  changes nothing; the pattern of a filter\n"
              "  Start  Time  -inf    first time to filter [s]\n"
              "  Stop   Time  inf     last time to filter [s]\n");
    const auto filters = nlohmann::json::parse(RunYFCurve({"filters", "--json"}).output);
    EXPECT_EQ(filters.size(), host::FilterClasses().size());
    EXPECT_EQ(filters.at(0).at("class"), "YFCurveFilter_TestTemplate");
    EXPECT_EQ(filters.at(0).at("parameters").at(1).at("default"), "inf");

    const auto settings = nlohmann::json::parse(RunYFCurve({"settings", "--json"}).output);
    EXPECT_EQ(settings.size(), 17u);
    EXPECT_EQ(settings.at(7).at("name"), "ButterworthFilterInternalRate");
    EXPECT_EQ(settings.at(7).at("default"), "240");
    EXPECT_EQ(settings.at(7).at("minimum"), 0.0);
    EXPECT_EQ(settings.at(7).at("aboveMinimum"), true);
    const std::string text = RunYFCurve({"settings"}).output;
    EXPECT_NE(text.find("  0.0005  "), std::string::npos) << text;
}
