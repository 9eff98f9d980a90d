#pragma once

#include <limits>
#include <type_traits>

#include "ybaselib/yexport.h"
#include "ybaselib/yproperty.h"
#include "ybaselib/ypropertyvalue.h"

/// \file
/// What a class says about its properties.

class YObject;

/// The parts of a description that have usual values; named where they differ:
/// `{.minimum = 0.0, .unit = "Hz", .help = "cut-off frequency"}`.
struct YPropertyOptions
{
    /// What texts and numbers may give, bounds included; times in seconds, every member of an array. Usual are
    /// all finite numbers, and all times with both infinities.
    double minimum = std::numeric_limits<double>::lowest();
    double maximum = std::numeric_limits<double>::max();
    bool aboveMinimum = false;  ///< the minimum itself is out of range
    const char* unit = "";      ///< "Hz", "s"; empty for a plain number or that of the curve's values
    const char* help = "";      ///< what it is, in one line, without a capital and a full stop
    YEnumNames names = {};      ///< of an enumeration, or of the values that an int may have
    bool ofFrames = false;      ///< the default is a frame rate, or so many frames, of the process
    /// With its default, and those of all others of the class that are marked so, an object does nothing: one
    /// of them has to be set.
    bool needed = false;

    /// Of a time: it is a length, none of which is infinite, rather than a point in time, which may be.
    bool IsLength() const { return minimum >= 0.0; }
};

/// A property as a class describes it, once for all of its objects: name, type, default, range and help, and
/// the way to its value in an object. Made by `YPropertyOf`.
class YBASELIB_EXPORT YPropertyDescription
{
  public:
    /// The way to the value; `member` is null where the object holds a plain value rather than a property.
    struct Access
    {
        YPropertyValue (*read)(const YObject& object);
        bool (*write)(YObject& object, const YPropertyValue& value);
        YProperty* (*member)(YObject& object);
    };

    /// \param defaultFunction  asked for the default each time; null for a fixed one.
    constexpr YPropertyDescription(const char* name, const YPropertyValue& defaultValue,
                                   YPropertyValue (*defaultFunction)(), const YPropertyOptions& options,
                                   const Access& access)
        : mName(name),
          mDefault(defaultValue),
          mDefaultFunction(defaultFunction),
          mOptions(options),
          mAccess(access)
    {}

    const char* GetName() const { return mName; }
    const YPropertyOptions& GetOptions() const { return mOptions; }
    YDataType* GetDataType() const { return YPropertyDataType(mDefault, !mOptions.names.IsEmpty()); }

    /// The default, which may be that of the process at the moment (a setting, one frame of the time mode).
    YPropertyValue GetDefault() const;

    /// Whether a value is of the right kind and in range; of a named number, whether it has a name.
    bool Allows(const YPropertyValue& value) const;

    const Access& GetAccess() const { return mAccess; }

  private:
    const char* mName;
    YPropertyValue mDefault;
    YPropertyValue (*mDefaultFunction)();
    YPropertyOptions mOptions;
    Access mAccess;
};

/// The descriptions of a class: a range over a static array.
class YPropertyDescriptions
{
  public:
    constexpr YPropertyDescriptions() = default;
    template<int count>
    constexpr YPropertyDescriptions(const YPropertyDescription (&list)[count])
        : mBegin(list), mEnd(list + count)
    {}

    constexpr const YPropertyDescription* begin() const { return mBegin; }
    constexpr const YPropertyDescription* end() const { return mEnd; }

  private:
    const YPropertyDescription* mBegin = nullptr;
    const YPropertyDescription* mEnd = nullptr;
};

namespace ybase {

template<class Member>
struct MemberPointer;
template<class C, class M>
struct MemberPointer<M C::*>
{
    using Class = C;
    using Type = M;
};

template<class M>
struct PropertyMember
{
    using Value = M;
    static constexpr bool isProperty = false;
};
template<class M>
requires std::is_base_of_v<YProperty, M>
struct PropertyMember<M>
{
    using Value = typename M::ValueType;
    static constexpr bool isProperty = true;
};

/// The type of the values of the member that a pointer points at.
template<auto member>
using PropertyValueOf = typename PropertyMember<typename MemberPointer<decltype(member)>::Type>::Value;

template<auto member>
constexpr YPropertyDescription::Access AccessOf()
{
    using Class = typename MemberPointer<decltype(member)>::Class;
    using Type = typename MemberPointer<decltype(member)>::Type;
    using Value = PropertyValueOf<member>;
    if constexpr (PropertyMember<Type>::isProperty) {
        return {[](const YObject& object) {
                    return YPropertyStored<Value>::From((static_cast<const Class&>(object).*member).Get());
                },
                [](YObject& object, const YPropertyValue& value) {
                    return (static_cast<Class&>(object).*member).WriteValue(value);
                },
                [](YObject& object) -> YProperty* { return &(static_cast<Class&>(object).*member); }};
    } else {
        return {[](const YObject& object) {
                    return YPropertyStored<Value>::From(static_cast<const Class&>(object).*member);
                },
                [](YObject& object, const YPropertyValue& value) {
                    return YPropertyStored<Value>::To(static_cast<Class&>(object).*member, value);
                },
                nullptr};
    }
}

}  // namespace ybase

/// Describes a data member of an object as a property: a plain bool, int, double, `YTime`, enumeration or
/// array of three, or a `YPropertyT` of one of these.
/// \param name          static; as the accessors have it: "KeySync" for `GetKeySync`.
/// \param defaultValue  what `YObject::ResetProperties` sets.
template<auto member>
constexpr YPropertyDescription YPropertyOf(const char* name, ybase::PropertyValueOf<member> defaultValue,
                                           const YPropertyOptions& options = {})
{
    return {name, YPropertyStored<ybase::PropertyValueOf<member>>::From(defaultValue), nullptr, options,
            ybase::AccessOf<member>()};
}

/// The same with a default that is asked for each time: `YPropertyOf<&Filter::mRate, &GetRate>("Rate")`.
template<auto member, auto defaultFunction>
constexpr YPropertyDescription YPropertyOf(const char* name, const YPropertyOptions& options = {})
{
    using Value = ybase::PropertyValueOf<member>;
    return {name, YPropertyStored<Value>::From(Value()),
            [] { return YPropertyStored<Value>::From(defaultFunction()); }, options,
            ybase::AccessOf<member>()};
}
