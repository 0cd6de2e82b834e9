// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/persistence/syTag.h"

#include "hbtools/base/syClassName.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syResource.h"
#include "persistence/syReplacement.h"
#include "persistence/syTagChain.h"
#include "persistence/syTagRecord.h"
#include "persistence/syTextIds.h"

#include <algorithm>

namespace KxN {

namespace {

constexpr wchar_t const* sourceName = L"syTag";
constexpr ULONGLONG callLimit = 1U << 30;  // one CFile call moves a UINT of bytes

TagFormat g_tagFormat = TagFormat32;

// Walks from `position` to the last record of the chain. True if a record in the short form was met on the way.
bool FindLast(CFile& file, ULONGLONG& position, STag& last) {
    bool shortFormSeen = false;
    for (ULONGLONG left = 0;;) {
        shortFormSeen |= detail::ReadRecord(file, position, last) == STag32::fileSize;
        if (last.nextTag == 0) return shortFormSeen;
        position = last.nextTag;
        if (left == 0) left = detail::MostRecords(file) + 1;
        if (--left == 0) detail::ThrowEndOfFile(file);
    }
}

}  // namespace

TagFormat GetGlobalTagFormat() {
    return g_tagFormat;
}

void SetGlobalTagFormat(TagFormat format) {
    g_tagFormat = format;
}

void KxTag::ThrowBadId() {
    AfxThrowArchiveException(CArchiveException::badIndex);
}

int KxTag::Read(CFile* file, ULONGLONG position) {
    STag header;
    if (!ReadTagHeader(file, position, header)) return 0;
    int const result = header.version == m_image.version ? ReadData(file, header) : ReadOldVersionData(file, header);
    m_image = header;
    return result;
}

int KxTag::ReadOldVersionData(CFile*, STag const& header) {
    throw new KxVersionException(sourceName, __LINE__, KxxClassName(typeid(*this)), header.GetVersion(), GetVersion());
}

int KxTag::ReadTagHeader(CFile* file, ULONGLONG position, STag& header) {
    if (m_chain) return m_chain->Find(*file, m_image.id, position, header);
    for (ULONGLONG left = 0;;) {
        UINT const size = detail::ReadRecord(*file, position, header);
        if (header.id == m_image.id) {
            detail::SeekPayload(*file, position, size, header);
            return 1;
        }
        if (header.nextTag == 0) return 0;
        position = header.nextTag;
        if (left == 0) left = detail::MostRecords(*file) + 1;
        if (--left == 0) detail::ThrowEndOfFile(*file);
    }
}

void KxTag::ReadTagData(CFile* file, STag const& header, void* buffer, ULONGLONG size) {
    if (!buffer) return;
    file->Seek(static_cast<LONGLONG>(header.dataAddress), CFile::begin);
    BYTE* target = static_cast<BYTE*>(buffer);
    while (size > 0) {
        UINT const part = static_cast<UINT>(std::min(size, callLimit));
        if (file->Read(target, part) != part) detail::ThrowEndOfFile(*file);
        target += part;
        size -= part;
    }
}

ULONGLONG KxTag::Append(CFile* file, ULONGLONG lastTagPosition) {
    ULONGLONG const position = file->Seek(0, CFile::end);
    if (position > detail::limit32 && lastTagPosition != position) {
        // Whether the chain can lead here is asked before anything is written.
        STag last;
        ULONGLONG lastPosition = lastTagPosition;
        if (FindLast(*file, lastPosition, last))
            throw new KxException(sourceName, __LINE__, KxString(KxResId(text::FileTooLarge)));
        file->Seek(static_cast<LONGLONG>(position), CFile::begin);
    }
    WriteTagHeader(file, position);
    WriteData(file);
    ULONGLONG const behind = file->GetPosition();
    if (lastTagPosition != position) ChangeLastTagAddress(file, lastTagPosition, position);
    return behind;
}

void KxTag::WriteTagHeader(CFile* file, ULONGLONG position) {
    if (g_tagFormat != TagFormat32) {
        m_image.dataAddress = position + STag::fileSize;
        detail::WriteRecord(*file, m_image, true);
        m_image.version &= detail::longFormVersion;
        return;
    }
    m_image.dataAddress = position + STag32::fileSize;
    if (m_image.version & detail::longFormMark) {
        // Readers would take the record for one of the other form.
        KxString message;
        message.SPrintf(KxString(KxResId(text::VersionNeeds64)), m_image.version, KxxClassName(typeid(*this)), GetID());
        throw new KxException(sourceName, __LINE__, message);
    }
    detail::WriteRecord(*file, m_image, false);
}

void KxTag::WriteTagData(CFile* file, void const* buffer) {
    if (!buffer) return;
    file->Write(buffer, static_cast<UINT>(m_image.dataSize & detail::limit32));
}

void KxTag::ChangeLastTagAddress(CFile* file, ULONGLONG firstPosition, ULONGLONG newTag) {
    // Nearly always the record is the last one and still in the file's buffer.
    if (detail::LinkInPlace(*file, firstPosition, newTag)) return;
    ULONGLONG const remembered = file->GetPosition();
    STag last;
    bool const shortFormSeen = FindLast(*file, firstPosition, last);
    file->Seek(static_cast<LONGLONG>(firstPosition), CFile::begin);
    last.nextTag = newTag;
    // Once one record of the chain was short, the last one is written short, whatever it was: readers of such
    // chains go by the image's own mark.
    detail::WriteRecord(*file, last, !shortFormSeen);
    file->Seek(static_cast<LONGLONG>(remembered), CFile::begin);
}

int KxTag::Replace(CFile* file, ULONGLONG position) {
    STag header;
    if (!ReadTagHeader(file, position, header)) return 0;
    // There is nothing to overwrite behind the end, and writing there would blow the file up.
    if (header.dataAddress > file->GetLength()) detail::ThrowEndOfFile(*file);
    detail::Replacement payload(*file, header, m_holdsObject);
    WriteData(&payload);
    if (!payload.Finish()) {
        KxString message;
        message.SPrintf(KxString(KxResId(text::ReplaceTooLong)), KxxClassName(typeid(*this)), GetID(),
                        file->GetFileName());
        throw new KxException(sourceName, __LINE__, message);
    }
    m_image = header;
    return 1;
}

}  // namespace KxN
