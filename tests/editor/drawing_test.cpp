#include "web/engine/drawing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
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

/// Adds keys of every interpolation at about `distance` from each other, from a time behind the others on.
void Fill(YFCurve& curve, test::RandomEngine& random, int count, double distance, double time = 0.0)
{
    std::uniform_real_distribution<double> part(0.2, 1.0);
    const unsigned kinds[] = {YFCURVE_INTERP_CUBIC, YFCURVE_INTERP_LINEAR, YFCURVE_INTERP_CONSTANT};
    curve.KeyModifyBegin();
    for (int i = curve.KeyGetCount(); count > 0; ++i, --count) {
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
        const bool isUpright = p[2] == p[0];
        const float y = isUpright ? p[1] : p[1] + (p[3] - p[1]) * (x - p[0]) / (p[2] - p[0]);
        least = std::min({least, y, isUpright ? p[3] : y});
        greatest = std::max({greatest, y, isUpright ? p[3] : y});
    }
    return {least, greatest};
}

TEST(Drawing, PolylineFollowsTheCurveToThePixel)
{
    test::RandomEngine random;
    CurveDrawer drawer;
    for (int round = 0; round < 30; ++round) {
        YFCurve curve;
        Fill(curve, random, 12, 1.0);
        curve.SetPostExtrapolation(YFCURVE_EXTRAPOLATION_REPETITION);
        curve.SetPostExtrapolationCount(2);
        const double start = -1.0 + static_cast<double>(random() % 8);
        // Now and then so near that the keys are millions of pixels away.
        const double duration = round % 3 == 0 ? 1e-4 : 2.0 + static_cast<double>(random() % 6);
        const Window window{Seconds(start), Seconds(start + duration), -40.0, 60.0, 800.0, 200.0};
        const YFCurve* const curves[] = {nullptr, &curve};  // nothing is drawn of the first
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

/// Against a plain search through all keys, from half a pixel at the left to half a pixel at the right.
void ExpectAllKeysWithin(const YFCurve& curve, const Window& window,
                         const std::vector<std::pair<float, float>>& columns, float firstX)
{
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        const double x = window.X(curve.KeyGetTime(i));
        if (x < 0.5 || x > window.width - 0.5) continue;
        const auto column = static_cast<std::size_t>(std::lround(x - static_cast<double>(firstX)));
        const auto& [least, greatest] = columns.at(std::min(column, columns.size() - 1));
        const float y = window.Y(static_cast<double>(curve.KeyGetValue(i)));
        ASSERT_GE(y, least - 0.01f) << "key " << i;
        ASSERT_LE(y, greatest + 0.01f) << "key " << i;
    }
}

TEST(Drawing, DenseColumnsShowLeastAndGreatestValue)
{
    test::RandomEngine random;
    CurveDrawer drawer;
    YFCurve curve;
    Fill(curve, random, 10'000, 0.01);
    Fill(curve, random, 10'000, 0.03, 65.0);
    const YFCurve* const curves[] = {&curve};
    double start = 3.0;
    for (int round = 0; round < 40; ++round) {
        // Mostly the window moves on a little, also where nothing of the curve changes; sometimes it is another one.
        if (round % 4 == 0) curve.KeySetValue(static_cast<int>(random() % 20'000), 1000.0f);
        if (round % 7 == 0) curve.SetPostExtrapolation(static_cast<unsigned>(1 + random() % 3));
        // Not so far before the first key that few keys are in sight, which would not be drawn in columns.
        start = std::max(start + (static_cast<double>(random() % 100) - 40.0) * 0.2, -5.0);
        const double duration = 15.0 * static_cast<double>(1 + round / 10 * 3);
        const Window window{Seconds(start), Seconds(start + duration), 0.0, 1000.0, 300.0, 1000.0};
        const CurveDrawing drawing = drawer.Draw(curves, window);
        ASSERT_EQ(drawing.points, CurveDrawer().Draw(curves, window).points) << "round " << round;
        EXPECT_LE(drawing.points.size(), 2u * 2u * 302u);
        std::vector<std::pair<float, float>> columns;
        for (std::size_t i = 0; i < drawing.points.size(); i += 2) {
            const float y = drawing.points[i + 1];
            if (i == 0 || drawing.points[i] != drawing.points[i - 2]) columns.emplace_back(y, y);
            columns.back().first = std::min(columns.back().first, y);
            columns.back().second = std::max(columns.back().second, y);
        }
        ASSERT_NO_FATAL_FAILURE(ExpectAllKeysWithin(curve, window, columns, drawing.points[0]));
    }
}

/// Rows that are covered by half or more in a column of pixels.
std::pair<float, float> CoveredRows(const Picture& picture, std::size_t x, std::uint32_t color)
{
    std::pair<float, float> rows{1e9f, -1e9f};
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        const std::uint32_t pixel = picture.pixels[y * picture.width + x];
        if (pixel >> 24 < 128) continue;
        EXPECT_EQ(pixel & 0xFFFFFFu, color);
        rows = {std::min(rows.first, static_cast<float>(y)),
                std::max(rows.second, static_cast<float>(y + 1))};
    }
    return rows;
}

TEST(Drawing, PictureHasAllKeysWithinHalfAPixel)
{
    test::RandomEngine random;
    CurveDrawer drawer;
    for (const double distance : {0.004, 0.01, 0.08}) {
        YFCurve curve;
        Fill(curve, random, 20'000, distance, -20.0);
        YFCurve outOfSight;
        for (int i = 0; i < 20'000; ++i) outOfSight.KeyAppendFast(Seconds(0.005 * i), 100.0f);
        std::vector<const YFCurve*> curves(20, &outOfSight);
        curves[7] = &curve;
        const std::vector<std::uint32_t> colors(20, 0x336699);
        const Window window{Seconds(-13.0123), Seconds(20.0), 0.0, 25.0, 1000.0, 377.0};
        const Picture& picture = drawer.Paint(curves, colors, window);
        ASSERT_EQ(picture.pixels.size(), 377'000u);
        std::vector<std::pair<float, float>> columns;
        for (std::size_t x = 0; x < 1000; ++x) columns.push_back(CoveredRows(picture, x, 0x336699));
        std::vector<std::pair<float, float>> aroundBorders{columns.front()};
        for (std::size_t x = 1; x < 1000; ++x)
            aroundBorders.emplace_back(std::min(columns[x - 1].first, columns[x].first),
                                       std::max(columns[x - 1].second, columns[x].second));
        aroundBorders.push_back(columns.back());
        ASSERT_NO_FATAL_FAILURE(ExpectAllKeysWithin(curve, window, aroundBorders, 0.0f));
    }
    const YFCurve few;
    const YFCurve* const curves[] = {&few};
    const std::uint32_t colors[] = {0u};
    EXPECT_TRUE(
        drawer.Paint(curves, colors, {Seconds(0), Seconds(1), 0.0, 1.0, 100.0, 100.0}).pixels.empty());
}

/// What a column of pixels shows: each line over those before it, painted row by row.
std::vector<std::array<double, 4>> PlainColumn(const std::vector<std::vector<Extremes>>& curves,
                                               std::size_t x, const std::vector<std::uint32_t>& colors,
                                               std::size_t height)
{
    std::vector<std::array<double, 4>> rows(height, {0.0, 0.0, 0.0, 0.0});
    for (std::size_t i = 0; i < curves.size(); ++i) {
        const Extremes& before = curves[i][x == 0 ? 0 : x - 1];
        const double top = static_cast<double>(-std::max(curves[i][x].greatest, before.least)) - 0.5;
        const double bottom = static_cast<double>(-std::min(curves[i][x].least, before.greatest)) + 0.5;
        for (std::size_t y = 0; y < height; ++y) {
            const auto row = static_cast<double>(y);
            const double part = std::clamp(std::min(bottom, row + 1.0) - std::max(top, row), 0.0, 1.0);
            for (unsigned channel = 0; channel < 4; ++channel) {
                const std::uint32_t level = channel == 3 ? 255u : (colors[i] >> (8 * channel)) & 255u;
                rows[y][channel] = rows[y][channel] * (1.0 - part) + level * part;
            }
        }
    }
    return rows;
}

TEST(Drawing, PictureHasLaterCurvesOverEarlierOnes)
{
    test::RandomEngine random;
    std::uniform_real_distribution<float> value(-75.0f, 5.0f);
    std::uniform_real_distribution<float> length(0.0f, 20.0f);
    std::vector<std::vector<Extremes>> curves(6, std::vector<Extremes>(100));
    std::vector<std::uint32_t> colors;
    std::vector<PaintedCurve> painted;
    for (auto& curve : curves) {
        for (Extremes& column : curve) {
            column.least = value(random);
            column.greatest = column.least + length(random);
        }
        colors.push_back(static_cast<std::uint32_t>(random()) & 0xFFFFFFu);
        painted.push_back({curve, colors.back()});
    }
    std::vector<std::uint32_t> columnOfPixel(100);
    std::iota(columnOfPixel.begin(), columnOfPixel.end(), 0u);
    Picture picture{1, 1, {0xFFFFFFFFu}};
    PaintCurves(painted, columnOfPixel, 70, {0.0, 1.0}, picture);
    for (std::size_t x = 0; x < 100; ++x) {
        const auto rows = PlainColumn(curves, x, colors, 70);
        for (std::size_t y = 0; y < 70; ++y) {
            const std::uint32_t pixel = picture.pixels[100 * y + x];
            const double opacity = (pixel >> 24) / 255.0;
            ASSERT_NEAR(opacity * 255.0, rows[y][3], 2.0) << x << ", " << y;
            for (unsigned channel = 0; channel < 3; ++channel)
                ASSERT_NEAR(((pixel >> (8 * channel)) & 255u) * opacity, rows[y][channel], 3.0)
                    << x << ", " << y;
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
    const KeyDrawing alone = drawer.DrawKeys(curves, far, 0.5);
    EXPECT_EQ(alone.selected, (std::vector<std::uint8_t>{1, 1}));
    EXPECT_EQ(alone.inSight, std::vector<std::uint32_t>{100});
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
