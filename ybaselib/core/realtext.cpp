#include "ybaselib/core/realtext.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>

#include "ybaselib/core/digits.h"

namespace ybase {
namespace {

/// Powers of ten that a double holds exactly.
constexpr double kPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                   1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int kMostPower = 22;

// --- Reading -------------------------------------------------------------------------------------------

/// A number as it is written: digits * 10^exponent.
struct Written
{
    const char* end = nullptr;  ///< null for what is no number
    std::uint64_t digits = 0;
    int exponent = 0;
    bool isShort = true;  ///< all digits are in `digits`
};

bool AddDigit(Written& written, char c)
{
    const auto digit = static_cast<std::uint64_t>(c - '0');
    if (written.digits > (std::uint64_t{1} << 53) / 10 - 1) return false;
    written.digits = written.digits * 10 + digit;
    return true;
}

/// The exponent behind a number; left alone where no digit follows the letter.
void TakeExponent(Written& written, const char* end)
{
    const char* c = written.end;
    if (c == end || (*c | 0x20) != 'e') return;
    ++c;
    const bool negative = c != end && *c == '-';
    if (c != end && (*c == '-' || *c == '+')) ++c;
    if (c == end || !IsDigit(*c)) return;
    int exponent = 0;
    for (; c != end && IsDigit(*c); ++c) exponent = std::min(exponent * 10 + (*c - '0'), 100'000);
    written.exponent += negative ? -exponent : exponent;
    written.end = c;
}

/// Without a sign.
Written TakeDecimal(const char* text, const char* end)
{
    Written written;
    const char* c = text;
    int count = 0;
    for (; c != end && IsDigit(*c); ++c, ++count)
        if (written.isShort) written.isShort = AddDigit(written, *c);
    if (c != end && *c == '.') {
        ++c;
        for (; c != end && IsDigit(*c); ++c, ++count) {
            if (written.isShort) written.isShort = AddDigit(written, *c);
            --written.exponent;
        }
    }
    if (count == 0) return {};
    written.end = c;
    TakeExponent(written, end);
    return written;
}

/// "inf", "infinity", "nan" and "nan(...)" in any case, without a sign.
/// \return  the end; null for all else
template<class Real>
const char* TakeSpecial(const char* text, const char* end, Real& value)
{
    const auto starts = [&](const char* from, std::string_view word) {
        return static_cast<std::size_t>(end - from) >= word.size() &&
               std::equal(word.begin(), word.end(), from, [](char a, char b) { return a == (b | 0x20); });
    };
    if (starts(text, "inf")) {
        value = std::numeric_limits<Real>::infinity();
        return text + (starts(text, "infinity") ? 8 : 3);
    }
    if (!starts(text, "nan")) return nullptr;
    value = std::numeric_limits<Real>::quiet_NaN();
    text += 3;
    if (text == end || *text != '(') return text;
    const char* const close = std::find_if(text + 1, end, [](char c) {
        const char lower = static_cast<char>(c | 0x20);
        return !(IsDigit(c) || c == '_' || (lower >= 'a' && lower <= 'z'));
    });
    return close != end && *close == ')' ? close + 1 : text;
}

/// One rounding of whole numbers gives the nearest double; a float is that of it unless the double is half-way
/// between two, where what is written may lie to either side.
bool TakeExact(const Written& written, double& value)
{
    if (!written.isShort || std::abs(written.exponent) > kMostPower) return false;
    const double digits = static_cast<double>(written.digits);
    const double power = kPowersOfTen[std::abs(written.exponent)];
    value = written.exponent < 0 ? digits / power : digits * power;
    return true;
}

bool TakeExact(const Written& written, float& value)
{
    double wide = 0.0;
    if (!TakeExact(written, wide) || wide > static_cast<double>(std::numeric_limits<float>::max()))
        return false;
    if (wide != 0.0 && wide < static_cast<double>(std::numeric_limits<float>::min())) return false;
    std::uint64_t bits;
    std::memcpy(&bits, &wide, sizeof bits);
    if ((bits & 0x1FFF'FFFF) == 0x1000'0000) return false;
    value = static_cast<float>(wide);
    return true;
}

void ReadSlowly(const char* text, double& value)
{
    value = std::strtod(text, nullptr);
}

void ReadSlowly(const char* text, float& value)
{
    value = std::strtof(text, nullptr);
}

template<class Real>
std::from_chars_result Read(const char* text, const char* end, Real& value)
{
    const bool negative = text != end && *text == '-';
    const char* const first = text + negative;
    const Written written = TakeDecimal(first, end);
    Real read = 0;
    const char* stop = written.end;
    if (stop == nullptr) {
        stop = TakeSpecial(first, end, read);
        if (stop == nullptr) return {text, std::errc::invalid_argument};
    } else if (!TakeExact(written, read)) {
        ReadSlowly(std::string(first, stop).c_str(), read);
        const bool isZero = written.isShort && written.digits == 0;
        if (!std::isfinite(read) || (read == 0 && !isZero)) return {stop, std::errc::result_out_of_range};
    }
    value = negative ? -read : read;
    return {stop, std::errc()};
}

// --- Spelling ------------------------------------------------------------------------------------------

/// The number digits[0].digits[1]... * 10^exponent.
struct Decimal
{
    char digits[20] = {};
    int count = 0;
    int exponent = 0;

    /// Of the last digit.
    int LastExponent() const { return exponent - (count - 1); }
};

/// The nearest decimal of so many digits.
Decimal Rounded(double value, int count)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.*e", count - 1, value);
    Decimal decimal;
    decimal.digits[0] = text[0];
    const char* c = text + (count > 1 ? 2 : 1);
    for (int i = 1; i < count; ++i) decimal.digits[i] = *c++;
    decimal.count = count;
    decimal.exponent = std::atoi(c + 1);
    return decimal;
}

/// The next larger decimal of as many digits.
Decimal Next(Decimal decimal)
{
    int i = decimal.count - 1;
    while (i >= 0 && decimal.digits[i] == '9') decimal.digits[i--] = '0';
    if (i >= 0) {
        ++decimal.digits[i];
    } else {
        decimal.digits[0] = '1';
        ++decimal.exponent;
    }
    return decimal;
}

template<class Real>
bool IsReadAs(const Decimal& decimal, Real value)
{
    char text[40];
    char* end = std::copy_n(decimal.digits, decimal.count, text);
    *end++ = 'e';
    end = std::to_chars(end, text + sizeof text, decimal.LastExponent()).ptr;
    Real read = 0;
    ReadRealText(text, end, read);
    return read == value;
}

/// Whether the numbers below are closer together than those above, so that a decimal above may be read as the
/// number where the nearest one, below it, is not.
template<class Real>
bool IsPowerOfTwo(Real value)
{
    int exponent = 0;
    return std::frexp(value, &exponent) == static_cast<Real>(0.5);
}

/// Finds a decimal of so many digits that is read as the number.
template<class Real>
bool Find(Real value, int count, Decimal& found)
{
    const Decimal nearest = Rounded(static_cast<double>(value), count);
    for (const Decimal& decimal : {nearest, Next(nearest)}) {
        if (IsReadAs(decimal, value)) {
            found = decimal;
            return true;
        }
        if (!IsPowerOfTwo(value)) return false;
    }
    return false;
}

/// The fewest digits of a number above 0, and of these the nearest to it.
template<class Real>
Decimal Shortest(Real value)
{
    Decimal shortest;
    int tooFew = 0;
    int enough = std::numeric_limits<Real>::max_digits10;
    Find(value, enough, shortest);
    while (enough - tooFew > 1) {
        const int count = (tooFew + enough) / 2;
        if (Find(value, count, shortest)) {
            enough = count;
        } else {
            tooFew = count;
        }
    }
    while (shortest.count > 1 && shortest.digits[shortest.count - 1] == '0') --shortest.count;
    return shortest;
}

char* SpellScientific(char* to, const Decimal& decimal)
{
    *to++ = decimal.digits[0];
    if (decimal.count > 1) *to++ = '.';
    to = std::copy_n(decimal.digits + 1, decimal.count - 1, to);
    *to++ = 'e';
    *to++ = decimal.exponent < 0 ? '-' : '+';
    const int exponent = std::abs(decimal.exponent);
    if (exponent < 10) *to++ = '0';
    return std::to_chars(to, to + 4, exponent).ptr;
}

/// Whole numbers with all their digits, of which the shortest spelling leaves out the last.
char* SpellFixed(char* to, const Decimal& decimal, double value)
{
    if (decimal.LastExponent() >= 0) return to + std::snprintf(to, 320, "%.0f", value);
    if (decimal.exponent < 0) {
        to = std::copy_n("0.", 2, to);
        to = std::fill_n(to, -decimal.exponent - 1, '0');
        return std::copy_n(decimal.digits, decimal.count, to);
    }
    to = std::copy_n(decimal.digits, decimal.exponent + 1, to);
    *to++ = '.';
    return std::copy_n(decimal.digits + decimal.exponent + 1, decimal.count - decimal.exponent - 1, to);
}

int FixedLength(const Decimal& decimal)
{
    if (decimal.exponent < 0) return decimal.count - decimal.exponent + 1;
    return std::max(decimal.exponent + 1, decimal.count + (decimal.LastExponent() < 0));
}

int ScientificLength(const Decimal& decimal)
{
    const int exponentDigits = std::abs(decimal.exponent) < 100 ? 2 : 3;
    return decimal.count + (decimal.count > 1) + 2 + exponentDigits;
}

bool IsFixed(const Decimal& decimal, std::chars_format format)
{
    if (format == std::chars_format::fixed) return true;
    if (format == std::chars_format::scientific) return false;
    if (format == std::chars_format::general) return decimal.exponent >= -4 && decimal.exponent < 6;
    return FixedLength(decimal) <= ScientificLength(decimal);
}

template<class Real>
std::to_chars_result Spell(char* to, char* end, Real value, std::chars_format format)
{
    char text[400];
    char* stop = text;
    if (std::signbit(value)) *stop++ = '-';
    const Real size = std::abs(value);
    if (std::isnan(value) || std::isinf(value)) {
        stop = std::copy_n(std::isnan(value) ? "nan" : "inf", 3, stop);
    } else {
        Decimal decimal{"0", 1, 0};
        if (size > 0) decimal = Shortest(size);
        stop = IsFixed(decimal, format) ? SpellFixed(stop, decimal, static_cast<double>(size))
                                        : SpellScientific(stop, decimal);
    }
    if (stop - text > end - to) return {end, std::errc::value_too_large};
    return {std::copy(text, stop, to), std::errc()};
}

}  // namespace

std::from_chars_result ReadRealText(const char* text, const char* end, float& value)
{
    return Read(text, end, value);
}

std::from_chars_result ReadRealText(const char* text, const char* end, double& value)
{
    return Read(text, end, value);
}

std::to_chars_result SpellRealText(char* to, char* end, float value, std::chars_format format)
{
    return Spell(to, end, value, format);
}

std::to_chars_result SpellRealText(char* to, char* end, double value, std::chars_format format)
{
    return Spell(to, end, value, format);
}

}  // namespace ybase
