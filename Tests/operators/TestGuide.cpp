// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The code of Doc/operators.md: it stands here, so that it compiles, and does what is said there.
#include "OperatorTest.h"

#include "../base/Guide.h"

using namespace test;

namespace {

constexpr SxStringResource guideTexts[] = {{100, "Filter"}, {110, "Radius"}, {120, "Passes"}, {130, "Keep"}};
constinit CDynLinkLibrary texts{guideTexts};
std::string g_smoothed;

void Smooth(double radius, long passes, bool keepsAll) {
    g_smoothed += U(KxString(KxxFormat(L"%g %d %d, ", radius, passes, keepsAll)));
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

class Guide : public TempFolder {};

TEST_F(Guide, CodeOfTheDocumentation) {
    KxString const path = Path("straighten.macro"), settings = Path("ini");
    Put("straighten.macro", "// straighten.macro\nFilter 2.5 3 \"all points\";\nFilter 0.5;\n");

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

    EXPECT_EQ(result, OPERATOR_OK);
    EXPECT_EQ(g_smoothed, "2.5 3 1, 2.5 3 1, 0.5 3 1, ");
    EXPECT_EQ(Get("ini"), "[Filter]\nRadius=0.500\nRadius(default)=0.500\nRadius(increment)=0.100\nRadius(precision)=3\n"
                          "Passes=3\nPasses(default)=1\nPasses(increment)=1\nKeep=all points\nKeep(default)=inliers\n");
    pOperatorMgr = nullptr;
}
// clang-format on

TEST(GuideText, ShowsWhatStandsHere) {
    test::ExpectGuideShows("/Doc/operators.md", "/Tests/operators/TestGuide.cpp", 4);
}

}  // namespace
