// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT

#include "OperatorTest.h"

using namespace test;

namespace {

SxFileFilter const textFilter{L"Text", L"*.txt", L"txt"}, cloudFilter{L"Cloud", L"*.ply", L"PLY"},
    anyFilter{L"Any", L"*", L"*"};

using Made = std::unique_ptr<KxParameter>;
struct Make {
    static Made Bool() { return std::make_unique<KxParameterBool>(1, Id(100), 0, 1); }
    static Made Long() { return std::make_unique<KxParameterLong>(1, Id(100), 5, 7, KxTRange<long>(-10, 100), 2); }
    static Made WideLong() {
        return std::make_unique<KxParameterLong>(1, Id(100), 0, 0, KxTRange<long>(-99999999999, 99999999999), 1);
    }
    static Made Double() {
        return std::make_unique<KxParameterDouble>(1, Id(100), 1.5, 2, KxTFloatRange<double>(1, 1e6), 0.125, 2);
    }
    static Made Wide() {
        auto wide = std::make_unique<KxParameterDouble>();
        wide->SetId(1, Id(100));
        return wide;
    }
    static Made String() { return std::make_unique<KxParameterString>(1, Id(100), L"a", L"b"); }
    static Made List() { return std::make_unique<KxParameterList>(1, Id(100), L"red", L"green", L"red", L"green"); }
    static Made File() {
        return std::make_unique<KxParameterFile>(1, Id(100), textFilter, cloudFilter, 1, L"a.txt", L"b.txt");
    }
    // The same, which get their names later.
    static Made Later(Made made) {
        made->SetId(1, Id(100));
        return made;
    }
    static Made BoolLater() { return Later(std::make_unique<KxParameterBool>(1, 0, 1)); }
    static Made LongLater() { return Later(std::make_unique<KxParameterLong>(1, 5, 7, KxTRange<long>(-10, 100), 2)); }
    static Made DoubleLater() {
        return Later(std::make_unique<KxParameterDouble>(1, 1.5, 2, KxTFloatRange<double>(1, 1e6), 0.125, 2));
    }
    static Made StringLater() { return Later(std::make_unique<KxParameterString>(1, L"a", L"b")); }
    static Made ListLater() { return Later(std::make_unique<KxParameterList>(1, L"red", L"green", L"red", L"green")); }
    static Made FileLater() { return Later(std::make_unique<KxParameterFile>(1, textFilter, 1, L"a.txt", L"b.txt")); }
    static Made ColorLater() {
        return Later(std::make_unique<KxParameterColor>(1, KxColor(1, 2, 3), KxColor(4, 5, 6)));
    }
    static Made Color() { return std::make_unique<KxParameterColor>(1, Id(100), KxColor(1, 2, 3), KxColor(4, 5, 6)); }
};

std::string WrongType(std::string const& value, std::string const& word) {
    return "Der Wert \"" + value + "\" kann dem Parameter \"Value\" nicht zugewiesen werden, da er nicht vom Typ " +
           word + " ist";
}
std::string OutOfRange(std::string const& word, std::string const& value, std::string const& range) {
    return "Die Zuweisung des Parameters \"Value\" vom Typ " + word + " mit dem " + value +
           " liegt außerhalb des gültigen Bereiches von " + range;
}

TEST(Parameter, TextsFlagsAndCopies) {
    KxParameterLong parameter(7, Id(100), 1, 1, {0, 9}, 1);
    EXPECT_EQ(U(parameter.GetFixName()) + U(parameter.GetUIName()) + U(parameter.GetHelpText()), "ValueWertHilfe");
    EXPECT_EQ(parameter.GetId(), 7);
    Listener listener(parameter);
    parameter.SetId(8, Id(65534));
    EXPECT_EQ(U(parameter.GetFixName()) + U(parameter.GetUIName()) + U(parameter.GetHelpText()), "LastLetzter");
    parameter.SetId(100);  // no module: nothing, until the application names one
    EXPECT_TRUE(!parameter.GetFixName());
    EXPECT_EQ(AfxSetResourceModule(&applicationModule), nullptr);
    parameter.SetId(100);
    EXPECT_EQ(AfxSetResourceModule(nullptr), &applicationModule);
    EXPECT_EQ(U(parameter.GetFixName()), "Value");

    EXPECT_TRUE(parameter.IsVisible() && parameter.IsEnabled());
    parameter.SetInvisible();
    EXPECT_FALSE(parameter.IsVisible());
    EXPECT_EQ(Thrown<KxNotImplementedException>([&] { parameter.SetVisibility(0); }), "KxParameter::SetVisibility");
    EXPECT_EQ(listener.Take(), "");
    parameter.Enable();
    parameter.Disable();
    EXPECT_EQ(listener.Take(), "E1 E0 ");

    parameter.SetUserLevel(3);
    KxParameterLong copy(parameter), assigned;
    assigned.SignalValueChanged.Connect(&listener, &Listener::OnAttributes);  // gives way
    assigned = parameter;
    copy.SetValue(2);
    assigned.SetValue(3);
    EXPECT_EQ(listener.Take(), "V:2 V:3 ");
    EXPECT_TRUE(copy.GetUserLevel() == 3 && !copy.IsVisible() && !copy.IsEnabled() && copy.GetId() == 100);
    EXPECT_EQ(copy.GetRange(), KxTRange<long>(0, 9));
    EXPECT_EQ(parameter.GetValue(), 1);
}

TEST(Parameter, Types) {
    EXPECT_EQ(KxParameterBool().GetType(), 1);
    EXPECT_EQ(KxParameterLong().GetType(), 2);
    EXPECT_EQ(KxParameterDouble().GetType(), 3);
    EXPECT_EQ(KxParameterString().GetType(), 4);
    EXPECT_EQ(KxParameterList().GetType(), 5);
    EXPECT_EQ(KxParameterFile().GetType(), 6);
    EXPECT_EQ(KxParameterColor().GetType(), 8);
    EXPECT_EQ(KxParameterLong().GetRange(), KxTRange<long>(-2147483648L, 2147483647L));
    EXPECT_EQ(KxParameterDouble().GetRange().minimum, -1.7976931348623157e308);
}

TEST(Parameter, TextForms) {
    std::string const huge(400, '9');
    struct {
        Made (*make)();
        std::string text, heard, error;
    } const cases[] = {
        {Make::Bool, "tRuE", "V:TRUE ", ""},
        {Make::Bool, "false", "V:FALSE ", ""},
        {Make::Bool, "1", "", WrongType("1", "bool")},
        {Make::Bool, " TRUE", "", WrongType(" TRUE", "bool")},
        {Make::Long, "-10", "V:-10 ", ""},
        {Make::Long, "+0100", "V:100 ", ""},
        {Make::Long, "1.0", "", WrongType("1.0", "long")},
        {Make::Long, "%s%n", "", WrongType("%s%n", "long")},
        {Make::Long, "-11", "", OutOfRange("long", "Wert -11", "-10 bis 100")},
        {Make::Long, "5000000000", "", OutOfRange("long", "Wert 5000000000", "-10 bis 100")},
        {Make::WideLong, "-2147483648", "V:-2147483648 ", ""},
        {Make::WideLong, "2147483648", "", OutOfRange("long", "Wert 2147483648", "-2147483648 bis 2147483647")},
        {Make::WideLong, huge, "", OutOfRange("long", "Wert 1000000000000000000", "-2147483648 bis 2147483647")},
        {Make::Double, "1", "V:1.00 ", ""},
        {Make::Double, "+12.5e1", "V:125.00 ", ""},
        {Make::Double, "0.995", "", OutOfRange("double", "Wert 0.995", "1 bis 1e+06")},
        {Make::Double, "nan", "", WrongType("nan", "double")},
        {Make::Double, "1,5", "", WrongType("1,5", "double")},
        {Make::Double, "", "", WrongType("", "double")},
        {Make::Wide, "-1.7976931348623157e308", "V:-17976931348623157", ""},
        {Make::Wide, "1e999", "", OutOfRange("double", "Wert inf", "-1.79769e+308 bis 1.79769e+308")},
        {Make::Wide, "-" + huge, "", OutOfRange("double", "Wert -inf", "-1.79769e+308 bis 1.79769e+308")},
        {Make::Wide, "1e-999", "V:0.00 ", ""},
        {Make::String, "%s \t\"", "V:%s \t\" ", ""},
        {Make::List, "green", "V:green ", ""},
        {Make::List, "Green", "",
         "Die Zuweisung des Parameters \"Value\" vom Typ list mit dem Eintrag \"Green\" konnte nicht erfolgen, da der "
         "Eintrag unbekannt ist"},
        {Make::File, "dir//x", "V:dir/x.txt ", ""},
        {Make::File, "x.PLy", "A:x.PLy V:x.PLy ", ""},
        {Make::Color, "(255, 256,-1", "V:(255,0,255) ", ""},
        {Make::Color, "(1,2,99999999999999999999)", "V:(1,2,255) ", ""},
        {Make::Color, "(+1,2,3)", "V:(1,2,3) ", ""},
        {Make::Color, "(1,x,3)", "", WrongType("(1,x,3)", "long")},
        {Make::Color, "(1,2)", "", WrongType("(1,2)", "long")},
        {Make::Color, " (1,2,3)", "", WrongType(" (1,2,3)", "long")},
        {Make::Color, "(1 ,2,3)", "", WrongType("(1 ,2,3)", "long")},
    };
    for (auto const& c : cases) {
        Made const parameter = c.make();
        Listener listener(*parameter);
        std::string const before = U(parameter->GetValueAsString());
        KxString const text(KxxWidenUtf8(c.text));
        if (!c.error.empty()) {
            EXPECT_EQ(Thrown<KxException>([&] { parameter->SetValueFromString(text); }), c.error);
            EXPECT_EQ(U(parameter->GetValueAsString()), before) << c.text;
        } else {
            parameter->SetValueFromString(text);
        }
        std::string const heard = listener.Take();
        EXPECT_EQ(c.make == Make::Wide ? heard.substr(0, c.heard.size()) : heard, c.heard) << c.text;
    }
    EXPECT_EQ(KxParameterBool::ConvertToStatus(L"yes"), 0);
}

TEST(Parameter, DefaultsAndAttributes) {
    KxParameterLong whole(1, Id(100), 5, 5, {0, 10}, 1);
    KxParameterDouble number(1, Id(100), 5, 5, {0, 10}, 1, 1);
    KxParameterList list(1, Id(100), L"a", L"b", L"other", L"other", L"a");
    Listener heardWhole(whole), heardNumber(number), heardList(list);
    EXPECT_EQ(Thrown<KxException>([&] { whole.SetDefaultValue(11); }),
              OutOfRange("long", "Vorgabe-Wert 11", "0 bis 10"));
    EXPECT_EQ(Thrown<KxException>([&] { number.SetDefaultValue(-0.5); }),
              OutOfRange("double", "Vorgabe-Wert -0.5", "0 bis 10"));
    EXPECT_EQ(Thrown<KxException>([&] { number.SetValue(std::numeric_limits<double>::quiet_NaN()); }),
              OutOfRange("double", "Wert nan", "0 bis 10"));
    EXPECT_EQ(Thrown<KxException>([&] { list.SetDefaultEntry(L"c"); }),
              "Die Zuweisung des Parameters \"Value\" vom Typ list mit dem 6251Eintrag \"c\" konnte nicht erfolgen, da "
              "der Eintrag unbekannt ist");
    try {
        whole.SetValue(11);
        FAIL();
    } catch (KxException* exception) {  // with a place, but for what has the wrong form
        EXPECT_EQ(U(exception->GetSrcFileName()), "syParamLong");
        exception->Delete();
    }
    whole.SetDefaultValue(10);
    number.SetDefaultValue(0);
    list.SetDefaultEntry(L"b");
    EXPECT_EQ(U(list.GetSelectedDefaultEntry()) + heardWhole.Take() + heardNumber.Take() + heardList.Take(), "b");

    whole.SetRange({6, 7});  // the value stays
    whole.SetIncrement(3);
    number.SetRange({6, 7});
    number.SetPrecision(0);
    number.SetIncrement(0.5);
    EXPECT_EQ(heardWhole.Take() + heardNumber.Take(), "A:5 A:5 A:5.0 A:5 A:5 ");
    EXPECT_EQ(list.GetList().Size(), 3U);
    EXPECT_EQ(U(list.GetSelectedEntry()), "other");
    KxTMem<KxString> two(2);
    two[1] = L"y";
    list.SetList(two);  // both indices stay
    EXPECT_EQ(heardList.Take(), "A: ");
    EXPECT_EQ(U(list.GetSelectedDefaultEntry()), "y");
    KxParameterList const unknown(1, Id(100), two, L"b", L"y");
    EXPECT_EQ(unknown.GetSelectedEntry().Len(), 0);
    KxParameterList const& itself = list;
    list = itself;
    EXPECT_EQ(U(list.GetSelectedDefaultEntry()), "y");
}

TEST(Parameter, Filters) {
    KxTMem<SxFileFilter> filters(3);
    filters[0] = textFilter;
    filters[1] = cloudFilter;
    filters[2] = anyFilter;
    KxParameterFile file(1, Id(100), filters, L"Cloud", L"Text", 1, L"start", L"d");
    Listener listener(file);
    EXPECT_EQ(U(file.GetFileName()) + U(file.GetSelectedFilter().Name) + U(file.GetSelectedDefaultFilter().Name),
              "startCloudText");
    struct {
        std::wstring name, stored;
        unsigned long filter;
    } const cases[] = {{L"scan", L"scan.PLY", 1},       {L"a.b/scan.TXT", L"a.b/scan.TXT", 0},
                       {L"x.dat", L"x.dat", 0},         {L"y", L"y.txt", 0},
                       {L".hidden", L".hidden.txt", 0}, {L"", L"", 0},
                       {L"z.tar.ply", L"z.tar.ply", 1}};
    for (auto const& c : cases) {
        file.SetFileName(c.name);
        EXPECT_EQ(U(file.GetFileName()), KxxToUtf8(c.stored));
        EXPECT_EQ(file.GetSelectedFilterIndex(), c.filter) << KxxToUtf8(c.stored);
    }
    listener.Take();
    file.SelectFilter(L"Any");
    file.SetFileNameWithoutChangingFilter(L"plain");
    file.SetDefaultFilter(L"Cloud");
    EXPECT_EQ(listener.Take(), "A:z.tar.ply V:plain ");
    std::string const message =
        "Die Zuweisung des Dateifilters im Parameter \"Value\" vom Typ file mit dem %Eintrag "
        "\"\" konnte nicht erfolgen, da der Eintrag unbekannt ist";
    for (std::string const prefix : {"", "6291"}) {
        std::string expected = message;
        expected.replace(expected.find('%'), 1, prefix);
        EXPECT_EQ(
            Thrown<KxException>([&] { prefix.empty() ? file.SelectFilter(L"any") : file.SetDefaultFilter(L"any"); }),
            expected);
    }
    EXPECT_EQ(file.GetSelectedFilterIndex(), 2U);
    file.SetFilterList(filters);  // as many: the choice stays
    EXPECT_EQ(file.GetSelectedFilterIndex(), 2U);
    listener.Take();
    file.SetFilterList(KxTMem<SxFileFilter>(&textFilter, 1));
    EXPECT_EQ(file.GetSelectedFilterIndex(), 0U);
    EXPECT_EQ(listener.Take(), "A:plain ");
    file.SetFilterList(KxTMem<SxFileFilter>());
    for (wchar_t const* name : {L"none", L"scan."}) {
        file.SetFileName(name);
        EXPECT_EQ(U(file.GetFileName()), U(KxString(name)));
    }
}

TEST(Parameter, ASlotThatThrowsLeavesNameAndFilter) {
    KxParameterFile file(1, Id(100), textFilter, cloudFilter, 1, L"a.txt", L"");
    struct {
        void Throw(KxParameter&) { throw std::runtime_error("a slot"); }
    } slot;
    file.SignalAttributesChanged.Connect(&slot, &decltype(slot)::Throw);
    EXPECT_THROW(file.SetFileName(L"b.ply"), std::runtime_error);
    EXPECT_EQ(U(file.GetFileName()) + std::to_string(file.GetSelectedFilterIndex()), "b.ply1");
}

class ParameterFiles : public TempFolder {};

TEST_F(ParameterFiles, TypesAndKeysThatAreSaved) {
    struct {
        Made (*make)();
        int type;
        std::string lines;
    } const cases[] = {
        {Make::Bool, 1, "Value=FALSE\nValue(default)=TRUE\n"},
        {Make::Long, 2, "Value=5\nValue(default)=7\nValue(increment)=2\n"},
        {Make::Double, 3, "Value=1.50\nValue(default)=2.00\nValue(increment)=0.12\nValue(precision)=2\n"},
        {Make::String, 4, "Value=a\nValue(default)=b\n"},
        {Make::List, 5, "Value=red\nValue(default)=green\n"},
        {Make::File, 6, "Value=a.txt\nValue(default)=b.txt\nValue(filter)=Text\nValue(defaultfilter)=Cloud\n"},
        {Make::Color, 0, "Value=(1,2,3)\nValue(default)=(4,5,6)\n"},
        {Make::BoolLater, 1, "Value=FALSE\nValue(default)=TRUE\n"},
        {Make::LongLater, 2, "Value=5\nValue(default)=7\nValue(increment)=2\n"},
        {Make::DoubleLater, 3, "Value=1.50\nValue(default)=2.00\nValue(increment)=0.12\nValue(precision)=2\n"},
        {Make::StringLater, 4, "Value=a\nValue(default)=b\n"},
        {Make::ListLater, 5, "Value=red\nValue(default)=green\n"},
        {Make::FileLater, 6, "Value=a.txt\nValue(default)=b.txt\nValue(filter)=Text\nValue(defaultfilter)=Text\n"},
        {Make::ColorLater, 0, "Value=(1,2,3)\nValue(default)=(4,5,6)\n"},
    };
    for (auto const& c : cases) {
        std::filesystem::remove(File("ini"));
        Made const parameter = c.make();
        EXPECT_EQ(parameter->GetType(), c.type);
        parameter->Save(Path("ini"), L"Group");
        EXPECT_EQ(Get("ini"), "[Group]\n" + c.lines);
    }
}

TEST_F(ParameterFiles, KeysThatAreLoaded) {
    std::string const path = File("ini").string();
    struct {
        Made (*make)();
        std::string lines, value, error;
    } const cases[] = {
        {Make::Bool, "", "TRUE", ""},
        {Make::Bool, "Value=false\nValue(default)=x", "FALSE", ""},
        {Make::Bool, "Value=0", "", "!"},
        {Make::Long, "", "7", ""},
        {Make::Long, "Value=9\nValue(increment)=x\nValue(default)=1", "9", ""},
        {Make::Long, "Value=9x", "", "!"},
        {Make::Long, "Value=101", "", "101 -10 100"},
        {Make::WideLong, "Value=4294967296", "", "4294967296 -2147483648 2147483647"},
        {Make::Double, "", "2.00", ""},
        {Make::Double, "Value=0.995", "1.00", ""},
        {Make::Double, "Value=0.99", "", "0.99 1.00 1000000.00"},
        {Make::Double, "Value=0.95\nValue(precision)=1", "1.0", ""},
        {Make::Double, "Value=1000000.001", "", "1000000.00 1.00 1000000.00"},
        {Make::Double, "Value=2\nValue(precision)=99999999999", "2.00000000000000000", ""},
        {Make::Double, "Value=2\nValue(precision)=-4", "2", ""},
        {Make::Double, "Value=inf", "", "!"},
        {Make::Double, "Value=bad\nValue(precision)=0\nValue(increment)=9", "", "!"},
        {Make::String, "Value = %s \nValue(default)=x", "%s", ""},
        {Make::String, "", "b", ""},
        {Make::List, "Value=blue", "green", ""},
        {Make::List, "Value=blue\nValue(default)=red", "red", ""},
        {Make::List, "Value(default)=blue", "green", ""},
        {Make::File, "", "b.txt", ""},
        {Make::File, "Value(default)=x", "x", ""},
        {Make::File, "Value=y\nValue(filter)=none", "y", ""},
        {Make::File, "Value=z.ply", "z.ply", ""},
        {Make::Color, "Value=(1,2)", "(4,5,6)", ""},
        {Make::Color, "Value=(9,8,7)", "(9,8,7)", ""},
    };
    for (auto const& c : cases) {
        Put("ini", "[Group]\n" + c.lines + "\n");
        Made const parameter = c.make();
        Listener listener(*parameter);
        std::string const before = U(parameter->GetValueAsString());
        std::string error, place;
        try {
            parameter->Load(Path("ini"), L"Group");
        } catch (KxReadKeywordException* exception) {
            error = U(exception->GetValue());
            error += error.empty() ? "!" : " " + U(exception->GetMin()) + " " + U(exception->GetMax());
            place = U(exception->GetKey()) + U(exception->GetGroup()) + U(exception->GetFileName());
            exception->Delete();
            EXPECT_EQ(place, "ValueGroup" + path);
        }
        EXPECT_EQ(error, c.error) << c.lines;
        EXPECT_EQ(U(parameter->GetValueAsString()), c.error.empty() ? c.value : before) << c.lines;
        EXPECT_EQ(listener.Take(), "");
    }
    Put("ini", "[Group]\nValue(increment)=0.1\nValue(filter)=Cloud\nValue(default)=d");
    KxParameterDouble number(1, Id(100), 1, 1, {1, 2}, 1, 2);
    number.Load(Path("ini"), L"Group");
    EXPECT_EQ(number.GetIncrement(), static_cast<double>(0.1F));
    Made const file = Make::File();
    file->Load(Path("ini"), L"Group");
    EXPECT_EQ(static_cast<KxParameterFile&>(*file).GetSelectedFilterIndex(), 1U);
    EXPECT_EQ(U(static_cast<KxParameterFile&>(*file).GetDefaultFileName()), "d");
}

TEST_F(ParameterFiles, WhatIsNotThereChangesNothing) {
    KxString const entries[] = {L"red", L""};
    KxParameterList list(1, Id(100), KxTMem<KxString>(entries, 2), L"red", L"red");
    list.Load(Path("missing"), L"Group");
    EXPECT_EQ(U(list.GetSelectedEntry()) + U(list.GetSelectedDefaultEntry()), "redred");
    KxParameterDouble number(1, Id(100), 12.345678, 1, {0, 100}, 1, -1);
    for (int i = 0; i < 2; ++i) {
        number.Save(Path("ini"), L"Group");
        number.Load(Path("ini"), L"Group");
        EXPECT_EQ(U(number.GetValueAsString()), "12.345678");
    }
}

TEST_F(ParameterFiles, WhatCannotBeKeptIsRefused) {
    std::string const bytes = "[Group]\nValue = kept\n";
    Put("ini", bytes);
    KxParameterString const text(1, Id(100), L"a", L"two\nlines");
    EXPECT_NE(Thrown<KxFileException>([&] { KxParameterString(text).Save(Path("ini"), L"Group"); }), "");
    EXPECT_EQ(Get("ini"), bytes);
    std::filesystem::create_directory(File("folder"));
    EXPECT_NE(Thrown<KxFileException>([&] { Make::Long()->Load(Path("folder"), L"Group"); }), "");
}

}  // namespace
