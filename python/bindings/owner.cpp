#include "python/bindings/owner.h"

#include <chrono>

namespace yfpy {
namespace {

/// How many owners the thread is using.
thread_local int usesOfThread = 0;

/// Threads that work without the interpreter's lock, and have not come to stay.
std::atomic<int> threadsWithoutLock = 0;
/// The one that ends the interpreter; none before that.
std::atomic<std::thread::id> endingThread{};

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
        case YMotion::eErrorUnmatched:
            Raise("NotFound", error.GetLastErrorString());
        case YMotion::eErrorStopped:
            if (PyErr_Occurred() != nullptr) throw py::error_already_set();
            Raise("Stopped", error.GetLastErrorString());
        default:
            Raise(type, error.GetLastErrorString());
    }
}

WithoutLock::WithoutLock(Purpose purpose) : mPurpose(purpose)
{
    if (purpose == Purpose::Work) ++threadsWithoutLock;
    mState = PyEval_SaveThread();
}

WithoutLock::~WithoutLock()
{
    // From here the exit waits for this thread. Either it sees the count, or this thread sees that it has begun.
    if (mPurpose == Purpose::Wait) ++threadsWithoutLock;
    StayAtExit();
    PyEval_RestoreThread(mState);
    --threadsWithoutLock;
}

int WithoutLock::Count()
{
    return threadsWithoutLock;
}

void WithoutLock::StayAtExit()
{
    const std::thread::id ending = endingThread;
    if (ending == std::thread::id() || ending == std::this_thread::get_id()) return;
    --threadsWithoutLock;
    for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
}

void WithoutLock::BeginExit()
{
    endingThread = std::this_thread::get_id();
    // Threads that wait for the lock right now get it; long work without a progress function is not waited for.
    const py::gil_scoped_release release;
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (threadsWithoutLock > 0 && std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void Owner::Remember()
{
    if (mHistory != nullptr) return;
    auto history = std::make_unique<YFCurveUndo>();
    if (!history->Watch(Root())) throw std::bad_alloc();
    mHistory = std::move(history);
}

void Owner::RenewHistory()
{
    if (mHistory == nullptr) return;
    mHistory->Forget();
    mHasNewNodes = !mHistory->Watch(Root());
}

void Owner::EndStep()
{
    mHistory->StepEnd();
    if (mHasNewNodes && !mHistory->IsStepOpen()) mHasNewNodes = !mHistory->Watch(Root());
}

std::uint64_t Owner::SerialOf(YFCurveNode& node)
{
    static std::atomic<std::uint64_t> last = 0;
    auto& [reference, serial] = mSerials[&node];
    if (!reference.IsAlive()) {
        reference = YSpReference(node.GetSpHolder());
        serial = ++last;
    }
    return serial;
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
    // At the exit, the thread that has it may stay for ever.
    if (usesOfThread > 0 || endingThread.load() == std::this_thread::get_id()) RaiseBusy();
    const WithoutLock without(WithoutLock::Purpose::Wait);
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

Use::Use(Owner& owner, Purpose purpose, const std::string& step) : mFirst(&owner)
{
    owner.Lock();
    owner.BeginUse();
    Begin(purpose, step);
}

Use::Use(Owner& first, Owner& second, Purpose purposeOfFirst, const std::string& step) : mFirst(&first)
{
    if (&first == &second) {
        first.Lock();
    } else {
        mSecond = &second;
        if (usesOfThread > 0) RaiseBusy();
        const WithoutLock without(WithoutLock::Purpose::Wait);
        std::lock(first.mMutex, second.mMutex);
    }
    first.BeginUse();
    if (mSecond != nullptr) mSecond->BeginUse();
    Begin(purposeOfFirst, step);
}

void Use::Begin(Purpose purpose, const std::string& step)
{
    if (purpose == Purpose::Read) return;
    ++mFirst->mEdits;
    mIsStep = purpose == Purpose::Edit && mFirst->mHistory != nullptr;
    if (!mIsStep) return;
    mIsPartOfStep = mFirst->mHistory->IsStepOpen();
    mFirst->mHistory->StepBegin(step.c_str());
}

void Use::RefuseWithinStep() const
{
    if (mIsPartOfStep)
        Raise("Refused", "a step is open, and this ends the history; do it before or after the step");
}

Use::~Use()
{
    if (mIsStep) mFirst->EndStep();
    if (mSecond != nullptr) mSecond->Unlock();
    mFirst->Unlock();
}

bool SignalsStop::GoesOn(void*)
{
    WithoutLock::StayAtExit();
    const py::gil_scoped_acquire acquire;
    return PyErr_CheckSignals() == 0;
}

void CheckSignals()
{
    WithoutLock::StayAtExit();
    const py::gil_scoped_acquire acquire;
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
}

Text PathOf(const YFCurveNode& node)
{
    std::string path;
    for (const YFCurveNode* at = &node; at->GetParent() != nullptr; at = at->GetParent())
        path = path.empty() ? at->GetName() : std::string(at->GetName()) + "/" + path;
    return {path};
}

std::vector<std::string> BytesOf(const std::vector<Text>& texts)
{
    std::vector<std::string> bytes;
    for (const Text& text : texts) bytes.push_back(text.bytes);
    return bytes;
}

std::vector<std::string> PatternsOf(const Owner& owner, const Choices& choices)
{
    std::vector<std::string> patterns;
    for (const auto& choice : choices) {
        if (const Text* text = std::get_if<Text>(&choice)) {
            patterns.push_back(text->bytes);
            continue;
        }
        const NodePart& part = *std::get<NodePartPtr>(choice);
        if (part.Of().get() != &owner) Raise("Refused", "the node belongs to another scene; give its path");
        patterns.push_back(YMotion::GetPattern(part.Get()));
    }
    return patterns;
}

std::vector<Text> TextsOf(const std::vector<std::string>& texts)
{
    std::vector<Text> list;
    for (const std::string& text : texts) list.push_back({text});
    return list;
}

}  // namespace yfpy
