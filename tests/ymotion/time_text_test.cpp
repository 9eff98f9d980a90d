#include "ymotion/scene/time_text.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "tests/motion_support.h"

using namespace ymotion;

namespace {

constexpr FrameRate kFilm{24, 1};
constexpr FrameRate kNtsc{30000, 1001};
constexpr std::int64_t kSecond = YTIME_TICKS_PER_SECOND;

/// The clock of time code, one frame after the other.
struct FrameClock
{
    int hour = 0;
    int minute = 0;
    int second = 0;
    int frame = 0;

    void Advance(int framesPerSecond, bool drop)
    {
        if (++frame < framesPerSecond) return;
        frame = 0;
        if (++second < 60) return;
        second = 0;
        if (++minute == 60) {
            minute = 0;
            ++hour;
        }
        if (drop && minute % 10 != 0) frame = 2;
    }

    std::string Text(char sign) const
    {
        return fmt::format("{:02}:{:02}:{:02}{}{:02}", hour, minute, second, sign, frame);
    }
};

}  // namespace

TEST(TimeText, EveryNameOfAClockThatCountsFramesIsTheTimeOfItsFrame)
{
    const std::pair<FrameRate, int> rates[] = {
        {kFilm, 24}, {{30, 1}, 30}, {kNtsc, 30}, {{25, 2}, 13}, {{120, 1}, 120}};
    for (const auto& [rate, perSecond] : rates) {
        for (const char sign : {':', ';'}) {
            if (sign == ';' && perSecond != 30) continue;
            FrameClock clock;
            for (std::int64_t frame = 0; frame < 40'000; ++frame, clock.Advance(perSecond, sign == ';')) {
                const std::string text = clock.Text(sign);
                const YTime time = TimeOfFrame(frame, rate);
                ASSERT_EQ(ParseTime(text).value().At(rate), time) << text;
                ASSERT_EQ(ParseTime("-" + text).value().At(rate), -time) << text;
                if (sign == ':') {
                    ASSERT_EQ(TimeCodeText(time, rate), text);
                }
            }
        }
    }
}

TEST(TimeText, SecondsFramesAndPartsOfFrames)
{
    const std::tuple<const char*, FrameRate, std::int64_t> cases[] = {
        {"1.5", kFilm, kSecond * 3 / 2},
        {"-2e-1", kNtsc, -kSecond / 5},
        {"36f", kFilm, kSecond * 3 / 2},
        {"-4.5f", kFilm, -kSecond * 9 / 48},
        {"30000f", kNtsc, kSecond * 1001},
        {"00:01:00:12.5", kFilm, kSecond * 60 + kSecond * 25 / 48},
        {"-0:0:1;0.5", {30, 1}, -(kSecond + kSecond / 60)},
        {"1:0:0:0", kNtsc, kSecond * 36036 / 10}};
    for (const auto& [text, rate, ticks] : cases)
        EXPECT_EQ(ParseTime(text).value().At(rate).Get(), ticks) << text;
    const std::tuple<std::int64_t, const char*, const char*> texts[] = {
        {kSecond * 3 / 2, "36f", "00:00:01:12"},
        {-kSecond * 9 / 48, "-4.5f", "-00:00:00:04.5"},
        {kSecond * 3661 - 1, "87864f", "01:01:01:00"},
        {-1, "0f", "00:00:00:00"}};
    for (const auto& [ticks, frames, code] : texts) {
        EXPECT_EQ(FramesText(YTime(ticks), kFilm), frames);
        EXPECT_EQ(TimeCodeText(YTime(ticks), kFilm), code);
    }
}

TEST(TimeText, WhatIsNoTimeIsRefused)
{
    for (const char* text : {"",         "f",           "-",           "--1",    "+-1",    "in",
                             "inf",      "inff",        "1s",          "1 f",    "0x1f",   "1:2",
                             "1:2:3",    "00:60:00:00", "00:00:60:00", "0:0:1:", ":0:0:1", "0:0:1:1e1",
                             "0:0:1:-1", "0;0;1;0",     "0:0:0:0:0"})
        EXPECT_FALSE(ParseTime(text).has_value()) << text;
    // Read, but no time at the rate: no such frame, none at that rate, left out in drop-frame counting, too far.
    const std::tuple<const char*, FrameRate, const char*> cases[] = {
        {"0:0:0:24", kFilm,
         "--at: '0:0:0:24', at 24 frames a second, names frame 24 of a second that has 24;"},
        {"0:0:0;10", kFilm, "write it with colons"},
        {"0:1:0;1", kNtsc, "at 29.97 frames a second, names a frame that drop-frame counting leaves out"},
        {"1e15f", kFilm, "more than three years"},
        {"1e9", kFilm, "--at: '1e9' is more than three years away; give"},
        {"30000:0:0;0", kNtsc, "more than three years"},
        {"20000:0:0:0", {1, 2}, "more than three years"}};
    for (const auto& [text, rate, words] : cases) {
        const auto time = ParseTime(text).value();
        EXPECT_TRUE(Holds(FailureOf([&] { time.At(rate, "--at"); }, kExitUsage), words)) << text;
    }
}

TEST(TimeText, RangesAreReadInOneWayOrNotAtAll)
{
    using Bounds = std::pair<double, double>;  // in seconds; 99 is open
    const std::pair<const char*, Bounds> cases[] = {
        {"1:3", {1, 3}},           {"-1..-.5", {-1, -.5}},
        {"24f:3", {1, 3}},         {"1:", {1, 99}},
        {"..36f", {99, 1.5}},      {":", {99, 99}},
        {"1.:1", {1, 1}},          {"0:0:1:0..2", {1, 2}},
        {"0:0:1:6..", {1.25, 99}}, {"-0:0:1:0..0:0:1:12", {-1, 1.5}}};
    for (const auto& [text, bounds] : cases) {
        const TimeRange range = ParseTimeRange(text).value().At(kFilm);
        EXPECT_EQ(range.start.value_or(YTime::FromSeconds(99)), YTime::FromSeconds(bounds.first)) << text;
        EXPECT_EQ(range.stop.value_or(YTime::FromSeconds(99)), YTime::FromSeconds(bounds.second)) << text;
    }
    for (const char* text : {"", "1", "1f", "1-3", "1...3", "1:2:3", "0:0:1:0", "0:0:1:0:0:0:2:0",
                             "1:0:0:2;0", "x:1", "1:x", "1..2..3"})
        EXPECT_FALSE(ParseTimeRange(text).has_value()) << text;
    EXPECT_THROW(ParseTimeRange("30f:1").value().At(kFilm), Failure);
}
