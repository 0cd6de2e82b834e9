// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// An encrypted text is the mark and base64 of: kind (1 byte), nonce (24), cipher text, authentication (16).
// XChaCha20-Poly1305 with a subkey for each kind; kind and context are authenticated with it. The nonce of a name
// is a keyed hash of the name, so that equal names look equal; nonces this long may be drawn at random for values.
#include "hbtools/base/syEncryption.h"

#include "base/posix/syMutex.h"
#include "base/syEncryptionState.h"
#include "base/syTextIds.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syResource.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <vector>

#include <sodium.h>

namespace KxN {

KxEncryptionException::KxEncryptionException(KxString const& sourceFile, unsigned long line, KxString const& text)
    : KxRuntimeException(sourceFile, line, text) {}

}  // namespace KxN

namespace KxTools {

namespace {

using KxN::CStringA;
using KxN::KxString;

constexpr std::wstring_view mark = L"{hb1}";
constexpr std::string_view keyMark = "{hbkey1}";
constexpr int base64 = sodium_base64_VARIANT_URLSAFE_NO_PADDING;

constexpr std::size_t keySize = crypto_aead_xchacha20poly1305_ietf_KEYBYTES;
constexpr std::size_t nonceSize = crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
constexpr std::size_t tagSize = crypto_aead_xchacha20poly1305_ietf_ABYTES;
static_assert(keySize == crypto_kdf_KEYBYTES);
static_assert(keySize == crypto_generichash_BYTES);

// Files have no room for a salt of their own, and every process must make the same key. Do not change.
constexpr unsigned char salt[crypto_pwhash_SALTBYTES + 1] = "hbTools.config.1";
constexpr char subkeyContext[crypto_kdf_CONTEXTBYTES + 1] = "hbconfig";

/// What a text is: the first byte of the encrypted bytes, and the number of its subkey. Do not renumber.
enum Kind : unsigned char { FreeValue = 1, BoundValue = 2, Name = 3 };
constexpr std::uint64_t nameNonceSubkey = 4;

/// How the text stands in the plain bytes: their first byte. Do not renumber.
enum Form : char { Utf8Form = 0, Utf16Form = 1 };

struct Key : std::array<unsigned char, keySize> {
    ~Key() { sodium_memzero(data(), size()); }
};

[[noreturn]] void Throw(unsigned short textId, unsigned long line) {
    throw new KxN::KxEncryptionException(L"syEncryption", line, KxString(KxN::KxResId(textId)));
}

void Begin() {
    KxN::detail::Hold const hold;  // it has a lock of its own
    static int const result = sodium_init();
    if (result < 0) Throw(KxN::text::EncryptionMissing, __LINE__);
}

/// The state of the process, and the keys of the last passwords so that none is derived twice in a row.
struct State {
    std::atomic<bool> isOn = false;
    KxN::detail::Mutex mutex;
    CStringA current;  // the key in use, as a text
    struct Known {
        Key id, key;  // the id is a hash of the password: passwords are not kept
    };
    std::vector<Known> known;
};

State& TheState() {
    static State state;
    return state;
}

Key Derive(CStringA const& password) {
    static std::size_t const most = 8;
    Key id;
    auto const* const bytes = reinterpret_cast<unsigned char const*>(password.GetString());
    auto const length = static_cast<std::size_t>(password.GetLength());
    crypto_generichash(id.data(), id.size(), bytes, length, salt, crypto_pwhash_SALTBYTES);
    State& state = TheState();
    auto const isIt = [&](State::Known const& known) { return sodium_memcmp(&known.id, &id, sizeof id) == 0; };
    {
        std::lock_guard const lock(state.mutex);
        auto const found = std::find_if(state.known.begin(), state.known.end(), isIt);
        if (found != state.known.end()) return found->key;
    }
    Key key;  // not under the lock: it takes its time
    if (crypto_pwhash(key.data(), key.size(), password.GetString(), length, salt, crypto_pwhash_OPSLIMIT_INTERACTIVE,
                      crypto_pwhash_MEMLIMIT_INTERACTIVE, crypto_pwhash_ALG_ARGON2ID13) != 0)
        throw new KxN::KxMemoryException(crypto_pwhash_MEMLIMIT_INTERACTIVE);
    std::lock_guard const lock(state.mutex);
    if (std::any_of(state.known.begin(), state.known.end(), isIt)) return key;  // another thread was faster
    if (state.known.size() == most) state.known.erase(state.known.begin());
    state.known.push_back({id, key});
    return key;
}

std::string ToBase64(std::string_view bytes) {
    std::string text(sodium_base64_encoded_len(bytes.size(), base64), '\0');
    sodium_bin2base64(text.data(), text.size(), reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size(),
                      base64);
    text.pop_back();  // the terminating NUL
    return text;
}

/// False for anything that ToBase64 does not make.
bool FromBase64(std::string_view text, std::string& bytes) {
    bytes.resize(text.size());
    std::size_t length = 0;
    if (sodium_base642bin(reinterpret_cast<unsigned char*>(bytes.data()), bytes.size(), text.data(), text.size(),
                          nullptr, &length, nullptr, base64) != 0)
        return false;
    bytes.resize(length);
    return true;
}

/// The key that a password, or the text of a key, stands for.
Key KeyOf(CStringA const& password) {
    if (password.IsEmpty()) Throw(KxN::text::PasswordMissing, __LINE__);
    std::string_view const text = password.View();
    std::string bytes;
    if (!text.starts_with(keyMark) || !FromBase64(text.substr(keyMark.size()), bytes) || bytes.size() != keySize)
        return Derive(password);
    Key key;
    std::copy(bytes.begin(), bytes.end(), key.begin());
    sodium_memzero(bytes.data(), bytes.size());
    return key;
}

Key Subkey(Key const& key, std::uint64_t number) {
    Key subkey;
    crypto_kdf_derive_from_key(subkey.data(), subkey.size(), number, subkeyContext, key.data());
    return subkey;
}

unsigned char* Bytes(std::string& text) {
    return reinterpret_cast<unsigned char*>(text.data());
}
unsigned char const* Bytes(std::string_view text) {
    return reinterpret_cast<unsigned char const*>(text.data());
}

/// UTF-8 where that gives the text back, which it does unless there are lone surrogates as in odd file names.
std::string ToPlain(std::wstring_view text) {
    std::string plain = KxN::KxxToUtf8(text);
    if (KxN::KxxWidenUtf8(plain) == text) return char(Utf8Form) + plain;
    plain = char(Utf16Form);
    for (char16_t const unit : KxN::KxxToUtf16(text))
        plain += {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
    return plain;
}

std::wstring FromPlain(std::string_view plain) {
    char const form = plain.empty() ? char(Utf8Form) : plain[0];
    plain.remove_prefix(std::min<std::size_t>(1, plain.size()));
    if (form == Utf8Form) return KxN::KxxWidenUtf8(plain);
    std::u16string units;
    for (std::size_t i = 0; i + 1 < plain.size(); i += 2)
        units += static_cast<char16_t>(Bytes(plain)[i] | (Bytes(plain)[i + 1] << 8));
    return KxN::KxxWidenUtf16(units);
}

std::string Associated(Kind kind, std::wstring_view context) {
    return char(kind) + (kind == BoundValue ? KxN::KxxToUtf8(context) : std::string());
}

String Encrypt(CStringA const& password, String const& text, Kind kind, std::wstring_view context) {
    Begin();
    Key const key = KeyOf(password);
    std::string plain = ToPlain(text.View());
    std::string bytes(1 + nonceSize + plain.size() + tagSize, char(kind));
    unsigned char* const nonce = Bytes(bytes) + 1;
    if (kind == Name) {
        Key const hashKey = Subkey(key, nameNonceSubkey);
        crypto_generichash(nonce, nonceSize, Bytes(plain), plain.size(), hashKey.data(), hashKey.size());
    } else {
        randombytes_buf(nonce, nonceSize);
    }
    std::string const associated = Associated(kind, context);
    crypto_aead_xchacha20poly1305_ietf_encrypt(nonce + nonceSize, nullptr, Bytes(plain), plain.size(),
                                               Bytes(associated), associated.size(), nullptr, nonce,
                                               Subkey(key, kind).data());
    sodium_memzero(plain.data(), plain.size());
    return std::wstring(mark) + KxN::KxxWidenUtf8(ToBase64(bytes));
}

/// True for a text that was encrypted before its mark was changed: in up to two places, or by a blank at its begin, which
/// the syntax of files drops.
bool IsDamaged(std::wstring_view text) {
    constexpr std::wstring_view letters = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    constexpr std::size_t least = ((nonceSize + tagSize) * 8 + 5) / 6;
    if (text.size() < least) return false;
    if (text.starts_with(mark.substr(1))) {
        text.remove_prefix(mark.size() - 1);
    } else {
        int same = 0;
        for (std::size_t i = 0; i < mark.size(); ++i) same += text[i] == mark[i];
        if (same < 3) return false;
        text.remove_prefix(mark.size());
    }
    return text.size() >= least && text.find_first_not_of(letters) == text.npos;
}

String Decrypt(CStringA const& password, String const& text, bool isName, std::wstring_view context) {
    if (!KxxIsEncryptedString(text.View())) {
        if (IsDamaged(text.View())) Throw(KxN::text::DecryptionFailed, __LINE__);
        return text;
    }
    Begin();
    Key const key = KeyOf(password);
    std::string bytes;
    std::string const encoded = KxN::KxxToUtf8(text.View().substr(mark.size()));
    if (!FromBase64(encoded, bytes) || bytes.size() < 1 + nonceSize + tagSize)
        Throw(KxN::text::DecryptionFailed, __LINE__);
    Kind const kind = isName ? Name : bytes[0] == char(BoundValue) ? BoundValue : FreeValue;
    std::string const associated = Associated(kind, context);
    unsigned char const* const nonce = Bytes(bytes) + 1;
    std::string plain(bytes.size() - 1 - nonceSize - tagSize, '\0');
    if (bytes[0] != char(kind) || crypto_aead_xchacha20poly1305_ietf_decrypt(
                                      Bytes(plain), nullptr, nullptr, nonce + nonceSize, plain.size() + tagSize,
                                      Bytes(associated), associated.size(), nonce, Subkey(key, kind).data()) != 0)
        Throw(KxN::text::DecryptionFailed, __LINE__);
    return FromPlain(plain);
}

}  // namespace

void EncryptionOn() {
    TheState().isOn = true;
}

void EncryptionOff() {
    TheState().isOn = false;
}

void SetEncryptionPassword(CStringA const& password) {
    CStringA text;
    if (!password.IsEmpty()) {
        Begin();
        Key const key = KeyOf(password);
        text =
            std::string_view(std::string(keyMark) + ToBase64({reinterpret_cast<char const*>(key.data()), key.size()}));
    }
    State& state = TheState();
    std::lock_guard const lock(state.mutex);
    state.current = text;
}

CStringA GetEncryptedEncryptionPassword() {
    State& state = TheState();
    std::lock_guard const lock(state.mutex);
    return state.current;
}

String KxxEncryptString(CStringA const& password, String const& text, unsigned char isName) {
    return TheState().isOn ? Encrypt(password, text, isName ? Name : FreeValue, {}) : text;
}

String KxxEncryptString(CStringA const& password, String const& text, unsigned char isName, String const& context) {
    return TheState().isOn ? Encrypt(password, text, isName ? Name : BoundValue, context.View()) : text;
}

String KxxDecryptString(CStringA const& password, String const& text, unsigned char isName) {
    return KxxDecryptString(password, text, isName, {});
}

String KxxDecryptString(CStringA const& password, String const& text, unsigned char isName, String const& context) {
    return TheState().isOn ? Decrypt(password, text, isName, context.View()) : text;
}

bool KxxIsEncryptedString(std::wstring_view text) {
    return text.starts_with(mark);
}

}  // namespace KxTools

namespace KxN::detail {

KxString EncryptionState::EncryptName(KxString const& name) const {
    return isOn ? KxString(KxTools::Encrypt(password, name, KxTools::Name, {})) : name;
}

KxString EncryptionState::EncryptValue(KxString const& value, std::wstring_view context) const {
    return isOn ? KxString(KxTools::Encrypt(password, value, KxTools::BoundValue, context)) : value;
}

KxString EncryptionState::DecryptName(KxString const& name) const {
    return isOn ? KxString(KxTools::Decrypt(password, name, true, {})) : name;
}

KxString EncryptionState::DecryptValue(KxString const& value, std::wstring_view context) const {
    return isOn ? KxString(KxTools::Decrypt(password, value, false, context)) : value;
}

EncryptionState CurrentEncryption() {
    KxTools::State& state = KxTools::TheState();
    if (!state.isOn) return {};
    std::lock_guard const lock(state.mutex);
    return {true, state.current};
}

bool IsEncryptedOrDamaged(std::wstring_view text) {
    return text.starts_with(KxTools::mark) || KxTools::IsDamaged(text);
}

}  // namespace KxN::detail
