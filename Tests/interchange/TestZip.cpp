// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/interchange/syZipHelper.h"

#include "hbtools/base/syDirEntry.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syLimits.h"

#include "../base/Support.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>
#include <sys/resource.h>

using namespace KxN;
using namespace std::string_literals;

namespace {

/// Archives made by hand, entries stored as they are.
struct Entry {
    std::string name, data;
    unsigned flags = 0, method = 0, crcChange = 0;
    int sizeChange = 0;
};

std::string Little(std::uint64_t value, int bytes) {
    std::string text;
    for (; bytes > 0; --bytes, value >>= 8) text += static_cast<char>(value & 0xff);
    return text;
}

std::uint32_t Crc(std::string const& data) {
    std::uint32_t crc = ~0U;
    for (char const c : data) {
        crc ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320U : 0);
    }
    return ~crc;
}

std::string Archive(std::vector<Entry> const& entries, std::string const& comment = "") {
    constexpr unsigned date = 0x5A75, time = 0x6330;  // 2025-03-21 12:25:32
    std::string files, directory;
    for (Entry const& e : entries) {
        std::string const common = Little(e.flags, 2) + Little(e.method, 2) + Little(time, 2) + Little(date, 2) +
                                   Little(Crc(e.data) + e.crcChange, 4) + Little(e.data.size(), 4) +
                                   Little(e.data.size() + static_cast<unsigned>(e.sizeChange), 4) +
                                   Little(e.name.size(), 2) + Little(0, 2);
        directory += "PK\1\2" + Little(20, 2) + Little(20, 2) + common + Little(0, 2) + Little(0, 2) + Little(0, 2) +
                     Little(0, 4) + Little(files.size(), 4) + e.name;
        files += "PK\3\4" + Little(20, 2) + common + e.name + e.data;
    }
    return files + directory + "PK\5\6" + Little(0, 4) + Little(entries.size(), 2) + Little(entries.size(), 2) +
           Little(directory.size(), 4) + Little(files.size(), 4) + Little(comment.size(), 2) + comment;
}

class Zip : public test::TempFolder {
protected:
    /// What comes out: name in the archive to content. The exception's text instead, if there is one.
    std::map<std::string, std::string> Unpacked(char const* archive, std::string* failure = nullptr) {
        KxTMap<KxString, KxString> files;
        std::map<std::string, std::string> contents;
        auto const unpack = [&] { KxZipHelper::UncompressFiles(Path(archive), Path("out"), files); };
        if (failure)
            *failure = test::Thrown<KxException>(unpack);
        else
            unpack();
        for (auto const& file : files) {
            std::string const path = test::U(file.value);
            EXPECT_TRUE(path.starts_with((m_folder / "out/").string())) << path;
            contents[test::U(file.key)] = Get(path.substr(m_folder.string().size() + 1));
        }
        return contents;
    }
    std::size_t CountOut() {
        std::size_t count = 0;
        if (std::filesystem::exists(File("out")))
            for (auto const& entry : std::filesystem::recursive_directory_iterator(File("out")))
                count += entry.is_regular_file();
        return count;
    }
    /// An archive in the form for large ones: so many zeros as they are, then a file behind them.
    void PutLarge(char const* archive, unsigned long long size, unsigned crcOfZeros) {
        auto const header = [](unsigned crc, unsigned length, std::string const& name, unsigned extra) {
            return Little(45, 2) + Little(0, 4) + Little(0, 4) + Little(crc, 4) + Little(length, 4) +
                   Little(length, 4) + Little(name.size(), 2) + Little(extra, 2);
        };
        auto const directory = [&](std::string const& common, std::string const& name, unsigned offset,
                                   std::string const& extra) {
            return "PK\1\2" + Little(45, 2) + common + Little(0, 10) + Little(offset, 4) + name + extra;
        };
        std::string const sizes = Little(1, 2) + Little(16, 2) + Little(size, 8) + Little(size, 8);
        Put(archive, "PK\3\4" + header(crcOfZeros, ~0U, "zeros", 20) + "zeros" + sizes);
        unsigned long long const second = std::filesystem::file_size(File(archive)) + size;
        std::filesystem::resize_file(File(archive), second);
        std::string const place = Little(1, 2) + Little(8, 2) + Little(second, 8);
        std::string const entries = directory(header(crcOfZeros, ~0U, "zeros", 20), "zeros", 0, sizes) +
                                    directory(header(Crc("tail"), 4, "tail", 12), "tail", ~0U, place);
        unsigned long long const at = second + 30 + 8;
        std::ofstream(File(archive), std::ios::binary | std::ios::app)
            << "PK\3\4" + header(Crc("tail"), 4, "tail", 0) + "tailtail" + entries + "PK\6\6" + Little(44, 8) +
                   Little(45, 2) + Little(45, 2) + Little(0, 8) + Little(2, 8) + Little(2, 8) +
                   Little(entries.size(), 8) + Little(at, 8) + "PK\6\7" + Little(0, 4) +
                   Little(at + entries.size(), 8) + Little(1, 4) + "PK\5\6" + Little(0, 4) + Little(2, 2) +
                   Little(2, 2) + Little(entries.size(), 4) + Little(~0U, 4) + Little(0, 2);
    }
    int Run(std::string const& command) {
        return std::system(("cd '" + m_folder.string() + "' && (" + command + ") >/dev/null 2>&1").c_str());
    }
};

TEST_F(Zip, FilesGoInAndComeOut) {
    std::string large(300000, '\0');
    for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i * i >> 9);
    Put("a.tag", large);
    Put("empty.txt", "");
    Put("\xc3\xa4\xe2\x82\xac.txt", "umlaut");  // in the code page
    Put("\xce\xb1.txt", "greek");               // not in it
    EXPECT_TRUE(KxZipHelper::CompressFile(Path("a.tag"), Path("z.zip"), L"scans/one", L"first"));
    EXPECT_TRUE(KxZipHelper::CompressFile(Path("empty.txt"), Path("z.zip"), L"", L"second"));
    EXPECT_TRUE(KxZipHelper::CompressFile(Path("\xc3\xa4\xe2\x82\xac.txt"), Path("z.zip"), L"b\\", L"second"));
    EXPECT_TRUE(KxZipHelper::CompressFile(Path("\xce\xb1.txt"), Path("z.zip"), L"", L"Gr\xf6\xdf\x65"));
    std::string const bytes = Get("z.zip");
    EXPECT_NE(bytes.find("scans\\one\\a.tag"), std::string::npos);  // the separator of stored names
    EXPECT_NE(bytes.find("b\\\xe4\x80.txt"), std::string::npos);
    KxString comment;
    EXPECT_TRUE(KxZipHelper::GetGlobalComment(Path("z.zip"), comment));
    EXPECT_EQ(test::U(comment), "Gr\xc3\xb6\xc3\x9f\x65");
    std::map<std::string, std::string> const expected = {{"scans\\one\\a.tag", large},
                                                         {"empty.txt", ""},
                                                         {"b\\\xc3\xa4\xe2\x82\xac.txt", "umlaut"},
                                                         {"\xce\xb1.txt", "greek"}};
    EXPECT_EQ(Unpacked("z.zip"), expected);
    auto const before = std::filesystem::last_write_time(File("a.tag")),
               after = std::filesystem::last_write_time(File("out/scans/one/a.tag"));
    EXPECT_LE(after <= before ? before - after : after - before, std::chrono::seconds(2));
    EXPECT_EQ(Unpacked("z.zip"), expected);  // once more, over the old ones
    EXPECT_EQ(CountFiles(), 6u);             // nothing half done stays
}

TEST_F(Zip, OtherToolsReadAndWriteThem) {
    if (Run("which unzip zip 7z python3") != 0) GTEST_SKIP() << "no other tools here";
    Put("a.txt", "alpha");
    KxZipHelper::CompressFile(Path("a.txt"), Path("z.zip"), L"", L"");
    EXPECT_EQ(Run("unzip -tq z.zip && 7z t z.zip && python3 -m zipfile -t z.zip && mkdir u && cd u && unzip ../z.zip"),
              0);
    EXPECT_EQ(Get("u/a.txt"), "alpha");
    std::filesystem::create_directories(File("in/deep"));
    Put("in/deep/b.txt", std::string(100000, 'b'));
    Put("in/\xc3\xa4.txt", "umlaut");
    std::map<std::string, std::string> const expected = {{"in\\deep\\b.txt", std::string(100000, 'b')},
                                                         {"in\\\xc3\xa4.txt", "umlaut"}};
    for (char const* command : {"zip -r %.zip in", "7z a -tzip %.zip in", "python3 -m zipfile -c %.zip in"}) {
        std::string call = command;
        call.replace(call.find('%'), 1, "made");
        std::filesystem::remove(File("made.zip"));
        ASSERT_EQ(Run(call), 0);
        EXPECT_TRUE(Unpacked("made.zip") == expected) << command;
    }
    EXPECT_EQ(Run("zip -P secret -r locked.zip in"), 0);
    KxZipHelper::CompressFile(Path("a.txt"), Path("locked.zip"), L"", L"");
    std::string failure;
    EXPECT_EQ(Unpacked("locked.zip", &failure), (std::map<std::string, std::string>{{"a.txt", "alpha"}}));
    EXPECT_NE(failure.find("encrypted"), std::string::npos) << failure;
}

TEST_F(Zip, NamesStayInTheFolder) {
    std::string const longest(256, 'n');
    for (std::string const& name :
         {"../x"s, "..\\x"s, "a/../../x"s,        "/x"s,   "\\x"s, "C:\\x"s, "C:x"s, "\\\\host\\x"s,
          "a/.."s, "con"s,   "a/NUL.txt"s,        "Lpt1"s, "a."s,  "a "s,    "a:b"s, "a\0b"s,
          "a\nb"s, "a\x7f"s, "\xe2\x80\xae.txt"s, ""s,     "."s,   "/"s,     "a*"s,  longest}) {
        Put("z.zip", Archive({{"good.txt", "1"}, {name, "bad", 0x800}}));
        std::string failure;
        EXPECT_TRUE(Unpacked("z.zip", &failure).empty()) << name;
        EXPECT_TRUE(failure.starts_with("Failed to accept name of current file ")) << failure;
        EXPECT_EQ(CountOut(), 0u) << name;
    }
    std::vector<Entry> const clashes[] = {{{"a", "1"}, {"a", "2"}},      {{"a.txt", "1"}, {"A.TXT", "2"}},
                                          {{"a", "1"}, {"a/b", "2"}},    {{"a/b", "1"}, {"a", "2"}},
                                          {{"a/b", "1"}, {"a\\b", "2"}}, {{"a", "1"}, {"A/", ""}}};
    for (auto const& entries : clashes) {
        Put("z.zip", Archive(entries));
        std::string failure;
        EXPECT_TRUE(Unpacked("z.zip", &failure).empty()) << entries[1].name;
    }
    Put("z.zip", Archive({{"a/./b//c.txt", "fine"}, {"a/", ""}, {"d/e/", ""}}));
    EXPECT_EQ(Unpacked("z.zip"), (std::map<std::string, std::string>{{"a\\.\\b\\\\c.txt", "fine"}}));
    EXPECT_EQ(Get("out/a/b/c.txt"), "fine");
    EXPECT_TRUE(std::filesystem::is_directory(File("out/d/e")));
    // A link that stands there already and leads out.
    std::filesystem::create_directories(File("elsewhere"));
    std::filesystem::create_directory_symlink(File("elsewhere"), File("out/link"));
    std::filesystem::create_symlink("../elsewhere/file", File("out/file"));
    for (char const* name : {"link/x", "link/new/x", "link/new/", "file"}) {
        Put("z.zip", Archive({{name, ""}}));
        std::string failure;
        EXPECT_TRUE(Unpacked("z.zip", &failure).empty()) << name;
        EXPECT_NE(failure, "") << name;
        EXPECT_TRUE(std::filesystem::is_empty(File("elsewhere"))) << name;
    }
}

TEST_F(Zip, DamagedArchivesBringNothingWrong) {
    std::string const good = Archive({{"one.txt", "first"}, {"two.txt", "second"}}, "comment");
    Put("z.zip", good);
    std::map<std::string, std::string> const whole = {{"one.txt", "first"}, {"two.txt", "second"}};
    EXPECT_EQ(Unpacked("z.zip"), whole);
    std::filesystem::remove_all(File("out"));
    for (std::size_t size = 0; size < good.size(); ++size) {
        Put("z.zip", good.substr(0, size));
        std::string failure;
        EXPECT_TRUE(Unpacked("z.zip", &failure).empty()) << size;
    }
    for (std::size_t at = 0; at < good.size(); ++at) {
        std::string changed = good;
        changed[at] = static_cast<char>(changed[at] ^ 0x41);
        Put("z.zip", changed);
        KxTMap<KxString, KxString> files;
        try {
            KxZipHelper::UncompressFiles(Path("z.zip"), Path("out"), files);
        } catch (KxException* exception) {
            exception->Delete();
        }
        for (auto const& file : files) {  // under whatever name, never another content
            std::string const content = Get(test::U(file.value).substr(m_folder.string().size() + 1));
            EXPECT_TRUE(content == "first" || content == "second") << at;
        }
        std::filesystem::remove_all(File("out"));
    }
    struct Case {
        Entry entry;
        char const* part;
    };
    for (Case const& c :
         {Case{{"a", "data", 0, 0, 1}, "wrong checksum"},
          Case{{"a", "data", 1}, "encrypted, or compressed by method 0"},
          Case{{"a", "data", 0, 14}, "compressed by method 14"}, Case{{"a", "data", 0, 0, 0, 100}, "current file a"},
          Case{{"a", "data", 0, 0, 0, -2}, "current file a"}}) {
        Put("z.zip", Archive({{"good.txt", "1"}, c.entry}));
        std::string failure;
        EXPECT_EQ(Unpacked("z.zip", &failure), (std::map<std::string, std::string>{{"good.txt", "1"}}));
        EXPECT_NE(failure.find(c.part), std::string::npos) << failure;
        EXPECT_EQ(CountOut(), 1u);  // no half file
        std::filesystem::remove_all(File("out"));
    }
}

TEST_F(Zip, BoundsHold) {
    Put("zeros", std::string(5000000, '\0'));
    KxZipHelper::CompressFile(Path("zeros"), Path("z.zip"), L"", L"");
    struct Case {
        unsigned long long total, ratio;
    };
    for (Case const& c : {Case{4999999, 1100}, Case{1ULL << 40, 100}}) {
        auto const total = std::exchange(KxxLimits().zipTotal, c.total),
                   ratio = std::exchange(KxxLimits().zipRatio, c.ratio);
        std::string failure;
        Unpacked("z.zip", &failure);
        KxxLimits().zipTotal = total;
        KxxLimits().zipRatio = ratio;
        EXPECT_NE(failure.find("more data than allowed"), std::string::npos);
        EXPECT_EQ(CountOut(), 0u);
    }
    EXPECT_EQ(Unpacked("z.zip").size(), 1u);
}

TEST_F(Zip, WatchedCallsEndAtEveryStageAndLeaveNothing) {
    struct Ended {};  // of the application's own, which passes as it is
    std::string noise(200000, '\0');
    std::mt19937 random(1);
    for (char& c : noise) c = static_cast<char>(random());
    Put("a.bin", noise);
    Put("b.bin", noise.substr(1));
    Put("old.txt", "old");
    Put("empty", "");
    KxZipHelper::CompressFile(Path("a.bin"), Path("z.zip"), L"", L"");
    std::string const before = Get("z.zip");
    KxTDynArray<SxZipSource> sources;
    for (char const* name : {"b.bin", "empty", "old.txt"}) sources.Add({Path(name), L"in"});
    std::size_t const files = CountFiles();

    unsigned long long last = 0, expected = 0;
    int calls = 0, until = 0;
    bool isKilled = false;
    auto const watch = [&](unsigned long long done, unsigned long long all) {
        EXPECT_TRUE(all == expected && done >= last && done <= all && (calls > 0 || done == 0)) << done << ' ' << all;
        last = done;
        if (++calls == until && isKilled) std::raise(SIGKILL);
        if (calls == until) throw Ended();
    };
    auto const begin = [&](int end) {
        last = 0;
        calls = 0;
        until = end;
    };
    for (auto const mode : {KxZipHelper::Mode::replace, KxZipHelper::Mode::add}) {
        expected = noise.size() - 1 + 3 + (mode == KxZipHelper::Mode::add ? before.size() : 0);
        auto const pack = [&] { KxZipHelper::CompressFiles(sources, Path("z.zip"), L"", mode, watch); };
        Put("z.zip", before);
        begin(0);
        pack();
        EXPECT_EQ(last, expected);
        EXPECT_EQ(Unpacked("z.zip").size(), mode == KxZipHelper::Mode::add ? 4u : 3u);
        Put("z.zip", before);
        std::filesystem::remove_all(File("out"));
        for (int i = 1, all = calls; i <= all; ++i) {
            begin(i);
            EXPECT_THROW(pack(), Ended);
            ASSERT_TRUE(Get("z.zip") == before && CountFiles() == files) << i;
            if (i % 2 == 0) continue;
            isKilled = true;
            begin(i);
            EXPECT_EXIT(pack(), testing::KilledBySignal(SIGKILL), "");
            isKilled = false;
            EXPECT_TRUE(Get("z.zip") == before) << i;
        }
        begin(0);
        pack();
        EXPECT_EQ(CountFiles(), files);  // and nothing is left of those that were killed
    }
    expected = 2 * noise.size() - 1 + 3;  // of four files, one of them empty
    KxTMap<KxString, KxString> out;
    auto const unpack = [&] { KxZipHelper::UncompressFiles(Path("z.zip"), Path("out"), out, watch); };
    begin(0);
    unpack();
    EXPECT_EQ(last, expected);
    for (int i = 1, all = calls; i <= all; ++i) {
        std::filesystem::remove_all(File("out"));
        out.RemoveAll();
        begin(i);
        EXPECT_THROW(unpack(), Ended);
        ASSERT_EQ(CountOut(), static_cast<std::size_t>(out.Count())) << i;  // whole, and told
        for (auto const& file : out)
            EXPECT_EQ(std::filesystem::file_size(test::U(file.value)),
                      std::filesystem::file_size(File(test::U(file.key).substr(test::U(file.key).find('\\') + 1))));
    }
    for (char const* second : {"other/old.txt", "other/OLD.TXT"}) {  // an archive that nobody could unpack is not made
        std::filesystem::create_directories(File("other"));
        Put(second, "x");
        KxTDynArray<SxZipSource> twice(sources);
        twice.Add({Path(second), L"in"});
        EXPECT_TRUE(test::Thrown<KxException>([&] {
                        KxZipHelper::CompressFiles(twice, Path("z.zip"), L"", KxZipHelper::Mode::replace);
                    }).starts_with("Failed to accept name of current file in\\"));
    }
}

TEST_F(Zip, LargeNumbersStandInFieldsOfTheirOwn) {
    PutLarge("z.zip", 1000, Crc(std::string(1000, '\0')));
    Put("small", "small");
    KxZipHelper::CompressFile(Path("small"), Path("z.zip"), L"", L"");
    std::string const bytes = Get("z.zip");
    EXPECT_EQ(Unpacked("z.zip"), (std::map<std::string, std::string>{
                                     {"zeros", std::string(1000, '\0')}, {"tail", "tail"}, {"small", "small"}}));
    for (std::size_t at = 0; at < bytes.size(); at += at == 63 ? 950 : 1) {  // all but the zeros
        std::string changed = bytes;
        changed[at] = static_cast<char>(changed[at] ^ 0x81);
        Put("z.zip", changed);
        std::filesystem::remove_all(File("out"));
        KxTMap<KxString, KxString> files;
        try {
            KxZipHelper::UncompressFiles(Path("z.zip"), Path("out"), files);
        } catch (KxException* exception) {
            exception->Delete();
        }
        for (auto const& file : files) {
            std::size_t const length = std::filesystem::file_size(test::U(file.value));
            EXPECT_TRUE(length == 1000 || length == 4 || length == 5) << at;
        }
    }
}

TEST_F(Zip, FilesBeyondFourGigabytes) {
    if (!std::getenv("HBTOOLS_LONG_TESTS")) GTEST_SKIP() << "two minutes and 20 GB: set HBTOOLS_LONG_TESTS";
    unsigned long long const size = (1ULL << 32) + 5000000;
    Put("large", "");
    std::filesystem::resize_file(File("large"), size - 3);  // takes no room
    std::ofstream(File("large"), std::ios::binary | std::ios::app) << "end";
    Put("small", "small");
    KxZipHelper::CompressFile(Path("large"), Path("z.zip"), L"", L"");
    KxZipHelper::CompressFile(Path("small"), Path("z.zip"), L"", L"");
    KxTMap<KxString, KxString> files;
    unsigned long long told = 0;
    KxZipHelper::UncompressFiles(Path("z.zip"), Path("out"), files, [&](auto done, auto all) {
        if (done < told || all != size + 5) throw std::runtime_error("wrong progress");
        told = done;
    });
    EXPECT_EQ(told, size + 5);
    ASSERT_EQ(std::filesystem::file_size(File("out/large")), size);
    std::ifstream in(File("out/large"), std::ios::binary);
    in.seekg(-4, std::ios::end);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "\0end"s);
    EXPECT_EQ(Get("out/small"), "small");
    if (Run("which unzip") == 0) {
        EXPECT_EQ(Run("unzip -tq z.zip"), 0);
    }

    PutLarge("y.zip", size, 0xeff5b51d);  // an archive that is itself larger
    KxZipHelper::CompressFile(Path("small"), Path("y.zip"), L"", L"");
    KxZipHelper::UncompressFiles(Path("y.zip"), Path("out"), files);
    EXPECT_EQ(std::filesystem::file_size(File("out/zeros")), size);
    EXPECT_EQ(Get("out/tail") + Get("out/small"), "tailsmall");
}

TEST_F(Zip, AShorterCommentLeavesNothingBehind) {
    Put("a", "first");
    Put("b", "second");
    KxZipHelper::CompressFile(Path("a"), Path("z.zip"), L"", KxString(std::wstring(3000, L'x')));
    KxZipHelper::CompressFile(Path("b"), Path("z.zip"), L"", L"");
    EXPECT_EQ(Unpacked("z.zip"), (std::map<std::string, std::string>{{"a", "first"}, {"b", "second"}}));
    EXPECT_LT(Get("z.zip").size(), 400u);
}

TEST_F(Zip, EmptyArchivesAndComments) {
    KxString comment;
    auto const read = [&] { KxZipHelper::GetGlobalComment(Path("z.zip"), comment); };
    EXPECT_EQ(test::Thrown<KxException>(read), "File does not exist: " + File("z.zip").string());
    Put("z.zip", "no archive");
    EXPECT_TRUE(test::Thrown<KxException>(read).starts_with("Failed to open zip file: " + File("z.zip").string()));
    Put("z.zip", Archive({}));
    EXPECT_EQ(test::Thrown<KxException>(read), "Failed to get global comment from zip file: " + File("z.zip").string());
    EXPECT_TRUE(Unpacked("z.zip").empty());
    Put("z.zip", Archive({}, "nothing in it"));
    read();
    EXPECT_EQ(test::U(comment), "nothing in it");
    Put("a.txt", "alpha");
    KxZipHelper::CompressFile(Path("a.txt"), Path("z.zip"), L"", L"");
    EXPECT_EQ(Unpacked("z.zip").size(), 1u);
    EXPECT_EQ(test::Thrown<KxException>(read), "Failed to get global comment from zip file: " + File("z.zip").string());
}

TEST_F(Zip, AFailedUpdateLeavesTheOldArchive) {
    Put("a.txt", "alpha");
    KxZipHelper::CompressFile(Path("a.txt"), Path("z.zip"), L"", L"");
    std::string const before = Get("z.zip");
    EXPECT_TRUE(test::Thrown<KxException>([&] {
                    KxZipHelper::CompressFile(Path("missing"), Path("z.zip"), L"", L"");
                }).starts_with("Failed to open file: " + File("missing").string()));
    EXPECT_NE(test::Thrown<KxException>([&] {
                  KxZipHelper::CompressFile(Path("a.txt"), Path("z.zip"), std::wstring(66000, L'x').c_str(), L"");
              }),
              "");
    std::string noise(200000, '\0');
    std::mt19937 random(1);
    for (char& c : noise) c = static_cast<char>(random());
    Put("noise", noise);
    EXPECT_EXIT(
        {
            rlimit little;
            little.rlim_cur = little.rlim_max = 50000;  // as a full disk
            ::setrlimit(RLIMIT_FSIZE, &little);
            std::string const text =
                test::Thrown<KxException>([&] { KxZipHelper::CompressFile(Path("noise"), Path("z.zip"), L"", L""); });
            std::_Exit(text.starts_with("Failed to write to file in zip file: ") ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_TRUE(Get("z.zip") == before);
    Put("z.zip", before.substr(0, before.size() - 30));  // no archive any more
    EXPECT_TRUE(test::Thrown<KxException>([&] {
                    KxZipHelper::CompressFile(Path("a.txt"), Path("z.zip"), L"", L"");
                }).starts_with("Failed to create zip file: "));
    EXPECT_EQ(Get("z.zip").size(), before.size() - 30);
    EXPECT_EQ(CountFiles(), 3u);
}

}  // namespace
