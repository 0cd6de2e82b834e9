// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Calling the programs as their users do, in a folder of its own for each test.
#pragma once

#include "../base/OwnFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

struct Outcome {
    int code;
    std::string output;
};

inline Outcome Call(std::string const& command) {
    Outcome outcome{-1, ""};
    FILE* const pipe = ::popen((std::string("cd ") + HBTOOLS_BINARY_DIR + "/bin && " + command + " 2>&1").c_str(), "r");
    if (!pipe) return outcome;
    std::array<char, 4096> buffer;
    while (std::size_t const got = std::fread(buffer.data(), 1, buffer.size(), pipe))
        outcome.output.append(buffer.data(), got);
    int const status = ::pclose(pipe);
    outcome.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

/// The user of all programs speaks German, whatever the one of the tests does. Of LANG no shell complains. And the programs
/// can be interrupted, also where a shell runs the tests in the background, with that signal ignored.
inline int const g_user = [] {
    std::signal(SIGINT, SIG_DFL);
    for (char const* name : {"LC_ALL", "LC_MESSAGES", "LANGUAGE"}) ::unsetenv(name);
    return ::setenv("LANG", "de_DE.UTF-8", 1);
}();

class Programs : public testing::Test {
protected:
    void SetUp() override {
        folder = test::MakeOwnFolder();
        ASSERT_FALSE(folder.empty());
        ::setenv("XDG_CONFIG_HOME", folder.c_str(), 1);  // settings and log of the application
    }
    void TearDown() override { fs::remove_all(folder); }
    std::string Path(char const* name) const { return "'" + (folder / name).string() + "'"; }
    void Write(char const* name, std::string const& bytes) const {
        std::ofstream(folder / name, std::ios::binary) << bytes;
    }

    /// The document of a page when its scripts have run, and with such options what the browser said meanwhile.
    std::string InBrowser(std::string const& page, std::string const& options = "") const {
        return Call("timeout 300 chromium --headless=new --no-sandbox --virtual-time-budget=5000 " + options +
                    " --user-data-dir=" + Path("profile") + " --dump-dom 'file://" + page + "'")
            .output;
    }

    fs::path folder;
};

inline bool HasBrowser() {
    return std::system("chromium --version >/dev/null 2>&1") == 0;
}

inline bool HasPython() {
    return std::system("python3 -c '' >/dev/null 2>&1") == 0;
}
