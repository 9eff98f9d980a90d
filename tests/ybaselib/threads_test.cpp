// Meant for the thread sanitizer: what a process has one of, used by several threads.

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>

#include "tests/test_environment.h"
#include "ybaselib/ydatatype.h"
#include "ybaselib/yglobalnamedevent.h"
#include "ybaselib/yobject.h"

namespace {

std::atomic<int> gCalls;

}  // namespace

// Once an event is unregistered, what it was to call may end.
TEST(Threads, RegisterAndRaiseEvents)
{
    gCalls = 0;
    test::InThreads(4, [](int) {
        for (int i = 0; i < 200; ++i) {
            auto alive = std::make_unique<int>(1);
            YGlobalNamedEvent event;
            event.Register(
                "ThreadsEvent", [](const char*, void* object) { gCalls += *static_cast<int*>(object); },
                alive.get());
            YGlobalNamedEvent::Raise("ThreadsEvent");
            event.Unregister();
        }
    });
    EXPECT_GE(gCalls, 800);
}

TEST(Threads, RegisterTypesAndClassesAndLookThemUp)
{
    test::InThreads(4, [](int which) {
        static constinit YClassDefinition definition("ThreadsClass", &YObject::StaticClass, {});
        for (int i = 0; i < 100; ++i) {
            const std::string own = "ThreadsType" + std::to_string(which) + "." + std::to_string(i);
            const std::string common = "ThreadsType" + std::to_string(i);
            YDataType* const type = YDataType::Register(own.c_str(), eDataKind::Double, 1);
            EXPECT_EQ(YDataType::Find(own.c_str()), type);
            YDataType* const one = YDataType::Register(common.c_str(), eDataKind::Double, 1);
            EXPECT_TRUE(one != nullptr && YDataType::Find(common.c_str()) == one);
            EXPECT_TRUE(YClassRegistry::Register(definition));
            int found = 0;
            for (const YClassDefinition* next = YClassRegistry::GetFirst(); next != nullptr;
                 next = YClassRegistry::GetNext(*next)) {
                found += next == &definition ? 1 : 0;
            }
            EXPECT_EQ(found, 1);
        }
    });
    EXPECT_STREQ(YClassRegistry::Find("ThreadsClass")->GetName(), "ThreadsClass");
}
