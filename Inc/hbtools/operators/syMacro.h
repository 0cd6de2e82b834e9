// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxMacro runs a text file of command lines (see syCmdLine.h), one after the other:
//
//     // straighten and save
//     Filter 2.5 "two words";
//     Save "plate 7.tag";
//
// Lines are empty, comments, which begin with "//" behind any blanks, or commands; all have at most 1023 characters. The file
// is read as text files are (see syTextEncoding.h); a line ends in LF or CR LF, the last may do without. Tabs count as
// blanks, and several blanks as one, between quotes too. A command without a semicolon at its end sets
// parameters and ends the macro, but for InteractiveOn and InteractiveOff. Macros may run macros, as deep as KxLimits says.
//
// An object belongs to one thread at a time, the one that pOperatorMgr belongs to.
#pragma once

#include "hbtools/operators/syCmdLine.h"

namespace KxN {

class KX_API KxMacro {
public:
    /// The window is handed to the operators and stays the caller's; null is fine.
    explicit KxMacro(CWnd* parent) : m_interpreter(parent) {}
    KxMacro(KxMacro const&) = default;
    KxMacro& operator=(KxMacro const&) = default;
    virtual ~KxMacro();

    void SetName(KxString const& name) { m_name = name; }  ///< The path of the file.
    KxString GetName() const { return m_name; }

    /// Runs the file until a command returns something else than OPERATOR_OK, and returns the last result; OPERATOR_OK
    /// if there was no command. "InteractiveOn" lasts from one run to the next.
    /// @throws KxException that names file and line, for every CException from within, also if the file cannot be
    /// read, or a line is too long or holds a NUL character; the lines behind do not run
    OperatorReturnCode Start();
    OperatorReturnCode Start(KxString const& name);  ///< Of that file, which becomes the name.
    void Stop() {}                                   ///< Does nothing: a macro cannot be stopped from outside.

private:
    KxString m_name;
    KxCmdLineInterpreter m_interpreter;
};

}  // namespace KxN
