#include <gtest/gtest.h>

#include <string>

#include "ybaselib/yobject.h"

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
    YClassRegistry::Unregister(Pump::StaticClass());
    YClassRegistry::Unregister(Pump::StaticClass());
    EXPECT_EQ(YClassRegistry::Find("Pump"), nullptr);
    EXPECT_EQ(YClassRegistry::Find(id), nullptr);
    EXPECT_TRUE(YClassRegistry::Register(impostor));  // the last in the list was taken out
    EXPECT_NE(impostor.GetId(), id);
    YClassRegistry::Unregister(impostor);
}

TEST(ClassDefinition, AnswersForTheObjectsOfItsClass)
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
    EXPECT_EQ(steps, "dpDu~");
    EXPECT_EQ(reference.Get(), nullptr);
    steps.clear();
    {
        Machine machine;
        machine.Destroy(1);
        EXPECT_EQ(steps, "dpDu");
    }
    EXPECT_EQ(steps, "dpDu~");
    steps.clear();
    {
        Machine machine;
    }
    EXPECT_EQ(steps, "dpDu~");
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

}  // namespace
