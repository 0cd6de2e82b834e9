// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The wide strings of the library. KxTools::String holds the text and most operations; KxN::KxString adds
// formatting, tokens, string resources and the conversions to numbers; CString and CStringA are the
// framework's strings, wide and narrow. All are values: copies are deep, an object belongs to one thread at
// a time. Positions and counts are characters from 0; positions beyond the end are brought to the end.
// Text to number reads a leading decimal number with a decimal point in any locale and gives 0 where there
// is none; a number beyond its type gives the nearest limit.
#pragma once

#include "hbtools/base/syFormat.h"
#include "hbtools/base/syTypes.h"

#include <compare>
#include <concepts>
#include <string>
#include <string_view>

namespace KxN {
class KxResId;
template <class C>
class CStringT;
using CString = CStringT<wchar_t>;
using CStringA = CStringT<char>;
}  // namespace KxN

namespace KxTools {

/// Line ends of a text. Their order is not stored anywhere.
enum LineEnd { LineEndLF, LineEndCR, LineEndCRLF };

/// The line end of text files on this system: LineEndLF.
KX_API LineEnd GetSystemLineEnd();

/// Result of a comparison: negative, 0 when equal, positive.
using StringCompare = int;

/// "the whole text", for counts.
inline constexpr int WholeText = 2147483647;

class KX_API String {
public:
    String() = default;
    String(wchar_t const* text);  ///< A null pointer gives the empty text.
    String(std::wstring_view text) : m_text(text) {}
    String(std::wstring const& text) : m_text(text) {}
    String(std::wstring&& text) : m_text(std::move(text)) {}
    explicit String(wchar_t character) : m_text(1, character) {}
    String(int number);
    String(unsigned int number);
    String(long number);
    String(unsigned long number);
    String(short number);
    String(unsigned short number);

    String& operator=(wchar_t const* text);
    /// Takes the characters over in the memory it has, if that is enough. `text` is no part of this one.
    String& Assign(std::wstring_view text) {
        m_text.assign(text);
        return *this;
    }
    String(String const&) = default;
    String(String&&) = default;
    String& operator=(String const&) = default;
    String& operator=(String&&) = default;
    ~String() = default;

    wchar_t const* GetStr() const { return m_text.c_str(); }
    int Len() const { return static_cast<int>(m_text.size()); }
    bool operator!() const { return m_text.empty(); }
    std::wstring_view View() const { return m_text; }

    operator long() const;           ///< -2147483648 to 2147483647.
    operator unsigned long() const;  ///< 0 to 4294967295; a negative text gives 0.
    operator short() const;

    String& operator+=(String const& text);
    String& operator+=(wchar_t character);
    String& operator+=(int number);
    String& operator+=(unsigned long number);

    /// Number of tokens: separators plus one, 0 for the empty text.
    int GetTokenCount(wchar_t separator) const;

    /// First position of the text or character from `from` on, or -1.
    int Search(String const& text, int from) const;
    int Search(wchar_t character, int from) const;
    /// Replaces every occurrence from position `from` on; returns their number. An empty search text finds nothing.
    int SearchAndReplace(wchar_t const* search, String const& replacement, int from);
    int SearchAndReplace(wchar_t search, wchar_t replacement, int from);

    String& Erase(int first, int count);
    String& EraseLeadingChars(wchar_t character);
    String& EraseTrailingChars(wchar_t character);
    /// Makes the text `count` times `character`.
    String& Fill(int count, wchar_t character);
    /// Inserts `count` characters of `text` from `first` on in front of position `pos`.
    String& Insert(String const& text, int pos, int first, int count);
    String& Insert(wchar_t const* text, int pos);
    /// Brings every line end (LF, CR, CR LF) to the given one.
    String& ConvertLineEnd(LineEnd lineEnd);

    /// Compares at most the first `count` characters by code point; ICompare without regard to case.
    StringCompare Compare(String const& other, int count = WholeText) const;
    StringCompare ICompare(String const& other, int count = WholeText) const;
    StringCompare ICompare(wchar_t const* other, int count = WholeText) const;

    friend bool operator==(String const& a, String const& b) { return a.m_text == b.m_text; }
    friend bool operator==(String const& a, wchar_t const* b) { return a.m_text == (b ? b : L""); }
    friend auto operator<=>(String const& a, String const& b) { return a.m_text <=> b.m_text; }
    friend auto operator<=>(String const& a, wchar_t const* b) { return a.m_text <=> std::wstring_view(b ? b : L""); }

protected:
    std::wstring m_text;
};

KX_API String operator+(String const& a, String const& b);
KX_API String operator+(String const& a, wchar_t const* b);
KX_API String operator+(wchar_t const* a, String const& b);

}  // namespace KxTools

namespace KxN {

/// The framework's string, wide (CString) or narrow (CStringA, bytes in the code page of the thread).
template <class C>
class CStringT {
public:
    CStringT() = default;
    CStringT(C const* text) : m_text(text ? text : std::basic_string<C>()) {}
    CStringT(C const* text, int length) : m_text(text, static_cast<std::size_t>(length < 0 ? 0 : length)) {}
    explicit CStringT(C character, int count = 1) : m_text(static_cast<std::size_t>(count), character) {}
    CStringT(std::basic_string_view<C> text) : m_text(text) {}
    CStringT(KxTools::String const& text);  ///< CStringA: '?' for what the code page lacks.

    int GetLength() const { return static_cast<int>(m_text.size()); }
    bool IsEmpty() const { return m_text.empty(); }
    void Empty() { m_text.clear(); }
    C const* GetString() const { return m_text.c_str(); }
    operator C const*() const { return m_text.c_str(); }
    std::basic_string_view<C> View() const { return m_text; }
    C GetAt(int index) const { return m_text[static_cast<std::size_t>(index)]; }
    void SetAt(int index, C character) { m_text[static_cast<std::size_t>(index)] = character; }

    CStringT& operator+=(CStringT const& text) {
        m_text += text.m_text;
        return *this;
    }
    CStringT& operator+=(C const* text) {
        if (text) m_text += text;
        return *this;
    }
    CStringT& operator+=(C character) {
        m_text += character;
        return *this;
    }

    /// Negative, 0 or positive, by code; the second form without regard to case.
    int Compare(CStringT const& other) const { return m_text.compare(other.m_text); }
    int CompareNoCase(CStringT const& other) const;
    CStringT& MakeUpper();
    CStringT& MakeLower();
    CStringT Mid(int first) const { return Mid(first, GetLength()); }
    CStringT Mid(int first, int count) const;
    CStringT Left(int count) const { return Mid(0, count); }
    CStringT Right(int count) const { return count < GetLength() ? Mid(GetLength() - count) : *this; }
    int Find(CStringT const& text, int from = 0) const;
    int Find(C character, int from = 0) const;
    int ReverseFind(C character) const;
    CStringT& TrimLeft();  ///< Blanks, tabs and line ends.
    CStringT& TrimRight();
    CStringT& Trim() { return TrimRight().TrimLeft(); }

    friend bool operator==(CStringT const& a, CStringT const& b) { return a.m_text == b.m_text; }
    friend bool operator==(CStringT const& a, C const* b) { return a.m_text == (b ? b : std::basic_string<C>()); }
    friend auto operator<=>(CStringT const& a, CStringT const& b) { return a.m_text <=> b.m_text; }
    friend CStringT operator+(CStringT a, CStringT const& b) {
        a += b;
        return a;
    }
    friend CStringT operator+(CStringT a, C const* b) {
        a += b;
        return a;
    }
    friend CStringT operator+(C const* a, CStringT const& b) { return CStringT(a) += b; }

private:
    std::basic_string<C> m_text;
};

extern template class KX_API CStringT<wchar_t>;
extern template class KX_API CStringT<char>;

class KX_API KxString : public KxTools::String {
public:
    KxString() = default;
    KxString(wchar_t const* text) : String(text) {}
    KxString(char const* text);  ///< Widened from UTF-8 if it is well-formed, else from the thread's code page.
    KxString(wchar_t character) : String(character) {}
    template <std::integral T>
    KxString(T number) = delete;  ///< Never a character by accident: KxTools::String makes text of numbers.
    KxString(KxTools::String const& text) : String(text) {}
    KxString(KxTools::String&& text) : String(std::move(text)) {}
    KxString(std::wstring_view text) : String(text) {}
    KxString(std::wstring const& text) : String(text) {}
    KxString(std::wstring&& text) : String(std::move(text)) {}
    KxString(CString const& text) : String(text.View()) {}
    KxString(KxResId const& resource);  ///< The string resource of that id; empty if there is none.

    KxString& operator=(KxTools::String const& text);
    KxString& operator=(CString const& text);
    KxString& operator=(wchar_t const* text);
    KxString& operator=(std::wstring&& text);
    KxString& operator=(wchar_t character) { return *this = KxString(character); }
    KxString(KxString const&) = default;
    KxString(KxString&&) = default;
    KxString& operator=(KxString const&) = default;
    KxString& operator=(KxString&&) = default;
    ~KxString() = default;

    operator wchar_t const*() const { return m_text.c_str(); }  ///< Never null.
    operator double() const;
    operator float() const;

    wchar_t& operator[](int index) { return m_text[static_cast<std::size_t>(index)]; }
    wchar_t operator[](int index) const { return m_text[static_cast<std::size_t>(index)]; }
    template <std::integral T>
    wchar_t& operator[](T index) {
        return m_text[static_cast<std::size_t>(index)];
    }
    template <std::integral T>
    wchar_t operator[](T index) const {
        return m_text[static_cast<std::size_t>(index)];
    }

    /// Replaces the content by a formatted text; see syFormat.h. Arguments may be the string itself.
    template <class... Arguments>
    KxString& SPrintf(wchar_t const* format, Arguments const&... arguments) {
        m_text = KxxFormat(format ? std::wstring_view(format) : std::wstring_view(), arguments...);
        return *this;
    }

    /// Non-zero if the whole text is an optional sign and decimal digits.
    int IsIntNum() const;
    /// Non-zero if the whole text is an optional sign, decimal digits with an optional point, and an optional exponent.
    int IsFloatNum() const;

    /// The token of that index, counted from 0; empty if there is none.
    KxString GetToken(int index, wchar_t separator) const;
    /// `count` characters from `first` on; Cut also removes them.
    KxString Copy(int first, int count) const;
    KxString Cut(int first, int count);
    KxString& ToUpper();
    KxString Upper() const;
};

KX_API KxString operator+(KxString const& a, KxString const& b);
KX_API KxString operator+(KxString const& a, wchar_t const* b);
KX_API KxString operator+(wchar_t const* a, KxString const& b);
KX_API KxString operator+(KxString const& a, KxTools::String const& b);
inline KxString operator+(KxString const& a, wchar_t b) {
    return a + KxString(b);
}
template <std::same_as<CString> T>  // nothing else converts to one here
bool operator==(KxString const& a, T const& b) {
    return a.View() == b.View();
}
KX_API KxString operator+(KxTools::String const& a, KxString const& b);

}  // namespace KxN
