// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Conversions between wide text (UTF-32 in memory) and the encodings of files: UTF-8, UTF-16LE and the
// single-byte code page of the calling thread (Windows-1252 unless set). All of them are total: bytes or
// characters that the other side lacks become U+FFFD or '?', nothing throws but bad_alloc. Any thread.
#pragma once

#include "hbtools/base/syTypes.h"

#include <string>
#include <string_view>

namespace KxN {

/// Wide text from UTF-8. Each maximal ill-formed sequence gives one U+FFFD.
KX_API std::wstring KxxWidenUtf8(std::string_view bytes);
/// UTF-8 from wide text. Values that are no Unicode scalars give U+FFFD.
KX_API std::string KxxToUtf8(std::wstring_view text);
/// True if the bytes are well-formed UTF-8 throughout.
KX_API bool KxxIsUtf8(std::string_view bytes);

/// Wide text from narrow text of unknown origin: as UTF-8 if it is well-formed, else in the code page of the thread.
KX_API std::wstring KxxWidenText(std::string_view bytes);

/// Wide text from single-byte text in the code page of the calling thread.
KX_API std::wstring KxxWidenNarrow(std::string_view bytes);
/// The same in a given code page; without the number's table Windows-1252 is taken.
KX_API std::wstring KxxWidenNarrow(std::string_view bytes, unsigned codePage);
KX_API std::string KxxToNarrow(std::wstring_view text, unsigned codePage);

/// Single-byte text in the code page of the calling thread: one byte for each character, '?' where it lacks one.
KX_API std::string KxxToNarrow(std::wstring_view text);

/// File names are bytes to the system. Well-formed UTF-8 becomes its characters; every other byte b becomes the
/// lone surrogate U+DC00 + b, and goes back to that byte, so that every name of the system survives a round trip.
/// A text with a NUL character gives a path with a NUL byte: whoever hands it to the system must refuse it.
KX_API std::wstring KxxFromSystemPath(std::string_view path);
KX_API std::string KxxToSystemPath(std::wstring_view path);

/// Sets the code page of the calling thread by its Windows number (1250 to 1258, 28591 to 28606, 437, 850).
/// Returns the former one; an unknown number changes nothing and gives 0.
KX_API unsigned KxxSetThreadCodePage(unsigned codePage);
KX_API unsigned KxxGetThreadCodePage();

/// UTF-16 units of a wide text: characters above the BMP become surrogate pairs. Lone surrogates stay as they are.
KX_API std::u16string KxxToUtf16(std::wstring_view text);
/// Wide text from UTF-16 units. Lone surrogates stay as they are, so that a text survives a round trip.
KX_API std::wstring KxxWidenUtf16(std::u16string_view units);

/// Simple one-to-one upper and lower case of one character, umlauts included; sharp s stays. Independent of the locale.
KX_API wchar_t KxxToUpper(wchar_t character);
KX_API wchar_t KxxToLower(wchar_t character);

}  // namespace KxN
