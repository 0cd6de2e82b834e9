// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Every call to the system that saving makes fails once, in each way that it can. Whatever fails: the file is the old
// one or the new one, whole; nothing else is left; and who saved was told.
#include "hbtools/base/syConfig.h"
#include "hbtools/base/syDirEntry.h"
#include "hbtools/base/sySafeFile.h"

#include "Support.h"

#include <cerrno>
#include <cstdarg>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

enum Fault { NoSpace, InputOutput, Interrupted, Short };

// Faults strike on this thread, at the call of this number, counted from 1; 0 means never.
thread_local int t_failAt = 0;
thread_local int t_calls = 0;
thread_local Fault t_fault = NoSpace;
thread_local bool t_isGrave = false;  // the call that was struck is one whose failure must be told

/// True if this call has to fail; errno says how.
bool Strikes(bool isGrave, bool canBeShort = false, bool canBeInterrupted = true) {
    if (t_failAt == 0 || ++t_calls != t_failAt) return false;
    if (t_fault == Short && !canBeShort) return false;
    if (t_fault == Interrupted && !canBeInterrupted) return false;
    t_isGrave = isGrave && (t_fault == NoSpace || t_fault == InputOutput);
    errno = t_fault == NoSpace ? ENOSPC : t_fault == InputOutput ? EIO : EINTR;
    return true;
}

template <class Function>
Function Real(char const* name) {
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

// These stand in front of the system's own for the whole program.
extern "C" {

int open(char const* path, int flags, ...) {
    static auto const real = Real<int (*)(char const*, int, ...)>("open");
    va_list arguments;
    va_start(arguments, flags);
    mode_t const mode = (flags & O_CREAT) ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return Strikes(true) ? -1 : real(path, flags, mode);
}

ssize_t read(int file, void* buffer, size_t count) {
    static auto const real = Real<ssize_t (*)(int, void*, size_t)>("read");
    if (!Strikes(true, true)) return real(file, buffer, count);
    return t_fault == Short ? real(file, buffer, std::min<size_t>(count, 1)) : -1;
}

ssize_t write(int file, void const* data, size_t count) {
    static auto const real = Real<ssize_t (*)(int, void const*, size_t)>("write");
    if (!Strikes(true, true)) return real(file, data, count);
    return t_fault == Short ? real(file, data, std::min<size_t>(count, 1)) : -1;
}

ssize_t copy_file_range(int from, off_t* fromOffset, int to, off_t* toOffset, size_t count, unsigned flags) {
    static auto const real = Real<ssize_t (*)(int, off_t*, int, off_t*, size_t, unsigned)>("copy_file_range");
    if (!Strikes(false, true)) return real(from, fromOffset, to, toOffset, count, flags);
    return t_fault == Short ? real(from, fromOffset, to, toOffset, std::min<size_t>(count, 1), flags) : -1;
}

int fsync(int file) {
    static auto const real = Real<int (*)(int)>("fsync");
    return Strikes(true) ? -1 : real(file);
}

int close(int file) {
    static auto const real = Real<int (*)(int)>("close");
    bool const strikes = Strikes((::fcntl(file, F_GETFL) & O_ACCMODE) != O_RDONLY);
    int const error = errno;
    int const result = real(file);  // the descriptor is gone either way
    if (!strikes) return result;
    errno = error;
    return -1;
}

int fchmod(int file, mode_t mode) noexcept {
    static auto const real = Real<int (*)(int, mode_t)>("fchmod");
    return Strikes(true, false, false) ? -1 : real(file, mode);
}

int rename(char const* from, char const* to) noexcept {
    static auto const real = Real<int (*)(char const*, char const*)>("rename");
    return Strikes(true, false, false) ? -1 : real(from, to);
}

}  // extern "C"

namespace {

using namespace KxN;

class Faults : public test::TempFolder {
protected:
    /// Runs `save` with a fault at each call until none is reached any more. `save` returns whether it succeeded.
    template <class Save>
    void Loop(std::string const& name, std::string const& before, std::string const& after, Save save) {
        for (Fault const fault : {NoSpace, InputOutput, Interrupted, Short}) {
            for (int at = 1;; ++at) {
                Put(name, before);
                t_fault = fault;
                t_calls = 0;
                t_isGrave = false;
                t_failAt = at;
                bool const succeeded = save();
                int const calls = t_calls;
                t_failAt = 0;
                std::string const found = Get(name);
                EXPECT_TRUE(found == before || found == after) << "fault " << fault << " at call " << at;
                EXPECT_EQ(CountFiles(), m_expectedFiles) << "fault " << fault << " at call " << at;
                if (succeeded) {
                    EXPECT_TRUE(found == after) << "fault " << fault << " at call " << at;
                }
                if (t_isGrave) {
                    EXPECT_FALSE(succeeded) << "fault " << fault << " at call " << at;
                }
                if (fault == Interrupted || fault == Short) {
                    EXPECT_TRUE(succeeded) << "fault " << fault << " at call " << at;
                }
                if (calls < at) break;
            }
        }
    }

    std::size_t m_expectedFiles = 1;
};

TEST_F(Faults, SavingAFile) {
    std::string const after(100'000, 'n');
    Loop("file", "old", after, [&] {
        try {
            KxxSaveFile(Path("file"), after);
        } catch (KxFileException* exception) {
            exception->Delete();
            return false;
        }
        return true;
    });
}

TEST_F(Faults, WritingAKey) {
    Loop("file", "[G]\nA=1\n", "[G]\nA=2\n", [&] {
        KxConfig config(Path("file"));
        config.SetGroup(L"G");
        return config.KxTools::Config::WriteKey(L"A", L"2") == 1;
    });
}

TEST_F(Faults, CopyingAFile) {
    std::string const after(300'000, 'n');
    Put("source", after);
    m_expectedFiles = 2;
    KxDirEntry const source(Path("source")), target(Path("target"));
    Loop("target", "old", after, [&] { return source.CopyTo(target, 1) == 0; });
    EXPECT_TRUE(Get("source") == after);
}

}  // namespace
