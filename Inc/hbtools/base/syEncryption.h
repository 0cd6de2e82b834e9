// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Encryption of the names and values of a configuration file. It is off until EncryptionOn. While it is off, both
// operations return their text unchanged, so that files are plain. While it is on, encrypting gives "{hb1}" and
// URL-safe base64, which holds no bracket, equals sign, semicolon, blank or line end. Decrypting gives back texts with
// that mark, refuses one that cannot be decrypted or whose mark was changed in one or two places, and returns every
// other unchanged, so that plain files stay readable. A text of the user's that starts with the mark comes back as it
// is if it was encrypted, or if encryption is off; written plainly and decrypted while it is on, it is refused.
//
// Texts are authenticated: a wrong password, a changed or a cut text raise KxEncryptionException, never garbage. The
// key is made of the password by Argon2id, once for each password (64 MiB and about a tenth of a second).
// All functions may run on any thread; state and password belong to the process. Where the system gives no random numbers
// any more, encrypting a value ends the process: under a number that can be foreseen it would be open.
#pragma once

#include "hbtools/base/syException.h"

namespace KxN {

/// A text cannot be decrypted, or there is no password to encrypt with.
class KX_API KxEncryptionException : public KxRuntimeException {
public:
    KxEncryptionException(KxString const& sourceFile, unsigned long line, KxString const& text);
};

}  // namespace KxN

namespace KxTools {

/// Switch for all that follows; texts that were read or written before stay as they are. A configuration object that
/// holds encrypted lines keeps what held when it read them, and refuses to write under anything else.
KX_API void EncryptionOn();
KX_API void EncryptionOff();

/// Makes the key of the password and keeps that, not the password; an empty one forgets the former key.
/// @throws KxMemoryException when there is no memory to make it
KX_API void SetEncryptionPassword(KxN::CStringA const& password);
/// The key as a text that stands for the password in the operations below; empty if there is none. Keep it secret.
KX_API KxN::CStringA GetEncryptedEncryptionPassword();

/// Encrypts a text under a password or what GetEncryptedEncryptionPassword gave. Of a name (isName not 0) equal texts
/// give equal results, so that it is found again; a value gives another result each time. With a `context`
/// the value can be decrypted only under that same context: configuration files give group and key, so that a value
/// moved to another key is refused. Without one it is bound to nothing.
/// @throws KxN::KxEncryptionException without a password
KX_API String KxxEncryptString(KxN::CStringA const& password, String const& text, unsigned char isName);
KX_API String KxxEncryptString(KxN::CStringA const& password, String const& text, unsigned char isName,
                               String const& context);

/// The reverse. A value that is bound to nothing is decrypted under any context.
/// @throws KxN::KxEncryptionException for an encrypted text that cannot be decrypted, whatever the reason
KX_API String KxxDecryptString(KxN::CStringA const& password, String const& text, unsigned char isName);
KX_API String KxxDecryptString(KxN::CStringA const& password, String const& text, unsigned char isName,
                               String const& context);

/// True if the text has the mark of an encrypted one.
KX_API bool KxxIsEncryptedString(std::wstring_view text);

}  // namespace KxTools
