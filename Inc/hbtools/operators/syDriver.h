// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Drivers: modules that an application loads by name and that hand out objects of one family, such as devices of one kind. The
// family is a class of the application that derives from KxDriverObject; objects carry parameters, so that any application can
// show and store the settings of a device it knows nothing of. A module exports two functions of C linkage:
//
//     extern "C" KxN::KxDll* NewDll(KxN::KxString const& name) { return new KxN::KxDll(name, 100); }
//     extern "C" KxN::KxDriverObject* NewObject(KxN::KxDriver& driver) { return new LaserScanner; }
//
// Objects end before their module does; whoever keeps a pointer must let go of it before the driver ends. What a module's code
// throws passes through. A driver belongs to one thread at a time.
#pragma once

#include "hbtools/base/syModule.h"
#include "hbtools/base/syVersion.h"
#include "hbtools/core/syMem.h"
#include "hbtools/core/sySVQueue.h"

namespace KxN {

class KxParameter;

/// What a driver hands out. An application's family of drivers derives from it.
class KX_API KxDriverObject {
public:
    KxDriverObject() = default;
    virtual ~KxDriverObject() = 0;

    /// The settings, which stay the object's; none unless overridden.
    virtual KxTMem<KxParameter*> GetParameter() const;
    /// Takes the values of such a list. @throws KxNotImplementedException unless overridden
    virtual void SetParameter(KxTMem<KxParameter*> const& parameters);
    /// Stores and restores the settings. What the two texts mean is the family's affair, such as a file and a group in it.
    /// Nothing happens unless overridden.
    virtual void SaveParameter(KxString const& file, KxString const& group) const;
    virtual void LoadParameter(KxString const& file, KxString const& group);

protected:
    KxDriverObject(KxDriverObject const&) = default;
    KxDriverObject& operator=(KxDriverObject const&) = default;
};

/// A driver's module. Derived classes publish NewDriverObject with the family's type.
class KX_API KxDriver {
public:
    /// Takes the module's name, see KxxLoadLibrary; nothing is loaded yet.
    explicit KxDriver(KxString const& name);
    /// A copy believes that it owns the same module and objects: only drivers that were not initialised may be copied.
    KxDriver(KxDriver const&) = default;
    KxDriver& operator=(KxDriver const&) = default;
    /// Ends the objects that were not deleted, first made first, then the module. Does nothing before Init.
    virtual ~KxDriver();

    /// Loads the module, which may stand beside the one that calls, and finds its functions. If that fails the module
    /// stays loaded, and the driver does nothing with it.
    /// @throws KxDllLoadException with the loader's own words, or with ENODEV if NewDll returns null
    /// @throws KxDllProcAddrException naming the function that is missing, with ENOSYS
    void Init();
    /// The module's, only after Init.
    KxVersion GetVersion();
    /// Deletes one of the driver's objects, for which it looks at each; any other pointer is left alone.
    void DeleteObject(KxDriverObject* object);

    KxString const& GetName() const { return m_name; }
    int IsInitialized() const { return m_isInitialized; }

protected:
    /// A new object, which stays the driver's. Only after Init.
    KxDriverObject* NewDriverObject();

private:
    using NewDllFunction = KxDll*(KxString const&);
    using NewObjectFunction = KxDriverObject*(KxDriver&);

    template <class FUNCTION>
    FUNCTION* Find(char const* function) const;

    KxString m_name;
    HINSTANCE m_module = nullptr;
    KxDll* m_dll = nullptr;
    KxTSVQueue<KxDriverObject*> m_objects{1024, 16, 16};
    int m_isInitialized = 0;
    NewDllFunction* m_newDll = nullptr;
    NewObjectFunction* m_newObject = nullptr;
};

}  // namespace KxN
