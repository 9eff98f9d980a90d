#include "ybaselib/yglobalnamedevent.h"

#include <exception>
#include <mutex>

#include "ybaselib/core/standardlibrary.h"

// The registered events in order of registration, as a list that runs through the events themselves: it
// needs neither construction nor destruction, so it is there before the first static initialiser and after
// the last static destructor.
struct YGlobalNamedEvent::Registry
{
    // Where a call of `Raise` stands; calls may nest. Unregistering moves it on.
    struct Walk
    {
        YGlobalNamedEvent* next;
        Walk* outer;

        Walk() : next(first), outer(innermostWalk) { innermostWalk = this; }
        ~Walk() { innermostWalk = outer; }
        Walk(const Walk&) = delete;
        Walk& operator=(const Walk&) = delete;
    };

    static YBASE_CONSTINIT_MUTEX std::recursive_mutex mutex;  // callbacks may use events too
    static constinit YGlobalNamedEvent* first;
    static constinit YGlobalNamedEvent* last;
    static constinit Walk* innermostWalk;
    static constinit std::uint64_t nextSequence;
};

YBASE_CONSTINIT_MUTEX std::recursive_mutex YGlobalNamedEvent::Registry::mutex;
constinit YGlobalNamedEvent* YGlobalNamedEvent::Registry::first = nullptr;
constinit YGlobalNamedEvent* YGlobalNamedEvent::Registry::last = nullptr;
constinit YGlobalNamedEvent::Registry::Walk* YGlobalNamedEvent::Registry::innermostWalk = nullptr;
constinit std::uint64_t YGlobalNamedEvent::Registry::nextSequence = 0;

YGlobalNamedEvent::~YGlobalNamedEvent()
{
    Unregister();
}

bool YGlobalNamedEvent::Register(const char* name, Callback callback, void* object)
{
    Unregister();
    if (name == nullptr || callback == nullptr) return false;
    try {
        mName = name;
    } catch (const std::exception&) {
        return false;
    }
    const std::lock_guard lock(Registry::mutex);
    mCallback = callback;
    mObject = object;
    mSequence = Registry::nextSequence++;
    mPrevious = Registry::last;
    YGlobalNamedEvent*& link = mPrevious != nullptr ? mPrevious->mNext : Registry::first;
    link = this;
    Registry::last = this;
    return true;
}

void YGlobalNamedEvent::Unregister()
{
    if (!IsRegistered()) return;
    const std::lock_guard lock(Registry::mutex);
    for (Registry::Walk* walk = Registry::innermostWalk; walk != nullptr; walk = walk->outer)
        if (walk->next == this) walk->next = mNext;
    YGlobalNamedEvent*& linkToThis = mPrevious != nullptr ? mPrevious->mNext : Registry::first;
    YGlobalNamedEvent*& linkBack = mNext != nullptr ? mNext->mPrevious : Registry::last;
    linkToThis = mNext;
    linkBack = mPrevious;
    mPrevious = mNext = nullptr;
    mCallback = nullptr;
}

void YGlobalNamedEvent::Raise(const char* name)
{
    if (name == nullptr) return;
    const std::lock_guard lock(Registry::mutex);
    const std::uint64_t end = Registry::nextSequence;
    Registry::Walk walk;
    while (walk.next != nullptr && walk.next->mSequence < end) {
        const YGlobalNamedEvent& event = *walk.next;
        walk.next = event.mNext;
        if (event.mName == name) event.mCallback(name, event.mObject);
    }
}
