#pragma once

#include <new>

#include "ybaselib/yexport.h"
#include "ybaselib/yplug.h"
#include "ybaselib/ypropertydescription.h"
#include "ybaselib/ypropertylist.h"
#include "ybaselib/ystring.h"

/// \file
/// Objects with a name, a class, and properties that can be read and set by name.
///
/// A class says once what it is, and look-up by name, listing, text set-up and defaults all come from that:
///
///     class Ball : public YObject
///     {
///       public:
///         static YClassDefinition& StaticClass();
///         YClassDefinition* GetClassDefinition() const override { return &StaticClass(); }
///         Ball() { ResetProperties(StaticClass()); }
///
///       private:
///         double mRadius{};
///         bool mBounces{};
///     };
///
///     YClassDefinition& Ball::StaticClass()
///     {
///         static constexpr YPropertyDescription properties[] = {
///             YPropertyOf<&Ball::mRadius>("Radius", 1.0, {.minimum = 0.0, .unit = "cm", .help = "radius"}),
///             YPropertyOf<&Ball::mBounces>("Bounces", true, {.help = "whether it bounces"})};
///         static constinit YClassDefinition definition(
///             "Ball", &YObject::StaticClass,
///             {.summary = "a ball", .properties = properties, .create = &YCreateObject<Ball>});
///         return definition;
///     }
///
///     YClassRegistry::Register(Ball::StaticClass());  // when the program starts

class YBASELIB_EXPORT YObject : public YPlug
{
  public:
    static constexpr unsigned long InterfaceId = YInterfaceId("YObject");
    static YClassDefinition& StaticClass();
    YClassDefinition* GetClassDefinition() const override { return &StaticClass(); }

    /// \param name  copied; null counts as empty.
    explicit YObject(const char* name = nullptr) : mObjectName(name) {}
    /// The copy has the same name. Properties are copied by the class that has them as members; those that
    /// were added to the list of one object are not taken over.
    YObject(const YObject& other) : YPlug(other), mObjectName(other.mObjectName) {}
    YObject& operator=(const YObject& other)
    {
        mObjectName = other.mObjectName;
        return *this;
    }

    /// This object as `YObject`, else as `YPlug::IQuery`.
    IObject* IQuery(unsigned long interfaceId, int subId = 0) override;
    /// Ends the object, see `TearDown` and `IObject::Destroy`.
    void Destroy(int isLocal = 0) override;
    ~YObject() override;

    /// The name of the object, of which there may be many alike. Never null.
    const char* GetObjectName() const { return mObjectName.Buffer(); }
    /// \return  false, with the name as it was, when memory runs out.
    bool SetObjectName(const char* name) { return mObjectName.Set(name); }

    // --- Properties --------------------------------------------------------------------------------------

    /// A property of the object by name, without regard to the case of ASCII letters; null when it has none.
    virtual YProperty* FastFindPropertyByName(const char* name);

    /// All properties: those described by the classes of the object, from `YObject` to its own, then those
    /// that were added to the list. A class that describes a property of a name that an ancestor has
    /// described too replaces the ancestor's, at its own place.
    ///
    /// The list is made when it is first asked for; where memory runs out, properties are missing from it.
    /// Its properties live as long as the object.
    YPropertyList& GetPropertyList();

    /// Sets every property that a class itself describes, not its ancestors, to the default. Properties that
    /// are members take their names and descriptions here, so a constructor of their class has to call this.
    void ResetProperties(const YClassDefinition& definition);

  protected:
    // The steps of an object's end. Each is called once, in this order, before the destructor; here they do
    // nothing, and an override calls that of its parent last.

    /// Leaves the lists and services of the host that know the object; it is whole still.
    virtual void DetachSystem() {}
    /// Ends what other objects hold of this one.
    virtual void PrepareDestruct() {}
    /// Lets go of what this object holds.
    virtual void Destruct() {}
    /// Gives back what is left: maps, handles, storage outside the heap.
    virtual void Unmap() {}

    /// Goes through the steps unless that has been done or is being done. `Destroy` does it. A class that
    /// overrides a step calls it at the start of its destructor, since objects that are automatic or members
    /// end without `Destroy`, and a parent's destructor no longer reaches the overrides.
    void TearDown();

  private:
    YString mObjectName;
    YPropertyList mPropertyList;
    bool mTornDown = false;
};

/// Makes an object of a class with a default constructor, for `YClassOptions::create`.
/// \return  null when memory runs out.
template<class T>
YObject* YCreateObject()
{
    try {
        return new T;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
