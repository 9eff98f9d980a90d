#pragma once

#include <new>
#include <type_traits>
#include <utility>

#include "yfcurve/curve/pool/threadvariable.h"

/// \file
/// The edge at which running out of memory becomes a refusal.
///
/// Public operations call each other. Where one is called from within another, what is thrown goes on to the
/// outer one, which alone can tell what to undo; a host never sees it.

namespace yfc {

/// How many guarded operations are under way on this thread, one inside the other.
YFC_THREAD_VARIABLE extern constinit thread_local int gGuardDepth;

class [[nodiscard]] GuardScope
{
  public:
    GuardScope() { ++gGuardDepth; }
    ~GuardScope() { --gGuardDepth; }
    GuardScope(const GuardScope&) = delete;
    GuardScope& operator=(const GuardScope&) = delete;
};

/// For the time of a call to a host, whose own calls are not part of the operation that is under way.
class [[nodiscard]] HostCall
{
  public:
    HostCall() : mDepth(std::exchange(gGuardDepth, 0)) {}
    ~HostCall() { gGuardDepth = mDepth; }
    HostCall(const HostCall&) = delete;
    HostCall& operator=(const HostCall&) = delete;

  private:
    int mDepth;
};

/// Runs an operation that may run out of memory.
/// \return  what it returns, or `refusal`.
template<class Result, class Operation>
Result GuardedOr(Result refusal, const Operation& operation)
{
    if (gGuardDepth > 0) return operation();
    try {
        const GuardScope scope;
        return operation();
    } catch (const std::bad_alloc&) {
        return refusal;
    }
}

/// Runs an operation whose result is not wanted.
/// \return  whether there was memory for it.
template<class Operation>
bool HadMemoryFor(const Operation& operation)
{
    return GuardedOr(false, [&] {
        operation();
        return true;
    });
}

/// As `GuardedOr` with null, false, or what else a value-initialised result means; nothing for an operation
/// without a result.
template<class Operation>
auto Guarded(const Operation& operation) -> decltype(operation())
{
    using Result = decltype(operation());
    if constexpr (std::is_void_v<Result>) {
        HadMemoryFor(operation);
    } else {
        return GuardedOr(Result(), operation);
    }
}

}  // namespace yfc
