// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/localisation/syLocalizer.h"

#include "hbtools/base/syDirEntry.h"
#include "hbtools/base/syModule.h"
#include "hbtools/config/syConfiguration.h"
#include "hbtools/core/syFileVersionInfo.h"

#include "base/syModuleRecord.h"
#include "localisation/syTextIds.h"

#include <atomic>
#include <cerrno>
#include <cwchar>
#include <memory>

namespace KxN {

namespace {

class NameHashFunction : public KxTHashFunction<KxString> {
public:
    unsigned int Value(KxString const& key) const override { return m_hash.Value(CString(key)); }

private:
    KxStringHashFunction m_hash;
};

constexpr int bucketCount = 1021;
constexpr unsigned short german = 1031, english = 1033;
constexpr unsigned short noVersion = 65535;

KxTHashFunction<KxString> const& NameHash() {
    static NameHashFunction const hash;
    return hash;
}

constinit std::atomic<KxFileVersionReader> g_versionReader = nullptr;

KxString ReadVersionBlock(KxString const& path) {
    return KxString(KxFileVersionInfo(path).GetFileVersion());
}

/// The base of the number follows from its beginning; of absurd ones the lower bits count.
unsigned int NumberOf(KxString const& text) {
    return static_cast<unsigned int>(std::wcstoll(text, nullptr, 0));
}

KxLanguage DefaultVariant(KxLanguage const& language) {
    return static_cast<unsigned short>(language.GetPrimaryLangID() | 0x400);
}

/// A path as it may be written on other systems too.
KxTools::DirEntry FromSetting(KxString const& path) {
    return KxTools::DirEntry(path, KxTools::FSYS_STYLE_DOS);
}

/// What stands for a module in the names of its satellites, best first. Versions of a library may be installed side by
/// side, each with satellites of its own: those of libOptics.so.3 are named after libOptics.3.
std::vector<KxString> NamesOf(KxString const& module) {
    KxString const name = KxxGetModuleBaseName(module), file = KxTools::DirEntry(module).GetName();
    std::wstring_view version = file.View().substr(static_cast<std::size_t>(name.Len()));
    constexpr std::wstring_view end = L".so.";
    if (!version.starts_with(end)) return {name};
    version.remove_prefix(end.size());
    return {name + L"." + KxString(version.substr(0, version.find(L'.'))), name};
}

}  // namespace

KxFileVersionReader KxxSetFileVersionReader(KxFileVersionReader reader) {
    KxFileVersionReader const former = g_versionReader.exchange(reader);
    return former ? former : ReadVersionBlock;
}

KxWrongSatelliteVersionException::KxWrongSatelliteVersionException(KxString const& file, unsigned long line,
                                                                   KxString const& modulePath,
                                                                   unsigned short moduleVersion,
                                                                   KxString const& satellitePath,
                                                                   unsigned short satelliteVersion)
    : KxRuntimeException(file, line),
      m_modulePath(modulePath),
      m_satellitePath(satellitePath),
      m_moduleVersion(moduleVersion),
      m_satelliteVersion(satelliteVersion) {}

void KxWrongSatelliteVersionException::BuildMessage() {
    m_message.SPrintf(KxString(KxResId(text::WrongSatelliteVersion)), m_moduleVersion / 100, m_moduleVersion % 100,
                      m_modulePath, m_satelliteVersion / 100, m_satelliteVersion % 100, m_satellitePath);
    KxRuntimeException::BuildMessage();
}

KxLocalizer::KxLocalizer() : m_languages(&NameHash(), bucketCount), m_activeLanguage(KxxGetThreadLanguage()) {}

KxLocalizer::~KxLocalizer() = default;

void KxLocalizer::Init(KxString const& fileName, KxString const& group) {
    m_languages.RemoveAll();
    m_languages[L"AUTO"] = KxLanguage();
    KxConfiguration config(fileName, 0);
    config.BeginUpdate();  // one look at the file for all languages
    config.SetGroup(group);
    unsigned short const count = config.GetKeyCount();
    for (unsigned short i = 0; i < count; ++i) {
        KxString const value = config.ReadKey(i);
        if (value.GetTokenCount(L';') < 2) continue;
        // A part may be the name of another key of the group, whose value it stands for.
        auto const part = [&](int index) {
            KxString const token = value.GetToken(index, L';'), named = config.ReadString(token);
            return NumberOf(named.Len() > 0 ? named : token);
        };
        unsigned int const primary = part(0), variant = part(1);
        m_languages[config.GetKeyName(i).Upper()] = static_cast<unsigned short>(variant * 1024u | primary);
    }
    if (!m_languages.Find(L"GERMAN")) m_languages[L"GERMAN"] = german;
    if (!m_languages.Find(L"ENGLISH")) m_languages[L"ENGLISH"] = english;
}

void KxLocalizer::SetResourceDLLNamingConvention(KxString const& convention) {
    m_namingConvention = convention;
}

void KxLocalizer::SetResourceDLLPathConvention(KxString const& convention) {
    m_pathConvention = convention;
}

void KxLocalizer::SetFallbackLanguage(KxLanguage const& language) {
    m_fallbackLanguage = language;
}

void KxLocalizer::SetModuleResourceLanguage(KxLanguage const& language) {
    m_moduleResourceLanguage = language;
}

int KxLocalizer::SetActiveLanguage(unsigned long id) {
    for (auto const& element : m_languages) {
        if (element.value.GetLangID() != id) continue;
        m_activeLanguage = element.value;
        return 1;
    }
    return 0;
}

int KxLocalizer::SetActiveLanguage(KxString const& name) {
    auto const* const element = m_languages.Find(name.Upper());
    if (!element) return 0;
    m_activeLanguage = element->value;
    return 1;
}

int KxLocalizer::ResourceDLLExists(KxString const& module, KxLanguage const& language, KxString& path) {
    KxTools::DirEntry folder = KxTools::DirEntry(module).GetPath();
    if (m_pathConvention.Len() > 0) folder += FromSetting(m_pathConvention);  // an absolute one takes its place
    folder += FromSetting(m_namingConvention);
    folder.ToAbs();
    for (KxString const& name : NamesOf(module)) {
        path = folder.GetFull();
        path.SearchAndReplace(L"%M%", name, 0);
        path.SearchAndReplace(L"%L%", KxString(language.GetLangCode()), 0);
        KxTools::DirEntry const file(path);
        KxTools::FileStat const status(file);
        // One that the system cannot look at is not skipped: why it cannot be loaded is told.
        if (status.IsFile() || (!status.Exists() && file.Exists(1))) return 1;
    }
    path = KxString();
    return 0;
}

void KxLocalizer::SetupLanguageSearchList(KxTList<KxLanguage>& list) {
    KxLanguage const user;
    list.RemoveAll();
    for (KxLanguage const& language :
         {m_activeLanguage, DefaultVariant(m_activeLanguage), user, DefaultVariant(user), m_fallbackLanguage})
        if (list.Find(language) < 0) list.AddTail(language);
}

int KxLocalizer::FindResourceDLL(KxString const& module, KxTList<KxLanguage> const& list, KxString& path,
                                 KxLanguage& found) {
    found = KxLanguage();
    path = KxString();
    for (KxLanguage const& language : list) {
        bool const isOwn = language == m_moduleResourceLanguage;
        if (!isOwn && !ResourceDLLExists(module, language, path)) continue;
        found = language;
        return 1;
    }
    return 0;
}

unsigned short KxLocalizer::VersionOf(KxString const& path) {
    KxFileVersionReader const reader = g_versionReader;
    KxString const text = (reader ? reader : ReadVersionBlock)(path);
    if (!text) return noVersion;
    unsigned int number = 0;
    for (int i = 0; i < 3; ++i)
        number = number * 10 + static_cast<unsigned int>(std::wcstoll(text.GetToken(i, L'.'), nullptr, 10));
    return static_cast<unsigned short>(number);
}

bool KxLocalizer::CheckVersion(KxString const& modulePath, KxString const& satellitePath, short versionCheck) {
    if (versionCheck == 0) return true;
    unsigned short const module = VersionOf(modulePath), satellite = VersionOf(satellitePath);
    if (module == satellite) return true;
    auto wrong = std::make_unique<KxWrongSatelliteVersionException>(L"syLocalizer", __LINE__, modulePath, module,
                                                                    satellitePath, satellite);
    if (versionCheck == 2) throw wrong.release();
    detail::SetModuleError(ENOEXEC, CException::TextOf(*wrong).GetStr());
    return false;
}

void KxSingleDLLLocalizer::SetSourceModule(KxString const& path) {
    m_sourceModule = path;
}

void KxSingleDLLLocalizer::DoLocalization(short versionCheck) {
    m_instance = nullptr;
    if (m_activeLanguage == m_moduleResourceLanguage) {
        m_isFound = 1;
        m_language = m_moduleResourceLanguage;
        m_path = KxString();
        return;
    }
    KxTList<KxLanguage> list;
    SetupLanguageSearchList(list);
    m_isFound = FindResourceDLL(m_sourceModule, list, m_path, m_language);
    if (!m_isFound || m_language == m_moduleResourceLanguage) return;
    m_instance = KxxLoadSatellite(m_path);
    if (m_sourceModule.Len() > 0) CheckVersion(m_sourceModule, m_path, versionCheck);
}

}  // namespace KxN
