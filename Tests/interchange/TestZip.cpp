// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "ZipTest.h"

#include <csignal>
#include <random>
#include <sys/resource.h>

using namespace KxN;
using namespace std::string_literals;
using test::Archive;

namespace {

class Zip : public test::Zip {};

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

// Not only at the end: the medium is to be busy meanwhile.
TEST_F(Zip, WhatIsLargeStandsAtItsPlaceWhileTheRestIsUnpacked) {
    KxTDynArray<SxZipSource> sources;
    for (char const* name : {"large", "small"}) Put(name, "b"), sources.Add({Path(name), L""});
    std::filesystem::resize_file(File("large"), 64u << 20);
    KxZipHelper::CompressFiles(sources, Path("z.zip"), L"", KxZipHelper::Mode::replace);
    KxTMap<KxString, KxString> out;
    bool isEarly = false;
    KxZipHelper::UncompressFiles(Path("z.zip"), Path("out"), out, [&](unsigned long long, unsigned long long) {
        isEarly |= std::filesystem::exists(File("out/large")) && !std::filesystem::exists(File("out/small"));
    });
    EXPECT_TRUE(isEarly && std::filesystem::file_size(File("out/large")) == 64u << 20 && Get("out/small") == "b");
}

TEST_F(Zip, WatchedCallsEndAtEveryStageAndLeaveNothing) {
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
        if (calls == until) throw new KxException(L"test", 1, L"ended");  // passes as it is
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
            EXPECT_EQ(test::Thrown<KxException>(pack), "ended") << i;
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
        EXPECT_EQ(test::Thrown<KxException>(unpack), "ended") << i;
        ASSERT_EQ(CountOut(), static_cast<std::size_t>(out.Count())) << i;  // whole, and told
        for (auto const& file : out)
            EXPECT_EQ(std::filesystem::file_size(test::U(file.value)),
                      std::filesystem::file_size(File(test::U(file.key).substr(test::U(file.key).find('\\') + 1))));
    }
    begin(3);
    isKilled = true;
    std::filesystem::remove_all(File("out"));
    EXPECT_EXIT(unpack(), testing::KilledBySignal(SIGKILL), "");
    begin(0);
    unpack();
    EXPECT_EQ(CountOut(), 4u);                                       // without what was left
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

TEST_F(Zip, ASecondFileOfANameIsKeptBesideTheFirst) {
    Put("a", "first");
    Put("b", "b");
    for (char const* content : {"first", "second", "third"}) {
        Put("a", content);
        KxZipHelper::CompressFile(Path("a"), Path("z.zip"), L"in", L"");
    }
    KxZipHelper::CompressFile(Path("b"), Path("z.zip"), L"in", L"");
    EXPECT_EQ(Unpacked("z.zip"), (std::map<std::string, std::string>{{"in\\a", "third"}, {"in\\b", "b"}}));
    if (Run("which python3") == 0) {
        EXPECT_EQ(Run("python3 -c 'import zipfile; z=zipfile.ZipFile(\"z.zip\"); "
                      "assert [z.read(i) for i in z.infolist()]==[b\"first\",b\"second\",b\"third\",b\"b\"]'"),
                  0);
    }
}

TEST_F(Zip, EveryByteOfAnArchive) {
    Put("a", "");
    Put("b", "");
    KxZipHelper::CompressFile(Path("a"), Path("z.zip"), L"", L"");
    KxZipHelper::CompressFile(Path("b"), Path("z.zip"), L"f", L"!");
    std::string bytes = Get("z.zip");
    ASSERT_EQ(bytes.size(), 33u + 35u + 47u + 49u + 23u);
    for (std::size_t const moment : {10u, 33u + 10u, 68u + 12u, 115u + 12u}) bytes.replace(moment, 4, "when");
    EXPECT_EQ(bytes,
              "PK\3\4\x14\0\0\0\x08\0when\0\0\0\0\2\0\0\0\0\0\0\0\1\0\0\0a\3\0"
              "PK\3\4\x14\0\0\0\x08\0when\0\0\0\0\2\0\0\0\0\0\0\0\3\0\0\0f\\b\3\0"
              "PK\1\2\x14\0\x14\0\0\0\x08\0when\0\0\0\0\2\0\0\0\0\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0a"
              "PK\1\2\x14\0\x14\0\0\0\x08\0when\0\0\0\0\2\0\0\0\0\0\0\0\3\0\0\0\0\0\0\0\0\0\0\0\0\0\x21\0\0\0f\\b"
              "PK\5\6\0\0\0\0\2\0\2\0\x60\0\0\0\x44\0\0\0\1\0!"s);
}

TEST_F(Zip, MoreFilesThanSixteenBitsCount) {
    Put("empty", "");
    KxTDynArray<SxZipSource> sources;
    auto const pack = [&] { KxZipHelper::CompressFiles(sources, Path("z.zip"), L"made", KxZipHelper::Mode::replace); };
    for (int count : {65534, 65536}) {
        while (sources.Size() < count) sources.Add({Path("empty"), KxString(std::to_wstring(sources.Size()))});
        pack();
        KxZipHelper::CompressFile(Path("empty"), Path("z.zip"), L"new", L"more");
        KxString comment;
        KxZipHelper::GetGlobalComment(Path("z.zip"), comment);
        EXPECT_EQ(test::U(comment), "more");
        if (Run("which python3") == 0) {
            EXPECT_EQ(Run("python3 -c 'import zipfile; assert len(set(zipfile.ZipFile(\"z.zip\").namelist()))==" +
                          std::to_string(count + 1) + "'"),
                      0);
        }
        if (Run("which unzip") == 0) {
            EXPECT_EQ(Run("unzip -tq z.zip"), 0);
        }
        KxTMap<KxString, KxString> files;  // accepted; taking all out is for those who have the time
        bool const isLong = std::getenv("HBTOOLS_LONG_TESTS");
        auto const unpack = [&] {
            KxZipHelper::UncompressFiles(Path("z.zip"), Path("out"), files, [&](auto, auto) {
                if (!isLong) throw new KxException(L"test", 1, L"ended");
            });
        };
        if (isLong) {
            unpack();
            EXPECT_EQ(files.Count(), count + 1);
        } else {
            EXPECT_EQ(test::Thrown<KxException>(unpack), "ended");
        }
    }
}

// As programs write them that know no larger count: it begins again.
TEST_F(Zip, ACountThatBeganAgain) {
    std::vector<test::Entry> entries(65537);
    for (std::size_t i = 0; i < entries.size(); ++i) entries[i].name = std::to_string(i);
    Put("z.zip", Archive(entries));
    KxTMap<KxString, KxString> files;
    EXPECT_EQ(test::Thrown<KxException>([&] {
                  KxZipHelper::UncompressFiles(Path("z.zip"), Path("out"), files,
                                               [](auto, auto) { throw new KxException(L"test", 1, L"accepted"); });
              }),
              "accepted");
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
    EXPECT_TRUE(std::filesystem::is_directory(File("out")));
    Put("z.zip", Archive({}, "nothing in it"));
    read();
    EXPECT_EQ(test::U(comment), "nothing in it");
    Put("a.txt", "alpha");
    KxZipHelper::CompressFile(Path("a.txt"), Path("z.zip"), L"", L"");
    EXPECT_EQ(Unpacked("z.zip").size(), 1u);
    // In the code page it would pass for another text in UTF-8.
    KxZipHelper::CompressFile(Path("a.txt"), Path("z.zip"), L"again", L"\xc3\xa4");
    read();
    EXPECT_EQ(test::U(comment), "\xc3\x83\xc2\xa4");
    KxZipHelper::CompressFile(Path("a.txt"), Path("z.zip"), L"last", L"");
    EXPECT_EQ(test::Thrown<KxException>(read), "Failed to get global comment from zip file: " + File("z.zip").string());
}

TEST_F(Zip, WhatCannotComeOutDoesNotGoIn) {
    // What of the old ones cannot come out stays as it is.
    Put("z.zip", Archive({{"a/b.txt", "first"}, {"../b", "of others"}, {"x", "1"}, {"X", "2"}}));
    std::string const before = Get("z.zip");
    std::filesystem::create_directories(File("in"));
    for (char const* name : {"b.txt", "B.TXT", "a:b.txt", "x?.tag", "con.txt", "a", "c", ".c.hbtmp-aaaaaaaa"})
        Put("in/" + std::string(name), "new");
    struct Case {
        char const *file, *folder;
    };
    for (Case const& c : {Case{".c.hbtmp-aaaaaaaa", ""}, Case{"b.txt", "A"}, Case{"B.TXT", "A/"}, Case{"a:b.txt", ""},
                          Case{"x?.tag", ""}, Case{"con.txt", ""}, Case{"a", ""}, Case{"c", "a/b.txt"}, Case{"c", ".."},
                          Case{"c", "C:"}}) {
        EXPECT_TRUE(test::Thrown<KxException>([&] {
                        KxZipHelper::CompressFile(Path("in/" + std::string(c.file)), Path("z.zip"), KxString(c.folder),
                                                  L"");
                    }).starts_with("Failed to accept name of current file "))
            << c.file;
        EXPECT_TRUE(Get("z.zip") == before) << c.file;
    }
    for (std::wstring const& text : {L"PK\5\6"s, std::wstring(65536, L'x'), L"a\0b"s}) {
        EXPECT_NE(test::Thrown<KxException>([&] {
                      KxZipHelper::CompressFile(Path("in/c"), Path("z.zip"), L"", text);
                  }).find("comment too long"),
                  std::string::npos);
    }
    KxZipHelper::CompressFile(Path("in/c"), Path("z.zip"), L"a", L"");
    EXPECT_NE(Get("z.zip"), before);
}

TEST_F(Zip, MoreFilesThanMayBeOpen) {
    std::vector<test::Entry> entries;
    for (int i = 0; i < 100; ++i) entries.push_back({std::to_string(i), "x"});
    Put("z.zip", Archive(entries));
    EXPECT_EXIT(
        {
            rlimit few;
            few.rlim_cur = few.rlim_max = 40;
            ::setrlimit(RLIMIT_NOFILE, &few);
            std::_Exit(Unpacked("z.zip").size() == 100 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EQ(CountOut(), 100u);
}

TEST_F(Zip, NoFolderIsTheCurrentOne) {
    Put("z.zip", Archive({{"a/b.txt", "first"}}));
    auto const former = std::filesystem::current_path();
    std::filesystem::create_directories(File("here"));
    std::filesystem::current_path(File("here"));
    KxTMap<KxString, KxString> files;
    KxZipHelper::UncompressFiles(Path("z.zip"), L"", files);
    EXPECT_EQ(test::U(files[L"a\\b.txt"]), "a/b.txt");
    KxZipHelper::UncompressFiles(Path("z.zip"), L"new", files);  // in a folder in it
    std::filesystem::current_path(former);
    EXPECT_EQ(Get("here/a/b.txt") + Get("here/new/a/b.txt"), "firstfirst");
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
