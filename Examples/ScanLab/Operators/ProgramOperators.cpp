// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What concerns the program: Macro, SaveSettings, LoadSettings, Language; and the list of all operators.
#include "../Languages.h"
#include "../Print.h"
#include "Command.h"
#include "Operators.h"
#include "Settings.h"

#include <hbtools/operators/syMacro.h>

namespace ScanLab {

using namespace KxN;

namespace {

class MacroCommand : public CommandOf<MacroCommand> {
public:
    enum : unsigned short { File = 1 };

    explicit MacroCommand(Session& session) : CommandOf(MacroId, session) { AddFile(File, {L"mac", L"*"}, true); }

protected:
    OperatorReturnCode Run() override { return KxMacro(GetParentWindow()).Start(InputOf(File)); }
};

class OfSettings : public Command {
protected:
    enum : unsigned short { File = 1 };

    OfSettings(OperatorId id, Session& session) : Command(id, session) { AddFile(File, {L"*", L"ini"}, false, L"*"); }

    KxString Path() {
        KxString path = InputOf(File);
        if (path != L"*") return path;
        if (m_session.settingsFile.Len() == 0) Refuse(File, TextOf(Text::NoSettings));
        return m_session.settingsFile;
    }
};

class SaveSettingsCommand : public CommandOf<SaveSettingsCommand, OfSettings> {
public:
    explicit SaveSettingsCommand(Session& session) : CommandOf(SaveSettingsId, session) {}

protected:
    OperatorReturnCode Run() override {
        KxString const path = Path();
        SaveSettings(*pOperatorMgr, path);
        Print(L"%s\n", path);
        return OPERATOR_OK;
    }
};

class LoadSettingsCommand : public CommandOf<LoadSettingsCommand, OfSettings> {
public:
    explicit LoadSettingsCommand(Session& session) : CommandOf(LoadSettingsId, session) {}

protected:
    OperatorReturnCode Run() override {
        LoadSettings(*pOperatorMgr, Path());
        return OPERATOR_OK;
    }
};

class LanguageCommand : public CommandOf<LanguageCommand> {
public:
    enum : unsigned short { Name = 1 };

    explicit LanguageCommand(Session& session) : CommandOf(LanguageId, session) { AddText(Name, L"*"); }

protected:
    OperatorReturnCode Run() override {
        if (!m_session.languages) return OPERATOR_OK;
        KxString const name = GetParameterString(Name);
        if (name == L"*") {
            Print(L"%s\n", m_session.languages->Known());
        } else {
            m_session.languages->Use(name);
            Relabel(*pOperatorMgr);
        }
        return OPERATOR_OK;
    }
};

}  // namespace

void InsertProgramOperators(KxOperatorMgr& manager, Session& session) {
    manager.Insert(new MacroCommand(session));
    manager.Insert(new SaveSettingsCommand(session));
    manager.Insert(new LoadSettingsCommand(session));
    manager.Insert(new LanguageCommand(session));
}

void InsertOperators(KxOperatorMgr& manager, Session& session) {
    InsertInputOperators(manager, session);
    InsertScanOperators(manager, session);
    InsertFitOperators(manager, session);
    InsertOutputOperators(manager, session);
    InsertConditionsOperators(manager, session);
    InsertPackOperators(manager, session);
    InsertHistoryOperators(manager, session);
    InsertDeviceOperators(manager, session);
    InsertProgramOperators(manager, session);
}

}  // namespace ScanLab
