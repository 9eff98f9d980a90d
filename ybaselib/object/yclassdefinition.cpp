#include "ybaselib/yclassdefinition.h"

#include <atomic>
#include <cstring>
#include <mutex>

#include "ybaselib/core/standardlibrary.h"

namespace {

// Guards all below. Recursive, as a class registers its ancestors.
YBASE_CONSTINIT_MUTEX std::recursive_mutex mutex;
constinit std::atomic<YClassDefinition*> firstClass = nullptr;
constinit YClassDefinition* lastClass = nullptr;
constinit int lastId = 0;

}  // namespace

int YClassDefinition::GetId()
{
    if (mId == 0) YClassRegistry::Register(*this);
    return mId;
}

bool YClassDefinition::Is(int id)
{
    if (id <= 0) return false;
    for (YClassDefinition* definition = this; definition != nullptr; definition = definition->GetParent())
        if (definition->GetId() == id) return true;
    return false;
}

bool YClassDefinition::IsDerivedFrom(const YClassDefinition& ancestor) const
{
    const YClassDefinition* definition = this;
    while (definition != nullptr && definition != &ancestor) definition = definition->GetParent();
    return definition != nullptr;
}

YClassDefinition& YClassDefinition::GetGroupFounder()
{
    YClassDefinition* founder = this;
    while (founder->mOptions.group == nullptr && founder->mParent != nullptr) founder = founder->GetParent();
    return *founder;
}

int YClassDefinition::GetGroupId()
{
    return GetGroupFounder().GetId();
}

const char* YClassDefinition::GetGroupName()
{
    const char* name = GetGroupFounder().mOptions.group;
    return name != nullptr ? name : "";
}

bool YClassRegistry::Register(YClassDefinition& definition)
{
    const std::lock_guard lock(mutex);
    if (YClassDefinition* parent = definition.GetParent()) Register(*parent);
    if (YClassDefinition* existing = Find(definition.GetName())) return existing == &definition;
    if (definition.mId == 0) definition.mId = ++lastId;
    definition.mNext = nullptr;
    std::atomic<YClassDefinition*>& place = lastClass != nullptr ? lastClass->mNext : firstClass;
    place = &definition;
    lastClass = &definition;
    return true;
}

void YClassRegistry::Unregister(YClassDefinition& definition)
{
    const std::lock_guard lock(mutex);
    YClassDefinition* previous = nullptr;
    for (YClassDefinition* entry = firstClass; entry != nullptr; previous = entry, entry = entry->mNext) {
        if (entry != &definition) continue;
        std::atomic<YClassDefinition*>& place = previous != nullptr ? previous->mNext : firstClass;
        place = entry->mNext.load();
        if (lastClass == entry) lastClass = previous;
        entry->mNext = nullptr;
        return;
    }
}

YClassDefinition* YClassRegistry::Find(const char* name)
{
    if (name == nullptr) return nullptr;
    const std::lock_guard lock(mutex);
    for (YClassDefinition* entry = GetFirst(); entry != nullptr; entry = entry->mNext)
        if (std::strcmp(entry->mName, name) == 0) return entry;
    return nullptr;
}

YClassDefinition* YClassRegistry::Find(int id)
{
    const std::lock_guard lock(mutex);
    for (YClassDefinition* entry = GetFirst(); entry != nullptr; entry = entry->mNext)
        if (entry->mId == id) return entry;
    return nullptr;
}

YClassDefinition* YClassRegistry::GetFirst()
{
    return firstClass;
}
