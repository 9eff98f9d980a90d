#pragma once

#include <cstdint>

#include "ybaselib/yexport.h"

/// \file
/// The interfaces that every object of the libraries has.

class YSpObjectHolder;

/// The identifier of an interface, made from its name at compile time: the 32-bit FNV-1a hash (Fowler,
/// Noll and Vo). The same name gives the same identifier in every program and on every platform.
///
/// An interface publishes its own as `static constexpr unsigned long InterfaceId`; one whose number is
/// laid down elsewhere writes that number there instead.
constexpr unsigned long YInterfaceId(const char* name)
{
    std::uint32_t hash = 2166136261u;
    for (; *name != '\0'; ++name) hash = (hash ^ static_cast<unsigned char>(*name)) * 16777619u;
    return hash;
}

/// What every object can do: say which interfaces it has, and go away.
///
/// The destructor is protected and not virtual, so that no object can be deleted through an interface; a
/// class that implements the interface declares a virtual destructor of its own after these operations.
class YBASELIB_EXPORT IObject
{
  public:
    static constexpr unsigned long InterfaceId = YInterfaceId("IObject");

    /// The object seen as another interface.
    /// \param interfaceId  the `InterfaceId` of the interface or class asked for.
    /// \param subId        which one, for an object that has the same interface several times; 0 is the
    ///                     main one.
    /// \return  the `IObject` base of that interface, so that a static_cast from it to the interface is
    ///          right even under multiple inheritance; null when the object does not have it.
    virtual IObject* IQuery(unsigned long interfaceId, int subId = 0) = 0;

    /// Ends the object.
    /// \param isLocal  0: the object came from `new` and is deleted. Otherwise its storage belongs to
    ///                 an owner (it is automatic, static or a member): nothing is freed here, and its
    ///                 destructor runs when that owner ends it.
    virtual void Destroy(int isLocal = 0) = 0;

  protected:
    ~IObject() = default;
};

/// An object that weak references (`YSpObject`) can point at.
class YBASELIB_EXPORT ISpObjectHolder : public IObject
{
  public:
    static constexpr unsigned long InterfaceId = YInterfaceId("ISpObjectHolder");

    /// The object's own holder, there for as long as the object; never null.
    virtual YSpObjectHolder* GetSpHolder() = 0;

  protected:
    ~ISpObjectHolder() = default;
};

/// An object seen as interface `T`; null when it does not have that interface or is null itself.
template<class T>
T* YQueryInterface(IObject* object, int subId = 0)
{
    return object != nullptr ? static_cast<T*>(object->IQuery(T::InterfaceId, subId)) : nullptr;
}
