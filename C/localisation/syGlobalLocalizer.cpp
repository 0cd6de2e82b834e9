// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syModule.h"
#include "hbtools/localisation/syLocalizer.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <clocale>
#include <string>
#include <string_view>
#include <utility>
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

/// Where texts without a module come from. A source that stays is not set again.
struct Sources {
    HINSTANCE application = AfxGetResourceHandle(), process = KxxGetProcessResourceHandle();
    void Set() const {
        if (AfxGetResourceHandle() != application) AfxSetResourceHandle(application);
        if (KxxGetProcessResourceHandle() != process) KxxSetProcessResourceHandle(process);
    }
};

/// The run-time library knows languages by other names, and only those that are installed. What is not is looked for once:
/// that takes files, and the library loses memory over it when there is none.
void SetRunTimeLocale(char const* name, unsigned short language) {
    static constinit std::array<std::atomic<unsigned short>, 64> missing;
    auto const place = std::find_if(missing.begin(), missing.end(),
                                    [&](auto const& entry) { return entry == language || entry == 0; });
    bool const isMissing = place != missing.end() && *place == language && language != 0;
    errno = 0;
    if (!isMissing && std::setlocale(LC_CTYPE, name)) return;
    if (place != missing.end() && errno != ENOMEM) *place = language;
    char const* const now = std::setlocale(LC_CTYPE, nullptr);
    if (!now || std::string_view(now) != "C.UTF-8") std::setlocale(LC_CTYPE, "C.UTF-8");
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
    unsigned short const id = m_activeLanguage.GetLangID();
    std::string const locale = KxxGetLocaleName(id) + ".UTF-8";
    try {
        for (Choice& choice : choices)
            if (!isBuiltIn) Choose(choice, list, versionCheck);
        Apply(choices);
    } catch (...) {
        for (Choice const& choice : choices)
            if (choice.satellite) AfxFreeLibrary(choice.satellite);
        throw;
    }
    // A user's language that comes after another one is set as well.
    m_isThreadSet = m_isThreadSet || m_activeLanguage != KxLanguage();
    if (m_isThreadSet) KxxSetThreadLanguage(id);
    SetRunTimeLocale(locale.c_str(), id);
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

/// Each module changes at once from the source it has to the new one: all of them, or none.
void KxGlobalLocalizer::Apply(std::vector<Choice> const& choices) {
    KxTMap<CDynLinkLibrary*, HINSTANCE> satellites(&LibraryHash(), bucketCount);
    KxTList<HINSTANCE> replaced(m_replaced);
    HINSTANCE program = nullptr;
    for (auto const& element : m_satellites)
        if (element.value) replaced.AddTail(element.value);
    for (Choice const& choice : choices) {
        if (choice.library)
            satellites[choice.library] = choice.satellite;
        else
            program = choice.satellite;
    }
    if (program && m_programSatellite) replaced.AddTail(m_programSatellite);

    Sources const former{};
    std::vector<std::pair<CDynLinkLibrary*, HINSTANCE>> changed;
    changed.reserve(choices.size());
    try {
        for (auto const& [library, satellite, isUsed] : choices) {
            if (!library) {
                HINSTANCE const source = isUsed ? satellite : m_initialSource;
                Sources{source, source}.Set();
                continue;
            }
            auto const* const before = m_satellites.Find(library);
            bool const isLocalised = before && before->value;
            if (isUsed ? library->GetResourceHandle() == satellite : !isLocalised) continue;
            changed.emplace_back(library, library->GetResourceHandle());
            library->SetResourceHandle(isUsed ? satellite : library->GetModule());
        }
    } catch (...) {  // back to sources that were set before, which takes no memory
        for (auto const& [library, source] : changed) library->SetResourceHandle(source);
        former.Set();
        throw;
    }
    m_satellites = std::move(satellites);
    m_replaced = std::move(replaced);
    if (program) m_programSatellite = program;
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
