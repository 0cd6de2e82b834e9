// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A module that is loaded when one of its functions is first needed, for parts that an installation may lack. A module
// or a function that is not there is a fault: the thread's translator throws a KxDllLoadException or a
// KxDllProcAddrException for it, and where the thread has none the same exception is thrown without it.
//
// A module object may be used by several threads, and by the static constructors of the module while it is loaded. It
// unloads the module when it is destroyed; its functions must not be called any more then. An exception that leaves a
// static constructor of the module ends the process: the system's loader lets none through.
//
//     KxN::KxDelayLoadedModule optics(L"Optics.dll");
//     optics.GetFunction<double(double)>("Refraction")(1.33);
#pragma once

#include "hbtools/base/syFault.h"
#include "hbtools/base/syString.h"

#include <atomic>
#include <string>

namespace KxN {

class KX_API KxDelayLoadedModule {
public:
    /// Loads nothing yet. A name is looked for by the rule of syModule.h; the module that calls is the one that calls this
    /// constructor.
    explicit KxDelayLoadedModule(KxString const& name);
    KxDelayLoadedModule(KxDelayLoadedModule const&) = delete;
    KxDelayLoadedModule& operator=(KxDelayLoadedModule const&) = delete;
    ~KxDelayLoadedModule();

    KxString const& GetName() const { return m_name; }

    /// The exported function of that name in UTF-8; no module has one for a null pointer. Never null.
    /// @throws KxDllLoadException with ENOENT if the module is nowhere, ENOEXEC if it is there and cannot be loaded, or
    /// lacks a module that it needs itself, each with the loader's own words; KxDllProcAddrException with ENOSYS if it
    /// has no such function
    void* GetFunction(char const* name);
    /// The function that the module exports as "Ordinal<number>", since numbers are no names to the system. Numbers
    /// beyond 16 bits are no function's.
    /// @throws the same; the text of the exception calls it "Ordinal 7"
    void* GetFunction(int ordinal);
    void* GetFunction(unsigned short ordinal) { return GetFunction(static_cast<int>(ordinal)); }

    /// The same with the type of the function.
    template <class FUNCTION, class KEY>
    FUNCTION* GetFunction(KEY key) {
        return reinterpret_cast<FUNCTION*>(GetFunction(key));
    }

private:
    void* Load();
    void* Find(char const* symbol, KxDelayLoadRecord record);

    KxString m_name;
    std::string m_folder;  // of the caller
    std::atomic<void*> m_handle = nullptr;
};

/// What an exception calls the function of the record: its name, or "Ordinal " and the number.
KX_API KxString KxxDelayLoadFunctionName(KxDelayLoadRecord const& record);

}  // namespace KxN
