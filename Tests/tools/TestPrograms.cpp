// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The programs as their users call them: exit codes, one clear line, nothing left behind, JSON that parses.
#include "Programs.h"
#include "Terminal.h"

#include <algorithm>

namespace {

std::string const wholeFile(
    "\x01\0\0\0\x64\0\x08\0\0\0\x12\0\0\0\x1a\0\0\0"
    "Platte\x1b\0"
    "\x02\0\0\0\x64\0\x02\0\0\0\x2c\0\0\0\0\0\0\0\x07\0",
    18 + 8 + 18 + 2);

}  // namespace

TEST_F(Programs, HbtagExitCodesAreAContract) {
    Write("whole.tag", wholeFile);
    Write("cut.tag", wholeFile.substr(0, wholeFile.size() - 1));
    Write("empty.tag", "");
    Write("foreign.tag", "This is a letter, and no tag file at all.");
    struct Case {
        std::string arguments;
        int code;
        char const* output;  // part of it
    };
    Case const cases[] = {{"ls " + Path("whole.tag"), 0, "text"},
                          {"dump " + Path("whole.tag"), 0, "\"Platte\\x1b\""},
                          {"dump --id 2 " + Path("whole.tag"), 0, "7"},
                          {"verify " + Path("whole.tag"), 0, "2 records, whole"},
                          {"verify " + Path("cut.tag"), 2, "short payload: at 26:"},
                          {"ls " + Path("empty.tag"), 2, "truncated"},
                          {"ls " + Path("foreign.tag"), 3, "is not a tag file"},
                          {"ls " + Path("missing.tag"), 1, "wurde nicht gefunden"},
                          {"ls " + Path("."), 1, "Is a directory"},
                          {"ls /dev/zero", 1, "hbtag: "},
                          {"ls", 1, "FILE is required"},
                          {"tree --html --json " + Path("whole.tag"), 1, "excludes"},
                          {"", 1, "subcommand"},
                          {"--help", 0, "Exit codes"}};
    for (Case const& c : cases) {
        Outcome const outcome = Call("./hbtag " + c.arguments);
        EXPECT_EQ(outcome.code, c.code) << c.arguments << '\n' << outcome.output;
        EXPECT_NE(outcome.output.find(c.output), std::string::npos) << c.arguments << '\n' << outcome.output;
        EXPECT_EQ(outcome.output.find('\x1b'), std::string::npos) << c.arguments;
    }
    EXPECT_NE(Call("./hbtag ls " + Path("whole.tag") + " > /dev/full").code, 0);
}

TEST_F(Programs, HbtagJsonParsesWholeOrDamaged) {
    if (!HasPython()) GTEST_SKIP() << "no python3 here";
    for (std::size_t length = 0; length <= wholeFile.size(); length += 3) {
        Write("cut.tag", wholeFile.substr(0, length));
        for (char const* verb : {"ls", "dump", "verify"}) {
            Outcome const outcome = Call(std::string("./hbtag ") + verb + " --json " + Path("cut.tag") +
                                         " | python3 -m json.tool > /dev/null");
            EXPECT_EQ(outcome.code, 0) << verb << ' ' << length << '\n' << outcome.output;
        }
    }
}

TEST_F(Programs, HbtagShowsTheHeader) {
    std::string header("\x49\x49\x64\0\0\2TQ\1\0\2\0\3\0\xfe\xff\5\0\x7e\x51\1\0\x4f\xdb\x34\1\0\0\xc0\x3f\1\0", 32);
    header.resize(512);
    header[128 + 6] = '\xf0';
    header[128 + 7] = '\x3f';
    header[136 + 7] = '\x80';  // a zero with a sign
    std::string tag = wholeFile.substr(26);
    tag.replace(10, 2, "\x12\2");
    Write("head.tag", header + tag);
    Outcome const text = Call("./hbtag ls " + Path("head.tag"));
    EXPECT_EQ(text.code, 0);
    EXPECT_NE(
        text.output.find("header: version 100, company \"TQ\", data type 1, element size 2, blocks 3, size -2 x 5\n"
                         "        2024-12-31 23:59:58, mask 1.5, tags of 64 bits, matrix 1, -0.0, 0, 0; 0, 0, 0, 0; "),
        std::string::npos)
        << text.output;
    header[30] = 64;  // a number that means nothing
    Write("unknown.tag", header + tag);
    Outcome const unknown = Call("./hbtag ls " + Path("unknown.tag"));
    EXPECT_NE(unknown.output.find("tags of unknown form 64, matrix"), std::string::npos) << unknown.output;
    if (!HasPython()) return;
    for (auto const& [name, form] : {std::pair{"head.tag", "64"}, {"unknown.tag", "unknown form 64"}}) {
        Outcome const json = Call("./hbtag ls --json " + Path(name) +
                                  " | python3 -c 'import json, sys; h = json.load(sys.stdin)[\"header\"]; "
                                  "print(h[\"time\"], h[\"width\"], h[\"matrix\"][0], h[\"form\"])'");
        EXPECT_EQ(json.output, std::string("2024-12-31T23:59:58 -2 [1, -0.0, 0, 0] ") + form + "\n");
    }
}

TEST_F(Programs, HblogShowsWhatIsThere) {
    std::string const entry =
        "Date=20241231\nTime=12000000\nGroup=T\xC3\xBCr\nLevel=EXCEPT_USER\nMessage=a\xEF\xBF\xBF\x1b[31mb\n";
    std::string const head = "[General]\nFile=Quandelmeter Exceptions Log\nTotalCount=";
    Write("log", head + "2\n[0]\n" + entry + "[1]\nDate=20250101\nTime=1\nGroup=X\nLevel=EXCEPT_FATAL\nMessage=c\n");
    Write("lying.log", head + "4294967295\n[0]\n" + entry + "[2]\nMessage=whole \xF0\x9F\x98\x80\n");
    Write("unnamed.log", "[General]\nTotalCount=1\n[0]\n" + entry);
    Write("dropped.log", head +
                             "3\n[0]\nDate=20241231\nTime=1\nLevel=EXCEPT_USER\nMessage=a\n[1]\nDate=20241231\n"
                             "Time=0\nGroup=G\nLevel=EXCEPT_USER\nMessage=b\n[2]\nDate=20241301\nTime=1\nGroup=G\n"
                             "Level=EXCEPT_USER\nMessage=c\n");
    Write("turned.log", head +
                            "1\n[0]\nDate=20241231\nTime=1\nGroup=G\nLevel=EXCEPT_USER\nMessage=a\xE2\x80\xAE"
                            "b\n");
    Write("foreign", "[General]\nTotalCount=1\n[0]\nMessage=a\n");
    std::string const line = std::string(70, '_') + "\r\n";
    std::string const profile =
        "PROFILE;0x1A2B;12:00:00;enter;Load;;;;\r\n" + line +
        "DATE: 31.12.2024, TIME: 12:00:01\r\nPROFILE;0x1A2B;12:00:01;read;Load;12:00:00;812;;\r\n"
        "DATUM: 31.12.2024, ZEIT: 12:00:02\r\nPROFILE;0x1A2B;12:00:02;leave;Load;12:00:00;1650;838;\r\n";
    Write("debug", line + "DATUM: 31.12.2024, ZEIT: 12:00:00\r\n" + profile + "DATEI: x.cpp, ZEILE: 7\r\n");
    Write("cut.debug", line + "DATUM: 31.12.2024, ZEIT: 12:00:00\r\n\x1b]0;cut");
    Write("empty", "");
    Write("odd.log", head + "1\n[0]\nDate=20241231\nTime=1\nGroup=G\nLevel=EXCEPT_USER\nMessage=a\"\xE2\x80\xAE\n");
    // Calls under one number that are not nested, and one of the same name within another; then many that stay open.
    std::string interleaved, open;
    for (char const* call : {"enter;A;;;", "enter;B;;;", "enter;A;;;", "leave;A;12:00:00;5;5",
                             "leave;A;12:00:00;812;812", "leave;B;12:00:00;900;900"})
        interleaved += std::string("PROFILE;0x0;12:00:00;") + call + ";\r\n";
    Write("interleaved", interleaved);
    for (int i = 0; i < 60000; ++i) open += "PROFILE;0x0;12:00:00;enter;N" + std::to_string(i) + ";;;;\r\n";
    for (int i = 0; i < 60000; ++i) open += "PROFILE;0x0;12:00:00;mark;N" + std::to_string(i) + ";12:00:00;1;1;\r\n";
    Write("open", open);
    // Lines that nearly are dates, places or separators, and what no terminal may get.
    std::string odd = line + "DATUM: 31.12.2024, ZEIT: 12:00:00\r\n", oddLines;
    for (char const* text :
         {"12:00 begins with a digit", "DATUM: 31-12-2024, ZEIT: 12:00:00", "DATUM: 31.12.2024", "DATUM: 31.12.2024, ",
          "DATUM: 31.12.2024, ZEIT: 12.00:00", "DATUM: 31.12.2024, ZEIT: 12:00:00 sharp", "DATEI: x.cpp",
          "DATEI: x.cpp, ZEILE: 7a", "seventy characters, and no separator all the same: it takes underscore"}) {
        odd += text + std::string("\r\n");
        oddLines += (oddLines.empty() ? "2024-12-31 12:00:00  " : "\n    ") + std::string(text);
    }
    Write("odd.debug", odd + line + line + "DATUM: 31.12.2024, ZEIT: 12:00:01\r\n");
    Write("marks.debug", "\xC2\x85\xD8\x9C\xE2\x80\x8E\xE2\x80\x8F\xE2\x81\xA6\xEF\xBB\xBF\\\t\r.\r\n");
    Write("half.debug", std::string("\xff\xfe\0\xd8.\0\r\0\n\0", 10));
    Write("vast", "");
    fs::resize_file(folder / "vast", (256u << 20) + 1);
    // Each a line that makes no sense, but for the first.
    std::string nonsense;
    for (char const* fields :
         {"0x1;12:00:00;enter;A;with;semicolons;;;;", "0x1;12:00:00;enter;A;;;", "0x1;12:00:00;enter;A;;;;rest",
          "1;12:00:00;enter;A;;;;", "0x;12:00:00;enter;A;;;;", "0x11111111111111111;12:00:00;enter;A;;;;",
          "0x1 2;12:00:00;enter;A;;;;", "0x1:2;12:00:00;enter;A;;;;", "0x1G2;12:00:00;enter;A;;;;",
          "0x1;12:00:00;leave;A;12:00:00;x;1;", "0x1;12:00:00;leave;A;12:00:00;1234567890123456;1;",
          "0x1;12:00:00;leave;A;12:00:00;;1;", "0x1;12:00:00;leave;A;;5;5;", "0x1;12:00:00;enter;A;12:00:00;5;1;",
          "0x1;12:00:00;leave;A;;;;", "0x1;12:00:00;leave;never entered;12:00:00;5;5;"})
        nonsense += std::string("PROFILE;") + fields + "\r\n";
    Write("nonsense", nonsense);
    std::string many = head + "x\n";
    for (int i = 0; i < 200; ++i) many += "[" + std::to_string(i) + "]\nMessage=a\n";
    Write("many.log", many);
    Write("grave.log", head + "2\n[0]\nDate=20241231\nTime=1\nGroup=G\nLevel=EXCEPT_NONFATAL\nMessage=a\n" +
                           "[1]\nDate=20241231\nTime=1\nGroup=G\nLevel=EXCEPT_FATAL\nMessage=b\n");
    Write("lines.log", head + "1\n[0]\nDate=20241231\nTime=1\nGroup=G\xEF\xBF\xBFH\nLevel=EXCEPT_USER\n" +
                           "Message=a\\b\xEF\xBF\xBF\n[1]\nDate=20241231\nTime=1\nGroup=G\nMessage=b\n" +
                           "[2]\nDate=20241231\nTime=1\nGroup=G\nLevel=USER\n");
    struct Case {
        std::string arguments;
        int code;
        char const* output;  // part of it; the last part for one that begins with '$'
    };
    Case const cases[] = {
        {"log " + Path("log"), 0,
         "2024-12-31 12:00:00  USER      T\xC3\xBCr  a\n    \\x1b[31mb\n2025-01-01 00:00:00  FATAL     X  c\n"},
        {"log --level except_fatal " + Path("log"), 0, "$\n2025-01-01 00:00:00  FATAL     X  c\n"},
        {"log --group 'T\xC3\x9CR' --json " + Path("log"), 0, "\"message\":\"a\\u000a\\u001b[31mb\"}],\"faults\":[]}"},
        {"log --until 2024-12-31 " + Path("log"), 0, "x1b[31mb\n"},
        {"log --since '2025-01-01T00:00:01' " + Path("log"), 0, "$\n"},
        {"log --last 0 " + Path("log"), 0, "$\n"},
        {"log " + Path("lying.log"), 2, "entry 2 has no date and time\n"},
        {"log " + Path("lying.log"), 2, "4294967293 of 4294967295 entries are missing\n"},
        {"log --since 2024-01-01 --until 2026-01-01 --last 99 " + Path("lying.log"), 2, "are missing\n"},
        {"log --until 2026-01-01 " + Path("lying.log"), 2, "are missing\n"},
        {"log " + Path("many.log"), 2, "the number of entries cannot be read\n"},
        {"log " + Path("many.log"), 2, " more\n"},
        {"log " + Path("lines.log"), 2, "USER      G\\nH  a\\\\b\n20"},
        {"log " + Path("lines.log"), 2, "entry 1 has no level\n"},
        {"log " + Path("lines.log"), 2, "entry 2 has no message\n"},
        {"log " + Path("lines.log"), 2, "entry 1 is beyond the number of entries\n"},
        {"log --json " + Path("lines.log"), 2, "\"message\":\"a\\\\b\\u000a\"}"},
        {"log " + Path("unnamed.log"), 2, "the line that says what it is is missing\n"},
        {"log " + Path("dropped.log"), 2, "entry 0 has no group\n"},
        {"log " + Path("dropped.log"), 2, "entry 1 has no date and time\n"},
        {"log " + Path("dropped.log"), 2, "entry 2 has no date and time\n"},
        {"debug " + Path("interleaved"), 0, "leave;B;12:00:00;900;900;\n"},
        {"profile " + Path("interleaved"), 0, "B            0x0         1           900         900.0           900\n"},
        {"profile " + Path("interleaved"), 0, "A            0x0         2           817         408.5           812\n"},
        {"profile -o " + Path("open.json") + ' ' + Path("open"), 0, "total ms"},
        {"log " + Path("turned.log"), 0, "G  a\\u202eb\n"},
        {"log " + Path("odd.log"), 0, "  a\"\\u202e\n"},
        {"log --json " + Path("odd.log"), 0, "\"message\":\"a\\\"\\u202e\"}"},
        {"debug --json " + Path("debug"), 0, "\"sourceFile\":\"x.cpp\",\"sourceLine\":7}"},
        {"debug " + Path("interleaved"), 0, "PROFILE;0x0;12:00:00;enter;A;;;;\n"},
        {"log " + Path("foreign"), 3, "is not an exception log"},
        {"log " + Path("missing"), 1, "existiert nicht"},
        {"log " + Path("."), 1, "hblog: "},
        {"log --json " + Path("foreign"), 3, "\"state\":\"foreign\""},
        {"log --level grave " + Path("log"), 1, "user, nonfatal or fatal"},
        {"log --level FATAL " + Path("log"), 0, "$\n2025-01-01 00:00:00  FATAL     X  c\n"},
        {"log --since yesterday " + Path("log"), 1, "a date is"},
        {"log --since '2024-12-31 12' " + Path("log"), 1, "a date is"},
        {"log --until 2024-12-31x " + Path("log"), 1, "a date is"},
        {"log --until 31.13.2024 " + Path("log"), 1, "a date is"},
        {"log --since 31.13.2024 " + Path("log"), 1, "a date is"},
        {"debug --last 1 " + Path("debug"), 0,
         "$\n2024-12-31 12:00:02  PROFILE;0x1A2B;12:00:02;leave;Load;12:00:00;1650;838;  <x.cpp:7>\n"},
        {"debug --json --until '31.12.2024 12:00:00' " + Path("debug"), 0, "\"count\":3,\"entries\":[\n{\"line\":1,"},
        {"debug " + Path("odd.debug"), 0, oddLines.c_str()},
        {"debug --json " + Path("odd.debug"), 0, "\"count\":3,"},
        {"debug " + Path("marks.debug"), 0, "  \\x85\\u061c\\u200e\\u200f\\u2066\\ufeff\\\\\\t\\r.\n"},
        {"debug " + Path("half.debug"), 0, "  \\ud800.\n"},
        {"debug " + Path("vast"), 1, "too long"},
        {"profile " + Path("nonsense"), 2, "nonsense: 15 profile lines make no sense\n"},
        {"profile --json " + Path("nonsense"), 2, "\"badLines\":15,"},
        {"profile --json " + Path("interleaved"), 0, "},\n{\"name\":\"A\""},
        {"debug " + Path("cut.debug"), 2, "2024-12-31 12:00:00  \\x1b]0;cut\n"},
        {"debug " + Path("empty"), 0, "$\n"},
        {"debug " + Path("log"), 3, "is not a debug file"},
        {"debug /dev/zero", 1, "hblog: "},
        {"profile -o " + Path("trace.json") + " " + Path("debug"), 0,
         "Load      0x1a2b         1          1650        1650.0          1650\n"},
        {"profile -o " + Path("no/trace.json") + " " + Path("debug"), 1, "trace.json"},
        {"profile " + Path("cut.debug"), 2, "total ms"},
        {"profile", 1, "FILE is required"},
    };
    for (Case const& c : cases) {
        Outcome outcome = Call("./hblog " + c.arguments);
        EXPECT_EQ(outcome.code, c.code) << c.arguments << '\n' << outcome.output;
        EXPECT_EQ(outcome.output.find('\x1b'), std::string::npos) << c.arguments;
        if (*c.output == '$')
            EXPECT_EQ("$\n" + outcome.output, c.output) << c.arguments;
        else
            EXPECT_NE(outcome.output.find(c.output), std::string::npos) << c.arguments << '\n' << outcome.output;
    }
    std::string const program = HBTOOLS_BINARY_DIR "/bin/hblog";
    for (char const* setting : {"NO_COLOR=", "NO_COLOR=1"}) {
        Terminal terminal({"/usr/bin/env", setting, program, "log", (folder / "grave.log").string()});
        for (char const* level : {"\x1b[33mNONFATAL", "\x1b[31mFATAL   "}) {
            EXPECT_TRUE(terminal.Await(level + 5)) << terminal.Seen();
            EXPECT_EQ(terminal.Last().ends_with(level), setting == std::string("NO_COLOR="));
        }
        EXPECT_EQ(terminal.Wait(), 0);
    }
    Terminal terminal({program, "log", (folder / "log").string()});
    EXPECT_TRUE(terminal.Await("USER "));  // what is no failure has no colour
    EXPECT_EQ(terminal.Last().find('\x1b'), std::string::npos) << terminal.Last();
    EXPECT_EQ(terminal.Wait(), 0);
    std::ifstream trace(folder / "trace.json");
    std::string const json(std::istreambuf_iterator<char>(trace), {});
    EXPECT_EQ(json,
              "{\"displayTimeUnit\":\"ms\",\"traceEvents\":[\n"
              "{\"name\":\"Load\",\"ph\":\"X\",\"pid\":1,\"tid\":6699,\"ts\":43200000000,\"dur\":1650000},\n"
              "{\"name\":\"read\",\"cat\":\"Load\",\"ph\":\"i\",\"s\":\"t\",\"pid\":1,\"tid\":6699,\"ts\":43200812000}"
              "\n]}\n");
    if (!HasPython()) return;
    for (std::string const& file :
         {"log --json " + Path("lying.log"), "debug --json " + Path("cut.debug"), "profile --json " + Path("debug")})
        EXPECT_EQ(Call("./hblog " + file + " | python3 -m json.tool > /dev/null").code, 0) << file;
}

TEST_F(Programs, HbtagMakesAPageForABrowser) {
    Write("scan.csv", "x,y,z\n0,0,0\n1,0,0.1\n0,1,-0.1\n1,1,0\n");
    ASSERT_EQ(Call("./scanlab demo --out " + Path("out") + " " + Path("scan.csv")).code, 0);
    std::string const page = (folder / "page.html").string();
    EXPECT_EQ(Call("./hbtag tree --html " + Path("out/scan-64.tag") + " > '" + page + "'").code, 0);
    std::ifstream in(page, std::ios::binary);
    std::string const text(std::istreambuf_iterator<char>(in), {});
    for (char const* outside : {"src=", "href=", "http:", "https:", "import ", "fetch("})
        EXPECT_EQ(text.find(outside), std::string::npos) << outside;
    EXPECT_NE(text.find("\"count\": 4, \"step\": 1, \"center\": [0.5, 0.5, 0]"), std::string::npos);
    if (!HasBrowser()) GTEST_SKIP() << "no chromium here";
    std::string const shown = InBrowser(page);
    for (char const* part : {"<span class=\"id\">1000</span> <span class=\"kind\">marker</span>",
                             "<div class=\"value\">scan</div>", "<span class=\"kind\">array of KxVec3d</span>",
                             "<td>whole</td>", ">4 points</span>", "<option value=\"deviation\">"})
        EXPECT_NE(shown.find(part), std::string::npos) << part << '\n' << shown.substr(0, 6000);
}

TEST_F(Programs, TheFirstProgramTellsTheFileThatItsUserKnows) {
    // Blocks of 512 bytes.
    Outcome const outcome = Call("trap '' XFSZ; ulimit -f 1; LANG=en_US.UTF-8 ./firstprogram " + Path("first.tag"));
    EXPECT_EQ(outcome.code, 1);
    EXPECT_NE(
        outcome.output.find("The disk is full; the file \"" + (folder / "first.tag").string() + "\" could not be"),
        std::string::npos)
        << outcome.output;
    EXPECT_EQ(Call("LANG=de_DE.UTF-8 ./firstprogram /nowhere/x.tag").output.find("Der Zugriff auf \"/nowhere/x.tag\""),
              0U);
}

TEST_F(Programs, AClosedPipeIsAFailure) {
    Write("whole.tag", wholeFile);
    Write("text", std::string(100000, 'x') + "\r\n");
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    ::close(ends[0]);
    for (std::string const& command : {"hbtag ls " + Path("whole.tag"), "hblog debug " + Path("text")}) {
        Outcome const outcome = Call("(./" + command + " 2>&1 >&" + std::to_string(ends[1]) + ")");
        EXPECT_EQ(outcome.code, 1) << command;
        EXPECT_NE(outcome.output.find("could not be written: Broken pipe"), std::string::npos) << outcome.output;
    }
    ::close(ends[1]);
}
