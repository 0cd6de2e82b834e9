// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the tests of this room share: texts as UTF-8, so that failures are readable, and a folder of their own.
#pragma once

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syString.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace test {

inline std::string U(KxTools::String const& text) {
    return KxN::KxxToUtf8(text.View());
}

/// A new folder that is gone at the end of the test.
class TempFolder : public testing::Test {
protected:
    TempFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "hbtools-XXXXXX").string();
        if (!::mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
        m_folder = name;
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
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    /// Names in the folder, without those named.
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

}  // namespace test
