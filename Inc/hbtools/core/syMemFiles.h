// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Files in memory: KxDynMemFile, whose memory grows by a factor, so that a long file costs few moves, and KxSharedFile,
// whose memory is handed on. One thread at a time.
#pragma once

#include "hbtools/base/syException.h"
#include "hbtools/base/syFile.h"

namespace KxN {

class KX_API KxDynMemFile : public CMemFile {
public:
    /// `minSize` bytes at least once something is written; `factor` 2 or above, less counts as 2.
    KxDynMemFile(ULONGLONG minSize, unsigned int factor) : CMemFile(1024), m_minSize(minSize), m_factor(factor) {}

    /// The memory with the content; null if nothing was written. It stays the file's, until the next operation that grows it.
    unsigned char* GetBufferPtr() { return m_buffer; }
    /// The size that the memory is to get: `present` or the minimum, times the factor until it reaches `wanted`.
    ULONGLONG GetNewBufferSize(ULONGLONG present, ULONGLONG wanted) const;

protected:
    /// @throws CMemoryException
    void GrowFile(ULONGLONG newLength) override;

private:
    ULONGLONG m_minSize;
    unsigned int m_factor;
};

class KX_API KxSharedFile : public CSharedFile {
public:
    explicit KxSharedFile(unsigned int allocFlags = 8194, unsigned int growBytes = 4096)
        : CSharedFile(allocFlags, growBytes) {}
    /// The second argument does not count.
    KxSharedFile(unsigned int allocFlags, unsigned int, unsigned int growBytes) : CSharedFile(allocFlags, growBytes) {}

    /// The memory, now the caller's, to be freed by std::free. @throws KxSharedFileException if nothing was ever written
    void* Detach();
};

/// A shared file had no memory to hand on.
class KX_API KxSharedFileException : public KxRuntimeException {
public:
    KxSharedFileException(KxString const& file, unsigned long line) : KxRuntimeException(file, line) {}
    KxSharedFileException(KxSharedFileException& other) = default;
    KxSharedFileException& operator=(KxSharedFileException& other) = default;

protected:
    void BuildMessage() override;
};

}  // namespace KxN
