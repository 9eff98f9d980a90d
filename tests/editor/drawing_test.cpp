#include "web/engine/drawing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "tests/test_environment.h"

namespace {

using namespace editor;

YTime Seconds(double seconds)
{
    return YTime::FromSeconds(seconds);
}

/// Keys of every interpolation at about `distance` from each other.
void Fill(YFCurve& curve, std::mt19937& random, int count, double distance)
{
    std::uniform_real_distribution<double> part(0.2, 1.0);
    const unsigned kinds[] = {YFCURVE_INTERP_CUBIC, YFCURVE_INTERP_LINEAR, YFCURVE_INTERP_CONSTANT};
    double time = 0.0;
    curve.KeyModifyBegin();
    for (int i = 0; i < count; ++i) {
        curve.KeyAppendFast(Seconds(time), static_cast<float>(20.0 * part(random)));
        curve.KeySetInterpolation(i, kinds[random() % 3]);
        time += distance * part(random);
    }
    curve.KeyModifyEnd();
}

/// The y of a polyline at an x, its lowest and highest where it is upright.
std::pair<float, float> ExtentAt(const CurveDrawing& drawing, float x)
{
    float least = std::numeric_limits<float>::max();
    float greatest = std::numeric_limits<float>::lowest();
    for (std::size_t i = 0; i + 3 < drawing.points.size(); i += 2) {
        const float* p = &drawing.points[i];
        if (x < p[0] || x > p[2]) continue;
        const auto include = [&](float y) {
            least = std::min(least, y);
            greatest = std::max(greatest, y);
        };
        if (p[2] == p[0]) {
            include(p[1]);
            include(p[3]);
        } else {
            include(p[1] + (p[3] - p[1]) * (x - p[0]) / (p[2] - p[0]));
        }
    }
    return {least, greatest};
}

TEST(Drawing, PolylineFollowsTheCurveToThePixel)
{
    SCOPED_TRACE(test::HowToRepeat());
    std::mt19937 random(test::Seed());
    CurveDrawer drawer;
    for (int round = 0; round < 30; ++round) {
        YFCurve curve;
        Fill(curve, random, 12, 1.0);
        curve.SetPostExtrapolation(YFCURVE_EXTRAPOLATION_REPETITION);
        curve.SetPostExtrapolationCount(2);
        const double start = -1.0 + static_cast<double>(random() % 8);
        const Window window{Seconds(start), Seconds(start + 2.0 + static_cast<double>(random() % 6)),
                            -40.0,          60.0,
                            800.0,          200.0};
        const YFCurve* const curves[] = {&curve};
        const CurveDrawing drawing = drawer.Draw(curves, window);
        ASSERT_EQ(drawing.first.back() * 2, drawing.points.size());
        for (double x = 0.5; x < 800.0; x += 3.7) {
            // Half a pixel to either side, as a step is between two pixels; behind the keys as far as samples are apart.
            const double reach = window.TimeAt(x) > curve.KeyGetTime(11) ? 2.0 : 0.5;
            float low = window.Y(static_cast<double>(curve.Evaluate(window.TimeAt(x))));
            float high = low;
            for (const double near : {x - reach, x - 0.5 * reach, x + 0.5 * reach, x + reach}) {
                const float y = window.Y(static_cast<double>(curve.Evaluate(window.TimeAt(near))));
                low = std::min(low, y);
                high = std::max(high, y);
            }
            const auto [least, greatest] = ExtentAt(drawing, static_cast<float>(x));
            EXPECT_LT(least, high + 1.0f) << "x " << x << " round " << round;
            EXPECT_GT(greatest, low - 1.0f) << "x " << x << " round " << round;
        }
    }
}

/// Against a plain search through all keys.
TEST(Drawing, DenseColumnsShowLeastAndGreatestValue)
{
    SCOPED_TRACE(test::HowToRepeat());
    std::mt19937 random(test::Seed());
    CurveDrawer drawer;
    YFCurve curve;
    Fill(curve, random, 20'000, 0.01);
    const YFCurve* const curves[] = {&curve};
    for (int round = 0; round < 3; ++round) {
        curve.KeySetValue(static_cast<int>(random() % 20'000), 1000.0f);
        const Window window{Seconds(3.0 + round), Seconds(90.0), 0.0, 1000.0, 300.0, 1000.0};
        const CurveDrawing drawing = drawer.Draw(curves, window);
        EXPECT_LE(drawing.points.size(), 2u * 2u * 300u);
        std::vector<std::pair<float, float>> drawn(300, {2000.0f, -2000.0f});
        for (std::size_t i = 0; i < drawing.points.size(); i += 2) {
            auto& [least, greatest] = drawn[static_cast<std::size_t>(drawing.points[i])];
            least = std::min(least, drawing.points[i + 1]);
            greatest = std::max(greatest, drawing.points[i + 1]);
        }
        for (int i = 0; i < curve.KeyGetCount(); ++i) {
            const YTime time = curve.KeyGetTime(i);
            if (time < window.start || time >= window.stop) continue;
            const auto& [least, greatest] = drawn[static_cast<std::size_t>(window.X(time))];
            const float y = window.Y(static_cast<double>(curve.KeyGetValue(i)));
            ASSERT_GE(y, least - 0.01f);
            ASSERT_LE(y, greatest + 0.01f);
        }
    }
}

TEST(Drawing, KeysAreThoseInTheWindowWithSelectedOnesLast)
{
    YFCurve curve;
    for (int i = 0; i < 100; ++i) curve.KeyAdd(Seconds(i));
    for (const int i : {20, 22, 90}) curve.KeySetSelected(i, true);
    const YFCurve* const curves[] = {&curve};
    CurveDrawer drawer;
    const Window near{Seconds(19.9), Seconds(24.1), -1.0, 1.0, 400.0, 100.0};
    const KeyDrawing drawing = drawer.DrawKeys(curves, near);
    EXPECT_EQ(drawing.index, (std::vector<std::uint32_t>{21, 23, 24, 20, 22}));
    EXPECT_EQ(drawing.selected, (std::vector<std::uint8_t>{0, 0, 0, 1, 1}));
    const Window far{Seconds(0), Seconds(99), -1.0, 1.0, 10.0, 100.0};
    const KeyDrawing thinned = drawer.DrawKeys(curves, far);
    EXPECT_LE(thinned.index.size(), 14u);
    EXPECT_EQ(std::count(thinned.selected.begin(), thinned.selected.end(), 1), 2);
    curve.KeySetSelectedAll(true);
    for (int i = 0; i < 100; i += 10) {
        curve.KeySetValue(i + 3, -0.5f);
        curve.KeySetValue(i + 7, 0.5f);
    }
    const KeyDrawing all = drawer.DrawKeys(curves, {Seconds(0), Seconds(100), -1.0, 1.0, 10.0, 100.0});
    for (std::uint32_t i = 0; i < 100; i += 10) {
        for (const std::uint32_t extreme : {i + 3, i + 7})
            EXPECT_NE(std::find(all.index.rbegin(), all.index.rend(), extreme), all.index.rend()) << extreme;
    }
    EXPECT_LE(std::count(all.selected.begin(), all.selected.end(), 1), 22);
    curve.KeySetSelectedAll(false);
    curve.KeySetSelected(20, true);
    const KeyDrawing after = drawer.DrawKeys(curves, far);
    EXPECT_EQ(std::count(after.selected.begin(), after.selected.end(), 1), 1);
}

}  // namespace
