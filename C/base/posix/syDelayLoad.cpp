// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syDelayLoad.h"

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <string_view>
#include <system_error>
#include <vector>
#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>

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

enum class Kind { nothing, file, other };

Kind KindOf(std::string const& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return Kind::nothing;
    return S_ISREG(status.st_mode) ? Kind::file : Kind::other;
}

/// Whether the system's search for a library may come upon something that is no file: opening a pipe waits for ever.
bool MayMeetOther(std::string const& name) {
    static char const here = 0;
    Dl_info info{};
    link_map* module = nullptr;
    Dl_serinfo size{};
    if (::dladdr1(&here, &info, reinterpret_cast<void**>(&module), RTLD_DL_LINKMAP) == 0 || !module ||
        ::dlinfo(module, RTLD_DI_SERINFOSIZE, &size) != 0)
        return false;
    std::vector<Dl_serinfo> memory(size.dls_size / sizeof(Dl_serinfo) + 1, size);
    Dl_serinfo& folders = memory.front();
    if (::dlinfo(module, RTLD_DI_SERINFO, &folders) != 0) return false;
    Dl_serpath const* const paths = folders.dls_serpath;
    return std::any_of(paths, paths + folders.dls_cnt, [&](Dl_serpath const& folder) {
        return KindOf(std::string(folder.dls_name) + "/" + name) == Kind::other;
    });
}

/// Loads a module by its path, or by its name from where the system looks. ENOENT if there is none.
int OpenModule(std::string const& path, void*& handle) {
    bool const isPath = path.starts_with('/');
    Kind const kind = isPath ? KindOf(path) : MayMeetOther(path) ? Kind::other : Kind::file;
    if (kind != Kind::file) return kind == Kind::nothing ? ENOENT : ENOEXEC;
    handle = ::dlopen(path.c_str(), mode);
    if (handle) return 0;
    if (isPath) return ENOEXEC;
    // Only of a library that is nowhere the loader says so by the name that it was asked for.
    char const* const text = ::dlerror();
    std::string_view const told = text ? text : "";
    bool const isNowhere = told.starts_with(path + ": ") && told.ends_with(std::string(": ") + std::strerror(ENOENT));
    return isNowhere ? ENOENT : ENOEXEC;
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
        record.lastError = static_cast<unsigned long>(errno);
        KxxRaiseFault(FAULT_DELAY_LOAD_MODULE, {parameter});
        throw new KxDllLoadException(m_name, record.lastError);
    }
    void* const function = symbol ? ::dlsym(handle, symbol) : nullptr;
    if (!function) {
        record.lastError = ENOSYS;
        KxxRaiseFault(FAULT_DELAY_LOAD_FUNCTION, {parameter});
        throw new KxDllProcAddrException(m_name, KxxDelayLoadFunctionName(record), record.lastError);
    }
    return function;
}

/// Null with errno set if there is no such module. No lock is held while the loader runs: static constructors of the
/// module may come back here, and the loader has a lock of its own.
void* KxDelayLoadedModule::Load() {
    if (void* const known = m_handle) return known;
    int reason = ENOENT;
    std::string const name = KxxToSystemPath(m_name.View());
    void* loaded = nullptr;
    auto const open = [&](std::string const& path) {
        int const error = OpenModule(path, loaded);
        if (error == ENOEXEC) reason = error;
        return error == 0;
    };
    bool isFound = false;
    if (name.empty() || name.find('\0') != name.npos)
        isFound = false;
    else if (name.find('/') != name.npos)
        isFound = name.starts_with('/') && open(name);
    else
        for (std::string const& candidate : {name, SystemName(name)})
            if ((isFound = (!m_folder.empty() && open(m_folder + candidate)) || open(candidate))) break;
    if (!isFound) {
        errno = reason;
        return nullptr;
    }
    void* present = nullptr;
    if (m_handle.compare_exchange_strong(present, loaded)) return loaded;
    ::dlclose(loaded);  // somebody was faster; the module is counted twice
    return present;
}

}  // namespace KxN
