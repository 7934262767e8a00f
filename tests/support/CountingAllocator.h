// Replaces the global allocator of the program that includes it (once, in
// one file) with one that counts allocations, for checks and benchmarks of
// code that must not allocate.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace orva::test {
inline std::atomic<uint64_t> gAllocations{0};
} // namespace orva::test

void* operator new(std::size_t size) {
    orva::test::gAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size == 0 ? 1 : size)) {
        return p;
    }
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
