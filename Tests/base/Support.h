// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the tests of this room share: texts as UTF-8, so that failures are readable, what a call throws, the bytes of
// files, a folder of their own, a disk that is full, and waiting for a condition.
#pragma once

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syFile.h"
#include "hbtools/base/syString.h"

#include "OwnFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <sys/resource.h>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

#if defined(__SANITIZE_THREAD__)
constexpr bool isThreadSanitized = true;
#else
constexpr bool isThreadSanitized = false;
#endif
#if defined(__SANITIZE_ADDRESS__)
constexpr bool isSanitized = true;
#else
constexpr bool isSanitized = isThreadSanitized;
#endif

namespace test {

/// What the thread takes while one lives may be lost with a thread that is killed.
struct Leaking {
    Leaking() {}
#if defined(__SANITIZE_ADDRESS__)
    __lsan::ScopedDisabler disabler;
#endif
};

/// Waits until it holds, running `meanwhile` again and again.
void Await(auto const& condition, auto const& meanwhile) {
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline);
        meanwhile();
        std::this_thread::yield();
    }
}
void Await(auto const& condition) {
    Await(condition, [] {});
}

inline std::string U(KxTools::String const& text) {
    return KxN::KxxToUtf8(text.View());
}

/// A new folder that is gone at the end of the test.
class TempFolder : public testing::Test {
protected:
    TempFolder() {
        m_folder = MakeOwnFolder();
        if (m_folder.empty()) throw std::runtime_error("no temporary folder");
    }
    ~TempFolder() override {
        std::error_code ignored;
        std::filesystem::permissions(m_folder, std::filesystem::perms::owner_all, ignored);
        std::filesystem::remove_all(m_folder, ignored);
    }

    std::filesystem::path File(std::string const& name) const { return m_folder / name; }
    KxN::KxString Path(std::string const& name) const { return KxN::KxxFromSystemPath(File(name).string()); }
    void Put(std::string const& name, std::string_view bytes) const {
        std::ofstream(File(name), std::ios::binary) << bytes;
    }
    std::string Get(std::string const& name) const {
        std::ifstream in(File(name), std::ios::binary);
        std::string bytes;
        for (char block[1 << 16]; in.read(block, sizeof block), in.gcount() > 0;)
            bytes.append(block, static_cast<std::size_t>(in.gcount()));
        return bytes;
    }
    std::size_t CountFiles() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(m_folder), {}));
    }

    std::filesystem::path m_folder;
};

/// Runs the call, which must throw an exception of that class as a pointer; returns its text.
template <class EXCEPTION, class Call>
std::string Thrown(Call call) {
    try {
        call();
    } catch (EXCEPTION* exception) {
        std::string text;
        if constexpr (std::is_base_of_v<KxN::KxException, EXCEPTION>) text = U(exception->GetMessage());
        exception->Delete();
        return text.empty() ? "(no text)" : text;
    }
    ADD_FAILURE() << "nothing was thrown";
    return {};
}

/// The cause of the file or archive exception that the call throws, -1 if it throws none.
template <class EXCEPTION, class Call>
int CauseOf(Call call, std::string* name = nullptr) {
    try {
        call();
    } catch (EXCEPTION* exception) {
        int const cause = exception->GetCause();
        if (name) *name = U(KxN::KxString(exception->GetFileName()));
        exception->Delete();
        return cause;
    }
    return -1;
}

inline void Append(KxN::CFile& file, std::string_view bytes) {
    file.Write(bytes.data(), static_cast<KxN::UINT>(bytes.size()));
}

inline std::string ReadSome(KxN::CFile& file, std::size_t count) {
    std::string bytes(count, '?');
    bytes.resize(file.Read(bytes.data(), static_cast<KxN::UINT>(count)));
    return bytes;
}

inline std::string ReadAll(KxN::CFile& file) {
    file.Seek(0, KxN::CFile::begin);
    return ReadSome(file, file.GetLength() + 1);  // one more than there is
}

/// Limits the length of files that this process may write, as a full disk does.
class SizeLimit {
public:
    explicit SizeLimit(rlim_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &m_former);
        rlimit limit = m_former;
        limit.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~SizeLimit() { ::setrlimit(RLIMIT_FSIZE, &m_former); }

private:
    rlimit m_former;
};

}  // namespace test
