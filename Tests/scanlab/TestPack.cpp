// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Results into an archive and out of it.
#include "Lab.h"

#include <csignal>

using namespace KxN;

namespace {

class Pack : public Lab {
protected:
    std::string Unpack(char const* archive, char const* folder = "*") {
        return Run("Unpack \"" + File(archive).string() + "\" " + folder + ";");
    }
};

TEST_F(Pack, TakesWhatThePatternSaysAndBringsItBack) {
    std::filesystem::create_directories(File("out/folder.txt"));
    std::filesystem::create_directories(File("else"));
    Put("out/b.txt", "bb");
    Put("out/a.txt", std::string(1000000, 'a'));
    Put("out/.a.txt.hbtmp-abcd2345", "half");
    Put("out/c.csv", "c");
    Put("else/d.csv", "dd");
    std::string const list = "     1000000  a.txt\n           2  b.txt\n";
    std::string outcome = Run("Pack texts *.txt in/side \"a comment\";");
    EXPECT_TRUE(outcome.starts_with(list) && outcome.find("/out/texts.zip  2 files, 1.0 MB in 0.0 MB") != outcome.npos)
        << outcome;
    EXPECT_NE(Get("out/texts.zip").find("a comment"), std::string::npos);
    outcome = Unpack("out/texts.zip");
    EXPECT_TRUE(outcome.starts_with("     1000000  in\\side\\a.txt\n           2  in\\side\\b.txt\n")) << outcome;
    EXPECT_EQ(Get("out/texts/in/side/a.txt"), Get("out/a.txt"));
    Run("Pack all * * *;");
    Run("Pack all;");  // anew, and not with itself
    EXPECT_EQ(Unpack("out/all.zip", "all").substr(0, 22), "     1000000  a.txt\n  ");
    EXPECT_TRUE(std::filesystem::exists(File("out/all/texts.zip")) &&
                !std::filesystem::exists(File("out/all/all.zip")));
    EXPECT_TRUE(Run("Pack other \"" + File("else").string() + "/?.csv\";").starts_with("           2  d.csv\n"));

    std::filesystem::create_directory_symlink("out", File("same"));
    Run("Pack all \"" + File("same").string() + "/*\";");  // nor by another path
    EXPECT_EQ(Unpack("out/all.zip", "byPath").find("all.zip"), std::string::npos);
    EXPECT_TRUE(std::filesystem::exists(File("out/byPath/a.txt")));
    std::filesystem::create_directories(File("out/empty"));
    std::filesystem::create_directories(File("filled"));
    std::filesystem::create_directory_symlink(File("filled"), File("out/link"));
    EXPECT_EQ(Unpack("out/other.zip", "link").substr(0, 20), "           2  d.csv\n");
    EXPECT_TRUE(std::filesystem::is_symlink(File("out/link")) && Get("filled/d.csv") == "dd");
    std::string const other = Get("out/other.zip");
    struct Case {
        std::string outcome;
        char const* reason;
    } const cases[] = {
        {Run("Pack other none*;"), "Operator \"Pack\": Parameter \"Files\": Es gibt keine Datei \"none*\""},
        {Unpack("out/missing.zip", "new"), "Failed to open zip file: "},
        {Unpack("out/c.csv", "new"), "no zip file"},
        {Unpack("out/other.zip", "texts"), "/out/texts\" ist nicht leer"},
        {Unpack("out/other.zip", "c.csv"), "/out/c.csv\" ist nicht leer"},
        {Unpack("out/other.zip", "empty"), "           2  d.csv\n"},
    };
    for (Case const& c : cases) EXPECT_NE(c.outcome.find(c.reason), std::string::npos) << c.outcome;
    // Whatever stands beside it, and a name as long as may be.
    Put("out/good.unpacked", "");
    std::string const meanwhile = "out/.unpack-" + std::to_string(std::hash<std::string>()("good"));
    Put(meanwhile, "of somebody");
    std::filesystem::create_directories(File("out/taken.unpacked"));
    std::string const longest(255, 'n');
    for (std::string const& name : {std::string("taken"), std::string("good"), longest, std::string("more/")}) {
        EXPECT_EQ(Unpack("out/other.zip", name.c_str()).substr(0, 20), "           2  d.csv\n") << name;
        EXPECT_EQ(Get("out/" + name + "/d.csv"), "dd");
    }
    EXPECT_EQ(Get(meanwhile), "of somebody");
    EXPECT_TRUE(!std::filesystem::exists(File("out/new")) && Get("out/other.zip") == other);
}

TEST_F(Pack, ADamagedArchiveOrAKilledRunBringsNothing) {
    std::filesystem::create_directories(File("out"));
    Put("out/a.txt", std::string(300000, 'a'));
    Put("out/b.txt", "unmistakable");
    Run("Pack good;");
    std::string bytes = Get("out/good.zip");
    bytes[bytes.find("unmistakable") == bytes.npos ? bytes.find("b.txt") + 8 : bytes.find("unmistakable")] ^= 1;
    Put("out/bad.zip", bytes);
    EXPECT_NE(Unpack("out/bad.zip", "new").find("Operator \"Unpack\": Failed to "), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(File("out/new")));
    auto const inFolder = [this] {
        return std::distance(std::filesystem::directory_iterator(File("out")), std::filesystem::directory_iterator());
    };
    auto const files = inFolder();
    for (int at : {1, 2, 4}) {
        if (isThreadSanitized) break;  // whose own locks nobody opens behind a fork
        EXPECT_EXIT(
            {
                int reports = 0;
                session.progress.onReport = [&] {
                    if (++reports == at) std::raise(SIGKILL);
                };
                Unpack("out/good.zip", "new");
            },
            testing::KilledBySignal(SIGKILL), "");
        EXPECT_FALSE(std::filesystem::exists(File("out/new"))) << at;
    }
    Unpack("out/good.zip", "new");
    EXPECT_EQ(Get("out/new/b.txt"), "unmistakable");
    EXPECT_EQ(inFolder(), files + 1);  // what the killed ones left is gone
}

}  // namespace
