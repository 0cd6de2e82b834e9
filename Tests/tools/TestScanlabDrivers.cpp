// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Programs.h"

namespace {

bool Has(std::string const& text, std::string const& part) {
    return text.find(part) != std::string::npos;
}

TEST_F(Programs, ScanlabMeasuresWithADevice) {
    std::string const scanlab = "./scanlab --ini " + Path("a.ini") + " ";
    Outcome const list = Call(scanlab + "do 'Devices;'");
    EXPECT_EQ(list.code, 0) << list.output;
    EXPECT_TRUE(Has(list.output, "LaserScanner  hbTools LS-0 (simulated), 1.05")) << list.output;
    EXPECT_TRUE(Has(list.output, "PointsPerLine")) << list.output;
    EXPECT_EQ(Call(scanlab + "do 'SetDevice * Lines 7;' 'SetDevice LaserScanner Gauge plane;'").code, 0);
    Outcome const measured = Call(scanlab + "do 'Measure;' 'List;'");  // another run knows what was set
    EXPECT_EQ(measured.code, 0);
    EXPECT_TRUE(Has(measured.output, "LaserScanner 2800 points in mm")) << measured.output;
    Outcome const shown = Call(scanlab + "do 'SetDevice;' 'SetDevice * Lines;'");
    EXPECT_EQ(shown.code, 0) << shown.output;
    EXPECT_TRUE(Has(shown.output, "PointsPerLine") && shown.output.find("Lines") != shown.output.rfind("Lines"));
    Outcome const unkept = Call("env -u HOME -u XDG_CONFIG_HOME ./scanlab do 'SetDevice * Lines 7;'");
    EXPECT_TRUE(unkept.code == 1 && Has(unkept.output, "Es gibt keine Konfigurationsdatei")) << unkept.output;
    // A program without drivers, and with one that fails beside one that does not.
    std::string const own = Path("own/bin") + "/scanlab --ini " + Path("a.ini") + " do ";
    EXPECT_EQ(Call("mkdir -p " + Path("own/bin") + " && cp scanlab " + Path("own/bin") + " && ln -s \"$PWD/../lib\" " +
                   Path("own/lib"))
                  .code,
              0);
    Outcome const none = Call(own + "'Devices;' 'Measure;'");
    EXPECT_TRUE(none.code == 1 && Has(none.output, "Es gibt keinen Treiber")) << none.output;
    EXPECT_EQ(Call("mkdir " + Path("own/bin/Drivers") +
                   " && cp Drivers/LaserScanner.so " HBTOOLS_TEST_DRIVERS "/throwing.so " + Path("own/bin/Drivers"))
                  .code,
              0);
    Outcome const both = Call(own + "'Devices;'");
    EXPECT_TRUE(both.code == 0 && Has(both.output, "LS-0 (simulated)") &&
                Has(both.output, "throwing  the device is switched off"))
        << both.output;
    struct Case {
        char const* line;
        char const* reason;
    };
    for (auto const& [line, reason] :
         {Case{"SetDevice * Lines 0;", "Lines"}, Case{"SetDevice * Colour 1;", "Colour"},
          Case{"SetDevice * Gauge round;", "round"}, Case{"Measure Other;", "Other.so"},
          Case{"Measure " HBTOOLS_TEST_DRIVERS "/throwing.so;", "the device is switched off"},
          Case{"Measure " HBTOOLS_TEST_DRIVERS "/throwingOwn.so;", "a failure of the module's own"},
          Case{"Devices " HBTOOLS_TEST_DRIVERS "/throwingOwn.so;", "a failure of the module's own"},
          Case{"SetDevice " HBTOOLS_TEST_DRIVERS "/throwingStandard.so;", "\"SetDevice\": no such port"},
          Case{"Measure " HBTOOLS_TEST_DRIVERS "/throwingInt.so;", "unbekannte Ausnahme"},
          Case{"Measure " HBTOOLS_TEST_DRIVERS "/whole.so;", "\"Measure\": no such line"},
          Case{"Measure " HBTOOLS_TEST_DRIVERS "/noScanner.so;", "noScanner.so"},
          Case{"Measure " HBTOOLS_TEST_DRIVERS "/foreign.so;", "900"}}) {
        Outcome const refused = Call(scanlab + "do '" + line + "'");
        EXPECT_EQ(refused.code, 1) << line << refused.output;
        EXPECT_TRUE(Has(refused.output, reason)) << refused.output;
    }
}

TEST_F(Programs, ScanlabSaysWhatIsWrongWithADriver) {
    struct Case {
        char const* file;
        int code;
        char const* step;
        char const* reason;
    };
    Write("cut.so", std::string("\x7f"
                                "ELF\2\1\1\0\0\0\0\0\0\0\0\0",
                                16));
    std::string const cut = (folder / "cut.so").string(), sample = HBTOOLS_BINARY_DIR "/bin/Drivers/LaserScanner.so";
    constexpr char const* load = "Laden des Moduls";
    constexpr char const* init = "Start des Treibers";
    constexpr char const* make = "Herstellen des Ger\xc3\xa4tes";
    for (auto const& [file, code, step, reason] :
         {Case{"whole.so", 0, "", "ist in Ordnung: device, Version 1.07"}, Case{"empty.so", 2, init, "\"NewDll\""},
          Case{"noObject.so", 2, init, "\"NewObject\""}, Case{"throwing.so", 2, make, "the device is switched off"},
          Case{"throwingInt.so", 2, make, "unbekannte Ausnahme"}, Case{"crashing.so", 2, make, "Absturz (Signal 11)"},
          Case{"hanging.so", 2, make, "keine Antwort nach 2 Sekunden"}, Case{"ending.so", 2, make, "(Code 7)"},
          Case{"foreign.so", 2, init, "900"}, Case{"noScanner.so", 2, make, "keine Messger"},
          Case{"unresolved.so", 2, load, "NobodyHasThis"}, Case{"hangingLoad.so", 2, load, "keine Antwort"},
          Case{"throwingStandard.so", 2, make, "no such port"}, Case{"noisy.so", 0, "", "ist in Ordnung"},
          Case{"endingLate.so", 2, "Entladen des Moduls", "(Code 0)"}, Case{"missing.so", 2, load, "missing.so"},
          Case{cut.c_str(), 2, load, "cut.so"}, Case{sample.c_str(), 0, "", "ist in Ordnung: hbTools LS-0"}}) {
        std::string const path = *file == '/' ? file : std::string(HBTOOLS_TEST_DRIVERS "/") + file;
        std::string const seconds = std::string(file).starts_with("hanging") ? "2" : "60";
        // The signal itself, not what a sanitizer makes of it.
        Outcome const outcome = Call(
            "ASAN_OPTIONS=$ASAN_OPTIONS:handle_segv=0 TSAN_OPTIONS=$TSAN_OPTIONS:handle_segv=0 "
            "./scanlab --seconds " +
            seconds + " --check-driver '" + path + "'");
        EXPECT_EQ(outcome.code, code) << file;
        EXPECT_TRUE(Has(outcome.output, path) && Has(outcome.output, step) && Has(outcome.output, reason))
            << outcome.output;
    }
    fs::rename(cut, folder / "it's\r\ncut.so");
    Outcome const named = Call("./scanlab --check-driver \"" + (folder / "it's\r\ncut.so").string() + '"');
    EXPECT_TRUE(named.code == 2 && Has(named.output, load) && Has(named.output, "it's")) << named.output;
    EXPECT_EQ(Call("./scanlab --marks /nowhere/marks --try-driver " HBTOOLS_TEST_DRIVERS "/whole.so").code, 1);
    // Without what it needs, the check blames nobody.
    Outcome const untried = Call("PATH=/nowhere ./scanlab --check-driver " HBTOOLS_TEST_DRIVERS "/whole.so");
    EXPECT_EQ(untried.code, 1);
    EXPECT_EQ(untried.output,
              "scanlab: Der Treiber kann nicht gepr\xc3\xbc"
              "ft werden\n");
}

}  // namespace
