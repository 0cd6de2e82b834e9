// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the targets for configuration files share: the input as a file, all that a class tells of it, changes, and whether
// everything else stayed.
#pragma once

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syTextEncoding.h"

#include "FuzzFolder.h"
#include "FuzzInput.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string>

inline FuzzFolder const& ConfigFolder() {
    static FuzzFolder const folder;
    return folder;
}
/// The file that holds the input.
inline KxN::KxString const& FuzzPath() {
    static KxN::KxString const path = ConfigFolder().File("f");
    return path;
}
inline std::string FuzzBytes() {
    return ConfigFolder().Read("f");
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
            dump.append(L"\n").append(key.View()).append(L"=");
            bool isRead = false;
            Survive([&] {
                KxN::KxString const value = config.ReadKey(i);
                dump.append(value.View());
                isRead = true;
            });
            if (!isRead) continue;  // encrypted, and damaged
            Survive([&] {
                if (config.ReadKey(key, L"\n") == L"\n") Broken();  // what is told must be found
            });
        }
    }
    config.SetGroup(former);
    return dump;
}

/// Changes the input as a file, saves it, and reads it again: all must be the same. False if something was refused.
template <class CONFIG, class CHANGE, class SAVE>
bool ChangeConfig(std::string const& before, CHANGE change, SAVE save) {
    ConfigFolder().Write("f", before);
    std::wstring changed;
    bool isSaved = false;
    {
        CONFIG config(FuzzPath());
        DumpConfig(config);
        Survive([&] {
            change(config);
            changed = DumpConfig(config);
            save(config);
            isSaved = true;
        });
    }
    if (!isSaved) return false;
    CONFIG again(FuzzPath());
    if (DumpConfig(again) != changed) Broken();
    return true;
}

/// A new group with a key that is not ASCII, many changes at once, and each kind of deletion that the class has.
template <class CONFIG, class SAVE>
void FuzzChanges(std::string const& before, SAVE save) {
    constexpr bool isHeld = requires(CONFIG & config) {
        config.Flush();
    };
    auto const addGroup = [](CONFIG& config) {
        config.SetGroup(L"new \u00E4\u0142");
        config.WriteKey(L"\u0142", L"\u00E4\u0142\U0001F600");
    };
    ChangeConfig<CONFIG>(before, addGroup, save);
    if constexpr (!isHeld) {
        auto const update = [&](CONFIG& config) {
            config.BeginUpdate();
            addGroup(config);
            if (config.GetGroupCount() > 0) config.SetGroup(config.GetGroup(0));
            config.WriteKey(L"a", L"1");
            config.EndUpdate();
        };
        ChangeConfig<CONFIG>(before, update, save);
    } else {
        auto const mix = [&](CONFIG& config) {
            if (config.GetGroupCount() > 1) config.DeleteGroup(config.GetGroup(1));
            if (config.GetGroupCount() > 0) config.SetGroup(config.GetGroup(0));
            config.InsertKey(L"inserted", L"\u0142");
            if constexpr (requires { config.DeleteCurItem(); }) {
                unsigned short const last = config.GetKeyCount();
                if (config.FindKey(static_cast<unsigned short>(last / 2))) config.DeleteCurItem();
                if (config.GetGroupCount() > 1) config.SetGroup(config.GetGroup(1));
                config.DeleteCurItem();  // the group's line, so that its keys move
            }
            config.SetGroup(KxN::KxString());  // else telling all would make the deleted group anew
        };
        ChangeConfig<CONFIG>(before, mix, save);
        CONFIG other(FuzzPath());  // what the last change has left
        ChangeConfig<CONFIG>(
            before, [&](CONFIG& config) { config.Update(other); }, save);
    }
}

/// Changes or adds one key of the first group and saves. The bytes of all other lines must stay. Then all other changes.
template <class CONFIG, class SAVE>
void FuzzConfig(std::uint8_t const* data, std::size_t size, SAVE save) {
    std::string const before(reinterpret_cast<char const*>(data), size);
    FuzzChanges<CONFIG>(before, save);
    auto const writeFirst = [](CONFIG& config) {
        if (config.GetGroupCount() > 0) config.SetGroup(config.GetGroup(0));
        config.WriteKey(config.GetKeyCount() > 0 ? config.GetKeyName(0) : KxN::KxString(L"k"), L"fuzzed");
    };
    bool const isSaved = ChangeConfig<CONFIG>(before, writeFirst, save);
    std::string const after = FuzzBytes();
    if (!isSaved) {
        if (after != before) Broken();
        return;
    }
    KxN::KxTextEncoding const encoding = KxN::KxxDetectEncoding(before);
    bool const isUtf16 = encoding == KxN::KxTextEncoding::Utf16LE || encoding == KxN::KxTextEncoding::Utf16BE;
    // Where a line feed is one byte, the bytes that changed are those of one line.
    if (isUtf16 || encoding != KxN::KxxDetectEncoding(after)) return;
    auto const [b, a] = std::mismatch(before.begin(), before.end(), after.begin(), after.end());
    auto const [be, ae] =
        std::mismatch(before.rbegin(), std::make_reverse_iterator(b), after.rbegin(), std::make_reverse_iterator(a));
    if (std::count(b, be.base(), '\n') > 1) Broken();
}
