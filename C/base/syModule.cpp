// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syModule.h"

#include "hbtools/base/syDirEntry.h"
#include "hbtools/base/syException.h"

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
    int const shared = name.Search(L".so", 1);
    bool const isShared = shared > 0 && (shared + 3 == name.Len() || name[shared + 3] == L'.');
    return isShared ? name.Copy(0, shared) : KxString(entry.GetBase());
}

void KxxFreeLibrary(HINSTANCE module) {
    KxString const name = GetModuleFileName(module);
    if (!AfxFreeLibrary(module)) throw new KxDllFreeException(name, KxxGetModuleError().code);
}

KxModuleHold::~KxModuleHold() {
    if (m_module) AfxFreeLibrary(m_module);
}

KxDll::KxDll(KxString const& name, KxVersion required) : m_name(name), m_version(0), m_hold(KxxLoadLibrary(name)) {
    if (auto* const version = KxxGetFunction<unsigned short()>(GetModule(), "KxxModuleVersion")) m_version = version();
    if (m_version < required) throw new KxVersionException(__FILE__, __LINE__, name, m_version, required);
}

KxDll::KxDll(KxDll const& other)
    : m_name(other.m_name), m_version(other.m_version), m_hold(KxxLoadLibrary(GetModuleFileName(other.GetModule()))) {}

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
