// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syString.h"

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syResource.h"

#include <algorithm>

namespace KxTools {

namespace {

/// A position or count brought into 0 to `size`.
std::size_t Bounded(int value, std::size_t size) {
    return value < 0 ? 0 : std::min(static_cast<std::size_t>(value), size);
}

int Position(std::size_t found) {
    return found == std::wstring::npos ? -1 : static_cast<int>(found);
}

std::wstring Decimal(long long number) {
    return KxN::KxxFormat(L"%d", number);
}

std::wstring Joined(std::wstring_view a, std::wstring_view b) {
    std::wstring text;
    text.reserve(a.size() + b.size());
    text.append(a).append(b);
    return text;
}

wchar_t Same(wchar_t character) {
    return character;
}

template <wchar_t (*Map)(wchar_t)>
StringCompare CompareMapped(std::wstring_view a, std::wstring_view b, int count) {
    std::size_t const most = count < 0            ? 0
                             : count == WholeText ? std::wstring_view::npos
                                                  : static_cast<std::size_t>(count);
    a = a.substr(0, most);
    b = b.substr(0, most);
    std::size_t const common = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < common; ++i) {
        wchar_t const x = Map(a[i]);
        wchar_t const y = Map(b[i]);
        if (x != y) return x < y ? -1 : 1;
    }
    return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

}  // namespace

LineEnd GetSystemLineEnd() {
    return LineEndLF;
}

String::String(wchar_t const* text) : m_text(text ? text : L"") {}
String::String(int number) : m_text(Decimal(number)) {}
String::String(unsigned int number) : m_text(Decimal(number)) {}
String::String(long number) : m_text(Decimal(number)) {}
String::String(unsigned long number) : m_text(KxN::KxxFormat(L"%u", number)) {}
String::String(short number) : m_text(Decimal(number)) {}
String::String(unsigned short number) : m_text(Decimal(number)) {}

String& String::operator=(wchar_t const* text) {
    m_text = std::wstring(text ? text : L"");  // through a copy: the text may be a part of this one
    return *this;
}

String& String::operator+=(String const& text) {
    m_text += text.m_text;
    return *this;
}

String& String::operator+=(wchar_t character) {
    m_text += character;
    return *this;
}

String& String::operator+=(int number) {
    m_text += Decimal(number);
    return *this;
}

String& String::operator+=(unsigned long number) {
    m_text += KxN::KxxFormat(L"%u", number);
    return *this;
}

int String::GetTokenCount(wchar_t separator) const {
    if (m_text.empty()) return 0;
    return static_cast<int>(std::count(m_text.begin(), m_text.end(), separator)) + 1;
}

int String::Search(String const& text, int from) const {
    if (text.m_text.empty()) return -1;
    return Position(m_text.find(text.m_text, Bounded(from, m_text.size())));
}

int String::Search(wchar_t character, int from) const {
    return Position(m_text.find(character, Bounded(from, m_text.size())));
}

int String::SearchAndReplace(wchar_t const* search, String const& replacement, int from) {
    std::wstring_view const wanted = search ? search : L"";
    if (wanted.empty()) return 0;
    std::wstring result;  // search and replacement may be parts of this text, so it stays until the end
    std::size_t done = 0;
    std::size_t next = Bounded(from, m_text.size());
    int replaced = 0;
    while ((next = m_text.find(wanted, next)) != std::wstring::npos) {
        result.append(m_text, done, next - done);
        result += replacement.m_text;
        done = next += wanted.size();
        ++replaced;
    }
    if (replaced > 0) {
        result.append(m_text, done);
        m_text = std::move(result);
    }
    return replaced;
}

int String::SearchAndReplace(wchar_t search, wchar_t replacement, int from) {
    int replaced = 0;
    for (std::size_t i = Bounded(from, m_text.size()); i < m_text.size(); ++i) {
        if (m_text[i] != search) continue;
        m_text[i] = replacement;
        ++replaced;
    }
    return replaced;
}

String& String::Erase(int first, int count) {
    m_text.erase(Bounded(first, m_text.size()), Bounded(count, m_text.size()));
    return *this;
}

String& String::EraseLeadingChars(wchar_t character) {
    m_text.erase(0, m_text.find_first_not_of(character));
    return *this;
}

String& String::EraseTrailingChars(wchar_t character) {
    m_text.erase(m_text.find_last_not_of(character) + 1);
    return *this;
}

String& String::Fill(int count, wchar_t character) {
    m_text.assign(static_cast<std::size_t>(std::max(count, 0)), character);
    return *this;
}

String& String::Insert(String const& text, int pos, int first, int count) {
    std::size_t const begin = Bounded(first, text.m_text.size());
    std::wstring const part = text.m_text.substr(begin, Bounded(count, text.m_text.size()));
    m_text.insert(Bounded(pos, m_text.size()), part);
    return *this;
}

String& String::Insert(wchar_t const* text, int pos) {
    std::wstring const part = text ? text : L"";
    m_text.insert(Bounded(pos, m_text.size()), part);
    return *this;
}

String& String::ConvertLineEnd(LineEnd lineEnd) {
    std::wstring_view const end = lineEnd == LineEndLF ? L"\n" : lineEnd == LineEndCR ? L"\r" : L"\r\n";
    std::wstring result;
    result.reserve(m_text.size());
    for (std::size_t i = 0; i < m_text.size(); ++i) {
        wchar_t const c = m_text[i];
        if (c == L'\r' && i + 1 < m_text.size() && m_text[i + 1] == L'\n') ++i;
        if (c == L'\r' || c == L'\n')
            result += end;
        else
            result += c;
    }
    m_text = std::move(result);
    return *this;
}

StringCompare String::Compare(String const& other, int count) const {
    return CompareMapped<Same>(m_text, other.m_text, count);
}

StringCompare String::ICompare(String const& other, int count) const {
    return CompareMapped<KxN::KxxToUpper>(m_text, other.m_text, count);
}

StringCompare String::ICompare(wchar_t const* other, int count) const {
    return CompareMapped<KxN::KxxToUpper>(m_text, other ? other : L"", count);
}

String operator+(String const& a, String const& b) {
    return Joined(a.View(), b.View());
}

String operator+(String const& a, wchar_t const* b) {
    return Joined(a.View(), b ? b : L"");
}

String operator+(wchar_t const* a, String const& b) {
    return Joined(a ? a : L"", b.View());
}

}  // namespace KxTools

namespace KxN {

KxString::KxString(char const* text) : String(KxxWidenText(text ? text : "")) {}
KxString::KxString(KxResId const& resource) {
    CDynLinkLibrary const* const module = resource.GetModule() ? resource.GetModule() : AfxGetResourceModule();
    if (module) *this = module->LoadText(resource.GetId());
}

KxString& KxString::operator=(KxTools::String const& text) {
    String::operator=(text);
    return *this;
}

KxString& KxString::operator=(CString const& text) {
    m_text = text.View();
    return *this;
}

KxString& KxString::operator=(wchar_t const* text) {
    String::operator=(text);
    return *this;
}

KxString& KxString::operator=(std::wstring&& text) {
    m_text = std::move(text);
    return *this;
}

KxString KxString::GetToken(int index, wchar_t separator) const {
    if (index < 0) return KxString();
    std::wstring_view rest = m_text;
    for (; index > 0; --index) {
        std::size_t const end = rest.find(separator);
        if (end == rest.npos) return KxString();
        rest.remove_prefix(end + 1);
    }
    return rest.substr(0, rest.find(separator));
}

KxString KxString::Copy(int first, int count) const {
    std::wstring_view const text = m_text;
    return text.substr(KxTools::Bounded(first, text.size()), KxTools::Bounded(count, text.size()));
}

KxString KxString::Cut(int first, int count) {
    KxString part = Copy(first, count);
    Erase(first, count);
    return part;
}

KxString& KxString::ToUpper() {
    std::transform(m_text.begin(), m_text.end(), m_text.begin(), KxxToUpper);
    return *this;
}

KxString KxString::Upper() const {
    KxString upper = *this;
    upper.ToUpper();
    return upper;
}

KxString operator+(KxString const& a, KxString const& b) {
    return KxTools::Joined(a.View(), b.View());
}

KxString operator+(KxString const& a, wchar_t const* b) {
    return KxTools::Joined(a.View(), b ? b : L"");
}

KxString operator+(wchar_t const* a, KxString const& b) {
    return KxTools::Joined(a ? a : L"", b.View());
}

KxString operator+(KxString const& a, KxTools::String const& b) {
    return KxTools::Joined(a.View(), b.View());
}

KxString operator+(KxTools::String const& a, KxString const& b) {
    return KxTools::Joined(a.View(), b.View());
}

}  // namespace KxN
