// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Satellites as hostile bytes, and as the sources of texts.
#include "LocalisationTest.h"
#include "SatelliteFile.h"
#include "hbtools/base/syDelayLoad.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/diagnostics/syExceptionMgr.h"
#include "hbtools/localisation/syLocalizer.h"

#include <atomic>
#include <clocale>
#include <thread>

namespace {

using namespace test;

std::string Number(std::size_t number) {
    return LittleEndian(number, 4);
}

/// The page of the format as bytes: two texts, 7 "a" and 9 "bc".
std::string Table() {
    return std::string("hbTexts\0", 8) + Number(1) + Number(2) + Number(45) + std::string("ENU\0", 4) +  //
           Number(7) + Number(40) + Number(9) + Number(42) + std::string("a\0bc\0", 5);
}

class Satellites : public ModuleTree {
protected:
    HINSTANCE Load(std::string const& bytes) const {
        static int number = 0;
        std::string const name = "pack" + std::to_string(++number);
        Put(name, bytes);
        HINSTANCE const module = KxxLoadSatellite(Path(name));
        EXPECT_EQ(AfxLoadLibrary(Path(name)) != nullptr, module != nullptr);
        return module;
    }
};

TEST_F(Satellites, AreNoModulesToCallInto) {
    KxString const path = Path(Satellite("ENU"));
    KxDelayLoadedModule module(path);
    EXPECT_NE(Thrown<KxDllLoadException>([&] { module.GetFunction<void()>("Library"); }).find(U(path)),
              std::string::npos);
    EXPECT_EQ(KxxGetModuleError().code, unsigned(ENOEXEC));
    std::ifstream maps("/proc/self/maps");
    std::string const loaded(std::istreambuf_iterator<char>(maps), {});
    EXPECT_EQ(loaded.find(File(Satellite("ENU")).string()), std::string::npos);
}

TEST_F(Satellites, HostileTables) {
    ASSERT_TRUE(Load(SatelliteFile(Table()))) << U(KxxGetModuleError().text);
    for (std::size_t length = 0; length < Table().size(); ++length)
        EXPECT_FALSE(Load(SatelliteFile(Table().substr(0, length)))) << length;
    struct {
        std::size_t place;
        std::string bytes;
        char const* what;
    } const cases[] = {{0, "H", "mark"},
                       {8, Number(2), "format"},
                       {12, Number(3), "one entry too many"},
                       {12, Number(0xFFFFFFFF), "absurd count"},
                       {12, Number(1), "texts that nobody has"},
                       {16, Number(44), "length"},
                       {24, Number(9), "id twice"},
                       {24, Number(10), "order"},
                       {24, Number(0), "no id"},
                       {32, Number(65536), "id beyond 16 bits"},
                       {28, Number(41), "gap"},
                       {28, Number(0xFFFFFFF0), "outside"},
                       {36, Number(40), "overlap"},
                       {36, Number(44), "behind a terminator"},
                       {44, "x", "no terminator"},
                       {41, "x", "one terminator less"},
                       {42, "\xC3(", "no UTF-8"},
                       {40, "\xFF", "no UTF-8"}};
    for (auto const& c : cases) {
        std::string table = Table();
        table.replace(c.place, c.bytes.size(), c.bytes);
        EXPECT_FALSE(Load(SatelliteFile(table))) << c.what;
        EXPECT_NE(KxxGetModuleError().text.View().find(L"Texttabelle"), std::wstring_view::npos) << c.what;
    }
    std::string longer = Table() + std::string("d\0", 2);
    longer.replace(16, 4, Number(longer.size()));
    EXPECT_FALSE(Load(SatelliteFile(longer))) << "a text without an entry";
    std::size_t const former = std::exchange(KxxLimits().satelliteBytes, Table().size() - 1);
    EXPECT_FALSE(Load(SatelliteFile(Table())));
    KxxLimits().satelliteBytes = former;
    EXPECT_NE(KxxGetModuleError().text.View().find(L"groß"), std::wstring_view::npos);
    // Ten megabytes of one text, and a section that lies elsewhere.
    std::string huge = Table().substr(0, 24) + Number(7) + Number(32) + std::string(10 << 20, 'x') + '\0';
    huge.replace(12, 8, Number(1) + Number(huge.size()));
    EXPECT_FALSE(Load(SatelliteFile(huge)));
    EXPECT_NE(KxxGetModuleError().text.View().find(L"groß"), std::wstring_view::npos);
    std::string const elf = SatelliteFile(Table());
    std::size_t const header = elf.size() - 128;
    for (std::size_t const place : {24u, 32u})  // offset and size of the section
        for (std::string const& value :
             {Number(0x7FFFFFFF), Number(0xFFFFFFFF) + Number(0xFFFFFFFF), Number(elf.size())}) {
            std::string lying = elf;
            lying.replace(header + place, value.size(), value);
            EXPECT_FALSE(Load(lying)) << place;
        }
}

TEST_F(Satellites, CutAtEveryByte) {
    std::string const bytes = Get(Satellite("ENU"));
    KxString const path = Path("cut");
    Put("cut", bytes);
    for (std::size_t length = bytes.size(); length-- > 0;) {
        std::filesystem::resize_file(File("cut"), length);
        ASSERT_EQ(KxxLoadSatellite(path), nullptr) << length;
        ASSERT_TRUE(length % 8 != 0 || !AfxLoadLibrary(path)) << length;
    }
    // Whatever byte is wrong, what is loaded can be looked up.
    Put("cut", bytes);
    std::fstream file(File("cut"), std::ios::in | std::ios::out | std::ios::binary);
    for (std::size_t place = 0; place < bytes.size(); ++place) {
        file.seekp(static_cast<std::streamoff>(place)).put(static_cast<char>(~bytes[place])).flush();
        HINSTANCE const satellite = KxxLoadSatellite(path);
        file.seekp(static_cast<std::streamoff>(place)).put(bytes[place]);
        if (!satellite) continue;
        g_pHbToolsModule->SetResourceHandle(satellite);
        for (int const id : {0, 10, 60, 2001, 65535}) g_pHbToolsModule->LoadText(static_cast<unsigned short>(id));
        g_pHbToolsModule->SetResourceHandle(nullptr);
        AfxFreeLibrary(satellite);
    }
    EXPECT_EQ(KxxLoadSatellite(m_module), nullptr);  // code is none
    EXPECT_NE(KxxGetModuleError().text.View().find(L"kein Satellitenmodul"), std::wstring_view::npos);
    EXPECT_EQ(KxxLoadSatellite(L"LanguagePacks/ENU/libExtension.ENU"), nullptr);
}

std::vector<std::string> g_lines;
constexpr SxStringResource g_otherTexts[] = {{20, "%d points"}};

TEST_F(Satellites, TextsOfAModule) {
    HINSTANCE const module = AfxLoadLibrary(m_module);
    ASSERT_TRUE(module);
    CDynLinkLibrary* const library = LibraryOf(module);
    HINSTANCE const english = AfxLoadLibrary(Path(Satellite("ENU")));
    ASSERT_TRUE(english) << U(KxxGetModuleError().text);
    EXPECT_TRUE(KxxIsSatellite(english));
    EXPECT_FALSE(KxxIsSatellite(module));
    EXPECT_EQ(GetProcAddress(english, "hbtoolsTexts"), nullptr);
    EXPECT_EQ(library->GetResourceHandle(), module);
    KxTextReporter const collect = [](KxString const& line) { g_lines.push_back(U(line)); };
    KxTextReporter const former = KxxSetTextReporter(collect);
    KxxSetTextReporter(nullptr);
    g_lines.clear();
    library->SetResourceHandle(english);  // nobody is there to be told of the misfit
    KxxSetTextReporter(collect);
    library->SetResourceHandle(module);
    library->SetResourceHandle(english);  // told once only
    KxxSetTextReporter(former);
    KxExceptionManager manager;  // brings the next ones into its debug file
    Put("app.ini", "[Initialization]\nErrorCount=9\nDebugFileName=" + File("Debug.log").string() +
                       "\nLogFileName=" + File("log.txt").string() + "\n");
    manager.Initialize(Path("app.ini"));
    CDynLinkLibrary other(g_otherTexts);
    other.SetResourceHandle(english);
    EXPECT_NE(Get("Debug.log").find("Text 20 aus \""), std::string::npos) << Get("Debug.log");
    ASSERT_EQ(g_lines.size(), 1u);
    EXPECT_TRUE(g_lines[0].starts_with("Text 30 aus \"" + File(Satellite("ENU")).string())) << g_lines[0];
    EXPECT_NE(g_lines[0].find("(%d, %d / %s, %d)"), std::string::npos) << g_lines[0];
    KxTextReporter const debugFile = KxxSetTextReporter(nullptr);
    for (int i = 0; i < 101; ++i) CDynLinkLibrary(g_otherTexts).SetResourceHandle(english);
    g_lines.clear();
    KxxSetTextReporter(collect);
    KxxSetTextReporter(debugFile);
    EXPECT_EQ(g_lines.size(), 100u);  // so many wait for somebody to be told
    EXPECT_EQ(U(KxString(KxxFormat(library->LoadText(10).View(), 2.5, L"Naht"))), "Naht: length 2.50 mm");
    EXPECT_EQ(Text(library, 20), "Points");
    EXPECT_EQ(Text(library, 30), "%d von %d");
    EXPECT_EQ(Text(library, 40), "Nur deutsch");
    EXPECT_EQ(Text(library, 60), "surplus");
    EXPECT_EQ(Text(library, 70), "");
    std::string_view const kept = library->FindText(20);
    AfxFreeLibrary(english);
    EXPECT_EQ(kept, "Points");  // for ever
    EXPECT_EQ(AfxLoadLibrary(Path(Satellite("ENU"))), english);
    // The file is replaced in place, as installers do: what was read stays, and a new load sees the new file.
    std::string bytes = Get(Satellite("ENU"));
    bytes.replace(bytes.find("Points"), 6, "POINTS");
    Put(Satellite("ENU"), bytes);
    EXPECT_EQ(Text(library, 20), "Points");
    HINSTANCE const again = AfxLoadLibrary(Path(Satellite("ENU")));
    EXPECT_NE(again, english);
    library->SetResourceHandle(again);
    EXPECT_EQ(Text(library, 20), "POINTS");
    HINSTANCE const pseudo = AfxLoadLibrary(Path(Satellite("QPS")));
    library->SetResourceHandle(pseudo);
    EXPECT_EQ(Text(library, 10), "[Ļäñĝé %.2f ɱɱ ṽöñ %s~~~~~~]");
    EXPECT_EQ(Text(library, 50), "IMPORT");
    library->SetResourceHandle(nullptr);
    EXPECT_EQ(Text(library, 20), "Punkte");
    EXPECT_EQ(AfxFreeLibrary(module), 1);
}

TEST_F(Satellites, LookUpsWhileTheLanguageChanges) {
    HINSTANCE const module = AfxLoadLibrary(m_module);
    CDynLinkLibrary* const library = LibraryOf(module);
    HINSTANCE const program = AfxGetResourceHandle();
    {
        KxGlobalLocalizer localizer;
        Put("languages.ini", "[L]\nPseudo=0x101;1\n");
        localizer.Init(Path("languages.ini"), L"L");
        localizer.SetActiveLanguage(L"English");
        localizer.DoLocalization(0);
        std::atomic<bool> isOver = false;
        std::atomic<int> wrong = 0;
        std::vector<std::thread> readers;
        for (int i = 0; i < 3; ++i)
            readers.emplace_back([&] {
                while (!isOver) {  // never the built-in language
                    std::string const text = U(KxString(KxResId(20, library)));
                    if (text != "Points" && text != "[Þûñķţé~~~]") ++wrong;
                }
            });
        for (int i = 0; i < 300; ++i) {
            localizer.SetActiveLanguage(i % 2 ? L"English" : L"Pseudo");
            localizer.DoLocalization(0);
        }
        isOver = true;
        for (std::thread& reader : readers) reader.join();
        EXPECT_EQ(wrong, 0);
    }
    AfxSetResourceHandle(program);
    KxxSetProcessResourceHandle(program);
    KxxSetThreadLanguage(KxxGetUserLanguage());
    std::setlocale(LC_CTYPE, "C");
    AfxFreeLibrary(module);
}

}  // namespace
