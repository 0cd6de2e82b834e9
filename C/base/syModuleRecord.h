// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What stands behind the handle of a module, and what the sources of this room do with modules among themselves.
#pragma once

#include "hbtools/base/syModule.h"

#include "base/syTextTable.h"

#include <atomic>
#include <memory>
#include <string>

namespace KxN {

/// Records are made once and never freed, so that a handle may be looked at without a lock.
class KxModule {
public:
    std::atomic<detail::TextTable const*> texts = nullptr;  // of a satellite, for ever; null for code

    // The rest is guarded by the lock of all records.
    void* code = nullptr;  // as the loader knows it
    std::string path;      // absolute, as the system spells it
    // By which the loader knows the code; empty for the program. Shared: to free a module must take no memory.
    std::shared_ptr<std::string const> loaderName;
    bool isGone = false;  // the code; the loader may use its address again, and then the record too
    unsigned long count = 0;
    detail::FileIdentity identity;  // of a satellite
};

namespace detail {

/// Notes why something failed, for KxxGetModuleError.
void SetModuleError(int code, std::wstring text);
/// An error number in the system's words.
std::wstring SystemWords(int code);

/// One loaded module: code that was counted by the loader, or a satellite, or neither with the error set.
struct LoadedModule {
    void* code = nullptr;
    KxModule* satellite = nullptr;
    int error = 0;
};

/// The folder of the module that holds this code, with the slash; empty if it is unknown.
std::string FolderOf(void const* code);
/// KxxLoadLibrary for the module that has this code. @throws KxDllLoadException
HINSTANCE LoadBeside(KxString const& name, void const* caller);
/// Counts a module once more, wherever its file is by now; null if it is gone.
HINSTANCE CountAgain(HINSTANCE module);
/// Looks for a module and loads it; the error is noted too.
LoadedModule LoadByName(KxString const& name, std::string const& callerFolder);
/// Reads a satellite by its absolute path, or takes it up again. ENOENT if nothing is there, ENOEXEC for something else.
LoadedModule LoadSatellite(std::string const& path);
/// Counts a satellite that was read; `texts` is taken over unless somebody else was faster.
KxModule* AddSatellite(std::string const& path, FileIdentity const& identity, std::unique_ptr<TextTable const> texts);
/// A satellite that was read from this file when it held these very bytes, counted; null if there is none. Times of change
/// are too coarse to tell two states of a file.
KxModule* FindSatellite(std::string const& path, FileIdentity const& identity, std::string const& bytes);

}  // namespace detail
}  // namespace KxN
