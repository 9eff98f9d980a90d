#pragma once

#include <memory>
#include <vector>

#include "ybaselib/yexport.h"
#include "ybaselib/yproperty.h"
#include "ybaselib/ypropertydescription.h"

/// \file
/// The properties of one object.

class YClassDefinition;
class YObject;

/// The properties of an object in the order in which they were registered: those that its classes describe,
/// from the root class to its own, and those that were added to the object alone.
class YBASELIB_EXPORT YPropertyList
{
  public:
    YPropertyList() = default;
    YPropertyList(const YPropertyList&) = delete;
    YPropertyList& operator=(const YPropertyList&) = delete;

    int GetCount() const { return static_cast<int>(mProperties.size()); }
    /// \param index  0 to count - 1; null outside.
    YProperty* Get(int index) const;

    /// By name, without regard to the case of ASCII letters; null when there is none, and for null.
    YProperty* Find(const char* name) const;
    /// -1 when it is not in the list.
    int GetIndex(const YProperty* property) const;

    /// Appends a property that the object owns and that has to live as long as the object does; one that is
    /// in the list already stays where it is.
    /// \return  false for null and when memory has run out.
    bool Add(YProperty* property);

  private:
    friend class YObject;

    void AddDescribed(YObject& object, const YClassDefinition& definition);
    void AddDescribed(YObject& object, const YPropertyDescription& description);

    std::vector<YProperty*> mProperties;
    std::vector<std::unique_ptr<YProperty>> mViews;  // of plain members
    const YClassDefinition* mDescribedTo = nullptr;  // the class whose descriptions the list has
};
