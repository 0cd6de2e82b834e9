// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Texts by number. A module (this library, an application, an extension) carries one table of string
// resources, compiled from a text file by the build; KxResId names one text of one module and KxString looks
// it up at the moment of use: in the module's current resource source, which a localiser sets to a satellite, and then
// in the module itself. Look-ups take no lock and may run on any thread, also while a source is changed, and they work
// from the first line of main and in static initialisers.
//
// A text of a satellite whose placeholders do not fit those of the module's own text is not used (syPlaceholders.h).
#pragma once

#include "hbtools/base/syTypes.h"

#include <atomic>
#include <string_view>
#include <type_traits>

namespace KxN {

class KxString;

/// One text of a compiled table: UTF-8, ordered by id within the table.
struct SxStringResource {
    unsigned short id;
    char const* text;
};

/// What an extension module says of itself, filled in by AfxInitExtensionModule.
struct AFX_EXTENSION_MODULE {
    int bInitialized = 0;
    HINSTANCE hModule = nullptr;
    HINSTANCE hResource = nullptr;  ///< Where its texts come from at first: itself.
};

namespace detail {
class BoundTexts;
}

/// A module as the resource look-up sees it. `texts` must be ordered by id and outlive the object.
class KX_API CDynLinkLibrary {
public:
    /// Takes the two symbols that the build makes of a text file: `CDynLinkLibrary module(g_texts, &g_textsCount)`. For
    /// an application, whose texts AfxSetResourceModule makes known.
    constexpr CDynLinkLibrary(SxStringResource const* texts, std::size_t const* count)
        : m_texts(texts), m_count(count) {}
    /// A table made by hand.
    template <std::size_t N>
    explicit constexpr CDynLinkLibrary(SxStringResource const (&texts)[N])
        : m_texts(texts), m_ownCount(N), m_count(&m_ownCount) {}
    /// An extension module: it stands in the list of extension libraries until the object goes, which a static one does
    /// when its module is unloaded. A system library is one that localisers leave alone.
    ///
    ///     static KxN::AFX_EXTENSION_MODULE state;
    ///     static KxN::CDynLinkLibrary library(state, g_texts, &g_textsCount);
    CDynLinkLibrary(AFX_EXTENSION_MODULE& state, SxStringResource const* texts, std::size_t const* count,
                    int isSystem = 0);
    /// The same without texts of its own.
    explicit CDynLinkLibrary(AFX_EXTENSION_MODULE& state, int isSystem = 0);
    CDynLinkLibrary(CDynLinkLibrary const&) = delete;
    CDynLinkLibrary& operator=(CDynLinkLibrary const&) = delete;
    /// Nobody may look up its texts any more.
    ~CDynLinkLibrary();

    /// The text of that id as UTF-8, from the current source or else the module's own; empty if there is none. It lives
    /// as long as the module.
    std::string_view FindText(unsigned short id) const;
    /// The same as a string, which is the faster way for a text of a satellite.
    KxString LoadText(unsigned short id) const;

    /// The module that holds the table, or that the extension named; null for a table on the heap or the stack.
    HINSTANCE GetModule() const;
    /// Where texts come from: a satellite, or the module itself.
    HINSTANCE GetResourceHandle() const;
    /// Makes a satellite the source; any other handle makes it the module itself again. The satellite need not stay
    /// counted. Tells of each text that does not fit, see KxxSetTextReporter.
    void SetResourceHandle(HINSTANCE source);
    /// Non-zero for a system library, which localisers leave alone.
    int IsSystem() const { return m_isSystem; }

    /// Calls `visit(library, argument)` for the extension libraries, this one first and then in the order in which they
    /// came, under the lock of the list: `visit` notes what it needs and does nothing that could wait for another lock.
    static void ForEach(void (*visit)(CDynLinkLibrary& library, void* argument), void* argument);
    template <class Visit>
    static void ForEach(Visit&& visit) {
        ForEach([](CDynLinkLibrary& library,
                   void* argument) { (*static_cast<std::remove_reference_t<Visit>*>(argument))(library); },
                &visit);
    }

private:
    friend KX_API void AfxTermExtensionModule(AFX_EXTENSION_MODULE& state, int all);

    void Enlist();
    void Delist();
    char const* FindOwn(unsigned short id) const;
    detail::BoundTexts const* Bind(HINSTANCE satellite);

    SxStringResource const* m_texts;
    std::size_t m_ownCount = 0;
    std::size_t const* m_count;  // a pointer, so that a module object needs no code to come into being
    mutable std::atomic<HINSTANCE> m_module = nullptr;
    std::atomic<HINSTANCE> m_resource = nullptr;
    std::atomic<detail::BoundTexts const*> m_source = nullptr;  // null: the module itself
    detail::BoundTexts* m_bindings = nullptr;                   // all that were made, kept for those who look up
    CDynLinkLibrary* m_next = nullptr;
    bool m_isListed = false;
    int m_isSystem = 0;
};

/// The library's own resource module, the first of the list.
extern KX_API CDynLinkLibrary* const g_pHbToolsModule;

/// Fills the state in; without a handle the module is the one that holds `state`. Returns 1. For the start of an extension
/// module; the constructor of CDynLinkLibrary does it for a state that is still empty.
KX_API int AfxInitExtensionModule(AFX_EXTENSION_MODULE& state, HINSTANCE module = nullptr);
/// Takes all libraries of that module out of the list, before it goes; they stay their owner's. `all` changes nothing.
KX_API void AfxTermExtensionModule(AFX_EXTENSION_MODULE& state, int all = 0);

/// Tells the application's module, in which the look-up finds keys without a module, and returns the former one. It
/// stays the caller's. Null, as it is at the start, makes such keys find nothing. For the start of a program.
KX_API CDynLinkLibrary* AfxSetResourceModule(CDynLinkLibrary* module);
KX_API CDynLinkLibrary* AfxGetResourceModule();

/// The current resource handle, which is the source of the application's module: the program unless set.
KX_API HINSTANCE AfxGetResourceHandle();
KX_API void AfxSetResourceHandle(HINSTANCE source);
/// The resource handle of the process for code that has no part in the above, such as that of a toolkit; the program
/// unless set. Setting returns the former one.
KX_API HINSTANCE KxxGetProcessResourceHandle();
KX_API HINSTANCE KxxSetProcessResourceHandle(HINSTANCE source);

/// Is told one line for each text of a satellite that is not used; diagnostics brings it into the debug file. Returns the
/// former one. Lines that came while there was none are told at once, the first 100.
using KxTextReporter = void (*)(KxString const& line);
KX_API KxTextReporter KxxSetTextReporter(KxTextReporter reporter);

/// Key of a string resource: an id and the module that holds it: this library's unless given, null for the application's.
class KxResId {
public:
    explicit KxResId(unsigned short id, CDynLinkLibrary* module = g_pHbToolsModule) : m_id(id), m_module(module) {}
    unsigned short GetId() const { return m_id; }
    CDynLinkLibrary* GetModule() const { return m_module; }

private:
    unsigned short m_id;
    CDynLinkLibrary* m_module;
};

}  // namespace KxN
