// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the tests of properties share: images as bytes, loading from them, and trees.
#pragma once

#include "hbtools/properties/syPropertyTag.h"

#include "../base/Support.h"

#include <memory>

namespace test {

using namespace KxN;
using namespace std::string_literals;

using Owner = std::unique_ptr<KxProperty>;

/// A wide text as it stands in a stream.
inline std::string Wide(std::string const& text) {
    std::string bytes = "\xFF\xFE\xFF"s;
    bytes += static_cast<char>(text.size());
    for (char const c : text) bytes += {c, '\0'};
    return bytes;
}

/// The image of an object up to its body.
inline std::string Head(std::string const& className) {
    return "\0\0\0\0"s + Wide("class KxN::" + className) + "\x64\0"s;
}

inline std::string StoredBytes(KxPersistentObject const& object) {
    CMemFile file(1 << 20);  // grows in few steps: each one moves all of it under sanitizers
    CArchive archive(&file, CArchive::store);
    object.Store(archive);
    archive.Close();
    return ReadAll(file);
}

inline Owner LoadFrom(std::string const& bytes) {
    CMemFile file(4096);
    Append(file, bytes);
    file.Seek(0, CFile::begin);
    CArchive archive(&file, CArchive::load);
    return Owner(dynamic_cast<KxProperty*>(KxPersistentObject::Load(archive)));
}

/// All lines of a property, each behind its level in stars.
inline std::string Lines(KxProperty& property, int showHidden = 0, KxTMem<unsigned long> const* groups = nullptr) {
    KxTBlockMem<KxString*> messages;
    if (groups)
        property.GetAllMessageBufResized(messages, *groups, 0, showHidden, '*', 1);
    else
        property.GetAllMessageBufResized(messages, 0, showHidden, '*', 1);
    std::string text;
    for (KxString* message : messages) {
        text += U(*message) + '|';
        delete message;
    }
    return text;
}

}  // namespace test
