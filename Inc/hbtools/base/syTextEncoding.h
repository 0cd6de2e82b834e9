// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The encodings of text files. A file is read by its byte order mark, else as UTF-8 if all of it is, else as
// Windows-1252; decoding then loses nothing, and encoding the text again gives the bytes that were read. A file
// is written back in the encoding it had while every character fits, else as UTF-8. Any thread.
#pragma once

#include "hbtools/base/syTypes.h"

#include <string>
#include <string_view>

namespace KxN {

enum class KxTextEncoding { Utf8, Utf8WithMark, Utf16LE, Utf16BE, Windows1252 };

/// The encoding of a whole text file by its bytes. An empty one is UTF-8.
KX_API KxTextEncoding KxxDetectEncoding(std::string_view bytes);
/// Length of the byte order mark of that encoding: 0, 2 or 3.
KX_API std::size_t KxxMarkLength(KxTextEncoding encoding);
/// Text from bytes without mark. An odd byte at the end of UTF-16 is dropped.
KX_API std::wstring KxxDecodeText(std::string_view bytes, KxTextEncoding encoding);
/// Bytes without mark, appended. False, and nothing appended, if the encoding lacks a character of the text.
KX_API bool KxxEncodeText(std::wstring_view text, KxTextEncoding encoding, std::string& bytes);
/// The byte order mark.
KX_API std::string_view KxxMarkOf(KxTextEncoding encoding);

}  // namespace KxN
