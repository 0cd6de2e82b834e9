// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

/// A program at a terminal of its own.
class Terminal {
public:
    explicit Terminal(std::vector<std::string> const& arguments) {
        m_terminal = ::posix_openpt(O_RDWR | O_NOCTTY);
        if (m_terminal < 0 || ::grantpt(m_terminal) != 0 || ::unlockpt(m_terminal) != 0) return;
        std::string const name = ::ptsname(m_terminal);
        m_child = ::fork();
        if (m_child != 0) return;
        ::setsid();
        int const end = ::open(name.c_str(), O_RDWR);  // becomes the controlling terminal
        winsize const size{40, 200, 0, 0};
        ::ioctl(end, TIOCSWINSZ, &size);
        for (int stream : {0, 1, 2}) ::dup2(end, stream);
        ::setenv("TERM", "xterm", 1);
        ::setenv("LC_CTYPE", "C.UTF-8", 1);
        std::vector<char*> words;
        for (std::string const& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
        words.push_back(nullptr);
        ::execv(words[0], words.data());
        ::_exit(127);
    }
    ~Terminal() {
        if (m_child > 0) {
            ::kill(m_child, SIGKILL);
            ::waitpid(m_child, nullptr, 0);
        }
        ::close(m_terminal);
    }

    void Type(std::string const& keys) {
        EXPECT_EQ(::write(m_terminal, keys.data(), keys.size()), ssize_t(keys.size()));
    }
    /// Waits until the program reads key by key: before that, the terminal takes control keys for itself and may drop others.
    bool AwaitEditor() const {
        auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
        termios mode{};
        while (::tcgetattr(m_terminal, &mode) == 0 && (mode.c_lflag & ICANON)) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            ::usleep(1000);
        }
        return true;
    }
    /// Reads until the text has come; false if it does not. What stands before it is gone then.
    bool Await(std::string const& text) {
        auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
        std::size_t at = 0;
        while ((at = m_seen.find(text)) == std::string::npos) {
            if (std::chrono::steady_clock::now() > deadline || !More()) return false;
        }
        m_last = m_seen.substr(0, at + text.size());
        m_seen.erase(0, at + text.size());
        return true;
    }
    /// Its exit code, once it has ended by itself; -1 if it does not.
    int Wait() {
        while (More()) {}
        int status = 0;
        for (int i = 0; i < 100; ++i) {
            if (::waitpid(m_child, &status, WNOHANG) == m_child) {
                m_child = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
            ::usleep(100000);
        }
        return -1;
    }
    std::string const& Seen() const { return m_seen; }
    /// What the last Await took.
    std::string const& Last() const { return m_last; }

private:
    bool More() {
        pollfd wait{m_terminal, POLLIN, 0};
        if (::poll(&wait, 1, 10000) != 1) return false;
        std::array<char, 4096> buffer;
        ssize_t const got = ::read(m_terminal, buffer.data(), buffer.size());
        if (got > 0) m_seen.append(buffer.data(), static_cast<std::size_t>(got));
        return got > 0;
    }

    int m_terminal = -1;
    pid_t m_child = -1;
    std::string m_seen;
    std::string m_last;
};
