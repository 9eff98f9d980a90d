#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "tests/curve/random_curve.h"
#include "yfcurve/yfcurvefilterbutterworth.h"
#include "yfcurve/yfcurvesettings.h"

namespace {

using yfc::test::Sec;

TEST(ButterworthFilter, RespondsToAnImpulseAsThatOfAnotherLibrary)
{
    // b, a = scipy.signal.butter(5, 12.0, fs=120.0), SciPy 1.10.1
    constexpr double b[] = {0.001282581078960685, 0.006412905394803425, 0.01282581078960685,
                            0.01282581078960685,  0.006412905394803425, 0.001282581078960685};
    constexpr double a[] = {-2.9754221097456828, 3.8060181193204103, -2.5452528683304663, 0.8811300754378365,
                            -0.1254306221553556};  // behind a 1
    double c[6][10] = {};
    double memory[3][10] = {};
    int sections = 0;
    double delay = 0.0;
    double output = 0.0;
    // The table holds nine sections.
    YFCurveFilterButterworth::ComputeFilterCoefficients(7.0, 1.0 / 240.0, 1'000'000'000, c, &sections,
                                                        &delay);
    EXPECT_EQ(sections, 9);
    YFCurveFilterButterworth::ComputeFilterCoefficients(12.0, 1.0 / 120.0, 5, c, &sections, &delay);
    ASSERT_EQ(sections, 3);
    std::vector<double> wanted(60);
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        wanted[i] = i < 6 ? b[i] : 0.0;
        for (std::size_t k = 1; k <= std::min<std::size_t>(i, 5); ++k) wanted[i] -= a[k - 1] * wanted[i - k];
        YFCurveFilterButterworth::ButterworthFilter(&output, i == 0 ? 1.0 : 0.0, sections, c, memory);
        EXPECT_NEAR(output, wanted[i], 1e-10) << i;
    }
    // At rest on a value the filter stays at that value.
    YFCurveFilterButterworth::InitFilterMemory(-3.0, c, sections, memory);
    for (int i = 0; i < 50; ++i)
        YFCurveFilterButterworth::ButterworthFilter(&output, -3.0, sections, c, memory);
    EXPECT_NEAR(output, -3.0, 1e-9);
    // A filter without any sections leaves its input.
    YFCurveFilterButterworth::ComputeFilterCoefficients(7.0, 1.0 / 240.0, -7, c, &sections, &delay);
    YFCurveFilterButterworth::ButterworthFilter(&output, 5.0, sections, c, memory);
    EXPECT_EQ(output, 5.0);
}

struct PlainResult
{
    YFCurve motion;  // filtered, with a key at every sample
    YTime period, start, stop;
};

// The same in the plainest way: all samples become keys.
PlainResult FilterPlainly(const YFCurve& curve, const YFCurveFilterButterworth& filter)
{
    const YTime step = Sec(1.0 / filter.InternalRate.Get());
    const YTime period = Sec(1.0 / filter.SamplingRate.Get());
    const YTime firstKey = curve.KeyGetTime(0), lastKey = curve.KeyGetTime(curve.KeyGetCount() - 1);
    YTime start = filter.Start.Get() == YTIME_MINUS_INFINITE ? firstKey : filter.Start.Get();
    const YTime stop = filter.Stop.Get() == YTIME_INFINITE ? lastKey : filter.Stop.Get();
    while (filter.KeysOnFrame.Get() && start % period != YTIME_ZERO)
        start += period - ((start % period + period) % period);
    const auto at = [&](YTime time) { return double{curve.Evaluate(time)}; };

    std::vector<double> samples;
    const double in = start - step >= firstKey ? at(start) - at(start - step) : at(start + step) - at(start);
    for (int i = 0; i < 250; ++i) samples.push_back(at(start) - 250 * in + i * in);
    YTime last = start;
    for (; last <= stop; last += step) samples.push_back(at(last));
    last -= step;
    const YTime end = lastKey >= last && lastKey < last + step ? lastKey : last;
    const double out = at(end) - at(end - step);
    for (int i = 1; i <= 250; ++i) samples.push_back(at(last) + i * out);

    double c[6][10];
    int sections = 0;
    double delay = 0.0;
    YFCurveFilterButterworth::ComputeFilterCoefficients(
        filter.CutOffFreq.Get(), 1.0 / filter.InternalRate.Get(),
        static_cast<int>(filter.OrderOfFilter.Get()), c, &sections, &delay);
    for (int pass = 0; pass < 2; ++pass) {
        double memory[3][10];
        YFCurveFilterButterworth::InitFilterMemory(
            filter.GetRestsOnFirstSample() ? samples.front() : filter.GetInitialInput(), c, sections, memory);
        for (double& sample : samples)
            YFCurveFilterButterworth::ButterworthFilter(&sample, sample, sections, c, memory);
        samples = {samples.rbegin(), samples.rend()};
    }

    PlainResult result{YFCurve(), period, start, stop};
    for (std::size_t i = 0; i < samples.size(); ++i)
        result.motion.KeyAppendFast(start + step * (static_cast<std::int64_t>(i) - 250),
                                    static_cast<float>(samples[i]));
    return result;
}

// Where the span borders on a key that stays, the curve is there what it was, with its slopes, and gets no
// key much closer to it than its own ones stand.
void ExpectSeam(const YFCurve& curve, const YFCurve& old, const PlainResult& plain, bool before)
{
    int kept = 0;
    while (kept < old.KeyGetCount() && old.KeyGetTime(kept) < plain.start) ++kept;
    if (before) --kept;
    while (!before && kept < old.KeyGetCount() && old.KeyGetTime(kept) <= plain.stop) ++kept;
    if (kept < 0 || kept == old.KeyGetCount()) return;
    const int index = before ? kept : kept - old.KeyGetCount() + curve.KeyGetCount();
    ASSERT_EQ(curve.KeyGetTime(index), old.KeyGetTime(kept));
    ASSERT_EQ(curve.KeyGetValue(index), old.KeyGetValue(kept));
    const float left = old.KeyGetLeftDerivative(kept), right = old.KeyGetRightDerivative(kept);
    const int inner = before ? index : index - 1;  // the segment that leads from one to the other
    if (index > 0 && curve.KeyGetInterpolation(index - 1) == YFCURVE_INTERP_CUBIC) {
        ASSERT_NEAR(curve.KeyGetLeftDerivative(index), left, 2e-6 * std::abs(left));
    }
    if (index + 1 < curve.KeyGetCount() && curve.KeyGetInterpolation(index) == YFCURVE_INTERP_CUBIC) {
        ASSERT_NEAR(curve.KeyGetRightDerivative(index), right, 2e-6 * std::abs(right));
    }

    YTime least = plain.period;
    const int other = before ? kept + 1 : kept - 1;
    if (other >= 0 && other < old.KeyGetCount()) {
        const YTime own = old.KeyGetTime(other) - old.KeyGetTime(kept);
        least = std::min(least, own < YTIME_ZERO ? -own : own);
    }
    ASSERT_GE(curve.KeyGetTime(inner + 1) - curve.KeyGetTime(inner) + YTime(1), YTime(least.Get() / 2));
    for (int i = before ? 0 : kept; i < (before ? kept : old.KeyGetCount() - 1); ++i) {
        const YTime middle = old.KeyGetTime(i) + (old.KeyGetTime(i + 1) - old.KeyGetTime(i)) / 2;
        const float value = old.Evaluate(middle);
        ASSERT_NEAR(curve.Evaluate(middle), value, 1e-5 * std::max(20.0f, std::abs(value)));
    }
}

TEST(ButterworthFilter, AgreesWithThePlainWayOnRandomCurves)
{
    RandomCurves random;
    for (int round = 0; round < 100; ++round) {
        SCOPED_TRACE(round);
        YFCurve curve;
        random.AddKeys(curve, 12, 0.9);
        if (random.Chance(0.5)) random.SetAnyExtrapolation(curve);
        YFCurveFilterButterworth filter;
        filter.SamplingRate.Set(random.Pick({30.0, 24.0, 25.0, 29.97, 240.0, 500.0, 13.7}));
        filter.InternalRate.Set(random.Pick({240.0, 100.0, 60.0}));
        filter.CutOffFreq.Set(random.Between(2.0, 20.0));
        filter.OrderOfFilter.Set(random.Below(8) + 1);
        filter.KeysOnFrame.Set(random.Chance(0.5));
        filter.SetRestsOnFirstSample(random.Chance(0.3));
        filter.SetInitialInput(random.Pick({0.0, -40.0}));
        const YTime first = curve.KeyGetTime(0), last = curve.KeyGetTime(11);
        const YTime middle = first + (last - first) / 2;
        // Anywhere, on a key, or just beside one.
        const auto border = [&](YTime low, YTime high) {
            const YTime time = random.TimeBetween(low, high);
            const int key = static_cast<int>(std::lround(std::clamp(curve.KeyFind(time), 0.0, 11.0)));
            const YTime onKey = curve.KeyGetTime(key) + YTime(random.Pick({-1000, 0, 1, 1000}));
            return random.Chance(0.5) || onKey < low || onKey > high ? time : onKey;
        };
        if (random.Chance(0.5)) filter.Start.Set(border(first - Sec(0.5), middle - Sec(0.2)));
        if (random.Chance(0.5)) filter.Stop.Set(border(middle + Sec(0.2), last + Sec(0.5)));
        const YFCurve old(curve);
        PlainResult plain = FilterPlainly(old, filter);
        ASSERT_TRUE(filter.Apply(curve)) << filter.GetLastErrorString();
        ExpectSeam(curve, old, plain, true);
        ExpectSeam(curve, old, plain, false);
        int key = 0;
        while (key < curve.KeyGetCount() && curve.KeyGetTime(key) < plain.start) ++key;
        int missing = 0;
        const auto expectKey = [&](YTime time) {
            if (key == curve.KeyGetCount() || curve.KeyGetTime(key) != time) return void(++missing);
            ASSERT_EQ(curve.KeyGetValue(key), plain.motion.Evaluate(time)) << time.GetSecondDouble();
            ++key;
        };
        YTime time = plain.start;
        for (; time < plain.stop; time += plain.period) expectKey(time);
        expectKey(plain.stop);
        EXPECT_LE(missing, 3) << "those beside keys that stay";
        ASSERT_TRUE(key == curve.KeyGetCount() || curve.KeyGetTime(key) > plain.stop);
    }
}

TEST(ButterworthFilter, BendsNothingBetweenTheKeysAndASpanBesideThem)
{
    for (const unsigned mode : {YFCURVE_EXTRAPOLATION_CONST, YFCURVE_EXTRAPOLATION_KEEP_SLOPE}) {
        for (const double side : {-1.0, 1.0}) {
            YFCurve curve;
            for (int i = 0; i < 4; ++i) curve.KeyAppendFast(Sec(i), static_cast<float>(10 * i * i - 20 * i));
            curve.SetPreExtrapolation(mode);
            curve.SetPostExtrapolation(mode);
            curve.SetPreExtrapolationCount(YFCURVE_EXTRAPOLATION_UNLIMITED);
            curve.SetPostExtrapolationCount(YFCURVE_EXTRAPOLATION_UNLIMITED);
            const YFCurve old(curve);
            YFCurveFilterButterworth filter;
            filter.SetRestsOnFirstSample(true);
            filter.Start.Set(Sec(1.5 + side * 3.0 - 0.5));
            filter.Stop.Set(Sec(1.5 + side * 3.0 + 0.5));
            ASSERT_TRUE(filter.Apply(curve));
            for (const double between : {1.75, 2.0, 2.25, 3.0}) {
                const YTime time = Sec(1.5 + side * between);
                EXPECT_NEAR(curve.Evaluate(time), old.Evaluate(time), 1e-3) << mode << ' ' << between * side;
            }
        }
    }
}

TEST(ButterworthFilter, RefusesWhatItCannotSampleAndLeavesTheCurve)
{
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    const struct
    {
        const char* property;
        double value;
        int status;  // -1: filters
    } cases[] = {{"SamplingRate", 0.0, 0},   {"SamplingRate", 1e300, 0}, {"SamplingRate", 1e-300, 1},
                 {"SamplingRate", 1e10, 1},  {"SamplingRate", 2.0, 1},   {"SamplingRate", 2.01, -1},
                 {"InternalRate", nan, 0},   {"InternalRate", 1e10, 1},  {"InternalRate", 14.0, 0},
                 {"InternalRate", 14.1, -1}, {"CutOffFreq", 0.0, 0},     {"CutOffFreq", 120.0, 0},
                 {"CutOffFreq", nan, 0},     {"OrderOfFilter", 1e9, -1}, {"OrderOfFilter", nan, -1},
                 {"Start", 1.0, 1},          {"Start", -1e8, 1},         {"Stop", 1e8, 1}};
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::Message() << test.property << " = " << test.value);
        YFCurve curve;
        for (int i = 0; i <= 10; ++i) curve.KeyAppendFast(Sec(i / 10.0), static_cast<float>(i % 3));
        YFCurveFilterButterworth filter;
        YProperty* property = filter.FastFindPropertyByName(test.property);
        ASSERT_NE(property, nullptr);
        const bool isTime = property == &filter.Start || property == &filter.Stop;
        ASSERT_TRUE(
            property->WriteValue(isTime ? YPropertyValue(Sec(test.value)) : YPropertyValue(test.value)));
        EXPECT_EQ(filter.Apply(curve), test.status < 0);
        EXPECT_EQ(filter.GetLastErrorID(), test.status);
        if (test.status < 0) continue;
        EXPECT_STREQ(filter.GetLastErrorString(), test.status == 0 ? "Bad Sampling Rate" : "Bad Interval");
        EXPECT_EQ(curve.KeyGetCount(), 11);
    }
    YFCURVE_SetButterworthFilterInternalRate(480.0);
    EXPECT_EQ(YFCurveFilterButterworth().InternalRate.Get(), 480.0);
    YFCURVE_SetButterworthFilterInternalRate(240.0);
    // Values that a filter would smear over everything.
    const YFCurvePtr curve = yfc::test::MakeSamples({1, static_cast<float>(nan), 1, 1, 1, 1, 1, 1, 1, 1});
    EXPECT_FALSE(YFCurveFilterButterworth().Apply(*curve));
    EXPECT_EQ(curve->KeyGetCount(), 10);
}

}  // namespace
