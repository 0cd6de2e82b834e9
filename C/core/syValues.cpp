// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the small values of this room do not do inline.
#include "core/syTextIds.h"
#include "hbtools/base/syObject.h"
#include "hbtools/base/syResource.h"
#include "hbtools/core/syAngle.h"
#include "hbtools/core/syGuid.h"
#include "hbtools/core/syRoundingException.h"
#include "hbtools/core/syValToString.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <uuid/uuid.h>

namespace KxN {

KxAngle::~KxAngle() = default;

KxString KxValToString::Text(unsigned long value, int bits, int bitsOfDigit, ENotation notation) {
    if (value >> bits != 0) AfxThrowInvalidArgException();
    int const digits = bits / bitsOfDigit;
    m_buffer.Fill(digits, L'0');
    for (m_position = digits; m_position > 0; value >>= bitsOfDigit)
        m_buffer[--m_position] = L"0123456789ABCDEF"[value & ((1U << bitsOfDigit) - 1)];
    if (notation == NOTATION_PREFIX) return KxString(L"0x") + m_buffer;
    if (notation == NOTATION_SUFFIX) return m_buffer + L"h";
    return m_buffer;
}

void KxRoundingException::BuildMessage() {
    m_message.SPrintf(KxString(KxResId(text::RoundingFault)), m_value, KxString(m_type));
    KxRuntimeException::BuildMessage();
}

namespace {

// The library holds identifiers as text shows them: the most significant byte of each field first.
struct SImage {
    uuid_t bytes;
};

SImage ImageOf(GUID const& guid) {
    SImage image;
    std::uint32_t const first = __builtin_bswap32(guid.Data1);
    std::uint16_t const second = __builtin_bswap16(guid.Data2), third = __builtin_bswap16(guid.Data3);
    std::memcpy(image.bytes, &first, 4);
    std::memcpy(image.bytes + 4, &second, 2);
    std::memcpy(image.bytes + 6, &third, 2);
    std::memcpy(image.bytes + 8, guid.Data4, 8);
    return image;
}

GUID GuidOf(SImage const& image) {
    GUID guid;
    std::memcpy(&guid.Data1, image.bytes, 4);
    std::memcpy(&guid.Data2, image.bytes + 4, 2);
    std::memcpy(&guid.Data3, image.bytes + 6, 2);
    std::memcpy(guid.Data4, image.bytes + 8, 8);
    guid.Data1 = __builtin_bswap32(guid.Data1);
    guid.Data2 = __builtin_bswap16(guid.Data2);
    guid.Data3 = __builtin_bswap16(guid.Data3);
    return guid;
}

}  // namespace

KxGuid::KxGuid(KxString const& text) {
    std::wstring_view const wide = text.View();
    bool const isPlain = std::all_of(wide.begin(), wide.end(), [](wchar_t c) { return c > 0 && c < 0x80; });
    SImage image;
    if (!isPlain || ::uuid_parse(std::string(wide.begin(), wide.end()).c_str(), image.bytes) != 0) {
        KxString message;
        message.SPrintf(KxString(KxResId(text::NotAnIdentifier)), text);
        throw new KxException(L"syGuid", __LINE__, message);
    }
    m_guid = GuidOf(image);
}

KxGuid::KxGuid(KxTArray<unsigned char> const& bytes) {
    if (bytes.Size() != static_cast<int>(sizeof m_guid)) {
        KxString message;
        message.SPrintf(KxString(KxResId(text::WrongIdentifierSize)), bytes.Size());
        throw new KxException(L"syGuid", __LINE__, message);
    }
    std::memcpy(&m_guid, bytes.Data(), sizeof m_guid);
}

KxGuid KxGuid::NewGuid() {
    SImage image;
    ::uuid_generate(image.bytes);
    return KxGuid(GuidOf(image));
}

KxString KxGuid::ToString() const {
    char text[UUID_STR_LEN];
    ::uuid_unparse_lower(ImageOf(m_guid).bytes, text);
    return KxString(text);
}

KxTArray<unsigned char> KxGuid::ToByteArray() const {
    KxTArray<unsigned char> bytes(static_cast<int>(sizeof m_guid));
    std::memcpy(bytes.Data(), &m_guid, sizeof m_guid);
    return bytes;
}

}  // namespace KxN
