// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Command lines one by one: from somebody at a terminal, from standard input, from the arguments of the program.
#pragma once

#include "../Application.h"

#include <hbtools/operators/syCmdLine.h>

#include <initializer_list>

namespace ScanLab {

class Prompt {
public:
    /// The application must outlive this.
    explicit Prompt(Application& application) : m_application(application) {}

    /// Runs an operator with the values as they are, without the rules of a line. @throws KxException
    KxN::OperatorReturnCode Run(KxN::KxString const& name, std::initializer_list<KxN::KxString> values);
    /// Runs a line, which may also be blank, a remark behind "//", "help" with or without an operator, or "quit", after
    /// which HasQuit is true. @throws KxException
    KxN::OperatorReturnCode RunLine(KxN::KxString const& line);
    bool HasQuit() const { return m_hasQuit; }

    /// Asks for lines until there are no more. A failure is reported, and the next line asked for.
    void Interact();
    /// Runs the lines of standard input until one fails or returns something else than OPERATOR_OK.
    /// @throws KxException that names the line
    KxN::OperatorReturnCode RunInput();

private:
    void Help(KxN::KxCmdLineParser const& parser) const;

    Application& m_application;
    KxN::KxCmdLineParser m_parser;
    KxN::KxCmdLineInterpreter m_interpreter{nullptr};
    bool m_hasQuit = false;
};

}  // namespace ScanLab
