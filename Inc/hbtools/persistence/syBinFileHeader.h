// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxBinHeader: the block of 512 bytes at the head of a binary data file: byte order, version, origin, shape and element
// size of the data, time stamp, the value that marks a missing element, the record form of the tags, a transformation.
//
// The fields are a working copy; the buffer is the image in the file. Read, Write and the operators of KxTagArchive bring
// the two in line. Bytes that the class does not know stay as they were read. Alone, a header is a file of its own; passed
// through an archive, the chain of tags begins right behind it:
//
//     KxBinHeader header(512);
//     archive << header;       // then tags
//
// A value of a few words and its buffer; an object belongs to one thread at a time.
#pragma once

#include "hbtools/base/syDateTime.h"
#include "hbtools/base/syValues.h"
#include "hbtools/core/syBuf.h"
#include "hbtools/math/syMatrix4.h"
#include "hbtools/persistence/syTag.h"

namespace KxN {

class KX_API KxBinHeader {
public:
    /// `len` bytes, all zero. A file that is to be read back needs 512; a shorter block has the fields that fit.
    explicit KxBinHeader(unsigned short len);
    KxBinHeader(KxBinHeader const&) = default;
    KxBinHeader& operator=(KxBinHeader const&) = default;

    operator unsigned char*() { return m_buffer.Data(); }  ///< The image.

    /// Reads the head of a file. After a refusal endian and len are those of the file, all else is as it was.
    /// @throws KxNotImplementedException if the file is big-endian, KxException if its len is not 512,
    /// KxFileException if it cannot be read
    virtual void Read(KxString const& fileName);
    /// Makes a file that holds the block only. @throws KxFileException
    virtual void Write(KxString const& fileName);

    virtual void SetEndian(unsigned short endian) { m_endian = endian; }
    virtual unsigned short GetEndian() { return m_endian; }
    virtual int IsIntel() { return m_endian == littleEndian; }
    virtual void SetVersion(unsigned short version) { m_version = version; }
    virtual unsigned short GetVersion() { return m_version; }
    virtual unsigned short GetLen() { return m_len; }
    /// Two narrow characters of it are kept in a file.
    virtual void SetCompanyID(KxString const& companyID) { m_companyID = companyID; }
    virtual KxString GetCompanyID() { return m_companyID; }
    // What these three mean is up to the application.
    virtual void SetDataType(unsigned short dataType) { m_dataType = dataType; }
    virtual unsigned short GetDataType() { return m_dataType; }
    virtual void SetElementSize(unsigned short elementSize) { m_elementSize = elementSize; }
    virtual unsigned short GetElementSize() { return m_elementSize; }
    virtual void SetMaxBlocks(unsigned short maxBlocks) { m_maxBlocks = maxBlocks; }
    virtual unsigned short GetMaxBlocks() { return m_maxBlocks; }
    virtual void SetSize(KxTSize<short> const& size) { m_size = size; }
    virtual KxTSize<short> GetSize() { return m_size; }
    virtual void SetDateTime(KxDateTime const& dateTime) { m_dateTime = dateTime; }
    virtual KxDateTime GetDateTime() { return m_dateTime; }
    /// Marks a missing data element; the most negative float unless it is set.
    virtual void SetMaskValue(float maskValue) { m_maskValue = maskValue; }
    virtual float GetMaskValue() { return m_maskValue; }
    /// The form that the block records: the file's after reading, else that of the last SetBuffer.
    virtual TagFormat GetTagFormat() { return m_tagFormat; }
    virtual void SetTrafoMatrix(KxTMatrix4x4<double> const& matrix) { m_trafoMatrix = matrix; }
    virtual KxTMatrix4x4<double> GetTrafoMatrix() { return m_trafoMatrix; }

    virtual ~KxBinHeader();

    /// Fields to image, with the record form in force in the process.
    virtual void SetBuffer();
    /// Image to fields. Bytes beyond the block count as zero.
    virtual void GetBuffer();

private:
    static constexpr unsigned short littleEndian = 0x4949;

    void Put(unsigned int offset, void const* field, unsigned int size);
    void Get(unsigned int offset, void* field, unsigned int size) const;

    KxTBuf1D<unsigned char> m_buffer;
    unsigned short m_endian = littleEndian;
    unsigned short m_version = 100;
    unsigned short m_len;
    KxString m_companyID;
    unsigned short m_dataType = 0;
    unsigned short m_elementSize = 0;
    unsigned short m_maxBlocks = 0;
    KxTSize<short> m_size;
    KxDateTime m_dateTime;
    float m_maskValue;
    TagFormat m_tagFormat;
    KxMatrix4 m_trafoMatrix;

    friend class KxTagArchive;
};

}  // namespace KxN
