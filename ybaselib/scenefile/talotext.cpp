#include "ybaselib/scenefile/talotext.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#include "ybaselib/core/standardlibrary.h"
#include "ybaselib/ytalo.h"

namespace ybase {
namespace {

constexpr char hexDigits[] = "0123456789abcdef";

template<class Real>
using BitsOf = std::conditional_t<sizeof(Real) == 8, std::uint64_t, std::uint32_t>;

// The not-a-number that is spelled without its bits.
template<class Real>
constexpr BitsOf<Real> plainNan = bit_cast<BitsOf<Real>>(std::numeric_limits<Real>::quiet_NaN());

template<class Real>
constexpr BitsOf<Real> infinityBits = bit_cast<BitsOf<Real>>(std::numeric_limits<Real>::infinity());

template<class Real>
constexpr bool IsNan(BitsOf<Real> bits)
{
    constexpr BitsOf<Real> sign = BitsOf<Real>{1} << (8 * sizeof(Real) - 1);
    return (bits & ~sign) > infinityBits<Real>;
}

char* Append(char* to, std::string_view text)
{
    std::memcpy(to, text.data(), text.size());
    return to + text.size();
}

char* SpellEscape(char* to, char c)
{
    const auto byte = static_cast<unsigned char>(c);
    to = Append(to, "\\x");
    *to++ = hexDigits[byte >> 4];
    *to++ = hexDigits[byte & 15];
    return to;
}

// What stands for a byte that needs a backslash and has a letter; '\0' for others.
char EscapeLetter(char c)
{
    switch (c) {
        case '\n':
            return 'n';
        case '\t':
            return 't';
        case '\r':
            return 'r';
        case '\\':
            return '\\';
        default:
            return '\0';
    }
}

template<class Real>
char* SpellNan(char* to, Real value)
{
    const auto bits = bit_cast<BitsOf<Real>>(value);
    to = Append(to, "nan");
    if (bits == plainNan<Real>) return to;
    *to++ = '(';
    for (int shift = 8 * sizeof(Real) - 4; shift >= 0; shift -= 4) *to++ = hexDigits[bits >> shift & 15];
    *to++ = ')';
    return to;
}

// Without what tells a float from a double.
template<class Real>
char* SpellDecimal(char* to, Real value)
{
    if (value != value) return SpellNan(to, value);
    char* const end = to_chars(to, to + taloMaximumSpelling, value).ptr;
    if (end[-1] == 'f') return end;  // inf
    for (const char* c = to; c != end; ++c) {
        if (*c == '.' || *c == 'e') return end;
    }
    return Append(end, ".0");
}

// Bytes of the UTF-8 sequence at `text`; 0 when it is not valid (Unicode, table 3-7).
std::size_t SequenceLength(const char* text, const char* end)
{
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byte(0);
    if (lead < 0x80) return 1;
    if (lead < 0xC2 || lead > 0xF4) return 0;
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (static_cast<std::size_t>(end - text) < length) return 0;
    const unsigned lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    if (byte(1) < lowest || byte(1) > highest) return 0;
    for (std::size_t i = 2; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
    }
    return length;
}

int HexValue(char c)
{
    if (IsDigit(c)) return c - '0';
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

const char* SkipDigits(const char* text)
{
    while (digitsGoInWords) {
        const int count = CountDigits(LoadDigits(text));
        text += count;
        if (count < 8) return text;
    }
    while (IsDigit(*text)) ++text;
    return text;
}

const char* SkipMinus(const char* text)
{
    return text + (*text == '-');
}

// The byte that an escape stands for.
// \param text  after the backslash; moved past the escape.
// \return  -1 when it is none.
int TakeEscape(const char*& text)
{
    switch (*text++) {
        case 'n':
            return '\n';
        case 't':
            return '\t';
        case 'r':
            return '\r';
        case '\\':
            return '\\';
        case '"':
            return '"';
        case '\'':
            return '\'';
        case 'x':
            break;
        default:
            --text;
            return -1;
    }
    const int high = HexValue(*text);
    if (high < 0) return -1;
    const int low = HexValue(text[1]);
    if (low < 0) return -1;
    text += 2;
    return high * 16 + low;
}

// The bits between the brackets of nan(...).
// \return  the end, after the bracket; null when it is malformed.
template<class Bits>
const char* TakeNanBits(const char* text, Bits& bits)
{
    const std::from_chars_result result = from_chars(text, text + 2 * sizeof(Bits), bits, 16);
    return result.ec == std::errc() && result.ptr == text + 2 * sizeof(Bits) && *result.ptr == ')'
               ? result.ptr + 1
               : nullptr;
}

TaloToken ScanNanBits(const char* text)
{
    std::uint64_t wide = 0;
    std::uint32_t narrow = 0;
    if (const char* end = TakeNanBits(text, wide); end != nullptr && IsNan<double>(wide)) return {end, 'D'};
    const char* end = TakeNanBits(text, narrow);
    if (end != nullptr && *end == 'f' && IsNan<float>(narrow)) return {end + 1, 'F'};
    return {text, '\0', ETaloFault::NanBits};
}

// inf, nan and nan(...), without a sign.
TaloToken ScanSpecial(const char* text)
{
    const bool infinite = std::strncmp(text, "inf", 3) == 0;
    if (!infinite && std::strncmp(text, "nan", 3) != 0) return {text, '\0', ETaloFault::Value};
    text += 3;
    if (!infinite && *text == '(') return ScanNanBits(text + 1);
    return *text == 'f' ? TaloToken{text + 1, 'F'} : TaloToken{text, 'D'};
}

template<class Real>
bool IsInRange(const char* text, const char* end)
{
    Real value;
    return from_chars(text, end, value).ec == std::errc();
}

// Whether a number of digits alone can leave the range of its type is seen from its length and exponent,
// which spares nearly all of them a conversion.
TaloToken CheckReal(const char* text, const char* end, std::ptrdiff_t exponentDigits)
{
    const std::ptrdiff_t length = end - text;
    if (*end == 'f') {
        const bool safe = exponentDigits < 2 && length < 25;
        if (safe || IsInRange<float>(text, end)) return {end + 1, 'F'};
        return {text, '\0', ETaloFault::FloatRange};
    }
    const bool safe = exponentDigits < 3 && length < 200;
    if (safe || IsInRange<double>(text, end)) return {end, 'D'};
    return {text, '\0', ETaloFault::DoubleRange};
}

TaloToken CheckInteger(const char* text, const char* end)
{
    std::int32_t value;
    if (end - text < 10 || from_chars(text, end, value).ec == std::errc()) return {end, 'I'};
    return {text, '\0', ETaloFault::IntegerRange};
}

TaloToken ScanNumber(const char* text)
{
    const char* const first = SkipMinus(text);
    const char* end = SkipDigits(first);
    if (end == first)
        return *end == 'i' || first == text ? ScanSpecial(first) : TaloToken{end, '\0', ETaloFault::Digit};
    bool real = false;
    std::ptrdiff_t exponentDigits = 0;
    if (*end == '.') {
        const char* const fraction = ++end;
        end = SkipDigits(fraction);
        if (end == fraction) return {end, '\0', ETaloFault::Fraction};
        real = true;
    }
    if (*end == 'e' || *end == 'E') {
        ++end;
        end += *end == '-' || *end == '+';
        const char* const exponent = end;
        end = SkipDigits(exponent);
        if (end == exponent) return {end, '\0', ETaloFault::Exponent};
        exponentDigits = end - exponent;
        real = true;
    }
    return real ? CheckReal(text, end, exponentDigits) : CheckInteger(text, end);
}

TaloToken ScanTime(const char* text)
{
    const char* const first = SkipMinus(text + 1);
    const char* const end = SkipDigits(first);
    if (end == first) return {end, '\0', ETaloFault::Ticks};
    std::int64_t ticks;
    if (end - first < 19 || from_chars(text + 1, end, ticks).ec == std::errc()) return {end, 'T'};
    return {text, '\0', ETaloFault::TimeRange};
}

TaloToken ScanCharacter(const char* text)
{
    ++text;
    if (*text == '\\') {
        const char* end = text + 1;
        if (TakeEscape(end) < 0) return {text, '\0', ETaloFault::Escape};
        text = end;
    } else if (*text >= ' ' && *text <= '~' && *text != '\'') {
        ++text;
    } else {
        return {text, '\0', ETaloFault::Character};
    }
    if (*text != '\'') return {text, '\0', ETaloFault::CharacterEnd};
    return {text + 1, 'C'};
}

template<class Real>
Real ReadReal(const char* text, const char* end)
{
    Real value = 0;
    if (IsDigit(*SkipMinus(text))) {
        from_chars(text, end, value);
        return value;
    }
    BitsOf<Real> bits = *text == 'n' ? plainNan<Real> : infinityBits<Real>;
    if (*text == 'n' && text[3] == '(') TakeNanBits(text + 4, bits);
    value = bit_cast<Real>(bits);
    return *text == '-' ? -value : value;
}

}  // namespace

const char* ExpectationOf(ETaloFault fault)
{
    switch (fault) {
        case ETaloFault::None:
            break;
        case ETaloFault::Value:
            return "a value";
        case ETaloFault::Digit:
            return "a digit";
        case ETaloFault::Fraction:
            return "a digit after the decimal point";
        case ETaloFault::Exponent:
            return "the digits of the exponent";
        case ETaloFault::NanBits:
            return "the 16 hexadecimal digits of a double that is not a number, or the 8 of a float";
        case ETaloFault::IntegerRange:
            return "an integer of 32 bits, or a number with a decimal point";
        case ETaloFault::FloatRange:
            return "a number in the range of a float";
        case ETaloFault::DoubleRange:
            return "a number in the range of a double";
        case ETaloFault::Length:
            return "a number of fewer digits";
        case ETaloFault::Ticks:
            return "the ticks of a time";
        case ETaloFault::TimeRange:
            return "a time of 64 bits";
        case ETaloFault::Escape:
            return "an escape: \\n \\t \\r \\\\ \\' \\\" or \\x and two digits";
        case ETaloFault::Character:
            return "one ASCII character, or an escape";
        case ETaloFault::CharacterEnd:
            return "the closing ' of a single character";
        case ETaloFault::StringEnd:
            return "the closing \" of a string";
        case ETaloFault::StringByte:
            return "UTF-8, or an escape \\x for any other byte";
        case ETaloFault::StringZero:
            return "a string without zero bytes";
        case ETaloFault::StringSize:
            return "a string of at most 65535 bytes";
    }
    return "";
}

char* SpellReal(char* to, double value)
{
    return SpellDecimal(to, value);
}

char* SpellReal(char* to, float value)
{
    to = SpellDecimal(to, value);
    *to++ = 'f';
    return to;
}

char* SpellShortReal(char* to, float value)
{
    if (!std::isfinite(value)) return SpellReal(to, static_cast<double>(value));
    char* const end = SpellDecimal(to, value);
    // The digits are the fewest for a reader of floats. Rounding twice, to a double first, may end in the
    // float beside it.
    double read = 0.0;
    from_chars(to, end, read);
    return static_cast<float>(read) == value ? end : SpellReal(to, static_cast<double>(value));
}

char* SpellInteger(char* to, std::int64_t value)
{
    return to_chars(to, to + taloMaximumSpelling, value).ptr;
}

char* SpellCharacter(char* to, char value)
{
    *to++ = '\'';
    if (const char letter = value == '\'' ? '\'' : EscapeLetter(value)) {
        *to++ = '\\';
        *to++ = letter;
    } else if (value >= ' ' && value <= '~') {
        *to++ = value;
    } else {
        to = SpellEscape(to, value);
    }
    *to++ = '\'';
    return to;
}

char* SpellString(char* to, std::string_view value)
{
    *to++ = '"';
    const char* const end = value.data() + value.size();
    for (const char* c = value.data(); c != end;) {
        const std::size_t length = SequenceLength(c, end);
        if (const char letter = *c == '"' ? '"' : EscapeLetter(*c)) {
            *to++ = '\\';
            *to++ = letter;
            ++c;
        } else if (length == 0 || static_cast<unsigned char>(*c) < ' ' || *c == '\x7F') {
            to = SpellEscape(to, *c++);
        } else {
            to = Append(to, {c, length});
            c += length;
        }
    }
    *to++ = '"';
    return to;
}

char* SpellName(char* to, std::string_view name)
{
    bool bare = !name.empty() && IsNameStart(name.front());
    for (const char c : name) bare = bare && IsNameByte(c);
    return bare ? Append(to, name) : SpellString(to, name);
}

TaloToken ScanValue(const char* text)
{
    switch (*text) {
        case '@':
            return ScanTime(text);
        case '\'':
            return ScanCharacter(text);
        case '"': {
            std::size_t size = 0;
            return ScanString(text, nullptr, size);
        }
        default:
            return ScanNumber(text);
    }
}

TaloToken ScanString(const char* text, char* value, std::size_t& size)
{
    size = 0;
    for (++text; *text != '"';) {
        std::size_t length = 1;
        char escaped = '\0';
        const char* piece = text;
        if (*text == '\\') {
            const char* end = text + 1;
            const int byte = TakeEscape(end);
            if (byte < 0) return {text, '\0', ETaloFault::Escape};
            if (byte == 0) return {text, '\0', ETaloFault::StringZero};
            escaped = static_cast<char>(byte);
            piece = &escaped;
            text = end;
        } else {
            if (static_cast<unsigned char>(*text) < ' ') return {text, '\0', ETaloFault::StringEnd};
            // A sequence that is cut off is invalid before its missing bytes are looked at.
            length = SequenceLength(text, text + 4);
            if (length == 0) return {text, '\0', ETaloFault::StringByte};
            text += length;
        }
        if (size + length > YTalo::MaximumStringBytes) return {text, '\0', ETaloFault::StringSize};
        if (value != nullptr) std::memcpy(value + size, piece, length);
        size += length;
    }
    return {text + 1, 'S'};
}

std::int64_t ReadInteger(const char* text, const char* end)
{
    std::int64_t value = 0;
    from_chars(text, end, value);
    return value;
}

double ReadDouble(const char* text, const char* end)
{
    return ReadReal<double>(text, end);
}

float ReadFloat(const char* text, const char* end)
{
    return ReadReal<float>(text, end);
}

char ReadCharacter(const char* text)
{
    if (text[1] != '\\') return text[1];
    const char* escape = text + 2;
    return static_cast<char>(TakeEscape(escape));
}

}  // namespace ybase
