// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Operators in a folder of their own, run by command lines as a macro has them.
#pragma once

#include "Operators/Operators.h"
#include "Operators/TextIds.h"

#include "hbtools/base/syWinApp.h"
#include "hbtools/operators/syCmdLine.h"
#include "hbtools/operators/syOperator.h"

#include "../base/Support.h"

class Lab : public test::TempFolder {
protected:
    Lab() {
        ScanLab::UseTexts();
        ScanLab::InsertOperators(operators, session);
        KxN::pOperatorMgr = &operators;
    }
    ~Lab() override {
        KxN::pOperatorMgr = nullptr;
        KxN::AfxSetResourceModule(nullptr);
    }

    /// What the line prints, "[result]" if that is not OPERATOR_OK, and the text of a failure.
    std::string Run(std::string const& line) {
        testing::internal::CaptureStdout();
        std::string failure;
        try {
            KxN::KxCmdLineParser parser;
            parser.Parse(KxN::KxString(line.c_str()));
            int const result = KxN::KxCmdLineInterpreter(nullptr).Interprete(
                parser.GetOperatorName(), parser.GetAllParameterStrings(), parser.IsWithExecution());
            if (result != 0) failure = "[" + std::to_string(result) + "]";
        } catch (KxN::CException* exception) {
            failure = test::U(KxN::CException::TextOf(*exception));
            exception->Delete();
        }
        std::fflush(stdout);
        return testing::internal::GetCapturedStdout() + failure;
    }
    ScanLab::Scan const& ScanOf(wchar_t const* name) { return session.Find(name).stored.scan; }
    void Add(wchar_t const* name, ScanLab::StoredScan stored) {
        ScanLab::Content next = session.Now();
        next.Add(name, name, std::move(stored));
        EXPECT_TRUE(session.Change(L"Add", std::move(next)));
    }

    KxN::KxWinApp app;
    ScanLab::Session session{Path("out")};
    KxN::KxOperatorMgr operators;
};
