#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "tests/curve/random_curve.h"
#include "tests/filters/made_filter.h"
#include "yfcurve/yfcurvefilterpeakremover.h"

namespace {

using namespace yfc::test;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

constexpr double kFrame = 1.0 / 30.0;

TEST(PeakRemover, TakesOutWhatSticksOutAlone)
{
    const struct
    {
        const char* what;
        std::vector<float> before, after;
    } cases[] = {
        {"a spike, and one downwards", {0, 0, 9, 0, 0, 0, -9, 0, 0}, {0, 0, 0, 0, 0, 0, 0}},
        {"on a slope", {0, 5, 10, 35, 20, 25, 30}, {0, 5, 10, 20, 25, 30}},
        {"two with a key between", {1, 1, 9, 1, 9, 1, 1}, {1, 1, 1, 1, 1}},
        {"at the tolerance", {0, 0, 3, 0, 0}, {0, 0, 3, 0, 0}},
        {"a step", {0, 0, 0, 50, 50, 50}, {0, 0, 0, 50, 50, 50}},
        {"the top of a fast swing", {0, 10, 40, 60, 40, 10, 0}, {0, 10, 40, 60, 40, 10, 0}},
        {"held for two frames", {0, 0, 9, 9, 0, 0}, {0, 0, 9, 9, 0, 0}},
        {"the ends", {9, 0, 0, 0, 9}, {9, 0, 0, 0, 9}},
        {"three keys", {0, 9, 0}, {0, 0}},
        {"two keys", {0, 9}, {0, 9}},
        {"values that are none", {0, kNaN, 0, 0, kInfinity, kNaN, 0, 1}, {0, 0, 0, 0, 1}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        const YFCurvePtr curve = MakeSamples(test.before, kFrame);
        curve->CandidateSet(YTIME_ZERO, 0.0f);
        EXPECT_TRUE(YFCurveFilterPeakRemover().Apply(*curve));
        EXPECT_EQ(curve->IsCandidate(), test.before.size() == test.after.size());
        EXPECT_EQ(KeyValues(*curve), test.after);
    }
}

TEST(PeakRemover, AsksForTolerancesAndSpan)
{
    const struct
    {
        const char* settings;
        double framesApart;
        std::size_t left;
    } cases[] = {
        {"", 3.1, 9}, {"TimeTolerance=3.2", 3.1, 7}, {"Start=0.2", 1.0, 8}, {"ValueTolerance=9.5", 1.0, 9}};
    for (const auto& [settings, framesApart, left] : cases) {
        const YFCurvePtr curve = MakeSamples({0, 0, 9, 0, 0, 0, 9, 0, 0}, framesApart * kFrame);
        EXPECT_TRUE(MadeFilter("PeakRemover", settings)->Apply(*curve));
        EXPECT_EQ(KeyValues(*curve).size(), left) << settings;
    }
    const YFCurvePtr curve = MakeSamples({0, 0, 0.001f, 0, 0}, kFrame);
    YFCurveFilterPeakRemover filter;
    filter.SetValueTolerance(-1.0);  // counts as 0
    EXPECT_TRUE(filter.Apply(*curve));
    EXPECT_EQ(curve->KeyGetCount(), 4);
}

}  // namespace
