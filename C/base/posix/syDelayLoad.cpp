// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syDelayLoad.h"

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"

#include <cerrno>
#include <filesystem>
#include <initializer_list>
#include <string_view>
#include <system_error>
#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

namespace KxN {

namespace {

constexpr int mode = RTLD_NOW | RTLD_LOCAL;

/// The folder of the module that holds this code, with the slash; empty if it is unknown.
std::string FolderOf(void const* code) {
    Dl_info info{};
    link_map* module = nullptr;
    if (::dladdr1(code, &info, reinterpret_cast<void**>(&module), RTLD_DL_LINKMAP) == 0 || !module) return {};
    std::string path = module->l_name;
    std::error_code ignored;
    if (path.empty()) path = std::filesystem::read_symlink("/proc/self/exe", ignored);  // the program itself
    return path.starts_with('/') ? path.substr(0, path.rfind('/') + 1) : std::string();
}

/// "Optics.dll", then "libOptics.so".
std::string SystemName(std::string_view name) {
    for (std::string_view const end : {".dll", ".DLL"})
        if (name.ends_with(end)) name.remove_suffix(end.size());
    return "lib" + std::string(name) + ".so";
}

}  // namespace

KxString KxxDelayLoadFunctionName(KxDelayLoadRecord const& record) {
    if (record.isByName) return record.functionName ? KxxWidenUtf8(record.functionName) : std::wstring();
    return L"Ordinal " + std::to_wstring(record.ordinal);
}

[[gnu::noinline]] KxDelayLoadedModule::KxDelayLoadedModule(KxString const& name)
    : m_name(name), m_folder(FolderOf(__builtin_return_address(0))) {}

KxDelayLoadedModule::~KxDelayLoadedModule() {
    if (m_handle) ::dlclose(m_handle);
}

void* KxDelayLoadedModule::GetFunction(char const* name) {
    return Find(name, {m_name.GetStr(), 0, true, name, 0});
}

void* KxDelayLoadedModule::GetFunction(unsigned short ordinal) {
    return Find(("Ordinal" + std::to_string(ordinal)).c_str(), {m_name.GetStr(), 0, false, nullptr, ordinal});
}

void* KxDelayLoadedModule::Find(char const* symbol, KxDelayLoadRecord record) {
    void* const handle = Load();
    auto const parameter = reinterpret_cast<std::uintptr_t>(&record);
    if (!handle) {
        record.lastError = static_cast<unsigned long>(errno);
        KxxRaiseFault(FAULT_DELAY_LOAD_MODULE, {parameter});
        throw new KxDllLoadException(m_name, record.lastError);
    }
    void* const function = ::dlsym(handle, symbol);
    if (!function) {
        record.lastError = ENOSYS;
        KxxRaiseFault(FAULT_DELAY_LOAD_FUNCTION, {parameter});
        throw new KxDllProcAddrException(m_name, KxxDelayLoadFunctionName(record), record.lastError);
    }
    return function;
}

/// Null with errno set if there is no such module.
void* KxDelayLoadedModule::Load() {
    std::lock_guard const lock(m_mutex);
    if (m_handle) return m_handle;
    int reason = ENOENT;
    std::string const name = KxxToSystemPath(m_name.View());
    auto const open = [&](std::string const& path) {
        bool const isPath = path.starts_with('/');
        if (isPath && ::access(path.c_str(), F_OK) != 0) return false;
        m_handle = ::dlopen(path.c_str(), mode);
        if (!m_handle && isPath) reason = ENOEXEC;
        return m_handle != nullptr;
    };
    bool isFound = false;
    if (name.empty() || name.find('\0') != name.npos)
        isFound = false;
    else if (name.find('/') != name.npos)
        isFound = name.starts_with('/') && open(name);
    else
        for (std::string const& candidate : {name, SystemName(name)})
            if ((isFound = (!m_folder.empty() && open(m_folder + candidate)) || open(candidate))) break;
    if (!isFound) errno = reason;
    return m_handle;
}

}  // namespace KxN
