// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syDelayLoad.h"

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syResource.h"

#include "base/syModuleRecord.h"
#include "base/syTextIds.h"

#include <cerrno>
#include <dlfcn.h>

namespace KxN {

KxString KxxDelayLoadFunctionName(KxDelayLoadRecord const& record) {
    if (record.isByName) return record.functionName ? KxxWidenUtf8(record.functionName) : std::wstring();
    return L"Ordinal " + std::to_wstring(record.ordinal);
}

[[gnu::noinline]] KxDelayLoadedModule::KxDelayLoadedModule(KxString const& name)
    : m_name(name), m_folder(detail::FolderOf(__builtin_return_address(0))) {}

KxDelayLoadedModule::~KxDelayLoadedModule() {
    if (m_handle) ::dlclose(m_handle);
}

void* KxDelayLoadedModule::GetFunction(char const* name) {
    return Find(name, {m_name.GetStr(), 0, true, name, 0});
}

void* KxDelayLoadedModule::GetFunction(int ordinal) {
    std::string const number = std::to_string(ordinal), symbol = "Ordinal" + number;
    if (ordinal >= 0 && ordinal <= 0xFFFF)
        return Find(symbol.c_str(), {m_name.GetStr(), 0, false, nullptr, static_cast<unsigned short>(ordinal)});
    return Find(nullptr, {m_name.GetStr(), 0, true, ("Ordinal " + number).c_str(), 0});  // no such number
}

void* KxDelayLoadedModule::Find(char const* symbol, KxDelayLoadRecord record) {
    void* const handle = Load();
    auto const parameter = reinterpret_cast<std::uintptr_t>(&record);
    if (!handle) {
        KxModuleError const error = KxxGetModuleError();
        record.lastError = error.code;
        record.reason = error.text.GetStr();
        KxxRaiseFault(FAULT_DELAY_LOAD_MODULE, {parameter});
        throw new KxDllLoadException(m_name, error.code, error.text);
    }
    void* const function = symbol ? ::dlsym(handle, symbol) : nullptr;
    if (!function) {
        record.lastError = ENOSYS;
        KxxRaiseFault(FAULT_DELAY_LOAD_FUNCTION, {parameter});
        throw new KxDllProcAddrException(m_name, KxxDelayLoadFunctionName(record), record.lastError);
    }
    return function;
}

/// Null, with the error noted, if there is no such module. No lock is held while the loader runs: static constructors of
/// the module may come back here, and the loader has a lock of its own.
void* KxDelayLoadedModule::Load() {
    if (void* const known = m_handle) return known;
    detail::LoadedModule const loaded = detail::LoadByName(m_name, m_folder);
    if (loaded.satellite) {
        AfxFreeLibrary(loaded.satellite);
        detail::SetModuleError(ENOEXEC, KxxFormat(KxString(KxResId(text::ModuleIsSatellite)).View(), m_name));
    }
    if (!loaded.code) return nullptr;
    void* present = nullptr;
    if (m_handle.compare_exchange_strong(present, loaded.code)) return loaded.code;
    ::dlclose(loaded.code);  // somebody was faster; the module is counted twice
    return present;
}

}  // namespace KxN
