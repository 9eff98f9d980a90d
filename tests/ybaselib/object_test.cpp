#include <gtest/gtest.h>

#include <string>
#include <utility>

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
    for (const char* name : {"pump", static_cast<const char*>(nullptr)})
        EXPECT_EQ(YClassRegistry::Find(name), nullptr);
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

    for (int i = 0; i < 2; ++i) YClassRegistry::Unregister(Pump::StaticClass());
    EXPECT_EQ(YClassRegistry::Find("Pump"), nullptr);
    EXPECT_TRUE(YClassRegistry::Register(impostor));  // the last in the list was taken out
    EXPECT_EQ(YClassRegistry::Find("Pump"), &impostor);
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
    EXPECT_EQ(Pump::StaticClass().CreateObject(), nullptr);
    YObject* machine = Machine::StaticClass().CreateObject();
    EXPECT_EQ(machine->GetClassDefinition(), &Machine::StaticClass());
    EXPECT_EQ(YQueryInterface<YObject>(static_cast<IObject*>(machine)), machine);
    EXPECT_EQ(machine->IQuery(12345), nullptr);
    EXPECT_EQ(YQueryInterface<YObject>(nullptr), nullptr);
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

static_assert(sizeof(YSpObjectHolder) == sizeof(void*));
// The published test values of 32-bit FNV-1a.
static_assert(YInterfaceId("") == 0x811C9DC5ul && YInterfaceId("a") == 0xE40C292Cul);
static_assert(YInterfaceId("foobar") == 0xBF9CF968ul);

TEST(SpObject, ReadsNullOnceTheObjectIsGone)
{
    auto* machine = new Machine;
    YSpObject<Machine> first(machine);
    EXPECT_EQ(machine->GetSpHolder()->GetOwner(), machine);
    YSpObject<Machine> second = first;
    const YSpObject<Machine> third = std::move(second);
    second = third;
    EXPECT_TRUE(first == machine && second == first && third->Is(machine->GetClassId()));
    first.Reset();
    EXPECT_FALSE(first);
    machine->Destroy();
    EXPECT_EQ(second.Get(), nullptr);
    EXPECT_FALSE(third);
    EXPECT_EQ(first, third);

    // References may go before the object; copies have references of their own.
    Machine remaining;
    for (int i = 0; i < 3; ++i) {
        const Machine copy(remaining);
        YSpObject<Machine> reference(&remaining);
        reference = YSpObject<Machine>(&remaining);
        EXPECT_EQ(reference.Get(), &remaining);
    }
}

}  // namespace
