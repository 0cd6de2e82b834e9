// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Undo and redo over the operators, and the memory that the history takes.
#include "Interrupts.h"
#include "Lab.h"

#include "hbtools/base/syLimits.h"

#include <sstream>

using namespace KxN;
using namespace ScanLab;

namespace {

class History : public Lab {
protected:
    /// All of the present content.
    std::string Image() {
        std::ostringstream image;
        for (auto const& entry : session.Entries()) {
            StoredScan const& stored = entry->stored;
            image << test::U(entry->name) << ' ' << stored.scan.points->Size() << ' ' << int(stored.fit) << ' '
                  << stored.deviations->Count() << ' ' << stored.scan.conditions->GetCount() << ' ' << entry->isMoved
                  << ' ' << entry->moved[0][3];
            for (int i = 0; i < stored.scan.points->Size(); i += 7) image << ' ' << stored.scan.points[i][0];
            image << '\n';
        }
        if (!session.Entries().empty()) image << test::U(session.Find(L"*").name);
        for (auto const& set : session.Deviations()) image << ' ' << test::U(set->title) << set->values->Count();
        image << ' ' << session.Fits().size();
        return image.str();
    }
};

TEST_F(History, EveryOperatorGoesBackAndForth) {
    Put("one.csv", "1,2,3\n");
    Put("conditions.xml", "<conditions version=\"1\"><text name=\"Part\" value=\"7\"/></conditions>");
    auto const file = [this](char const* head, char const* name) {
        return head + (" \"" + File(name).string() + "\";");
    };
    std::vector<std::string> const lines = {"Synthesize plate FALSE 4000;",
                                            "FitPlane;",
                                            "Deviations;",
                                            "Save kept;",
                                            "Filter * box 1 3 0 0 -9 99 99 9;",
                                            "FitPlane;",
                                            "Split * first second;",
                                            "Transform second relative 0.004 -0.003 0.002 1 2 3 0.5 TRUE;",
                                            "Align second first;",
                                            file("Import", "one.csv"),
                                            file("ImportConditions", "conditions.xml"),
                                            file("Load", "out/kept.tag"),
                                            "Synthesize sphere FALSE 3000 first;",  // in place of another
                                            "FitSphere;",
                                            "Remove first;"};
    std::vector<std::string> images{Image()};
    for (std::string const& line : lines) {
        std::string const outcome = Run(line);
        ASSERT_EQ(outcome.find("Operator \""), std::string::npos) << outcome;
        if (line != "Save kept;") images.push_back(Image());  // files are no steps
    }
    int const steps = static_cast<int>(images.size()) - 1;
    ASSERT_EQ(session.History().UndoNames().Count(), steps);
    for (int round = 0; round < 2; ++round) {
        for (int i = steps; i-- > 0;) {
            EXPECT_TRUE(Run("Undo;").starts_with("Undone      ")) << i;
            ASSERT_EQ(Image(), images[static_cast<unsigned>(i)]) << i;
        }
        EXPECT_TRUE(Run("Undo;").ends_with("Es gibt keinen Schritt, der sich zurücknehmen lässt"));
        for (int i = 1; i <= steps; ++i) {
            EXPECT_TRUE(Run("Redo;").starts_with("Redone      ")) << i;
            ASSERT_EQ(Image(), images[static_cast<unsigned>(i)]) << i;
        }
        EXPECT_TRUE(Run("Redo;").ends_with("Es gibt keinen Schritt, der sich wiederherstellen lässt"));
    }
}

TEST_F(History, FailedAndCancelledOperatorsLeaveNoStep) {
    Run("Synthesize plate FALSE 70000;");
    Run("FitPlane;");
    Run("Undo;");
    char const* const steps = "  Synthesize plate\n> now, history of 0.0 MB\n  (FitPlane plate)\n";
    EXPECT_EQ(Run("Steps;"), steps);
    for (char const* line : {"FitPlane nobody;", "Filter * box 1 3 500 0 0 600 8 5;", "Deviations;", "Split * a a;",
                             "Import missing.csv;", "ImportConditions missing.xml;"}) {
        std::string const before = Image();
        EXPECT_NE(Run(line).find("Operator \""), std::string::npos) << line;
        EXPECT_EQ(Image(), before) << line;
        EXPECT_EQ(Run("Steps;"), steps) << line;  // what can be made again can still
    }
    for (char const* line : {"FitPlane *;", "Filter * thinning 2;", "Transform * absolute 1;", "Split * a b;"}) {
        session.progress.onReport = [] { Interrupts::Request(); };
        testing::internal::CaptureStderr();
        EXPECT_EQ(Run(line), "[3]");
        testing::internal::GetCapturedStderr();
        session.progress.onReport = nullptr;
        EXPECT_EQ(Run("Steps;"), steps) << line;
    }
    Run("Filter * box 1 3 -999 -999 -999 999 999 999;");  // no point goes
    EXPECT_EQ(Run("Steps;"), steps);
    Run("Transform * absolute 1;");
    EXPECT_EQ(Run("Steps;"), "  Synthesize plate\n  Transform plate\n> now, history of 1.7 MB\n");
}

TEST_F(History, StepsShareWhatStaysAndTheLimitHolds) {
    constexpr int points = isThreadSanitized ? 4000 : 50000;  // where each access takes ten times as long
    Run("Synthesize plate FALSE " + std::to_string(points) + ";");
    KxVec3d const* const first = &ScanOf(L"plate").points[0];
    for (int i = 0; i < 1000; ++i) Run(i % 2 ? "FitPlane * 3 1;" : "FitPlane * 4 1;");
    EXPECT_EQ(&ScanOf(L"plate").points[0], first);
    EXPECT_EQ(session.History().UndoNames().Count(), 20);
    EXPECT_LT(session.History().GetSize(), 100'000u);
    for (int i = 0; i < 20; ++i) Run("Undo;");
    EXPECT_EQ(&ScanOf(L"plate").points[0], first);

    // Each keeps the former points: room for two of them.
    auto const former = std::exchange(KxxLimits().undoMemory, points * 24ull * 5 / 2);
    for (int i = 0; i < 5; ++i) Run("Transform * absolute 1;");
    EXPECT_EQ(session.History().UndoNames().Count(), 2);
    EXPECT_LE(session.History().GetSize(), KxxLimits().undoMemory);
    // Not even one: the change is made, and what is lost by it is said.
    KxxLimits().undoMemory = points * 24ull - 1;
    double const before = ScanOf(L"plate").points[7][0];
    testing::internal::CaptureStderr();
    Run("Transform * absolute 1;");
    std::string const said = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(said.starts_with("scanlab: Der Schritt \"Transform\" ist gemacht, braucht aber mehr Speicher")) << said;
    EXPECT_NEAR(ScanOf(L"plate").points[7][0], before + 1, 1e-9);
    EXPECT_EQ(Run("Steps;"), "> now, history of 0.0 MB\n");
    Run("FitPlane;");
    EXPECT_EQ(session.History().UndoNames().Count(), 1);  // and it goes on
    KxxLimits().undoMemory = former;
    // Conditions count with all that they hold.
    std::string ones = "1";
    for (int i = 1; i < 10000; ++i) ones += " 1";
    Put("large.xml", "<conditions version=\"1\"><numbers name=\"N\" value=\"" + ones + "\"/></conditions>");
    Put("small.xml", "<conditions version=\"1\"/>");
    for (char const* name : {"large.xml", "small.xml"}) Run("ImportConditions \"" + File(name).string() + "\";");
    EXPECT_GE(session.History().GetSize(), 10000 * sizeof(double));
}

}  // namespace
