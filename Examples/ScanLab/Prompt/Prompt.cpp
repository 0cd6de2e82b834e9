// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Prompt.h"

#include "../Caught.h"
#include "../Interrupts.h"
#include "../Operators/TextIds.h"
#include "../Print.h"
#include "LineEditor.h"
#include "Lines.h"
#include "Reference.h"

#include <hbtools/base/syDirEntry.h>
#include <hbtools/base/syException.h>

namespace ScanLab {

using namespace KxN;

OperatorReturnCode Prompt::Run(KxString const& name, std::initializer_list<KxString> values) {
    return m_interpreter.Interprete(name, KxTMem<KxString>(values.begin(), static_cast<unsigned long>(values.size())),
                                    1);
}

OperatorReturnCode Prompt::RunLine(KxString const& line) {
    std::wstring_view const text = line.View();
    std::size_t const begin = text.find_first_not_of(L" \t");
    if (begin == text.npos || text.substr(begin).starts_with(L"//")) return OPERATOR_OK;
    m_parser.Parse(line);
    KxString const name = m_parser.GetOperatorName();
    if (name == L"help") {
        Help(m_parser);
        return OPERATOR_OK;
    }
    if (name == L"quit" || name == L"exit") {
        m_hasQuit = true;
        return OPERATOR_OK;
    }
    return m_interpreter.Interprete(name, m_parser.GetAllParameterStrings(), m_parser.IsWithExecution());
}

void Prompt::Help(KxCmdLineParser const& parser) const {
    KxOperatorMgr const& operators = m_application.Operators();
    if (parser.GetNumParameters() > 0) {
        Print(L"%s", OperatorHelp(*operators.GetOperator(parser.GetAllParameterStrings()[0])));
        return;
    }
    Print(L"%s\n%s\n", OperatorsHelp(operators), TextOf(Text::Introduction));
    Print(L"help NAME tells of one of them, the tab key completes and explains, Ctrl-D or quit ends.\n");
}

void Prompt::Interact() {
    KxOperatorMgr const& operators = m_application.Operators();
    Session const& session = m_application.GetSession();
    KxString history;
    if (session.settingsFile.Len() > 0)
        history = KxString((KxDirEntry(session.settingsFile).GetPath() + KxDirEntry(L"scanlab.history")).GetFull());
    LineEditor editor(L"scanlab> ", history,
                      [&](std::wstring_view line) { return Complete(operators, session, line); });
    KxString line;
    while (!m_hasQuit && editor.Read(line)) {
        try {
            OperatorReturnCode const result = RunLine(line);
            if (result == OPERATOR_PARAMETERS_SET)
                Print(L"%sA semicolon at the end runs it.\n",
                      OperatorHelp(*operators.GetOperator(m_parser.GetOperatorName())));
            else if (result != OPERATOR_OK && result != OPERATOR_CANCELLED)
                Print(L"The command ended with %d.\n", static_cast<int>(result));
        } catch (CException* exception) {
            if (exception->EndsThread()) throw;
            CaughtException const owner(exception);
            std::fflush(stdout);
            m_application.Report(*exception);
        }
    }
    if (!m_hasQuit) Print(L"\n");
}

OperatorReturnCode Prompt::RunInput() {
    Lines lines;
    try {
        KxString line;
        while (!m_hasQuit && lines.Next(line)) {
            Interrupts const interrupts;
            if (OperatorReturnCode const result = RunLine(line)) return result;
            if (Interrupts::IsPending()) return OPERATOR_CANCELLED;  // it came too late for this one
        }
    } catch (CException* exception) {
        if (exception->EndsThread()) throw;
        throw new KxException(L"Prompt", __LINE__, FormatOf(Text::AtLine, lines.Number(), TakeText(exception)));
    }
    return OPERATOR_OK;
}

}  // namespace ScanLab
