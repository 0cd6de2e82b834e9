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

}  // namespace
