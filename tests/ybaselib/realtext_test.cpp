#include "ybaselib/core/realtext.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>

#include "tests/test_environment.h"

namespace {

template<class Real>
std::string BitsOf(Real value)
{
    using Bits = std::conditional_t<sizeof(Real) == 8, std::uint64_t, std::uint32_t>;
    return std::isnan(value) ? "nan" : std::to_string(std::bit_cast<Bits>(value));
}

/// What reading a text gives: how far, with what error, and which number.
template<class Real, class Read>
std::string Outcome(const std::string& text, const Read& read)
{
    Real value = 7;
    const char* const end = text.data() + text.size();
    const std::from_chars_result result = read(text.data(), end, value);
    return std::to_string(result.ptr - text.data()) + ' ' + std::to_string(static_cast<int>(result.ec)) +
           ' ' + BitsOf(value);
}

void ExpectReadAsStandard(const std::string& text)
{
    const auto standard = [](const char* from, const char* to, auto& value) {
        return std::from_chars(from, to, value);
    };
    const auto own = [](const char* from, const char* to, auto& value) {
        return ybase::ReadRealText(from, to, value);
    };
    EXPECT_EQ(Outcome<float>(text, own), Outcome<float>(text, standard)) << text;
    EXPECT_EQ(Outcome<double>(text, own), Outcome<double>(text, standard)) << text;
}

/// In each format, and read back.
template<class Real>
void ExpectSpeltAsStandard(Real value)
{
    char text[400], expected[400];
    for (const auto format : {std::chars_format{}, std::chars_format::fixed, std::chars_format::scientific,
                              std::chars_format::general}) {
        const bool isPlain = format == std::chars_format{};
        const auto standard = isPlain ? std::to_chars(expected, expected + sizeof expected, value)
                                      : std::to_chars(expected, expected + sizeof expected, value, format);
        const auto own = ybase::SpellRealText(text, text + sizeof text, value, format);
        ASSERT_EQ(std::string(text, own.ptr), std::string(expected, standard.ptr));
        ExpectReadAsStandard(std::string(text, own.ptr));
    }
}

TEST(RealText, IsThatOfTheStandardLibrary)
{
    test::RandomEngine random;
    for (int exponent = -1074; exponent < 1024; exponent += 3) {
        ExpectSpeltAsStandard(std::ldexp(1.0, exponent));
        ExpectSpeltAsStandard(static_cast<float>(std::ldexp(1.0, exponent / 7)));
    }
    for (int i = 0; i < 3000; ++i) {
        ExpectSpeltAsStandard(std::bit_cast<float>(static_cast<std::uint32_t>(random())));
        ExpectSpeltAsStandard(std::bit_cast<double>(random()));
        const double short_ = static_cast<double>(static_cast<std::int32_t>(random())) / 1000.0;
        ExpectSpeltAsStandard(short_);
        ExpectSpeltAsStandard(static_cast<float>(short_));
        ExpectSpeltAsStandard(static_cast<double>(random() >> (random() % 64)));
    }
    for (const double value : {0.0, -0.0, std::numeric_limits<double>::infinity(), std::nan("")}) {
        ExpectSpeltAsStandard(value);
        ExpectSpeltAsStandard(static_cast<float>(-value));
    }
}

/// Texts at the middle between two neighbours, in full, above it, and cut to few digits.
template<class Real>
void ExpectMiddleReadAsStandard(Real value)
{
    const long double middle = (static_cast<long double>(value) + std::nextafter(value, Real{0})) / 2;
    char text[900];
    for (const int digits : {8, 15, 16, 800}) {
        std::snprintf(text, sizeof text, "%.*Le", digits, middle);
        ExpectReadAsStandard(text);
    }
    *(std::strchr(text, 'e') - 1) = '1';
    ExpectReadAsStandard(text);
}

TEST(RealText, ReadsWhatTheStandardLibraryReads)
{
    test::RandomEngine random;
    const std::string letters = "0123456789.e-+ 0123456789xina()_";
    const std::string words[] = {"INFinity", "-nan(ab_9)", "e9999", "000000000000000000", "9007199254740993"};
    for (int i = 0; i < 50'000; ++i) {
        std::string text;
        for (std::size_t count = random() % 14; count > 0; --count) {
            const bool isWord = random() % 10 == 0;
            text +=
                isWord ? words[random() % std::size(words)] : letters.substr(random() % letters.size(), 1);
        }
        ExpectReadAsStandard(text);
    }
    for (int i = 0; i < 2000; ++i) {
        const auto anyFloat = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
        const auto anyDouble = std::bit_cast<double>(random());
        if (std::isfinite(anyFloat)) ExpectMiddleReadAsStandard(anyFloat);
        if (std::isfinite(anyDouble)) ExpectMiddleReadAsStandard(anyDouble);
    }
}

}  // namespace
