#include "failing_heap.h"

#include <atomic>
#include <cstdlib>
#include <new>

// Whoever compiles this may ask for the operators alone. Sanitizers have a heap of their own, in whose place
// nothing can be put but the operators.
#if defined(FAILS_OPERATORS_ONLY)
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define FAILS_OPERATORS_ONLY
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define FAILS_OPERATORS_ONLY
#endif
#endif

namespace {

struct Plan
{
    bool isActive = false;
    long allowed = 0;
    test::Shortage shortage = test::Shortage::Lasting;
    bool hasFailed = false;
};

constinit thread_local Plan plan;
std::atomic<long> live = 0;
std::atomic<long> ever = 0;

bool Fails()
{
    if (!plan.isActive || plan.allowed-- > 0) return false;
    if (plan.hasFailed && plan.shortage == test::Shortage::Once) return false;
    plan.hasFailed = true;
    return true;
}

void* Allocate(std::size_t size)
{
    void* memory = Fails() ? nullptr : std::malloc(size > 0 ? size : 1);
    if (memory == nullptr) return nullptr;
    ++live;
    ++ever;
    return memory;
}

void Free(void* memory)
{
    if (memory != nullptr) --live;
    std::free(memory);
}

}  // namespace

namespace test {

FailingHeap::FailingHeap(long allowed, Shortage shortage)
{
    plan = {true, allowed, shortage, false};
}

FailingHeap::~FailingHeap()
{
    plan.isActive = false;
}

bool FailingHeap::HasFailed() const
{
    return plan.hasFailed;
}

long LivePieces()
{
    return live;
}

long PiecesEver()
{
    return ever;
}

}  // namespace test

void* operator new(std::size_t size)
{
    void* memory = Allocate(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
void* operator new[](std::size_t size)
{
    return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return Allocate(size);
}
void operator delete(void* memory) noexcept
{
    Free(memory);
}
void operator delete[](void* memory) noexcept
{
    Free(memory);
}
void operator delete(void* memory, std::size_t) noexcept
{
    Free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept
{
    Free(memory);
}

#ifndef FAILS_OPERATORS_ONLY
extern "C" {
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

void* calloc(std::size_t count, std::size_t size)
{
    return Fails() ? nullptr : __libc_calloc(count, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    return Fails() ? nullptr : __libc_memalign(alignment, size);
}
}
#endif
