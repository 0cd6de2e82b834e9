// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "PropertyTest.h"

using namespace test;

namespace {

template <class T>
Owner Number(T value, wchar_t const* format = L"%d") {
    return std::make_unique<KxTProperty<T>>(L"n", format, value, 3);
}

template <class T>
Owner Buffer(std::initializer_list<T> values) {
    return std::make_unique<KxTBuf1DProperty<T>>(L"n", L"b: ",
                                                 KxTBuf1D<T>(values.begin(), static_cast<unsigned>(values.size())), 3);
}

Owner Text(wchar_t const* value) {
    return std::make_unique<KxStringProperty>(L"n", L"%s", value, 3);
}

struct Kind {
    Owner property;
    std::string name;
    std::string body;     // behind name and format, which are those of above
    std::string message;  // its line
};

std::vector<Kind> Kinds() {
    std::string const n = Wide("n") + Wide("%d") + "\3\0\0\0"s, g = Wide("n") + Wide("%g") + "\3\0\0\0"s;
    std::string const b = Wide("n") + Wide("b: ") + "\3\0\0\0"s, s = Wide("n") + Wide("%s") + "\3\0\0\0"s;
    std::vector<Kind> kinds;
    auto const add = [&](Owner property, char const* name, std::string body, char const* message) {
        kinds.push_back({std::move(property), name, std::move(body), message});
    };
    add(Number<char>(-2), "KxTProperty<char>", n + "\xFE"s, "-2");
    add(Number<unsigned char>(254), "KxTProperty<unsigned char>", n + "\xFE"s, "254");
    add(Number<short>(-2), "KxTProperty<short>", n + "\xFE\xFF"s, "-2");
    add(Number<unsigned short>(0xFFFE), "KxTProperty<unsigned short>", n + "\xFE\xFF"s, "65534");
    add(Number<int>(-2), "KxTProperty<int>", n + "\xFE\xFF\xFF\xFF"s, "-2");
    add(Number<unsigned>(0xFFFFFFFE), "KxTProperty<unsigned int>", n + "\xFE\xFF\xFF\xFF"s, "4294967294");
    add(Number<long>(-2), "KxTProperty<long>", n + "\xFE\xFF\xFF\xFF"s, "-2");
    add(Number<unsigned long>(0xFFFFFFFE), "KxTProperty<unsigned long>", n + "\xFE\xFF\xFF\xFF"s, "4294967294");
    add(Number<float>(1.5F, L"%g"), "KxTProperty<float>", g + "\0\0\xC0\x3F"s, "1.5");
    add(Number<double>(-0.1, L"%g"), "KxTProperty<double>", g + "\x9A\x99\x99\x99\x99\x99\xB9\xBF"s, "-0.1");
    add(Buffer<char>({'a', '\xE4'}), "KxTBuf1DProperty<char>", b + "\2\0\0\0a\xE4"s, "b: a; ä; ");
    add(Buffer<unsigned char>({97}), "KxTBuf1DProperty<unsigned char>", b + "\1\0\0\0a"s, "b: 97; ");
    add(Buffer<short>({-2, 1}), "KxTBuf1DProperty<short>", b + "\2\0\0\0\xFE\xFF\1\0"s, "b: -2; 1; ");
    add(Buffer<unsigned short>({2}), "KxTBuf1DProperty<unsigned short>", b + "\1\0\0\0\2\0"s, "b: 2; ");
    add(Buffer<int>({}), "KxTBuf1DProperty<int>", b + "\0\0\0\0"s, "b: ");
    add(Buffer<unsigned>({7}), "KxTBuf1DProperty<unsigned int>", b + "\1\0\0\0\7\0\0\0"s, "b: 7; ");
    add(Buffer<long>({-2, 5}), "KxTBuf1DProperty<long>", b + "\2\0\0\0\xFE\xFF\xFF\xFF\5\0\0\0"s, "b: -2; 5; ");
    add(Buffer<unsigned long>({3}), "KxTBuf1DProperty<unsigned long>", b + "\1\0\0\0\3\0\0\0"s, "b: 3; ");
    add(Buffer<float>({1.5F}), "KxTBuf1DProperty<float>", b + "\1\0\0\0\0\0\xC0\x3F"s, "b: 1.5; ");
    add(Buffer<double>({1.0 / 3}), "KxTBuf1DProperty<double>", b + "\1\0\0\0\x55\x55\x55\x55\x55\x55\xD5\x3F"s,
        "b: 0.333333; ");
    add(Text(L"\x4E2D"), "KxStringProperty", s + "\xFF\xFE\xFF\1\x2D\x4E"s, "中");
    add(std::make_unique<KxPropertyList>(L"n", L"%s", 3), "KxPropertyList", s + "\0\0\0\0"s, "%s");
    return kinds;
}

TEST(Property, EveryKindStoresLoadsDescribesAndClones) {
    for (Kind const& kind : Kinds()) {
        SCOPED_TRACE(kind.name);
        std::string const image = Head(kind.name) + kind.body;
        EXPECT_EQ(StoredBytes(*kind.property), image);
        EXPECT_EQ(U(kind.property->GetMessageW()), kind.message);
        Owner const loaded = LoadFrom(image);
        ASSERT_TRUE(loaded);
        Owner const copy(loaded->Clone());
        loaded->SetName(L"other");
        EXPECT_EQ(StoredBytes(*copy), image);
        EXPECT_EQ(kind.property->GetList() != nullptr, kind.property->IsList() != 0);
        for (std::size_t length = 0; length < image.size(); ++length)
            EXPECT_EQ(CauseOf<CArchiveException>([&] { LoadFrom(image.substr(0, length)); }), 3) << length;
    }
}

TEST(Property, TextsHaveThreeFormsOfLengthAndMayBeNarrow) {
    for (auto const& [length, prefix] :
         {std::pair{254, "\xFE"s}, std::pair{255, "\xFF\xFF\0"s}, std::pair{0xFFFD, "\xFF\xFD\xFF"s},
          std::pair{0xFFFE, "\xFF\xFF\xFF\xFE\xFF\0\0"s}}) {
        std::wstring const name(static_cast<std::size_t>(length), L'x');
        std::string units;
        for (int i = 0; i < length; ++i) units += "x\0"s;
        std::string const rest = Wide("%d") + "\0\0\0\0\7\0\0\0"s;
        std::string const image = Head("KxTProperty<int>") + "\xFF\xFE\xFF"s + prefix + units + rest;
        EXPECT_TRUE(StoredBytes(KxTProperty<int>(name, L"%d", 7, 0)) == image) << length;
        EXPECT_TRUE(LoadFrom(image)->GetName() == name.c_str());
        Owner const narrow = LoadFrom(Head("KxTProperty<int>") + prefix + std::string(name.size(), 'x') + rest);
        EXPECT_TRUE(narrow->GetName() == name.c_str());
    }
}

TEST(Property, GroupsAndHiding) {
    KxTProperty<int> property(L"n", L"%d", 5, 0x18003);
    EXPECT_TRUE(property.IsHidden());
    EXPECT_EQ(Lines(property) + Lines(property, 1), "5|");
    unsigned long const wanted[] = {7, 0x10003};
    KxTMem<unsigned long> const groups(wanted, 2), none;
    EXPECT_EQ(Lines(property, 1, &groups) + Lines(property, 1, &none) + Lines(property, 0, &groups), "5|");
    KxProperty& itself = property;
    property.KxProperty::operator=(itself);
    EXPECT_EQ(Lines(property, 1), "5|");
    property.SetNotHidden();
    EXPECT_EQ(Lines(property, 0, &groups), "5|");
    EXPECT_EQ(property.GetPropertyGroup(), 0x10003U);
}

TEST(Property, WhatDoesNotFitOrIsHostileIsRefusedOrShown) {
    EXPECT_EQ(CauseOf<CArchiveException>([] { StoredBytes(KxTProperty<long>(L"n", L"", 1L << 31, 0)); }), 5);
    EXPECT_EQ(CauseOf<CArchiveException>([] { StoredBytes(KxTProperty<int>(L"n", L"", 1, 1UL << 32)); }), 5);
    for (auto const& [format, line] : {std::pair{L"%s%n%s", "7%n%s"}, std::pair{L"%p%", "7%"}, std::pair{L"%c", "\a"}})
        EXPECT_EQ(U(Number<int>(7, format)->GetMessageW()), line);
    EXPECT_EQ(U(Number<char>('\xE4', L"%c")->GetMessageW()), "ä");
    EXPECT_LE(Number<int>(7, L"%2000000000d")->GetMessageW().Len(), 4096);
    // Four thousand million elements, of 1 and of 8 bytes.
    std::string const texts = Wide("n") + Wide("") + "\0\0\0\0\xFF\xFF\xFF\xFF"s + std::string(64, 'x');
    for (char const* name : {"KxTBuf1DProperty<char>", "KxTBuf1DProperty<double>"})
        EXPECT_EQ(CauseOf<CArchiveException>([&] { LoadFrom(Head(name) + texts); }), 3);
}

}  // namespace
