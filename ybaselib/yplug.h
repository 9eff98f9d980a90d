#pragma once

#include "ybaselib/iobject.h"
#include "ybaselib/yclassdefinition.h"
#include "ybaselib/yexport.h"
#include "ybaselib/yspobjectholder.h"

/// \file
/// The root of the classes that the registry knows.

/// An object of a registered class that weak references can point at.
class YBASELIB_EXPORT YPlug : public ISpObjectHolder
{
  public:
    static constexpr unsigned long InterfaceId = YInterfaceId("YPlug");
    /// The definition of this class, the root of all others.
    static YClassDefinition& StaticClass();

    /// This object as `IObject`, `ISpObjectHolder` or `YPlug`, else null.
    IObject* IQuery(unsigned long interfaceId, int subId = 0) override;
    void Destroy(int isLocal = 0) override;
    YSpObjectHolder* GetSpHolder() override { return &mSpHolder; }
    virtual ~YPlug();

    /// Whether the identifier is that of the object's class or of one of its ancestors.
    virtual bool Is(int classId) const;
    virtual int GetClassId() const;
    virtual const char* GetClassIdName() const;
    /// The definition of the object's own class. The operations above take theirs from it, so that a class
    /// overrides this operation alone.
    virtual YClassDefinition* GetClassDefinition() const;
    /// The group that the class belongs to; "Object" for `YObject` and everything derived from it.
    virtual int GetClassGroupId();
    virtual const char* GetClassGroupName();

  protected:
    YPlug() : mSpHolder(this) {}
    /// A copy is an object of its own: references stay with the original.
    YPlug(const YPlug&) : YPlug() {}
    YPlug& operator=(const YPlug&) { return *this; }

  private:
    YSpObjectHolder mSpHolder;
};
