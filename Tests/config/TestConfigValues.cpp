// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The typed values of both classes. Failure texts are written out, with %f for the path of the file.
#include "../base/Support.h"
#include "hbtools/base/syResource.h"
#include "hbtools/config/syConfigMT.h"
#include "hbtools/config/syConfiguration.h"

#include <cmath>
#include <functional>
#include <limits>
#include <vector>
#include <locale.h>
#include <sys/stat.h>

namespace {

using namespace KxN;
using test::U;

template <class CONFIG>
class ConfigValues : public test::TempFolder {
protected:
    static constexpr bool isMT = std::is_same_v<CONFIG, KxConfigMT>;

    ConfigValues() { Put("f", "[G]\n"); }

    std::string WithPath(std::string text, std::string const& path) const {
        for (std::size_t at = text.find("%f"); at != text.npos; at = text.find("%f", at + 1)) text.replace(at, 2, path);
        return text;
    }
    /// Does it with the flag clear and set: the result, then the text of what was thrown.
    std::string Tell(std::string const& bytes, std::function<int(CONFIG&)> const& action) {
        Put("f", bytes);
        CONFIG quiet(Path("f"), 0), loud(Path("f"), 1);
        quiet.SetGroup(L"G");
        loud.SetGroup(L"G");
        int const result = action(quiet);
        if (result != 0) {
            EXPECT_EQ(action(loud), result);
            return std::to_string(result);
        }
        return test::Thrown<KxConfigurationException>([&] { action(loud); });
    }
    /// One value read as T, "0" and the target as it was if that fails.
    template <class T, class... RANGE>
    std::string As(std::string const& text, RANGE... range) {
        Put("f", "[G]\nk=" + text + "\n");
        CONFIG config(Path("f"), 0);
        config.SetGroup(L"G");
        T value = 77;
        if (config.Read(value, L"k", range...)) return U(KxString().SPrintf(L"%.17lg", double(value)));
        EXPECT_EQ(value, T(77));
        return "-";
    }
};

using Classes = testing::Types<KxConfiguration, KxConfigMT>;
TYPED_TEST_SUITE(ConfigValues, Classes);

TYPED_TEST(ConfigValues, Numbers) {
    struct {
        char const *text, *asLong, *asUlong, *asShort, *asUchar, *asDouble, *asFloat;
    } const cases[] = {
        {"12", "12", "12", "12", "12", "12", "12"},
        {"-1", "-1", "-", "-1", "-", "-1", "-1"},
        {"+255", "255", "255", "255", "255", "255", "255"},
        {"256", "256", "256", "256", "-", "256", "256"},
        {"-32769", "-32769", "-", "-", "-", "-32769", "-32769"},
        {"2147483648", "-", "2147483648", "-", "-", "2147483648", "2147483648"},
        {"-2147483648", "-2147483648", "-", "-", "-", "-2147483648", "-2147483648"},
        {"4294967296", "-", "-", "-", "-", "4294967296", "4294967296"},
        {"18446744073709551617", "-", "-", "-", "-", "1.8446744073709552e+19", "1.8446744073709552e+19"},
        {"99999999999999999999999999", "-", "-", "-", "-", "1e+26", "1.0000000253776429e+26"},
        {"0.5", "-", "-", "-", "-", "0.5", "0.5"},
        {"1,5", "-", "-", "-", "-", "1", "1"},
        {"12abc", "-", "-", "-", "-", "12", "12"},
        {"0x10", "-", "-", "-", "-", "-", "-"},
        {"0X10", "-", "-", "-", "-", "-", "-"},
        {"+", "-", "-", "-", "-", "-", "-"},
        {"-.5e1x", "-", "-", "-", "-", "-5", "-5"},
        {"nan", "-", "-", "-", "-", "-", "-"},
        {"-inf", "-", "-", "-", "-", "-", "-"},
        {"+-1", "-", "-", "-", "-", "-", "-"},
        {"1e39", "-", "-", "-", "-", "9.9999999999999994e+38", "-"},
        {"1e999", "-", "-", "-", "-", "-", "-"},
        {"1e-999", "-", "-", "-", "-", "0", "0"},
        {".", "-", "-", "-", "-", "-", "-"},
        {"\xD9\xA3", "-", "-", "-", "-", "-", "-"},
    };
    for (auto const& c : cases) {
        EXPECT_EQ(this->template As<long>(c.text), c.asLong) << c.text;
        EXPECT_EQ(this->template As<unsigned long>(c.text), c.asUlong) << c.text;
        EXPECT_EQ(this->template As<short>(c.text), c.asShort) << c.text;
        EXPECT_EQ(this->template As<unsigned char>(c.text), c.asUchar) << c.text;
        EXPECT_EQ(this->template As<double>(c.text), c.asDouble) << c.text;
        EXPECT_EQ(this->template As<float>(c.text), c.asFloat) << c.text;
    }
    // Ends of a range belong to it; one beyond 32 bits widens nothing.
    EXPECT_EQ(this->template As<int>("5", KxTRange<int>(5, 6)) + this->template As<int>("7", KxTRange<int>(5, 6)),
              "5-");
    EXPECT_EQ(this->template As<long>("3000000000", KxTRange<long>(0, 4000000000)), "-");
    EXPECT_EQ(this->template As<long>("-3000000000", KxTRange<long>(-4000000000, 0)), "-");
    EXPECT_EQ(this->template As<unsigned long>("5", KxTRange<unsigned long>(6, ~0UL)), "-");
    EXPECT_EQ(this->template As<float>("0.5", KxTFloatRange<float>(0.5F, 1)), "0.5");
    EXPECT_EQ(this->template As<float>("0.1", KxTFloatRange<float>(0.1F, 1)), "0.10000000149011612");  // as a float
    EXPECT_EQ(this->template As<float>("0.1", KxTFloatRange<float>(0, std::nextafter(0.1F, 0.0F))), "-");
    EXPECT_EQ(
        this->template As<double>("1", KxTRange<double>(0, 1)) + this->template As<float>("1", KxTRange<float>(2, 3)),
        "1-");  // the other type of range serves too
    EXPECT_EQ(this->template As<unsigned long>("5", KxTRange<unsigned long>(~0UL, ~0UL)),
              "-");  // beyond all signed ones
    // The finite range of the type is the widest: its largest number as printed, and the next power of ten.
    float const infinite = std::numeric_limits<float>::infinity();
    double const wide = infinite;
    EXPECT_EQ(this->template As<float>("3.4028235e38", KxTFloatRange<float>(0, infinite)), "3.4028234663852886e+38");
    EXPECT_EQ(this->template As<float>("3.4028236e38", KxTFloatRange<float>(0, infinite)), "-");
    EXPECT_EQ(this->template As<float>("-1e39", KxTFloatRange<float>(-infinite, 0)), "-");
    EXPECT_EQ(this->template As<double>("1e999", KxTFloatRange<double>(0, wide)), "-");
}

// Numbers have a point in every locale.
TYPED_TEST(ConfigValues, DecimalComma) {
    char const* found = nullptr;
    for (char const* name : {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "de_AT.UTF-8", "fr_FR.UTF-8", "it_IT.UTF-8"})
        if (!found) found = ::setlocale(LC_ALL, name);
    std::string const made = this->File("de_DE.UTF-8").string();
    if (!found && std::system(("localedef -i de_DE -f UTF-8 " + made + " > /dev/null 2>&1").c_str()) == 0) {
        ::setenv("LOCPATH", this->m_folder.c_str(), 1);
        found = ::setlocale(LC_ALL, "de_DE.UTF-8");
        ::unsetenv("LOCPATH");
    }
    if (!found) GTEST_SKIP() << "this system has no locale with a decimal comma";
    EXPECT_EQ(std::string(::localeconv()->decimal_point), ",");
    EXPECT_EQ(this->template As<double>("1.5") + this->template As<double>("1,5"), "1.51");
    EXPECT_EQ(this->Tell("[G]\n", [](TypeParam& c) { return c.Write(0.5, L"k", 3); }), "1");
    EXPECT_EQ(this->Get("f"), "[G]\nk=0.5\n");
    ::setlocale(LC_ALL, "C");
}

// The forms that give the value itself, 0 on failure.
TYPED_TEST(ConfigValues, ValuesThemselves) {
    this->Put("f",
              "[G]\nl=-70000\nu=4000000000\ns=-300\nw=60000\nf=-1.5\np=2;65535\nr=1;2;-3;4\nbig=1;2;70000;4\nlong=0;0;"
              "3000000000;1\n");
    TypeParam config(this->Path("f"), 0);
    config.SetGroup(L"G");
    KxTRectangle<int> ints;
    KxTRectangle<short> shorts;
    KxTRange<unsigned short> const ordered = config.ReadRangeUSHORT(L"p", 1);
    std::vector<double> const read = {double(config.ReadLONG(L"l")),
                                      double(config.ReadLONG(L"l", KxTRange<long>(-70000, 0))),
                                      double(config.ReadLONG(L"l", KxTRange<long>(-69999, 0))),
                                      double(config.ReadULONG(L"u")),
                                      double(config.ReadULONG(L"l")),
                                      double(config.ReadULONG(L"u", KxTRange<unsigned long>(1, 4000000000))),
                                      double(config.ReadULONG(L"u", KxTRange<unsigned long>(1, 2))),
                                      double(config.ReadSHORT(L"s")),
                                      double(config.ReadSHORT(L"w")),
                                      double(config.ReadSHORT(L"s", KxTRange<short>(-300, -300))),
                                      double(config.ReadSHORT(L"s", KxTRange<short>(1, 2))),
                                      double(config.ReadUSHORT(L"w")),
                                      double(config.ReadUSHORT(L"s")),
                                      double(config.ReadUSHORT(L"w", KxTRange<unsigned short>(60000, 60001))),
                                      double(config.ReadUSHORT(L"w", KxTRange<unsigned short>(0, 1))),
                                      double(config.ReadFLOAT(L"f")),
                                      double(config.ReadFLOAT(L"f", KxTFloatRange<float>(-1.5F, 0))),
                                      double(config.ReadFLOAT(L"f", KxTFloatRange<float>(0, 1))),
                                      double(ordered.minimum),
                                      double(ordered.maximum),
                                      double(config.Read(ints, L"r")),
                                      double(config.Read(ints, L"big", KxTRectangle<int>(0, 0, 69999, 9))),
                                      double(config.Read(shorts, L"r", KxTRectangle<short>(-3, 0, 1, 4))),
                                      double(config.Read(shorts, L"big"))};
    EXPECT_EQ(read, (std::vector<double>{-70000, -70000, 0, 4e9,  0,    4e9, 0, -300,  0, -300, 0, 60000,
                                         0,      60000,  0, -1.5, -1.5, 0,   2, 65535, 1, 0,    1, 0}));
    EXPECT_TRUE(ints == KxTRectangle<int>(1, 2, -3, 4) && shorts == KxTRectangle<short>(1, 2, -3, 4));
    KxTRectangle<long> longs;  // a limit beyond the 32 bits of what is stored widens nothing
    EXPECT_EQ(config.Read(longs, L"long", KxTRectangle<long>(0, 0, 4000000000, 4000000000)), 0);
}

TYPED_TEST(ConfigValues, FailuresSayWhatIsWrong) {
    using Config = TypeParam;
    KxEnum const colours(1, "red", "Green", nullptr);
    KxTRange<int> const hundred(0, 100), tens(5, 10);
    KxTPair<int> pair;
    KxTPair<double> doubles;
    KxTRectangle<long> rectangle;
    int number = 0;
    KxDirEntry path;
    auto const readPair = [&](KxTRange<int> first, KxTRange<int> second, int ordered) {
        return [&pair, first, second, ordered](Config& c) { return c.Read(pair, L"k", first, second, ordered); };
    };
    auto const readInt = [&](Config& c) { return c.Read(number, L"k", KxTRange<int>(1, 9)); };
    auto const readEnum = [&](Config& c) { return c.Read(number, L"k", colours, 0); };
    auto const readPath = [&](Config& c) { return c.Read(path, L"k", 1); };
    auto const readRectangle = [&](Config& c) { return c.Read(rectangle, L"k", KxTRectangle<long>(0, 0, 9, 5)); };
    std::string const missing = "Der Schlüssel 'k' konnte in der Gruppe [G] der Datei '%f' nicht gelesen werden";
    std::string const range = "Der Schlüssel 'k' der Gruppe [G] in der Datei '%f' enthält den unzulässigen Wert '";
    std::string const key = "Schlüssel 'k' von Gruppe [G] in der Datei '%f' ";
    std::string const refused =
        key + "enthält unzulässige Parameter!\nDie erste Zahl darf nicht größer als die zweite sein";
    std::string const tooFew = key + "enthält zu wenig Parameter!\nEs werden ";
    struct {
        std::string value;
        std::function<int(Config&)> action;
        std::string told;
    } const cases[] = {
        {"", [](Config& c) { return c.ReadString(L"k").Len(); }, missing},
        {"x", [](Config& c) { return c.ReadString(L"k").Len(); }, "1"},
        {"", [](Config& c) { return c.ReadBOOL(L"k"); }, missing},
        {"True", [](Config& c) { return c.ReadBOOL(L"k"); }, "1"},
        {"10", readInt, range + "10'. Erlaubt ist der Bereich von 1 bis 9"},
        {"x", [&](Config& c) { return c.Read(doubles.first, L"k"); },
         range + "x'. Erlaubt ist der Bereich von -1.79769e+308 bis 1.79769e+308"},
        {"2", [&](Config& c) { return int(c.ReadFLOAT(L"k", KxTFloatRange<float>(0, 0.5F))); },
         range + "2'. Erlaubt ist der Bereich von 0 bis 0.5"},
        {"12", readPair(hundred, hundred, 0), tooFew + "2 mit Semikolon getrennte Zahlen erwartet"},
        {"12;x", readPair(hundred, hundred, 0), range + "12;x'. Erlaubt ist der Bereich von 0 bis 100"},
        {"12;x", readPair(hundred, tens, 0), range + "12;x'. Erlaubt ist der Bereich von 5 bis 10"},
        {"x;6", readPair(KxTRange<int>(-1, 7), tens, 0), range + "x;6'. Erlaubt ist der Bereich von -1 bis 10"},
        {"101;4", readPair(hundred, tens, 0), range + "101;4'. Erlaubt ist der Bereich von 0 bis 100"},
        {"5;4", readPair(hundred, hundred, 0), "1"},
        {"5;4", readPair(hundred, hundred, 1), refused},
        {"5;5;junk", readPair(hundred, hundred, 1), "1"},
        {"1.5;x",
         [&](Config& c) {
             return c.Read(doubles, L"k", KxTFloatRange<double>(0, 2), {-1, 1}, 0);
         },
         range + "1.5;x'. Erlaubt ist der Bereich von -1 bis 2"},
        {"1.5", [&](Config& c) { return c.Read(doubles, L"k", 1); },
         tooFew + "2 mit Semikolon getrennte Zahlen erwartet"},
        {" 1.5; 2mm", [&](Config& c) { return c.Read(doubles, L"k", 1); }, "1"},
        {"1.5;2", [&](Config& c) { return c.Read(doubles, L"k", KxTRange<double>(1, 1.5), KxTRange<double>(2, 3), 1); },
         "1"},
        {"1.5;2",
         [&](Config& c) {
             return c.Read(doubles, L"k", {1.5, 1.6}, {2, 2}, 1);
         },
         "1"},
        {"1.5;2", [&](Config& c) { return c.Read(doubles, L"k", KxTRange<double>(0, 1), KxTRange<double>(2, 3), 1); },
         range + "1.5;2'. Erlaubt ist der Bereich von 0 bis 1"},
        {"1;2;3", readRectangle, tooFew + "4 mit Semikolon getrennte Zahlen erwartet"},
        {"1;2;3;x", readRectangle, refused},
        {"1;2;10;4", readRectangle, refused},
        {"1;-1;9;5", readRectangle, refused},
        {"1;2;9;5", readRectangle, "1"},
        {"GREEN", readEnum, "1"},
        {"blue", readEnum, key + "enthält unzulässigen Parameter 'blue'!\nErlaubt sind:\nred\nGreen\n"},
        {"RED", [&](Config& c) { return c.Read(number, L"k", colours, 1); },
         key + "enthält unzulässigen Parameter 'RED'!\nErlaubt sind:\nred\nGreen\n"},
        {std::string("a\0b", 3), readPath, key + "enthält den unzulässigen Pfad '" + std::string("a\0b", 3) + "'"},
        {"/no/such", readPath, key + "verweist auf '/no/such'; Das Ziel existiert nicht"},
        {"../no/../such", readPath, key + "verweist auf '../no/../such'; Das Ziel existiert nicht"},
        {"/dev/null/x", readPath, key + "verweist auf '/dev/null/x'; Das Ziel existiert nicht"},
        {"/", readPath, "1"},
        {"/no/such", [&](Config& c) { return c.Read(path, L"k", 0); }, "1"},
    };
    for (auto const& c : cases)
        EXPECT_EQ(this->Tell("[G]\nx=1\nk=" + c.value + "\n", c.action), this->WithPath(c.told, U(this->Path("f"))))
            << c.value;
    // Nothing of a failure reaches the target.
    EXPECT_TRUE(pair == KxTPair<int>(5, 5) && doubles == KxTPair<double>(1.5, 2));
    EXPECT_TRUE(rectangle == KxTRectangle<long>(1, 2, 9, 5));

    Config config(this->Path("f"), 0);
    config.SetGroup(L"G");
    EXPECT_EQ(test::Thrown<KxConfigurationException>([&] { config.ThrowInvalidKeyException(L"k"); }),
              this->WithPath(missing, U(this->Path("f"))));
    EXPECT_TRUE(config.ReadRangeUSHORT(L"x", 1) == KxTRange<unsigned short>());
}

TYPED_TEST(ConfigValues, GroupsAndMissingFiles) {
    this->Put("f", "[G]\na=1\nb=\n");
    std::string const path = U(this->Path("f"));
    TypeParam quiet(this->Path("f"), 0), loud(this->Path("f"), 1);
    EXPECT_EQ(quiet.SetGroup(L"g", 2) + 2 * quiet.SetGroup(L"G", 3), 1);
    EXPECT_EQ(U(quiet.GetGroup()), "G");
    EXPECT_EQ(test::Thrown<KxConfigurationException>([&] { loud.SetGroup(L"G", 3); }),
              this->isMT ? "Gruppe [" + path + "] in der Datei 'G' enthält weniger als die notwendigen 3 Einträge"
                         : "Gruppe [G] in der Datei '" + path + "' enthält weniger als die notwendigen 3 Einträge");

    TypeParam none(this->Path("none"), 0), noneLoud(this->Path("none"), 1);
    KxString text = L"as before";
    EXPECT_EQ(none.Read(text, L"k"), 0);
    EXPECT_EQ(U(text), "as before");
    EXPECT_EQ(test::Thrown<KxConfigurationException>([&] { noneLoud.Read(text, L"k"); }),
              "Die Datei \"" + U(this->Path("none")) + "\" existiert nicht");

    // Once SetGroup has found a key, a file that is gone is no failure of its own any more.
    this->Put("gone", "[G]\na=1\n[E]\n");
    TypeParam seen(this->Path("gone"), 1), unseen(this->Path("gone"), 1);
    EXPECT_EQ(seen.SetGroup(L"G", 1) + unseen.SetGroup(L"E", 0), 2);
    std::filesystem::remove(this->File("gone"));
    EXPECT_EQ(
        test::Thrown<KxConfigurationException>([&] { seen.Read(text, L"k"); }),
        "Der Schlüssel 'k' konnte in der Gruppe [G] der Datei '" + U(this->Path("gone")) + "' nicht gelesen werden");
    EXPECT_EQ(test::Thrown<KxConfigurationException>([&] { unseen.Read(text, L"k"); }),
              "Die Datei \"" + U(this->Path("gone")) + "\" existiert nicht");
    // A key that is not there is the same failure for values of every kind.
    std::function<int(TypeParam&)> const kinds[] = {
        [](TypeParam& c) {
            int v;
            return c.Read(v, L"k", KxTRange<int>(1, 9));
        },
        [](TypeParam& c) {
            double v;
            return c.Read(v, L"k");
        },
        [](TypeParam& c) {
            KxTPair<int> v;
            return c.Read(v, L"k", {0, 1}, {0, 1}, 0);
        },
        [](TypeParam& c) {
            KxTPair<double> v;
            return c.Read(v, L"k", 1);
        },
        [](TypeParam& c) {
            KxTRectangle<int> v;
            return c.Read(v, L"k");
        },
        [](TypeParam& c) {
            KxDirEntry v;
            return c.Read(v, L"k", 1);
        },
    };
    for (auto const& read : kinds)
        EXPECT_EQ(this->Tell("[G]\nx=1\n", read), "Der Schlüssel 'k' konnte in der Gruppe [G] der Datei '" +
                                                      U(this->Path("f")) + "' nicht gelesen werden");
    ASSERT_EQ(::mkfifo(this->File("fifo").c_str(), 0600), 0);  // no waiting, and nothing in it
    TypeParam fifo(this->Path("fifo"), 0);
    EXPECT_EQ(fifo.SetGroup(L"G", 1) + fifo.Read(text, L"k"), 0);
}

TYPED_TEST(ConfigValues, Writing) {
    KxEnum const colours(1, "red", "Green", nullptr);
    double const nan = std::nan("");
    using Config = TypeParam;
    struct {
        std::function<int(Config&)> write;
        std::string line;
    } const cases[] = {
        {[](Config& c) { return c.Write(L"text", L"k"); }, "k=text\n"},
        {[](Config& c) { return c.Write(-5, L"k"); }, "k=-5\n"},
        {[](Config& c) { return c.Write(0.5, L"k", 3); }, "k=0.5\n"},
        {[](Config& c) { return c.Write(2.0 / 3, L"k", 3); }, "k=0.667\n"},
        {[](Config& c) { return c.Write(0.1, L"k", 65535); },
         "k=0.1000000000000000055511151231257827021181583404541015625\n"},
        {[](Config& c) { return c.Write(KxTPair<double>(1, -2.25), L"k", 1); }, "k=1.0;-2.2\n"},
        {[](Config& c) { return c.Write(KxTPair<float>(0.5F, 4), L"k", 2); }, "k=0.50;4.00\n"},
        {[](Config& c) { return c.Write(KxTPair<unsigned long>(0, 4294967295), L"k"); }, "k=0;4294967295\n"},
        {[](Config& c) { return c.Write(KxTRectangle<short>(1, 2, -3, 4), L"k"); }, "k=1;2;-3;4\n"},
        {[](Config& c) { return c.Write(KxDirEntry(L"/tmp"), L"k"); }, "k=/tmp/\n"},
        {[](Config& c) { return c.Write(KxDirEntry(L"/no/file"), L"k"); }, "k=/no/file\n"},
        {[&](Config& c) { return c.Write(2, L"k", colours, 1); }, "k=GREEN\n"},
        {[&](Config& c) { return c.Write(2, L"k", colours, 0); }, "k=Green\n"},
        // What could not be read again is refused.
        {[&](Config& c) { return c.Write(3, L"k", colours, 0); }, "3"},
        {[](Config& c) { return c.Write(4294967296, L"k"); }, "4294967296"},
        {[&](Config& c) { return c.Write(nan, L"k", 3); }, "nan"},
        {[&](Config& c) { return c.Write(KxTPair<double>(nan, 1), L"k", 1); }, "nan;1.0"},
        {[&](Config& c) { return c.Write(KxTPair<double>(1, nan), L"k", 1); }, "1.0;nan"},
        {[](Config& c) { return c.Write(KxTPair<long>(-4294967296, 1), L"k"); }, "-4294967296;1"},
        {[](Config& c) { return c.Write(KxTPair<long>(1, 4294967296), L"k"); }, "1;4294967296"},
        {[](Config& c) { return c.Write(L"a\nb", L"k"); }, "a\nb"},
    };
    for (auto const& c : cases) {
        std::string const told = this->Tell("[G]\n", c.write);
        std::string const names = this->isMT ? "'G' von Gruppe [k]" : "'k' von Gruppe [G]";
        bool const isWritten = c.line.starts_with("k=");
        EXPECT_EQ(told, isWritten ? "1"
                                  : this->WithPath(
                                        "Schlüssel " + names + " in der Datei '%f' konnte nicht auf den Wert '" +
                                            c.line + "' gesetzt werden. Möglicherweise ist die Datei schreibgeschützt",
                                        U(this->Path("f"))));
        EXPECT_EQ(this->Get("f"), isWritten ? "[G]\n" + c.line : "[G]\n");
    }
}

TEST(ConfigTexts, ResourcesAndExceptions) {
    EXPECT_EQ(U(KxString(KxResId(6316))),
              "Schlüssel '%s' von Gruppe [%s] in der Datei '%s' enthält Parameter für ein "
              "Rechteck, daß die zulässigen Grenzen von (%li;%li) ... (%li;%li) überschreitet");
    KxReadKeywordException reason(L"file", 7, L"key", L"group", L"name");
    KxConfigurationException exception(reason);
    std::string const text = U(exception.GetMessage());
    exception.SetSpecMessage(L"special");
    KxConfigurationException copy(exception);
    EXPECT_EQ(U(exception.GetMessage()) + U(copy.GetMessage()) + U(copy.GetKey()), "specialspecialkey");
    exception.SetSpecMessage(L"");
    EXPECT_EQ(U(exception.GetMessage()), text);
    KxConfigurationException special(L"only");
    EXPECT_EQ(U(special.GetKey() + special.GetGroup() + special.GetMessage()) + std::to_string(special.GetSrcLine()),
              "XXXXXXonly0");
}

class ConfigOfOthers : public ConfigValues<KxConfiguration> {};

TEST_F(ConfigOfOthers, ChangesAreSeen) {
    KxConfiguration config(Path("f"), 0);
    KxConfigMT held(Path("f"), 0);
    config.SetGroup(L"G");
    held.SetGroup(L"G");
    Put("f", "[G]\nk=1\n");
    EXPECT_EQ(U(config.ReadString(L"k")) + U(held.ReadString(L"k")), "1");
    ::chmod(File("f").c_str(), 0444);
    EXPECT_EQ(config.Write(L"2", L"k"), 0);
}

TEST_F(ConfigOfOthers, TheEndOfAnUpdateFollowsTheFlag) {
    for (int const throws : {0, 1}) {
        Put("f", "[G]\nk=1\n");
        KxConfiguration config(Path("f"), throws);
        config.SetGroup(L"G");
        EXPECT_EQ(config.EndUpdate(), 1);  // of none
        auto const update = [&] {
            config.BeginUpdate();
            config.BeginUpdate();
            config.Write(L"2", L"k");
            config.SetGroup(L"H");
            config.Write(L"3", L"last");
            config.SetGroup(L"G");
            EXPECT_EQ(config.EndUpdate(), 1);
            return config.EndUpdate();
        };
        EXPECT_EQ(update(), 1);
        EXPECT_EQ(Get("f"), "[G]\nk=2\n[H]\nlast=3\n");
        Put("f", "[G]\nk=1\n");
        ::chmod(File("f").c_str(), 0444);
        EXPECT_EQ(throws ? test::Thrown<KxConfigurationException>(update) : std::to_string(update()),
                  throws ? "Schlüssel 'last' von Gruppe [H] in der Datei '" + U(Path("f")) +
                               "' konnte nicht auf den Wert '3' gesetzt werden. Möglicherweise ist die Datei "
                               "schreibgeschützt"
                         : "0");
        EXPECT_EQ(U(config.ReadString(L"k")), "1");
        std::filesystem::remove(File("f"));
    }
}

}  // namespace
