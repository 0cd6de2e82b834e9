// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Localisers choose the language of texts. Satellites stand where two conventions say, by default as
// LanguagePacks/ENU/App.ENU in the folder of App. KxGlobalLocalizer finds those of the program and of every extension
// library and makes them the sources of their texts; KxSingleDLLLocalizer finds the one of a single module and reports
// it. See Doc/languages.md.
//
//     KxGlobalLocalizer localizer;
//     localizer.Init(L"/etc/scanlab.ini", L"Languages");
//     localizer.SetActiveLanguage(L"English");
//     localizer.DoLocalization(1);
//
// To be used at the start of a program, on its main thread, and to switch later; other threads may look up texts
// meanwhile. A satellite is data: whatever stands in its place, nothing of it is executed. A missing or damaged one is no
// failure, the module keeps its own texts; KxxGetModuleError tells why.
#pragma once

#include "hbtools/base/syException.h"
#include "hbtools/base/syResource.h"
#include "hbtools/core/syList.h"
#include "hbtools/core/syMap.h"
#include "hbtools/localisation/syLanguage.h"

#include <vector>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace KxN {

/// The satellite found is of another version than its module. Versions are numbers such as 123 for 1.23.
class KX_API KxWrongSatelliteVersionException : public KxRuntimeException {
public:
    KxWrongSatelliteVersionException(KxString const& file, unsigned long line, KxString const& modulePath = KxString(),
                                     unsigned short moduleVersion = 65535, KxString const& satellitePath = KxString(),
                                     unsigned short satelliteVersion = 65535);

    KxString GetModulePath() const { return m_modulePath; }
    KxString GetSatellitePath() const { return m_satellitePath; }
    unsigned short GetModuleVersion() const { return m_moduleVersion; }
    unsigned short GetSatelliteVersion() const { return m_satelliteVersion; }

protected:
    void BuildMessage() override;

private:
    KxString m_modulePath, m_satellitePath;
    unsigned short m_moduleVersion, m_satelliteVersion;
};

class KX_API KxLocalizer {
public:
    KxLocalizer();
    KxLocalizer(KxLocalizer const&) = delete;
    KxLocalizer& operator=(KxLocalizer const&) = delete;

    /// Reads the table of languages from a group of a configuration file: each key is a name, its value the primary
    /// language and the variant, "0x07;1", as numbers in C's notation or names of keys that hold them; another value is
    /// skipped. AUTO is the user's language; GERMAN and ENGLISH are added unless they are there. A missing file or group
    /// leaves these.
    virtual void Init(KxString const& fileName, KxString const& group);
    /// The file name of a satellite: %M% stands for the module's name without extension, %L% for the language's code. For
    /// a library whose file name ends in a version, such as libOptics.so.3.1, libOptics.3 is tried before libOptics.
    virtual void SetResourceDLLNamingConvention(KxString const& convention);
    /// The folder of satellites, absolute or relative to that of the module, with / or \ between its parts.
    virtual void SetResourceDLLPathConvention(KxString const& convention);
    /// Where nothing is found in the languages wanted: English unless set.
    virtual void SetFallbackLanguage(KxLanguage const& language);
    /// The language that the modules have built in: German unless set.
    virtual void SetModuleResourceLanguage(KxLanguage const& language);
    /// Chooses a language of the table. 0, and no change, if it has none of that number or name; names are compared
    /// without regard to case.
    virtual int SetActiveLanguage(unsigned long id);
    virtual int SetActiveLanguage(KxString const& name);
    /// `versionCheck`: 0, none; 1, a satellite of another version is not used where that is told; 2, it is an exception.
    /// @throws KxWrongSatelliteVersionException
    virtual void DoLocalization(short versionCheck) = 0;

protected:
    ~KxLocalizer();

    /// 1, and the path, if the module's satellite for that language is there, else 0 and an empty path.
    virtual int ResourceDLLExists(KxString const& module, KxLanguage const& language, KxString& path);
    /// The languages in the order in which they are tried.
    virtual void SetupLanguageSearchList(KxTList<KxLanguage>& list);
    /// 1 with an empty path if the module's own language comes first, with that of the satellite if that does, else 0.
    virtual int FindResourceDLL(KxString const& module, KxTList<KxLanguage> const& list, KxString& path,
                                KxLanguage& found);

    /// The version of a module by its version block; 65535 if it has none.
    static unsigned short VersionOf(KxString const& path);
    /// Nothing for equal versions or without a check. @returns whether they are equal
    static bool CheckVersion(KxString const& modulePath, KxString const& satellitePath, short versionCheck);

    KxTMap<KxString, KxLanguage> m_languages;  // by names in capitals
    KxString m_namingConvention = L"%M%.%L%";
    KxString m_pathConvention = L"LanguagePacks\\%L%";
    KxLanguage m_activeLanguage;
    KxLanguage m_fallbackLanguage = 1033;
    KxLanguage m_moduleResourceLanguage = 1031;
};

class KX_API KxGlobalLocalizer : public KxLocalizer {
public:
    KxGlobalLocalizer();
    /// Runs CleanUp.
    ~KxGlobalLocalizer();

    /// The localiser that was made last, null if there is none.
    static KxGlobalLocalizer* GetLocalizer() { return m_pGlobalLocalizer; }

    /// Makes satellites the sources of the program's texts and of those of all extension libraries; a library without one
    /// goes back to its own texts. All are found first, then each module changes once, so that other threads see the former
    /// or the new language. Sets the language of the calling thread and, for the whole process, LC_CTYPE of the run-time
    /// library, to C.UTF-8 where that language is not installed; the program sees to it that no thread uses that meanwhile.
    /// An exception leaves all this as it was; the language chosen stays chosen for the next call. No other thread may load
    /// or free modules meanwhile.
    void DoLocalization(short versionCheck) override;

protected:
    /// Gives the extension libraries their own texts back and frees their satellites.
    virtual void CleanUp();

private:
    struct Choice;

    void Choose(Choice& choice, KxTList<KxLanguage> const& list, short versionCheck);
    void Apply(std::vector<Choice> const& choices);

    static KxGlobalLocalizer* m_pGlobalLocalizer;

    KxTMap<CDynLinkLibrary*, HINSTANCE> m_satellites;
    HINSTANCE m_program = nullptr;
    HINSTANCE m_programSatellite = nullptr;
    KxTList<HINSTANCE> m_replaced;  // by a later call; somebody may hold them until CleanUp
    HINSTANCE m_initialSource = nullptr;
    bool m_isInitialKnown = false;
    bool m_isThreadSet = false;
};

class KX_API KxSingleDLLLocalizer : public KxLocalizer {
public:
    KxSingleDLLLocalizer() = default;
    /// Does not free the satellite.
    ~KxSingleDLLLocalizer() = default;

    /// Looks for the satellite of the source module and loads it. One that is found and cannot be loaded counts as found,
    /// with its path and a null instance; KxxGetModuleError tells why. Each call counts the satellite that it loads and
    /// forgets the one before: whoever switches takes ResourceDLLInstance first, and frees it when its texts are no
    /// longer used.
    void DoLocalization(short versionCheck) override;
    virtual void SetSourceModule(KxString const& path);

    int ResourceFound() const { return m_isFound; }
    KxLanguage ResourceDLLLanguage() const { return m_language; }
    /// Null if the module's own resources serve. One count of it is the caller's, to be freed with AfxFreeLibrary.
    HINSTANCE ResourceDLLInstance() const { return m_instance; }
    KxString ResourceDLLPath() const { return m_path; }

private:
    KxString m_sourceModule;
    int m_isFound = 0;
    HINSTANCE m_instance = nullptr;
    KxLanguage m_language;
    KxString m_path;
};

/// Reads the file version text of a module, empty if it has none. Localisers compare versions by it.
using KxFileVersionReader = KxString (*)(KxString const& path);
/// Sets the reader for modules that tell their version in another way than by a version block (KxFileVersionInfo), null for
/// that, and returns the former one.
KX_API KxFileVersionReader KxxSetFileVersionReader(KxFileVersionReader reader);

}  // namespace KxN

#pragma GCC diagnostic pop
