// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the targets for configuration files share: the input as a file, all that a class tells of it, one change, and
// whether everything else stayed.
#pragma once

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syTextEncoding.h"

#include "FuzzInput.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// A file of this process that holds the input.
inline std::string const& FuzzPath() {
    static std::string const path = [] {
        std::string folder = (std::filesystem::temp_directory_path() / "hbfuzz-XXXXXX").string();
        if (!::mkdtemp(folder.data())) std::abort();
        static std::string const made = folder;
        std::atexit([] { std::filesystem::remove_all(made); });
        return folder + "/f";
    }();
    return path;
}

inline std::string FuzzBytes() {
    std::ifstream in(FuzzPath(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

/// "[group]name=value" of everything, and a look-up of every name.
template <class CONFIG>
std::wstring DumpConfig(CONFIG& config) {
    std::wstring dump;
    KxN::KxString const former = config.GetGroup();
    for (int group = -1; group < config.GetGroupCount(); ++group) {
        KxN::KxString const name = group < 0 ? KxN::KxString() : config.GetGroup(static_cast<unsigned short>(group));
        config.SetGroup(name);
        dump.append(L"\n[").append(name.View());
        for (unsigned short i = 0; i < config.GetKeyCount(); ++i) {
            KxN::KxString const key = config.GetKeyName(i);
            if (config.ReadKey(key, L"\n") == L"\n") std::abort();  // what is told must be found
            dump.append(L"\n").append(key.View()).append(L"=").append(config.ReadKey(i).View());
        }
    }
    config.SetGroup(former);
    return dump;
}

/// Changes or adds one key of the first group and saves. Read again, all must be the same, and the bytes of all other
/// lines too.
template <class CONFIG, class SAVE>
void FuzzConfig(std::uint8_t const* data, std::size_t size, SAVE save) {
    std::string const before(reinterpret_cast<char const*>(data), size);
    std::ofstream(FuzzPath(), std::ios::binary) << before;
    std::wstring changed;
    bool isSaved = false;
    {
        CONFIG config(KxN::KxxFromSystemPath(FuzzPath()));
        DumpConfig(config);
        Survive([&] {
            if (config.GetGroupCount() > 0) config.SetGroup(config.GetGroup(0));
            config.WriteKey(config.GetKeyCount() > 0 ? config.GetKeyName(0) : KxN::KxString(L"k"), L"fuzzed");
            changed = DumpConfig(config);
            save(config);
            isSaved = true;
        });
    }
    std::string const after = FuzzBytes();
    if (!isSaved) {
        if (after != before) std::abort();
        return;
    }
    CONFIG again(KxN::KxxFromSystemPath(FuzzPath()));
    if (DumpConfig(again) != changed) std::abort();
    KxN::KxTextEncoding const encoding = KxN::KxxDetectEncoding(before);
    bool const isUtf16 = encoding == KxN::KxTextEncoding::Utf16LE || encoding == KxN::KxTextEncoding::Utf16BE;
    // Where a line feed is one byte, the bytes that changed are those of one line.
    if (isUtf16 || encoding != KxN::KxxDetectEncoding(after)) return;
    auto const [b, a] = std::mismatch(before.begin(), before.end(), after.begin(), after.end());
    auto const [be, ae] =
        std::mismatch(before.rbegin(), std::make_reverse_iterator(b), after.rbegin(), std::make_reverse_iterator(a));
    if (std::count(b, be.base(), '\n') > 1) std::abort();
}
