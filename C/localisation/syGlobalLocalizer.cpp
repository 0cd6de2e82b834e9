// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syModule.h"
#include "hbtools/localisation/syLocalizer.h"

#include <clocale>
#include <vector>

namespace KxN {

namespace {

constexpr int bucketCount = 61;

KxTHashFunction<CDynLinkLibrary*> const& LibraryHash() {
    static KxTPointerHashFunction<CDynLinkLibrary> const hash;
    return hash;
}

/// What is loaded now. Nothing is done under the lock of the list: modules wait for it while the loader runs.
std::vector<CDynLinkLibrary*> Libraries() {
    std::vector<CDynLinkLibrary*> libraries;
    CDynLinkLibrary::ForEach([&](CDynLinkLibrary& library) { libraries.push_back(&library); });
    return libraries;
}

void SetSources(HINSTANCE source) {
    AfxSetResourceHandle(source);
    KxxSetProcessResourceHandle(source);
}

}  // namespace

KxGlobalLocalizer* KxGlobalLocalizer::m_pGlobalLocalizer = nullptr;

KxGlobalLocalizer::KxGlobalLocalizer() : m_satellites(&LibraryHash(), bucketCount) {
    m_pGlobalLocalizer = this;
}

KxGlobalLocalizer::~KxGlobalLocalizer() {
    KxGlobalLocalizer::CleanUp();
    m_pGlobalLocalizer = nullptr;
}

void KxGlobalLocalizer::DoLocalization(short versionCheck) {
    if (!m_isInitialKnown) m_initialSource = AfxGetResourceHandle();
    m_isInitialKnown = true;
    ResetLibraries();
    if (m_activeLanguage == m_moduleResourceLanguage) {
        SetSources(m_initialSource);
    } else {
        KxTList<KxLanguage> list;
        SetupLanguageSearchList(list);
        LocalizeProgram(list, versionCheck);
        for (CDynLinkLibrary* const library : Libraries()) LocalizeLibrary(*library, list, versionCheck);
    }
    // A user's language that comes after another one is set as well.
    m_isThreadSet = m_isThreadSet || m_activeLanguage != KxLanguage();
    if (m_isThreadSet) KxxSetThreadLanguage(m_activeLanguage.GetLangID());
    // The run-time library knows languages by other names, and only those that are installed.
    std::setlocale(LC_CTYPE, (KxxGetLocaleName(m_activeLanguage.GetLangID()) + ".UTF-8").c_str());
}

void KxGlobalLocalizer::LocalizeProgram(KxTList<KxLanguage> const& list, short versionCheck) {
    m_program = KxxGetProgram();
    KxString const program = GetModuleFileName(m_program);
    KxString path;
    KxLanguage found;
    SetSources(m_initialSource);
    if (!FindResourceDLL(program, list, path, found) || found == m_moduleResourceLanguage) return;
    if (m_programSatellite) m_replaced.AddTail(m_programSatellite);
    m_programSatellite = KxxLoadSatellite(path);
    if (m_programSatellite && CheckVersion(program, path, versionCheck)) SetSources(m_programSatellite);
}

void KxGlobalLocalizer::LocalizeLibrary(CDynLinkLibrary& library, KxTList<KxLanguage> const& list, short versionCheck) {
    KxString path;
    KxLanguage found;
    HINSTANCE const module = library.GetModule();
    KxString const modulePath = module ? GetModuleFileName(module) : KxString();
    if (library.IsSystem() || !modulePath || !FindResourceDLL(modulePath, list, path, found) ||
        found == m_moduleResourceLanguage)
        return Enter(library, nullptr);
    HINSTANCE const satellite = KxxLoadSatellite(path);
    Enter(library, satellite);
    if (satellite && CheckVersion(modulePath, path, versionCheck)) library.SetResourceHandle(satellite);
}

void KxGlobalLocalizer::Enter(CDynLinkLibrary& library, HINSTANCE satellite) {
    m_satellites[&library] = satellite;
}

void KxGlobalLocalizer::ResetLibraries() {
    for (CDynLinkLibrary* const library : Libraries()) {
        auto* const element = m_satellites.Find(library);
        if (element && element->value) library->SetResourceHandle(library->GetModule());
    }
    for (auto const& element : m_satellites)
        if (element.value) m_replaced.AddTail(element.value);
    m_satellites.RemoveAll();
}

void KxGlobalLocalizer::CleanUp() {
    ResetLibraries();
    for (HINSTANCE const satellite : m_replaced) AfxFreeLibrary(satellite);
    m_replaced.RemoveAll();
}

}  // namespace KxN
