// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT

#include "OperatorTest.h"

#include "hbtools/base/syLimits.h"

#include <functional>
#include <sys/stat.h>

using namespace test;

namespace {

std::string Words(KxCmdLineParser const& parser) {
    std::string words = U(parser.GetOperatorName());
    for (KxString const& parameter : parser.GetAllParameterStrings()) words += "|" + U(parameter);
    return words + (parser.IsWithExecution() ? ";" : "");
}

TEST(CmdLineParser, Lines) {
    struct {
        std::wstring line;
        std::string words;
    } const cases[] = {
        {L"Filter", "Filter"},
        {L" \t Filter  1 \t2.5 ; ", "Filter|1|2.5;"},
        {L"Filter 1 2;", "Filter|1|2;"},
        {L"Filter 1 ;", "Filter|1;"},
        {L"Filter;;", "Filter;;"},
        {L"Filter \"two words\" x;", "Filter|two words|x;"},
        {L"Filter \"a  b\"", "Filter|a  b"},
        {L"Filter a\"b c\"d", "Filter|ab cd"},
        {L"Filter \"\" 2", "Filter|2"},
        {L"Filter \"a\tb\"", "Filter|a|b"},
        {L"Filter \"a;\"", "Filter|a;"},
        {L"Filter \"a \";", "Filter|a ;"},
        {L"Filter \"a \" ;", "Filter|a ;"},
        {L"Filter a|b \"c|d\"", "Filter|aIb|cId"},
        {L"\"My Filter\" 1", "My|Filter|1"},  // bars of a quoted name stay
        {L"Filter \" \"", "Filter| "},
        {L"Filter \\\"a b\\\"", "Filter|\\a b\\"},
        {L"", ""},
        {L"\t ", ""},
        {L";", ";"},
        {L" \"\" ", ""},
        {L"\";\"", ";"},
        {std::wstring(L"a b\0c", 5), "a|b\0c"s},
        {L"Größe ä\x1F600", "Größe|ä\xF0\x9F\x98\x80"},
    };
    KxCmdLineParser parser;
    EXPECT_FALSE(parser.IsParsed());
    for (auto const& c : cases) {
        parser.Parse(c.line);
        EXPECT_EQ(Words(parser), c.words);
    }
    parser.Parse(L"Filter 1 2;");
    for (std::wstring const line : {L"\"", L"a \"", L"a \"b\" \"c|", L"x \"y\"\""}) {
        EXPECT_EQ(Thrown<KxException>([&] { parser.Parse(line); }),
                  "Kommandozeile:\r\n\"" + KxxToUtf8(line) + "\"\r\nSchließende Anführungszeichen nicht gefunden");
        EXPECT_EQ(Words(parser), "Filter|1|2;");  // of the line before
    }
    EXPECT_TRUE(KxCmdLineParser(parser).IsParsed());
    EXPECT_EQ(KxCmdLineParser(parser).GetNumParameters(), 2U);
}

TEST(CmdLineParser, LongLines) {
    std::wstring const blanks(1 << 20, L' ');
    KxCmdLineParser parser;
    parser.Parse(L"a" + blanks + L"b;");
    EXPECT_EQ(Words(parser), "a|b;");
    parser.Parse(L"a \"" + blanks + L"\"");
    EXPECT_EQ(parser.GetAllParameterStrings()[0].View(), blanks);
    std::wstring many;
    for (int i = 0; i < 1 << 19; ++i) many += L"a ";
    parser.Parse(many);
    EXPECT_EQ(parser.GetNumParameters(), (1U << 19) - 1);
}

/// Parameters of three types; what DoExecute does is the test's.
class Command : public KxOperator {
public:
    explicit Command(unsigned short resId) : KxOperator(resId, Id(resId)) {
        Insert(new KxParameterLong(1, Id(100), 0, 0, {0, 10}, 1));
        Insert(new KxParameterString(2, Id(110), KxString(), KxString()));
        Insert(new KxParameterBool(3, Id(120), 0, 0));
    }
    KxOperator* Clone() const override { return new Command(GetId()); }
    std::string Values() const {
        std::string values;
        for (unsigned long i = 0; i < 3; ++i) values += U(GetParameterIndexed(i)->GetValueAsString()) + " ";
        return values;
    }

    std::function<int()> body = [] { return 0; };

protected:
    OperatorReturnCode DoExecute() override { return static_cast<OperatorReturnCode>(body()); }
};

class Commands : public TempFolder {
protected:
    Commands() : m_command(new Command(200)) {
        m_manager.Insert(m_command);
        m_manager.Insert(new Command(210));
        pOperatorMgr = &m_manager;
        m_command->body = [this] {
            m_runs += m_command->Values() + (m_command->IsInteractive() ? "i " : "");
            return 0;
        };
    }
    ~Commands() override { pOperatorMgr = nullptr; }

    int Interprete(std::wstring const& line) {
        KxCmdLineParser parser;
        parser.Parse(line);
        return m_interpreter.Interprete(parser.GetOperatorName(), parser.GetAllParameterStrings(),
                                        parser.IsWithExecution());
    }
    int Run(std::string const& bytes) {
        Put("macro", bytes);
        return KxMacro(nullptr).Start(Path("macro"));
    }
    std::string MacroPrefix(int line) const {
        return "Ausführung des Makros \"" + File("macro").string() + "\", Zeile " + std::to_string(line) + ":\r\n";
    }

    KxOperatorMgr m_manager;
    Command* m_command;  // "Filter"
    KxCmdLineInterpreter m_interpreter{nullptr};
    std::string m_runs;
};

TEST_F(Commands, LinesSetAndRun) {
    EXPECT_EQ(Interprete(L"Filter 3 text"), OPERATOR_PARAMETERS_SET);
    EXPECT_EQ(m_command->Values() + m_runs, "3 text FALSE ");
    EXPECT_EQ(Interprete(L"InteractiveOn;"), OPERATOR_OK);
    EXPECT_EQ(Interprete(L"Filter 4 a true surplus;"), OPERATOR_OK);
    EXPECT_EQ(Interprete(L"InteractiveOff x"), OPERATOR_OK);
    EXPECT_EQ(Interprete(L"Filter;"), OPERATOR_OK);
    EXPECT_EQ(m_runs, "4 a TRUE i 4 a TRUE ");
    m_command->body = [] { return 7; };
    EXPECT_EQ(Interprete(L"Filter;"), 7);
}

TEST_F(Commands, FailuresSayWhere) {
    std::string const head = "Kommandozeileninterpretation:\r\n";
    EXPECT_EQ(Thrown<KxException>([&] { Interprete(L"filter 1;"); }),
              head + "Der Operator \"filter\" ist der Applikation unbekannt");
    EXPECT_EQ(Thrown<KxException>([&] { Interprete(L"\"My Filter\";"); }),
              head + "Der Operator \"My|Filter\" ist der Applikation unbekannt");
    EXPECT_EQ(Thrown<KxException>([&] { Interprete(L"Filter 9 \"100%s %n\" no TRUE;"); }),
              head +
                  "Operator \"Filter\": Der Wert \"no\" kann dem Parameter \"Mode\" nicht zugewiesen werden, da er "
                  "nicht vom Typ bool ist");
    EXPECT_EQ(m_command->Values() + m_runs, "9 100%s %n FALSE ");  // what was set before stays
    m_command->body = []() -> int { AfxThrowInvalidArgException(); };
    EXPECT_EQ(Thrown<KxException>([&] { Interprete(L"Filter;"); }), head + "Ein Argument ist unzulässig");
    m_command->body = []() -> int { throw std::runtime_error("body"); };
    EXPECT_THROW(Interprete(L"Filter;"), std::runtime_error);
    pOperatorMgr = nullptr;
    EXPECT_EQ(Thrown<KxException>([&] { Interprete(L"Filter;"); }),
              head + "Der Operator \"Filter\" ist der Applikation unbekannt");
}

TEST_F(Commands, MacroFiles) {
    std::string const full = "Filter 1 " + std::string(1014, 'x');
    ASSERT_EQ(full.size(), 1023U);
    struct {
        std::string bytes, runs;
        int result;
    } const cases[] = {
        {"", "", 0},
        {"// only\n  \t// comments\n\n", "", 0},
        {"Filter 1 a;\nFilter 2;", "1 a FALSE 2 a FALSE ", 0},
        {"Filter 1 a;\r\n\r\nFilter 2;\r\n", "1 a FALSE 2 a FALSE ", 0},
        {"Filter 1 a;\r\nFilter 2;\r", "1 a FALSE 2 a FALSE ", 0},
        {" \tFilter\t 1 \"a \t  b\" ;", "1 a b FALSE ", 0},  // blanks are squeezed between quotes too
        {"Filter 1 a\nFilter 2;\n", "", 2},
        {"InteractiveOn\nFilter 1 a;\nInteractiveOff\nFilter 2;\n", "1 a FALSE i 2 a FALSE ", 0},
        {"\xEF\xBB\xBF\n Filter 1 \xC3\xA4;\n", "1 \xC3\xA4 FALSE ", 0},
        {"Filter 1 \xE4;\n", "1 \xC3\xA4 FALSE ", 0},
        {"\xFF\xFE\n\0F\0i\0l\0t\0e\0r\0;\0"s, "0  FALSE ", 0},
        {full.substr(0, 1022) + ";\r\nFilter 2;",
         "1 " + std::string(1013, 'x') + " FALSE 2 " + std::string(1013, 'x') + " FALSE ", 0},
        {full, "", 2},
    };
    for (auto const& c : cases) {
        m_command->SetParameterLong(1, 0);
        m_command->SetParameterString(2, KxString());
        m_runs.clear();
        EXPECT_EQ(Run(c.bytes), c.result) << c.bytes;
        EXPECT_EQ(m_runs, c.runs) << c.bytes;
    }
    m_command->body = [] { return 5; };
    EXPECT_EQ(Run("Filter;\nOops"), 5);
    KxMacro macro(nullptr);
    macro.Stop();
    macro.SetName(Path("macro"));
    EXPECT_EQ(KxMacro(macro).Start(), 5);
    EXPECT_EQ(U(macro.GetName()), File("macro").string());
}

TEST_F(Commands, MacroFailuresSayWhere) {
    std::string const head = "Kommandozeileninterpretation:\r\n";
    std::string const longer = "Filter 1 " + std::string(1015, 'x');
    struct {
        std::string bytes;
        int line;
        std::string message;
    } const cases[] = {
        {"Filter 1;\n// comment\nFilter 11;\nFilter 2;", 3,
         head + "Operator \"Filter\": Die Zuweisung des Parameters \"Value\" vom Typ long mit dem Wert 11 liegt "
                "außerhalb des gültigen Bereiches von 0 bis 10"},
        {"\n\r\nNone  1;\n", 3, head + "Der Operator \"None\" ist der Applikation unbekannt"},
        {";\n", 1, head + "Der Operator \"\" ist der Applikation unbekannt"},
        {"\n\"\"\n", 2, head + "Der Operator \"\" ist der Applikation unbekannt"},
        {"Filter;\nFilter \"a  b|;\n", 2,
         "Kommandozeile:\r\n\"Filter \"a b|;\"\r\nSchließende Anführungszeichen nicht gefunden"},
        {"\n" + longer + "\n", 2, "Die Zeile hat mehr als 1023 Zeichen"},
        {"\n" + longer, 2, "Die Zeile hat mehr als 1023 Zeichen"},
        {"\n\n//" + std::string(1 << 20, ' '), 3, "Die Zeile hat mehr als 1023 Zeichen"},
        {"Filter;\nFilter 1 a\0b;\n"s, 2, "Die Zeile enthält ein NUL-Zeichen"},
    };
    for (auto const& c : cases) {
        EXPECT_EQ(Thrown<KxException>([&] { Run(c.bytes); }), MacroPrefix(c.line) + c.message) << c.bytes.size();
    }
    EXPECT_EQ(m_command->Values(), "1  FALSE ");  // the lines behind a failure did not run
    std::filesystem::remove(File("macro"));
    std::filesystem::create_directory(File("macro"));
    std::string message = Thrown<KxException>([&] { KxMacro(nullptr).Start(Path("macro")); });
    EXPECT_EQ(message.find(MacroPrefix(1) + "Fehler beim Öffnen der Datei"), 0U) << message;
    std::filesystem::remove(File("macro"));
    message = Thrown<KxException>([&] { KxMacro(nullptr).Start(Path("macro")); });
    EXPECT_EQ(message.find(MacroPrefix(1) + "Fehler beim Öffnen der Datei"), 0U) << message;
    ASSERT_EQ(::mkfifo(File("macro").c_str(), 0600), 0);  // nobody writes into it
    message = Thrown<KxException>([&] { KxMacro(nullptr).Start(Path("macro")); });
    EXPECT_EQ(message.find(MacroPrefix(1) + "Fehler beim Öffnen der Datei"), 0U) << message;
    EXPECT_NE(Thrown<KxException>([&] { KxMacro(nullptr).Start(L"/dev/zero"); }).find("/dev/zero"), std::string::npos);
}

TEST_F(Commands, MacrosWithinMacros) {
    KxMacro macro(nullptr);
    int depth = 0, deepest = 0;
    m_command->body = [&] {
        deepest = std::max(deepest, ++depth);
        struct Leave {
            ~Leave() { --depth; }
            int& depth;
        } const leave{depth};
        return static_cast<int>(macro.Start(Path("macro")));
    };
    Put("macro", "// calls itself\nFilter;\n");
    std::string const message = Thrown<KxException>([&] { macro.Start(Path("macro")); });
    EXPECT_EQ(deepest, KxxLimits().macroDepth);
    std::string const tail = "Die Makros sind tiefer als 32-mal ineinander verschachtelt";
    EXPECT_TRUE(message.starts_with(MacroPrefix(2) + "Kommandozeileninterpretation:\r\n" + MacroPrefix(2)));
    EXPECT_TRUE(message.ends_with(MacroPrefix(1) + tail)) << message;
    Put("other", "\nFilter;\n");
    m_command->body = [&] { return static_cast<int>(macro.Start(Path(++depth % 2 ? "other" : "macro"))); };
    std::string const both = Thrown<KxException>([&] { macro.Start(Path("macro")); });
    std::size_t names = 0;
    for (char const* name : {"macro", "other"})
        for (std::size_t at = 0; (at = both.find(File(name).string() + "\", Zeile 2", at)) != both.npos; ++at) ++names;
    EXPECT_EQ(names, static_cast<std::size_t>(KxxLimits().macroDepth));  // each names its line
    EXPECT_TRUE(both.ends_with(tail)) << both;
    depth = 0;
    m_command->body = [&] {  // what comes later has all the depth again; what runs is read to its end
        ++depth;
        std::filesystem::remove(File("macro"));
        return 0;
    };
    Put("macro", "Filter;\n" + std::string(100000, '\n') + "Filter;\n");
    EXPECT_EQ(macro.Start(Path("macro")) * 10 + depth, 2);
}

TEST_F(Commands, ASlotMayStartTheMacroThatRuns) {
    struct Slot {
        void OnValue(KxParameter&) {
            if (std::exchange(isNested, true)) return;
            macro.Start(path);
        }
        KxMacro& macro;
        KxString path;
        bool isNested = false;
    };
    KxMacro macro(reinterpret_cast<CWnd*>(16));
    Slot slot{macro, Path("inner")};
    m_command->GetParameterIndexed(0)->SignalValueChanged.Connect(&slot, &Slot::OnValue);
    std::string values;
    m_command->body = [&] {
        values += m_command->Values();
        EXPECT_EQ(m_command->GetParentWindow(), reinterpret_cast<CWnd*>(16));
        return 0;
    };
    Put("inner", "Filter 1;\n");
    Put("outer", "Filter 7 8;\n");
    macro.Start(Path("outer"));
    m_command->GetParameterIndexed(0)->SignalValueChanged.Disconnect(&slot, &Slot::OnValue);
    EXPECT_EQ(values, "1  FALSE 1 8 FALSE ");  // the words of the outer line are its own
}

}  // namespace
