// CountingNew.h: replaces operator new of the program whose one source includes it: it counts, and fails
// where it is asked to. For programs of one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

static std::size_t g_allocations = 0;        // since the program began
static std::size_t g_failingOne = SIZE_MAX;  // the count at which one fails

void* operator new(std::size_t size) {
    const bool fails = g_allocations++ == g_failingOne;
    if (void* memory = fails ? nullptr : std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
// Not inlined: g++ would take new and free for a mismatched pair.
[[gnu::noinline]] static void Free(void* memory) { std::free(memory); }
void operator delete(void* memory) noexcept { Free(memory); }
void operator delete(void* memory, std::size_t) noexcept { Free(memory); }
void operator delete[](void* memory) noexcept { Free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { Free(memory); }

/// How many allocations `call` makes.
template <typename Call>
static std::size_t AllocationsOf(Call call) {
    const std::size_t before = g_allocations;
    call();
    return g_allocations - before;
}

/// Fails allocation number `position` of `call`, the first being 0. True if the call needs no such one.
template <typename Call>
static bool Completes(std::size_t position, Call call) {
    g_failingOne = g_allocations + position;
    bool completed = true;
    try {
        call();
    } catch (const std::bad_alloc&) {
        completed = false;
    }
    g_failingOne = SIZE_MAX;
    return completed;
}
