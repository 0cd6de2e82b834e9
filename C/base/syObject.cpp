// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syObject.h"

#include "base/syTextIds.h"
#include "hbtools/base/syResource.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace KxN {

CRuntimeClass const CObject::classCObject = {"CObject", nullptr, nullptr};

CObject::~CObject() = default;

CRuntimeClass const* CObject::GetRuntimeClass() const {
    return &classCObject;
}

void CObject::Serialize(CArchive&) {}

void CException::Delete() {
    if (m_autoDelete) delete this;
}

bool CException::EndsThread() const {
    return false;
}

int CException::GetErrorMessage(wchar_t* buffer, unsigned int size, unsigned int* helpContext) {
    if (helpContext) *helpContext = 0;
    if (!buffer || size == 0) return 0;
    KxString const text = ComposeText();
    std::size_t const length = std::min<std::size_t>(text.View().size(), size - 1);
    std::copy_n(text.GetStr(), length, buffer);
    buffer[length] = 0;
    return !text.View().empty();
}

KxString CException::ComposeText() {
    return KxString(KxResId(text::FrameworkException));
}

CFileException::CFileException(int cause, long osError, wchar_t const* fileName)
    : m_cause(cause), m_osError(osError), m_fileName(fileName) {}

int CFileException::CauseOfOsError(long osError) {
    switch (osError) {
        case 0: return none;
        case ENOENT: return fileNotFound;
        case EILSEQ:
        case ENOTDIR:
        case ENAMETOOLONG:
        case ELOOP: return badPath;
        case EMFILE:
        case ENFILE: return tooManyOpenFiles;
        case EACCES:
        case EPERM:
        case EROFS:
        case EISDIR: return accessDenied;
        case EBADF:
        case ENXIO:
        case ENODEV:
        case ESPIPE: return invalidFile;
        case EMLINK: return directoryFull;
        case EINVAL:
        case EOVERFLOW: return badSeek;
        case EIO:
        case EREMOTEIO:
        case ESTALE:
        case ETIMEDOUT: return hardIO;
        case EBUSY:
        case ETXTBSY: return sharingViolation;
        case EAGAIN:
        case EDEADLK:
        case ENOLCK: return lockViolation;
        case ENOSPC:
        case EDQUOT:
        case EFBIG: return diskFull;
        default: return genericException;
    }
}

KxString CFileException::ComposeText() {
    int const cause = m_cause >= none && m_cause <= endOfFile ? m_cause : genericException;
    KxString message;
    message.SPrintf(KxString(KxResId(static_cast<unsigned short>(text::FileCause + cause))), m_fileName);
    if (m_osError > 0) {
        KxString reason;
        reason.SPrintf(KxString(KxResId(text::SystemReason)), m_osError, std::strerror(static_cast<int>(m_osError)));
        message += reason;
    }
    return message;
}

CArchiveException::CArchiveException(int cause, wchar_t const* fileName) : m_cause(cause), m_fileName(fileName) {}

KxString CArchiveException::ComposeText() {
    int const cause = m_cause >= none && m_cause <= badSchema ? m_cause : genericException;
    KxString message;
    message.SPrintf(KxString(KxResId(static_cast<unsigned short>(text::ArchiveCause + cause))), m_fileName);
    return message;
}

KxString CMemoryException::ComposeText() {
    return KxString(KxResId(text::FrameworkMemory));
}

KxString CInvalidArgException::ComposeText() {
    return KxString(KxResId(text::FrameworkInvalidArgument));
}

KxString COleException::ComposeText() {
    KxString message;
    message.SPrintf(KxString(KxResId(text::FrameworkOle)), m_code);
    return message;
}

void AfxThrowFileException(int cause, long osError, wchar_t const* fileName) {
    throw new CFileException(cause, osError, fileName);
}

void AfxThrowArchiveException(int cause, wchar_t const* name) {
    throw new CArchiveException(cause, name);
}

void AfxThrowMemoryException() {
    static CMemoryException outOfMemory(false);
    throw static_cast<CMemoryException*>(&outOfMemory);
}

void AfxThrowInvalidArgException() {
    throw new CInvalidArgException();
}

void AfxThrowOleException(long code) {
    throw new COleException(code);
}

}  // namespace KxN
