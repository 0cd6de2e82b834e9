// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syModule.h"

#include "hbtools/base/syDirEntry.h"
#include "hbtools/base/syException.h"

#include "base/syModuleRecord.h"

#include <cerrno>

/// What KxDll asks a module for; this one is the library's own answer.
extern "C" KX_API unsigned short KxxModuleVersion();
unsigned short KxxModuleVersion() {
    return KxN::g_hbToolsVersion.GetValue();
}

namespace KxN {

KxString KxxGetModuleBaseName(KxString const& path) {
    KxTools::DirEntry const entry(path);
    KxString const name = entry.GetName();
    for (int at = 1; (at = name.Search(L".so", at)) > 0; ++at)
        if (at + 3 == name.Len() || name[at + 3] == L'.') return name.Copy(0, at);
    return KxString(entry.GetBase());
}

void KxxFreeLibrary(HINSTANCE module) {
    KxString const name = GetModuleFileName(module);
    if (!AfxFreeLibrary(module)) throw new KxDllFreeException(name, KxxGetModuleError().code);
}

KxModuleHold::~KxModuleHold() {
    if (m_module) AfxFreeLibrary(m_module);
}

[[gnu::noinline]] KxDll::KxDll(KxString const& name, KxVersion required)
    : m_name(name), m_version(0), m_hold(detail::LoadBeside(name, __builtin_return_address(0))) {
    if (auto* const version = KxxGetFunction<unsigned short()>(GetModule(), "KxxModuleVersion")) m_version = version();
    if (m_version < required) throw new KxVersionException(L"syModule", __LINE__, name, m_version, required);
}

KxDll::KxDll(KxDll const& other)
    : m_name(other.m_name), m_version(other.m_version), m_hold(detail::CountAgain(other.GetModule())) {}

KxDll& KxDll::operator=(KxDll const& other) {
    KxDll copy(other);
    m_name = copy.m_name;
    m_version = copy.m_version;
    m_hold = std::move(copy.m_hold);
    return *this;
}

KxDll::~KxDll() = default;

void* KxDll::GetFunction(char const* name) const {
    void* const function = GetProcAddress(GetModule(), name);
    if (!function) throw new KxDllProcAddrException(m_name, name ? KxString(name) : KxString(), ENOSYS);
    return function;
}

}  // namespace KxN
