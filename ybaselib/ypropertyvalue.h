#pragma once

#include <array>
#include <type_traits>
#include <variant>

#include "ybaselib/ydatatype.h"
#include "ybaselib/yexport.h"
#include "ybaselib/ytime.h"

/// \file
/// The values that properties have, and how they are written as text.
///
/// Texts are the same in every locale, and what is written reads back as the same value:
/// - flags: "true" and "false"; read are also "yes", "no", "on", "off", "1" and "0", in any case;
/// - whole numbers: decimal;
/// - numbers: as few digits as read back as the same double, "0.1", "5e-13"; "inf" and "-inf";
/// - times: seconds, "0.5", where a double tells the tick, else ticks behind an at sign, "@23093079000",
///   and "inf" and "-inf"; read is also a time code of the current time mode, "01:02:03:04" (a semicolon
///   may stand before the frames);
/// - names of an enumeration, in any case; read is also the number of one;
/// - three numbers or flags, separated by commas: "0,90,-45"; read are also spaces.
/// Spaces around a text do not matter.

/// The value of a property. An enumeration is held as its number.
using YPropertyValue = std::variant<bool, int, double, YTime, std::array<double, 3>, std::array<bool, 3>>;

/// A value of an enumeration with its name in texts.
struct YEnumName
{
    int value;
    const char* name;
};

/// The names of an enumeration: a range over a static array.
class YEnumNames
{
  public:
    constexpr YEnumNames() = default;
    template<int count>
    constexpr YEnumNames(const YEnumName (&names)[count]) : mBegin(names), mEnd(names + count)
    {}

    constexpr const YEnumName* begin() const { return mBegin; }
    constexpr const YEnumName* end() const { return mEnd; }
    constexpr bool IsEmpty() const { return mBegin == mEnd; }

    /// Null for a value that has no name.
    YBASELIB_EXPORT const char* Find(int value) const;

  private:
    const YEnumName* mBegin = nullptr;
    const YEnumName* mEnd = nullptr;
};

/// What type `T` is held as in a `YPropertyValue`: an enumeration as its number, all else as it is.
template<class T>
struct YPropertyStored
{
    static constexpr YPropertyValue From(const T& value)
    {
        if constexpr (std::is_enum_v<T>) {
            return YPropertyValue(static_cast<int>(value));
        } else {
            return YPropertyValue(value);
        }
    }

    /// \return  false, with the target as it was, for a value of another kind.
    static bool To(T& target, const YPropertyValue& value)
    {
        if constexpr (std::is_enum_v<T>) {
            const int* number = std::get_if<int>(&value);
            if (number != nullptr) target = static_cast<T>(*number);
            return number != nullptr;
        } else {
            const T* held = std::get_if<T>(&value);
            if (held != nullptr) target = *held;
            return held != nullptr;
        }
    }
};

/// The data type of properties that hold such a value: "Bool", "Integer", "Enum" (a number that has names),
/// "Double", "Time", "Vector3D" or "Bool3D".
YBASELIB_EXPORT YDataType* YPropertyDataType(const YPropertyValue& value, bool isEnum = false);

/// Room for the text of any value but long names of enumerations, the final zero included.
inline constexpr int YPropertyTextSize = 128;

/// Writes a value as text, cut where the buffer ends (between bytes) and always ended by a zero byte.
/// \param size  of the buffer; nothing is written below 1.
YBASELIB_EXPORT void YPropertyValueToText(const YPropertyValue& value, YEnumNames names, char* buffer,
                                          int size);

/// Reads a text as a value of the kind that `value` is.
/// \return  false, with the value as it was, for a text that is none, and for null.
YBASELIB_EXPORT bool YPropertyValueFromText(YPropertyValue& value, YEnumNames names, const char* text);

/// A value as one number: flags as 0 and 1, times in seconds.
/// \return  false for values of three members.
YBASELIB_EXPORT bool YPropertyValueToDouble(const YPropertyValue& value, double& number);

/// Makes a number the value: whole numbers are truncated towards zero, everything but 0 is true, and times
/// are rounded to the nearest tick.
/// \return  false, with the value as it was, for values of three members, for not-a-number, and for numbers
///          that an integer cannot hold.
YBASELIB_EXPORT bool YPropertyValueFromDouble(YPropertyValue& value, double number);
