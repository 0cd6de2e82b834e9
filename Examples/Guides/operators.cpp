// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The code of Doc/operators.md: an operator is run by a line and by a macro, and its settings are stored.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <hbtools/hbtools.h>

using namespace KxN;

namespace {

// A program has them compiled from a file: see languages.cpp.
constexpr SxStringResource guideTexts[] = {{100, "Filter"}, {110, "Radius"}, {120, "Passes"}, {130, "Keep"}};
constinit CDynLinkLibrary texts{guideTexts};

void Smooth(double radius, long passes, bool keepsAll) {
    std::printf("radius %g mm, %ld passes%s\n", radius, passes, keepsAll ? ", all points" : "");
}

// clang-format off
class Filter : public KxOperator {
public:
    enum Parameter : unsigned short { Radius = 1, Passes = 2, Keep = 3 };

    Filter() : KxOperator(100, KxResId(100, &texts)) {
        // value, default, range, step, digits
        Insert(new KxParameterDouble(Radius, KxResId(110, &texts), 0.5, 0.5, {0.0, 50.0}, 0.1, 3));  // mm
        Insert(new KxParameterLong(Passes, KxResId(120, &texts), 1, 1, {1, 10}, 1));
        Insert(new KxParameterList(Keep, KxResId(130, &texts), L"all points", L"inliers", L"inliers", L"inliers"));
    }
    KxOperator* Clone() const override { return new Filter; }

protected:
    OperatorReturnCode DoExecute() override {
        bool const keepsAll = GetParameterList(Keep) == L"all points";
        Smooth(GetParameterDouble(Radius), GetParameterLong(Passes), keepsAll);
        return OPERATOR_OK;
    }
};

}  // namespace

int main() {
    KxString const path = L"straighten.macro", settings = L"filter.ini";
    std::ofstream("straighten.macro") << "// straighten.macro\nFilter 2.5 3 \"all points\";\nFilter 0.5;\n";
    std::remove("filter.ini");

    KxOperatorMgr manager;
    pOperatorMgr = &manager;      // for command lines; the application's to set and to reset
    manager.Insert(new Filter);   // the manager's from here on

    KxCmdLineParser parser;
    KxCmdLineInterpreter interpreter(nullptr);
    parser.Parse(L"Filter 2.5 3 \"all points\";");
    interpreter.Interprete(parser.GetOperatorName(), parser.GetAllParameterStrings(), parser.IsWithExecution());

    OperatorReturnCode const result = KxMacro(nullptr).Start(path);

    manager.GetOperator(L"Filter")->Save(settings);  // group [Filter], all parameters or none
    manager.GetOperator(L"Filter")->Load(settings);  // then fires the signals of each

    pOperatorMgr = nullptr;
    std::cout << (result == OPERATOR_OK ? "the macro ran to its end\n" : "the macro ended early\n")
              << std::ifstream("filter.ini").rdbuf();
}
