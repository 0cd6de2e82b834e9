// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Programs.h"

namespace {

constexpr char const* german = "Es gibt noch keinen Datensatz";
constexpr char const* english = "There is no scan yet";
constexpr char const* germanHead = "Kommandozeileninterpretation: ";
constexpr char const* englishHead = "Interpretation of the command line: ";

TEST_F(Programs, ScanlabSpeaksTheLanguageThatIsChosen) {
    Write("german.ini", "[ScanLab]\nProfiling=FALSE\nLanguage=GERMAN\n");
    Write("english.ini", "[ScanLab]\nProfiling=FALSE\nLanguage=enu\n");
    Write("wrong.ini", "[ScanLab]\nProfiling=FALSE\nLanguage=KLINGON\n");
    Write("bad.ini", "[ScanLab]\nProfiling=MAYBE\n");
    Write("more.ini", "[ScanLab]\nProfiling=FALSE\nLanguage=PSEUDO\n[Languages]\nPSEUDO=257;1\nBAVARIAN=7;1\n");
    struct Case {
        char const* user;  // what the environment says
        char const* ini;
        char const* options;
        char const* head;  // of the library
        char const* text;  // of the application
    };
    for (auto const& [user, ini, options, head, text] :
         {Case{"de_DE.UTF-8", "", "", germanHead, german}, Case{"en_US.UTF-8", "", "", englishHead, english},
          Case{"C", "", "", englishHead, english}, Case{"fr_FR.UTF-8", "", "", englishHead, english},
          Case{"de_AT", "", "", germanHead, german}, Case{"C", "german", "", germanHead, german},
          Case{"de_DE", "english", "", englishHead, english},
          Case{"C", "german", "--language ENU", englishHead, english},
          Case{"C", "", "--language DEU", germanHead, german},
          Case{"C", "more", "--language bavarian", germanHead, german},
          Case{"C", "more", "", "Ķöɱɱáñðö", "~]"},  // every text of both, whatever it says
          Case{"de_DE", "bad", "--language ENU", "", "The key 'Profiling'"}, Case{"C", "wrong", "", "", "\"KLINGON\""},
          Case{"C", "", "--language XX", "", "\"XX\""}}) {
        std::string const command = std::string("LANG=") + user + " ./scanlab " +
                                    (*ini ? "--ini " + Path((std::string(ini) + ".ini").c_str()) : "") +
                                    " do 'FitPlane;' " + options;
        Outcome const outcome = Call(command);
        EXPECT_EQ(outcome.code, 1);
        EXPECT_NE(outcome.output.find(head), std::string::npos) << command << '\n' << outcome.output;
        EXPECT_NE(outcome.output.find(text), std::string::npos) << command << '\n' << outcome.output;
    }
}

TEST_F(Programs, ScanlabSwitchesItsLanguageAtRunTime) {
    Outcome const outcome = Call("./scanlab do 'Language *;' 'Language english;' 'Language XX;'");
    EXPECT_NE(outcome.output.find("AUTO (DEU), ENGLISH (ENU), GERMAN (DEU)"), std::string::npos) << outcome.output;
    EXPECT_NE(outcome.output.find("The language \"XX\" is not known"), std::string::npos) << outcome.output;
    Write("a.mac", "Language DEU;\nLanguage ENU;\nFitPlane;\n");
    Outcome const macro = Call("./scanlab " + Path("a.mac"));
    EXPECT_NE(macro.output.find("Execution of the macro"), std::string::npos) << macro.output;
    EXPECT_NE(macro.output.find(english), std::string::npos) << macro.output;
    // Names and help follow.
    for (auto const& [language, name] :
         {std::pair("ENU", "## FitPlane: Fit plane"), std::pair("DEU", "## FitPlane: Ebene anpassen")}) {
        Outcome const page = Call(std::string("./scanlab --help-operators --language ") + language);
        EXPECT_NE(page.output.find(name), std::string::npos) << language;
    }
    // So do drivers, which come later than the choice, and their failures.
    Outcome const device = Call("./scanlab do 'Devices;' 'SetDevice * Start -1;' 'Measure;' --language ENU");
    EXPECT_NE(device.output.find("Points per line"), std::string::npos) << device.output;
    EXPECT_NE(device.output.find("The device is switched off"), std::string::npos) << device.output;
    // And what is wrong inside of a file.
    Write("broken.csv", "1 2 3\n4 five 6\n");
    Outcome const broken = Call("./scanlab do 'Import \"" + Path("broken.csv") + "\";' --language ENU");
    EXPECT_NE(broken.output.find("broken.csv: line 2: \"five\" is not a number"), std::string::npos) << broken.output;
    // Nothing is left of the language that is built in.
    Outcome const plate = Call("./scanlab demo --points 20000 --language ENU --out " + Path("out"));
    for (char const* word : {"Platte", "Bohrung", "Kugel", "Datens"})
        EXPECT_EQ(plate.output.find(word), std::string::npos) << plate.output;
}

}  // namespace
