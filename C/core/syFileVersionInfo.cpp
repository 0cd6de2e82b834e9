// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/core/syFileVersionInfo.h"

#include "core/syVersionBlock.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syLocale.h"

#include <algorithm>

namespace KxN {

using namespace detail;

namespace {

constexpr std::array<std::u16string_view, 12> keys = {
    u"Comments",        u"CompanyName",      u"FileDescription", u"FileVersion", u"InternalName",   u"LegalCopyright",
    u"LegalTrademarks", u"OriginalFileName", u"PrivateBuild",    u"ProductName", u"ProductVersion", u"SpecialBuild"};

std::array<unsigned short, 4> PartsAt(std::string_view bytes, std::size_t at) {
    std::array<unsigned short, 4> parts;
    for (std::size_t i = 0; i < 4; ++i)  // two numbers, the upper first, each with its upper half behind
        parts[i] = static_cast<unsigned short>(NumberAt(bytes, at + (i / 2) * 4 + (i % 2 == 0 ? 2 : 0), 2));
    return parts;
}

/// The language and code page to show: what fits the thread's language best; 0 if there is none.
std::uint32_t GetTranslationId(std::string_view translations) {
    constexpr std::uint32_t primary = 0x3ff;
    std::uint32_t const wanted = KxxGetThreadLanguage();
    std::uint32_t best = 0;
    int bestRank = 0;
    for (; translations.size() >= 4; translations.remove_prefix(4)) {
        std::uint32_t const language = NumberAt(translations, 0, 2);
        int const rank = language == wanted                           ? 4
                         : language == ((wanted & primary) | 0x400)   ? 3
                         : (language & primary) == (wanted & primary) ? 2
                                                                      : 1;
        if (rank <= bestRank) continue;
        bestRank = rank;
        best = language << 16 | NumberAt(translations, 2, 2);
    }
    return best;
}

std::u16string TableName(std::uint32_t translation) {
    KxString name;
    name.SPrintf(L"%08X", translation);
    return KxxToUtf16(name.View());
}

}  // namespace

KxFileVersionInfo::KxFileVersionInfo(wchar_t const* path) {
    Create(path);
}

KxFileVersionInfo::~KxFileVersionInfo() = default;

void KxFileVersionInfo::Reset() {
    m_fileVersion = m_productVersion = {};
    m_flagsMask = m_flags = m_os = m_type = m_subtype = 0;
    m_date = CTime();
    m_texts = {};
}

int KxFileVersionInfo::Create(wchar_t const* path) {
    constexpr std::uint32_t signature = 0xfeef04bd;
    constexpr std::size_t fixedSize = 52;
    Reset();
    std::string block;
    if (!ReadVersionBlock(path, block)) return 0;
    VersionNode const root(block);
    std::string_view const fixed = root.Value();
    if (root.Name() != u"VS_VERSION_INFO" || fixed.size() < fixedSize || NumberAt(fixed, 0, 4) != signature) return 0;
    m_fileVersion = PartsAt(fixed, 8);
    m_productVersion = PartsAt(fixed, 16);
    m_flagsMask = NumberAt(fixed, 24, 4);
    m_flags = NumberAt(fixed, 28, 4);
    m_os = NumberAt(fixed, 32, 4);
    m_type = NumberAt(fixed, 36, 4);
    m_subtype = NumberAt(fixed, 40, 4);
    constexpr std::uint64_t ticksPerSecond = 10'000'000, ticksTo1970 = 116'444'736'000'000'000;
    std::uint64_t const ticks = std::uint64_t{NumberAt(fixed, 44, 4)} << 32 | NumberAt(fixed, 48, 4);
    if (ticks >= ticksTo1970) m_date = CTime(static_cast<long long>((ticks - ticksTo1970) / ticksPerSecond));

    std::uint32_t const translation = GetTranslationId(root.Find(u"VarFileInfo").Find(u"Translation").Value());
    VersionNode const tables = root.Find(u"StringFileInfo");
    VersionNode const texts = translation ? tables.Find(TableName(translation)) : tables.Find();
    for (std::size_t i = 0; i < keys.size(); ++i) m_texts[i] = CString(texts.Find(keys[i]).Text().c_str());
    return 1;
}

int KxFileVersionInfo::Create(HINSTANCE module) {
    return Create(GetModuleFileName(module));
}

KxDllTools::KxDllTools() : KxDll(L"hbtools.dll", HBTOOLS_VERSION_NUMBER) {}

KxDllTools::~KxDllTools() = default;

}  // namespace KxN
