#include "ybaselib/yproperty.h"

#include "ybaselib/ypropertydescription.h"

YProperty::YProperty(const char* name, YDataType* type) : mName(name), mDataType(type) {}

YProperty::~YProperty() = default;

void YProperty::Describe(const YPropertyDescription& description)
{
    mName = description.GetName();
    mDataType = description.GetDataType();
    mDescription = &description;
}

bool YProperty::ReadValue(YPropertyValue&) const
{
    return false;
}

bool YProperty::WriteValue(const YPropertyValue&)
{
    return false;
}

bool YProperty::WriteAllowed(const YPropertyValue& value)
{
    if (mDescription != nullptr && !mDescription->Allows(value)) return false;
    return WriteValue(value);
}

void YProperty::GetString(char* buffer, int size) const
{
    if (buffer == nullptr || size < 1) return;
    *buffer = '\0';
    YPropertyValue value;
    if (!ReadValue(value)) return;
    const YEnumNames names = mDescription != nullptr ? mDescription->GetOptions().names : YEnumNames();
    YPropertyValueToText(value, names, buffer, size);
}

bool YProperty::SetString(const char* text)
{
    YPropertyValue value;
    const YEnumNames names = mDescription != nullptr ? mDescription->GetOptions().names : YEnumNames();
    return ReadValue(value) && YPropertyValueFromText(value, names, text) && WriteAllowed(value);
}

bool YProperty::GetDouble(double* value) const
{
    YPropertyValue held;
    return value != nullptr && ReadValue(held) && YPropertyValueToDouble(held, *value);
}

bool YProperty::SetDouble(double value)
{
    YPropertyValue held;
    return ReadValue(held) && YPropertyValueFromDouble(held, value) && WriteAllowed(held);
}

bool YProperty::ResetValue()
{
    return mDescription != nullptr && WriteValue(mDescription->GetDefault());
}

bool YProperty::IsDefault() const
{
    YPropertyValue value;
    return mDescription != nullptr && ReadValue(value) && value == mDescription->GetDefault();
}
