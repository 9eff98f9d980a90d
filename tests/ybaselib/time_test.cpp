#include "ybaselib/ytime.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <thread>

#include "tests/test_environment.h"
#include "ybaselib/ystring.h"

namespace {

// Arithmetic at the ends of the range; a signed overflow would not compile in a constant expression.
static_assert(YTIME_INFINITE.Get() == 0x7FFFFFFFFFFFFFFF);
static_assert(static_cast<std::uint64_t>(YTIME_MINUS_INFINITE.Get()) == 0x8000000000000001);
static_assert(-YTIME_INFINITE == YTIME_MINUS_INFINITE);
static_assert((YTIME_INFINITE + YTime(1)).Get() == INT64_MIN);
static_assert((YTIME_MINUS_INFINITE - YTime(2)) == YTIME_INFINITE);
static_assert(-YTime(INT64_MIN) == YTime(INT64_MIN));
static_assert(YTime(INT64_MIN) / -1 == YTime(INT64_MIN));
static_assert(YTime(INT64_MIN) % YTime(-1) == YTIME_ZERO);
static_assert(YTime(7) / YTime(-2) == -3 && YTime(-7) % YTime(2) == YTime(-1));
static_assert(3 * YTIME_INFINITE == YTime(INT64_MAX - 2));
static_assert(YTIME_MINUS_INFINITE < YTIME_ZERO && YTIME_ZERO < YTIME_INFINITE);
static_assert(sizeof(YTime) == 8);

// Restores the process-wide time mode.
class TimeModeTest : public testing::Test
{
  protected:
    ~TimeModeTest() override
    {
        YTime::SetTimeMode(eTimeMode::Fps30);
        YTime::SetCustomFrameRate({});
    }
};

TEST(Time, SecondsRoundToTheNearestTick)
{
    EXPECT_EQ(YTime::FromSeconds(1e-5).Get(), 461862);  // 461861.58
    EXPECT_EQ(YTime::FromSeconds(-1e-5).Get(), -461862);
    EXPECT_EQ(YTime(1).GetSecondDouble(), 1.0 / 46186158000.0);

    constexpr double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(YTime::FromSeconds(infinity), YTIME_INFINITE);
    EXPECT_EQ(YTime::FromSeconds(-1e300), YTIME_MINUS_INFINITE);
    EXPECT_EQ(YTime::FromSeconds(YTIME_INFINITE.GetSecondDouble()), YTIME_INFINITE);
    EXPECT_EQ(YTime::FromSeconds(std::nan("")), YTIME_ZERO);
    EXPECT_TRUE(YTIME_INFINITE.IsInfinite() && YTIME_MINUS_INFINITE.IsInfinite());
    EXPECT_FALSE((YTIME_INFINITE - YTime(1)).IsInfinite() || YTIME_ZERO.IsInfinite());
}

TEST(Time, FrameTimesAreTheExactQuotientRounded)
{
    EXPECT_EQ(YTime::FromFrame(1, eTimeMode::Fps23_976).Get(), 1926347673);  // .25
    EXPECT_EQ(YTime::FromFrame(7, eTimeMode::Fps119_88).Get(), 2696886743);  // .55 below
    for (const int sign : {1, -1})
        EXPECT_EQ(YTime::FromFrame(sign, eTimeMode::Fps96).Get(), sign * 481105813);  // a half
    EXPECT_EQ(YTime::FromFrame(INT64_MAX), YTIME_INFINITE);
    EXPECT_EQ(YTime::FromFrame(INT64_MIN, eTimeMode::Fps1000), YTIME_MINUS_INFINITE);
}

TEST_F(TimeModeTest, EveryFrameComesBackFromItsTime)
{
    test::RandomEngine random;
    std::uniform_int_distribution<std::int64_t> farFrame(-4'000'000'000, 4'000'000'000);
    std::uniform_int_distribution<std::int32_t> term(1, 1'000'000);
    const auto check = [](std::int64_t frame, eTimeMode mode) {
        const YTime start = YTime::FromFrame(frame, mode);
        ASSERT_EQ(start.GetFrame(mode), frame) << "mode " << static_cast<int>(mode);
        ASSERT_EQ((start - YTime(1)).GetFrame(mode), frame - 1) << "mode " << static_cast<int>(mode);
    };
    for (int mode = static_cast<int>(eTimeMode::Fps24); mode < static_cast<int>(eTimeMode::Custom); ++mode) {
        for (std::int64_t frame = -500; frame < 500; ++frame) check(frame, static_cast<eTimeMode>(mode));
        for (int i = 0; i < 2000; ++i) check(farFrame(random), static_cast<eTimeMode>(mode));
    }
    for (int i = 0; i < 2000; ++i) {
        ASSERT_TRUE(YTime::SetCustomFrameRate({term(random), term(random)}));
        const std::int64_t frame = farFrame(random) / 1'000'000;
        // Of the slowest rates few frames are within the reach of time.
        if (!YTime::FromFrame(frame, eTimeMode::Custom).IsInfinite()) check(frame, eTimeMode::Custom);
    }
    ASSERT_TRUE(YTime::SetCustomFrameRate({INT32_MAX, 1}));
    check(123'456'789'012, eTimeMode::Custom);
    EXPECT_EQ(YTIME_INFINITE.GetFrame(eTimeMode::Fps1000), 199'699'919'548);
}

YTime Named(int hour, int minute, int second, int frame, int field, eTimeMode mode)
{
    YTime time;
    time.SetTime(hour, minute, second, frame, field, mode);
    return time;
}

// Every label in turn, the left-out ones skipped, for the first 70 minutes.
TEST(Time, DropFrameNumbersAreLeftOutAsCounted)
{
    std::int64_t frame = 0;
    for (int second = 0; second < 70 * 60; ++second) {
        for (int number = 0; number < 30; ++number) {
            const int minute = second / 60;
            if (second % 60 == 0 && minute % 10 != 0 && number < 2) continue;
            for (const eTimeMode mode : {eTimeMode::Fps29_97Drop, eTimeMode::Fps30Drop}) {
                const YTimeCode name{minute / 60, minute % 60, second % 60, number, 0};
                const YTime time = YTime::FromFrame(frame, mode);
                ASSERT_EQ(time.GetTimeCode(mode), name) << frame;
                ASSERT_EQ(Named(name.hour, name.minute, name.second, name.frame, 0, mode), time) << frame;
                ASSERT_EQ(Named(-name.hour, -name.minute, -name.second, -name.frame, 0, mode), -time)
                    << frame;
            }
            ++frame;
        }
    }
    // 24 hours of drop-frame time code are 2589408 frames.
    const auto drop = eTimeMode::Fps29_97Drop;
    EXPECT_EQ(Named(24, 0, 0, 0, 0, drop).GetFrame(drop), 2589408);
}

TEST(Time, TimeCodePartsCarryAndCountBackwards)
{
    const auto drop = eTimeMode::Fps29_97Drop;
    EXPECT_EQ(Named(1, 2, 3, 0, 0, eTimeMode::Fps24), 3723 * YTIME_ONE_SECOND);
    EXPECT_EQ(Named(0, 0, 90, 60, 0, eTimeMode::Current), 92 * YTIME_ONE_SECOND);
    EXPECT_EQ(Named(0, 0, 1, -1, 0, eTimeMode::Fps30), YTime::FromFrame(29));
    EXPECT_EQ(Named(1, 0, 0, 0, 0, eTimeMode::Fps29_97).Get(), 3603 * YTIME_TICKS_PER_SECOND + 27711694800);
    EXPECT_EQ(Named(0, 1, 0, 0, 0, drop), Named(0, 1, 0, 2, 0, drop));
    EXPECT_EQ(Named(0, 0, 0, 2, 1, eTimeMode::Fps50), YTime::FromFrame(5, eTimeMode::Fps100));
    EXPECT_EQ(Named(INT32_MAX, 0, 0, 0, 0, eTimeMode::Fps30), YTIME_INFINITE);
    EXPECT_EQ(Named(INT32_MIN, 0, 0, 0, 0, eTimeMode::Fps30), YTIME_MINUS_INFINITE);

    EXPECT_EQ(YTime::FromFrame(5, eTimeMode::Fps100).GetTimeCode(eTimeMode::Fps50),
              (YTimeCode{0, 0, 0, 2, 1}));
    EXPECT_EQ(YTime(-1).GetTimeCode(), (YTimeCode{0, 0, 0, 0, -1}));
    EXPECT_EQ((-61 * YTIME_ONE_SECOND).GetTimeCode(), (YTimeCode{0, -1, -1, 0, 0}));
    EXPECT_EQ(YTime::FromFrame(17982, drop).GetTimeString(drop), "00:10:00;00");
    EXPECT_EQ(YTime::FromSeconds(0.25).GetTimeString(eTimeMode::Fps1000), "00:00:00:250");
    EXPECT_EQ(YTime(-1).GetTimeString() + YTIME_MINUS_INFINITE.GetTimeString(), "-00:00:00:01-inf");
}

TEST_F(TimeModeTest, CurrentAndCustomModes)
{
    EXPECT_EQ(YTime::GetTimeMode(), eTimeMode::Fps30);
    YTime::SetTimeMode(eTimeMode::Fps25);
    YTime::SetTimeMode(eTimeMode::Current);
    YTime::SetTimeMode(static_cast<eTimeMode>(99));
    EXPECT_EQ(YTime::GetTimeMode(), eTimeMode::Fps25);
    EXPECT_EQ(YTime::FromFrame(25), YTIME_ONE_SECOND);
    EXPECT_EQ(YTime::GetFrameRate(static_cast<eTimeMode>(-3)), 25.0);
    EXPECT_EQ(YTime::GetFrameRate(eTimeMode::Fps23_976), 24000.0 / 1001.0);
    EXPECT_TRUE(YTime::IsDropFrame(eTimeMode::Fps30Drop));
    EXPECT_FALSE(YTime::IsDropFrame(eTimeMode::Fps29_97));

    EXPECT_FALSE(YTime::SetCustomFrameRate({0, 1}));
    EXPECT_FALSE(YTime::SetCustomFrameRate({1, 1'000'001}));
    EXPECT_EQ(YTime::GetExactFrameRate(eTimeMode::Custom), (YFrameRate{30, 1}));
    EXPECT_TRUE(YTime::SetCustomFrameRate({25, 2}));
    EXPECT_EQ(YTime::FromFrame(25, eTimeMode::Custom), 2 * YTIME_ONE_SECOND);
    EXPECT_EQ(YTime::FromFrame(13, eTimeMode::Custom).GetTimeString(eTimeMode::Custom), "00:00:01:00");
}

TEST_F(TimeModeTest, AThreadMayHaveARateOfItsOwn)
{
    YTime::SetTimeMode(eTimeMode::Fps25);
    const auto frame = [] { return YTime::FromFrame(100).GetSecondDouble(); };
    {
        const YThreadFrameRate outer({50, 1});
        EXPECT_EQ(frame(), 2.0);
        EXPECT_EQ(YTime::GetTimeMode(), eTimeMode::Custom);
        {
            const YThreadFrameRate invalid({0, 1});
            EXPECT_EQ(frame(), 2.0);
            const YThreadFrameRate inner({20, 1});
            EXPECT_EQ(frame(), 5.0);
        }
        EXPECT_EQ(frame(), 2.0);
        double elsewhere = 0.0;
        std::thread([&] { elsewhere = frame(); }).join();
        EXPECT_EQ(elsewhere, 4.0);
    }
    EXPECT_EQ(frame(), 4.0);
}

TEST(Time, FrameRatesFromNumbers)
{
    EXPECT_EQ(YFrameRate::FromDouble(30000.0 / 1001.0), (YFrameRate{30000, 1001}));
    EXPECT_EQ(YFrameRate::FromDouble(23.976), (YFrameRate{2997, 125}));
    EXPECT_EQ(YFrameRate::FromDouble(0.5), (YFrameRate{1, 2}));
    EXPECT_NEAR(YFrameRate::FromDouble(3.14159265358979).GetDouble(), 3.14159265358979, 1e-11);
    for (const double bad : {0.0, -1.0, 1e-9, 1e10, std::nan(""), HUGE_VAL})
        EXPECT_FALSE(YFrameRate::FromDouble(bad).IsValid()) << bad;
}

}  // namespace
