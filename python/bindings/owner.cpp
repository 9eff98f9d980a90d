#include "python/bindings/owner.h"

namespace yfpy {
namespace {

/// How many owners the thread is using.
thread_local int usesOfThread = 0;

[[noreturn]] void RaiseBusy()
{
    Raise("Busy", "it is being worked on; wait until that is done, or work on a copy");
}

}  // namespace

void Raise(const char* type, const std::string& message)
{
    const py::object exception = py::module_::import("yfcurve.errors").attr(type);
    const py::object text = py::cast(Text{message});
    PyErr_SetObject(exception.ptr(), exception(text).ptr());
    throw py::error_already_set();
}

void RaiseErrorOf(const YMotion& motion, const char* type)
{
    const YError& error = motion.GetError();
    switch (error.GetLastErrorID()) {
        case YMotion::eErrorMemory:
            throw std::bad_alloc();
        case YMotion::eErrorRequest:
            Raise("Refused", error.GetLastErrorString());
        case YMotion::eErrorStopped:
            Raise("Stopped", error.GetLastErrorString());
        default:
            Raise(type, error.GetLastErrorString());
    }
}

void Owner::Bury(YSpReference reference)
{
    const std::lock_guard lock(mGraveMutex);
    mGrave.push_back(std::move(reference));
}

void Owner::Lock()
{
    if (mUser == std::this_thread::get_id()) RaiseBusy();
    if (mMutex.try_lock()) return;
    if (usesOfThread > 0) RaiseBusy();
    const py::gil_scoped_release release;
    mMutex.lock();
}

void Owner::BeginUse()
{
    mUser = std::this_thread::get_id();
    ++usesOfThread;
    std::vector<YSpReference> buried;
    const std::lock_guard lock(mGraveMutex);
    buried.swap(mGrave);
}

void Owner::Unlock()
{
    --usesOfThread;
    mUser = std::thread::id();
    mMutex.unlock();
}

Use::Use(Owner& owner, Purpose purpose) : mFirst(&owner)
{
    owner.Lock();
    owner.BeginUse();
    if (purpose == Purpose::Edit) ++owner.mEdits;
}

Use::Use(Owner& first, Owner& second, Purpose purposeOfFirst) : mFirst(&first)
{
    if (&first == &second) {
        first.Lock();
    } else {
        mSecond = &second;
        if (usesOfThread > 0) RaiseBusy();
        const py::gil_scoped_release release;
        std::lock(first.mMutex, second.mMutex);
    }
    first.BeginUse();
    if (mSecond != nullptr) mSecond->BeginUse();
    if (purposeOfFirst == Purpose::Edit) ++first.mEdits;
}

Use::~Use()
{
    if (mSecond != nullptr) mSecond->Unlock();
    mFirst->Unlock();
}

void CheckSignals()
{
    const py::gil_scoped_acquire acquire;
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
}

std::vector<std::string> BytesOf(const std::vector<Text>& texts)
{
    std::vector<std::string> bytes;
    for (const Text& text : texts) bytes.push_back(text.bytes);
    return bytes;
}

}  // namespace yfpy
