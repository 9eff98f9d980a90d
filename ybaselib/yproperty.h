#pragma once

#include "ybaselib/ydatatype.h"
#include "ybaselib/yexport.h"
#include "ybaselib/ypropertyvalue.h"
#include "ybaselib/ystring.h"

/// \file
/// Properties of objects.

class YPropertyDescription;

/// A named property of a data type, such as the local rotation of a joint; curve nodes that animate it
/// take their name from it.
///
/// A plain `YProperty` has no value. Those that have one are `YPropertyT` and the properties that an object
/// makes of its members (see `YObject::GetPropertyList`).
class YBASELIB_EXPORT YProperty
{
  public:
    /// \param name  copied; null counts as empty.
    /// \param type  not owned; null for a property that is of no registered type.
    explicit YProperty(const char* name, YDataType* type = nullptr);
    virtual ~YProperty();
    YProperty(const YProperty&) = delete;
    YProperty& operator=(const YProperty&) = delete;

    /// Never null; valid until the name is set again.
    const char* GetName() const { return mName.Buffer(); }
    /// \return  false, with the name as it was, when memory runs out.
    bool SetName(const char* name) { return mName.Set(name); }

    YDataType* GetDataType() const { return mDataType; }

    /// Default, range, unit and help; null for a property that was not described.
    const YPropertyDescription* GetDescription() const { return mDescription; }
    /// Takes name, type and everything else from a description, which has to outlive the property. For
    /// constructors: throws `std::bad_alloc` when there is no memory for the name.
    void Describe(const YPropertyDescription& description);

    // --- Value -------------------------------------------------------------------------------------------

    /// \return  false, with nothing written, when the property has no value.
    virtual bool ReadValue(YPropertyValue& value) const;
    /// Stores a value as it is, whatever the range.
    /// \return  false for a value of another kind.
    virtual bool WriteValue(const YPropertyValue& value);

    /// The value as text (see ypropertyvalue.h), cut to the buffer; an empty text without a value.
    /// \param size  of the buffer, 1 or more.
    void GetString(char* buffer, int size) const;
    /// \return  false, with the value as it was, for a text that is not understood or means a value out of
    ///          range.
    bool SetString(const char* text);

    /// The value as one number, times in seconds.
    /// \return  false without a value and for several members.
    bool GetDouble(double* value) const;
    /// \return  false, with the value as it was, where `GetDouble` is, and for a number out of range.
    bool SetDouble(double value);

    /// Back to the described default.
    /// \return  false without a description.
    bool ResetValue();
    /// Whether the value is the described default; false without a description.
    bool IsDefault() const;

  private:
    bool WriteAllowed(const YPropertyValue& value);

    YString mName;
    YDataType* mDataType;
    const YPropertyDescription* mDescription = nullptr;
};

/// A property that holds its value: a bool, int, double, `YTime`, an enumeration, or an array (`std::array`)
/// of three doubles or flags.
template<class T>
class YPropertyT : public YProperty
{
  public:
    using ValueType = T;

    /// \param name  may be left out when the class describes the property, as `YObject` explains.
    explicit YPropertyT(const char* name = nullptr, T value = T())
        : YProperty(name, YPropertyDataType(YPropertyStored<T>::From(value), std::is_enum_v<T>)),
          mValue(value)
    {}
    YPropertyT(const YPropertyT& other)
        : YProperty(other.GetName(), other.GetDataType()), mValue(other.mValue)
    {
        if (other.GetDescription() != nullptr) Describe(*other.GetDescription());
    }
    /// Takes over the value.
    YPropertyT& operator=(const YPropertyT& other)
    {
        mValue = other.mValue;
        return *this;
    }

    const T& Get() const { return mValue; }
    /// Stores the value as it is, whatever the range.
    void Set(const T& value) { mValue = value; }
    operator const T&() const { return mValue; }

    bool ReadValue(YPropertyValue& value) const override
    {
        value = YPropertyStored<T>::From(mValue);
        return true;
    }
    bool WriteValue(const YPropertyValue& value) override { return YPropertyStored<T>::To(mValue, value); }

  private:
    T mValue;
};
