// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syString.h"

#include <algorithm>

namespace KxN {

namespace {

constexpr wchar_t wideBlanks[] = L" \t\r\n\v\f";
constexpr char narrowBlanks[] = " \t\r\n\v\f";

template <class C>
C const* Blanks() {
    if constexpr (sizeof(C) == 1)
        return narrowBlanks;
    else
        return wideBlanks;
}

/// The text with each character mapped; narrow text by way of the code page of the thread.
template <class C, class Map>
std::basic_string<C> Mapped(std::basic_string<C> const& text, Map map) {
    if constexpr (sizeof(C) == 1) {
        std::string result = text;
        for (char& c : result) {
            wchar_t const from = KxxWidenNarrow(std::string_view(&c, 1))[0];
            wchar_t const to = map(from);
            std::string const narrow = KxxToNarrow(std::wstring_view(&to, 1));
            if (to != from && (narrow[0] != '?' || to == L'?')) c = narrow[0];
        }
        return result;
    } else {
        std::wstring result = text;
        std::transform(result.begin(), result.end(), result.begin(), map);
        return result;
    }
}

template <class C>
std::basic_string<C> FromString(std::wstring_view text) {
    if constexpr (sizeof(C) == 1)
        return KxxToNarrow(text);
    else
        return std::wstring(text);
}

int Position(std::size_t found) {
    return found == std::string::npos ? -1 : static_cast<int>(found);
}

}  // namespace

template <class C>
CStringT<C>::CStringT(KxTools::String const& text) : m_text(FromString<C>(text.View())) {}

template <class C>
int CStringT<C>::CompareNoCase(CStringT const& other) const {
    return Mapped(m_text, KxxToUpper).compare(Mapped(other.m_text, KxxToUpper));
}

template <class C>
CStringT<C>& CStringT<C>::MakeUpper() {
    m_text = Mapped(m_text, KxxToUpper);
    return *this;
}

template <class C>
CStringT<C>& CStringT<C>::MakeLower() {
    m_text = Mapped(m_text, KxxToLower);
    return *this;
}

template <class C>
CStringT<C> CStringT<C>::Mid(int first, int count) const {
    std::size_t const begin = std::min(static_cast<std::size_t>(std::max(first, 0)), m_text.size());
    return CStringT(View().substr(begin, static_cast<std::size_t>(std::max(count, 0))));
}

template <class C>
int CStringT<C>::Find(CStringT const& text, int from) const {
    return Position(m_text.find(text.m_text, static_cast<std::size_t>(std::max(from, 0))));
}

template <class C>
int CStringT<C>::Find(C character, int from) const {
    return Position(m_text.find(character, static_cast<std::size_t>(std::max(from, 0))));
}

template <class C>
int CStringT<C>::ReverseFind(C character) const {
    return Position(m_text.rfind(character));
}

template <class C>
CStringT<C>& CStringT<C>::TrimLeft() {
    m_text.erase(0, m_text.find_first_not_of(Blanks<C>()));
    return *this;
}

template <class C>
CStringT<C>& CStringT<C>::TrimRight() {
    m_text.erase(m_text.find_last_not_of(Blanks<C>()) + 1);
    return *this;
}

template class CStringT<wchar_t>;
template class CStringT<char>;

}  // namespace KxN
