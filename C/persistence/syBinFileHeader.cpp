// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/persistence/syBinFileHeader.h"

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syFile.h"
#include "hbtools/base/syFileStream.h"
#include "hbtools/base/syResource.h"
#include "hbtools/persistence/syTagArchive.h"
#include "persistence/syTagChain.h"
#include "persistence/syTextIds.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace KxN {

namespace {

constexpr wchar_t const* sourceName = L"syBinFileHeader";
constexpr unsigned short fileLen = 512;
constexpr unsigned int recognised = 6;  // bytes that tell byte order and length

enum Offset : unsigned int {
    atEndian = 0,
    atVersion = 2,
    atLen = 4,
    atCompanyID = 6,
    atDataType = 8,
    atElementSize = 10,
    atMaxBlocks = 12,
    atWidth = 14,
    atHeight = 16,
    atTime = 18,
    atDate = 22,
    atMaskValue = 26,
    atTagFormat = 30,
    atTrafoMatrix = 128
};

KxString Refusal(unsigned short textId, KxString const& fileName) {
    KxString text;
    text.SPrintf(KxString(KxResId(textId)), fileName.Upper());
    return text;
}

}  // namespace

KxBinHeader::KxBinHeader(unsigned short len)
    : m_buffer(len),
      m_len(len),
      m_companyID(L"TQ"),
      m_size(0, 0),
      m_maskValue(-std::numeric_limits<float>::max()),
      m_tagFormat(GetGlobalTagFormat()) {}

KxBinHeader::~KxBinHeader() = default;

void KxBinHeader::Put(unsigned int offset, void const* field, unsigned int size) {
    if (offset + size <= m_buffer.Size()) std::memcpy(m_buffer.Data() + offset, field, size);
}

void KxBinHeader::Get(unsigned int offset, void* field, unsigned int size) const {
    std::memset(field, 0, size);
    if (offset < m_buffer.Size())
        std::memcpy(field, m_buffer.Data() + offset, std::min(size, m_buffer.Size() - offset));
}

void KxBinHeader::SetBuffer() {
    Put(atEndian, &m_endian, 2);
    Put(atVersion, &m_version, 2);
    Put(atLen, &m_len, 2);
    std::string company = KxxToNarrow(m_companyID.View());
    company.resize(2);
    Put(atCompanyID, company.data(), 2);
    Put(atDataType, &m_dataType, 2);
    Put(atElementSize, &m_elementSize, 2);
    Put(atMaxBlocks, &m_maxBlocks, 2);
    Put(atWidth, &m_size.width, 2);
    Put(atHeight, &m_size.height, 2);
    bool const hasTime = m_dateTime.IsValid();
    int const hour = hasTime ? m_dateTime.GetHour() : -1;
    int const minute = hasTime ? m_dateTime.GetMinute() : -1;
    int const second = hasTime ? m_dateTime.GetSecond() : -1;
    std::int32_t const time = (hour * 60 + minute) * 60 + second;
    Put(atTime, &time, 4);
    auto const date = static_cast<std::uint32_t>(m_dateTime.GetDate());
    Put(atDate, &date, 4);
    Put(atMaskValue, &m_maskValue, 4);
    m_tagFormat = GetGlobalTagFormat();
    auto const format = static_cast<std::uint16_t>(m_tagFormat);
    Put(atTagFormat, &format, 2);
    Put(atTrafoMatrix, &m_trafoMatrix, sizeof m_trafoMatrix);
}

void KxBinHeader::GetBuffer() {
    Get(atEndian, &m_endian, 2);
    Get(atVersion, &m_version, 2);
    Get(atLen, &m_len, 2);
    char company[3] = {};
    Get(atCompanyID, company, 2);
    m_companyID = KxString(KxxWidenNarrow(company));
    Get(atDataType, &m_dataType, 2);
    Get(atElementSize, &m_elementSize, 2);
    Get(atMaxBlocks, &m_maxBlocks, 2);
    Get(atWidth, &m_size.width, 2);
    Get(atHeight, &m_size.height, 2);
    std::int32_t time = 0;
    Get(atTime, &time, 4);
    m_dateTime.SetTime(time / 3600, time % 3600 / 60, time % 60);
    std::uint32_t date = 0;
    Get(atDate, &date, 4);
    m_dateTime.SetDate(date);
    Get(atMaskValue, &m_maskValue, 4);
    std::uint16_t format = 0;
    Get(atTagFormat, &format, 2);
    m_tagFormat = static_cast<TagFormat>(format);
    Get(atTrafoMatrix, &m_trafoMatrix, sizeof m_trafoMatrix);
}

void KxBinHeader::Read(KxString const& fileName) {
    KxiFileStream stream(fileName, KxFileModeIn | KxFileModeBinary);
    stream.Proof(ProofOpen);
    unsigned char head[recognised] = {};
    stream.ReadBytes(head, recognised);
    stream.Proof(ProofRead);
    std::memcpy(&m_endian, head + atEndian, 2);
    std::memcpy(&m_len, head + atLen, 2);
    if (m_endian != littleEndian)
        throw new KxNotImplementedException(sourceName, __LINE__, Refusal(text::HeaderBigEndian, fileName));
    if (m_len != fileLen) throw new KxException(sourceName, __LINE__, Refusal(text::HeaderLength, fileName));
    KxTBuf1D<unsigned char> buffer(fileLen);
    stream.seekg(0);
    stream.ReadBytes(buffer.Data(), buffer.Size());
    stream.Proof(ProofRead);
    m_buffer = std::move(buffer);
    GetBuffer();
}

void KxBinHeader::Write(KxString const& fileName) {
    KxoFileStream stream(fileName, KxFileModeOut | KxFileModeTruncate | KxFileModeBinary);
    stream.Proof(ProofOpen);
    SetBuffer();
    stream.WriteBytes(m_buffer.Data(), m_buffer.Size());
    stream.Proof(ProofWrite);
}

// GetLen may say more than the block has, since it comes from a file: the rest is zeros, or skipped.

KxTagArchive& KxTagArchive::operator<<(KxBinHeader& header) {
    CFile& file = OpenFile();
    header.SetBuffer();
    KxTBuf1D<unsigned char> image = header.m_buffer;
    image.Resize(header.GetLen());
    file.Write(image.Data(), image.Size());
    BeginChain(0);
    return *this;
}

KxTagArchive& KxTagArchive::operator>>(KxBinHeader& header) {
    CFile& file = OpenFile();
    KxTBuf1D<unsigned char> image(header.GetLen());
    file.Read(image.Data(), image.Size());
    image.Resize(header.m_buffer.Size());
    header.m_buffer = std::move(image);
    header.GetBuffer();
    BeginChain(1);
    return *this;
}

// The level's chain begins where the file stands, whatever the level was before.
void KxTagArchive::BeginChain(std::uint32_t mode) {
    STagLevel& level = Top();
    ULONGLONG const position = OpenFile().GetPosition();
    level.startPosition = level.readPosition = level.lastTagPosition = position;
    level.mode = mode;
    delete std::exchange(level.chain, nullptr);
}

}  // namespace KxN
