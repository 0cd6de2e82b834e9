// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syFile.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace KxN {

namespace {
constexpr ULONGLONG positionLimit = 1ULL << 63;
}

CMemFile::CMemFile(UINT growBytes) : m_growBytes(growBytes) {}

CMemFile::CMemFile(BYTE* buffer, UINT size, UINT growBytes)
    : m_growBytes(growBytes), m_bufferSize(size), m_fileSize(size), m_buffer(buffer), m_ownsBuffer(false) {}

CMemFile::~CMemFile() {
    CMemFile::Close();
}

BYTE* CMemFile::Detach() {
    BYTE* const memory = m_buffer;
    m_buffer = nullptr;
    m_bufferSize = m_fileSize = m_position = 0;
    m_ownsBuffer = true;
    return memory;
}

int CMemFile::Open(wchar_t const* path, UINT, CFileException*) {
    Close();
    if (path) m_filePath = path;
    return 1;
}

void CMemFile::Close() {
    if (m_buffer && m_ownsBuffer) Free(m_buffer);
    m_buffer = nullptr;
    m_bufferSize = m_fileSize = m_position = 0;
    m_ownsBuffer = true;
}

void CMemFile::Abort() noexcept {
    CMemFile::Close();
}

bool CMemFile::IsOpen() const {
    return true;
}

ULONGLONG CMemFile::GetPosition() const {
    return m_position;
}

ULONGLONG CMemFile::Seek(LONGLONG offset, UINT from) {
    ULONGLONG const base = from == begin ? 0 : from == current ? m_position : m_fileSize;
    ULONGLONG const target = base + static_cast<ULONGLONG>(offset);
    if (target >= positionLimit || from > end) AfxThrowFileException(CFileException::badSeek, -1, m_filePath);
    m_position = target;
    return target;
}

ULONGLONG CMemFile::GetLength() const {
    return m_fileSize;
}

void CMemFile::SetLength(ULONGLONG newLength) {
    MakeRoom(newLength);
    if (newLength > m_fileSize) std::memset(m_buffer + m_fileSize, 0, newLength - m_fileSize);
    m_fileSize = newLength;
}

UINT CMemFile::Read(void* buffer, UINT count) {
    if (count == 0 || m_position >= m_fileSize) return 0;
    UINT const part = static_cast<UINT>(std::min<ULONGLONG>(count, m_fileSize - m_position));
    std::memcpy(buffer, m_buffer + m_position, part);
    m_position += part;
    return part;
}

void CMemFile::Write(void const* buffer, UINT count) {
    if (count == 0) return;
    if (count > positionLimit - 1 - m_position) AfxThrowFileException(CFileException::badSeek, -1, m_filePath);
    ULONGLONG const last = m_position + count;
    MakeRoom(last);
    if (m_position > m_fileSize) std::memset(m_buffer + m_fileSize, 0, m_position - m_fileSize);
    std::memcpy(m_buffer + m_position, buffer, count);
    m_position = last;
    m_fileSize = std::max(m_fileSize, last);
}

BYTE* CMemFile::Touch(ULONGLONG position, UINT count) {
    bool const isThere = position < m_fileSize && count <= m_fileSize - position;
    return isThere ? m_buffer + position : nullptr;
}

BYTE const* CMemFile::Peek(ULONGLONG position, UINT count) {
    return Touch(position, count);
}

void CMemFile::Flush() {}

void CMemFile::MakeRoom(ULONGLONG length) {
    if (length <= m_bufferSize) return;
    GrowFile(length);
    if (length > m_bufferSize) AfxThrowMemoryException();  // another growth rule fell short
}

BYTE* CMemFile::Alloc(ULONGLONG size) {
    return static_cast<BYTE*>(std::malloc(size));
}

BYTE* CMemFile::Realloc(BYTE* memory, ULONGLONG size) {
    return static_cast<BYTE*>(std::realloc(memory, size));
}

void CMemFile::Free(BYTE* memory) {
    std::free(memory);
}

void CMemFile::GrowFile(ULONGLONG newLength) {
    if (newLength <= m_bufferSize) return;
    if (m_growBytes == 0 || newLength > positionLimit) AfxThrowMemoryException();
    ULONGLONG const newSize = (newLength + m_growBytes - 1) / m_growBytes * m_growBytes;
    bool const moves = m_buffer && m_ownsBuffer;
    BYTE* const memory = moves ? Realloc(m_buffer, newSize) : Alloc(newSize);
    if (!memory) AfxThrowMemoryException();
    if (!m_ownsBuffer && m_fileSize > 0) std::memcpy(memory, m_buffer, m_fileSize);
    m_buffer = memory;
    m_bufferSize = newSize;
    m_ownsBuffer = true;
}

CSharedFile::CSharedFile(UINT allocFlags, UINT growBytes) : CMemFile(growBytes), m_allocFlags(allocFlags) {}

void* CSharedFile::Detach() {
    return CMemFile::Detach();
}

}  // namespace KxN
