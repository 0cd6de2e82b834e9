// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The entry of each target, FuzzTarget. Memory fails too: an input is read once as it is, where its allocations by operator
// new are counted, and some are read again while one of them, or that one and all behind it, fails. Which one is told by
// the bytes of the input, so that an input that was found does it again. Then the target may be left by an exception; it
// must not crash, hang or leak. HBTOOLS_FUZZ_MEMORY tells how many of the inputs are read so: one of that many, 4 if it is
// not set, none if it is 0. In a replay each input is read with up to 16 failures, HBTOOLS_FUZZ_MEMORY=0 or not.
#include "FuzzInput.h"

#include "hbtools/base/syException.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

extern "C" int FuzzTarget(std::uint8_t const* data, std::size_t size);

namespace {

constinit std::atomic<std::uint64_t> g_count = 0;
constinit std::atomic<std::uint64_t> g_number = 0;  // that fails; 0 for none
constinit std::atomic<bool> g_isLasting = false;

bool Fails() {
    if (memory::g_isSafe) return false;
    std::uint64_t const count = ++g_count, number = g_number;
    if (number == 0 || count < number || (count > number && !g_isLasting)) return false;
    memory::g_hasFailed = true;
    return true;
}

void* Allocate(std::size_t size, std::size_t alignment) noexcept {
    if (Fails()) return nullptr;
    if (alignment <= __STDCPP_DEFAULT_NEW_ALIGNMENT__) return std::malloc(size ? size : 1);
    return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
}

void* AllocateOrThrow(std::size_t size, std::size_t alignment = 1) {
    if (void* const block = Allocate(size, alignment)) return block;
    throw std::bad_alloc();
}

/// Nothing fails any more when it ends.
struct Failing {
    Failing(std::uint64_t number, bool isLasting) {
        g_isLasting = isLasting;
        memory::g_hasFailed = false;
        g_count = 0;
        g_number = number;
    }
    Failing(Failing const&) = delete;
    Failing& operator=(Failing const&) = delete;
    ~Failing() {
        g_number = 0;
        memory::g_hasFailed = false;
    }
};

void RunFailing(std::uint8_t const* data, std::size_t size, std::uint64_t number, bool isLasting) {
    Failing const failing(number, isLasting);
    try {
        FuzzTarget(data, size);
    } catch (std::bad_alloc const&) {
    } catch (KxN::CException* exception) {  // of memory that ended outside of what a target survives
        exception->Delete();
    }
}

std::uint64_t HashOf(std::uint8_t const* data, std::size_t size) {
    std::uint64_t hash = 14695981039346656037U;
    for (std::size_t i = 0; i < size; ++i) hash = (hash ^ data[i]) * 1099511628211U;
    return hash ^ hash >> 29;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    g_count = 0;
    FuzzTarget(data, size);
    std::uint64_t const count = g_count, hash = HashOf(data, size);
    if (count == 0) return 0;
#ifdef HBTOOLS_REPLAY
    constexpr std::uint64_t most = 16;
    std::uint64_t const stride = (count + most - 1) / most;
    for (std::uint64_t number = 1 + hash % stride; number <= count; number += stride)
        RunFailing(data, size, number, number % 2 == 0);
#else
    static char const* const text = std::getenv("HBTOOLS_FUZZ_MEMORY");
    static std::uint64_t const each = text ? std::strtoull(text, nullptr, 10) : 4;
    if (each > 0 && hash % each == 0) RunFailing(data, size, 1 + (hash >> 8) % count, (hash >> 7) % 2 == 0);
#endif
    return 0;
}

void* operator new(std::size_t size) {
    return AllocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return AllocateOrThrow(size);
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    return Allocate(size, 1);
}
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept {
    return Allocate(size, 1);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return AllocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return AllocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete[](void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete(void* block, std::nothrow_t const&) noexcept {
    std::free(block);
}
void operator delete[](void* block, std::nothrow_t const&) noexcept {
    std::free(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
    std::free(block);
}
void operator delete[](void* block, std::align_val_t) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    std::free(block);
}
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept {
    std::free(block);
}
