// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The functions of the C library, replaced for the whole process: a program's own come before those of its libraries. Stacks
// of threads and of signals are memory too, so starting a thread and mapping fail like an allocation; they are not counted
// as blocks.
// Failing from the first instruction on is asked for by HBTOOLS_FAIL_FROM_START=<number>[+] in the environment, "+" for
// lasting; nothing of the run-time library can be used to read it.
#include "Memory.h"

#include "../../faults/preload/Real.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#ifdef __SANITIZE_ADDRESS__
#define UNDER(name) __interceptor_##name
#else
#define UNDER(name) __libc_##name
#endif

extern "C" {
void* UNDER(malloc)(std::size_t);
void* UNDER(calloc)(std::size_t, std::size_t);
void* UNDER(realloc)(void*, std::size_t);
void* UNDER(memalign)(std::size_t, std::size_t);
void UNDER(free)(void*);
}

namespace memory {

namespace {

constinit std::atomic<long long> g_blocks = 0;
constinit std::atomic<long long> g_bytes = 0;
constinit std::atomic<long long> g_peakFrom = 0;
constinit std::atomic<long long> g_peak = 0;
constinit std::atomic<bool> g_isArmed = false;
constinit std::atomic<bool> g_hasFailed = false;
constinit std::atomic<int> g_count = 0;
constinit std::atomic<int> g_number = 0;
constinit std::atomic<bool> g_isLasting = false;
constinit std::atomic<bool> g_isStarted = false;
constinit std::atomic<void*> g_refused = nullptr;  // who asked for the first that failed

/// By system calls alone: this may run before the C library is ready.
void Start() {
    static constinit char text[1 << 16];
    long const file = ::syscall(SYS_openat, AT_FDCWD, "/proc/self/environ", O_RDONLY | O_CLOEXEC);
    long length = 0, got = 0;
    while (file >= 0 &&
           (got = ::syscall(SYS_read, file, text + length, sizeof text - 1 - static_cast<std::size_t>(length))) > 0)
        length += got;
    if (file >= 0) ::syscall(SYS_close, file);
    constexpr char name[] = "HBTOOLS_FAIL_FROM_START=";
    for (char const* p = text; p < text + length; p += std::strlen(p) + 1) {
        if (std::strncmp(p, name, sizeof name - 1) != 0) continue;
        int number = 0;
        for (p += sizeof name - 1; *p >= '0' && *p <= '9'; ++p) number = number * 10 + (*p - '0');
        Arm(number, *p == '+');
    }
}

/// Where a debugger stops to see whose allocation it is.
[[gnu::noinline]] bool Failing(void* caller) {
    if (!g_hasFailed.exchange(true)) g_refused = caller;
    errno = ENOMEM;
    return true;
}

bool Fails(void* caller = nullptr) {
    if (!g_isStarted.exchange(true)) Start();
    if (!g_isArmed) return false;
    int const count = ++g_count, number = g_number;
    if (number == 0 || count < number || (count > number && !g_isLasting)) return false;
    return Failing(caller);
}

void* Counted(void* block) {
    if (!block) return block;
    ++g_blocks;
    long long const size = static_cast<long long>(::malloc_usable_size(block)), bytes = g_bytes.fetch_add(size) + size;
    for (long long peak = g_peak; bytes > peak && !g_peak.compare_exchange_weak(peak, bytes);) {}
    return block;
}

void Uncount(void* block) {
    if (!block) return;
    --g_blocks;
    g_bytes -= static_cast<long long>(::malloc_usable_size(block));
}

}  // namespace

Live CountLive() {
    return {g_blocks, g_bytes};
}

void StartPeak() {
    g_peak = g_peakFrom = g_bytes.load();
}

long long PeakBytes() {
    return g_peak - g_peakFrom;
}

void Arm(int number, bool isLasting) {
    g_count = 0;
    g_number = number;
    g_isLasting = isLasting;
    g_hasFailed = false;
    g_isArmed = true;
}

int Disarm() {
    g_isArmed = false;
    return g_count;
}

bool HasFailed() {
    return g_hasFailed;
}

bool HasFailedInLibC() {
    Dl_info info{};
    return g_hasFailed && ::dladdr(g_refused, &info) != 0 && info.dli_fname && std::strstr(info.dli_fname, "/libc.so");
}

}  // namespace memory

using memory::Counted;
using memory::Fails;
using memory::Uncount;

extern "C" {

[[gnu::noinline]] void* malloc(std::size_t size) noexcept {
    return Fails(__builtin_return_address(0)) ? nullptr : Counted(UNDER(malloc)(size));
}
void* calloc(std::size_t count, std::size_t size) noexcept {
    return Fails() ? nullptr : Counted(UNDER(calloc)(count, size));
}
void* realloc(void* block, std::size_t size) noexcept {
    if (Fails()) return nullptr;
    Uncount(block);
    void* const moved = UNDER(realloc)(block, size);
    // What could not be moved stays, and what was given back for no bytes does not.
    return moved || size == 0 ? Counted(moved) : (Counted(block), moved);
}
void* memalign(std::size_t alignment, std::size_t size) noexcept {
    return Fails() ? nullptr : Counted(UNDER(memalign)(alignment, size));
}
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    return memalign(alignment, size);
}
int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
    void* const made = memalign(alignment, size);
    if (!made) return ENOMEM;
    *block = made;
    return 0;
}
void free(void* block) noexcept {
    int const keep = errno;
    Uncount(block);
    UNDER(free)(block);
    errno = keep;
}

int pthread_create(pthread_t* thread, pthread_attr_t const* attributes, void* (*action)(void*),
                   void* argument) noexcept {
    static auto* const real = Real("pthread_create", &::pthread_create);
    return Fails() ? EAGAIN : real(thread, attributes, action, argument);
}
void* mmap(void* at, std::size_t size, int access, int flags, int file, off_t offset) noexcept {
    static auto* const real = Real("mmap", &::mmap);
    return Fails() ? MAP_FAILED : real(at, size, access, flags, file, offset);
}

}  // extern "C"

// Those of the run-time library of a sanitizer do not come by malloc.
void* operator new(std::size_t size) {
    if (void* const block = ::malloc(size ? size : 1)) return block;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    return ::malloc(size ? size : 1);
}
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept {
    return ::malloc(size ? size : 1);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    if (void* const block = ::memalign(static_cast<std::size_t>(alignment), size ? size : 1)) return block;
    throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
    ::free(block);
}
void operator delete[](void* block) noexcept {
    ::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    ::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    ::free(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
    ::free(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    ::free(block);
}
