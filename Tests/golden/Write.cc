// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Writes the files of Tests/data/golden/<version>/: golden_files FOLDER. It is run once for each released version, into a
// new folder; files that are there are never written again. No test runs it.
#include "ConditionsFile.h"
#include "Nodes.h"

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syEncryption.h"
#include "hbtools/config/syConfigFast.h"
#include "hbtools/diagnostics/syExceptionMgr.h"
#include "hbtools/interchange/syZipHelper.h"
#include "hbtools/persistence/syBinFileHeader.h"
#include "hbtools/persistence/syGeometryTags.h"
#include "hbtools/properties/syPropertyTag.h"

#include <bit>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace {

using namespace KxN;

std::filesystem::path g_folder;

KxString Path(std::string const& name) {
    return KxxFromSystemPath((g_folder / name).string());
}

void Put(std::string const& name, std::string_view bytes) {
    std::ofstream(g_folder / name, std::ios::binary) << bytes;
}

/// A tag file in this form; `Store` gets the archive.
template <class Store>
void WriteTags(std::string const& name, TagFormat format, Store store) {
    SetGlobalTagFormat(format);
    CFile file(Path(name), CFile::modeCreate | CFile::modeReadWrite);
    KxTagArchive archive(&file, 0);
    store(archive);
    SetGlobalTagFormat(TagFormat32);
}

template <class T>
void Put(KxTagArchive& archive, unsigned long id, T value) {
    archive << KxTTag<T>(id, value);
}

void StoreSimple(KxTagArchive& archive) {
    archive << KxNullTag(100);
    archive.LevelDown();
    Put<short>(archive, 101, -2);
    Put(archive, 102, -70000);
    Put(archive, 103, std::bit_cast<float>(0x7FC12345));  // a NaN with something in it
    Put(archive, 104, 0.1);
    Put(archive, 105, 9007199254740993LL);  // no double
    archive.LevelUp();
    KxString text(L"M\u00FCller \u20AC"), none;
    archive << KxStringTag(110, text) << KxStringTag(111, none);
    for (unsigned long number : {7UL, 8UL}) {
        archive << KxNumeratedTag(112, number);
        archive.LevelDown();
        Put(archive, 113, static_cast<int>(number) * 100);
        archive.LevelUp();
    }
}

// Each record by an archive of its own, whose walk meets the short record in front: it patches the long last one in the
// short form.
void WriteMixed() {
    CFile file(Path("mixed.tag"), CFile::modeCreate | CFile::modeReadWrite);
    for (int i = 1; i <= 4; ++i) {
        SetGlobalTagFormat(i == 2 || i == 3 ? TagFormat64 : TagFormat32);
        file.Seek(0, CFile::begin);
        KxTagArchive archive(&file, 0);
        Put(archive, static_cast<unsigned long>(i), 11 * i);
    }
    SetGlobalTagFormat(TagFormat32);
}

void WriteHeader() {
    WriteTags("header.tag", TagFormat64, [](KxTagArchive& archive) {
        KxBinHeader header(512);
        header.SetCompanyID(L"GF");
        header.SetDataType(1);
        header.SetElementSize(2);
        header.SetMaxBlocks(3);
        header.SetSize(KxTSize<short>(640, -480));
        header.SetDateTime(KxDateTime(2026, 11, 21, 19, 30, 59));
        header.SetMaskValue(-1.5F);
        KxTMatrix4x4<double> matrix;
        matrix[0][3] = 2;
        matrix[3][0] = -1;
        header.SetTrafoMatrix(matrix);
        archive << header << KxNullTag(1);
        archive.LevelDown();
        archive << KxNullTag(2);
        archive.LevelDown();
        Put(archive, 3, 333);
        archive.LevelUp();
        Put(archive, 4, 444);
        archive.LevelUp();
        Put(archive, 5, 555);
    });
}

template <class Vector, class... Parts>
KxTArray<Vector> ArrayOf(Parts... parts) {
    Vector const values[] = {parts...};
    return KxTArray<Vector>(values, static_cast<int>(sizeof...(parts)));
}

void StoreComposite(KxTagArchive& archive) {
    int const ints[] = {1, -2, 2147483647};
    KxTArray<int> intArray(ints, 3), noInts;
    double const doubles[] = {0.1, -0.0};
    KxTArray<double> doubleArray(doubles, 2);
    archive << KxTBasicTypeArrayTag<int>(200, intArray) << KxTBasicTypeArrayTag<int>(201, noInts)
            << KxTTagArrayTag<double, KxTTag<double>>(202, doubleArray);
    KxVec3d point(1, -2, 0.1);
    KxVec3f single(1.5F, -2.5F, 3.5F);
    KxVec2s pixel(-3, 4);
    KxVec2d plane(0.25, -0.5);
    archive << KxVec3dTag(210, point) << KxVec3fTag(211, single) << KxVec2sTag(212, pixel) << KxVec2dTag(213, plane);
    KxHistogram histogram;
    for (double const value : {3.0, -1.0, 0.1}) histogram.Add(value);
    archive << KxHistogramTag(220, histogram);

    auto pixels = ArrayOf<KxVec2s>(KxVec2s(1, -2), KxVec2s(3, 4), KxVec2s(5, 6));
    auto cells = ArrayOf<KxVec3i>(KxVec3i(1, -2, 3), KxVec3i(4, 5, 70000));
    auto floats = ArrayOf<KxVec3f>(KxVec3f(1, -2, 0.5F), KxVec3f(std::bit_cast<float>(0xFF800001), 0, -0.0F));
    auto points = ArrayOf<KxVec3d>(KxVec3d(1, -2, 0.1), KxVec3d(1e300, 5e-324, -0.0));
    KxTArray<KxVec3d> noPoints;
    KxTList<KxVec3d> list;
    list.AddTail(KxVec3d(7, 8, 9));
    archive << KxVec2sArrayTag(230, pixels) << KxVec3iArrayTag(231, cells) << KxVec3fArrayTag(232, floats)
            << KxVec3dArrayTag(233, points) << KxVec3dArrayTag(234, noPoints) << KxVec3dListTag(235, list);

    KxT2dArray<KxVec3f> floatGrid(2, 3);  // two wide, three high
    KxT2dArray<KxVec3d> doubleGrid(3, 2);
    for (int i = 0; i < 6; ++i) {
        auto const number = static_cast<float>(i);
        floatGrid.Data()[i] = KxVec3f(number, -number, 0.5F);
        doubleGrid.Data()[i] = KxVec3d(number, 0.1, -number);
    }
    KxCompactArray<KxVec3f> compact(4);
    compact[2] = KxVec3f(1, 2, 3);
    archive << KxVec3f2dArrayTag(240, floatGrid) << KxVec3d2dArrayTag(241, doubleGrid)
            << KxVec3fCompactArrayTag(242, compact);
}

template <class T>
void Insert(KxPropertyList& list, wchar_t const* name, T value) {
    T const values[] = {value, T(0), T(1)};
    list.Insert(new KxTProperty<T>(name, L"%d", value, 5));
    list.Insert(new KxTBuf1DProperty<T>(KxString(name) + L"[]", L"", KxTBuf1D<T>(values, 3), 5));
}

void Fill(KxPropertyList& list) {
    Insert<char>(list, L"char", -128);
    Insert<unsigned char>(list, L"unsigned char", 255);
    Insert<short>(list, L"short", -32768);
    Insert<unsigned short>(list, L"unsigned short", 65535);
    Insert<int>(list, L"int", -2147483647 - 1);
    Insert<unsigned int>(list, L"unsigned int", 4294967295U);
    Insert<long>(list, L"long", -2147483647L - 1);
    Insert<unsigned long>(list, L"unsigned long", 4294967295UL);
    Insert<float>(list, L"float", 0.1F);
    Insert<double>(list, L"double", 0.1);
    list.Insert(new KxStringProperty(L"text", L"%s", L"M\u00FCller \U0001F4CF", 5));
    list.Insert(new KxStringProperty(L"long text", L"", KxString(std::wstring(300, L'x').c_str()), 5));
    auto* inner = new KxPropertyList(L"inner", L"Inner", 6);
    list.Insert(inner);
    inner->Insert(new KxTProperty<int>(L"hidden", L"", 1, 0x8006));
}

void WriteProperties() {
    KxPropertyList tree(L"tree", L"All of it", 5);
    Fill(tree);
    KxPropertyList* list = &tree;
    KxTProperty<double> number(L"alone", L"%.1f mm", 20.5, 0);
    KxProperty* property = &number;
    KxPersistentObject::InitializeReferenceMap();
    WriteTags("properties.tag", TagFormat32,
              [&](KxTagArchive& archive) { archive << KxPropertyListTag(300, list) << KxPropertyTag(301, property); });

    CFile file(Path("properties.stream"), CFile::modeCreate | CFile::modeReadWrite);
    CArchive archive(&file, CArchive::store);
    KxPropertyList shared(L"shared", L"", 0);
    shared.Insert(new KxTProperty<int>(L"n", L"", 7, 0));
    KxPersistentObject::SupportCyclicReferences(1);
    KxPersistentObject::InitializeReferenceMap();
    shared.Store(archive);
    number.Store(archive);
    shared.Store(archive);  // a reference
    KxPersistentObject::SupportCyclicReferences(0);
    KxPersistentObject::InitializeReferenceMap();
    archive.Close();
}

void WriteGraph() {
    golden::Types const types;
    golden::Node first, inner;
    golden::Leaf second;
    auto const address = [](golden::Node& node) {
        return static_cast<long long>(reinterpret_cast<std::intptr_t>(&node));
    };
    first.value = 1;
    first.nextAddress = address(second);
    second.value = 2;
    second.nextAddress = address(first);
    second.inner = &inner;
    inner.value = 3;
    inner.nextAddress = address(inner);
    WriteTags("graph.tag", TagFormat64, [&](KxTagArchive& archive) {
        archive << KxDynamicObjectTag(&first) << KxDynamicObjectTag(401, &second) << KxDynamicObjectTag(402, nullptr);
    });
}

void WriteSettings() {
    // What stands there tells the encoding, which stays.
    Put("utf-8.ini", "; M\xC3\xBCller\n");
    Put("utf-16.ini", std::string("\xFF\xFE;\0 \0M\0\xFC\0\r\0\n\0", 14));
    Put("windows-1252.ini", "; M\xFCller\r\n");
    KxTools::SetEncryptionPassword("Golden");
    for (char const* name : {"utf-8.ini", "utf-16.ini", "windows-1252.ini", "encrypted.ini"}) {
        bool const isEncrypted = std::string_view(name) == "encrypted.ini";
        if (isEncrypted) KxTools::EncryptionOn();
        KxConfigFast config(Path(name));
        config.SetGroup(L"Ger\u00E4t");
        config.WriteKey(L"Port", L"COM1");
        config.WriteKey(L"Grad", L"20,5 \u00B0");
        config.SetGroup(L"Laser");
        config.WriteKey(L"Leistung", L"0.25");
        config.Flush();
    }
    KxTools::EncryptionOff();
}

void WriteLog() {
    Put("log.ini", "[Initialization]\nErrorCount=200\nBackupTiming=SAVE_ALL_CHANGES\n");
    {
        KxExceptionManager manager;
        manager.Initialize(Path("log.ini"));
        KxExceptionManagerException entry(KxDateTime(2026, 11, 21, 19, 30, 59), L"T\u00FCr", EXCEPT_USER,
                                          L"offen\nseit gestern");
        manager.AddExceptionToLog(entry);
        KxExceptionManagerException other(KxDateTime(2026, 11, 22, 0, 0, 0), L"Sensor", EXCEPT_FATAL, L"Kein Signal");
        manager.AddExceptionToLog(other);
    }
    std::filesystem::remove(g_folder / "log.ini");
    std::filesystem::remove(g_folder / "Debug.log");
}

void WriteOthers(std::string const& languagePack) {
    std::filesystem::copy_file(languagePack, g_folder / "golden.ENU");
    Put("lines.macro", "// M\xC3\xBCller\r\nNote 2.5 -3 \"two words\";\r\n\r\nNote 0.1 4;\n");
    KxPropertyList conditions(L"Bedingungen", L"Bedingungen", 1);
    Fill(conditions);
    ScanLab::SaveConditions(Path("conditions.xml"), conditions);
    Put("a.txt", "alpha\n");
    Put("empty.txt", "");
    KxZipHelper::CompressFile(Path("a.txt"), Path("files.zip"), L"folder\\inner", L"Golden");
    KxZipHelper::CompressFile(Path("empty.txt"), Path("files.zip"), L"", L"Golden");
    std::filesystem::remove(g_folder / "a.txt");
    std::filesystem::remove(g_folder / "empty.txt");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 || !std::filesystem::create_directories(argv[1])) {
        std::fputs("golden_files FOLDER: the folder must be new\n", stderr);
        return 1;
    }
    g_folder = argv[1];
    try {
        WriteTags("simple-32.tag", TagFormat32, StoreSimple);
        WriteTags("simple-64.tag", TagFormat64, StoreSimple);
        WriteTags("composite-32.tag", TagFormat32, StoreComposite);
        WriteTags("composite-64.tag", TagFormat64, StoreComposite);
        WriteMixed();
        WriteHeader();
        WriteProperties();
        WriteGraph();
        WriteSettings();
        WriteLog();
        WriteOthers(GOLDEN_LANGUAGE_PACK);
    } catch (CException* exception) {
        std::fprintf(stderr, "%s\n", KxxToUtf8(CException::TextOf(*exception).View()).c_str());
        exception->Delete();
        return 1;
    }
    return 0;
}
