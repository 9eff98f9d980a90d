#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "ybaselib/iobject.h"
#include "ybaselib/yobject.h"
#include "ybaselib/yspobjectholder.h"

namespace {

std::string steps;

class Machine : public YObject
{
  public:
    static YClassDefinition& StaticClass()
    {
        static constinit YClassDefinition definition(
            "Machine", &YObject::StaticClass,
            {.summary = "a machine", .create = &YCreateObject<Machine>, .group = "Machines"});
        return definition;
    }
    YClassDefinition* GetClassDefinition() const override { return &StaticClass(); }

    ~Machine() override
    {
        TearDown();
        steps += "~";
    }

  protected:
    void DetachSystem() override { steps += "d"; }
    void PrepareDestruct() override { steps += "p"; }
    void Destruct() override
    {
        steps += "D";
        Destroy(1);  // someone ends it again meanwhile
    }
    void Unmap() override { steps += "u"; }
};

class Pump : public Machine
{
  public:
    static YClassDefinition& StaticClass()
    {
        static constinit YClassDefinition definition("Pump", &Machine::StaticClass, {});
        return definition;
    }
    YClassDefinition* GetClassDefinition() const override { return &StaticClass(); }
};

TEST(ClassRegistry, FindsRegisteredClassesAndTheirAncestors)
{
    EXPECT_EQ(YClassRegistry::Find("YObject"), &YObject::StaticClass());
    EXPECT_EQ(YClassRegistry::Find("Pump"), nullptr);
    EXPECT_TRUE(YClassRegistry::Register(Pump::StaticClass()));
    EXPECT_TRUE(YClassRegistry::Register(Pump::StaticClass()));
    EXPECT_EQ(YClassRegistry::Find("Machine"), &Machine::StaticClass());
    EXPECT_EQ(YClassRegistry::Find(Pump::StaticClass().GetId()), &Pump::StaticClass());
    EXPECT_EQ(YClassRegistry::Find("pump"), nullptr);
    EXPECT_EQ(YClassRegistry::Find(nullptr), nullptr);
    EXPECT_EQ(YClassRegistry::Find(0), nullptr);

    static constinit YClassDefinition impostor("Pump", &YObject::StaticClass, {});
    EXPECT_FALSE(YClassRegistry::Register(impostor));
    EXPECT_EQ(impostor.GetId(), 0);
    EXPECT_FALSE(impostor.Is(0));
    EXPECT_TRUE(impostor.Is(YObject::StaticClass().GetId()));

    int machines = 0;
    for (const YClassDefinition* c = YClassRegistry::GetFirst(); c != nullptr;
         c = YClassRegistry::GetNext(*c))
        machines += c->IsDerivedFrom(Machine::StaticClass()) ? 1 : 0;
    EXPECT_EQ(machines, 2);

    const int id = Pump::StaticClass().GetId();
    for (int i = 0; i < 2; ++i) YClassRegistry::Unregister(Pump::StaticClass());
    EXPECT_EQ(YClassRegistry::Find("Pump"), nullptr);
    EXPECT_EQ(YClassRegistry::Find(id), nullptr);
    EXPECT_TRUE(YClassRegistry::Register(impostor));  // the last in the list was taken out
    EXPECT_NE(impostor.GetId(), id);
    YClassRegistry::Unregister(impostor);
}

TEST(ClassDefinition, DescribesTheObjectsOfItsClass)
{
    Pump pump;
    YObject& object = pump;
    EXPECT_STREQ(object.GetClassIdName(), "Pump");
    EXPECT_EQ(object.GetClassId(), Pump::StaticClass().GetId());
    for (YClassDefinition* ancestor :
         {&Pump::StaticClass(), &Machine::StaticClass(), &YObject::StaticClass(), &YPlug::StaticClass()})
        EXPECT_TRUE(object.Is(ancestor->GetId())) << ancestor->GetName();
    EXPECT_FALSE(YObject().Is(Pump::StaticClass().GetId()));
    EXPECT_STREQ(object.GetClassGroupName(), "Machines");
    EXPECT_EQ(object.GetClassGroupId(), Machine::StaticClass().GetId());
    EXPECT_STREQ(YObject().GetClassGroupName(), "Object");
    EXPECT_EQ(Pump::StaticClass().CreateObject(), nullptr);
    YObject* machine = Machine::StaticClass().CreateObject();
    EXPECT_EQ(machine->GetClassDefinition(), &Machine::StaticClass());
    EXPECT_EQ(YQueryInterface<YObject>(static_cast<IObject*>(machine)), machine);
    machine->Destroy();
}

TEST(Object, EndsInStepsOnce)
{
    steps.clear();
    YObject* object = new Machine;
    YSpObject<YObject> reference(object);
    object->Destroy();
    EXPECT_EQ(std::exchange(steps, {}), "dpDu~");
    EXPECT_EQ(reference.Get(), nullptr);
    for (const bool endsEarly : {true, false}) {
        {
            Machine machine;
            if (endsEarly) machine.Destroy(1);
            EXPECT_EQ(steps, endsEarly ? "dpDu" : "");
        }
        EXPECT_EQ(std::exchange(steps, {}), "dpDu~");
    }
}

TEST(Object, ACopyHasTheNameAndReferencesOfItsOwn)
{
    YObject original("left");
    YSpObject<YObject> reference(&original);
    {
        YObject copy(original);
        EXPECT_STREQ(copy.GetObjectName(), "left");
        copy.SetObjectName(nullptr);
        copy = original;
        EXPECT_STREQ(copy.GetObjectName(), "left");
    }
    EXPECT_EQ(reference.Get(), &original);
}

// --- Interfaces ----------------------------------------------------------------------------------------

class INamed : public IObject
{
  public:
    static constexpr unsigned long InterfaceId = 4711;
    virtual const char* GetName() = 0;

  protected:
    ~INamed() = default;
};

// An object with two interfaces, each with an IObject of its own.
class Thing : public ISpObjectHolder, public INamed
{
  public:
    static constexpr unsigned long InterfaceId = YInterfaceId("Thing");

    explicit Thing(int* destroyed) : mDestroyed(destroyed), mSpHolder(this) {}
    virtual ~Thing() { ++*mDestroyed; }

    IObject* IQuery(unsigned long interfaceId, int) override
    {
        if (interfaceId == INamed::InterfaceId) return static_cast<INamed*>(this);
        const bool isMine = interfaceId == InterfaceId || interfaceId == ISpObjectHolder::InterfaceId ||
                            interfaceId == IObject::InterfaceId;
        return isMine ? static_cast<ISpObjectHolder*>(this) : nullptr;
    }
    void Destroy(int isLocal) override
    {
        if (isLocal == 0) delete this;
    }
    YSpObjectHolder* GetSpHolder() override { return &mSpHolder; }
    const char* GetName() override { return "thing"; }

  private:
    int* mDestroyed;
    YSpObjectHolder mSpHolder;
};

static_assert(sizeof(YSpObjectHolder) == sizeof(void*));
// The published test values of 32-bit FNV-1a.
static_assert(YInterfaceId("") == 0x811C9DC5ul && YInterfaceId("a") == 0xE40C292Cul);
static_assert(YInterfaceId("foobar") == 0xBF9CF968ul);

TEST(Object, QueriesReachTheRightBase)
{
    int destroyed = 0;
    Thing thing(&destroyed);
    ISpObjectHolder* object = &thing;
    INamed* named = YQueryInterface<INamed>(object);
    ASSERT_NE(named, nullptr);
    EXPECT_STREQ(named->GetName(), "thing");
    EXPECT_EQ(YQueryInterface<ISpObjectHolder>(named), object);
    EXPECT_EQ(object->IQuery(12345), nullptr);
    EXPECT_EQ(YQueryInterface<INamed>(nullptr), nullptr);
    object->Destroy(1);
    EXPECT_EQ(destroyed, 0);
}

TEST(SpObject, ReadsNullOnceTheObjectIsGone)
{
    int destroyed = 0;
    auto* thing = new Thing(&destroyed);
    EXPECT_EQ(thing->GetSpHolder()->GetOwner(), thing);
    YSpObject<Thing> first(thing);
    YSpObject<Thing> second = first;
    const YSpObject<Thing> third = std::move(second);
    second = third;
    EXPECT_TRUE(first == thing && second == first && third->GetName() == thing->GetName());
    first.Reset();
    EXPECT_FALSE(first);

    static_cast<ISpObjectHolder*>(thing)->Destroy();
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(second.Get(), nullptr);
    EXPECT_FALSE(third);
    EXPECT_EQ(first, third);
}

TEST(SpObject, ReferencesMayGoFirst)
{
    int destroyed = 0;
    Thing thing(&destroyed);
    for (int i = 0; i < 3; ++i) {
        YSpObject<Thing> reference(&thing);
        reference = YSpObject<Thing>(&thing);
        EXPECT_EQ(reference.Get(), &thing);
    }
    EXPECT_EQ(YSpObject<Thing>(nullptr).Get(), nullptr);
}

}  // namespace
