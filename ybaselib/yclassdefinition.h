#pragma once

#include <atomic>

#include "ybaselib/yexport.h"
#include "ybaselib/ypropertydescription.h"

/// \file
/// Classes that can be looked up by name, listed, and made objects of.

class YClassDefinition;
class YObject;

/// The parts of a class definition that have usual values; named where they differ.
struct YClassOptions
{
    /// What objects of the class are for, in one line, without a capital and a full stop.
    const char* summary = "";
    /// What its objects can be applied to, in the plural: "whole rotations". Empty where it is everything.
    const char* worksOn = "";
    /// The properties of the class itself; those of its ancestors come from their own definitions.
    YPropertyDescriptions properties = {};
    /// Makes an object, null when memory runs out; `&YCreateObject<Class>`. Null for a class of which there
    /// are no objects.
    YObject* (*create)() = nullptr;
    /// Opens a group of classes that all descendants belong to; null stays in the parent's.
    const char* group = nullptr;
    /// A number for the users of a family of classes, which says what it means.
    int tag = 0;
    /// For those who write classes, rather than for people to choose.
    bool pattern = false;
};

/// A class: its name, parent, identifier, group, properties, and how to make objects of it.
///
/// A definition is a static object that is constant-initialised, so that it can be used before, during and
/// after all static initialisation. The class hands it out from a static function, for which yobject.h has
/// the pattern.
class YBASELIB_EXPORT YClassDefinition
{
  public:
    /// The function of a class that hands out its definition.
    using Source = YClassDefinition& (*)();

    /// \param name    the name of the class; static.
    /// \param parent  null for the root class alone.
    constexpr YClassDefinition(const char* name, Source parent, const YClassOptions& options)
        : mName(name), mParent(parent), mOptions(options)
    {}
    YClassDefinition(const YClassDefinition&) = delete;
    YClassDefinition& operator=(const YClassDefinition&) = delete;

    const char* GetName() const { return mName; }
    /// Null for the root class.
    YClassDefinition* GetParent() const { return mParent != nullptr ? &mParent() : nullptr; }
    const YClassOptions& GetOptions() const { return mOptions; }
    /// The properties of the class itself, in the order of their registration.
    YPropertyDescriptions GetProperties() const { return mOptions.properties; }

    /// The identifier, 1 or more, that the registry has given the class; it is the same as long as the
    /// process runs. A class that is not registered yet registers itself; 0 where the registry refuses it.
    int GetId();

    /// Whether the identifier is that of the class or of one of its ancestors.
    bool Is(int id);
    bool IsDerivedFrom(const YClassDefinition& ancestor) const;

    /// The identifier of the class that opened the group, and the group's name.
    int GetGroupId();
    const char* GetGroupName();

    /// A new object, which the caller ends with `Destroy(0)`; null when there are none of this class, and
    /// when memory runs out.
    YObject* CreateObject() const { return mOptions.create != nullptr ? mOptions.create() : nullptr; }

  private:
    friend class YClassRegistry;

    YClassDefinition& GetGroupFounder();

    const char* mName;
    Source mParent;
    YClassOptions mOptions;
    // Written under the registry's lock, read without.
    std::atomic<int> mId = 0;
    std::atomic<YClassDefinition*> mNext = nullptr;  // in the registry
};

/// The classes of the process. Libraries register theirs when they are loaded, linked statically as well.
/// Any thread may register and look up classes at any time. Going through all classes, and making objects of
/// one that was found, must not run while the library of a class is unloaded.
class YBASELIB_EXPORT YClassRegistry
{
  public:
    /// Adds a class and its ancestors, and gives each its identifier.
    /// \return  false when another class of that name is there already; true for one that is there itself.
    static bool Register(YClassDefinition& definition);
    /// Takes a class out, which libraries do that are unloaded. Its identifier is not given again.
    static void Unregister(YClassDefinition& definition);

    /// By name, compared exactly; null for an unknown name and for null.
    static YClassDefinition* Find(const char* name);
    static YClassDefinition* Find(int id);

    /// Classes in the order of their registration, for `GetNext` until null.
    static YClassDefinition* GetFirst();
    static YClassDefinition* GetNext(const YClassDefinition& definition) { return definition.mNext.load(); }
};
