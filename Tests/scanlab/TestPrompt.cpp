// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Lab.h"

#include "Operators/Settings.h"
#include "Prompt/Completion.h"
#include "Prompt/Reference.h"

#include <algorithm>

using namespace KxN;
using namespace ScanLab;

namespace {

class Prompt : public Lab {};

TEST_F(Prompt, CompletesNamesEntriesScansAndFiles) {
    Put("a scan.ply", "");
    Put("b.txt", "");
    Put(".hidden.txt", "");
    Put("qu\"ote.txt", "");  // which no line can name
    Put("deep.tag", "");
    auto const before = std::filesystem::current_path();
    std::filesystem::current_path(m_folder);
    std::filesystem::create_directory(File("deep"));
    Add(L"plate one", {});
    Add(L"plain", {});
    std::string const at = m_folder.string() + "/";
    struct Case {
        std::string line;
        std::size_t begin;
        std::string candidates;
        char const* hint;  // its begin
        char const* common;
    } const cases[] = {
        {"fit", 0, "FitPlane FitSphere ", "", "Fit"},
        {"  Syn", 2, "Synthesize ", "", "Synthesize"},
        {"zz", 0, "", "", ""},
        {"help Sa", 5, "Save SaveSettings ", "", "Save"},
        {"Synthesize ", 11, "plate sphere ", "Shape (list: plate, sphere), jetzt \"plate\": ", ""},
        {"Synthesize\tplate t", 17, "TRUE ", "OnlyIfNone (bool", "TRUE"},
        {"Synthesize plate TRUE ", 22, "", "Points (long: 1 bis 80000000), jetzt \"1000000\": Anzahl", ""},
        {"Export x plain \"by", 15, "\"by name\" ", "Format (list", "\"by name\""},
        {"FitPlane pla", 9, "\"plate one\" plain ", "Scan (string)", ""},
        {"Align plain \"plate o", 12, "\"plate one\" ", "Fixed (string)", "\"plate one\""},
        {"Remove one two", 11, "", "", ""},
        {"nothing ", 8, "", "", ""},
        {"Import " + at, 7, "\"" + at + "a scan.ply\" " + at + "b.txt " + at + "deep.tag " + at + "deep/ ",
         "File (file", ""},
        {"Load " + at, 5, at + "deep.tag " + at + "deep/ ", "File (file", nullptr},
        {"Load ", 5, "deep.tag deep/ ", "File (file", "deep"},
        {"Load " + at + "nowhere/", 5, "", "File (file", ""},
    };
    for (Case const& c : cases) {
        Completion const completion = Complete(operators, session, KxString(c.line.c_str()).View());
        std::string candidates;
        for (KxString const& candidate : completion.candidates) candidates += test::U(candidate) + " ";
        EXPECT_EQ(candidates, c.candidates) << c.line;
        EXPECT_EQ(completion.begin, c.begin) << c.line;
        EXPECT_EQ(test::U(completion.hint).substr(0, std::strlen(c.hint)), c.hint) << c.line;
        EXPECT_EQ(completion.hint.Len() > 0, *c.hint != '\0') << c.line;
        if (c.common) {
            EXPECT_EQ(test::U(CommonBegin(completion.candidates)), c.common) << c.line;
        }
    }
    std::filesystem::current_path(before);
}

TEST_F(Prompt, TheReferenceTellsOfEveryOperatorAndParameter) {
    std::string const page = test::U(ReferencePage(operators));
    EXPECT_TRUE(page.starts_with("# Operatoren\n\nEin Befehl ist ")) << page.substr(0, 100);
    std::size_t rows = 0, headings = 0, without = 0, at = 0;
    for (unsigned long i = 0; KxOperator* const found = operators.GetOperatorIndexed(i); ++i) {
        std::string const heading = "\n## " + test::U(found->GetFixName()) + ": " + test::U(found->GetUIName()) +
                                    "\n\n" + test::U(found->GetHelpText()) + "\n";
        EXPECT_TRUE(found->GetFixName().Len() > 0 && found->GetUIName().Len() > 0 && found->GetHelpText().Len() > 10)
            << i;
        at = page.find(heading, at);
        ASSERT_NE(at, std::string::npos) << heading;
        ++headings;
        if (found->GetNumParameters() == 0) ++without;
        for (unsigned long k = 0; KxParameter* const parameter = found->GetParameterIndexed(k); ++k) {
            at = page.find("\n| `" + test::U(parameter->GetFixName()) + "` | " + test::U(TypeOf(*parameter)) + " | ",
                           at);
            ASSERT_NE(at, std::string::npos) << test::U(parameter->GetFixName());
            EXPECT_TRUE(parameter->GetUIName().Len() > 0 && parameter->GetHelpText().Len() > 0);
            EXPECT_EQ(page.substr(at + 1, page.find('\n', at + 1) - at - 1).find("|  |  |"), std::string::npos);
            EXPECT_EQ(parameter->GetId(), k + 1);  // the numbers that the operators' enumerations promise
            ++rows;
        }
    }
    EXPECT_EQ(headings, operators.GetNumOperators());
    EXPECT_EQ(static_cast<std::size_t>(std::count(page.begin(), page.end(), '\n')), 3 + 7 * headings - without + rows);
    for (char const* row :
         {"| `Neighbours` | long | 1 bis 1000 | `3` | Nachbarn: ", "| `Sigmas` | double | 1 bis 100 | `3` | Sigma: ",
          "| `Scan` | string |  | `*` | Datensatz: Der Datensatz; \\* ist",
          "| `Form` | list | 64, 32 | `64` | Satzform: ",
          "| `LowColor` | color | (0,0,0) ... (255,255,255) | `(33,102,172)` | Farbe unten: ",
          "| `Verify` | bool | TRUE, FALSE | `FALSE` | Prüfen: ",
          "| `File` | file | \\*.html | `report.html` | Datei: "})
        EXPECT_NE(page.find(row), std::string::npos) << row;
    EXPECT_NE(test::U(OperatorHelp(*operators.GetOperator(L"Split")))
                  .find("Split: Teilen\nMacht aus einem Datensatz zwei neue"),
              std::string::npos);
}

TEST_F(Prompt, SettingsOfAllOperatorsComeBackAllOrNone) {
    Put("lab.ini", "[Foreign]\nKey=value\n");
    char const* const changes[] = {"Synthesize sphere TRUE 77 ball 1.125", "Save \"a b.tag\" ball 32 TRUE",
                                   "Report r x 5 0.25 (1,2,3) (4,5,6) (7,8,9) FALSE",
                                   "Filter ball thinning 0.5 9 1 2 3 4 5 6 TRUE"};
    for (char const* change : changes) EXPECT_EQ(Run(change), "[2]") << change;
    auto const values = [this] {
        std::string all;
        for (unsigned long i = 0; KxOperator* const found = operators.GetOperatorIndexed(i); ++i)
            for (unsigned long k = 0; KxParameter* const parameter = found->GetParameterIndexed(k); ++k)
                all += test::U(parameter->GetValueAsString()) + "\n";
        return all;
    };
    std::string const settings = "\"" + File("lab.ini").string() + "\"";
    EXPECT_NE(Run("SaveSettings " + settings + ";").find("lab.ini"), std::string::npos);
    std::string const text = Get("lab.ini");
    for (char const* part : {"[Foreign]\nKey=value\n", "[Synthesize]\nShape=sphere\n", "Points=77\n", "Radius=1.125\n",
                             "[Save]\nFile=a b.tag\n", "HighColor=(7,8,9)\n", "Invert=TRUE\n"})
        EXPECT_NE(text.find(part), std::string::npos) << part << '\n' << text;
    EXPECT_EQ(CountFiles(), 1u);
    EXPECT_EQ(Run("LoadSettings " + settings), "[2]");
    std::string const saved = values();
    for (char const* change : {"Synthesize plate FALSE 5", "Save c", "Report r y 9", "Filter * box 1"}) Run(change);
    std::string const changed = values();
    EXPECT_NE(changed, saved);

    std::string bad = text;
    bad.replace(bad.find("Points=77"), 9, "Points=7x");
    Put("lab.ini", bad);
    std::string const failure = Run("LoadSettings " + settings + ";");
    for (char const* part : {"Operator \"LoadSettings\": ", "'Points'", "[Synthesize]", "lab.ini"})
        EXPECT_NE(failure.find(part), std::string::npos) << failure;
    EXPECT_EQ(values(), changed);
    bad.replace(bad.find("Points=7x"), 9, "Points=-1");
    Put("lab.ini", bad);
    EXPECT_NE(Run("LoadSettings " + settings + ";").find("'-1'. Erlaubt ist der Bereich von 1 bis 80000000"),
              std::string::npos);
    Put("lab.ini", text);
    EXPECT_EQ(Run("LoadSettings " + settings + ";"), "");
    EXPECT_EQ(operators.GetOperator(L"Synthesize")->GetParameterLong(3), 77);
    EXPECT_EQ(operators.GetOperator(L"Save")->GetParameterFile(1), L"a b.tag");
    Put("lab.ini", "");  // what is missing has its default
    Run("LoadSettings " + settings + ";");
    EXPECT_EQ(operators.GetOperator(L"Synthesize")->GetParameterLong(3), 1000000);
    for (std::string const& path : {std::string("/dev/full/x"), "\"" + m_folder.string() + "\""})
        EXPECT_NE(Run("SaveSettings " + path + ";").find("Operator \"SaveSettings\": "), std::string::npos);
}

}  // namespace
