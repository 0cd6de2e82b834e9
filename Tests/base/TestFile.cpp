// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syFile.h"

#include "Support.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <limits>
#include <random>
#include <utility>
#include <vector>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace KxN;
using test::Append;
using test::ReadAll;
using test::ReadSome;
using test::U;

constexpr std::size_t window = 256 * 1024;
constexpr std::size_t page = 4096;
constexpr std::size_t direct = 128 * 1024;

using RealFile = test::TempFolder;

constexpr auto CauseOf = [](auto call) { return test::CauseOf<CFileException>(call); };

/// Runs `body` in a process of its own; how that ended: its exit code, or 1000 and the number of the signal.
template <class Body>
int InChild(Body body) {
    pid_t const child = ::fork();
    if (child == 0) {
        int code = 99;
        try {
            code = body();
        } catch (CException* exception) {
            exception->Delete();
        }
        ::_exit(code);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {}
    return WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : WEXITSTATUS(status);
}

/// A text in memory with the operations of a file: what a CFile must be equal to after every step.
class Model {
public:
    std::string Read(std::size_t count) {
        if (position >= bytes.size()) return {};
        std::string part = bytes.substr(position, count);
        position += part.size();
        return part;
    }
    void Write(std::string const& part) {
        if (part.empty()) return;
        if (bytes.size() < position + part.size()) bytes.resize(position + part.size());
        bytes.replace(position, part.size(), part);
        position += part.size();
    }

    std::string bytes;
    std::size_t position = 0;
};

// Sizes and places gather around the lengths at which the buffer changes its ways.
TEST_F(RealFile, BehavesAsATextInMemory) {
    std::array<std::size_t, 16> const sizes = {
        0,          1,      6,          100,           page - 1,   page,   page + 1,   5 * page,
        direct - 1, direct, direct + 1, window - page, window - 1, window, window + 1, 2 * window + 7};
    for (unsigned seed = 1; seed <= 12; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto const below = [&](std::size_t limit) { return static_cast<std::size_t>(random() % limit); };
        // Some runs work in one small neighbourhood, where the window is hit nearly always.
        bool const isNarrow = seed % 3 == 0;
        auto const size = [&] { return isNarrow ? below(200) : below(3) ? below(300) : sizes[below(sizes.size())]; };
        Model model;
        KxString const path = Path("model" + std::to_string(seed));
        CFile file(path, CFile::modeReadWrite | CFile::modeCreate);
        for (int step = 0; step < 1500; ++step) {
            std::size_t const action = below(100);
            if (action < 35) {
                std::size_t const count = size();
                ASSERT_EQ(ReadSome(file, static_cast<UINT>(count)), model.Read(count)) << "step " << step;
            } else if (action < 65) {
                std::string part(size(), '\0');
                for (char& c : part) c = static_cast<char>(random());
                if (model.position + part.size() > 3'000'000) continue;
                Append(file, part);
                model.Write(part);
            } else if (action < 91) {
                UINT const from = static_cast<UINT>(below(3));
                std::size_t const target =
                    isNarrow ? model.bytes.size() / 2 + below(300) : below(model.bytes.size() + (step % 50 ? 1 : 5000));
                std::size_t const base = from == 0 ? 0 : from == 1 ? model.position : model.bytes.size();
                model.position = target;
                ASSERT_EQ(file.Seek(static_cast<LONGLONG>(target) - static_cast<LONGLONG>(base), from), target);
            } else if (action < 94) {
                std::size_t const place = below(model.bytes.size() + 1), count = below(20);
                if (BYTE* const bytes = file.Touch(place, static_cast<UINT>(count))) {
                    ASSERT_LE(place + count, model.bytes.size());
                    ASSERT_EQ(std::memcmp(bytes, model.bytes.data() + place, count), 0) << "step " << step;
                    std::memset(bytes, step, count);
                    std::memset(model.bytes.data() + place, step, count);
                }
            } else if (action < 96) {
                std::size_t const length =
                    below(4) ? model.bytes.size() + below(2 * page) : below(model.bytes.size() + 1);
                file.SetLength(length);
                model.bytes.resize(length);
            } else if (action < 97) {
                file.Flush();
            } else if (action < 98) {
                file.Close();
                ASSERT_EQ(Get("model" + std::to_string(seed)), model.bytes) << "step " << step;
                ASSERT_TRUE(file.Open(path, CFile::modeReadWrite));
                model.position = 0;
            }
            ASSERT_EQ(file.GetPosition(), model.position) << "step " << step;
            ASSERT_EQ(file.GetLength(), model.bytes.size()) << "step " << step;
        }
        ASSERT_EQ(ReadAll(file), model.bytes);
        file.Close();
        ASSERT_EQ(Get("model" + std::to_string(seed)), model.bytes);
    }
}

TEST_F(RealFile, ReaderSeesWhatAnotherAppendsAndChanges) {
    CFile writer(Path("shared"), CFile::modeReadWrite | CFile::modeCreate);
    Append(writer, "first");
    writer.Flush();
    CFile reader(Path("shared"), CFile::modeRead);
    EXPECT_EQ(ReadSome(reader, 100), "first");
    Append(writer, " second");
    EXPECT_EQ(ReadSome(reader, 100), "") << "pending bytes are the writer's alone";
    writer.Flush();
    EXPECT_EQ(reader.GetLength(), 12u);
    EXPECT_EQ(ReadSome(reader, 100), " second") << "what was appended needs no Flush";

    writer.Seek(0, CFile::begin);
    Append(writer, "FIRST");
    writer.Flush();
    reader.Flush();
    reader.Seek(0, CFile::begin);
    EXPECT_EQ(ReadSome(reader, 100), "FIRST second") << "a Flush forgets what was read ahead";

    writer.SetLength(2);
    reader.Flush();
    reader.Seek(0, CFile::begin);
    EXPECT_EQ(ReadSome(reader, 100), "FI");
}

// Two places of one window are changed by one object, the bytes between them by another.
TEST_F(RealFile, WritersOfDifferentPlacesKeepEachOthersBytes) {
    Put("places", std::string(100, '.'));
    CFile one(Path("places"), CFile::modeReadWrite);
    CFile other(Path("places"), CFile::modeReadWrite);
    EXPECT_EQ(ReadSome(one, 100), std::string(100, '.'));
    for (LONGLONG place : {10, 90}) {
        one.Seek(place, CFile::begin);
        Append(one, "a");
        other.Seek(50, CFile::begin);
        Append(other, "b");
        other.Flush();
    }
    one.Close();
    std::string expected(100, '.');
    expected[10] = expected[90] = 'a';
    expected[50] = 'b';
    EXPECT_EQ(Get("places"), expected);

    // A length that another object has cut is not remembered.
    CFile third(Path("places"), CFile::modeReadWrite);
    other.SetLength(5);
    Append(third, "ccc");
    EXPECT_EQ(third.GetLength(), 5u);
}

// The way of a chain of records: append one, then link the one before it. Counted in calls of the system.
TEST_F(RealFile, GathersAppendedRecordsAndTheirLinks) {
    auto const writeCalls = [] {
        std::ifstream in("/proc/self/io");
        std::string key;
        for (long value = 0; in >> key >> value;)
            if (key == "syscw:") return value;
        return -1L;
    };
    if (writeCalls() < 0) GTEST_SKIP() << "this system does not count calls";
    constexpr int records = 50'000;
    std::string const record(100, 'r'), linked = "rrrrrrrrrrlink" + record.substr(14);
    std::string expected;
    CFile file(Path("chain"), CFile::modeReadWrite | CFile::modeCreate);
    long const before = writeCalls();
    for (int i = 0; i < records; ++i) {
        Append(file, record);
        expected += i + 1 < records ? linked : record;
        if (i == 0) continue;
        file.Seek(100LL * (i - 1) + 10, CFile::begin);
        Append(file, "link");
        file.Seek(0, CFile::end);
    }
    file.Flush();
    long const calls = writeCalls() - before;
    EXPECT_LT(calls, 200) << "5 MB through a buffer of 256 KiB";
    EXPECT_GT(calls, 0);
    EXPECT_EQ(ReadAll(file), expected);
}

TEST_F(RealFile, ReachesBeyondFourGigabytes) {
    constexpr LONGLONG far = (1LL << 32) + 12345;
    CFile file(Path("far"), CFile::modeReadWrite | CFile::modeCreate);
    file.Seek(far, CFile::begin);
    int const cause = CauseOf([&] {
        Append(file, "beyond");
        file.Flush();
    });
    if (cause != -1) GTEST_SKIP() << "this file system holds no file beyond 4 GiB";
    file.Seek(12345, CFile::begin);
    Append(file, "near");
    ASSERT_TRUE(file.Open(Path("far"), CFile::modeReadWrite));
    EXPECT_EQ(file.GetLength(), static_cast<ULONGLONG>(far) + 6);
    EXPECT_EQ(file.Seek(-6, CFile::end), static_cast<ULONGLONG>(far));
    EXPECT_EQ(ReadSome(file, 100), "beyond");
    file.Seek(12344, CFile::begin);
    EXPECT_EQ(ReadSome(file, 6), std::string("\0near\0", 6));
    file.Seek((1LL << 32) - 3, CFile::begin);
    Append(file, "across");
    file.SetLength((1ULL << 32) + 1);
    file.Seek(-4, CFile::end);
    EXPECT_EQ(ReadSome(file, 100), "acro");
}

TEST_F(RealFile, RefusesPositionsThatNoFileHas) {
    CFile file(Path("seek"), CFile::modeReadWrite | CFile::modeCreate);
    Append(file, "abc");
    constexpr LONGLONG last = std::numeric_limits<LONGLONG>::max();
    std::pair<LONGLONG, UINT> const bad[] = {{-1, 0}, {-4, 1}, {-4, 2}, {last, 1}, {last, 2}, {-last - 1, 0}, {0, 3}};
    for (auto const& [offset, from] : bad) {
        EXPECT_EQ(CauseOf([&, to = offset, origin = from] { file.Seek(to, origin); }), CFileException::badSeek)
            << offset << " from " << from;
        EXPECT_EQ(file.GetPosition(), 3u);
    }
    // The last position is a position, with nothing to read and no room to write.
    for (LONGLONG const place : {last, last - 1, last - 5000, last - 300'000}) {
        EXPECT_EQ(file.Seek(place, CFile::begin), static_cast<ULONGLONG>(place));
        EXPECT_EQ(ReadSome(file, 10) + ReadSome(file, 300'000), "") << place;
        EXPECT_NE(CauseOf([&] { Append(file, std::string(300'001, 'x')); }), -1) << place;
        EXPECT_EQ(file.GetPosition(), static_cast<ULONGLONG>(place));
    }
    EXPECT_EQ(CauseOf([&] { file.SetLength(1ULL << 63); }), CFileException::badSeek);
    EXPECT_EQ(ReadAll(file), "abc");
}

TEST_F(RealFile, RefusesToOpen) {
    std::filesystem::create_directory(File("folder"));
    ASSERT_EQ(::mkfifo(File("fifo").c_str(), 0600), 0);
    ASSERT_EQ(::mknod(File("socket").c_str(), S_IFSOCK | 0600, 0), 0);
    std::filesystem::create_symlink("nowhere", File("dangling"));
    std::filesystem::create_symlink("loop", File("loop"));
    Put("plain", "x");
    constexpr UINT read = CFile::modeRead, write = CFile::modeWrite, both = CFile::modeReadWrite;
    constexpr UINT make = CFile::modeWrite | CFile::modeCreate;
    struct {
        KxString path;
        UINT flags;
        int cause;
        long osError;
    } const table[] = {
        {Path("missing"), read, CFileException::fileNotFound, ENOENT},
        {Path("missing"), write, CFileException::fileNotFound, ENOENT},
        {KxString(), read, CFileException::badPath, -1},
        {Path("plain"), 3, CFileException::badPath, -1},  // no access mode
        {Path("folder"), read, CFileException::accessDenied, EISDIR},
        {Path("folder"), both, CFileException::accessDenied, EISDIR},
        {Path("plain/x"), read, CFileException::badPath, ENOTDIR},
        {Path("fifo"), read, CFileException::invalidFile, EINVAL},
        {Path("fifo"), write, CFileException::invalidFile, ENXIO},
        {Path("fifo"), both, CFileException::invalidFile, EINVAL},
        {Path("socket"), read, CFileException::invalidFile, ENXIO},
        {Path("socket"), both, CFileException::invalidFile, ENXIO},
        {L"/dev/zero", read, CFileException::invalidFile, EINVAL},
        {L"/dev/full", write, CFileException::invalidFile, EINVAL},
        {Path("dangling"), read, CFileException::fileNotFound, ENOENT},
        {Path("loop"), read, CFileException::badPath, ELOOP},
        {Path(std::string(5000, 'n')), read, CFileException::badPath, ENAMETOOLONG},
        {Path(std::string(300, 'n')), make, CFileException::badPath, ENAMETOOLONG},
        {Path("missing/x"), make, CFileException::fileNotFound, ENOENT},
    };
    for (auto const& row : table) {
        SCOPED_TRACE(U(row.path) + " " + std::to_string(row.flags));
        CFile file;
        CFileException error;
        EXPECT_EQ(file.Open(row.path, row.flags, &error), 0);
        EXPECT_EQ(error.GetCause(), row.cause);
        EXPECT_EQ(error.GetOsError(), row.osError);
        EXPECT_EQ(error.GetFileName(), CString(row.path));
        EXPECT_FALSE(file.IsOpen());
        EXPECT_EQ(file.Open(row.path, row.flags), 0) << "nobody asks why";
        EXPECT_EQ(CauseOf([&] { CFile(row.path, row.flags); }), row.cause);
    }
    EXPECT_EQ(CFile().Open(nullptr, CFile::modeRead), 0);
    std::filesystem::permissions(File("plain"), std::filesystem::perms::none);
    if (::geteuid() == 0) return;
    EXPECT_EQ(CauseOf([&] { CFile(Path("plain"), read); }), CFileException::accessDenied);
}

TEST_F(RealFile, OpensNamesOfEveryKind) {
    for (std::string const name : {"line\nfeed", "caf\xc3\xa9", "caf\xe9", "\xff\xfe\x80", "%s%n", "blank "}) {
        SCOPED_TRACE(name);
        CFile file(Path(name), CFile::modeWrite | CFile::modeCreate);
        Append(file, name);
        EXPECT_EQ(KxxToSystemPath(file.GetFileName().View()), name);
        EXPECT_EQ(KxxToSystemPath(file.GetFilePath().View()), File(name).string());
        file.Close();
        EXPECT_EQ(Get(name), name);
    }
    // A link to a file is that file.
    std::filesystem::create_symlink("caf\xe9", File("link"));
    CFile file(Path("link"), CFile::modeRead);
    EXPECT_EQ(ReadAll(file), "caf\xe9");
}

TEST_F(RealFile, KeepsItsMode) {
    constexpr UINT read = CFile::modeRead, write = CFile::modeWrite, both = CFile::modeReadWrite;
    constexpr UINT create = CFile::modeCreate, keep = CFile::modeNoTruncate;
    struct {
        UINT flags;
        char const* left;
        bool reads, writes;
    } const table[] = {
        {read, "content", true, false},
        {write, "content", false, true},
        {both, "content", true, true},
        {read | create, "content", true, false},
        {write | keep, "content", false, true},
        {write | create | keep, "content", false, true},
        {both | create | keep, "content", true, true},
        {write | create, "", false, true},
        {both | create, "", true, true},
    };
    for (auto const& row : table) {
        SCOPED_TRACE(row.flags);
        int const readCause = row.reads ? -1 : CFileException::accessDenied;
        int const writeCause = row.writes ? -1 : CFileException::accessDenied;
        Put("file", "content");
        CFile file(Path("file"), row.flags);
        EXPECT_EQ(Get("file"), row.left);
        EXPECT_EQ(file.GetPosition(), 0u);
        EXPECT_EQ(CauseOf([&] { ReadSome(file, 1); }), readCause);
        file.Seek(0, CFile::begin);
        EXPECT_EQ(CauseOf([&] { Append(file, "C"); }), writeCause);
        EXPECT_EQ(CauseOf([&] { Append(file, ""); }), writeCause);
        EXPECT_EQ(CauseOf([&] { file.SetLength(1); }), writeCause);
        file.Flush();
        file.Close();
        EXPECT_EQ(Get("file"), row.writes ? "C" : row.left);
        std::filesystem::remove(File("new"));
        EXPECT_EQ(CFile().Open(Path("new"), row.flags) != 0, (row.flags & create) != 0);
        EXPECT_EQ(std::filesystem::exists(File("new")), (row.flags & create) != 0);
    }
}

TEST_F(RealFile, OpeningAgainClosesFirst) {
    CFile file(Path("a"), CFile::modeWrite | CFile::modeCreate);
    Append(file, "pending");
    ASSERT_TRUE(file.Open(Path("a"), CFile::modeReadWrite)) << "the same file: what was pending is in it";
    EXPECT_EQ(ReadAll(file), "pending");
    Append(file, " more");
    EXPECT_FALSE(file.Open(Path("missing"), CFile::modeRead));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(Get("a"), "pending more");
}

TEST_F(RealFile, RefusesWorkWhileClosed) {
    CFile never;
    EXPECT_TRUE(never.GetFileName().IsEmpty() && never.GetFilePath().IsEmpty());
    CFile closed(Path("closed"), CFile::modeReadWrite | CFile::modeCreate);
    closed.Close();
    EXPECT_EQ(U(KxString(closed.GetFileName())), "closed") << "for messages";
    void (*const works[])(CFile&) = {
        [](CFile& file) { ReadSome(file, 1); }, [](CFile& file) { Append(file, "x"); },
        [](CFile& file) { file.Seek(0, 0); },   [](CFile& file) { file.GetPosition(); },
        [](CFile& file) { file.GetLength(); },  [](CFile& file) { file.SetLength(0); },
        [](CFile& file) { file.Flush(); },
    };
    for (CFile* file : {&never, &closed}) {
        for (auto const& work : works) EXPECT_EQ(CauseOf([&] { work(*file); }), CFileException::invalidFile);
        EXPECT_TRUE(!file->Peek(0, 0) && !file->Touch(0, 0));
        file->Close();
        file->Abort();
    }
    CFile aborted(Path("closed"), CFile::modeWrite | CFile::modeCreate);
    Append(aborted, "lost");
    EXPECT_TRUE(!aborted.Peek(0, 1) && !aborted.Touch(0, 1)) << "it cannot be read";
    aborted.Abort();
    EXPECT_EQ(Get("closed"), "");
}

TEST_F(RealFile, RemovesAndRenames) {
    Put("old", "old");
    Put("other", "other");
    CFile::Rename(Path("old"), Path("new"));
    EXPECT_FALSE(std::filesystem::exists(File("old")));
    EXPECT_EQ(CauseOf([&] { CFile::Rename(Path("old"), Path("x")); }), CFileException::fileNotFound);
    EXPECT_NE(CauseOf([&] { CFile::Rename(Path("new"), Path("other")); }), -1) << "no file is replaced";
    EXPECT_EQ(Get("new") + Get("other"), "oldother");
    CFile::Remove(Path("new"));
    EXPECT_EQ(CountFiles(), 1u);
    EXPECT_EQ(CauseOf([&] { CFile::Remove(Path("new")); }), CFileException::fileNotFound);
    EXPECT_NE(CauseOf([&] { CFile::Remove(Path(".")); }), -1);
    test::Thrown<CInvalidArgException>([] { CFile::Remove(nullptr); });
    test::Thrown<CInvalidArgException>([] { CFile::Rename(nullptr, L"x"); });
    test::Thrown<CInvalidArgException>([] { CFile::Rename(L"x", nullptr); });

    CFile file(Path("other"), CFile::modeRead);
    file.SetFilePath(L"/a/path/for messages");
    test::Thrown<CInvalidArgException>([&] { file.SetFilePath(nullptr); });
    EXPECT_EQ(U(KxString(file.GetFileName())) + U(KxString(file.GetFilePath())), "for messages/a/path/for messages");
    EXPECT_EQ(ReadAll(file), "other");
}

// The size limit of a process stands for a full disk: the system signals it, which would end the process.
TEST_F(RealFile, AFullDiskIsAnExceptionAndNothingElse) {
    KxString const path = Path("full");
    std::string const bytes(60'000, 'x');
    auto const isFull = [&](auto call) {
        std::string name;
        return test::CauseOf<CFileException>(call, &name) == CFileException::diskFull && name == U(path);
    };
    /// `body` gets a file in which more is pending than the disk takes.
    auto const expectGood = [&](auto body) {
        EXPECT_EQ(InChild([&] {
                      test::SizeLimit const limit(50'000);
                      CFile file(path, CFile::modeReadWrite | CFile::modeCreate);
                      Append(file, bytes);
                      return body(file);
                  }),
                  0);
    };
    expectGood([&](CFile& file) {
        if (!isFull([&] { file.Flush(); })) return 1;
        if (!isFull([&] { file.Flush(); })) return 2;  // still pending
        if (file.GetLength() != bytes.size()) return 3;
        if (!isFull([&] { file.SetLength(70'000); })) return 4;
        file.SetLength(40'000);  // room again, for what is left
        file.Flush();
        if (!isFull([&] { Append(file, std::string(200'000, 'y')); })) return 5;
        if (file.GetPosition() != bytes.size()) return 6;
        file.SetLength(40'000);
        return 0;
    });
    EXPECT_EQ(Get("full"), bytes.substr(0, 40'000));
    expectGood([&](CFile& file) { return !isFull([&] { file.Close(); }) ? 1 : file.IsOpen() ? 2 : 0; });
    expectGood([](CFile&) { return 0; });  // the destructor says nothing
    // What the application does about the signal stays as it is.
    EXPECT_EQ(InChild([&] {
                  static volatile std::sig_atomic_t calls = 0;
                  std::signal(SIGXFSZ, [](int) { calls = calls + 1; });
                  test::SizeLimit const limit(50'000);
                  CFile file(path, CFile::modeReadWrite | CFile::modeCreate);
                  Append(file, bytes);
                  return !isFull([&] { file.Flush(); }) || calls == 0;
              }),
              0);
    expectGood([&](CFile& file) {  // a thread that holds the signal back must not meet it later
        sigset_t signal;
        sigemptyset(&signal);
        sigaddset(&signal, SIGXFSZ);
        ::sigprocmask(SIG_BLOCK, &signal, nullptr);
        if (!isFull([&] { file.Flush(); })) return 1;
        ::sigprocmask(SIG_UNBLOCK, &signal, nullptr);
        return 0;
    });
}

}  // namespace
