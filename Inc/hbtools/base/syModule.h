// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Modules: shared objects that a program loads by name while it runs, and satellites, which carry texts in another
// language. A satellite is data: its texts are read and checked, nothing of it is ever executed. Modules are counted;
// what was freed as often as it was loaded is gone, and whoever uses something of a module holds it meanwhile
// (KxModuleHold). A thread holds the module of the function it was started with, or of its class, until it has ended: to
// free the module defers the unloading so long. Nothing else is held for a module: its objects, the functions that it has
// registered and the threads that it has started by other means are to end before it is freed. The handle of a module that
// is gone has no functions and no path, and may come back for another one. The texts of a satellite stay in memory for the
// life of the process, since any thread may be reading them; loading the same file again takes them up again.
//
// A name with a folder must be an absolute path. One without, such as "Optics.dll", is looked for as it stands, then as
// "libOptics.so" and as "Optics.so" (the end ".dll" is dropped), each beside the module that calls, beside the program and
// where the system looks for libraries; at last among the modules that are loaded already. The working directory is no
// such place, whatever the environment says: while LD_LIBRARY_PATH or the like names a relative folder, only the absolute
// ones are searched, without the loader and what it alone knows. Only regular, whole files are loaded.
//
// All operations may be called by any thread, by static constructors of a module that is just loaded too. An exception
// that leaves a static constructor ends the process: the system's loader lets none through.
#pragma once

#include "hbtools/base/syString.h"
#include "hbtools/base/syVersion.h"

#include <utility>

namespace KxN {

/// Loads a module, or counts it once more, also if it is known by another path. Null if that fails, with the reason in
/// KxxGetModuleError. A file with texts for another language becomes a satellite.
KX_API HINSTANCE AfxLoadLibrary(wchar_t const* name);
/// The same, with an exception. @throws KxDllLoadException with the system error number and the loader's own words
KX_API HINSTANCE KxxLoadLibrary(KxString const& name);
/// Loads a satellite by its absolute path; a file that is none is refused with ENOEXEC. Null as above.
KX_API HINSTANCE KxxLoadSatellite(KxString const& path);
/// Whether the handle is a satellite's.
KX_API int KxxIsSatellite(HINSTANCE module);

/// Counts down, and unloads a module that nobody counts any more. 0 if there is no such module or if it was not loaded by
/// one of the above, with the reason in KxxGetModuleError.
KX_API int AfxFreeLibrary(HINSTANCE module);
/// The same, with an exception. @throws KxDllFreeException
KX_API void KxxFreeLibrary(HINSTANCE module);

/// The function or datum that this very module exports under that name in UTF-8; null if it has none, which is always so
/// for a satellite. A null handle is the program.
KX_API void* GetProcAddress(HINSTANCE module, char const* name);
/// The same with the type of the function.
template <class FUNCTION>
FUNCTION* KxxGetFunction(HINSTANCE module, char const* name) {
    return reinterpret_cast<FUNCTION*>(GetProcAddress(module, name));
}

/// The absolute path of a module, of the program for null; empty for a handle that is none.
KX_API KxString GetModuleFileName(HINSTANCE module = nullptr);
/// The handle of the program, which is not counted.
KX_API HINSTANCE KxxGetProgram();
/// The module that holds this code or constant, not counted; null if none does.
KX_API HINSTANCE KxxGetModuleOf(void const* address);
/// The name of a module without what changes from one installation to the next: "/usr/lib/libOptics.so.3.1" and
/// "libOptics.so" are "libOptics", "C/App.exe" is "App". For names that are built on that of a module.
KX_API KxString KxxGetModuleBaseName(KxString const& path);

/// Why the last operation of the calling thread failed that loads or frees modules or, here or in syDelayLoad.h, looks
/// for one. It stays until the next one fails.
struct KxModuleError {
    unsigned long code =
        0;          ///< A system error number: ENOENT if there is no such file, ENOEXEC if it cannot be loaded.
    KxString text;  ///< The loader's own words, or ours where it was not asked.
};
KX_API KxModuleError KxxGetModuleError();

/// Keeps a module loaded while objects, texts, types or threads of it live. The program needs none. It must not be a
/// member of what the module brings: the module would be gone within its own code.
class KX_API KxModuleHold {
public:
    KxModuleHold() = default;
    /// Holds the module that holds this code or constant, such as the function that makes an object or its class.
    explicit KxModuleHold(void const* address);
    /// Takes over one count of what was loaded.
    explicit KxModuleHold(HINSTANCE loaded) : m_module(loaded) {}
    KxModuleHold(KxModuleHold&& other) noexcept : m_module(std::exchange(other.m_module, nullptr)) {}
    KxModuleHold& operator=(KxModuleHold&& other) noexcept {
        std::swap(m_module, other.m_module);
        return *this;
    }
    ~KxModuleHold();

    HINSTANCE GetModule() const { return m_module; }

private:
    HINSTANCE m_module = nullptr;
};

/// A module that is loaded and of a certain version, as long as the object lives. Its version is what its exported
/// function `unsigned short KxxModuleVersion()`, of C linkage, returns; 0 without one.
class KX_API KxDll {
public:
    /// Looks for the name beside the module that makes the object, too.
    /// @throws KxDllLoadException if it cannot be loaded, KxVersionException if it is older than `required`
    KxDll(KxString const& name, KxVersion required);
    /// The same module once more, whatever has become of its file.
    KxDll(KxDll const& other);
    KxDll& operator=(KxDll const& other);
    virtual ~KxDll();

    KxVersion GetVersion() const { return m_version; }
    KxString GetName() const { return m_name; }
    HINSTANCE GetModule() const { return m_hold.GetModule(); }
    /// Never null. @throws KxDllProcAddrException
    void* GetFunction(char const* name) const;

private:
    KxString m_name;
    KxVersion m_version;
    KxModuleHold m_hold;
};

}  // namespace KxN
