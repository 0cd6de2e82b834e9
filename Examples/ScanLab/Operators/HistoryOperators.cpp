// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Back and forth in the history of the session: Undo, Redo, Steps.
#include "../Print.h"
#include "Command.h"
#include "Operators.h"

namespace ScanLab {

using namespace KxN;

namespace {

class UndoCommand : public CommandOf<UndoCommand> {
public:
    explicit UndoCommand(Session& session) : CommandOf(UndoId, session) {}

protected:
    OperatorReturnCode Run() override {
        KxUndoRedo const& history = m_session.History();
        if (!history.CanUndo()) throw new KxException(L"ScanLab", __LINE__, TextOf(Text::NothingToUndo));
        KxString const step(history.UndoNames().Tail());
        m_session.Undo();
        Print(L"Undone      %s\n", step);
        return OPERATOR_OK;
    }
};

class RedoCommand : public CommandOf<RedoCommand> {
public:
    explicit RedoCommand(Session& session) : CommandOf(RedoId, session) {}

protected:
    OperatorReturnCode Run() override {
        KxUndoRedo const& history = m_session.History();
        if (!history.CanRedo()) throw new KxException(L"ScanLab", __LINE__, TextOf(Text::NothingToRedo));
        KxString const step(history.RedoNames().Head());
        m_session.Redo();
        Print(L"Redone      %s\n", step);
        return OPERATOR_OK;
    }
};

class StepsCommand : public CommandOf<StepsCommand> {
public:
    explicit StepsCommand(Session& session) : CommandOf(StepsId, session) {}

protected:
    OperatorReturnCode Run() override {
        KxUndoRedo const& history = m_session.History();
        for (CString const& name : history.UndoNames()) Print(L"  %s\n", KxString(name));
        Print(L"> now, history of %.1f MB\n", static_cast<double>(history.GetSize()) / 1e6);
        for (CString const& name : history.RedoNames()) Print(L"  (%s)\n", KxString(name));
        return OPERATOR_OK;
    }
};

}  // namespace

void InsertHistoryOperators(KxOperatorMgr& manager, Session& session) {
    manager.Insert(new UndoCommand(session));
    manager.Insert(new RedoCommand(session));
    manager.Insert(new StepsCommand(session));
}

}  // namespace ScanLab
