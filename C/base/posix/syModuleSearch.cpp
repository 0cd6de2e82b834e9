// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Where a module is looked for, and what is tried before the loader gets it: the loader waits for ever at a pipe, dies of
// a file that was cut, and would look into the working directory where the environment says so.
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syResource.h"

#include "base/posix/syElfFile.h"
#include "base/syModuleRecord.h"
#include "base/syTextIds.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>

namespace KxN::detail {

namespace {

constexpr int mode = RTLD_NOW | RTLD_LOCAL;
constexpr std::string_view textSection = ".hbtools.texts";

/// Notes a failure; `message` is one of our texts, which gets the path.
template <class... Arguments>
LoadedModule Failed(int code, text::Id message, std::string const& path, Arguments... arguments) {
    SetModuleError(code, KxxFormat(KxString(KxResId(message)).View(), KxxFromSystemPath(path), arguments...));
    return {nullptr, nullptr, code};
}

/// Notes what the loader said.
LoadedModule FailedByLoader(int code, std::string const& path) {
    char const* const words = ::dlerror();
    SetModuleError(code, words ? KxxWidenText(words) : KxxFromSystemPath(path));
    return {nullptr, nullptr, code};
}

LoadedModule FailedBySystem(int code, std::string const& path) {
    SetModuleError(code, KxxFromSystemPath(path) + L": " + SystemWords(code));
    return {nullptr, nullptr, code};
}

/// The satellite in an open file; none, with the error noted, if its table is not as it should be.
LoadedModule ReadSatellite(std::string const& path, Descriptor const& file, unsigned long long offset,
                           unsigned long long size) {
    struct stat status {};
    if (::fstat(file.GetNumber(), &status) != 0) return FailedBySystem(errno, path);
    if (size > KxxLimits().satelliteBytes) return Failed(ENOEXEC, text::SatelliteTooLarge, path);
    std::string bytes(size, '\0');
    std::size_t got = 0;
    if (int const error = file.ReadAt(bytes.data(), bytes.size(), offset, got)) return FailedBySystem(error, path);
    if (got != bytes.size()) return Failed(ENOEXEC, text::ModuleCut, path);
    FileIdentity const identity{status.st_dev, status.st_ino};
    if (KxModule* const known = FindSatellite(path, identity, bytes)) return {nullptr, known, 0};
    std::unique_ptr<TextTable const> texts;
    std::size_t entry = 0;
    switch (TextTable::Read(std::move(bytes), texts, entry)) {
        case TextTable::Fault::none: return {nullptr, AddSatellite(path, identity, std::move(texts)), 0};
        case TextTable::Fault::tooLarge: return Failed(ENOEXEC, text::SatelliteTooLarge, path);
        case TextTable::Fault::unknownFormat: return Failed(ENOEXEC, text::SatelliteFormat, path);
        default: return Failed(ENOEXEC, text::SatelliteDamaged, path, entry);
    }
}

/// Loads what is there under an absolute path, as data if it is a satellite.
LoadedModule LoadPath(std::string const& path, bool mayBeCode) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return FailedBySystem(errno == ENOTDIR ? ENOENT : errno, path);
    if (!S_ISREG(status.st_mode)) return Failed(ENOEXEC, text::ModuleNoFile, path);
    Descriptor file;
    ElfFile elf;
    int error = file.Open(path, Descriptor::read);
    if (error == 0) error = elf.Open(file);
    if (error != 0) return FailedBySystem(error, path);
    if (elf.GetState() == ElfFile::State::isCut) return Failed(ENOEXEC, text::ModuleCut, path);
    unsigned long long offset = 0, size = 0;
    if (elf.FindSection(textSection, offset, size)) return ReadSatellite(path, file, offset, size);
    if (!mayBeCode) return Failed(ENOEXEC, text::ModuleNoSatellite, path);
    if (elf.GetState() == ElfFile::State::isForeign) return Failed(ENOEXEC, text::ModuleForeign, path);
    if (void* const code = ::dlopen(path.c_str(), mode)) return {code, nullptr, 0};
    return FailedByLoader(ENOEXEC, path);
}

/// The folders in which the system looks for libraries, as far as it tells.
std::vector<std::string> SystemFolders() {
    static char const here = 0;
    Dl_info info{};
    link_map* module = nullptr;
    Dl_serinfo size{};
    if (::dladdr1(&here, &info, reinterpret_cast<void**>(&module), RTLD_DL_LINKMAP) == 0 || !module ||
        ::dlinfo(module, RTLD_DI_SERINFOSIZE, &size) != 0)
        return {};
    std::vector<Dl_serinfo> memory(size.dls_size / sizeof(Dl_serinfo) + 1, size);
    Dl_serinfo& folders = memory.front();
    if (::dlinfo(module, RTLD_DI_SERINFO, &folders) != 0) return {};
    std::vector<std::string> names;
    Dl_serpath const* const paths = folders.dls_serpath;
    for (unsigned int i = 0; i < folders.dls_cnt; ++i) {
        std::string const name = paths[i].dls_name;
        names.emplace_back(name.empty() ? "./" : name + "/");
    }
    return names;
}

bool IsThere(std::string const& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

/// The path of a module that is loaded already and has this name but for its version; empty if there is none.
std::string LoadedPath(std::string const& name) {
    struct Search {
        KxString wanted;
        std::string path;
    } search{KxxGetModuleBaseName(KxxFromSystemPath(name)), {}};
    ::dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* data) {
            auto& s = *static_cast<Search*>(data);
            bool const isPath = info->dlpi_name && info->dlpi_name[0] == '/';
            if (isPath && KxxGetModuleBaseName(KxxFromSystemPath(info->dlpi_name)) == s.wanted)
                s.path = info->dlpi_name;
            return s.path.empty() ? 0 : 1;
        },
        &search);
    return search.path;
}

/// The search for a plain name: every spelling in every place.
class Search {
public:
    explicit Search(std::string const& callerFolder) : m_folders(SystemFolders()) {
        auto const isRelative = [](std::string const& folder) { return !folder.starts_with('/'); };
        // The loader would look there, and in folders below that only it knows.
        m_mayAskLoader = std::erase_if(m_folders, isRelative) == 0;
        for (std::string const& own : {FolderOf(nullptr), callerFolder})
            if (!own.empty()) m_folders.insert(m_folders.begin(), own);
    }

    LoadedModule Run(std::string const& name) {
        std::string_view stem = name;
        for (std::string_view const end : {".dll", ".DLL"})
            if (stem.ends_with(end)) stem.remove_suffix(end.size());
        std::string const shared = std::string(stem) + ".so";
        for (std::string const& spelling : {name, "lib" + shared, shared})
            if (Try(spelling)) return m_loaded;
        for (std::string const& spelling : {"lib" + shared, shared})
            if (TryPath(LoadedPath(spelling))) return m_loaded;
        // The first that is there and cannot be loaded is the reason.
        if (m_reason) {
            SetModuleError(ENOEXEC, m_reason->text.GetStr());
            return {nullptr, nullptr, ENOEXEC};
        }
        return FailedBySystem(ENOENT, name);
    }

private:
    bool TryPath(std::string const& path) {
        if (path.empty() || !IsThere(path)) return false;
        m_loaded = LoadPath(path, true);
        if (m_loaded.error != 0 && !m_reason) m_reason = KxxGetModuleError();
        return m_loaded.error == 0;
    }

    bool Try(std::string const& spelling) {
        bool mayAskLoader = m_mayAskLoader;
        for (std::string const& folder : m_folders) {
            std::string const path = folder + spelling;
            if (!IsThere(path)) continue;
            if (TryPath(path)) return true;
            mayAskLoader = false;
        }
        // What the system knows by its cache alone.
        if (!mayAskLoader) return false;
        m_loaded = {::dlopen(spelling.c_str(), mode), nullptr, 0};
        if (m_loaded.code) return true;
        char const* const words = ::dlerror();
        std::string const told = words ? words : "";
        // Only of a library that is nowhere the loader says so by the name that it was asked for.
        if (told.starts_with(spelling + ": ") && told.ends_with(std::string(": ") + std::strerror(ENOENT)))
            return false;
        if (!m_reason) m_reason = KxModuleError{ENOEXEC, KxxWidenText(told)};
        return false;
    }

    std::vector<std::string> m_folders;  // absolute ones
    bool m_mayAskLoader = false;
    std::optional<KxModuleError> m_reason;
    LoadedModule m_loaded;
};

}  // namespace

std::wstring SystemWords(int code) {
    return KxxWidenText(std::strerror(code));
}

std::string FolderOf(void const* code) {
    std::string path;
    Dl_info info{};
    link_map* module = nullptr;
    if (code && (::dladdr1(code, &info, reinterpret_cast<void**>(&module), RTLD_DL_LINKMAP) == 0 || !module)) return {};
    if (module) path = module->l_name;
    std::error_code ignored;
    if (path.empty()) path = std::filesystem::read_symlink("/proc/self/exe", ignored);  // the program itself
    return path.starts_with('/') ? path.substr(0, path.rfind('/') + 1) : std::string();
}

LoadedModule LoadByName(KxString const& name, std::string const& callerFolder) {
    std::string const path = KxxToSystemPath(name.View());
    if (path.empty() || path.find('\0') != path.npos) return FailedBySystem(ENOENT, path.substr(0, path.find('\0')));
    if (path.find('/') == path.npos) return Search(callerFolder).Run(path);
    if (!path.starts_with('/')) return Failed(ENOENT, text::ModuleRelative, path);
    return LoadPath(path, true);
}

LoadedModule LoadSatellite(std::string const& path) {
    if (path.find('\0') != path.npos) return FailedBySystem(ENOENT, path.substr(0, path.find('\0')));
    if (!path.starts_with('/')) return Failed(ENOENT, text::ModuleRelative, path);
    return LoadPath(path, false);
}

}  // namespace KxN::detail
