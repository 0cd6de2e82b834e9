// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Numbers of the base room's own texts in Resources/. Language packs refer to them: do not renumber.
#pragma once

namespace KxN::text {

enum Id : unsigned short {
    RuntimeError = 2001,
    LogicError = 2002,
    OperationError = 2003,
    RangeError = 2004,
    AllocError = 2005,
    OutOfMemory = 2006,
    FileNotExist = 2007,
    DirEntryError = 2008,
    DllError = 2009,
    DllLoadError = 2010,
    DllFreeError = 2011,
    DllProcError = 2012,
    KeyMissing = 2013,
    KeyMissingInGroup = 2014,
    KeyMissingInFile = 2015,
    KeyOutOfRange = 2016,
    WrongVersion = 2017,
    ArrayBounds = 2020,
    AccessViolation = 2021,
    BreakPoint = 2022,
    DataMisalignment = 2023,
    Noncontinuable = 2024,
    PrivateInstruction = 2025,
    SingleStep = 2026,
    MathError = 2027,
    FloatError = 2028,
    IntError = 2029,
    FloatDenormal = 2030,
    FloatDivideByZero = 2031,
    FloatInexact = 2032,
    FloatInvalid = 2033,
    FloatOverflow = 2034,
    FloatStackCheck = 2035,
    FloatUnderflow = 2036,
    IntDivideByZero = 2037,
    IntOverflow = 2038,
    FileCause = 2040,     // plus the cause, 0 to 14
    ArchiveCause = 2060,  // plus the cause, 0 to 7
    FrameworkMemory = 2070,
    FrameworkInvalidArgument = 2071,
    FrameworkOle = 2072,
    FrameworkException = 2073,
    SystemReason = 2074,
    DecryptionFailed = 2075,
    DecryptionFailedInFile = 2076,
    PasswordMissing = 2077,
    EncryptionMissing = 2078,
    SecondApplication = 2080,
    PerfNoMachine = 2081,
    PerfNoInstance = 2082,
    PerfNoObject = 2083,
    PerfNoCounter = 2084,
    PerfInvalidHandle = 2085,
    PerfBadPath = 2086,
    PerfNoData = 2087,
    OpenFailed = 2101,
    ReadFailed = 2102,
    WriteFailed = 2103,
    StreamEnd = 2104,
    StreamFailed = 2105,
    KeyNotStored = 2106,
    KeyNotStorable = 2107
};

}  // namespace KxN::text
