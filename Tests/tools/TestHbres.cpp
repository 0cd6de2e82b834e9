// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What hbres puts in the place of what, and what it refuses to read.
#include "Programs.h"

#include <sys/stat.h>

namespace {

class Hbres : public Programs {
protected:
    std::string Read(char const* name) const {
        std::ifstream in(folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    fs::perms ModeOf(char const* name) const { return fs::status(folder / name).permissions(); }
};

TEST_F(Hbres, ReplacesAFileAndNothingElse) {
    Write("texts", "1 \"one\"\n");
    Write("target", "former");
    ::chmod((folder / "target").c_str(), 0600);
    fs::create_symlink("target", folder / "link");
    Write("victim", "precious");
    fs::create_symlink("victim", folder / "new.part");
    for (char const* const out : {"link", "new"})
        EXPECT_EQ(Call("./hbres --pseudo " + Path("texts") + ' ' + Path(out)).code, 0) << out;
    EXPECT_TRUE(fs::is_symlink(folder / "link"));
    EXPECT_EQ(ModeOf("target"), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_NE(Read("target").find("1 \""), std::string::npos);
    EXPECT_EQ(Read("target"), Read("new"));
    EXPECT_EQ(Read("victim"), "precious");
    EXPECT_TRUE((ModeOf("new") & fs::perms::owner_all) == (fs::perms::owner_read | fs::perms::owner_write));
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    fs::create_directory(folder / "folder");
    for (char const* const out : {"pipe", "folder"}) {
        EXPECT_EQ(Call("timeout 20 ./hbres --pseudo " + Path("texts") + ' ' + Path(out)).code, 1) << out;
        EXPECT_FALSE(fs::is_regular_file(folder / out));
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 8);
}

TEST_F(Hbres, DoesNotWaitForAPipe) {
    Write("texts", "1 \"one\"\n");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    std::string const pipe = Path("pipe");
    for (std::string const& arguments :
         {"--pack ENU " + pipe + " /dev/null", "--pseudo " + pipe + " /dev/null",
          "--check " + Path("texts") + ' ' + pipe, "--check " + pipe + ' ' + Path("texts"), pipe + " symbol /dev/null"})
        EXPECT_EQ(Call("timeout 20 ./hbres " + arguments).code, 1) << arguments;
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(Hbres, SaysWhatIsWrongAndWritesNothing) {
    struct Text {
        char const* line;
        char const* message = "";  // none: all is well
    };
    for (Text const& t :
         {Text{"1\t\"a\"\t#\tfix\t"}, Text{"1 \"a\" #"}, Text{"1 \"a\" ; note"},
          Text{"1 \"\xf0\x9f\x98\x80\xee\x80\x80\""}, Text{"1 \"\x80\"", "invalid UTF-8"},
          Text{"1 \"\xc0\x80\"", "invalid UTF-8"}, Text{"1 \"\xf5\x80\x80\x80\"", "invalid UTF-8"},
          Text{"1 \"\xc3(\"", "invalid UTF-8"}, Text{"1 \"\xe0\x80\x80\"", "invalid UTF-8"},
          Text{"1 \"\xf4\x90\x80\x80\"", "invalid UTF-8"}, Text{"1 \"\xed\xa0\x80\"", "invalid UTF-8"}}) {
        Write("texts", t.line);
        Outcome const outcome = Call("./hbres " + Path("texts") + " symbol " + Path("out"));
        EXPECT_EQ(outcome.code, *t.message ? 1 : 0) << t.line;
        EXPECT_NE(outcome.output.find(t.message), std::string::npos) << t.line << outcome.output;
        EXPECT_EQ(fs::remove(folder / "out"), !*t.message) << t.line;
    }
    Write("texts", "1 \"a\\n\\r\\t\\\"\\\\b\"  # fix\n");
    EXPECT_EQ(Call("./hbres --pseudo " + Path("texts") + ' ' + Path("pseudo")).code, 0);
    EXPECT_NE(Read("pseudo").find("\n1 \"a\\n\\r\\t\\\"\\\\b\"  # fix\n"), std::string::npos) << Read("pseudo");
    fs::create_symlink("loop", folder / "loop");
    std::string large;
    for (int id = 1; id <= 70; ++id) large += std::to_string(id) + " \"" + std::string(1000000, 'x') + "\"\n";
    Write("large", large);
    std::string const texts = Path("texts"), out = " " + Path("out");
    struct Case {
        std::string arguments;
        char const* message;  // none: it is written
    };
    for (Case const& c :
         {Case{"", "usage: "},
          Case{"--check", "usage: "},
          Case{"--pack ENU" + out, "usage: "},
          Case{"--pack a-b " + texts + out, "usage: "},
          Case{"--pack a_b " + texts + out, "usage: "},
          Case{"--pseudo" + out, "usage: "},
          Case{"--version" + out, "usage: "},
          Case{texts + out, "usage: "},
          Case{texts + " a-b" + out, "usage: "},
          Case{texts + " a:b" + out, "usage: "},
          Case{texts + " 'a^b'" + out, "usage: "},
          Case{texts + " 'a{b'" + out, "usage: "},
          Case{texts + " ''" + out, "usage: "},
          Case{"--pseudo " + texts + ' ' + Path("loop"), "cannot be written"},
          Case{"--pack ENU " + Path("large") + out, "a pack of more than"},
          Case{"--version" + out + " Comments", "no such setting: Comments\n"},
          Case{"--version" + out + " Colour=red", "no such setting: Colour=red\n"},
          Case{"--version" + out + " Language=1031", "no such setting: Language=1031\n"},
          Case{"--version" + out + " Language=0xG", "no such setting: Language=0xG\n"},
          Case{"--version" + out + " FileVersion=1.2x", "FileVersion is no version"},
          Case{"--version" + out + " FileVersion=65536", "FileVersion is no version"},
          Case{"--version" + out + " FileVersion=1 ProductVersion=1.2.3.4.5", "ProductVersion is no"},
          Case{"--version" + out + " FileVersion=1.2 ProductVersion=3 Comments= Language=0x0407", ""}}) {
        Outcome const outcome = Call("./hbres " + c.arguments);
        EXPECT_EQ(outcome.code, *c.message ? 1 : 0) << c.arguments;
        EXPECT_NE(outcome.output.find(c.message), std::string::npos) << c.arguments << outcome.output;
        EXPECT_EQ(fs::remove(folder / "out"), !*c.message) << c.arguments;
    }
}

}  // namespace
