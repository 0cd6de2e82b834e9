// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// CObject, the framework's root class, and the framework's exceptions with their causes. Exceptions are made
// on the heap, thrown as pointers and released by whoever catches them:
//
//     try { file.Write(data, size); }
//     catch (KxN::CException* exception) { Report(exception); exception->Delete(); }
//
// An exception object belongs to the thread that caught it.
#pragma once

#include "hbtools/base/syString.h"

namespace KxN {

class CArchive;
class CObject;

/// Describes a class at run time: its name and, where it can be created by name, how.
struct CRuntimeClass {
    char const* className;
    CRuntimeClass const* baseClass;
    CObject* (*create)();

    bool IsDerivedFrom(CRuntimeClass const* base) const {
        for (CRuntimeClass const* c = this; c; c = c->baseClass)
            if (c == base) return true;
        return false;
    }
};

class KX_API CObject {
public:
    virtual ~CObject();
    virtual CRuntimeClass const* GetRuntimeClass() const;
    /// Reads or writes the object's data, according to the archive's direction. The base does nothing.
    virtual void Serialize(CArchive& archive);
    bool IsKindOf(CRuntimeClass const* base) const { return GetRuntimeClass()->IsDerivedFrom(base); }

    static CRuntimeClass const classCObject;

protected:
    CObject() = default;
    CObject(CObject const&) = default;
    CObject& operator=(CObject const&) = default;
};

/// Root of everything that is thrown. Delete releases a heap object and leaves one with autoDelete false alone.
class KX_API CException : public CObject {
public:
    explicit CException(bool autoDelete = true) : m_autoDelete(autoDelete) {}
    // How an object is released is its own affair: a copy is a heap object until it is told otherwise.
    CException(CException const& other) : CObject(other), m_autoDelete(true) {}
    CException& operator=(CException const&) { return *this; }
    void Delete();
    /// Copies the text, cut to `size` characters with the terminator, and sets *helpContext to 0 if it is given.
    /// Returns non-zero if there is a text.
    virtual int GetErrorMessage(wchar_t* buffer, unsigned int size, unsigned int* helpContext = nullptr);
    /// The whole text of any exception.
    static KxString TextOf(CException& exception) { return exception.ComposeText(); }
    /// True for what ends the thread that it was thrown in: whoever collects failures lets it pass at once.
    virtual bool EndsThread() const;

protected:
    /// The text of this exception; each class composes its own.
    virtual KxString ComposeText();

private:
    bool m_autoDelete;
};

/// A file operation failed. The numbers of the causes are stable.
class KX_API CFileException : public CException {
public:
    enum Cause {
        none = 0,
        genericException = 1,
        fileNotFound = 2,
        badPath = 3,
        tooManyOpenFiles = 4,
        accessDenied = 5,
        invalidFile = 6,
        removeCurrentDir = 7,
        directoryFull = 8,
        badSeek = 9,
        hardIO = 10,
        sharingViolation = 11,
        lockViolation = 12,
        diskFull = 13,
        endOfFile = 14
    };
    explicit CFileException(int cause = none, long osError = -1, wchar_t const* fileName = nullptr);
    int GetCause() const { return m_cause; }
    long GetOsError() const { return m_osError; }  ///< The system's error number, -1 if there is none.
    CString const& GetFileName() const { return m_fileName; }
    /// The cause that stands for a system error number.
    static int CauseOfOsError(long osError);

protected:
    KxString ComposeText() override;

private:
    int m_cause;
    long m_osError;
    CString m_fileName;
};

/// Reading or writing through a CArchive failed. The numbers of the causes are stable.
class KX_API CArchiveException : public CException {
public:
    enum Cause {
        none = 0,
        genericException = 1,
        readOnly = 2,  ///< Storing into an archive that loads.
        endOfFile = 3,
        writeOnly = 4,  ///< Loading from an archive that stores.
        badIndex = 5,
        badClass = 6,
        badSchema = 7
    };
    explicit CArchiveException(int cause = none, wchar_t const* fileName = nullptr);
    int GetCause() const { return m_cause; }
    CString const& GetFileName() const { return m_fileName; }

protected:
    KxString ComposeText() override;

private:
    int m_cause;
    CString m_fileName;
};

/// Memory ran out; the one instance that AfxThrowMemoryException throws is made beforehand.
class KX_API CMemoryException : public CException {
public:
    using CException::CException;

protected:
    KxString ComposeText() override;
};

class KX_API CInvalidArgException : public CException {
public:
    using CException::CException;

protected:
    KxString ComposeText() override;
};

class KX_API COleException : public CException {
public:
    explicit COleException(long code) : m_code(code) {}
    long GetCode() const { return m_code; }

protected:
    KxString ComposeText() override;

private:
    long m_code;
};

[[noreturn]] KX_API void AfxThrowFileException(int cause, long osError = -1, wchar_t const* fileName = nullptr);
[[noreturn]] KX_API void AfxThrowArchiveException(int cause, wchar_t const* name = nullptr);
[[noreturn]] KX_API void AfxThrowMemoryException();
[[noreturn]] KX_API void AfxThrowInvalidArgException();
[[noreturn]] KX_API void AfxThrowOleException(long code);

}  // namespace KxN
