// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The files of released versions, which every later version reads, bit for bit; reading changes no byte of them. What they
// hold is told in the README.md beside them, and was written by Write.cc.
#include "ConditionsFile.h"
#include "Nodes.h"

#include "hbtools/base/syEncryption.h"
#include "hbtools/base/syModule.h"
#include "hbtools/base/syResource.h"
#include "hbtools/config/syConfigFast.h"
#include "hbtools/core/syFileVersionInfo.h"
#include "hbtools/diagnostics/syExceptionMgr.h"
#include "hbtools/interchange/syXmlParser.h"
#include "hbtools/interchange/syZipHelper.h"
#include "hbtools/operators/syMacro.h"
#include "hbtools/operators/syOperatorMgr.h"
#include "hbtools/operators/syParamDouble.h"
#include "hbtools/operators/syParamLong.h"
#include "hbtools/operators/syParamString.h"
#include "hbtools/persistence/syBinFileHeader.h"
#include "hbtools/persistence/syGeometryTags.h"
#include "hbtools/persistence/syTagInspector.h"
#include "hbtools/properties/syPropertyTag.h"

#include "../base/Support.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <map>

namespace {

using namespace KxN;
using namespace std::string_literals;
using test::U;

constexpr SxStringResource texts[] = {{7, "sieben"}, {9, "neun"}, {13, "dreizehn"}, {20, "Note"},
                                      {30, "A"},     {40, "B"},   {50, "C"}};
constinit CDynLinkLibrary g_module{texts};

/// Each test reads files in place and compares all of them with what they were.
class Golden : public test::TempFolder, public testing::WithParamInterface<std::string> {
protected:
    Golden() : m_golden(std::filesystem::path(HBTOOLS_TEST_DATA "/golden") / GetParam()), m_before(Bytes()) {}
    void TearDown() override { EXPECT_TRUE(Bytes() == m_before) << "reading has changed a file, or made one"; }

    KxString InGolden(std::string const& name) const { return KxxFromSystemPath((m_golden / name).string()); }

    std::map<std::string, std::string> Bytes() const {
        std::map<std::string, std::string> bytes;
        for (auto const& entry : std::filesystem::directory_iterator(m_golden)) {
            std::ifstream in(entry.path(), std::ios::binary);
            bytes[entry.path().filename()] = std::string(std::istreambuf_iterator<char>(in), {});
        }
        return bytes;
    }

    /// Reads a tag file; `read` gets the archive.
    template <class Action>
    void ReadTags(std::string const& name, Action read) const {
        CFile file(InGolden(name), CFile::modeRead);
        KxTagInspector inspector(&file);
        EXPECT_EQ(inspector.Inspect(), TagFileWhole) << name;
        file.Seek(0, CFile::begin);
        KxTagArchive archive(&file, 1);
        read(archive);
    }

    std::filesystem::path m_golden;
    std::map<std::string, std::string> m_before;
};

template <class T>
T Read(KxTagArchive& archive, unsigned long id) {
    T value{};
    archive >> KxTTag<T>(id, value);
    return value;
}

/// The bits of numbers of any kind, so that NaN and the two zeros differ.
template <class T>
std::string Bits(T const* values, std::size_t count) {
    std::string bits(count * sizeof(T), '\0');
    if (count > 0) std::memcpy(bits.data(), static_cast<void const*>(values), bits.size());
    return bits;
}
template <class T, class Element>
std::string BitsOf(std::initializer_list<Element> values) {
    std::vector<T> const numbers(values.begin(), values.end());
    return Bits(numbers.data(), numbers.size());
}
template <class Tag, class T>
std::string Vector(KxTagArchive& archive, unsigned long id) {
    T value;
    archive >> Tag(id, value);
    return Bits(&value, 1);
}
template <class Tag, class Collection>
std::string Array(KxTagArchive& archive, unsigned long id) {
    Collection values;
    archive >> Tag(id, values);
    return Bits(values.Data(), static_cast<std::size_t>(values.Size()));
}

TEST_P(Golden, SimpleTags) {
    for (char const* name : {"simple-32.tag", "simple-64.tag"})
        ReadTags(name, [](KxTagArchive& archive) {
            archive >> KxNullTag(100);
            archive.LevelDown();
            EXPECT_EQ(Read<short>(archive, 101), -2);
            EXPECT_EQ(Read<int>(archive, 102), -70000);
            EXPECT_EQ(std::bit_cast<unsigned>(Read<float>(archive, 103)), 0x7FC12345U);
            EXPECT_EQ(Read<double>(archive, 104), 0.1);
            EXPECT_EQ(Read<long long>(archive, 105), 9007199254740993LL);
            archive.LevelUp();
            KxString text, none(L"x");
            archive >> KxStringTag(110, text) >> KxStringTag(111, none);
            EXPECT_EQ(U(text) + "|" + U(none), "Müller €|");
            for (unsigned long number : {8UL, 7UL}) {
                archive >> KxNumeratedTag(112, number);
                archive.LevelDown();
                EXPECT_EQ(Read<int>(archive, 113), static_cast<int>(number) * 100);
                archive.LevelUp();
            }
        });
}

TEST_P(Golden, FormsAndLevels) {
    ReadTags("mixed.tag", [](KxTagArchive& archive) {
        for (int i = 1; i <= 4; ++i) EXPECT_EQ(Read<int>(archive, static_cast<unsigned long>(i)), 11 * i);
    });
    CFile file(InGolden("header.tag"), CFile::modeRead);
    KxBinHeader header(512);
    KxTagArchive archive(&file, 1);
    archive >> header;
    EXPECT_EQ(U(header.GetCompanyID()), "GF");
    EXPECT_EQ(header.GetDataType() * 100 + header.GetElementSize() * 10 + header.GetMaxBlocks(), 123);
    EXPECT_TRUE(header.GetSize().width == 640 && header.GetSize().height == -480);
    EXPECT_EQ(header.GetDateTime(), KxDateTime(2026, 11, 21, 19, 30, 59));
    EXPECT_EQ(header.GetMaskValue(), -1.5F);
    EXPECT_EQ(header.GetTagFormat(), TagFormat64);
    for (unsigned long i = 0; i < 16; ++i)
        EXPECT_EQ(header.GetTrafoMatrix()[i / 4][i % 4], i == 3 ? 2 : i == 12 ? -1 : i % 5 == 0 ? 1 : 0) << i;
    archive >> KxNullTag(1);
    archive.LevelDown();
    archive >> KxNullTag(2);
    archive.LevelDown();
    EXPECT_EQ(Read<int>(archive, 3), 333);
    archive.LevelUp();
    EXPECT_EQ(Read<int>(archive, 4), 444);
    archive.LevelUp();
    EXPECT_EQ(Read<int>(archive, 5), 555);
}

TEST_P(Golden, CompositeTags) {
    using DoubleTags = KxTTagArrayTag<double, KxTTag<double>>;
    float const missing = std::bit_cast<float>(0x7F7FFFFF);
    for (char const* name : {"composite-32.tag", "composite-64.tag"})
        ReadTags(name, [&](KxTagArchive& archive) {
            EXPECT_EQ((Array<KxTBasicTypeArrayTag<int>, KxTArray<int>>(archive, 200)),
                      BitsOf<int>({1, -2, 2147483647}));
            EXPECT_EQ((Array<KxTBasicTypeArrayTag<int>, KxTArray<int>>(archive, 201)), "");
            EXPECT_EQ((Array<DoubleTags, KxTArray<double>>(archive, 202)), BitsOf<double>({0.1, -0.0}));
            EXPECT_EQ((Vector<KxVec3dTag, KxVec3d>(archive, 210)), BitsOf<double>({1.0, -2.0, 0.1}));
            EXPECT_EQ((Vector<KxVec3fTag, KxVec3f>(archive, 211)), BitsOf<float>({1.5, -2.5, 3.5}));
            EXPECT_EQ((Vector<KxVec2sTag, KxVec2s>(archive, 212)), BitsOf<short>({-3, 4}));
            EXPECT_EQ((Vector<KxVec2dTag, KxVec2d>(archive, 213)), BitsOf<double>({0.25, -0.5}));
            KxHistogram histogram;
            archive >> KxHistogramTag(220, histogram);
            std::vector<double> values;
            for (double const value : histogram.Values()) values.push_back(value);
            EXPECT_EQ(values, (std::vector<double>{3, -1, 0.1}));
            EXPECT_EQ((Array<KxVec2sArrayTag, KxTArray<KxVec2s>>(archive, 230)), BitsOf<short>({1, -2, 3, 4, 5, 6}));
            EXPECT_EQ((Array<KxVec3iArrayTag, KxTArray<KxVec3i>>(archive, 231)), BitsOf<int>({1, -2, 3, 4, 5, 70000}));
            float const nan = std::bit_cast<float>(0xFF800001);
            EXPECT_EQ((Array<KxVec3fArrayTag, KxTArray<KxVec3f>>(archive, 232)),
                      BitsOf<float>({1.0F, -2.0F, 0.5F, nan, 0.0F, -0.0F}));
            EXPECT_EQ((Array<KxVec3dArrayTag, KxTArray<KxVec3d>>(archive, 233)),
                      BitsOf<double>({1.0, -2.0, 0.1, 1e300, 5e-324, -0.0}));
            EXPECT_EQ((Array<KxVec3dArrayTag, KxTArray<KxVec3d>>(archive, 234)), "");
            KxTList<KxVec3d> list;
            archive >> KxVec3dListTag(235, list);
            EXPECT_TRUE(list.Count() == 1 && Bits(&list.Head(), 1) == BitsOf<double>({7, 8, 9}));
            KxT2dArray<KxVec3f> floats;
            KxT2dArray<KxVec3d> doubles;
            archive >> KxVec3f2dArrayTag(240, floats) >> KxVec3d2dArrayTag(241, doubles);
            ASSERT_TRUE(floats.Width() == 2 && floats.Height() == 3 && doubles.Width() == 3 && doubles.Height() == 2);
            EXPECT_EQ(Bits(&floats(1, 2), 1), BitsOf<float>({5.0, -5.0, 0.5}));
            EXPECT_EQ(Bits(&doubles(2, 1), 1), BitsOf<double>({5.0, 0.1, -5.0}));
            KxCompactArray<KxVec3f> compact;
            archive >> KxVec3fCompactArrayTag(242, compact);
            ASSERT_EQ(compact.Size(), 4);
            EXPECT_EQ(Bits(compact.Data(), 4),
                      BitsOf<float>({missing, 0.f, 0.f, missing, 0.f, 0.f, 1.f, 2.f, 3.f, missing, 0.f, 0.f}));
        });
}

/// A number and the buffer of it, 0 and 1.
template <class T>
void ExpectNumber(KxPropertyList& list, wchar_t const* name, T value) {
    SCOPED_TRACE(U(KxString(name)));
    auto const* number = dynamic_cast<KxTProperty<T> const*>(list.GetProperty(name));
    auto const* buffer = dynamic_cast<KxTBuf1DProperty<T> const*>(list.GetProperty(KxString(name) + L"[]"));
    ASSERT_TRUE(number && buffer && buffer->Get().Size() == 3);
    EXPECT_TRUE(number->Get() == value && number->GetPropertyGroup() == 5 && number->GetMessageFormat() == L"%d");
    EXPECT_TRUE(buffer->Get()[0] == value && buffer->Get()[1] == T(0) && buffer->Get()[2] == T(1));
}

void ExpectFilled(KxPropertyList& list) {
    ExpectNumber<char>(list, L"char", -128);
    ExpectNumber<unsigned char>(list, L"unsigned char", 255);
    ExpectNumber<short>(list, L"short", -32768);
    ExpectNumber<unsigned short>(list, L"unsigned short", 65535);
    ExpectNumber<int>(list, L"int", -2147483647 - 1);
    ExpectNumber<unsigned int>(list, L"unsigned int", 4294967295U);
    ExpectNumber<long>(list, L"long", -2147483647L - 1);
    ExpectNumber<unsigned long>(list, L"unsigned long", 4294967295UL);
    ExpectNumber<float>(list, L"float", 0.1F);
    ExpectNumber<double>(list, L"double", 0.1);
    auto const text = [&](wchar_t const* name) {
        return U(dynamic_cast<KxStringProperty const&>(*list.GetProperty(name)).Get());
    };
    EXPECT_EQ(text(L"text"), "Müller 📏");
    EXPECT_EQ(text(L"long text"), std::string(300, 'x'));
    KxPropertyList* inner = list.GetProperty(L"inner")->GetList();
    ASSERT_TRUE(inner && inner->GetPropertyGroup() == 6 && inner->GetMessageFormat() == L"Inner");
    EXPECT_TRUE(inner->GetProperty(L"hidden")->IsHidden());
}

TEST_P(Golden, Properties) {
    ReadTags("properties.tag", [](KxTagArchive& archive) {
        KxPersistentObject::InitializeReferenceMap();
        KxPropertyList* list = nullptr;
        KxProperty* property = nullptr;
        archive >> KxPropertyListTag(300, list) >> KxPropertyTag(301, property);
        std::unique_ptr<KxPropertyList> const tree(list);
        std::unique_ptr<KxProperty> const alone(property);
        EXPECT_TRUE(tree->GetName() == L"tree" && tree->GetMessageFormat() == L"All of it");
        ExpectFilled(*tree);
        EXPECT_EQ(U(alone->GetMessageW()), "20.5 mm");
    });
    CFile file(InGolden("properties.stream"), CFile::modeRead);
    CArchive archive(&file, CArchive::load);
    KxPersistentObject::InitializeReferenceMap();
    std::unique_ptr<KxPersistentObject> const shared(KxPersistentObject::Load(archive));
    std::unique_ptr<KxPersistentObject> const alone(KxPersistentObject::Load(archive));
    EXPECT_EQ(KxPersistentObject::Load(archive), shared.get());
    EXPECT_EQ(U(dynamic_cast<KxPropertyList&>(*shared).GetProperty(L"n")->GetName()), "n");
    EXPECT_EQ(dynamic_cast<KxTProperty<double>&>(*alone).Get(), 20.5);
    KxPersistentObject::InitializeReferenceMap();
}

TEST_P(Golden, Graph) {
    golden::Types const types;
    KxAddressesMap const map;
    ReadTags("graph.tag", [](KxTagArchive& archive) {
        KxDynamicObjectTag one(nullptr), other(401, nullptr), none(402, nullptr);
        archive >> one >> other >> none;
        std::unique_ptr<golden::Node> const first(dynamic_cast<golden::Node*>(one.DynamicObject()));
        std::unique_ptr<golden::Leaf> const second(dynamic_cast<golden::Leaf*>(other.DynamicObject()));
        ASSERT_TRUE(first && second && second->inner && !none.DynamicObject());
        std::unique_ptr<golden::Node> const inner(second->inner);
        EXPECT_TRUE(first->value == 1 && second->value == 2 && inner->value == 3);
        auto const next = [](golden::Node const& node) {
            return KxAddressesMap::GetCurrentDynamicObject(node.nextAddress);
        };
        EXPECT_TRUE(next(*first) == second.get() && next(*second) == first.get() && next(*inner) == inner.get());
    });
}

TEST_P(Golden, Configuration) {
    KxTools::SetEncryptionPassword("Golden");
    for (char const* name : {"utf-8.ini", "utf-16.ini", "windows-1252.ini", "encrypted.ini"}) {
        SCOPED_TRACE(name);
        if (name == "encrypted.ini"s) KxTools::EncryptionOn();
        KxConfigFast config(InGolden(name));
        std::string found;
        for (unsigned short i = 0; i < config.GetGroupCount(); ++i) found += U(config.GetGroup(i)) + " ";
        config.SetGroup(L"Ger\u00E4t");
        found += U(config.ReadKey(L"Port")) + "|" + U(config.ReadKey(L"Grad"));
        config.SetGroup(L"Laser");
        EXPECT_EQ(found + "|" + U(config.ReadKey(L"Leistung")), "Gerät Laser COM1|20,5 °|0.25");
    }
    KxTools::EncryptionOff();
    EXPECT_EQ(m_before["encrypted.ini"].find("COM1"), std::string::npos);
}

TEST_P(Golden, Log) {
    std::filesystem::copy_file(m_golden / "syexcmgr.bas", File("syexcmgr.bas"));
    Put("app.ini", "[Initialization]\nErrorCount=200\nBackupTiming=SAVE_ON_DEMAND\n");
    KxExceptionManager manager;
    manager.Initialize(Path("app.ini"));
    std::unique_ptr<KxExceptionManager::Queue> const all(manager.ExtractAllExceptions());
    ASSERT_EQ(all->Count(), 2);
    KxException &first = *(*all)[0], &second = *(*all)[1];
    EXPECT_EQ(U(first.GetMessage()) + "|" + U(first.GetExceptionGroup()), "offen\nseit gestern|Tür");
    EXPECT_TRUE(first.GetErrorLevel() == EXCEPT_USER && second.GetErrorLevel() == EXCEPT_FATAL);
    EXPECT_EQ(first.GetDateTime(), KxDateTime(2026, 11, 21, 19, 30, 59));
    EXPECT_EQ(U(second.GetMessage()) + "|" + U(second.GetExceptionGroup()), "Kein Signal|Sensor");
}

TEST_P(Golden, LanguagePack) {
    HINSTANCE const satellite = KxxLoadSatellite(InGolden("golden.ENU"));
    ASSERT_TRUE(satellite) << U(KxxGetModuleError().text);
    g_module.SetResourceHandle(satellite);
    for (auto const& [id, text] :
         {std::pair<unsigned short, char const*>{7, "seven"}, {9, "Müller, 20 °C"}, {13, "dreizehn"}})
        EXPECT_EQ(U(KxString(KxResId(id, &g_module))), text);
    g_module.SetResourceHandle(nullptr);
    AfxFreeLibrary(satellite);
    KxFileVersionInfo info;
    ASSERT_TRUE(info.Create(InGolden("golden.ENU")));
    for (int i = 0; i < 4; ++i) EXPECT_EQ(info.GetFileVersion(i), "\3\1\2\3"[i]);
}

struct Note : KxOperator {
    explicit Note(std::string& notes) : KxOperator(20, KxResId(20, &g_module)), m_notes(notes) {
        Insert(new KxParameterDouble(1, KxResId(30, &g_module), 0, 0, {-10.0, 10.0}, 0.1, 3));
        Insert(new KxParameterLong(2, KxResId(40, &g_module), 0, 0, {-10, 10}, 1));
        Insert(new KxParameterString(3, KxResId(50, &g_module), L"", L""));
    }
    KxOperator* Clone() const override { return new Note(m_notes); }
    OperatorReturnCode DoExecute() override {
        m_notes +=
            U(KxxFormat(L"%g %ld ", GetParameterDouble(1), GetParameterLong(2))) + U(GetParameterString(3)) + ";";
        return OPERATOR_OK;
    }
    std::string& m_notes;
};

TEST_P(Golden, Macro) {
    std::string notes;
    KxOperatorMgr manager;
    pOperatorMgr = &manager;
    manager.Insert(new Note(notes));
    EXPECT_EQ(KxMacro(nullptr).Start(InGolden("lines.macro")), OPERATOR_OK);
    pOperatorMgr = nullptr;
    EXPECT_EQ(notes, "2.5 -3 two words;0.1 4 two words;");
}

TEST_P(Golden, Conditions) {
    KxPropertyList conditions = ScanLab::LoadConditions(InGolden("conditions.xml"));
    EXPECT_TRUE(conditions.GetName() == L"Bedingungen");
    ExpectFilled(conditions);
    XML_PARSER xml;
    ASSERT_TRUE(xml.Load_XML_Document(InGolden("conditions.xml")) && xml.Go_to_Child(L"text"));
    ASSERT_TRUE(xml.Is_Having_Attribute(L"value"));
    EXPECT_EQ(U(xml.Get_Attribute_Value()), "Müller 📏");
}

TEST_P(Golden, Zip) {
    KxTMap<KxString, KxString> files;
    EXPECT_TRUE(KxZipHelper::UncompressFiles(InGolden("files.zip"), Path("out"), files));
    EXPECT_EQ(files.Count(), 2);
    EXPECT_EQ(Get("out/folder/inner/a.txt"), "alpha\n");
    EXPECT_TRUE(std::filesystem::exists(File("out/empty.txt")) && Get("out/empty.txt").empty());
    KxString comment;
    EXPECT_TRUE(KxZipHelper::GetGlobalComment(InGolden("files.zip"), comment));
    EXPECT_EQ(U(comment), "Golden");
}

/// The folders of all versions, found by listing.
std::vector<std::string> Versions() {
    std::vector<std::string> versions;
    for (auto const& entry : std::filesystem::directory_iterator(HBTOOLS_TEST_DATA "/golden"))
        versions.push_back(entry.path().filename());
    std::sort(versions.begin(), versions.end());
    return versions;
}

INSTANTIATE_TEST_SUITE_P(Versions, Golden, testing::ValuesIn(Versions()), [](auto const& instance) {
    std::string name = "V" + instance.param;
    std::replace(name.begin(), name.end(), '.', '_');
    return name;
});

}  // namespace
