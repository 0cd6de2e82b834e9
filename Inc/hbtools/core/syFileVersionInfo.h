// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxFileVersionInfo: what a module's file says of its version, read without loading the module: modules of this system,
// with a block that hbtools_add_version_block made, and programs and libraries of Windows (PE, 32 and 64 bits).
//
//     KxFileVersionInfo info;
//     if (info.Create(L"/opt/scanner/libOptics.so")) Show(info.GetProductName(), info.GetFileVersion());
//
// Files may be damaged or hostile: whatever is not as it should be is answered as if there were no block. Nothing throws but
// bad_alloc. An object belongs to one thread at a time.
#pragma once

#include "hbtools/base/syDateTime.h"
#include "hbtools/base/syModule.h"
#include "hbtools/base/syString.h"

#include <array>

namespace KxN {

class KX_API KxFileVersionInfo {
public:
    KxFileVersionInfo() = default;
    /// The same as Create, without its answer.
    explicit KxFileVersionInfo(wchar_t const* path);
    KxFileVersionInfo(KxFileVersionInfo const&) = default;
    KxFileVersionInfo& operator=(KxFileVersionInfo const&) = default;
    virtual ~KxFileVersionInfo();

    /// Forgets all: numbers are 0 and texts empty.
    virtual void Reset();
    /// Reads the file of a module. 0, and nothing known, if it cannot be read or has no version block. Of the languages in
    /// the block the one of the thread is taken, else a variant of it, else the first.
    int Create(wchar_t const* path);
    int Create(HINSTANCE module);  ///< Null is the program.

    /// Parts of the version numbers, 0 the most significant to 3; others are 0.
    unsigned short GetFileVersion(int part) const { return Part(m_fileVersion, part); }
    unsigned short GetProductVersion(int part) const { return Part(m_productVersion, part); }
    unsigned long GetFileFlagsMask() const { return m_flagsMask; }
    unsigned long GetFileFlags() const { return m_flags; }
    unsigned long GetFileOs() const { return m_os; }
    unsigned long GetFileType() const { return m_type; }
    unsigned long GetFileSubtype() const { return m_subtype; }
    CTime GetFileDate() const { return m_date; }  ///< The block's, which few have; 0 without.

    CString GetComments() const { return m_texts[0]; }
    CString GetCompanyName() const { return m_texts[1]; }
    CString GetFileDescription() const { return m_texts[2]; }
    CString GetFileVersion() const { return m_texts[3]; }
    CString GetInternalName() const { return m_texts[4]; }
    CString GetLegalCopyright() const { return m_texts[5]; }
    CString GetLegalTrademarks() const { return m_texts[6]; }
    CString GetOriginalFileName() const { return m_texts[7]; }
    CString GetPrivateBuild() const { return m_texts[8]; }
    CString GetProductName() const { return m_texts[9]; }
    CString GetProductVersion() const { return m_texts[10]; }
    CString GetSpecialBuild() const { return m_texts[11]; }

private:
    using Parts = std::array<unsigned short, 4>;
    static unsigned short Part(Parts const& parts, int part) {
        return part >= 0 && part < 4 ? parts[static_cast<std::size_t>(part)] : static_cast<unsigned short>(0);
    }

    Parts m_fileVersion{}, m_productVersion{};
    unsigned long m_flagsMask = 0, m_flags = 0, m_os = 0, m_type = 0, m_subtype = 0;
    CTime m_date;
    std::array<CString, 12> m_texts;  // in the order of the getters
};

/// This library as a module, of at least version 3.01.
class KX_API KxDllTools : public KxDll {
public:
    /// @throws KxDllLoadException, KxVersionException
    KxDllTools();
    KxDllTools(KxDllTools const&) = default;
    KxDllTools& operator=(KxDllTools const&) = default;
    ~KxDllTools() override;
};

}  // namespace KxN
