// The program's own names for the C library's functions, which everything loaded with it then calls. This is
// the way of glibc; operator new comes by here as well.

#include "bench/allocations.h"

#include <cstddef>

extern "C" {
void* __libc_malloc(std::size_t size);                           // NOLINT(bugprone-reserved-identifier)
void* __libc_calloc(std::size_t count, std::size_t size);        // NOLINT(bugprone-reserved-identifier)
void* __libc_realloc(void* memory, std::size_t size);            // NOLINT(bugprone-reserved-identifier)
void* __libc_memalign(std::size_t alignment, std::size_t size);  // NOLINT(bugprone-reserved-identifier)
}

namespace {

long allocations = 0;

}  // namespace

long AllocationCount()
{
    return allocations;
}

extern "C" void* malloc(std::size_t size)
{
    ++allocations;
    return __libc_malloc(size);
}

extern "C" void* calloc(std::size_t count, std::size_t size)
{
    ++allocations;
    return __libc_calloc(count, size);
}

extern "C" void* realloc(void* memory, std::size_t size)
{
    ++allocations;
    return __libc_realloc(memory, size);
}

extern "C" void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    ++allocations;
    return __libc_memalign(alignment, size);
}
