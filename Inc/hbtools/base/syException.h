// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The exception tree of the library, rooted at KxException, as far as the base room holds it. Members are made
// on the heap and thrown as pointers; a catch of KxException* or CException* sees them all, and the catcher
// calls Delete. The text is composed when it is first asked for, from a string resource where there is one, so
// that a language pack may replace it. An object belongs to the thread that caught it.
//
//     catch (KxN::KxException* exception) { Show(exception->GetMessage()); exception->Delete(); }
#pragma once

#include "hbtools/base/syDateTime.h"
#include "hbtools/base/syObject.h"
#include "hbtools/base/syVersion.h"

namespace KxN {

/// How grave a failure is. The numbers are stored in logs: do not renumber.
enum ErrorLevel { EXCEPT_UNKNOWN = 0, EXCEPT_USER = 1, EXCEPT_NONFATAL = 2, EXCEPT_FATAL = 3 };

/// The part of an exception that is no framework exception.
class KX_API KxCompatibleException {
public:
    virtual ~KxCompatibleException();

protected:
    KxCompatibleException() = default;
    KxCompatibleException(KxCompatibleException const&) = default;
    KxCompatibleException& operator=(KxCompatibleException const&) = default;
};

class KX_API KxException : public CException, public KxCompatibleException {
public:
    KxException();
    KxException(KxString const& message);
    KxException(KxString const& file, unsigned long line, KxString const& message);
    /// Copies all members; composes the source's text first, hence the non-const source.
    KxException(KxException& other);
    /// Wraps a framework exception, whose text becomes the message. The source stays the caller's.
    KxException(CException& other);
    KxException& operator=(KxException& other);

    int GetErrorMessage(wchar_t* buffer, unsigned int size, unsigned int* helpContext = nullptr) override;

    KxString GetMessage();  ///< The complete text.
    KxString GetSrcFileName() const { return m_srcFileName; }
    unsigned long GetSrcLine() const { return m_srcLine; }
    int HasLocation() const { return m_hasLocation; }
    ErrorLevel GetErrorLevel() const { return m_errorLevel; }
    void SetErrorLevel(ErrorLevel level) { m_errorLevel = level; }
    KxDateTime GetDateTime() const { return m_dateTime; }  ///< When it was made, local time.
    KxString GetExceptionGroup() const { return m_group; }
    void SetExceptionGroup(KxString const& group) { m_group = group; }
    /// The extra lines that a log writes below the entry: the run-time class of the exception.
    virtual KxString GetExtendedInfo();
    /// Whether a log writes them; 0 unless set.
    int HasExtendedInfo() const { return m_hasExtendedInfo; }
    void SetExtendedInfo(int hasExtendedInfo) { m_hasExtendedInfo = hasExtendedInfo; }

protected:
    /// For classes whose text is a string resource of this library.
    explicit KxException(unsigned short textId);
    KxException(KxString const& file, unsigned long line);
    KxException(KxString const& file, unsigned long line, unsigned short textId);

    /// Composes the final text into m_message; an override does so and then calls its base.
    virtual void BuildMessage();
    KxString ComposeText() override;
    /// For classes that stand for a failure of another moment.
    void SetDateTime(KxDateTime const& dateTime) { m_dateTime = dateTime; }

    KxString m_message;

private:
    KxString m_srcFileName;
    unsigned long m_srcLine = 0;
    int m_hasLocation = 0;
    int m_hasExtendedInfo = 0;
    ErrorLevel m_errorLevel = EXCEPT_UNKNOWN;
    KxDateTime m_dateTime;
    KxString m_group;
    unsigned short m_textId = 0;
    bool m_isBuilt = false;
};

class KX_API KxRuntimeException : public KxException {
public:
    KxRuntimeException();
    KxRuntimeException(KxString const& file, unsigned long line);

protected:
    using KxException::KxException;
};

class KX_API KxLogicException : public KxException {
public:
    KxLogicException();

protected:
    using KxException::KxException;
};

class KX_API KxOperationException : public KxRuntimeException {
public:
    KxOperationException();

protected:
    using KxRuntimeException::KxRuntimeException;
};

class KX_API KxRangeException : public KxRuntimeException {
public:
    KxRangeException();

protected:
    using KxRuntimeException::KxRuntimeException;
};

class KX_API KxAllocException : public KxRuntimeException {
public:
    KxAllocException();

protected:
    using KxRuntimeException::KxRuntimeException;
};

/// A request for memory failed. When there is none left for the exception either, it is made in a reserve of the
/// process, which has room for as many as a program's threads may hold at once.
class KX_API KxMemoryException : public KxAllocException {
public:
    explicit KxMemoryException(unsigned long size) : m_size(size) {}
    unsigned long GetSize() const { return m_size; }  ///< Bytes asked for.

    static void* operator new(std::size_t size);  ///< @throws std::bad_alloc if the reserve is used up too
    static void operator delete(void* memory) noexcept;

protected:
    void BuildMessage() override;

private:
    unsigned long m_size;
};

/// A file could not be opened, read or written; the text says which and why.
class KX_API KxFileException : public KxRuntimeException {
public:
    KxFileException(KxString const& sourceFile, unsigned long line, KxString const& text);
};

class KX_API KxFileNotExistException : public KxFileException {
public:
    KxFileNotExistException(KxString const& sourceFile, unsigned long line, KxString const& path);
    KxString GetPath() const { return m_path; }

protected:
    void BuildMessage() override;

private:
    KxString m_path;
};

/// An operation on a path failed with a system error number.
class KX_API KxDirEntryException : public KxFileException {
public:
    KxDirEntryException(KxString const& file, unsigned long line, KxString const& path, unsigned long code);
    KxString GetPath() const { return m_path; }
    unsigned long GetCode() const { return m_code; }

protected:
    void BuildMessage() override;

private:
    KxString m_path;
    unsigned long m_code;
};

class KX_API KxDllException : public KxRuntimeException {
public:
    KxDllException(KxString const& name, unsigned long code) : m_name(name), m_code(code) {}
    KxDllException(KxString const& name, unsigned long code, KxString const& reason)
        : m_name(name), m_code(code), m_reason(reason) {}
    KxString GetName() const { return m_name; }
    unsigned long GetCode() const { return m_code; }  ///< A system error number.
    KxString GetReason() const { return m_reason; }   ///< The loader's own words; may be empty.

protected:
    void BuildMessage() override;

private:
    KxString m_name;
    unsigned long m_code;
    KxString m_reason;
};

class KX_API KxDllLoadException : public KxDllException {
public:
    using KxDllException::KxDllException;

protected:
    void BuildMessage() override;
};

class KX_API KxDllFreeException : public KxDllException {
public:
    using KxDllException::KxDllException;

protected:
    void BuildMessage() override;
};

class KX_API KxDllProcAddrException : public KxDllException {
public:
    KxDllProcAddrException(KxString const& name, KxString const& function, unsigned long code);
    KxString GetFunction() const { return m_function; }

protected:
    void BuildMessage() override;

private:
    KxString m_function;
};

/// Something is not there; the text is a message or the name of the function.
class KX_API KxNotImplementedException : public KxRuntimeException {
public:
    KxNotImplementedException(KxString const& sourceFile, unsigned long line, KxString const& text);
};

/// A key of a configuration is missing or its value is bad.
class KX_API KxReadKeywordException : public KxRuntimeException {
public:
    KxReadKeywordException(KxString const& file, unsigned long line, KxString const& key);
    KxReadKeywordException(KxString const& file, unsigned long line, KxString const& key, KxString const& group);
    KxReadKeywordException(KxString const& file, unsigned long line, KxString const& key, KxString const& group,
                           KxString const& fileName);
    KxReadKeywordException(KxString const& file, unsigned long line, KxString const& key, KxString const& group,
                           KxString const& fileName, KxString const& value, KxString const& min, KxString const& max);
    KxReadKeywordException(KxReadKeywordException& other) = default;
    KxReadKeywordException& operator=(KxReadKeywordException& other) = default;

    KxString GetKey() const { return m_key; }
    KxString GetGroup() const { return m_group; }
    KxString GetFileName() const { return m_fileName; }
    KxString GetValue() const { return m_value; }
    KxString GetMin() const { return m_min; }
    KxString GetMax() const { return m_max; }

protected:
    void BuildMessage() override;

private:
    KxString m_key, m_group, m_fileName, m_value, m_min, m_max;
    int m_form;  // number of texts given: 1, 2, 3 or 6
};

/// A stored version is not the one that is needed.
class KX_API KxVersionException : public KxRuntimeException {
public:
    KxVersionException(KxString const& file, unsigned long line, KxString const& name, KxVersion found,
                       KxVersion needed);
    KxString GetName() const { return m_name; }
    KxVersion GetFound() const { return m_found; }
    KxVersion GetNeeded() const { return m_needed; }

protected:
    void BuildMessage() override;

private:
    KxString m_name;
    KxVersion m_found, m_needed;
};

// Processor faults. Each has its text; the base of each says what kind of fault it is.

class KX_API KxArrayBoundsException : public KxRangeException {
public:
    KxArrayBoundsException();
};

class KX_API KxAccessViolationException : public KxOperationException {
public:
    KxAccessViolationException();
};

class KX_API KxBreakPointException : public KxOperationException {
public:
    KxBreakPointException();
};

class KX_API KxDataMisalignmentException : public KxOperationException {
public:
    KxDataMisalignmentException();
};

class KX_API KxNoncontinuableException : public KxOperationException {
public:
    KxNoncontinuableException();
};

class KX_API KxPrivateInstructionException : public KxOperationException {
public:
    KxPrivateInstructionException();
};

class KX_API KxSingleStepException : public KxOperationException {
public:
    KxSingleStepException();
};

class KX_API KxMathException : public KxLogicException {
public:
    KxMathException();

protected:
    using KxLogicException::KxLogicException;
};

class KX_API KxFloatMathException : public KxMathException {
public:
    KxFloatMathException();

protected:
    using KxMathException::KxMathException;
};

class KX_API KxIntMathException : public KxMathException {
public:
    KxIntMathException();

protected:
    using KxMathException::KxMathException;
};

class KX_API KxFloatDenormalOperandException : public KxFloatMathException {
public:
    KxFloatDenormalOperandException();
};

class KX_API KxFloatDivideByZeroException : public KxFloatMathException {
public:
    KxFloatDivideByZeroException();
};

class KX_API KxFloatInexactResException : public KxFloatMathException {
public:
    KxFloatInexactResException();
};

class KX_API KxFloatInvalidOpException : public KxFloatMathException {
public:
    KxFloatInvalidOpException();
};

class KX_API KxFloatOverflowException : public KxFloatMathException {
public:
    KxFloatOverflowException();
};

class KX_API KxFloatStackCheckException : public KxFloatMathException {
public:
    KxFloatStackCheckException();
};

class KX_API KxFloatUnderflowException : public KxFloatMathException {
public:
    KxFloatUnderflowException();
};

class KX_API KxIntDivideByZeroException : public KxIntMathException {
public:
    KxIntDivideByZeroException();
};

class KX_API KxIntOverflowException : public KxIntMathException {
public:
    KxIntOverflowException();
};

}  // namespace KxN
