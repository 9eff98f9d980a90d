#pragma once

#include <cstdint>
#include <string>

#include "ybaselib/yexport.h"

/// \file
/// Events of the whole process, known by name.

/// Calls a function when an event of a given name is raised anywhere in the process; "FileNew", for
/// instance, is raised by a host that starts a new scene.
///
/// Objects may be static: registering works before `main`, and unregistering and raising while the
/// process exits. Any thread may register, unregister and raise. Threads take turns: while one raises an
/// event, others that do any of this wait until its callbacks have returned. So once `Unregister` returns,
/// no other thread is in the callback any more, and a callback must not wait for a thread that uses events.
class YBASELIB_EXPORT YGlobalNamedEvent
{
  public:
    /// \param eventName  the name that was raised.
    /// \param object     what was given to `Register`.
    using Callback = void (*)(const char* eventName, void* object);

    YGlobalNamedEvent() = default;

    /// Unregisters.
    ~YGlobalNamedEvent();

    YGlobalNamedEvent(const YGlobalNamedEvent&) = delete;
    YGlobalNamedEvent& operator=(const YGlobalNamedEvent&) = delete;

    /// Has `callback` called with `object` from now on, whenever the event is raised; replaces what was
    /// registered before. Names are compared exactly, and the name is copied.
    /// \return  false, with nothing registered, when the name or the callback is null or memory has run
    ///          out.
    bool Register(const char* name, Callback callback, void* object);

    /// Ends it; nothing happens when nothing is registered.
    void Unregister();

    bool IsRegistered() const { return mCallback != nullptr; }

    /// Calls every callback registered for the name, in the order of registration.
    ///
    /// Callbacks may register, unregister, destroy objects of this class (their own included) and raise
    /// events. One that was unregistered before its turn is not called; one that was registered during
    /// the call is called from the next on. A null name raises nothing.
    static void Raise(const char* name);

  private:
    struct Registry;

    std::string mName;
    Callback mCallback = nullptr;  // null while not registered
    void* mObject = nullptr;
    std::uint64_t mSequence = 0;
    YGlobalNamedEvent* mPrevious = nullptr;
    YGlobalNamedEvent* mNext = nullptr;
};
