// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Command lines. KxCmdLineParser takes a line apart; KxCmdLineInterpreter finds the operator in pOperatorMgr, sets its
// parameters by position and runs it if the line says so:
//
//     Filter 2.5 "two words" TRUE;
//
// Words are separated by blanks and tabs. The first is the operator's name, the others are values. A part of a word may
// stand between double quotes and hold blanks there; "" alone is no word. A semicolon as the last character runs the
// operator. There is no escape character: a double quote cannot stand in a value, a vertical bar becomes a capital I,
// and a tab separates between quotes too. See Doc/operators.md.
//
//     KxN::KxCmdLineParser parser;
//     KxN::KxCmdLineInterpreter interpreter(nullptr);
//     parser.Parse(line);
//     interpreter.Interprete(parser.GetOperatorName(), parser.GetAllParameterStrings(), parser.IsWithExecution());
//
// Both are values. An object belongs to one thread at a time, the one that pOperatorMgr belongs to.
#pragma once

#include "hbtools/core/syMem.h"
#include "hbtools/operators/syOperator.h"

namespace KxN {

class KX_API KxCmdLineParser {
public:
    KxCmdLineParser() = default;
    KxCmdLineParser(KxCmdLineParser const&) = default;
    KxCmdLineParser& operator=(KxCmdLineParser const&) = default;

    /// Takes a line apart, in time proportional to its length. A line without a word gives an empty name and no values.
    /// @throws KxException if a quote is not closed; the results of the last line then stay
    virtual void Parse(KxString const& line);
    virtual ~KxCmdLineParser();

    int IsParsed() const { return m_isParsed; }                ///< 1 once a Parse has ended well.
    int IsWithExecution() const { return m_isWithExecution; }  ///< 1 if the line ended in a semicolon.
    KxString const& GetOperatorName() const { return m_operatorName; }
    KxTMem<KxString> const& GetAllParameterStrings() const { return m_parameters; }
    unsigned long GetNumParameters() const { return m_parameters.Size(); }

private:
    KxString m_operatorName;
    KxTMem<KxString> m_parameters;
    int m_isWithExecution = 0;
    int m_isParsed = 0;
    std::wstring m_words;  // of the line at hand; kept for its memory
};

class KX_API KxCmdLineInterpreter {
public:
    /// The window is handed to the operators and stays the caller's; null is fine.
    explicit KxCmdLineInterpreter(CWnd* parent) : m_parentWindow(parent) {}
    KxCmdLineInterpreter(KxCmdLineInterpreter const&) = default;
    KxCmdLineInterpreter& operator=(KxCmdLineInterpreter const&) = default;

    /// Sets the operator's parameters in their order, as many as there are on both sides, and with `withExecution` runs
    /// it and returns its result; otherwise returns OPERATOR_PARAMETERS_SET. "InteractiveOn" and "InteractiveOff" are
    /// no operators: they say how the following runs of this interpreter are, and return OPERATOR_OK.
    /// @throws KxException with a text that says where it failed, for every CException from within. Parameters that
    /// were set before the failure stay set
    virtual OperatorReturnCode Interprete(KxString const& operatorName, KxTMem<KxString> const& parameters,
                                          int withExecution);
    virtual ~KxCmdLineInterpreter();

protected:
    /// Sets one parameter of the current operator. @throws KxException that names the operator
    virtual void SetParameter(KxParameter* parameter, KxString const& value);

private:
    KxString m_operatorName;  // of the operator found last
    CWnd* m_parentWindow;
    int m_isInteractive = 0;
};

}  // namespace KxN
