// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the tests of tag files share: files as hexadecimal text, and the record form of one scope.
#pragma once

#include "hbtools/persistence/sySimpleTags.h"
#include "hbtools/persistence/syTagArchive.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace KxN {

/// Sets the record form and puts the former one back.
class FormatScope {
public:
    explicit FormatScope(TagFormat format) : m_former(GetGlobalTagFormat()) { SetGlobalTagFormat(format); }
    ~FormatScope() { SetGlobalTagFormat(m_former); }

private:
    TagFormat m_former;
};

inline std::vector<BYTE> FromHex(std::string_view hex) {
    std::vector<BYTE> bytes;
    std::string digits;
    for (char c : hex)
        if (c != ' ' && c != '\n') digits += c;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes.push_back(static_cast<BYTE>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    return bytes;
}

inline std::string ToHex(std::vector<BYTE> const& bytes) {
    static char const* const digits = "0123456789abcdef";
    std::string hex;
    for (BYTE byte : bytes) {
        hex += digits[byte >> 4];
        hex += digits[byte & 15];
    }
    return hex;
}

inline std::string Plain(std::string_view hex) {
    return ToHex(FromHex(hex));
}

inline std::vector<BYTE> BytesOf(CFile& file) {
    ULONGLONG const position = file.GetPosition();
    std::vector<BYTE> bytes(file.GetLength());
    file.Seek(0, CFile::begin);
    EXPECT_EQ(file.Read(bytes.data(), static_cast<UINT>(bytes.size())), bytes.size());
    file.Seek(static_cast<LONGLONG>(position), CFile::begin);
    return bytes;
}

inline std::string HexOf(CFile& file) {
    return ToHex(BytesOf(file));
}

/// A memory file that holds the bytes, standing at its begin.
inline std::unique_ptr<CMemFile> FileOf(std::vector<BYTE> const& bytes) {
    auto file = std::make_unique<CMemFile>();
    if (!bytes.empty()) file->Write(bytes.data(), static_cast<UINT>(bytes.size()));
    file->Seek(0, CFile::begin);
    return file;
}

/// Name of the class that `action` throws, with the cause of framework exceptions; empty if it throws nothing.
template <class Action>
std::string Thrown(Action action) {
    try {
        action();
    } catch (CFileException* exception) {
        std::string const name = "file " + std::to_string(exception->GetCause());
        exception->Delete();
        return name;
    } catch (CArchiveException* exception) {
        std::string const name = "archive " + std::to_string(exception->GetCause());
        exception->Delete();
        return name;
    } catch (KxTagArchiveException* exception) {
        exception->Delete();
        return "missing";
    } catch (KxVersionException* exception) {
        exception->Delete();
        return "version";
    } catch (KxException* exception) {
        exception->Delete();
        return "KxException";
    }
    return "";
}

}  // namespace KxN
