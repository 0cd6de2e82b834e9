// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The records of modules. The lock of all records is never held while the loader is called: static constructors and
// destructors of modules come back here, and the loader has a lock of its own.
#include "hbtools/base/syModule.h"

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"

#include "base/posix/syMutex.h"
#include "base/posix/syThreadObject.h"
#include "base/syModuleRecord.h"

#include <cerrno>
#include <filesystem>
#include <memory>
#include <vector>
#include <dlfcn.h>
#include <link.h>

namespace KxN {

namespace {

struct Records {
    detail::Mutex lock;
    std::vector<std::unique_ptr<KxModule>> all;
};

/// For ever: modules free what they loaded in their static destructors.
Records& AllRecords() {
    static Records& records = *new Records;
    return records;
}

constinit thread_local detail::ThreadObject<KxModuleError> t_error;

link_map* MapOf(void const* address) {
    Dl_info info{};
    link_map* map = nullptr;
    return address && ::dladdr1(address, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) != 0 ? map : nullptr;
}

std::string PathOf(link_map const* map) {
    std::error_code ignored;
    std::string const path = map->l_name;
    if (path.empty()) return std::filesystem::read_symlink("/proc/self/exe", ignored);  // the program itself
    return path.starts_with('/') ? path : std::filesystem::absolute(path, ignored).string();
}

/// The loader's handle of code, counted by the loader; null if that is gone.
void* StillLoaded(std::string const& loaderName, void* code) {
    void* const found = ::dlopen(loaderName.empty() ? nullptr : loaderName.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (!found || found == code) return found;
    ::dlclose(found);  // loaded again, elsewhere
    return nullptr;
}

/// The record of loaded code. The loader may use the address of a module that is gone for another one.
KxModule* RecordOf(void* code, unsigned long counts) {
    std::string path = PathOf(static_cast<link_map*>(code));
    auto loaderName = std::make_shared<std::string const>(static_cast<link_map*>(code)->l_name);
    Records& records = AllRecords();
    std::lock_guard const guard(records.lock);
    for (auto const& record : records.all) {
        if (record->code != code) continue;
        if (record->isGone || record->path != path) {
            record->path = std::move(path);
            record->loaderName = std::move(loaderName);
            record->count = 0;
            record->isGone = false;
        }
        record->count += counts;
        return record.get();
    }
    records.all.push_back(std::make_unique<KxModule>());
    KxModule& record = *records.all.back();
    record.code = code;
    record.path = std::move(path);
    record.loaderName = std::move(loaderName);
    record.count = counts;
    return &record;
}

/// Null if the handle is none or its module is gone; the lock must be held.
KxModule* Known(Records const& records, HINSTANCE module) {
    for (auto const& record : records.all)
        if (record.get() == module) return record->isGone ? nullptr : module;
    return nullptr;
}

/// The satellite of that file and content, counted once more; the lock must be held.
KxModule* CountKnown(Records const& records, std::string const& path, detail::FileIdentity const& identity,
                     std::string const& bytes) {
    for (auto const& record : records.all) {
        detail::TextTable const* const texts = record->texts;
        if (!texts || !(record->identity == identity) || texts->GetBytes() != bytes) continue;
        ++record->count;
        record->path = path;  // it may be a new file with the number of one that is gone
        return record.get();
    }
    return nullptr;
}

HINSTANCE Loaded(detail::LoadedModule const& loaded) {
    return loaded.code ? RecordOf(loaded.code, 1) : loaded.satellite;
}

HINSTANCE Load(KxString const& name, void const* caller) {
    return Loaded(detail::LoadByName(name, detail::FolderOf(caller)));
}

/// Its code was just freed for the last time that is known of: it may be gone, or loaded for others.
void NoteIfGone(HINSTANCE module, void* code, std::string const& loaderName) {
    if (void* const loaded = StillLoaded(loaderName, code)) {
        ::dlclose(loaded);
        return;
    }
    Records& records = AllRecords();
    std::lock_guard const guard(records.lock);
    module->isGone = module->count == 0;  // unless somebody has loaded it again
}

}  // namespace

namespace detail {

void SetModuleError(int code, std::wstring text) {
    KxModuleError& error = t_error.Get();
    error.code = static_cast<unsigned long>(code);
    error.text = std::move(text);
}

KxModule* AddSatellite(std::string const& path, FileIdentity const& identity, std::unique_ptr<TextTable const> texts) {
    auto made = std::make_unique<KxModule>();
    made->path = path;
    made->identity = identity;
    made->count = 1;
    Records& records = AllRecords();
    std::lock_guard const guard(records.lock);
    if (KxModule* const known = CountKnown(records, path, identity, texts->GetBytes())) return known;
    records.all.push_back(std::move(made));
    KxModule& record = *records.all.back();
    record.texts = texts.release();
    return &record;
}

KxModule* FindSatellite(std::string const& path, FileIdentity const& identity, std::string const& bytes) {
    Records& records = AllRecords();
    std::lock_guard const guard(records.lock);
    return CountKnown(records, path, identity, bytes);
}

HINSTANCE LoadBeside(KxString const& name, void const* caller) {
    HINSTANCE const module = Load(name, caller);
    if (!module) throw new KxDllLoadException(name, t_error.Get().code, t_error.Get().text);
    return module;
}

HINSTANCE CountAgain(HINSTANCE module) {
    std::shared_ptr<std::string const> loaderName;
    void* code = nullptr;
    Records& records = AllRecords();
    {
        std::lock_guard const guard(records.lock);
        if (!Known(records, module)) return nullptr;
        code = module->code;
        loaderName = module->loaderName;
        if (!code) ++module->count;
    }
    if (!code) return module;
    void* const loaded = StillLoaded(*loaderName, code);
    return loaded ? RecordOf(loaded, 1) : nullptr;
}

}  // namespace detail

[[gnu::noinline]] HINSTANCE AfxLoadLibrary(wchar_t const* name) {
    return Load(name, __builtin_return_address(0));
}

[[gnu::noinline]] HINSTANCE KxxLoadLibrary(KxString const& name) {
    return detail::LoadBeside(name, __builtin_return_address(0));
}

HINSTANCE KxxLoadSatellite(KxString const& path) {
    return Loaded(detail::LoadSatellite(KxxToSystemPath(path.View())));
}

int KxxIsSatellite(HINSTANCE module) {
    return module && module->texts ? 1 : 0;
}

int AfxFreeLibrary(HINSTANCE module) {
    Records& records = AllRecords();
    void* code = nullptr;
    bool isCounted = false, isLast = false;
    std::shared_ptr<std::string const> loaderName;
    {
        std::lock_guard const guard(records.lock);
        isCounted = Known(records, module) && module->count > 0;
        if (isCounted) {
            isLast = --module->count == 0;
            code = module->code;
            loaderName = module->loaderName;
        }
    }
    if (!isCounted) {
        detail::SetModuleError(EINVAL, detail::SystemWords(EINVAL));
        return 0;
    }
    if (!code) return 1;
    if (::dlclose(code) == 0) {
        if (isLast) NoteIfGone(module, code, *loaderName);
        return 1;
    }
    char const* const words = ::dlerror();
    detail::SetModuleError(EINVAL, words ? KxxWidenText(words) : std::wstring());
    return 0;
}

void* GetProcAddress(HINSTANCE module, char const* name) {
    if (!name) return nullptr;
    if (!module) module = KxxGetProgram();
    Records& records = AllRecords();
    void* code = nullptr;
    std::shared_ptr<std::string const> loaderName;
    {
        std::lock_guard const guard(records.lock);
        if (Known(records, module)) {
            code = module->code;
            loaderName = module->loaderName;
        }
    }
    if (!code || !StillLoaded(*loaderName, code)) return nullptr;  // somebody else may have freed it
    void* address = ::dlsym(code, name);
    // The loader looks into the libraries that the module needs, too.
    if (address && MapOf(address) != code) address = nullptr;
    ::dlclose(code);
    return address;
}

KxString GetModuleFileName(HINSTANCE module) {
    if (!module) module = KxxGetProgram();
    Records& records = AllRecords();
    std::lock_guard const guard(records.lock);
    return Known(records, module) ? KxString(KxxFromSystemPath(module->path)) : KxString();
}

HINSTANCE KxxGetProgram() {
    // No local static with its guard: nothing may be held while the loader is asked.
    static constinit std::atomic<HINSTANCE> program = nullptr;
    if (!program) program = RecordOf(::dlopen(nullptr, RTLD_LAZY), 0);
    return program;
}

HINSTANCE KxxGetModuleOf(void const* address) {
    link_map* const map = MapOf(address);
    return map ? RecordOf(map, 0) : nullptr;
}

KxModuleError KxxGetModuleError() {
    return t_error.Get();
}

KxModuleHold::KxModuleHold(void const* address) {
    link_map* const map = MapOf(address);
    if (!map || map->l_name[0] == '\0') return;
    if (void* const code = ::dlopen(map->l_name, RTLD_LAZY | RTLD_NOLOAD)) m_module = RecordOf(code, 1);
}

}  // namespace KxN
