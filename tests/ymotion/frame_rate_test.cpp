#include "ymotion/scene/frame_rate.h"

#include <gtest/gtest.h>

using namespace ymotion;

TEST(FrameRate, PrintedFrameTimesMeanTheRateThatTheyWereMadeFrom)
{
    const std::pair<const char*, FrameRate> cases[] = {
        // 1/120 with fewer and more digits, as recorders and exporters print it.
        {".0083333", {120, 1}},
        {"0.0083333333333333332", {120, 1}},  // a double in 17 digits
        {"0.00833333377", {120, 1}},          // a float in 9 digits
        {"8.33333e-3", {120, 1}},
        {"+0.008333", {120, 1}},
        {"0.0333", {30, 1}},
        {"0.0417", {24, 1}},  // 23.976 rounds to it too, but whole rates come first
        // Video.
        {"0.0417083", {24000, 1001}},
        // Cut off instead of rounded.
        {"0.016666", {60, 1}},
        // A whole number that the decimals give exactly wins over a usual one that they allow.
        {"0.008", {125, 1}},
        {"1", {1, 1}},
        // Unusual, but whole.
        {"0.0117647", {85, 1}},
        // Nothing round comes near: the decimal as it is.
        {"0.0123789", {10000000, 123789}},
        {"1000", {1, 1000}},
    };
    for (const auto& [text, expected] : cases) {
        const auto rate = RateOfFrameTime(text);
        ASSERT_TRUE(rate.has_value()) << text;
        EXPECT_EQ(*rate, expected) << text << " gave " << rate->numerator << "/" << rate->denominator;
    }
    for (const char* text :
         {"",    ".",    "0",   "0.000", "-0.04", "x",    "0.04x",   "0.04 ", "1e",     "1e+",
          "--1", "1..2", "inf", "nan",   "0x1",   "1e-7", "1000001", "1e999", "1e-999", "1e99999999999"})
        EXPECT_FALSE(RateOfFrameTime(text).has_value()) << text;
    EXPECT_FALSE(RateOfFrameTime("0." + std::string(1000, '1')).has_value());
}

TEST(FrameRate, RatesOnTheCommandLine)
{
    const std::pair<const char*, FrameRate> cases[] = {
        {"30", {30, 1}},    {"12.5", {25, 2}},        {"24000/1001", {24000, 1001}},
        {"60/2", {30, 1}},  {"29.97", {30000, 1001}}, {"23.976", {24000, 1001}},
        {"1e3", {1000, 1}}, {"23.98", {24000, 1001}}, {"239.76", {240000, 1001}},
        {"24.0", {24, 1}},  {"23.97", {2397, 100}}};
    for (const auto& [text, rate] : cases) EXPECT_EQ(ParseRate(text), rate) << text;
    for (const std::int64_t whole : {24, 30, 48, 60, 120, 240}) {
        for (const FrameRate rate : {FrameRate{whole, 1}, FrameRate{whole * 1000, 1001}})
            EXPECT_EQ(ParseRate(RateText(rate)), rate) << RateText(rate);
    }
    for (const char* text : {"", "/", "30/", "/30", "30/0", "0", "-30", "1.5/2", "1e7", "1e-7", "fast"})
        EXPECT_FALSE(ParseRate(text).has_value()) << text;
}

TEST(FrameRate, FramesAreAtTheExactTimeRoundedToATick)
{
    // Frame 1 of 30000/1001 is at 46186158000 * 1001 / 30000 = 1541078138.6 ticks; frames of 0.0123457 s are
    // 570200450.8206 ticks apart. The extremes that are accepted stay inside the arithmetic.
    const std::tuple<std::int64_t, FrameRate, std::int64_t> cases[] = {
        {1'000'000'000, {120, 1}, 384884650'000'000'000},
        {1, {30000, 1001}, 1541078139},
        {2, {30000, 1001}, 3082156277},
        {30000, {30000, 1001}, 46186158000 * 1001},
        {3, {10000000, 123457}, 1710601352},
        {190, {1, 1'000'000}, 46186158000 * 190'000'000},
        {2147483647, {1'000'000, 1}, 2147483647 * 46186158LL / 1000},
        {5990997587, {30, 1}, INT64_MAX},
        {INT64_MIN, {1, 1'000'000}, -INT64_MAX}};
    for (const auto& [frame, rate, ticks] : cases) EXPECT_EQ(TimeOfFrame(frame, rate).Get(), ticks);
}

TEST(FrameRate, LastFrameInvertsTheTimesOfFrames)
{
    const FrameRate rates[] = {{120, 1}, {24, 1}, {30000, 1001}, {1000, 7}, {10000000, 123457}, {1, 3}};
    for (const FrameRate rate : rates) {
        for (const std::int64_t frame : {0, 1, 2, 3, 17, 523, 100003, 2000000}) {
            const YTime time = TimeOfFrame(frame, rate);
            EXPECT_EQ(LastFrame(time, rate), frame);
            EXPECT_EQ(LastFrame(time + YTime(1), rate), frame);
            if (frame > 0) {
                EXPECT_EQ(LastFrame(time - YTime(2), rate), frame);
                EXPECT_EQ(LastFrame(time - YTime(3), rate), frame - 1);
            }
            // Counted from a frame they are the frames, to the tick; from elsewhere they lie as from time 0.
            for (const std::int64_t first : {-86, 0, 86}) {
                const YTime start = TimeOfFrame(first, rate);
                EXPECT_EQ(TimeOfFrame(start, frame, rate), TimeOfFrame(first + frame, rate));
                EXPECT_EQ(TimeOfFrame(start + YTime(1), frame, rate), start + YTime(1) + time);
            }
        }
    }
}
