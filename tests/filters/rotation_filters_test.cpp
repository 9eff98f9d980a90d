#include <gtest/gtest.h>

#include <tuple>

#include "tests/filters/made_filter.h"
#include "tests/filters/rotation_filters.h"
#include "yfcurve/yfcurvefiltergimblekiller.h"
#include "yfcurve/yfcurvefilterunroll.h"
#include "yfcurve/yfcurvefilterunrolldof.h"
#include "yfcurve/yfcurverotationfilter.h"
#include "yfcurve/yfcurvesettings.h"

namespace {

using namespace nodetest;
using namespace rotationtest;

constexpr const char* kFilters[] = {"Unroll", "UnrollDof", "GimbleKiller", "GimbleKiller2"};

void ExpectTriple(const YgeRVector& found, const YgeRVector& wanted, double tolerance = 1e-4)
{
    for (int axis = 0; axis < 3; ++axis) EXPECT_NEAR(found[axis], wanted[axis], tolerance) << axis;
}

// Every filter leaves orientations at keys alone, and no angle jumps by more than half a turn.
void ExpectCleaned(const Triples& keys, eRotationOrder order)
{
    for (const char* name : kFilters) {
        const YFCurveNodePtr node = Rotation(keys, order);
        const Triples before = KeysOf(*node);
        MadeFilter(name)->Apply(*node, true);
        const Triples after = KeysOf(*node);
        ASSERT_EQ(after.size(), before.size()) << name;
        for (std::size_t i = 0; i < after.size(); ++i) {
            ASSERT_LT(Apart(after[i], before[i], order), 1e-3) << name << " key " << i;
            for (int axis = 0; i > 0 && axis < 3; ++axis)
                ASSERT_LE(std::abs(after[i][axis] - after[i - 1][axis]), 180.001) << name << " key " << i;
        }
    }
}

YgeRVector Flipped(YgeRVector angles, eRotationOrder order)
{
    const int second = orderNames[static_cast<int>(order)][1] - 'X';
    for (int axis = 0; axis < 3; ++axis)
        angles[axis] = axis == second ? 180.0 - angles[axis] : angles[axis] + 180.0;
    return angles;
}

class RotationFilters : public RandomRotation
{
  protected:
    int Whole(int low, int high) { return std::uniform_int_distribution(low, high)(mRandom); }

    // Some other triple for the same orientation.
    YgeRVector Disguised(YgeRVector angles, eRotationOrder order)
    {
        if (Whole(0, 1) == 1) angles = Flipped(angles, order);
        for (int axis = 0; axis < 3; ++axis) angles[axis] += 360.0 * Whole(-2, 2);
        return angles;
    }
};

TEST_F(RotationFilters, KeepOrientationsAndLeaveNoJump)
{
    for (const eRotationOrder order : allOrders) {
        SCOPED_TRACE(orderNames[static_cast<int>(order)]);
        const int second = orderNames[static_cast<int>(order)][1] - 'X';
        for (int round = 0; round < 15; ++round) {
            Triples tumbling, atPoles, spinning;
            for (int i = 0; i < 30; ++i) {
                tumbling.emplace_back(Angle(), Angle(), Angle());
                YgeRVector pole(Angle(), Angle(), Angle());
                if (Whole(0, 2) > 0)
                    pole[second] = 90.0 + 180.0 * Whole(-3, 3) + (Whole(0, 1) ? TinyAngle() : 0.0);
                atPoles.push_back(pole);
                spinning.push_back(
                    Disguised({700.0 * i / 30.0, 85.0 + 10.0 * Part(), -90.0 * i / 30.0}, order));
            }
            ExpectCleaned(tumbling, order);
            ExpectCleaned(atPoles, order);
            ExpectCleaned(spinning, order);
        }
    }
}

// At the times of all keys in a span and outside, where the curves have keys of their own, some fewer.
TEST_F(RotationFilters, KeysAtDifferentTimesKeepOrientationsAroundASpan)
{
    for (int round = 0; round < 200; ++round) {
        const eRotationOrder order = allOrders[Whole(0, 5)];
        const YFCurveNodePtr node = Rotation(order);
        const int full = Whole(0, 2), last = Whole(2, 8);
        for (int axis = 0; axis < 3; ++axis)
            for (int i = 0; i <= 8; ++i)
                if (axis == full || (i <= last && Whole(0, 1) > 0))
                    AddLinearKey(CurveOf(*node, axis), i, static_cast<float>(Whole(-400, 400)));
        const YFCurveNodePtr before(node->Clone());
        const FilterPtr filter = MadeFilter(kFilters[round % 4]);
        filter->SetStartTime(Seconds(Whole(0, 3) + 0.5));
        filter->SetStopTime(Seconds(Whole(4, 8) + 0.5));
        filter->Apply(*node, true);
        for (int i = 0; i <= 8; ++i)
            ASSERT_LT(Apart(Shown(*node, i), Shown(*before, i), order), 1e-2) << kFilters[round % 4] << i;
    }
}

// --- Unroll --------------------------------------------------------------------------------------------

TEST(Unroll, TestsForPath)
{
    // Near the pole the second key moves far for a turn of little more than its distance from the pole. Seen
    // from there the third one is nearest as (100, 95, 100), seen from the first one as it stands.
    const Triples keys = {{0, 85, 0}, {85, 85, 85}, {-80, 85, -80}};
    YFCurveFilterUnroll filter;
    for (const auto& [tests, tolerance] : {std::pair{false, 0.25}, {true, 0.25}, {true, 0.0}}) {
        filter.SetTestForPath(tests);
        filter.SetQualityTolerance(tolerance);
        const YFCurveNodePtr node = Rotation(keys);
        filter.Apply(*node, true);
        ExpectTriple(KeysOf(*node)[1], keys[1]);
        ExpectTriple(KeysOf(*node)[2], tests && tolerance > 0.0 ? keys[2] : YgeRVector(100, 95, 100));
    }
}

TEST(Unroll, RatesInterpolation)
{
    YFCURVE_SetRotationFilterUnrollQuality(0.5);
    EXPECT_EQ(YFCurveFilterUnroll().GetQualityTolerance(), 0.5);
    EXPECT_EQ(YFCurveFilterUnrollDof().GetQualityTolerance(), 0.5);
    YFCURVE_SetRotationFilterUnrollQuality(0.25);

    YFCurveFilterUnroll filter;
    for (const double y : {2.0, std::nan("")})
        EXPECT_EQ(filter.InterpolationQualityFactor({1, 2, 3}, {1, y, 3}), 100.0);
    const YgeRVector a(20, 30, 40), b(-50, 10, 100);
    for (const eRotationOrder order : allOrders) {
        filter.SetRotationOrder(static_cast<int>(order));
        const double angle = Apart(a, b, order);
        EXPECT_NEAR(filter.InterpolationQualityFactor(a, b), angle * angle / (70. * 70 + 20 * 20 + 60 * 60),
                    1e-9);
    }
}

// --- Unroll inside limits ------------------------------------------------------------------------------

// The best form of a triple by a plain search over flips and turns: least outside of limits, then nearest.
struct Limits
{
    YgeRVector low{-1e9, -1e9, -1e9}, high{1e9, 1e9, 1e9};

    std::pair<double, double> Rate(const YgeRVector& angles, const YgeRVector& reference) const
    {
        double excess = 0.0, squares = 0.0;
        for (int axis = 0; axis < 3; ++axis) {
            excess += std::pow(std::max({low[axis] - angles[axis], angles[axis] - high[axis], 0.0}), 2);
            squares += std::pow(angles[axis] - reference[axis], 2);
        }
        return {excess, std::sqrt(squares)};
    }

    std::pair<double, double> Best(const YgeRVector& angles, const YgeRVector& reference,
                                   eRotationOrder order) const
    {
        std::pair best{1e30, 1e30};
        for (int i = 0; i < 2 * 9 * 9 * 9; ++i) {
            YgeRVector triple = i % 2 == 1 ? Flipped(angles, order) : angles;
            triple.x += 360.0 * (i / 2 % 9 - 4);
            triple.y += 360.0 * (i / 18 % 9 - 4);
            triple.z += 360.0 * (i / 162 - 4);
            best = std::min(best, Rate(triple, reference));
        }
        return best;
    }
};

// The settings of a filter with limits on some angles.
std::string LimitSettings(const bool* least, const double* low, const bool* most, const double* high)
{
    std::string enabled, lowest = "MinFreedom=", highest = " MaxFreedom=";
    for (int axis = 0; axis < 3; ++axis) {
        const std::string name = std::string(1, "XYZ"[axis]) + "=true ";
        if (least[axis]) enabled += "EnableMin" + name;
        if (most[axis]) enabled += "EnableMax" + name;
        lowest += (axis > 0 ? "," : "") + std::to_string(low[axis]);
        highest += (axis > 0 ? "," : "") + std::to_string(high[axis]);
    }
    return enabled + lowest + highest;
}

// Of keys in a span each is nearest to the one before it, the first to the one ahead of the span.
TEST_F(RotationFilters, UnrollingTakesTheNearestInsideLimits)
{
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        const eRotationOrder order = allOrders[Whole(0, 5)];
        Triples before;
        for (int i = 0; i < 4; ++i)
            before.emplace_back(Whole(-400, 400) + 0.25, Whole(-400, 400) + 0.5, Whole(-400, 400) + 0.75);
        const YFCurveNodePtr node = Rotation(before, order);
        Limits limits;
        bool least[3] = {}, most[3] = {};
        double low[3], high[3];
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = Whole(-300, 100);
            high[axis] = low[axis] + Whole(0, 500);
            least[axis] = round % 2 == 1 && Whole(0, 2) > 0;
            most[axis] = round % 2 == 1 && Whole(0, 2) > 0;
            if (least[axis]) limits.low[axis] = low[axis];
            if (most[axis]) limits.high[axis] = high[axis];
        }
        const FilterPtr filter = round % 2 == 1
                                     ? MadeFilter("UnrollDof", LimitSettings(least, low, most, high))
                                     : MadeFilter("Unroll");
        const int first = Whole(0, 1), last = Whole(2, 3);
        filter->SetStartTime(Seconds(first));
        filter->SetStopTime(Seconds(last));
        filter->Apply(*node, true);
        Triples after;
        for (int i = 0; i < 4; ++i) {
            const std::vector<double> values = nodetest::ValuesAt(*node, i);
            after.emplace_back(values[0], values[1], values[2]);
            const auto at = static_cast<std::size_t>(i);
            if (i < first || i > last) {
                ExpectTriple(after[at], before[at], 0.0);
                continue;
            }
            const YgeRVector reference = i > 0 ? after[at - 1] : YgeRVector();
            const auto [excess, distance] = limits.Rate(after[at], reference);
            const auto [bestExcess, bestDistance] = limits.Best(before[at], reference, order);
            EXPECT_LT(Apart(after[at], before[at], order), 1e-3);
            EXPECT_NEAR(excess, bestExcess, 0.2) << i;
            if (std::abs(excess - bestExcess) > 1e-3) continue;
            EXPECT_NEAR(distance, bestDistance, 1e-2) << i;
        }
    }
}

TEST(UnrollDof, SplitsAPoleInsideLimits)
{
    // At the pole Z - X = 100 can be anything between the limits of X and Z; nearest 0 is (-50, 90, 50). With
    // X in -20..20 and Z in -20..50 no split fits: both exceed their limits by the same.
    const std::pair<const char*, YgeRVector> cases[] = {
        {"", {-50, 90, 50}},
        {"EnableMaxX=true MaxFreedom=-60,0,0", {-60, 90, 40}},
        {"EnableMinX=true MinFreedom=-20,0,0", {-20, 90, 80}},
        {"EnableMinX=true EnableMaxX=true EnableMinZ=true EnableMaxZ=true MinFreedom=-20,0,-20 "
         "MaxFreedom=20,0,50",
         {-35, 90, 65}}};
    for (const auto& [settings, split] : cases) {
        const FilterPtr filter = MadeFilter("UnrollDof", settings);
        const YFCurveNodePtr node = Rotation({{0, 90, 100}});
        EXPECT_TRUE(filter->Apply(*node, true));
        ExpectTriple(KeysOf(*node)[0], split, 1e-3);
        EXPECT_FALSE(filter->Apply(*node, true)) << "already there";
    }
}

// --- Gimbal killers ------------------------------------------------------------------------------------

TEST(GimbleKiller, SwingsThroughAPole)
{
    // Arrives with X and Z at 0, stays at the pole for three seconds, and leaves with both at 80.
    const Triples keys = {{0, 80, 0}, {0, 90, 0}, {0, 90, 0}, {0, 90, 0}, {-100, 80, -100}};
    const YFCurveNodePtr one = Rotation(keys), two = Rotation(keys);
    EXPECT_TRUE(YFCurveFilterGimbleKiller().Apply(*one, true));
    EXPECT_TRUE(YFCurveFilterGimbleKiller2().Apply(*two, true));
    for (int i = 0; i < 5; ++i) {
        const auto at = static_cast<std::size_t>(i);
        const double y = i == 0 ? 80. : i < 4 ? 90. : 100.;
        ExpectTriple(KeysOf(*one)[at], {i < 4 ? 0. : 80., y, i < 4 ? 0. : 80.});
        ExpectTriple(KeysOf(*two)[at], {20. * i, y, 20. * i});
    }
}

TEST(GimbleKiller, MirrorsTangentsWithTheAngle)
{
    // All keys but the first flipped: the motion between those stays, with its slopes. At a pole a key has no other form,
    // and its slopes follow the keys beside it.
    for (const double y : {120.0, 90.0}) {
        const YFCurveNodePtr node = Rotation({{0, 10, 0}, {180, 160, 180}, {190, y, 170}, {200, 100, 200}});
        for (int axis = 0; axis < 3; ++axis) {
            YFCurve& curve = CurveOf(*node, axis);
            for (int i = 1; i < 4; ++i) {
                curve.KeySetInterpolation(i, YFCURVE_INTERP_CUBIC);
                curve.KeySetTangeantMode(
                    i, i == 2 && y > 90 ? YFCURVE_TANGENT_USER : YFCURVE_TANGENT_USER_BREAK);
                curve.KeySetRightDerivative(i, 30.0f * static_cast<float>(i));
            }
            for (int i = 2; i < 4; ++i) curve.KeySetLeftDerivative(i, -25.0f);
        }
        const YFCurveNodePtr before(node->Clone());
        EXPECT_TRUE(YFCurveFilterGimbleKiller().Apply(*node, true));
        EXPECT_EQ(KeysOf(*node)[2][1], 180 - y);
        const YFCurve& turned = CurveOf(*node, 1);
        const YFCurve& given = CurveOf(*before, 1);
        for (int i = 1; i < 4; ++i)
            EXPECT_EQ(turned.KeyGetRightDerivative(i), -given.KeyGetRightDerivative(i)) << y;
        for (int i = 2; i < 4; ++i)
            EXPECT_EQ(turned.KeyGetLeftDerivative(i), -given.KeyGetLeftDerivative(i)) << y;
        for (double at = 1.0; y > 90 && at <= 3.0; at += 0.125)
            EXPECT_LT(Apart(Shown(*before, at), Shown(*node, at), eRotationOrder::XYZ), 1e-3) << at;
    }
}

// --- The filter of the settings ------------------------------------------------------------------------

// 0 and 3 stand for none; without limits all there is to do is to unroll.
TEST(RotationFilter, IsThatOfTheSettings)
{
    const Triples keys = {{0, 10, 0}, {190, 160, 185}, {400, 20, -300}, {-700, 100, 50}};
    double low[] = {100, 200, 300}, high[] = {-100, -200, -300};
    for (int round = 0; round < 6; ++round) {
        const int axis = round % 3;
        bool least[3] = {}, most[3] = {};
        (round < 3 ? least : most)[axis] = true;
        const std::string limits = LimitSettings(least, low, most, high);
        const std::tuple<int, const char*, std::string> cases[] = {{0, "", limits},
                                                                   {1, "GimbleKiller", ""},
                                                                   {2, "UnrollDof", limits},
                                                                   {2, "Unroll", ""},
                                                                   {3, "", limits}};
        for (const auto& [choice, name, settings] : cases) {
            const YFCurveNodePtr expected = Rotation(keys), found = Rotation(keys);
            if (*name != '\0') {
                const FilterPtr filter = MadeFilter(name, settings);
                filter->SetStartTime(Seconds(1));
                filter->SetStopTime(Seconds(2));
                EXPECT_TRUE(filter->Apply(*expected, true)) << name;
            }
            YFCURVE_SetRotationFilterToApply(choice);
            YFCURVE_ApplyRotationFilter(found.get(), Seconds(1), Seconds(2), least, low, most,
                                        settings.empty() ? nullptr : high);
            for (std::size_t i = 0; i < keys.size(); ++i)
                ExpectTriple(KeysOf(*found)[i], KeysOf(*expected)[i], 0.0);
        }
    }
    YFCURVE_SetRotationFilterToApply(2);
    YFCURVE_ApplyRotationFilter(nullptr, YTIME_ZERO, YTIME_ZERO, nullptr, nullptr, nullptr, nullptr);
}

}  // namespace
