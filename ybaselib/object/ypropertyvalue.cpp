#include "ybaselib/ypropertyvalue.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>
#include <system_error>

#include "ybaselib/core/standardlibrary.h"
#include "ybaselib/ystring.h"

namespace {

constexpr std::string_view kSpaces = " \t\r\n";

std::string_view Trim(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(kSpaces);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kSpaces) - first + 1);
}

bool IsWord(std::string_view text, const char* word)
{
    return YStringCompareNoCase(text, word) == 0;
}

// --- Writing -------------------------------------------------------------------------------------------

// A text that grows inside a buffer and stays a text when the buffer is full.
class Writer
{
  public:
    Writer(char* buffer, int size) : mNext(buffer), mEnd(buffer + size - 1) { *mNext = '\0'; }

    void Add(std::string_view text)
    {
        const std::size_t length = std::min(text.size(), static_cast<std::size_t>(mEnd - mNext));
        if (length > 0) std::memcpy(mNext, text.data(), length);
        mNext += length;
        *mNext = '\0';
    }

    template<class Whole>
    void AddNumber(Whole number)
    {
        char text[24];
        const std::to_chars_result written = ybase::to_chars(text, text + sizeof text, number);
        Add({text, static_cast<std::size_t>(written.ptr - text)});
    }

    // Without an exponent where people would write it so.
    void AddNumber(double number)
    {
        char text[32];
        const double size = std::abs(number);
        const bool isPlain = number == 0.0 || (size >= 1e-5 && size < 1e15);
        const std::to_chars_result written =
            ybase::to_chars(text, text + sizeof text, number,
                            isPlain ? std::chars_format::fixed : std::chars_format::scientific);
        Add({text, static_cast<std::size_t>(written.ptr - text)});
    }

    void AddFlag(bool flag) { Add(flag ? "true" : "false"); }

  private:
    char* mNext;
    char* mEnd;
};

void AddTime(Writer& writer, YTime time)
{
    if (time.IsInfinite()) return writer.Add(time > YTIME_ZERO ? "inf" : "-inf");
    const double seconds = time.GetSecondDouble();
    if (YTime::FromSeconds(seconds) == time) return writer.AddNumber(seconds);
    writer.Add("@");
    writer.AddNumber(time.Get());
}

struct ValueWriter
{
    Writer& writer;
    YEnumNames names;

    void operator()(bool value) const { writer.AddFlag(value); }
    void operator()(double value) const { writer.AddNumber(value); }
    void operator()(YTime value) const { AddTime(writer, value); }
    void operator()(int value) const
    {
        if (const char* name = names.Find(value)) return writer.Add(name);
        writer.AddNumber(value);
    }
    template<class T>
    void operator()(const std::array<T, 3>& values) const
    {
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (i > 0) writer.Add(",");
            (*this)(values[i]);
        }
    }
};

// --- Reading -------------------------------------------------------------------------------------------

// The whole text as a number; a plus sign may stand in front.
template<class Number>
bool ReadNumber(std::string_view text, Number& number)
{
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    Number read{};
    const std::from_chars_result result = ybase::from_chars(text.data(), text.data() + text.size(), read);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return false;
    number = read;
    return true;
}

bool Read(std::string_view text, bool& value)
{
    for (const char* word : {"true", "yes", "on", "1"})
        if (IsWord(text, word)) return value = true;
    for (const char* word : {"false", "no", "off", "0"}) {
        if (!IsWord(text, word)) continue;
        value = false;
        return true;
    }
    return false;
}

bool Read(std::string_view text, int& value)
{
    return ReadNumber(text, value);
}

// Not-a-number is no value of any property.
bool Read(std::string_view text, double& value)
{
    double number;
    if (!ReadNumber(text, number) || std::isnan(number)) return false;
    value = number;
    return true;
}

// "[-]h:m:s:f", the frames perhaps after a semicolon: four whole numbers without signs.
bool ReadTimeCode(std::string_view text, YTime& value)
{
    const bool negative = !text.empty() && text[0] == '-';
    if (negative) text.remove_prefix(1);
    int parts[4];
    for (int i = 0; i < 4; ++i) {
        const std::size_t length = std::min(text.find_first_of(i == 2 ? ":;" : ":"), text.size());
        const std::string_view part = text.substr(0, length);
        if (part.empty() || part[0] < '0' || part[0] > '9' || !ReadNumber(part, parts[i])) return false;
        const bool ended = length == text.size();
        if (ended != (i == 3)) return false;
        text.remove_prefix(ended ? length : length + 1);
    }
    if (negative)
        for (int& part : parts) part = -part;
    value.SetTime(parts[0], parts[1], parts[2], parts[3]);
    return true;
}

bool Read(std::string_view text, YTime& value)
{
    if (!text.empty() && text[0] == '@') {
        std::int64_t ticks;
        if (!ReadNumber(text.substr(1), ticks)) return false;
        value.Set(ticks);
        return true;
    }
    if (text.find(':') != std::string_view::npos) return ReadTimeCode(text, value);
    double seconds;
    if (!Read(text, seconds)) return false;
    value = YTime::FromSeconds(seconds);
    return true;
}

template<class T>
bool Read(std::string_view text, std::array<T, 3>& values)
{
    std::array<T, 3> read{};
    for (T& value : read) {
        const std::size_t length = std::min(text.find_first_of(", \t\r\n"), text.size());
        if (!Read(text.substr(0, length), value)) return false;
        text = Trim(text.substr(length));
        if (&value == &read.back()) break;
        if (!text.empty() && text[0] == ',') text = Trim(text.substr(1));
    }
    if (!text.empty()) return false;
    values = read;
    return true;
}

bool ReadName(std::string_view text, YEnumNames names, int& value)
{
    for (const YEnumName& entry : names) {
        if (!IsWord(text, entry.name)) continue;
        value = entry.value;
        return true;
    }
    return false;
}

}  // namespace

const char* YEnumNames::Find(int value) const
{
    for (const YEnumName& entry : *this)
        if (entry.value == value) return entry.name;
    return nullptr;
}

YDataType* YPropertyDataType(const YPropertyValue& value, bool isEnum)
{
    constexpr eDataType types[] = {eDataType::Bool, eDataType::Integer, eDataType::Double, eDataType::Time,
                                   eDataType::Vector3};
    if (isEnum) return YDataType::Get(eDataType::Enum);
    if (value.index() < std::size(types)) return YDataType::Get(types[value.index()]);
    return YDataType::Register("Bool3D", eDataKind::Bool, 3);
}

void YPropertyValueToText(const YPropertyValue& value, YEnumNames names, char* buffer, int size)
{
    if (buffer == nullptr || size < 1) return;
    Writer writer(buffer, size);
    std::visit(ValueWriter{writer, names}, value);
}

bool YPropertyValueFromText(YPropertyValue& value, YEnumNames names, const char* text)
{
    if (text == nullptr) return false;
    const std::string_view trimmed = Trim(text);
    if (int* number = std::get_if<int>(&value); number != nullptr && ReadName(trimmed, names, *number))
        return true;
    return std::visit([trimmed](auto& held) { return Read(trimmed, held); }, value);
}

bool YPropertyValueToDouble(const YPropertyValue& value, double& number)
{
    if (const bool* flag = std::get_if<bool>(&value)) return number = *flag ? 1.0 : 0.0, true;
    if (const int* whole = std::get_if<int>(&value)) return number = *whole, true;
    if (const double* held = std::get_if<double>(&value)) return number = *held, true;
    if (const YTime* time = std::get_if<YTime>(&value)) return number = time->GetSecondDouble(), true;
    return false;
}

bool YPropertyValueFromDouble(YPropertyValue& value, double number)
{
    if (std::isnan(number)) return false;
    if (bool* flag = std::get_if<bool>(&value)) return *flag = number != 0.0, true;
    if (double* held = std::get_if<double>(&value)) return *held = number, true;
    if (YTime* time = std::get_if<YTime>(&value)) return *time = YTime::FromSeconds(number), true;
    int* whole = std::get_if<int>(&value);
    const double truncated = std::trunc(number);
    if (whole == nullptr || truncated < std::numeric_limits<int>::min() ||
        truncated > std::numeric_limits<int>::max())
        return false;
    *whole = static_cast<int>(truncated);
    return true;
}
