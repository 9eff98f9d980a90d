#include "ybaselib/yplug.h"

YClassDefinition& YPlug::StaticClass()
{
    static constinit YClassDefinition definition("YPlug", nullptr, {.summary = "the root of all classes"});
    return definition;
}

YPlug::~YPlug() = default;

IObject* YPlug::IQuery(unsigned long interfaceId, int)
{
    const bool isMine = interfaceId == InterfaceId || interfaceId == ISpObjectHolder::InterfaceId ||
                        interfaceId == IObject::InterfaceId;
    return isMine ? this : nullptr;
}

void YPlug::Destroy(int isLocal)
{
    if (isLocal == 0) delete this;
}

bool YPlug::Is(int classId) const
{
    return GetClassDefinition()->Is(classId);
}

int YPlug::GetClassId() const
{
    return GetClassDefinition()->GetId();
}

const char* YPlug::GetClassIdName() const
{
    return GetClassDefinition()->GetName();
}

YClassDefinition* YPlug::GetClassDefinition() const
{
    return &StaticClass();
}

int YPlug::GetClassGroupId()
{
    return GetClassDefinition()->GetGroupId();
}

const char* YPlug::GetClassGroupName()
{
    return GetClassDefinition()->GetGroupName();
}
