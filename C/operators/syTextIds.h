// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Numbers of the texts of operators in Resources/. Language packs refer to them: do not renumber.
#pragma once

namespace KxN::text {

enum OperatorId : unsigned short {
    MacroTooDeep = 2601,
    MacroLineTooLong = 2602,
    MacroLineWithNul = 2603,
    WordBool = 6211,
    WordLong = 6212,
    WordDouble = 6213,
    WordString = 6214,
    WordList = 6215,
    WordFile = 6216,
    ValueOfWrongType = 6217,
    DoubleOutOfRange = 6230,
    DoubleDefault = 6231,
    EntryUnknown = 6250,
    EntryDefault = 6251,
    LongOutOfRange = 6270,
    LongDefault = 6271,
    FilterUnknown = 6290,
    FilterDefault = 6291,
    ParameterUnknown = 7150,
    ParameterKnown = 7151,
    QuoteNotClosed = 7170,
    MacroFailed = 7190,
    CommandFailed = 7210,
    CommandOfOperator = 7211,
    OperatorFault = 7230,
    OperatorUnknown = 7231,
    OperatorKnown = 7232
};

}  // namespace KxN::text
