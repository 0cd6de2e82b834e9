// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What EncryptionOn and SetEncryptionPassword have made hold, kept by those who read now and decrypt or write later.
#pragma once

#include "hbtools/base/syString.h"

#include <string_view>

namespace KxN::detail {

struct EncryptionState {
    bool isOn = false;
    CStringA password;  // as GetEncryptedEncryptionPassword gives it; empty while off

    bool operator==(EncryptionState const& other) const { return isOn == other.isOn && password == other.password; }

    // As the public operations, whatever holds by now. @throw KxEncryptionException
    KxString EncryptName(KxString const& name) const;
    KxString EncryptValue(KxString const& value, std::wstring_view context) const;
    KxString DecryptName(KxString const& name) const;
    KxString DecryptValue(KxString const& value, std::wstring_view context) const;
};

EncryptionState CurrentEncryption();

/// True for what decrypting does not return as it is: a text with the mark, or with most of one.
bool IsEncryptedOrDamaged(std::wstring_view text);

}  // namespace KxN::detail
