// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// How a preloaded function calls the one that it stands in front of.
#pragma once

#include <cstring>
#include <dlfcn.h>

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
