// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syClassName.h"

#include <cstdlib>
#include <memory>
#include <mutex>
#include <typeindex>
#include <unordered_map>
#include <cxxabi.h>

namespace KxN {

namespace {

KxString MakeName(std::type_info const& type) {
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> const name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                           &std::free);
    return KxString(L"class ") + KxString(name ? name.get() : type.name());
}

}  // namespace

KxString const& KxxClassName(std::type_info const& type) {
    // Never destroyed: static objects may still report failures while the process ends.
    static auto& mutex = *new std::mutex;
    static auto& names = *new std::unordered_map<std::type_index, KxString>;
    std::lock_guard const lock(mutex);
    auto const found = names.find(type);
    if (found != names.end()) return found->second;
    return names.emplace(type, MakeName(type)).first->second;
}

}  // namespace KxN
