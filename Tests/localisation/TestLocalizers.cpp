// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/localisation/syLocalizer.h"

#include "LocalisationTest.h"

#include "../base/Allocations.h"

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <optional>

extern KxN::SxStringResource const g_testTexts[];
extern std::size_t const g_testTextsCount;

namespace {

using namespace test;

TEST(Language, NumbersCodesAndNames) {
    struct {
        unsigned short id, primary, variant;
        char const *code, *locale, *german;
    } const cases[] = {{1031, 7, 1, "DEU", "de_DE", "Deutsch (Deutschland)"},
                       {1033, 9, 1, "ENU", "en_US", "Englisch (Vereinigte Staaten)"},
                       {0x0807, 7, 2, "DES", "de_CH", "Deutsch (Schweiz)"},
                       {0x040C, 12, 1, "FRA", "fr_FR", "Französisch (Frankreich)"},
                       {0x0501, 0x101, 1, "QPS", "en_US", "Englisch (Vereinigte Staaten)"},
                       {0x0436, 0x36, 1, "AFR", "af_ZA", "Afrikaans (Südafrika)"},
                       {0x4009, 9, 16, "ENN", "en_IN", "Englisch (Indien)"},
                       {0x0004, 4, 0, "CHS", "zh_Hans", "Chinesisch (Vereinfacht)"},
                       {0xFFFE, 0x3FE, 63, "", "", ""}};
    for (auto const& c : cases) {
        KxLanguage const language = c.id;
        EXPECT_EQ(language.GetPrimaryLangID(), c.primary);
        EXPECT_EQ(language.GetSubLangID(), c.variant);
        EXPECT_EQ(U(KxString(language.GetLangCode())), c.code);
        EXPECT_EQ(KxxGetLocaleName(c.id), c.locale);
        EXPECT_EQ(U(KxxGetLanguageName(c.id, 1031)), c.german);
        EXPECT_EQ(language.GetLangUIName().IsEmpty(), !*c.german);
        EXPECT_TRUE(language == KxLanguage(c.id) && language != KxLanguage(1036 + 1024));
    }
    std::string const endless(200, '1');
    for (char const* name : {"", "C", "xx_YY", "\xFF", "_", endless.c_str()})
        EXPECT_EQ(KxxFindLanguage(name), 0) << name;
    for (std::size_t length = 100; length < 200; ++length)  // about the longest that is looked at
        EXPECT_EQ(KxxFindLanguage("de_DE_" + std::string(length, 'X')) & ~1031, 0) << length;
    EXPECT_EQ(KxxFindLanguage("de"), 1031);
    EXPECT_EQ(KxxFindLanguage("de_CH.UTF-8@euro"), 0x0807);
}

// The environment is read when the library is loaded: each case is a process of its own.
TEST(LanguageDeathTest, OfTheUser) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    struct {
        char const *all, *messages, *lang, *language;
        unsigned short id;
    } const cases[] = {{"", "", "de_CH.UTF-8", "", 0x0807}, {"", "fr_FR", "de_DE", "", 0x040C},
                       {"de_DE", "fr_FR", "", "", 1031},    {"", "", "", "de", 1033},
                       {"C", "de_DE", "de_DE", "de", 1033}, {"", "", "de_DE", "it:de", 0x0410},
                       {"", "", "nonsense", "", 1033},      {"POSIX", "", "de_DE", "de", 1033},
                       {"", "", "de_DE", nullptr, 1031}};
    auto const body = [] {
        ::setenv("LANG", "ja_JP", 1);  // too late
        std::fprintf(stderr, "language %d", KxxGetUserLanguage());
        std::_Exit(7);
    };
    for (auto const& c : cases) {
        char const* const names[] = {"LC_ALL", "LC_MESSAGES", "LANG", "LANGUAGE"};
        char const* const values[] = {c.all, c.messages, c.lang, c.language};
        std::optional<std::string> former[4];
        for (int i = 0; i < 4; ++i) {
            if (char const* const value = std::getenv(names[i])) former[i] = value;
            values[i] ? ::setenv(names[i], values[i], 1) : ::unsetenv(names[i]);
        }
        EXPECT_EXIT(body(), testing::ExitedWithCode(7), "language " + std::to_string(c.id));
        for (int i = 0; i < 4; ++i) former[i] ? ::setenv(names[i], former[i]->c_str(), 1) : ::unsetenv(names[i]);
    }
}

#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// Opens what derived classes may use.
class Single : public KxSingleDLLLocalizer {
public:
    using KxLocalizer::FindResourceDLL;
    using KxLocalizer::ResourceDLLExists;
    using KxLocalizer::SetupLanguageSearchList;
    KxLanguage Active() const { return m_activeLanguage; }
};

class Localizers : public ModuleTree {
protected:
    Localizers() {
        Put("languages.ini",
            "[Other]\nFrench=1;1\n[Languages]\nFrench=0x0C;1\nSwiss = 7;2 ;x\nOctal=014;1\nOne=9\nNames=Base;Variant\n"
            "Base=9\nVariant=2\nAbsurd=99999999999999999999999;-1\nNegative=-1;0\nText=abc;\nEnglish=0x09;1\nFRENCH=12;"
            "3\n"
            "Pseudo=0x101;1\n");
        m_settings = Path("languages.ini");
    }
    ~Localizers() override { KxxSetFileVersionReader(nullptr); }

    KxString m_settings;
};

TEST_F(Localizers, TableOfLanguages) {
    Single localizer;
    EXPECT_EQ(localizer.SetActiveLanguage(L"German"), 0);  // not before Init
    localizer.Init(m_settings, L"Languages");
    struct {
        wchar_t const* name;
        int id;  // 0: there is none
    } const cases[] = {{L"french", 0x0C0C},
                       {L"SWISS", 0x0807},
                       {L"Octal", 0x040C},
                       {L"One", 0},
                       {L"Names", 0x0809},
                       {L"Absurd", 0xFFFF},
                       {L"Negative", 0xFFFF},
                       {L"Text", 0},
                       {L"German", 1031},
                       {L"english", 1033},
                       {L"auto", KxxGetUserLanguage()},
                       {L"Pseudo", 0x0501},
                       {L"Japanese", -1},
                       {L"", -1}};
    for (auto const& c : cases) {
        localizer.SetActiveLanguage(1031UL);
        bool const isThere = localizer.SetActiveLanguage(c.name);
        bool const isExpected = c.id > 0 || KxString(c.name) == L"Text";  // letters are the number 0
        EXPECT_EQ(isThere, isExpected) << U(KxString(c.name));
        EXPECT_EQ(localizer.Active().GetLangID(), isExpected ? c.id : 1031) << U(KxString(c.name));
    }
    EXPECT_EQ(localizer.SetActiveLanguage(0x0411UL), 0);  // known to the system, not to the table
    EXPECT_EQ(localizer.SetActiveLanguage(0x10407UL), 0);
    EXPECT_EQ(localizer.SetActiveLanguage(0x0809UL), 1);
    KxTList<KxLanguage> list;
    localizer.SetActiveLanguage(L"Swiss");
    localizer.SetFallbackLanguage(0x0410);
    localizer.SetupLanguageSearchList(list);
    unsigned short const user = KxxGetUserLanguage();
    std::vector<int> ids, expected{0x0807, 0x0407, user, (user & 0x3FF) | 0x400, 0x0410};
    for (KxLanguage const& language : list) ids.push_back(language.GetLangID());
    for (auto it = expected.begin(); it != expected.end();)
        it = std::find(expected.begin(), it, *it) != it ? expected.erase(it) : it + 1;
    EXPECT_EQ(ids, expected);
    localizer.Init(Path("nothing.ini"), L"Languages");
    EXPECT_EQ(localizer.SetActiveLanguage(L"Swiss"), 0);
    for (wchar_t const* name : {L"AUTO", L"GERMAN", L"ENGLISH"}) EXPECT_EQ(localizer.SetActiveLanguage(name), 1);
}

TEST_F(Localizers, PlacesOfSatellites) {
    Put("App.exe", "");
    Put("App_ENU.txt", "");
    std::filesystem::create_directories(File("LanguagePacks/DEU"));
    std::filesystem::create_directories(File("LanguagePacks/ESN/App.ESN"));  // a folder
    Put("LanguagePacks/DEU/App.DEU", "");
    Single localizer;
    KxString path = L"x";
    KxString const app = Path("App.exe");
    EXPECT_EQ(localizer.ResourceDLLExists(app, 1031, path), 1);
    EXPECT_EQ(path, Path("LanguagePacks/DEU/App.DEU"));
    for (int const id : {0x0C0A, 1033, 0xFFFE}) {
        EXPECT_EQ(localizer.ResourceDLLExists(app, static_cast<unsigned short>(id), path), 0);
        EXPECT_EQ(path, L"");
    }
    // Versions of a library stand side by side.
    Put("LanguagePacks/DEU/libx.3.DEU", "");
    for (auto const& [library, satellite] : {std::pair{"libx.so.3", "libx.3.DEU"},
                                             {"libx.so.3.01", "libx.3.DEU"},
                                             {"libx.so.4", ""},
                                             {"libx.so", ""},
                                             {"libx.so.", ""},
                                             {"libx.3.exe", "libx.3.DEU"}}) {
        EXPECT_EQ(localizer.ResourceDLLExists(Path(library), 1031, path), *satellite ? 1 : 0) << library;
        EXPECT_EQ(path, *satellite ? Path(std::string("LanguagePacks/DEU/") + satellite) : KxString()) << library;
    }
    Put("LanguagePacks/DEU/libx.DEU", "");  // for all versions that have none of their own
    EXPECT_EQ(localizer.ResourceDLLExists(Path("libx.so.4"), 1031, path), 1);
    EXPECT_EQ(path, Path("LanguagePacks/DEU/libx.DEU"));
    EXPECT_EQ(localizer.ResourceDLLExists(Path("libx.so.3"), 1031, path), 1);
    EXPECT_EQ(path, Path("LanguagePacks/DEU/libx.3.DEU"));
    localizer.SetResourceDLLPathConvention(L"");
    localizer.SetResourceDLLNamingConvention(L"%M%_%L%.txt");
    EXPECT_EQ(localizer.ResourceDLLExists(app, 1033, path), 1);
    localizer.SetResourceDLLPathConvention(Path("LanguagePacks"));
    localizer.SetResourceDLLNamingConvention(L"%L%\\%M%.%L%");
    EXPECT_EQ(localizer.ResourceDLLExists(L"/nowhere/App.exe", 1031, path), 1);
    EXPECT_EQ(path, Path("LanguagePacks/DEU/App.DEU"));

    // The module's own language ends the walk, whatever comes behind it.
    KxLanguage found;
    KxTList<KxLanguage> list;
    for (int const id : {1033, 1034, 1031}) list.AddTail(static_cast<unsigned short>(id));
    localizer.SetModuleResourceLanguage(1034);
    EXPECT_EQ(localizer.FindResourceDLL(app, list, path, found), 1);
    EXPECT_EQ(found.GetLangID(), 1034);
    EXPECT_EQ(path, L"");
    localizer.SetModuleResourceLanguage(1041);
    EXPECT_EQ(localizer.FindResourceDLL(app, list, path, found), 1);
    EXPECT_EQ(found.GetLangID(), 1031);
    EXPECT_EQ(path, Path("LanguagePacks/DEU/App.DEU"));
    list.RemoveTail();
    EXPECT_EQ(localizer.FindResourceDLL(app, list, path, found), 0);
    EXPECT_EQ(found, KxLanguage());
}

std::string g_moduleVersion, g_satelliteVersion;
KxString ReadVersion(KxString const& path) {
    bool const isSatellite = path.View().find(L"LanguagePacks") != std::wstring_view::npos;
    return KxString((isSatellite ? g_satelliteVersion : g_moduleVersion).c_str());
}

TEST_F(Localizers, SingleModule) {
    KxSingleDLLLocalizer localizer;
    localizer.Init(m_settings, L"Languages");
    localizer.SetSourceModule(m_module);
    localizer.SetActiveLanguage(L"German");
    localizer.DoLocalization(2);
    EXPECT_EQ(localizer.ResourceFound(), 1);
    EXPECT_EQ(localizer.ResourceDLLLanguage().GetLangID(), 1031);
    EXPECT_EQ(localizer.ResourceDLLInstance(), nullptr);

    localizer.SetActiveLanguage(L"English");
    localizer.DoLocalization(2);  // made with the module
    EXPECT_TRUE(KxxIsSatellite(localizer.ResourceDLLInstance()));
    localizer.SetActiveLanguage(0x040CUL);
    std::string const told = Thrown<KxWrongSatelliteVersionException>([&] { localizer.DoLocalization(2); });
    EXPECT_NE(told.find("Version 9.99 des Satellite"), std::string::npos) << told;
    EXPECT_EQ(told.find(".cpp"), std::string::npos) << told;

    KxxSetFileVersionReader(ReadVersion);
    struct {
        char const *module, *satellite, *message;  // none: no exception
    } const cases[] = {{"1.2.3", "1.2.3.9", nullptr},
                       {"1.2.3", "1.2.4", "\"stimmt nicht mit der Version 1.24 des Satellite-Moduls \""},
                       {"1.2.3", "", "Version 655.35 des"},
                       {"", "", nullptr},
                       {"3.01", "3.1.0", nullptr},
                       {"99999999999999999999.1.1", "x", "Version 0.0 des"}};
    localizer.SetActiveLanguage(L"English");
    for (auto const& c : cases) {
        g_moduleVersion = c.module;
        g_satelliteVersion = c.satellite;
        for (short check = 0; check < 3; ++check) {
            auto const run = [&] { localizer.DoLocalization(check); };
            if (check == 2 && c.message) {
                std::string const message = Thrown<KxWrongSatelliteVersionException>(run);
                EXPECT_TRUE(message.starts_with("Die aktuelle Modulversion ")) << message;
                EXPECT_NE(message.find(c.message), std::string::npos) << message;
            } else {
                run();
            }
            EXPECT_TRUE(KxxIsSatellite(localizer.ResourceDLLInstance()));  // in any case
            EXPECT_EQ(localizer.ResourceDLLPath(), Path(Satellite("ENU")));
            EXPECT_EQ(localizer.ResourceDLLLanguage().GetLangID(), 1033);
        }
    }
    Put(Satellite("ENU"), "damaged");
    localizer.DoLocalization(0);
    EXPECT_EQ(localizer.ResourceFound(), 1);
    EXPECT_EQ(localizer.ResourceDLLInstance(), nullptr);
    std::filesystem::remove(File(Satellite("ENU")));
    localizer.SetFallbackLanguage(0x0411);
    localizer.DoLocalization(1);
    EXPECT_EQ(localizer.ResourceFound(), KxLanguage() == KxLanguage(1031));
    localizer.SetFallbackLanguage(1031);  // the module's own, which needs no satellite
    localizer.DoLocalization(2);
    EXPECT_TRUE(localizer.ResourceFound() && !localizer.ResourceDLLInstance());
    EXPECT_EQ(localizer.ResourceDLLLanguage().GetLangID(), 1031);
    KxSingleDLLLocalizer alone;  // without a module there is no version to compare with
    alone.SetResourceDLLPathConvention(Path("LanguagePacks"));
    alone.SetResourceDLLNamingConvention(L"%L%/libExtension.%L%");
    alone.Init(m_settings, L"Languages");
    alone.SetActiveLanguage(0x040CUL);
    alone.DoLocalization(2);
    EXPECT_TRUE(KxxIsSatellite(alone.ResourceDLLInstance()));
}

class Global : public KxGlobalLocalizer {
public:
    using KxGlobalLocalizer::CleanUp;
};

TEST_F(Localizers, ProgramAndLibraries) {
    CDynLinkLibrary own(g_testTexts, &g_testTextsCount);
    AfxSetResourceModule(&own);
    auto const ownText = [] { return U(KxString(KxResId(1, nullptr))); };
    KxxSetTextReporter([](KxString const&) {});
    HINSTANCE const program = AfxGetResourceHandle();
    HINSTANCE const module = AfxLoadLibrary(m_module);
    CDynLinkLibrary* const library = LibraryOf(module);
    static AFX_EXTENSION_MODULE state;
    CDynLinkLibrary const system(state, 1);
    {
        Global localizer;
        EXPECT_EQ(KxGlobalLocalizer::GetLocalizer(), &localizer);
        localizer.Init(m_settings, L"Languages");
        EXPECT_EQ(localizer.SetActiveLanguage(L"English"), 1);
        localizer.DoLocalization(0);
        EXPECT_EQ(ownText(), "Measurement");
        EXPECT_EQ(Text(library, 20), "Points");
        EXPECT_EQ(KxxGetThreadLanguage(), 1033);
        EXPECT_TRUE(KxxIsSatellite(AfxGetResourceHandle()));
        EXPECT_EQ(KxxGetProcessResourceHandle(), AfxGetResourceHandle());
        EXPECT_FALSE(KxxIsSatellite(system.GetResourceHandle()));

        AfxFreeLibrary(module);  // comes and goes
        HINSTANCE const again = AfxLoadLibrary(m_module);
        EXPECT_EQ(Text(LibraryOf(again), 20), "Punkte");  // loaded after
        localizer.DoLocalization(0);
        EXPECT_EQ(Text(LibraryOf(again), 20), "Points");

        localizer.SetActiveLanguage(0x0501UL);
        localizer.DoLocalization(0);
        EXPECT_EQ(ownText(), "Measurement");  // has no such satellite: the fallback
        EXPECT_EQ(Text(LibraryOf(again), 20), "[Þûñķţé~~~]");
        EXPECT_EQ(U(KxString(KxResId(2001))).substr(0, 2), "[\xC3");  // the library's own
        localizer.SetActiveLanguage(L"German");
        int const failures = test::FailEachAllocation([&] { localizer.DoLocalization(2); },
                                                      [&] {
                                                          EXPECT_EQ(ownText(), "Measurement");
                                                          EXPECT_EQ(Text(LibraryOf(again), 20), "[Þûñķţé~~~]");
                                                      });
        EXPECT_GT(failures, 5);
        EXPECT_EQ(ownText(), "Messung");
        EXPECT_EQ(AfxGetResourceHandle(), program);
        EXPECT_EQ(Text(LibraryOf(again), 20), "Punkte");
        EXPECT_EQ(U(KxString(KxResId(2001))), "Ein Laufzeitfehler ist aufgetreten");

        KxxSetFileVersionReader(ReadVersion);
        g_moduleVersion = "1.0.0";
        g_satelliteVersion = "1.0.1";
        localizer.SetActiveLanguage(L"English");
        localizer.DoLocalization(1);
        EXPECT_EQ(ownText(), "Messung");
        std::string const reason = U(KxxGetModuleError().text);
        EXPECT_NE(reason.find("Version 1.1 des Satellite"), std::string::npos) << reason;
        EXPECT_EQ(Text(LibraryOf(again), 20), "Punkte");
        EXPECT_NE(Thrown<KxWrongSatelliteVersionException>([&] { localizer.DoLocalization(2); }), "");
        g_satelliteVersion = "1.0.0";
        localizer.DoLocalization(2);
        EXPECT_EQ(Text(LibraryOf(again), 20), "Points");
        g_satelliteVersion = "1.0.1";
        localizer.SetActiveLanguage(0x0501UL);
        EXPECT_NE(Thrown<KxWrongSatelliteVersionException>([&] { localizer.DoLocalization(2); }), "");
        EXPECT_EQ(ownText(), "Measurement");  // all as it was
        EXPECT_EQ(Text(LibraryOf(again), 20), "Points");
        EXPECT_EQ(KxxGetThreadLanguage(), 1033);
        g_satelliteVersion = "1.0.0";
        localizer.CleanUp();
        EXPECT_EQ(Text(LibraryOf(again), 20), "Punkte");
        localizer.DoLocalization(2);
        test::g_allocationsLeft = 0;  // neither freeing nor a destructor needs any
        AfxFreeLibrary(again);
    }
    test::g_allocationsLeft = -1;
    EXPECT_EQ(KxGlobalLocalizer::GetLocalizer(), nullptr);
    EXPECT_EQ(U(KxString(KxResId(2001))), "Ein Laufzeitfehler ist aufgetreten");
    AfxSetResourceHandle(program);
    EXPECT_EQ(ownText(), "Messung");
    AfxSetResourceModule(nullptr);
    KxxSetTextReporter(nullptr);
    KxxSetThreadLanguage(KxxGetUserLanguage());
    std::setlocale(LC_CTYPE, "C");
}

// Whether the run-time library knows a language or not, what it takes for text stays UTF-8.
TEST_F(Localizers, ManyLanguagesInOneProcess) {
    std::string languages = "[Languages]\nNone=abc;\n";  // whose number is 0
    for (int i = 1; i < 90; ++i) languages += "L" + std::to_string(i) + "=" + std::to_string(i) + ";1\n";
    Put("languages.ini", languages);
    HINSTANCE const program = AfxGetResourceHandle();
    {
        Global localizer;
        localizer.Init(m_settings, L"Languages");
        for (int i = 0; i < 90; ++i) {
            ASSERT_TRUE(localizer.SetActiveLanguage(i ? KxString(KxxFormat(L"L%d", i)) : KxString(L"None")));
            for (int again = 0; again < 2; ++again) localizer.DoLocalization(0);
            EXPECT_TRUE(std::string_view(std::setlocale(LC_CTYPE, nullptr)).ends_with("UTF-8")) << i;
        }
    }
    AfxSetResourceHandle(program);
    KxxSetThreadLanguage(KxxGetUserLanguage());
    std::setlocale(LC_CTYPE, "C");
}

}  // namespace
