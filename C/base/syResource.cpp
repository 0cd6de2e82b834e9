// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syResource.h"

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syPlaceholders.h"

#include "base/posix/syMutex.h"
#include "base/syModuleRecord.h"
#include "base/syTextIds.h"

#include <algorithm>
#include <vector>

// Made from Resources/hbtools.DEU by the build.
__attribute__((visibility("hidden"))) extern KxN::SxStringResource const g_hbtoolsTexts[];
__attribute__((visibility("hidden"))) extern std::size_t const g_hbtoolsTextsCount;

namespace KxN {

namespace detail {

/// A satellite as the source of one module. Made once for each pair and kept until the module goes, since somebody may be
/// looking up in it.
class BoundTexts {
public:
    HINSTANCE satellite = nullptr;
    TextTable const* texts = nullptr;
    std::vector<unsigned short> misfits;  // ordered
    BoundTexts* next = nullptr;

    TextTable::Entry const* Find(unsigned short id) const {
        TextTable::Entry const* const entry = texts->Find(id);
        return entry && !std::binary_search(misfits.begin(), misfits.end(), id) ? entry : nullptr;
    }
};

}  // namespace detail

namespace {

/// Texts are looked up until the very end of the process, so it has no destructor.
union OwnModule {
    constexpr OwnModule() : library(g_hbtoolsTexts, &g_hbtoolsTextsCount) {}
    ~OwnModule() {}
    CDynLinkLibrary library;
};
constinit OwnModule g_own;

constinit detail::Mutex g_listLock;     // of m_next and m_isListed; taken before the other one
constinit detail::Mutex g_bindingLock;  // of m_bindings
constinit detail::Mutex g_reportLock;
constinit KxTextReporter g_reporter = nullptr;
constinit std::vector<KxString>* g_waitingLines = nullptr;
constexpr std::size_t mostWaitingLines = 100;

constinit std::atomic<CDynLinkLibrary*> g_applicationModule = nullptr;
constinit std::atomic<HINSTANCE> g_resourceHandle = nullptr;
constinit std::atomic<HINSTANCE> g_processHandle = nullptr;

void Report(KxString const& line) {
    KxTextReporter reporter = nullptr;
    {
        std::lock_guard const guard(g_reportLock);
        reporter = g_reporter;
        if (!reporter) {
            if (!g_waitingLines) g_waitingLines = new std::vector<KxString>;
            if (g_waitingLines->size() < mostWaitingLines) g_waitingLines->push_back(line);
        }
    }
    if (reporter) reporter(line);
}

}  // namespace

constinit CDynLinkLibrary* const g_pHbToolsModule = &g_own.library;

CDynLinkLibrary::CDynLinkLibrary(AFX_EXTENSION_MODULE& state, SxStringResource const* texts, std::size_t const* count,
                                 int isSystem)
    : m_texts(texts), m_count(count), m_isSystem(isSystem) {
    if (!state.bInitialized) AfxInitExtensionModule(state);
    m_module = state.hModule;
    if (state.hResource != state.hModule) SetResourceHandle(state.hResource);
    Enlist();
}

CDynLinkLibrary::CDynLinkLibrary(AFX_EXTENSION_MODULE& state, int isSystem)
    : CDynLinkLibrary(state, nullptr, nullptr, isSystem) {}

CDynLinkLibrary::~CDynLinkLibrary() {
    Delist();
    CDynLinkLibrary* self = this;
    g_applicationModule.compare_exchange_strong(self, nullptr);
    while (m_bindings) delete std::exchange(m_bindings, m_bindings->next);
}

void CDynLinkLibrary::Enlist() {
    std::lock_guard const guard(g_listLock);
    CDynLinkLibrary* last = g_pHbToolsModule;
    while (last->m_next) last = last->m_next;
    last->m_next = this;
    m_isListed = true;
}

void CDynLinkLibrary::Delist() {
    std::lock_guard const guard(g_listLock);
    if (!m_isListed) return;
    CDynLinkLibrary* before = g_pHbToolsModule;
    while (before->m_next != this) before = before->m_next;
    before->m_next = std::exchange(m_next, nullptr);
    m_isListed = false;
}

void CDynLinkLibrary::ForEach(void (*visit)(CDynLinkLibrary& library, void* argument), void* argument) {
    g_pHbToolsModule->GetModule();  // asks the loader, which visitors must not
    std::lock_guard const guard(g_listLock);
    for (CDynLinkLibrary* library = g_pHbToolsModule; library; library = library->m_next) visit(*library, argument);
}

HINSTANCE CDynLinkLibrary::GetModule() const {
    HINSTANCE module = m_module;
    if (!module && m_texts) m_module = module = KxxGetModuleOf(m_texts);
    return module;
}

HINSTANCE CDynLinkLibrary::GetResourceHandle() const {
    HINSTANCE const resource = m_resource;
    return resource ? resource : GetModule();
}

void CDynLinkLibrary::SetResourceHandle(HINSTANCE source) {
    m_source = KxxIsSatellite(source) ? Bind(source) : nullptr;
    m_resource = source;
}

detail::BoundTexts const* CDynLinkLibrary::Bind(HINSTANCE satellite) {
    HINSTANCE const own = GetModule();  // asks the loader, which must not happen under the lock
    std::vector<KxString> lines;
    detail::BoundTexts const* bound = nullptr;
    {
        std::lock_guard const guard(g_bindingLock);
        for (bound = m_bindings; bound; bound = bound->next)
            if (bound->satellite == satellite) return bound;
        auto made = std::make_unique<detail::BoundTexts>();
        made->satellite = satellite;
        made->texts = satellite->texts;
        for (detail::TextTable::Entry const& entry : made->texts->GetEntries()) {
            char const* const text = FindOwn(entry.id);
            std::string_view const translated = made->texts->Text(entry);
            if (!text || KxxSamePlaceholders(text, translated)) continue;
            made->misfits.push_back(entry.id);
            std::string const placeholders = KxxListPlaceholders(text) + " / " + KxxListPlaceholders(translated);
            lines.emplace_back(KxxFormat(g_pHbToolsModule->LoadText(text::TextMisfit).View(), entry.id,
                                         GetModuleFileName(satellite), GetModuleFileName(own), placeholders));
        }
        made->next = m_bindings;
        m_bindings = made.release();
        bound = m_bindings;
    }
    for (KxString const& line : lines) Report(line);
    return bound;
}

char const* CDynLinkLibrary::FindOwn(unsigned short id) const {
    if (!m_texts) return nullptr;
    SxStringResource const* const end = m_texts + *m_count;
    SxStringResource const* const found = std::lower_bound(
        m_texts, end, id, [](SxStringResource const& entry, unsigned short key) { return entry.id < key; });
    return found != end && found->id == id ? found->text : nullptr;
}

std::string_view CDynLinkLibrary::FindText(unsigned short id) const {
    if (detail::BoundTexts const* const source = m_source)
        if (auto const* const entry = source->Find(id)) return source->texts->Text(*entry);
    char const* const own = FindOwn(id);
    return own ? std::string_view(own) : std::string_view();
}

KxString CDynLinkLibrary::LoadText(unsigned short id) const {
    if (detail::BoundTexts const* const source = m_source)
        if (auto const* const entry = source->Find(id)) return source->texts->WideText(*entry);
    char const* const own = FindOwn(id);
    return own ? KxString(KxxWidenUtf8(own)) : KxString();
}

int AfxInitExtensionModule(AFX_EXTENSION_MODULE& state, HINSTANCE module) {
    state.hModule = state.hResource = module ? module : KxxGetModuleOf(&state);
    state.bInitialized = 1;
    return 1;
}

void AfxTermExtensionModule(AFX_EXTENSION_MODULE& state, int) {
    std::vector<CDynLinkLibrary*> gone;
    if (state.hModule)  // of a state on the heap nobody knows the module
        CDynLinkLibrary::ForEach([&](CDynLinkLibrary& library) {
            // Not by GetModule, which may ask the loader.
            if (library.m_module == state.hModule) gone.push_back(&library);
        });
    for (CDynLinkLibrary* const library : gone) library->Delist();
    state.bInitialized = 0;
}

CDynLinkLibrary* AfxSetResourceModule(CDynLinkLibrary* module) {
    if (module) module->SetResourceHandle(AfxGetResourceHandle());
    return g_applicationModule.exchange(module);
}

CDynLinkLibrary* AfxGetResourceModule() {
    return g_applicationModule;
}

HINSTANCE AfxGetResourceHandle() {
    HINSTANCE const source = g_resourceHandle;
    return source ? source : KxxGetProgram();
}

void AfxSetResourceHandle(HINSTANCE source) {
    g_resourceHandle = source;
    if (CDynLinkLibrary* const application = g_applicationModule) application->SetResourceHandle(source);
}

HINSTANCE KxxGetProcessResourceHandle() {
    HINSTANCE const source = g_processHandle;
    return source ? source : KxxGetProgram();
}

HINSTANCE KxxSetProcessResourceHandle(HINSTANCE source) {
    HINSTANCE const former = g_processHandle.exchange(source);
    return former ? former : KxxGetProgram();
}

KxTextReporter KxxSetTextReporter(KxTextReporter reporter) {
    std::vector<KxString> lines;
    KxTextReporter former = nullptr;
    {
        std::lock_guard const guard(g_reportLock);
        former = std::exchange(g_reporter, reporter);
        if (reporter && g_waitingLines) lines.swap(*g_waitingLines);
    }
    for (KxString const& line : lines) reporter(line);
    return former;
}

}  // namespace KxN
