// Counts the allocations of a test program and lets one of them fail. One source of a program includes it: it
// replaces operator new.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

inline std::atomic<std::size_t> g_allocations = 0;  // since the program began
inline std::atomic<std::size_t> g_failingAllocation =
    std::numeric_limits<std::size_t>::max();  // the one that fails

// The static analyzer knows who frees what the operators of the standard library allocate; with these it
// takes each object that a library holds for lost.
#ifndef __clang_analyzer__
void* operator new(std::size_t size) {
    if (g_allocations++ == g_failingAllocation) throw std::bad_alloc();
    if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
// Not inlined: g++ would take new and free for a mismatched pair.
[[gnu::noinline]] static void Free(void* memory) { std::free(memory); }
void operator delete(void* memory) noexcept { Free(memory); }
void operator delete(void* memory, std::size_t) noexcept { Free(memory); }
void operator delete[](void* memory) noexcept { Free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { Free(memory); }
#endif

/// How many allocations `call` makes.
template <typename Call>
std::size_t AllocationsOf(Call call) {
    const std::size_t before = g_allocations;
    call();
    return g_allocations - before;
}

/// Runs `call` with its first allocation failing, then with its second one, and so on until it makes no
/// further one; `check` runs after each, with the number of the allocation that failed.
template <typename Call, typename Check>
void FailEachAllocation(Call call, Check check) {
    for (std::size_t n = 0;; ++n) {
        const std::size_t failing = g_failingAllocation = g_allocations + n;
        call();
        g_failingAllocation = std::numeric_limits<std::size_t>::max();
        if (g_allocations <= failing) return;
        check(n);
    }
}
