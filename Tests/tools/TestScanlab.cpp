// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// ScanLab as its users call it: the main job, macros, command lines, the prompt at a terminal, the report in a browser.
#include "Programs.h"
#include "Terminal.h"

#include <algorithm>

namespace {

TEST_F(Programs, ScanlabKeepsItsFailuresInALog) {
    Write("broken.ply",
          "ply\nformat ascii 1.0\nelement vertex 9\nproperty float x\nproperty float y\nproperty float "
          "z\nend_header\n1 2 3\n");
    EXPECT_EQ(Call("./scanlab demo --out " + Path("out") + " " + Path("broken.ply")).code, 1);
    Outcome const log = Call("./hblog log " + Path("scanlab/scanlab.log"));
    EXPECT_EQ(log.code, 0);
    EXPECT_NE(log.output.find("NONFATAL  ScanLab"), std::string::npos) << log.output;
    EXPECT_NE(log.output.find("broken.ply: 9 Punkte sind angekündigt und 6 Byte sind da"), std::string::npos)
        << log.output;
    Outcome const debug = Call("./hblog debug " + Path("scanlab/scanlab.debug"));
    EXPECT_NE(debug.output.find("broken.ply: 9 Punkte sind angekündigt und 6 Byte sind da"), std::string::npos)
        << debug.output;

    Write("own.ini", "[ScanLab]\nProfiling=FALSE\n[Synthesize]\nPoints=12x\n");
    Outcome const bad = Call("./scanlab --ini " + Path("own.ini") + " demo --out " + Path("out"));
    EXPECT_EQ(bad.code, 1);
    for (char const* part : {"'Points'", "[Synthesize]", "own.ini"})
        EXPECT_NE(bad.output.find(part), std::string::npos) << bad.output;

    Write("prof.ini", "[ScanLab]\nProfiling=TRUE\n[Synthesize]\nPoints=2000\n[Initialization]\nErrorCount=5\n");
    EXPECT_EQ(Call("./scanlab demo --ini " + Path("prof.ini") + " --out " + Path("out")).code, 0);
    Outcome const profile = Call("./hblog profile " + Path("Debug.log"));
    EXPECT_NE(profile.output.find("FitPlane"), std::string::npos) << profile.output;
}

TEST_F(Programs, ScanlabDemoStoresAndCompares) {
    Write("scan.csv", "x,y,z\n0,0,0\n1,0,0.1\n0,1,-0.1\nnan,1,1\n1,1,0\n");
    Outcome const outcome = Call("./scanlab demo --out " + Path("out") + " " + Path("scan.csv"));
    EXPECT_EQ(outcome.code, 0) << outcome.output;
    EXPECT_NE(outcome.output.find("Points      4"), std::string::npos) << outcome.output;
    EXPECT_NE(outcome.output.find("Not finite  1"), std::string::npos) << outcome.output;
    EXPECT_EQ(outcome.output.find("NOT THE SAME"), std::string::npos) << outcome.output;
    for (char const* name : {"out/scan-32.tag", "out/scan-64.tag"})
        EXPECT_EQ(Call("./hbtag verify " + Path(name)).code, 0) << name;
}

// Every operator takes a scan with coordinates that are hardly numbers; what is beyond all numbers names scan and operator.
TEST_F(Programs, ScanlabComputesWithNumbersNextToNothing) {
    std::string points;
    for (int i = 0; i < 2500; ++i) {
        int const row = i / 50;
        double const x = i % 50, y = row, z = (x * x + y * y) / 200;
        points += std::to_string(x) + ',' + std::to_string(y) + ',' + std::to_string(z) + '\n';
    }
    Write("small.csv", "5e-324,1e-310,-5e-324\n" + points);
    Write("large.csv", "1e300,0,0\n" + points);
    struct Case {
        char const* lines;
        char const* failure = nullptr;  // of the large one
    };
    for (Case const& c :
         {Case{"'FitPlane;' 'Deviations;' 'Histogram;' 'Report;'", "FitPlane"},
          Case{"'FitSphere;' 'Deviations;'", "FitSphere"}, Case{"'Filter * thinning 1 3;'"},
          Case{"'Filter * strays 3 2;' 'Filter * box 1 1 -1 -1 -1 9 9 9;'"},
          Case{"'Transform * absolute 1 2 3 0 0 1 30;'", "Transform"},
          Case{"'Split * a b;' 'Transform b absolute 0.1 0 0 0 0 1 0.1;' 'Align b a;'"},
          Case{"'Save s * 64 TRUE;' 'Export e.ply;' 'Export e.csv;' 'ExportConditions c;' 'List TRUE;'"}}) {
        std::string const out = " --out " + Path("out") + " do 'Import " + Path("small.csv") + ";' ";
        Outcome const small = Call("./scanlab" + out + c.lines);
        EXPECT_EQ(small.code, 0) << c.lines << '\n' << small.output;
        if (!c.failure) continue;
        Outcome const large = Call("./scanlab do 'Import " + Path("large.csv") + ";' " + c.lines);
        EXPECT_EQ(large.code, 1) << c.lines;
        std::string const expected = std::string("Operator \"") + c.failure + "\": Datensatz \"large\": ";
        EXPECT_NE(large.output.find(expected), std::string::npos) << large.output;
    }
}

TEST_F(Programs, ScanlabSaysInOneLineWhatIsWrongAndLeavesNothing) {
    Write("broken.ply",
          "ply\nformat ascii 1.0\nelement vertex 9\nproperty float x\nproperty float y\nproperty float "
          "z\nend_header\n1 2 3\n");
    for (std::string const& scan : {Path("missing.csv"), Path("broken.ply"), Path("."), std::string("/dev/null")}) {
        Outcome const outcome = Call("./scanlab demo --out " + Path("out") + " " + scan);
        EXPECT_EQ(outcome.code, 1) << scan;
        EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 1) << outcome.output;
        EXPECT_FALSE(fs::exists(folder / "out")) << scan;
    }
    Outcome const outcome = Call("./scanlab demo --points 1000 --out /dev/null/x");
    EXPECT_EQ(outcome.code, 1);
    EXPECT_NE(outcome.output.find("kann nicht angelegt werden"), std::string::npos) << outcome.output;
    // No home, no folder for temporary files, and the working folder is gone.
    fs::create_directory(folder / "gone");
    std::string const lost = "d=\"$PWD\" && cd " + Path("gone") + " && rmdir " + Path("gone") +
                             " && env -u HOME -u XDG_CONFIG_HOME TMPDIR=/dev/null/x \"$d\"/scanlab ";
    Outcome const homeless = Call(lost + "do 'List;'"),
                  nowhere = Call("mkdir " + Path("gone") + " && " + lost + "demo --points 100 --out out");
    EXPECT_EQ(homeless.code, 0) << homeless.output;
    EXPECT_NE(homeless.output.find("XDG_CONFIG_HOME"), std::string::npos) << homeless.output;
    EXPECT_EQ(nowhere.code, 1) << nowhere.output;
    EXPECT_FALSE(fs::exists(folder / "gone"));
}

TEST_F(Programs, ScanlabRunsMacrosLinesAndStandardInput) {
    Write("whole.mac", "// a plate\r\nSynthesize plate FALSE 500;\nFitPlane *;");
    Write("broken.mac", "Synthesize plate FALSE 500;\n\nFitPlane * 3 0;\nList;\n");
    Write("open.mac", "Synthesize plate FALSE 500\nList;\n");
    Write("nul.mac", std::string("List;\n\0;\n", 9));
    Write("long.mac", "List;\nList " + std::string(1019, 'x') + "\n");
    Write("lines", "Synthesize plate FALSE 500;\r\n\n// none\nList;");
    Write("bad", "List;\nhelp\nNobody;\nSynthesize;\n");
    Write("odd", "List;\n\"List;\n");
    Write("unfinished", "List;\nList\nNobody;\n");
    Write("wide", std::string((1 << 20) + 1, 'x'));
    struct Case {
        std::string arguments;
        int code;
        char const* output;  // part of it; all of it if it begins with '='
    };
    std::string const plate = "'Synthesize plate FALSE 500;'";
    Case const cases[] = {
        {Path("whole.mac"), 0, "Plane       of plate"},
        {"run " + Path("whole.mac") + " " + Path("whole.mac"), 0, "Scan        plate-2: "},
        {"run " + Path("broken.mac"), 1,
         "broken.mac\", Zeile 3: Kommandozeileninterpretation: Operator \"FitPlane\": Die Zuweisung des Parameters "
         "\"Passes\""},
        {"run " + Path("open.mac"), 1, "=scanlab: beendet von einem Befehl ohne Semikolon, der nur Parameter setzt\n"},
        {"run " + Path("nul.mac"), 1, "Zeile 2"},
        {"run " + Path("long.mac"), 1, "Zeile 2"},
        {"run " + Path("."), 1, "Zeile 1"},
        {"run /dev/zero", 1, "Zeile 1"},
        {"run", 1, "MACRO is required"},
        {"do " + plate + " 'List;'", 0, "\nplate       500 points in mm, synthetic, no fit, 0 deviations\n"},
        {"do " + plate + " 'Nobody;' 'List;'", 1, "scanlab: Kommandozeileninterpretation: Der Operator \"Nobody\" ist"},
        {"do 'help Split'", 0, "=Split: Teilen\n"},
        {"< " + Path("lines"), 0, "\nplate       500 points"},
        {"< " + Path("bad"), 1, "scanlab: Zeile 3: Kommandozeileninterpretation: Der Operator \"Nobody\" ist"},
        {"< " + Path("odd"), 1, "scanlab: Zeile 2: Kommandozeile: \"\"List;\" Schlie\u00dfende"},
        {"< " + Path("unfinished"), 1, "=scanlab: beendet von einem Befehl ohne Semikolon, der nur Parameter setzt\n"},
        {"do 'Nobody\x1b;'", 1, "Der Operator \"Nobody?\" ist"},
        {"< " + Path("wide"), 1, "=scanlab: Zeile 1: die Zeile ist zu lang\n"},
        {"< /dev/null", 0, "="},
        {"< " + Path("."), 1, "das Lesen ist fehlgeschlagen"},
        {"demo a b", 1, "not expected: b"},
    };
    for (Case const& c : cases) {
        Outcome const outcome = Call("./scanlab --out " + Path("out") + " " + c.arguments);
        EXPECT_EQ(outcome.code, c.code) << c.arguments << '\n' << outcome.output;
        if (*c.output == '=')
            EXPECT_EQ(
                ("=" + outcome.output).substr(0, std::max<std::size_t>(std::string(c.output).size(), c.code ? 999 : 0)),
                c.output)
                << c.arguments;
        else
            EXPECT_NE(outcome.output.find(c.output), std::string::npos) << c.arguments << '\n' << outcome.output;
    }
    Outcome const reference = Call("./scanlab --help-operators");
    EXPECT_TRUE(reference.code == 0 && reference.output.starts_with("# Operatoren\n")) << reference.output;
    EXPECT_NE(reference.output.find("\n## LoadSettings: "), std::string::npos);
    EXPECT_NE(Call("./scanlab --help-operators > /dev/full").code, 0);

    for (char const* plain : {"env -u TERM ./scanlab do 'List;'", "trap '' INT TERM; TERM=dumb ./scanlab do 'List;'"})
        EXPECT_EQ(Call(plain).code, 0) << plain;
    for (char const* folders : {"env -u HOME -u XDG_CONFIG_HOME", "env HOME=relative XDG_CONFIG_HOME=.."}) {
        Outcome const without = Call(std::string(folders) + " ./scanlab do 'List;'");
        EXPECT_TRUE(without.code == 0 && without.output.find("XDG_CONFIG_HOME") != without.output.npos)
            << without.output;
    }

    // What one run saves is what the next begins with.
    EXPECT_EQ(Call("./scanlab do 'Synthesize sphere FALSE 321;' 'SaveSettings;'").code, 0);
    EXPECT_NE(Call("./scanlab do 'Synthesize;'").output.find("Points      321,"), std::string::npos);
    EXPECT_EQ(Call("env -u XDG_CONFIG_HOME HOME=" + Path("home") + " ./scanlab do 'SaveSettings;'").code, 0);
    EXPECT_TRUE(fs::exists(folder / "home/.config/scanlab/scanlab.ini"));
    Outcome const homeless = Call("env -u XDG_CONFIG_HOME -u HOME ./scanlab do 'SaveSettings;'");
    EXPECT_NE(homeless.output.find("Es gibt keine Konfigurationsdatei"), std::string::npos) << homeless.output;

    EXPECT_EQ(Call("./scanlab --out " + Path("out") + " do 'Synthesize plate FALSE 3000;' 'Export plate.ply;'").code,
              0);
    std::string const scan = Path("out/plate.ply");
    Outcome const aligned = Call("./scanlab align --out " + Path("out") + " " + scan + " " + scan);
    EXPECT_TRUE(aligned.code == 0 && fs::exists(folder / "out/alignment.svg")) << aligned.output;
    EXPECT_EQ(Call("./scanlab align --out " + Path("out") + " " + scan + " " + Path("missing.ply")).code, 1);
}

TEST_F(Programs, ScanlabAsksAtATerminal) {
    std::string const program = std::string(HBTOOLS_BINARY_DIR) + "/bin/scanlab";
    fs::create_directories(folder / "deep one");
    Write("deep one/points.csv", "1,2,3\n");
    fs::create_directories(folder / "plain");
    Write("plain/q.csv", "1,2,3\n");
    struct Exchange {
        std::string keys;
        char const* answer;
    };
    bool const hasEditor = Call("ldd ./scanlab | grep -q libedit").code == 0;
    auto const talk = [&](Terminal& terminal, std::vector<Exchange> const& exchanges) {
        for (Exchange const& exchange : exchanges) {
            if (hasEditor && !exchange.keys.empty()) {
                ASSERT_TRUE(terminal.AwaitEditor());
            }
            terminal.Type(exchange.keys);
            ASSERT_TRUE(terminal.Await(exchange.answer)) << exchange.keys << " : " << exchange.answer << '\n'
                                                         << terminal.Seen();
        }
    };
    {
        Terminal terminal({program, "--out", folder.string()});
        ASSERT_TRUE(terminal.Await("scanlab> ")) << terminal.Seen();
        if (!hasEditor) {
            talk(terminal, {{"List\n", "A semicolon at the end runs it."}, {"", "scanlab> "}, {"\x04", "\n"}});
            EXPECT_EQ(terminal.Wait(), 0);
            GTEST_SKIP() << "built without the editor of lines";
        }
        talk(terminal, {{"syn\t", "Synthesize "},                                         // a name, in its own case
                        {"\t", "plate  sphere"},                                          // entries
                        {"", "Shape (list: plate, sphere), jetzt \"plate\": Das Teil."},  // and what they are for
                        {"pl\tTRUE 444;\r", "Points      444,"},
                        {"fit\t", "FitPlane  FitSphere"},  // several, and nothing more to say of them
                        {"Q\t\x15\r", "scanlab> "},        // none, and then an empty line
                        {"", "scanlab> "},
                        {"Synthesize plate TRUE \t", "Points (long"},  // only what it is for
                        {"\x15"
                         "FitPlane \"plate\t;\r",
                         "Plane       of plate"},  // without the quotes
                        {"", "scanlab> "},
                        {"Import " + folder.string() + "/pla\tq\t;\r", "Scan        q: q"},
                        {"", "scanlab> "},
                        {"Remove q;\r", "scanlab> "},
                        {"FitPlane nobody;\r", "Parameter \"Scan\": Es gibt keinen Datensatz \"nobody\""},
                        {"FitPlane \t", "plate "},  // a scan of the session
                        {";\r", "Plane       of plate"},
                        {"", "scanlab> "},  // before it the terminal takes control keys for itself
                        {"Nobody\x03"
                         "List;\r",
                         "444 points in mm, synthetic, plane"},  // Ctrl-C clears
                        {"Import " + folder.string() + "/deep\tp\t;\r", "Scan        points: points"},
                        {"", "scanlab> "},
                        {"help \x15List\r", "A semicolon at the end runs it."},
                        {"", "scanlab> "},
                        {"\x04", "\n"}});
        EXPECT_EQ(terminal.Wait(), 0);
    }
    Terminal terminal({program, "--out", folder.string()});  // the history is there again
    ASSERT_TRUE(terminal.Await("scanlab> "));
    talk(terminal, {{"\x1b[A", "List"},
                    {"\x1b[A", "deep one"},
                    {"\x1b[A", "List;"},
                    {"\x1b[A", "FitPlane plate"},
                    {"\x15quit\r", "\n"}});
    EXPECT_EQ(terminal.Wait(), 0);
    // Where nothing can be kept, and on a terminal that can do nothing.
    Terminal poor({"/usr/bin/env", "-u", "HOME", "-u", "XDG_CONFIG_HOME", "LC_ALL=C", "TERM=dumb", program});
    ASSERT_TRUE(poor.Await("scanlab> ")) << poor.Seen();
    talk(poor, {{"List;\r", "scanlab> "}, {"exit\r", "\n"}});
    EXPECT_EQ(poor.Wait(), 0);
}

TEST_F(Programs, ScanlabReportsForABrowser) {
    Outcome const made =
        Call("./scanlab --out " + Path("out") +
             " do 'Synthesize sphere FALSE 3000;' 'FitSphere;' 'Deviations;' 'Synthesize plate FALSE "
             "9000;' 'FitPlane;' 'Deviations;' 'Report report.html \"<script>x</script> & Co\" 1000 0.5;'");
    ASSERT_EQ(made.code, 0) << made.output;
    std::ifstream in(folder / "out/report.html", std::ios::binary);
    std::string const text(std::istreambuf_iterator<char>(in), {});
    for (char const* outside : {"src=", "href=", "https:", "import ", "fetch(", "<script>x"})
        EXPECT_EQ(text.find(outside), std::string::npos) << outside;
    for (char const* part :
         {"&lt;script>x&lt;/script> &amp; Co", ">+0.5<", ">-0.25<", ">[mm]<", "Serial no.   LS-0417"})
        EXPECT_NE(text.find(part), std::string::npos) << part;
    if (!HasBrowser()) GTEST_SKIP() << "no chromium here";
    // The page counts what it has drawn; the colours are asked for in the page itself.
    std::string probe = text;
    probe.replace(
        probe.find("</body>"), 7,
        "<p id=\"probe\"></p><script>{const c = document.getElementById('map1'), d = c.getContext('2d')"
        ".getImageData(0, 0, c.width, c.height).data; let blue = 0, grey = 0; for (let i = 0; i < d.length; "
        "i += 4) if (d[i + 3] > 0) d[i + 2] > d[i] + 90 ? ++blue : ++grey; document.getElementById('probe')"
        ".textContent = (blue > 100 && grey > 10 * blue ? 'sinks are blue' : blue + ' ' + grey)}</script></body>");
    Write("probe.html", probe);
    std::string const shown = InBrowser((folder / "probe.html").string());
    for (char const* part :
         {"<h1>&lt;script&gt;x&lt;/script&gt; &amp; Co</h1>", ">1000 of 3000 points drawn<",
          ">1000 of 9000 points drawn<", "sphere about ", "plane through ", ">sinks are blue<", "deviation [mm]"})
        EXPECT_NE(shown.find(part), std::string::npos) << part << '\n' << shown.substr(0, 3000);
}

}  // namespace
