#include "ymotion/text/number_text.h"

#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <random>

#include "tests/test_environment.h"

using namespace ymotion;

namespace {

std::string FloatText(float value)
{
    std::string text;
    AppendFloat(text, value);
    return text;
}

}  // namespace

TEST(NumberText, FloatsAreShortAndComeBack)
{
    const std::pair<float, const char*> texts[] = {
        {0.1f, "0.1"},     {-21.0f, "-21"},  {0.0f, "0"},          {-0.0f, "-0"}, {123456792.0f, "123456792"},
        {1e-20f, "1e-20"}, {1e30f, "1e+30"}, {0.00001f, "0.00001"}};  // no exponent where simple readers look
    for (const auto& [value, text] : texts) EXPECT_EQ(FloatText(value), text);

    test::RandomEngine engine;
    for (int i = 0; i < 20000; ++i) {
        const auto value = std::bit_cast<float>(static_cast<std::uint32_t>(engine()));
        if (!std::isfinite(value)) continue;
        const auto back = ParseFloat(FloatText(value));
        ASSERT_TRUE(back.has_value()) << FloatText(value);
        EXPECT_EQ(std::bit_cast<std::uint32_t>(*back), std::bit_cast<std::uint32_t>(value))
            << FloatText(value);
    }
}

TEST(NumberText, FloatsAreTheNearestToWhatIsWritten)
{
    // 2^-25 more than a half, and 7 * 2^-25, lie half-way between two floats. What is written is a little
    // more and a little less, but the nearest doubles are just these, which would round the other way.
    EXPECT_EQ(ParseFloat("0.5000000298023224"), 0.5f + 0x1p-24f);
    EXPECT_EQ(ParseFloat("-0.5000002086162567"), -0.5f - 0x3p-24f);

    test::RandomEngine engine;
    for (int i = 0; i < 20000; ++i) {
        // Whole numbers of any length with a point anywhere, and something behind them.
        std::string text = std::to_string(static_cast<std::int64_t>(engine()) >> engine() % 64);
        text.insert(text.size() - engine() % text.size(), ".");
        text += i % 2 == 0 ? "\n-1" : "e-2 5678901";
        const char* const end = text.data() + text.size();
        float exact = 0;
        float value = 0;
        const char* const stop = std::from_chars(text.data(), end, exact).ptr;
        ASSERT_EQ(ReadFloat(text.data(), end, value), stop) << text;
        EXPECT_EQ(std::bit_cast<std::uint32_t>(value), std::bit_cast<std::uint32_t>(exact)) << text;
    }
}

TEST(NumberText, SecondsAreReadableAndTellTicksApart)
{
    constexpr std::int64_t second = 46186158000;
    const std::pair<std::int64_t, const char*> texts[] = {{0, "0"},
                                                          {second / 120, "0.00833333333"},
                                                          {-second * 3 / 2, "-1.5"},
                                                          {1, "0.00000000002"},
                                                          {second - 1, "0.99999999998"},
                                                          {YTIME_INFINITE.Get(), "199699919.54851009272"}};
    for (const auto& [ticks, text] : texts) EXPECT_EQ(SecondsText(YTime(ticks)), text);
}
