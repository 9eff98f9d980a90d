#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "ybaselib/iobject.h"
#include "ybaselib/yspobjectholder.h"

namespace {

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
    EXPECT_EQ(thing->GetSpHolder()->GetOwner(), thing);
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
