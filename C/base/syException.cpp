// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syException.h"

#include "base/syTextIds.h"
#include "hbtools/base/syClassName.h"
#include "hbtools/base/syResource.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <typeinfo>

namespace KxN {

namespace {

KxString Text(unsigned short id) {
    return KxString(KxResId(id));
}

template <class... Arguments>
KxString Format(unsigned short id, Arguments const&... arguments) {
    KxString text;
    text.SPrintf(Text(id), arguments...);
    return text;
}

}  // namespace

KxCompatibleException::~KxCompatibleException() = default;

KxException::KxException() : m_dateTime(KxDateTime::Now()) {}

KxException::KxException(KxString const& message) : m_message(message), m_dateTime(KxDateTime::Now()) {}

KxException::KxException(KxString const& file, unsigned long line, KxString const& message)
    : m_message(message), m_srcFileName(file), m_srcLine(line), m_hasLocation(1), m_dateTime(KxDateTime::Now()) {}

KxException::KxException(unsigned short textId) : m_dateTime(KxDateTime::Now()), m_textId(textId) {}

KxException::KxException(KxString const& file, unsigned long line) : KxException(file, line, KxString()) {}

KxException::KxException(KxString const& file, unsigned long line, unsigned short textId)
    : KxException(file, line, KxString()) {
    m_textId = textId;
}

KxException::KxException(KxException& other)  // NOLINT(bugprone-copy-constructor-init): a copy is released on its own
    : CException(),
      KxCompatibleException(other),
      m_message(other.GetMessage()),
      m_srcFileName(other.m_srcFileName),
      m_srcLine(other.m_srcLine),
      m_hasLocation(other.m_hasLocation),
      m_hasExtendedInfo(other.m_hasExtendedInfo),
      m_errorLevel(other.m_errorLevel),
      m_dateTime(other.m_dateTime),
      m_group(other.m_group),
      m_textId(other.m_textId),
      m_isBuilt(true) {}

KxException::KxException(CException& other)
    : m_message(CException::TextOf(other)), m_dateTime(KxDateTime::Now()), m_isBuilt(true) {
    if (auto const* known = dynamic_cast<KxException const*>(&other)) {
        m_srcFileName = known->m_srcFileName;
        m_srcLine = known->m_srcLine;
        m_hasLocation = known->m_hasLocation;
        m_hasExtendedInfo = known->m_hasExtendedInfo;
        m_errorLevel = known->m_errorLevel;
        m_dateTime = known->m_dateTime;
        m_group = known->m_group;
    }
}

KxException& KxException::operator=(KxException& other) {
    if (this == &other) return *this;
    m_message = other.GetMessage();
    m_srcFileName = other.m_srcFileName;
    m_srcLine = other.m_srcLine;
    m_hasLocation = other.m_hasLocation;
    m_hasExtendedInfo = other.m_hasExtendedInfo;
    m_errorLevel = other.m_errorLevel;
    m_dateTime = other.m_dateTime;
    m_group = other.m_group;
    m_textId = other.m_textId;
    m_isBuilt = true;
    return *this;
}

KxString KxException::GetMessage() {
    if (!m_isBuilt) {
        m_isBuilt = true;  // a BuildMessage may ask for the text so far
        try {
            BuildMessage();
        } catch (...) {  // no memory now; the next call may find some
            m_isBuilt = false;
            throw;
        }
    }
    return m_message;
}

void KxException::BuildMessage() {
    if (!m_message && m_textId) m_message = Text(m_textId);
}

KxString KxException::ComposeText() {
    return GetMessage();
}

int KxException::GetErrorMessage(wchar_t* buffer, unsigned int size, unsigned int* helpContext) {
    return CException::GetErrorMessage(buffer, size, helpContext);
}

KxString KxException::GetExtendedInfo() {
    return KxxClassName(typeid(*this));
}

KxRuntimeException::KxRuntimeException() : KxException(text::RuntimeError) {}
KxRuntimeException::KxRuntimeException(KxString const& file, unsigned long line)
    : KxException(file, line, text::RuntimeError) {}
KxLogicException::KxLogicException() : KxException(text::LogicError) {}
KxOperationException::KxOperationException() : KxRuntimeException(text::OperationError) {}
KxRangeException::KxRangeException() : KxRuntimeException(text::RangeError) {}
KxAllocException::KxAllocException() : KxRuntimeException(text::AllocError) {}

namespace {

struct Reserve {
    static constexpr std::size_t count = 64;
    alignas(KxMemoryException) unsigned char memory[count][sizeof(KxMemoryException)];
    std::atomic<bool> isTaken[count];
};
constinit Reserve g_reserve = {};

}  // namespace

void* KxMemoryException::operator new(std::size_t size) {
    if (void* const memory = std::malloc(size)) return memory;  // not through the handler that makes us
    if (size == sizeof(KxMemoryException))
        for (std::size_t i = 0; i < Reserve::count; ++i)
            if (!g_reserve.isTaken[i].exchange(true)) return g_reserve.memory[i];
    throw std::bad_alloc();
}

void KxMemoryException::operator delete(void* memory) noexcept {
    auto const offset = reinterpret_cast<std::uintptr_t>(memory) - reinterpret_cast<std::uintptr_t>(g_reserve.memory);
    if (offset < sizeof g_reserve.memory)
        g_reserve.isTaken[offset / sizeof(KxMemoryException)] = false;
    else
        std::free(memory);
}

void KxMemoryException::BuildMessage() {
    m_message = Format(text::OutOfMemory, m_size);
    KxAllocException::BuildMessage();
}

KxFileException::KxFileException(KxString const& sourceFile, unsigned long line, KxString const& message)
    : KxRuntimeException(sourceFile, line, message) {}

KxFileNotExistException::KxFileNotExistException(KxString const& sourceFile, unsigned long line, KxString const& path)
    : KxFileException(sourceFile, line, KxString()), m_path(path) {}

void KxFileNotExistException::BuildMessage() {
    m_message = Format(text::FileNotExist, m_path);
    KxFileException::BuildMessage();
}

KxDirEntryException::KxDirEntryException(KxString const& file, unsigned long line, KxString const& path,
                                         unsigned long code)
    : KxFileException(file, line, KxString()), m_path(path), m_code(code) {}

void KxDirEntryException::BuildMessage() {
    m_message = Format(text::DirEntryError, m_path, std::strerror(static_cast<int>(m_code)), m_code);
    KxFileException::BuildMessage();
}

void KxDllException::BuildMessage() {
    if (!m_message) m_message = Format(text::DllError, m_name, m_code);
    KxRuntimeException::BuildMessage();
}

void KxDllLoadException::BuildMessage() {
    m_message = !GetReason() ? Format(text::DllLoadError, GetName(), GetCode())
                             : Format(text::DllLoadReason, GetName(), GetCode(), GetReason());
    KxDllException::BuildMessage();
}

void KxDllFreeException::BuildMessage() {
    m_message = Format(text::DllFreeError, GetName(), GetCode());
    KxDllException::BuildMessage();
}

KxDllProcAddrException::KxDllProcAddrException(KxString const& name, KxString const& function, unsigned long code)
    : KxDllException(name, code), m_function(function) {}

void KxDllProcAddrException::BuildMessage() {
    m_message = Format(text::DllProcError, m_function, GetName(), GetCode());
    KxDllException::BuildMessage();
}

KxNotImplementedException::KxNotImplementedException(KxString const& sourceFile, unsigned long line,
                                                     KxString const& message)
    : KxRuntimeException(sourceFile, line, message) {}

KxReadKeywordException::KxReadKeywordException(KxString const& file, unsigned long line, KxString const& key)
    : KxRuntimeException(file, line), m_key(key), m_form(1) {}

KxReadKeywordException::KxReadKeywordException(KxString const& file, unsigned long line, KxString const& key,
                                               KxString const& group)
    : KxRuntimeException(file, line), m_key(key), m_group(group), m_form(2) {}

KxReadKeywordException::KxReadKeywordException(KxString const& file, unsigned long line, KxString const& key,
                                               KxString const& group, KxString const& fileName)
    : KxRuntimeException(file, line), m_key(key), m_group(group), m_fileName(fileName), m_form(3) {}

KxReadKeywordException::KxReadKeywordException(KxString const& file, unsigned long line, KxString const& key,
                                               KxString const& group, KxString const& fileName, KxString const& value,
                                               KxString const& min, KxString const& max)
    : KxRuntimeException(file, line),
      m_key(key),
      m_group(group),
      m_fileName(fileName),
      m_value(value),
      m_min(min),
      m_max(max),
      m_form(6) {}

void KxReadKeywordException::BuildMessage() {
    switch (m_form) {
        case 1: m_message = Format(text::KeyMissing, m_key); break;
        case 2: m_message = Format(text::KeyMissingInGroup, m_key, m_group); break;
        case 3: m_message = Format(text::KeyMissingInFile, m_key, m_group, m_fileName); break;
        default: m_message = Format(text::KeyOutOfRange, m_key, m_group, m_fileName, m_value, m_min, m_max); break;
    }
    KxRuntimeException::BuildMessage();
}

KxVersionException::KxVersionException(KxString const& file, unsigned long line, KxString const& name, KxVersion found,
                                       KxVersion needed)
    : KxRuntimeException(file, line), m_name(name), m_found(found), m_needed(needed) {}

void KxVersionException::BuildMessage() {
    m_message = Format(text::WrongVersion, m_name, m_found.GetValue(), m_needed.GetValue());
    KxRuntimeException::BuildMessage();
}

KxArrayBoundsException::KxArrayBoundsException() : KxRangeException(text::ArrayBounds) {}
KxAccessViolationException::KxAccessViolationException() : KxOperationException(text::AccessViolation) {}
KxBreakPointException::KxBreakPointException() : KxOperationException(text::BreakPoint) {}
KxDataMisalignmentException::KxDataMisalignmentException() : KxOperationException(text::DataMisalignment) {}
KxNoncontinuableException::KxNoncontinuableException() : KxOperationException(text::Noncontinuable) {}
KxPrivateInstructionException::KxPrivateInstructionException() : KxOperationException(text::PrivateInstruction) {}
KxSingleStepException::KxSingleStepException() : KxOperationException(text::SingleStep) {}
KxMathException::KxMathException() : KxLogicException(text::MathError) {}
KxFloatMathException::KxFloatMathException() : KxMathException(text::FloatError) {}
KxIntMathException::KxIntMathException() : KxMathException(text::IntError) {}
KxFloatDenormalOperandException::KxFloatDenormalOperandException() : KxFloatMathException(text::FloatDenormal) {}
KxFloatDivideByZeroException::KxFloatDivideByZeroException() : KxFloatMathException(text::FloatDivideByZero) {}
KxFloatInexactResException::KxFloatInexactResException() : KxFloatMathException(text::FloatInexact) {}
KxFloatInvalidOpException::KxFloatInvalidOpException() : KxFloatMathException(text::FloatInvalid) {}
KxFloatOverflowException::KxFloatOverflowException() : KxFloatMathException(text::FloatOverflow) {}
KxFloatStackCheckException::KxFloatStackCheckException() : KxFloatMathException(text::FloatStackCheck) {}
KxFloatUnderflowException::KxFloatUnderflowException() : KxFloatMathException(text::FloatUnderflow) {}
KxIntDivideByZeroException::KxIntDivideByZeroException() : KxIntMathException(text::IntDivideByZero) {}
KxIntOverflowException::KxIntOverflowException() : KxIntMathException(text::IntOverflow) {}

}  // namespace KxN
