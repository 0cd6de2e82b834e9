// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syLocale.h"
#include "hbtools/core/syFileVersionInfo.h"

#include "../base/Support.h"

#include <cstdlib>
#include <string>

using namespace KxN;
using namespace std::string_literals;

namespace {

std::string Bytes(std::u16string_view text) {
    std::string bytes;
    for (char16_t const unit : text) (bytes += static_cast<char>(unit & 0xff)) += static_cast<char>(unit >> 8);
    return bytes;
}

/// A block, counted by hand: sizes of node, of value, kind, name, value.
std::string const block =
    "\x30\x01\x34\0\0\0"s + Bytes(u"VS_VERSION_INFO") + "\0\0\0\0"s +
    "\xbd\x04\xef\xfe\0\0\1\0\2\0\1\0\4\0\3\0\6\0\5\0\x08\0\7\0\x3f\0\0\0\1\0\0\0\4\0\4\0\2\0\0\0\3\0\0\0"s +
    "\xde\xb1\x9d\1\0\x80\x3e\xd5"s +  // 1970-01-01 00:00:01 would be 0x019db1de:d53e8000 + 0x989680
    "\x8e\0\0\0\1\0"s + Bytes(u"StringFileInfo") + "\0\0"s + "\x6a\0\0\0\1\0"s + Bytes(u"040704b0") + "\0\0"s +
    "\x2c\0\6\0\1\0"s + Bytes(u"FileVersion") + "\0\0\0\0"s + Bytes(u"1.2.3") + "\0\0"s + "\x26\0\3\0\1\0"s +
    Bytes(u"ProductName") + "\0\0\0\0"s + Bytes(u"\u00c4B") + "\0\0"s + "\0\0"s + "\x44\0\0\0\1\0"s +
    Bytes(u"VarFileInfo") + "\0\0\0\0"s + "\x24\0\4\0\0\0"s + Bytes(u"Translation") + "\0\0\0\0"s + "\7\4\xb0\4"s;

std::string Number(unsigned long value, int size) {
    std::string bytes;
    for (int i = 0; i < size; ++i) bytes += static_cast<char>(value >> 8 * i & 0xff);
    return bytes;
}

/// A library of Windows with nothing but that block.
std::string Pe(bool isWide, std::string const& version = block) {
    unsigned const optional = isWide ? 240 : 224;
    std::string file = "MZ" + std::string(58, '\0') + Number(64, 4);
    file += "PE\0\0\x64\x86\1\0"s + std::string(12, '\0') + Number(optional, 2) + "\x22\x20"s;
    std::string header(optional, '\0');
    header.replace(0, 2, isWide ? "\x0b\2" : "\x0b\1");
    std::size_t const directories = isWide ? 112 : 96;
    header.replace(directories - 4, 4, Number(16, 4)).replace(directories + 16, 8, Number(0x1000, 4) + Number(500, 4));
    file += header + ".rsrc\0\0\0"s + Number(0x1000, 4) + Number(0x1000, 4) + Number(0x200, 4) + Number(0x200, 4) +
            std::string(16, '\0');
    file.resize(0x200);
    std::string const folder = std::string(12, '\0') + "\0\0\1\0"s;
    file += folder + Number(16, 4) + Number(0x80000018, 4) + folder + Number(1, 4) + Number(0x80000030, 4) + folder +
            Number(0x407, 4) + Number(0x48, 4) + Number(0x1058, 4) + Number(version.size(), 4) + Number(0, 8);
    return file + version;
}

class FileVersion : public test::TempFolder {
protected:
    int Create(std::string const& bytes) {
        std::filesystem::remove(File("module"));  // some systems flush what is cut to nothing and written again
        Put("module", bytes);
        return info.Create(Path("module"));
    }
    /// What is refused tells nothing, and what is read comes from the block.
    void ExpectNoMoreThanABlock(std::string const& bytes, std::size_t at) {
        bool const isRead = Create(bytes) == 1;
        std::string const texts = Utf8(info.GetProductName()) + Utf8(info.GetFileVersion());
        EXPECT_LT(texts.size(), isRead ? 400u : 1u) << at;
        EXPECT_TRUE(isRead || info.GetFileVersion(0) + info.GetFileFlagsMask() == 0) << at;
    }
    static std::string Utf8(CString const& text) { return test::U(KxString(text)); }
    KxFileVersionInfo info;
};

TEST_F(FileVersion, LibrariesOfWindowsAreRead) {
    for (bool const isWide : {false, true}) {
        ASSERT_EQ(Create(Pe(isWide)), 1);
        for (int part = 0; part < 4; ++part) {
            EXPECT_EQ(info.GetFileVersion(part), part + 1);
            EXPECT_EQ(info.GetProductVersion(part), part + 5);
        }
        EXPECT_EQ(info.GetFileVersion(4) + info.GetFileVersion(-1), 0);
        EXPECT_EQ(info.GetFileFlagsMask(), 0x3fu);
        EXPECT_EQ(info.GetFileFlags(), 1u);
        EXPECT_EQ(info.GetFileOs(), 0x40004u);
        EXPECT_EQ(info.GetFileType(), 2u);
        EXPECT_EQ(info.GetFileSubtype(), 3u);
        EXPECT_EQ(info.GetFileDate().GetTime(), 0);
        EXPECT_EQ(Utf8(info.GetFileVersion()), "1.2.3");
        EXPECT_EQ(Utf8(info.GetProductName()),
                  "\xc3\x84"
                  "B");
        EXPECT_EQ(Utf8(info.GetCompanyName()), "");
    }
    std::string dated = block;
    dated.replace(dated.find("\xde\xb1\x9d\1"), 8, "\xde\xb1\x9d\1\x80\x16\xd7\xd5"s);
    ASSERT_EQ(Create(Pe(true, dated)), 1);
    EXPECT_EQ(info.GetFileDate().GetTime(), 1);
    // Of a language spoken elsewhere, which is better than another one.
    std::string austrian = block;
    austrian.replace(austrian.find(Bytes(u"040704b0")), 16, Bytes(u"0c0704b0"));
    austrian.replace(austrian.size() - 4, 2, "\7\x0c");
    for (unsigned short const wanted : std::initializer_list<unsigned short>{0x0407, 0x0409}) {
        unsigned short const former = KxxSetThreadLanguage(wanted);
        EXPECT_EQ(Create(Pe(true, austrian)), 1);
        KxxSetThreadLanguage(former);
        EXPECT_EQ(Utf8(info.GetFileVersion()), "1.2.3") << wanted;
    }
    for (std::string const& size : {"\x14\0"s, "\x15\0"s}) {  // within the name, which has no end then
        std::string cut = block;
        EXPECT_EQ(Create(Pe(true, cut.replace(0, 2, size))), 0);
    }
    EXPECT_EQ(Create("no module"), 0);
    EXPECT_EQ(info.GetFileVersion(0) + info.GetFileType(), 0u);
    EXPECT_EQ(Utf8(info.GetProductName()), "");
    EXPECT_EQ(info.Create(Path("missing")), 0);
    EXPECT_EQ(info.Create(Path("")), 0);
}

TEST_F(FileVersion, ModulesOfThisSystemAreRead) {
    ASSERT_EQ(info.Create(KxxGetModuleOf(reinterpret_cast<void const*>(&KxxGetProgram))), 1);
    EXPECT_EQ(Utf8(info.GetFileVersion()), "3.01");
    EXPECT_EQ(info.GetFileVersion(0) * 100 + info.GetFileVersion(1), 301);
    EXPECT_EQ(Utf8(info.GetProductName()), "hbTools");
    EXPECT_EQ(KxDllTools().GetVersion(), KxVersion(301));
    EXPECT_EQ(info.Create(HINSTANCE()), 0);  // this program has none
}

TEST_F(FileVersion, DamageIsNoBlock) {
    for (bool const isWide : {false, true}) {
        std::string const whole = Pe(isWide);
        for (std::size_t size = 0; size < whole.size(); ++size) EXPECT_EQ(Create(whole.substr(0, size)), 0) << size;
        for (std::size_t at = 0; at < whole.size(); ++at) {
            for (int const byte : {0, 0xff, whole[at] ^ 1}) {
                std::string damaged = whole;
                damaged[at] = static_cast<char>(byte);
                ExpectNoMoreThanABlock(damaged, at);
            }
        }
        std::string unmarked = whole;
        unmarked[unmarked.find("\xbd\x04\xef\xfe")] = 0;
        EXPECT_EQ(Create(unmarked), 0);
    }
    // A module of this system: a pack of the library itself, with its block behind the texts.
    std::filesystem::path const library =
        test::U(GetModuleFileName(KxxGetModuleOf(reinterpret_cast<void const*>(&KxxGetProgram))));
    std::string const pack = Get(library.parent_path() / "LanguagePacks/ENU/libhbtools.3.ENU");
    std::size_t const begin = pack.rfind(Bytes(u"VS_VERSION_INFO")) - 6;
    ASSERT_EQ(Create(pack), 1);
    for (std::size_t size = 0; size < pack.size(); size += size < 64 ? 1 : 97) {
        EXPECT_EQ(Create(pack.substr(0, size)), 0) << size;
    }
    for (std::size_t at = 0; at < pack.size(); ++at) {
        if (at == 64) at = begin;                          // header and block
        if (at == begin + 0x108) at = pack.size() - 1024;  // the table of sections
        std::string damaged = pack;
        damaged[at] = static_cast<char>(~damaged[at]);
        ExpectNoMoreThanABlock(damaged, at);
    }
    // A section that is longer than a block can be.
    std::string longer = pack + std::string(70000, '\0');
    std::size_t const place = longer.rfind(Number(begin, 4) + Number(0, 4));
    ASSERT_NE(place, longer.npos);
    for (std::size_t const size : {pack.size() - begin, std::size_t{65536}}) {
        longer.replace(place + 8, 8, Number(size, 4) + Number(0, 4));
        EXPECT_EQ(Create(longer), size < 65536 ? 1 : 0);
    }
    // A table of resources that leads back to itself.
    std::string cycle = Pe(false);
    cycle.replace(0x200 + 0x14, 4, Number(0x80000000, 4));
    EXPECT_EQ(Create(cycle), 0);
}

TEST_F(FileVersion, TheLanguageOfTheThreadIsTaken) {
    char const* const tools = "command -v x86_64-w64-mingw32-windres x86_64-w64-mingw32-ld >/dev/null";
    if (std::system(tools) != 0) GTEST_SKIP() << "no resource compiler for Windows";
    Put("a.rc",
        "1 VERSIONINFO\nFILEVERSION 1,2,3,4\nPRODUCTVERSION 5,6,7,8\nBEGIN\nBLOCK \"StringFileInfo\"\nBEGIN\n"
        "BLOCK \"040704B0\"\nBEGIN\nVALUE \"ProductName\", L\"Messger\\x00e4t\"\nEND\n"
        "BLOCK \"040904B0\"\nBEGIN\nVALUE \"ProductName\", \"Scanner\"\nVALUE \"OriginalFilename\", "
        "\"a.dll\"\nEND\nEND\n"
        "BLOCK \"VarFileInfo\"\nBEGIN\nVALUE \"Translation\", 0x407, 1200, 0x409, 1200\nEND\nEND\n");
    std::string const make =
        "cd '" + m_folder.string() +
        "' && x86_64-w64-mingw32-windres --preprocessor=cat --preprocessor-arg=a.rc -c 65001 a.rc a.o"
        " && x86_64-w64-mingw32-ld --dll -o a.dll a.o";
    ASSERT_EQ(std::system(make.c_str()), 0);
    struct Case {
        unsigned short language;
        char const* product;
        char const* file;
    };
    for (auto const& [language, product, file] :
         {Case{1031, "Messger\xc3\xa4t", ""}, Case{3079, "Messger\xc3\xa4t", ""}, Case{1033, "Scanner", "a.dll"},
          Case{2057, "Scanner", "a.dll"}, Case{1036, "Messger\xc3\xa4t", ""}}) {
        unsigned short const former = KxxSetThreadLanguage(language);
        EXPECT_EQ(info.Create(Path("a.dll")), 1);
        KxxSetThreadLanguage(former);
        EXPECT_EQ(Utf8(info.GetProductName()), product) << language;
        EXPECT_EQ(Utf8(info.GetOriginalFileName()), file) << language;
        EXPECT_EQ(info.GetFileVersion(3), 4);
    }
}

}  // namespace
