// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Linked into the library where counters are kept, and only there. Counters are written when a process ends in order; many
// tests are of processes that do not. The ways in which these end come by here, and leave the counts first.
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" {

#ifdef __clang__
int __llvm_profile_write_file();
void __llvm_profile_reset_counters();
#else
void __gcov_dump();
void __gcov_reset();
#endif

static long Call(long number, long a = 0, long b = 0, long c = 0, long d = 0, long e = 0, long f = 0) {
    register long r10 __asm__("r10") = d;
    register long r8 __asm__("r8") = e;
    register long r9 __asm__("r9") = f;
    long result;
    __asm__ volatile("syscall"
                     : "=a"(result)
                     : "a"(number), "D"(a), "S"(b), "d"(c), "r"(r10), "r"(r8), "r"(r9)
                     : "rcx", "r11", "memory");
    return result;
}

/// A process that has used up its memory on purpose has none for writing counts either.
static bool HasRoom() {
    void* const room = std::malloc(std::size_t(1) << 20);
    std::free(room);
    return room != nullptr;
}

/// A process that goes on counts from nothing, and what it writes later is added.
static void LeaveCounts() {
    int const keep = errno;
    if (HasRoom()) {
#ifdef __clang__
        __llvm_profile_write_file();
        __llvm_profile_reset_counters();
#else
        __gcov_dump();
        __gcov_reset();
#endif
    }
    errno = keep;
}

void abort() noexcept {
    static auto const real = reinterpret_cast<void (*)()>(::dlsym(RTLD_NEXT, "abort"));
    LeaveCounts();
    real();
    __builtin_unreachable();
}

void _exit(int code) {
    LeaveCounts();
    for (;;) Call(SYS_exit_group, code);
}

void _Exit(int code) noexcept {
    _exit(code);
}

int raise(int signal) noexcept {
    LeaveCounts();
    long const result = Call(SYS_tgkill, Call(SYS_getpid), Call(SYS_gettid), signal);
    if (result < 0) errno = static_cast<int>(-result);
    return result < 0 ? -1 : 0;
}

/// A fault that nobody translates is sent once more, to end the process as it would have ended.
long syscall(long number, ...) noexcept {
    std::va_list list;
    va_start(list, number);
    long words[6];
    for (long& word : words) word = va_arg(list, long);
    va_end(list);
    if (number == SYS_rt_tgsigqueueinfo) LeaveCounts();
    long const result = Call(number, words[0], words[1], words[2], words[3], words[4], words[5]);
    if (result >= -4095 && result < 0) errno = static_cast<int>(-result);
    return result >= -4095 && result < 0 ? -1 : result;
}

}  // extern "C"
