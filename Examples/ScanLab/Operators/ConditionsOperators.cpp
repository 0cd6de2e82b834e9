// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Measurement conditions for people and other programs: ExportConditions, ImportConditions.
#include "../Conditions.h"
#include "../ConditionsFile.h"
#include "../Print.h"
#include "Command.h"
#include "Operators.h"

namespace ScanLab {

using namespace KxN;

namespace {

class ExportConditionsCommand : public CommandOf<ExportConditionsCommand> {
public:
    enum : unsigned short { File = 1, Which };

    explicit ExportConditionsCommand(Session& session) : CommandOf(ExportConditionsId, session) {
        AddFile(File, {L"xml"}, false, L"conditions.xml");
        AddScan(Which);
    }

protected:
    OperatorReturnCode Run() override {
        Scan const& scan = ScanOf(Which).stored.scan;
        KxString const path = OutputOf(File);
        SaveConditions(path, scan.conditions);
        Print(L"%s\n", path);
        return OPERATOR_OK;
    }
};

class ImportConditionsCommand : public CommandOf<ImportConditionsCommand> {
public:
    enum : unsigned short { File = 1, Which };

    explicit ImportConditionsCommand(Session& session) : CommandOf(ImportConditionsId, session) {
        AddFile(File, {L"xml", L"*"}, true);
        AddScan(Which);
    }

protected:
    OperatorReturnCode Run() override {
        KxString const name = ScanOf(Which).name;
        KxPropertyList const conditions = LoadConditions(InputOf(File));
        Content next = m_session.Now();
        Entry& changed = next.Edit(name);
        changed.stored.scan.conditions = conditions;
        Change(name, std::move(next));
        Print(L"%s", ConditionsText(changed.stored.scan));
        return OPERATOR_OK;
    }
};

}  // namespace

void InsertConditionsOperators(KxOperatorMgr& manager, Session& session) {
    manager.Insert(new ExportConditionsCommand(session));
    manager.Insert(new ImportConditionsCommand(session));
}

}  // namespace ScanLab
