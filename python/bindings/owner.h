#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include <pybind11/pybind11.h>

#include "ybaselib/yspobjectholder.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"
#include "yfcurve/yfcurveundo.h"
#include "ymotion/ymotion.h"

/// \file
/// How Python holds scenes, trees and curves, so that nothing that it does can reach what is gone or what
/// another thread is working on.
///
/// An `Owner` is what keeps objects alive: a scene, a tree of nodes or a single curve. What Python has of a
/// node or a curve is a `Part`: the owner, and a weak reference that reads null once the object is removed
/// from it.
///
/// The interpreter's lock is let go in everything that takes long, so owners have a lock of their own. Every
/// use of an owner or of its parts is between the two ends of a `Use`.

namespace yfpy {

namespace py = pybind11;

/// Sets a Python exception of the module `yfcurve.errors` and throws it. The interpreter's lock has to be
/// held.
[[noreturn]] void Raise(const char* type, const std::string& message);
/// The same for what the last call to a scene failed with.
/// \param type  of what is no fault of the request: "FormatError"
[[noreturn]] void RaiseErrorOf(const YMotion& motion, const char* type);

class Owner
{
  public:
    explicit Owner(YMotion scene) : mScene(std::make_unique<YMotion>(std::move(scene))) {}
    explicit Owner(YFCurveNodePtr tree) : mTree(std::move(tree)) {}
    explicit Owner(YFCurvePtr curve) : mCurve(std::move(curve)) {}
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;

    /// Null for a tree or a curve on its own.
    YMotion* Scene() const { return mScene.get(); }
    /// The top of the scene or of the tree; null for a curve on its own.
    YFCurveNode* Root() const { return mScene != nullptr ? mScene->GetRoot() : mTree.get(); }

    /// Counts edits: what was derived from an owner is up to date as long as this is the same.
    std::uint64_t EditCount() const { return mEdits; }

    /// Remembers edits from here on, if it does not yet. For a scene, within a `Use`.
    void Remember();
    /// Null where edits are not remembered.
    YFCurveUndo* History() const { return mHistory.get(); }
    /// Forgets all edits, and watches the tree as it is now: for what makes the tree anew, and what ends
    /// layers, to which steps would lead back. Not within a step, see `Use::RefuseWithinStep`.
    void RenewHistory();
    /// Closes a step of the history, which has to be there.
    void EndStep();
    /// Says that nodes were added, which are watched from the end of the step on.
    void NoteNewNodes() { mHasNewNodes = true; }

    /// A number that no other node ever has, also not one that comes to lie in the same place later. Within a
    /// `Use`.
    std::uint64_t SerialOf(YFCurveNode& node);

    /// Takes over the reference of a part that is gone. References are counted without a lock, so it is let
    /// go when the owner is used next. Needs no lock, and none of the interpreter.
    void Bury(YSpReference reference);

  private:
    friend class Use;

    void Lock();
    void Unlock();
    void BeginUse();

    std::unique_ptr<YMotion> mScene;
    YFCurveNodePtr mTree;
    YFCurvePtr mCurve;
    /// Ends before what it watches.
    std::unique_ptr<YFCurveUndo> mHistory;
    bool mHasNewNodes = false;
    std::uint64_t mEdits = 0;
    std::unordered_map<const YFCurveNode*, std::pair<YSpReference, std::uint64_t>> mSerials;

  public:
    /// What was derived from the owner as a whole, and the count of edits then. Ends before what it stands
    /// on.
    std::shared_ptr<void> cache;
    std::uint64_t cacheEdits = 0;

  private:
    std::mutex mMutex;
    std::atomic<std::thread::id> mUser{};
    std::mutex mGraveMutex;
    std::vector<YSpReference> mGrave;
};

enum class Purpose
{
    Read,
    Edit,
    Return  ///< an edit that goes along the steps of the history, and is none of them
};

/// Has an owner for one thread from here to the end of the scope, waiting for it without the interpreter's
/// lock. The interpreter's lock is held before and after. Raises `yfcurve.Busy` where the thread has it
/// already, as in a progress function, and where waiting could take for ever. An edit is a step of the
/// history, or part of an open one.
class Use
{
  public:
    /// \param step  the name of the edit as a step of the history
    explicit Use(Owner& owner, Purpose purpose = Purpose::Read, const std::string& step = {});
    /// Two at once, which may be one and the same.
    Use(Owner& first, Owner& second, Purpose purposeOfFirst, const std::string& step = {});
    ~Use();
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

    /// For edits that end the history. Raises `yfcurve.Refused` within an open step, which would end with it.
    void RefuseWithinStep() const;

  private:
    void Begin(Purpose purpose, const std::string& step);

    Owner* mFirst;
    Owner* mSecond = nullptr;
    bool mIsStep = false;
    bool mIsPartOfStep = false;
};

inline std::uint64_t IdentityOf(Owner&, const YFCurve& curve)
{
    return curve.GetSerial();
}

inline std::uint64_t IdentityOf(Owner& owner, YFCurveNode& node)
{
    return owner.SerialOf(node);
}

/// A node or a curve of an owner.
template<class T>
class Part
{
  public:
    /// Within a `Use` of the owner.
    Part(std::shared_ptr<Owner> owner, T& object)
        : mOwner(std::move(owner)),
          mObject(&object),
          mReference(object.GetSpHolder()),
          mIdentity(IdentityOf(*mOwner, object))
    {
        if (!mReference.IsAlive()) throw std::bad_alloc();
    }
    ~Part() { mOwner->Bury(std::move(mReference)); }
    Part(const Part&) = delete;
    Part& operator=(const Part&) = delete;

    const std::shared_ptr<Owner>& Of() const { return mOwner; }
    /// Within a `Use` of the owner. Raises `yfcurve.Gone` when it was removed.
    T& Get() const
    {
        if (!mReference.IsAlive()) Raise("Gone", "it was removed from its scene; get it from there anew");
        return *mObject;
    }
    bool IsAlive() const { return mReference.IsAlive(); }
    /// Tells one from another, also of objects that are gone.
    std::uint64_t Identity() const { return mIdentity; }

  private:
    std::shared_ptr<Owner> mOwner;
    T* mObject;
    YSpReference mReference;
    std::uint64_t mIdentity;
};

using CurvePart = Part<YFCurve>;
using NodePart = Part<YFCurveNode>;
using CurvePartPtr = std::shared_ptr<CurvePart>;
using NodePartPtr = std::shared_ptr<NodePart>;
using OwnerPtr = std::shared_ptr<Owner>;

/// What `act` gives of the object, with the owner locked.
template<class T, class Act>
auto Reading(const Part<T>& part, const Act& act)
{
    const Use use(*part.Of());
    return act(part.Get());
}

template<class T, class Act>
auto Editing(const Part<T>& part, const Act& act)
{
    const Use use(*part.Of(), Purpose::Edit);
    return act(part.Get());
}

/// Lets the interpreter's lock go until the end of the scope. A thread that wants it back when the
/// interpreter has begun to end waits for ever in place of that: Python would end the thread in the middle of
/// C++ code.
class WithoutLock
{
  public:
    enum class Purpose
    {
        Work,
        Wait  ///< for an owner, with nothing in hand: the end of the interpreter does not wait for such a thread
    };

    explicit WithoutLock(Purpose purpose = Purpose::Work);
    ~WithoutLock();
    WithoutLock(const WithoutLock&) = delete;
    WithoutLock& operator=(const WithoutLock&) = delete;

    /// Threads that work so. The interpreter's lock has to be held.
    static int Count();
    /// To be called before the lock is taken within such a scope, for a call of Python.
    static void StayAtExit();
    /// At the exit of the interpreter: gives such threads time to come to a place where they can stay.
    static void BeginExit();

  private:
    Purpose mPurpose;
    PyThreadState* mState;
};

/// Stops what a scene does on this thread where a signal handler of Python raises something, such as
/// `KeyboardInterrupt`. That is left as Python's error, which `RaiseErrorOf` raises. For the time without the
/// interpreter's lock.
class SignalsStop
{
  private:
    /// Looks for signals, with the interpreter's lock.
    static bool GoesOn(void* object);

    /// In milliseconds: other threads run Python, and have to wait for the lock each time.
    static constexpr int kBetweenLooks = 100;
    YMotionStopping mStopping{GoesOn, nullptr, kBetweenLooks};
};

/// What `act` gives, without the interpreter's lock. For work within a `Use`.
template<class Act>
auto WithoutInterpreter(const Act& act)
{
    const WithoutLock without;
    const SignalsStop signals;
    return act();
}

/// Raises what a signal handler of Python raises, such as `KeyboardInterrupt`. Without the interpreter's
/// lock.
void CheckSignals();

/// A text that a scene holds: UTF-8, but for files in other encodings, whose bytes pass through Python
/// unharmed.
struct Text
{
    std::string bytes;
};

/// The names from below the top down to a node, with slashes between them.
Text PathOf(const YFCurveNode& node);

std::vector<std::string> BytesOf(const std::vector<Text>& texts);
std::vector<Text> TextsOf(const std::vector<std::string>& texts);

/// What chooses nodes: patterns, and nodes, which mean themselves alone.
using Choices = std::vector<std::variant<Text, NodePartPtr>>;

/// Choices as scenes take them, within a `Use` of the owner. A node on a layer stands for the property that it
/// belongs to. Raises `yfcurve.Refused` for nodes of other owners.
std::vector<std::string> PatternsOf(const Owner& owner, const Choices& choices);

}  // namespace yfpy

template<>
struct pybind11::detail::type_caster<yfpy::Text>
{
    PYBIND11_TYPE_CASTER(yfpy::Text, const_name("str"));

    bool load(handle source, bool)
    {
        if (!PyUnicode_Check(source.ptr())) return false;
        const object encoded =
            reinterpret_steal<object>(PyUnicode_AsEncodedString(source.ptr(), "utf-8", "surrogateescape"));
        if (!encoded) throw error_already_set();
        value.bytes.assign(PyBytes_AS_STRING(encoded.ptr()),
                           static_cast<std::size_t>(PyBytes_GET_SIZE(encoded.ptr())));
        if (value.bytes.find('\0') != std::string::npos) throw value_error("embedded null character");
        return true;
    }

    static handle cast(const yfpy::Text& text, return_value_policy, handle)
    {
        return PyUnicode_DecodeUTF8(text.bytes.data(), static_cast<Py_ssize_t>(text.bytes.size()),
                                    "surrogateescape");
    }
};
