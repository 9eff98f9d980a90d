#include "ybaselib/yobject.h"

#include <new>

namespace {

[[gnu::constructor(101)]] void RegisterAtLoad()
{
    YClassRegistry::Register(YObject::StaticClass());
}

}  // namespace

YClassDefinition& YObject::StaticClass()
{
    static constinit YClassDefinition definition("YObject", &YPlug::StaticClass,
                                                 {.summary = "an object with a name and properties",
                                                  .create = &YCreateObject<YObject>,
                                                  .group = "Object"});
    return definition;
}

YObject::~YObject()
{
    TearDown();
}

IObject* YObject::IQuery(unsigned long interfaceId, int subId)
{
    if (interfaceId == InterfaceId) return static_cast<YPlug*>(this);
    return YPlug::IQuery(interfaceId, subId);
}

void YObject::Destroy(int isLocal)
{
    TearDown();
    if (isLocal == 0) delete this;
}

void YObject::TearDown()
{
    if (mTornDown) return;
    mTornDown = true;
    DetachSystem();
    PrepareDestruct();
    Destruct();
    Unmap();
}

YProperty* YObject::FastFindPropertyByName(const char* name)
{
    return GetPropertyList().Find(name);
}

YPropertyList& YObject::GetPropertyList()
{
    try {
        mPropertyList.AddDescribed(*this, *GetClassDefinition());
    } catch (const std::bad_alloc&) {
        // The next call goes on from here.
    }
    return mPropertyList;
}

void YObject::ResetProperties(const YClassDefinition& definition)
{
    for (const YPropertyDescription& description : definition.GetProperties()) {
        const YPropertyDescription::Access& access = description.GetAccess();
        if (access.member != nullptr) access.member(*this)->Describe(description);
        access.write(*this, description.GetDefault());
    }
}
