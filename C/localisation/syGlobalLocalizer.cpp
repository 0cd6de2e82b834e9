// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syModule.h"
#include "hbtools/localisation/syLocalizer.h"

#include <clocale>
#include <string>
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

bool IsLoaded(CDynLinkLibrary const* wanted) {
    bool isLoaded = false;
    CDynLinkLibrary::ForEach([&](CDynLinkLibrary const& library) { isLoaded = isLoaded || &library == wanted; });
    return isLoaded;
}

/// A source that stays is not set again.
void SetSources(HINSTANCE source) {
    if (AfxGetResourceHandle() != source) AfxSetResourceHandle(source);
    if (KxxGetProcessResourceHandle() != source) KxxSetProcessResourceHandle(source);
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

/// What one module is to have.
struct KxGlobalLocalizer::Choice {
    CDynLinkLibrary* library = nullptr;  // null: the program
    HINSTANCE satellite = nullptr;       // the one that was loaded, if any
    bool isUsed = false;                 // or left aside for its version
};

void KxGlobalLocalizer::DoLocalization(short versionCheck) {
    if (!m_isInitialKnown) m_initialSource = AfxGetResourceHandle();
    m_isInitialKnown = true;
    // Everything is found, loaded and compared before anything is changed: nobody sees a state between two languages, and
    // an exception leaves all as it was.
    std::vector<Choice> choices{Choice()};
    for (CDynLinkLibrary* const library : Libraries()) choices.push_back({library});
    KxTList<KxLanguage> list;
    bool const isBuiltIn = m_activeLanguage == m_moduleResourceLanguage;
    if (!isBuiltIn) SetupLanguageSearchList(list);
    m_program = KxxGetProgram();
    try {
        for (Choice& choice : choices)
            if (!isBuiltIn) Choose(choice, list, versionCheck);
    } catch (...) {
        for (Choice const& choice : choices)
            if (choice.satellite) AfxFreeLibrary(choice.satellite);
        throw;
    }
    Apply(choices);
    // A user's language that comes after another one is set as well.
    m_isThreadSet = m_isThreadSet || m_activeLanguage != KxLanguage();
    if (m_isThreadSet) KxxSetThreadLanguage(m_activeLanguage.GetLangID());
    // The run-time library knows languages by other names, and only those that are installed.
    std::string const locale = KxxGetLocaleName(m_activeLanguage.GetLangID()) + ".UTF-8";
    if (!std::setlocale(LC_CTYPE, locale.c_str())) std::setlocale(LC_CTYPE, "C.UTF-8");
}

/// Finds and loads the satellite of one module.
void KxGlobalLocalizer::Choose(Choice& choice, KxTList<KxLanguage> const& list, short versionCheck) {
    if (choice.library && choice.library->IsSystem()) return;
    HINSTANCE const module = choice.library ? choice.library->GetModule() : m_program;
    KxString const modulePath = module ? GetModuleFileName(module) : KxString();
    KxString path;
    KxLanguage found;
    if (!modulePath || !FindResourceDLL(modulePath, list, path, found) || found == m_moduleResourceLanguage) return;
    choice.satellite = KxxLoadSatellite(path);
    choice.isUsed = choice.satellite && CheckVersion(modulePath, path, versionCheck);
}

/// Each module changes at once from the source it has to the new one.
void KxGlobalLocalizer::Apply(std::vector<Choice> const& choices) {
    KxTMap<CDynLinkLibrary*, HINSTANCE> const former(m_satellites);
    for (auto const& element : former)
        if (element.value) m_replaced.AddTail(element.value);
    m_satellites.RemoveAll();
    for (auto const& [library, satellite, isUsed] : choices) {
        if (!library) {
            if (satellite && m_programSatellite) m_replaced.AddTail(m_programSatellite);
            if (satellite) m_programSatellite = satellite;
            SetSources(isUsed ? satellite : m_initialSource);
            continue;
        }
        m_satellites[library] = satellite;
        auto const* const before = former.Find(library);
        bool const isLocalised = before && before->value;
        if (isUsed ? library->GetResourceHandle() != satellite : isLocalised)
            library->SetResourceHandle(isUsed ? satellite : library->GetModule());
    }
}

void KxGlobalLocalizer::CleanUp() {
    // A destructor has to get by without memory: no list of what is loaded is made.
    for (auto const& element : m_satellites)
        if (element.value && IsLoaded(element.key)) element.key->SetResourceHandle(element.key->GetModule());
    for (auto const& element : m_satellites)
        if (element.value) AfxFreeLibrary(element.value);
    m_satellites.RemoveAll();
    for (HINSTANCE const satellite : m_replaced) AfxFreeLibrary(satellite);
    m_replaced.RemoveAll();
}

}  // namespace KxN
