#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <thread>

#include "tests/curve/plain_curve.h"
#include "tests/curve/random_curve.h"
#include "yfcurve/yfcurveclip.h"
#include "yfcurve/yfcurveplayer.h"

using yfc::test::PlainCurve;
using yfc::test::Sec;

namespace {

using Curves = std::vector<YFCurvePtr>;

std::unique_ptr<YFCurveClip> ClipOf(const Curves& curves)
{
    std::vector<const YFCurve*> list;
    for (const YFCurvePtr& curve : curves) list.push_back(curve.get());
    return YFCurveClip::Create(list);
}

// Curves of all kinds, some without keys or with one, in families that share key times and extrapolation.
Curves RandomCurveSet(RandomCurves& random)
{
    Curves curves;
    const bool isCalm = random.Chance(0.5);
    const bool isLong = random.Chance(0.2);  // more than a stream's span of 2^52 ticks
    while (curves.size() < 24) {
        YFCurve family;
        random.AddKeys(family, random.Pick({random.Below(3), 2 + random.Below(40), 30 + random.Below(200)}),
                       random.Chance(0.5) ? 1.0 : 0.0);
        if (family.KeyGetCount() > 0 && random.Chance(0.3)) {
            const YTime at = family.KeyGetTime(random.Below(family.KeyGetCount()));
            for (const YTime near : {at, at + YTime(1)})
                family.KeyAdd(near, yfc::test::RandomKey(random, 0.0));
        }
        if (isLong && random.Chance(0.5)) family.KeyMoveOf(false, YTime(std::int64_t{1} << 53), 0.0f);
        // Recorded motion, whose tangents are all smooth, is kept in a form of its own.
        const bool isRecorded = random.Chance(0.4);
        for (int i = 0; isRecorded && i < family.KeyGetCount(); ++i) {
            YFCurveKey key = yfc::test::AutoKey(family.KeyGetValue(i));
            key.SetTime(family.KeyGetTime(i));
            family.KeySet(i, key);
        }
        if (!isCalm || random.Chance(0.3)) random.SetAnyExtrapolation(family);
        for (int i = random.Pick({1, 1, 1, 9}); i > 0; --i) {
            curves.emplace_back(family.Copy());
            curves.back()->CopyFrom(family);
            if (random.Chance(0.2)) curves.back()->KeyScaleValue(false, 0.0f);
            curves.back()->KeyMoveOf(false, YTIME_ZERO, random.Float(-1.0, 1.0));
        }
    }
    return curves;
}

// Playing forwards and backwards by any steps, and leaping, in and around the keys, often onto one.
std::vector<YTime> RandomTimes(RandomCurves& random, const YFCurveClip& clip, const Curves& curves)
{
    const YTime period = clip.GetStop() - clip.GetStart() + Sec(1.0);
    const YTime low = clip.GetStart() - period * 4;
    const YTime high = clip.GetStop() + period * 4;
    std::vector<YTime> times;
    YTime time = clip.GetStart();
    YTime step = Sec(0.02);
    for (int i = 0; i < 200; ++i) {
        if (random.Chance(0.05)) step = Sec(std::pow(10.0, random.Between(-4.0, 0.5)) * random.Pick({1, -1}));
        time += step;
        if (random.Chance(0.05)) time = random.TimeBetween(low, high);
        const YFCurve& curve =
            *curves[static_cast<std::size_t>(random.Below(static_cast<int>(curves.size())))];
        if (random.Chance(0.2) && curve.KeyGetCount() > 0)
            time = curve.KeyGetTime(random.Below(curve.KeyGetCount())) + YTime(random.Below(3) - 1);
        times.push_back(time);
    }
    times.insert(times.end(), {YTIME_MINUS_INFINITE, YTIME_INFINITE, YTime(INT64_MIN)});
    return times;
}

// How far a player may be off the curve: two units in the last place of the largest value, or with weights a
// millionth of the range of the segment's points off what the curve means.
::testing::AssertionResult IsClose(const YFCurve& curve, YTime time, float value)
{
    const double position = curve.KeyFindAll(time);
    const int i = static_cast<int>(position);
    const auto evaluated = static_cast<double>(curve.Evaluate(time));
    double largest = std::abs(evaluated);
    double wanted = evaluated;
    if (position > 0.0 && position != i && i + 1 < curve.KeyGetCount()) {
        const double start = curve.KeyGetValue(i);
        const double end = curve.KeyGetValue(i + 1);
        const double seconds = (curve.KeyGetTime(i + 1) - curve.KeyGetTime(i)).GetSecondDouble();
        const bool isWeighted = curve.KeyGetInterpolation(i) == YFCURVE_INTERP_CUBIC &&
                                curve.KeyGetTangeantWeightMode(i) != YFCURVE_WEIGHT_NONE;
        const double right = isWeighted ? curve.KeyGetRightTangeantWeight(i) : 1.0 / 3.0;
        const double left = isWeighted ? curve.KeyGetLeftTangeantWeight(i + 1) : 1.0 / 3.0;
        const double points[] = {start, end, start + curve.KeyGetRightDerivative(i) * seconds * right,
                                 end - curve.KeyGetLeftDerivative(i + 1) * seconds * left};
        largest = std::max({largest, std::abs(start), std::abs(end)});
        for (const double part : {0.2, 0.5, 0.8})
            largest = std::max(largest, std::abs(static_cast<double>(curve.EvaluateIndex(i + part))));
        if (isWeighted) {
            for (const double point : points) largest = std::max(largest, std::abs(point));
            const auto [low, high] = std::minmax_element(std::begin(points), std::end(points));
            // Outside the keys the copy that a time falls into makes a difference of a tick.
            wanted = static_cast<double>(PlainCurve(curve).At(static_cast<long double>(time.Get())));
            const double off = std::abs(static_cast<double>(value) - wanted) - 1e-6 * (*high - *low);
            if (off <= 0.0) return ::testing::AssertionSuccess();
        }
    }
    const auto scale = static_cast<float>(largest);
    const float unit = std::nextafter(scale, std::numeric_limits<float>::infinity()) - scale;
    if (std::abs(static_cast<double>(value) - wanted) <= 2.0 * unit) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << value << " instead of " << wanted << " at " << time.Get() << ", " << position << " of "
           << curve.KeyGetCount() << " keys, off by " << (value - wanted) / unit << " units";
}

bool SameBits(std::span<const float> a, std::span<const float> b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size_bytes()) == 0;
}

}  // namespace

// Every way to ask gives what the curves give, and all agree in every bit; so does a clip from the other's
// bytes. What is asked one channel at a time is not worked out in vectors.
TEST(Clip, PlaysWhatTheCurvesShow)
{
    RandomCurves random;
    for (int round = 0; round < 60; ++round) {
        const Curves curves = RandomCurveSet(random);
        const auto clip = ClipOf(curves);
        ASSERT_TRUE(clip);
        const auto player = YFCurvePlayer::Create(*clip);
        const auto opened = YFCurveClip::Open(clip->GetBytes());
        ASSERT_TRUE(opened && opened->GetChannelCount() == static_cast<int>(curves.size()));
        const auto other = YFCurvePlayer::Create(*opened);
        const std::vector<YTime> times = RandomTimes(random, *clip, curves);
        std::vector<float> values(curves.size());
        std::vector<float> again(curves.size());
        std::vector<std::vector<float>> byChannel(curves.size(), std::vector<float>(times.size()));
        for (std::size_t t = 0; t < times.size(); ++t) {
            player->Evaluate(times[t], values);
            for (std::size_t i = 0; i < curves.size(); ++i) {
                ASSERT_TRUE(IsClose(*curves[i], times[t], values[i])) << "curve " << i << " round " << round;
                byChannel[i][t] = values[i];
            }
            const int channels[] = {7, 3, 3, 11, 0};
            float some[5];
            other->Evaluate(times[t], channels, some);
            for (int i = 0; i < 5; ++i) {
                const float value = values[static_cast<std::size_t>(channels[i])];
                ASSERT_EQ(std::bit_cast<int>(some[i]), std::bit_cast<int>(value));
            }
            again = values;
            other->EvaluateMoving(times[t - t % 3], again);
            ASSERT_TRUE(t % 3 != 0 || SameBits(values, again));
        }
        std::vector<float> row(times.size());
        for (std::size_t i = 0; i < curves.size(); ++i) {
            player->Evaluate(static_cast<int>(i), times, row);
            ASSERT_TRUE(SameBits(row, byChannel[i])) << "curve " << i;
        }
    }
}

// Only what changed is worked out, and the result is that of a clip made anew.
TEST(Clip, IsRefreshed)
{
    RandomCurves random;
    const Curves curves = RandomCurveSet(random);
    const auto clip = ClipOf(curves);
    const auto before = YFCurvePlayer::Create(*clip);
    std::vector<float> values(curves.size());
    std::vector<float> kept(curves.size());
    before->Evaluate(Sec(1.0), kept);
    EXPECT_EQ(clip->Refresh(), 0);
    YFCurveKey key;
    key.Set(YTime(), 77.0f);
    curves[2]->KeyAdd(Sec(1.0), key);
    curves[5]->SetPostExtrapolation(curves[5]->GetPostExtrapolation() % 4 + 1);
    EXPECT_EQ(clip->Refresh(), 2);
    before->Evaluate(Sec(1.0), values);
    EXPECT_TRUE(SameBits(values, kept));
    const auto player = YFCurvePlayer::Create(*clip);
    for (const YTime time : RandomTimes(random, *clip, curves)) {
        player->Evaluate(time, values);
        for (std::size_t i = 0; i < curves.size(); ++i) ASSERT_TRUE(IsClose(*curves[i], time, values[i]));
    }
    player->Evaluate(Sec(1.0), values);
    EXPECT_EQ(values[2], 77.0f);
}

// A curve that has gone may leave its address to another one, with as many changes.
TEST(Clip, TellsACurveFromOneThatWasAtItsAddress)
{
    alignas(YFCurve) std::byte place[sizeof(YFCurve)];
    std::unique_ptr<YFCurveClip> clip;
    for (const float value : {1.0f, 2.0f}) {
        auto* const curve = new (place) YFCurve;
        curve->KeyAppendFast(YTIME_ZERO, value);
        if (!clip) {
            const YFCurve* const curves[] = {curve};
            clip = YFCurveClip::Create(curves);
        } else {
            EXPECT_EQ(clip->Refresh(), 1);
        }
        float played = 0.0f;
        YFCurvePlayer::Create(*clip)->Evaluate(YTIME_ZERO, std::span(&played, 1));
        EXPECT_EQ(played, value);
        curve->~YFCurve();
    }
}

// Meant for the thread sanitizer: players of one clip, each on a thread of its own.
TEST(PlayerThreads, PlayOneClip)
{
    RandomCurves random;
    const Curves curves = RandomCurveSet(random);
    const auto clip = ClipOf(curves);
    const std::vector<YTime> times = RandomTimes(random, *clip, curves);
    const auto play = [&] {
        const auto player = YFCurvePlayer::Create(*clip);
        std::vector<float> values(curves.size() * times.size());
        for (std::size_t i = 0; i < times.size(); ++i)
            player->Evaluate(times[i], std::span(values).subspan(i * curves.size(), curves.size()));
        return values;
    };
    const std::vector<float> expected = play();
    std::vector<std::vector<float>> played(4);
    std::vector<std::thread> threads;
    for (std::vector<float>& values : played) threads.emplace_back([&] { values = play(); });
    for (std::thread& thread : threads) thread.join();
    for (const std::vector<float>& values : played) EXPECT_TRUE(SameBits(values, expected));
}

TEST(Clip, TakesFewBytesASegment)
{
    RandomCurves random;
    for (const auto& [jitter, most] : {std::pair(0.0, 16.5), {0.4, 24.0}}) {
        Curves curves;
        for (int i = 0; i < 100; ++i) {
            curves.emplace_back(YFCurveCreate());
            for (int k = 0; k < 300; ++k) {
                curves.back()->KeyAdd(
                    Sec((k + random.Between(-jitter, jitter)) / 30.0),
                    yfc::test::MakeKey(random.Float(-9.0, 9.0), YFCURVE_INTERP_CUBIC,
                                       jitter > 0.0 ? YFCURVE_TANGENT_USER_BREAK : YFCURVE_TANGENT_AUTO));
            }
        }
        for (int i = 0; i < 50; ++i) curves.push_back(yfc::test::MakeCurve({yfc::test::UserKey(1.0f)}));
        const auto clip = ClipOf(curves);
        EXPECT_EQ(clip->GetSegmentCount(), 100 * 299);
        EXPECT_EQ(clip->GetConstantCount(), 50);
        EXPECT_LT(static_cast<double>(clip->GetBytes().size()), most * 100 * 299);
    }
}

TEST(Clip, RefusesBadInput)
{
    YFCurve curve;
    const YFCurve* const curves[] = {&curve, nullptr};
    EXPECT_FALSE(YFCurveClip::Create(curves));
    EXPECT_FALSE(YFCurveClip::Create(std::span(curves, 1), 0.0));
    EXPECT_FALSE(YFCurveClip::Create(std::span(curves, 1), std::nan("")));
    const auto clip = YFCurveClip::Create(std::span(curves, 1));
    std::vector<double> moved(clip->GetBytes().size() / 8 + 1);
    auto* const bytes = reinterpret_cast<std::byte*>(moved.data());
    std::memcpy(bytes, clip->GetBytes().data(), clip->GetBytes().size());
    const auto opened = YFCurveClip::Open({bytes, clip->GetBytes().size()});
    ASSERT_TRUE(opened);
    EXPECT_EQ(opened->Refresh(), -1);
    std::memmove(bytes + 1, bytes, clip->GetBytes().size());
    EXPECT_FALSE(YFCurveClip::Open({bytes + 1, clip->GetBytes().size()}));
}

TEST(Clip, HeldInfinitiesAreTheSameFromEachQuery)
{
    Curves curves;
    curves.push_back(yfc::test::MakeCurve(
        {yfc::test::ConstantKey(std::numeric_limits<float>::infinity(), YFCURVE_CONSTANT_NEXT),
         yfc::test::ConstantKey(1.0f, YFCURVE_CONSTANT_NEXT)}));
    const auto player = YFCurvePlayer::Create(*ClipOf(curves));
    const YTime times[] = {Sec(0.25), Sec(0.5), Sec(0.75)};
    float sampled[3];
    player->Evaluate(0, times, sampled);
    for (std::size_t i = 0; i < 3; ++i) {
        float value = 0.0f;
        player->Evaluate(times[i], std::span(&value, 1));
        EXPECT_EQ(sampled[i], curves[0]->Evaluate(times[i]));
        EXPECT_EQ(value, sampled[i]);
    }
}

// Any damage is found, or does no harm: sanitizers tell.
TEST(Clip, DamagedBytesAreRefusedOrPlayed)
{
    RandomCurves random;
    const auto clip = ClipOf(RandomCurveSet(random));
    const auto good = clip->GetBytes();
    std::vector<std::uint64_t> memory(good.size() / 8);
    auto* const bytes = reinterpret_cast<unsigned char*>(memory.data());
    int refused = 0;
    for (int round = 0; round < 2000; ++round) {
        std::memcpy(bytes, good.data(), good.size());
        const auto whole = static_cast<int>(good.size());
        bytes[random.Below(std::min(random.Pick({400, 2000, whole}), whole))] =
            static_cast<unsigned char>(random.Pick({0, 1, 127, 255, random.Below(256)}));
        const std::size_t size = random.Chance(0.1) ? good.size() - 64 : good.size();
        const auto opened = YFCurveClip::Open({reinterpret_cast<std::byte*>(bytes), size});
        refused += opened ? 0 : 1;
        if (!opened) continue;
        const auto player = YFCurvePlayer::Create(*opened);
        std::vector<float> values(static_cast<std::size_t>(opened->GetChannelCount()));
        for (const double second : {-9.0, 0.5, 3.0, 1.0, 99.0}) player->Evaluate(Sec(second), values);
        for (int i = 0; i < opened->GetChannelCount(); ++i) {
            const YTime times[] = {Sec(-1.0), Sec(1.0), Sec(1.01)};
            player->Evaluate(i, times, std::span(values).first(std::min<std::size_t>(3, values.size())));
        }
    }
    EXPECT_GT(refused, 500);
}
