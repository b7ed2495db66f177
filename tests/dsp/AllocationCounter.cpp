#include "AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> allocations{0}; // operator new calls since program start

void *countedAllocate(std::size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void *memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

} // namespace

void *operator new(std::size_t size) { return countedAllocate(size); }
void *operator new[](std::size_t size) { return countedAllocate(size); }
void operator delete(void *memory) noexcept { std::free(memory); }
void operator delete[](void *memory) noexcept { std::free(memory); }
void operator delete(void *memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void *memory, std::size_t) noexcept { std::free(memory); }

AllocationCounter::AllocationCounter()
    : start_(allocations.load(std::memory_order_relaxed))
{
}

std::size_t AllocationCounter::count() const
{
    return allocations.load(std::memory_order_relaxed) - start_;
}
