// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syClassName.h"

#include "base/posix/syMutex.h"

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <cxxabi.h>

namespace KxN {

namespace {

KxString MakeName(char const* mangled) {
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> const name(abi::__cxa_demangle(mangled, nullptr, nullptr, &status),
                                                           &std::free);
    return KxString(L"class ") + KxString(name ? name.get() : mangled);
}

struct TextHash : std::hash<std::string_view> {
    using is_transparent = void;
};

}  // namespace

// Kept by the compiler's name and not by the type_info, which goes when the module of its class is unloaded.
KxString const& KxxClassName(std::type_info const& type) {
    // Never destroyed: static objects may still report failures while the process ends.
    static auto& mutex = *new detail::Mutex;
    static auto& names = *new std::unordered_map<std::string, KxString, TextHash, std::equal_to<>>;
    std::string_view const mangled = type.name();
    std::lock_guard const lock(mutex);
    auto const found = names.find(mangled);
    if (found != names.end()) return found->second;
    return names.emplace(mangled, MakeName(type.name())).first->second;
}

}  // namespace KxN
