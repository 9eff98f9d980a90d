#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ybaselib/yglobalnamedevent.h"

namespace {

// Logs its name when called and then does what the test wants.
struct Listener
{
    std::string name;
    std::vector<std::string>* log;
    std::function<void()> action = [] {};
    std::unique_ptr<YGlobalNamedEvent> event = std::make_unique<YGlobalNamedEvent>();

    void Listen(const char* eventName)
    {
        const auto call = [](const char* raised, void* object) {
            auto* listener = static_cast<Listener*>(object);
            listener->log->push_back(listener->name + ':' + raised);
            listener->action();
        };
        event->Register(eventName, call, this);
    }
};

class NamedEvent : public testing::Test
{
  protected:
    std::vector<std::string> RaiseAndLog(const char* name)
    {
        mLog.clear();
        YGlobalNamedEvent::Raise(name);
        return mLog;
    }

    using Log = std::vector<std::string>;
    Log mLog;
    Listener mA{"a", &mLog}, mB{"b", &mLog}, mC{"c", &mLog};
};

TEST_F(NamedEvent, CallsWhoRegisteredForTheNameInOrder)
{
    std::string name = "One";
    mA.Listen(name.c_str());
    name = "xxx";
    mB.Listen("Two");
    mC.Listen("One");
    EXPECT_EQ(RaiseAndLog("One"), (Log{"a:One", "c:One"}));
    mA.Listen("Two");
    EXPECT_EQ(RaiseAndLog("Two"), (Log{"b:Two", "a:Two"}));
    mB.event->Unregister();
    mB.event->Unregister();
    EXPECT_EQ(RaiseAndLog("Two"), (Log{"a:Two"}));
    EXPECT_EQ(RaiseAndLog("two"), Log{});
    EXPECT_EQ(RaiseAndLog(nullptr), Log{});

    EXPECT_FALSE(mA.event->Register("Two", nullptr, nullptr));
    EXPECT_FALSE(mA.event->IsRegistered());
    EXPECT_EQ(RaiseAndLog("Two"), Log{});
}

TEST_F(NamedEvent, ListenersMayGoDuringTheCallAndCallsMayNest)
{
    for (Listener* listener : {&mA, &mB, &mC}) listener->Listen("E");
    mA.action = [this] {
        mA.action = [this] {
            mA.event.reset();
            mB.event.reset();
        };
        YGlobalNamedEvent::Raise("E");
    };
    EXPECT_EQ(RaiseAndLog("E"), (Log{"a:E", "a:E", "c:E", "c:E"}));
    // One that comes during the call waits for the next.
    mB.event = std::make_unique<YGlobalNamedEvent>();
    mC.action = [this] { mB.Listen("E"); };
    EXPECT_EQ(RaiseAndLog("E"), (Log{"c:E"}));
    mC.action = [this] { mC.event.reset(); };
    EXPECT_EQ(RaiseAndLog("E"), (Log{"c:E", "b:E"}));
    EXPECT_EQ(RaiseAndLog("E"), Log{"b:E"});
}

}  // namespace
