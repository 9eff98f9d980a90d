#include "ybaselib/ypropertydescription.h"

#include <algorithm>

namespace {

bool IsWithin(const YPropertyOptions& options, double number)
{
    const bool aboveMinimum = options.aboveMinimum ? number > options.minimum : number >= options.minimum;
    return aboveMinimum && number <= options.maximum;
}

}  // namespace

YPropertyValue YPropertyDescription::GetDefault() const
{
    return mDefaultFunction != nullptr ? mDefaultFunction() : mDefault;
}

bool YPropertyDescription::Allows(const YPropertyValue& value) const
{
    if (value.index() != mDefault.index()) return false;
    if (const auto* numbers = std::get_if<std::array<double, 3>>(&value))
        return std::all_of(numbers->begin(), numbers->end(),
                           [this](double number) { return IsWithin(mOptions, number); });
    const int* whole = std::get_if<int>(&value);
    if (whole != nullptr && !mOptions.names.IsEmpty()) return mOptions.names.Find(*whole) != nullptr;
    const YTime* const time = std::get_if<YTime>(&value);
    if (time != nullptr && mOptions.IsLength() && time->IsInfinite()) return false;
    double number;
    return !YPropertyValueToDouble(value, number) || IsWithin(mOptions, number);
}
