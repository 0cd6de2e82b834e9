// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Texts by number. A module (this library, an application, an extension) carries one table of string
// resources, compiled from a text file by the build; KxResId names one text of one module and KxString looks
// it up at the moment of use. Tables are constant data: look-ups take no lock and may run on any thread, and
// they work from the first line of main and in static initialisers.
#pragma once

#include "hbtools/base/syTypes.h"

#include <string_view>

namespace KxN {

/// One text of a compiled table: UTF-8, ordered by id within the table.
struct SxStringResource {
    unsigned short id;
    char const* text;
};

/// A module as the resource look-up sees it. `texts` must be ordered by id and outlive the object.
class KX_API CDynLinkLibrary {
public:
    /// Takes the two symbols that the build makes of a text file: `CDynLinkLibrary module(g_texts, &g_textsCount)`.
    constexpr CDynLinkLibrary(SxStringResource const* texts, std::size_t const* count)
        : m_texts(texts), m_count(count) {}
    /// A table made by hand.
    template <std::size_t N>
    explicit constexpr CDynLinkLibrary(SxStringResource const (&texts)[N])
        : m_texts(texts), m_ownCount(N), m_count(&m_ownCount) {}
    CDynLinkLibrary(CDynLinkLibrary const&) = delete;
    CDynLinkLibrary& operator=(CDynLinkLibrary const&) = delete;

    /// The text of that id as UTF-8; empty if the module has none.
    std::string_view FindText(unsigned short id) const;

private:
    SxStringResource const* m_texts;
    std::size_t m_ownCount = 0;
    std::size_t const* m_count;  // a pointer, so that a module object needs no code to come into being
};

/// The library's own resource module.
extern KX_API CDynLinkLibrary* const g_pHbToolsModule;

/// Tells the application's module, in which the look-up finds keys without a module, and returns the former one. It
/// stays the caller's. Null, as it is at the start, makes such keys find nothing. For the start of a program.
KX_API CDynLinkLibrary* AfxSetResourceModule(CDynLinkLibrary* module);
KX_API CDynLinkLibrary* AfxGetResourceModule();

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
