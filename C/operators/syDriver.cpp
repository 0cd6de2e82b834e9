// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/operators/syDriver.h"

#include "hbtools/base/syException.h"

#include "base/syModuleRecord.h"

#include <cerrno>

namespace KxN {

KxDriverObject::~KxDriverObject() = default;

KxTMem<KxParameter*> KxDriverObject::GetParameter() const {
    return {};
}

void KxDriverObject::SetParameter(KxTMem<KxParameter*> const&) {
    throw new KxNotImplementedException(L"syDriverObj", 63, L"KxDriverObject::SetParameter");
}

void KxDriverObject::SaveParameter(KxString const&, KxString const&) const {}

void KxDriverObject::LoadParameter(KxString const&, KxString const&) {}

KxDriver::KxDriver(KxString const& name) : m_name(name) {}

KxDriver::~KxDriver() {
    if (!m_isInitialized) return;
    while (!m_objects.IsEmpty()) delete m_objects.Remove(0);
    delete m_dll;
    AfxFreeLibrary(m_module);  // a destructor has nobody to tell a failure
}

template <class FUNCTION>
FUNCTION* KxDriver::Find(char const* function) const {
    if (auto* const found = KxxGetFunction<FUNCTION>(m_module, function)) return found;
    throw new KxDllProcAddrException(m_name, function, ENOSYS);
}

[[gnu::noinline]] void KxDriver::Init() {
    m_isInitialized = 0;
    m_module = detail::LoadBeside(m_name, __builtin_return_address(0));
    m_newDll = Find<NewDllFunction>("NewDll");
    m_newObject = Find<NewObjectFunction>("NewObject");
    m_dll = m_newDll(m_name);
    if (!m_dll) throw new KxDllLoadException(m_name, ENODEV, L"NewDll: " + detail::SystemWords(ENODEV));
    m_isInitialized = 1;
}

KxVersion KxDriver::GetVersion() {
    return m_dll->GetVersion();
}

KxDriverObject* KxDriver::NewDriverObject() {
    KxDriverObject* const object = m_newObject(*this);
    try {
        m_objects.Append(object);
    } catch (...) {
        delete object;  // which nobody else could reach
        throw;
    }
    return object;
}

void KxDriver::DeleteObject(KxDriverObject* object) {
    auto const index = m_objects.Find(object);
    if (index < 0) return;
    delete m_objects.Remove(index);
}

}  // namespace KxN
