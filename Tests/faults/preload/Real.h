// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// How a preloaded function calls the one that it stands in front of.
#pragma once

#include <cstdarg>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>

template <class Function>
Function* Real(char const* name, Function*) {
    void* const symbol = ::dlsym(RTLD_NEXT, name);
    Function* function;
    std::memcpy(&function, &symbol, sizeof function);
    return function;
}

/// The function of that name behind this one.
#define REAL(name)                                      \
    ([] {                                               \
        static auto* const real = Real(#name, &::name); \
        return real;                                    \
    }())

inline mode_t ModeOf(int flags, va_list arguments) {
    return (flags & (O_CREAT | O_TMPFILE)) ? va_arg(arguments, mode_t) : 0;
}

/// open, or openat, by Opened(folder, path, flags, call of the function behind it).
#define DEFINE_OPEN(name)                                                                    \
    int name(char const* path, int flags, ...) {                                             \
        va_list arguments;                                                                   \
        va_start(arguments, flags);                                                          \
        mode_t const mode = ModeOf(flags, arguments);                                        \
        va_end(arguments);                                                                   \
        return Opened(AT_FDCWD, path, flags, [&] { return REAL(name)(path, flags, mode); }); \
    }
#define DEFINE_OPENAT(name)                                                                        \
    int name(int folder, char const* path, int flags, ...) {                                       \
        va_list arguments;                                                                         \
        va_start(arguments, flags);                                                                \
        mode_t const mode = ModeOf(flags, arguments);                                              \
        va_end(arguments);                                                                         \
        return Opened(folder, path, flags, [&] { return REAL(name)(folder, path, flags, mode); }); \
    }
