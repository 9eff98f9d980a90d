#include "ybaselib/ypropertylist.h"

#include <algorithm>
#include <new>

#include "ybaselib/yclassdefinition.h"
#include "ybaselib/yobject.h"
#include "ybaselib/ystring.h"

namespace {

// A plain member of an object, seen as a property.
class MemberView : public YProperty
{
  public:
    MemberView(YObject& object, const YPropertyDescription& description)
        : YProperty(description.GetName()), mObject(object)
    {
        Describe(description);
    }

    bool ReadValue(YPropertyValue& value) const override
    {
        value = GetDescription()->GetAccess().read(mObject);
        return true;
    }
    bool WriteValue(const YPropertyValue& value) override
    {
        return GetDescription()->GetAccess().write(mObject, value);
    }

  private:
    YObject& mObject;
};

}  // namespace

YProperty* YPropertyList::Get(int index) const
{
    if (index < 0 || index >= GetCount()) return nullptr;
    return mProperties[static_cast<std::size_t>(index)];
}

YProperty* YPropertyList::Find(const char* name) const
{
    if (name == nullptr) return nullptr;
    for (YProperty* property : mProperties)
        if (YStringCompareNoCase(property->GetName(), name) == 0) return property;
    return nullptr;
}

int YPropertyList::GetIndex(const YProperty* property) const
{
    const auto found = std::find(mProperties.begin(), mProperties.end(), property);
    return found == mProperties.end() ? -1 : static_cast<int>(found - mProperties.begin());
}

bool YPropertyList::Add(YProperty* property)
{
    if (property == nullptr) return false;
    if (GetIndex(property) >= 0) return true;
    try {
        mProperties.push_back(property);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

// While an object is constructed or destructed it is one of an ancestor. A list that was made then lacks what
// the further classes describe, and one that was made before has it already.
void YPropertyList::AddDescribed(YObject& object, const YClassDefinition& definition)
{
    if (mDescribedTo != nullptr && mDescribedTo->IsDerivedFrom(definition)) return;
    if (const YClassDefinition* parent = definition.GetParent()) AddDescribed(object, *parent);
    for (const YPropertyDescription& description : definition.GetProperties())
        AddDescribed(object, description);
    mDescribedTo = &definition;
}

void YPropertyList::AddDescribed(YObject& object, const YPropertyDescription& description)
{
    YProperty* hidden = Find(description.GetName());
    YProperty* property;
    if (description.GetAccess().member != nullptr) {
        property = description.GetAccess().member(object);
        property->Describe(description);
    } else {
        mViews.push_back(std::make_unique<MemberView>(object, description));
        property = mViews.back().get();
    }
    mProperties.push_back(property);
    if (hidden != nullptr) mProperties.erase(mProperties.begin() + GetIndex(hidden));
}
