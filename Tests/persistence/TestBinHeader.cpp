// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/persistence/syBinFileHeader.h"
#include "hbtools/persistence/sySimpleTags.h"
#include "hbtools/persistence/syTagArchive.h"

#include "../base/Support.h"
#include "TagTest.h"

#include <thread>
#include <typeinfo>
#include <sys/stat.h>

namespace {

using namespace KxN;
using test::U;

constexpr std::string_view one("\0\0\0\0\0\0\xF0\x3F", 8);

// A new header with everything at its default, built by hand from the table of the format.
std::string DefaultImage(char format = 0) {
    std::string image(512, '\0');
    image.replace(0, 8, std::string("\x49\x49\x64\x00\x00\x02TQ", 8));
    image.replace(18, 4, "\xB3\xF1\xFF\xFF");  // -3661: no time
    image.replace(26, 4, "\xFF\xFF\x7F\xFF");
    image[30] = format;
    for (std::size_t const i : {128u, 168u, 208u, 248u}) image.replace(i, 8, one);
    return image;
}

std::string ImageOf(KxBinHeader& header, std::size_t size = 512) {
    return std::string(reinterpret_cast<char const*>(static_cast<unsigned char*>(header)), size);
}

class BinHeader : public test::TempFolder {};

TEST_F(BinHeader, DefaultsAreTheseBytes) {
    KxBinHeader header(512);
    EXPECT_EQ(ImageOf(header), std::string(512, '\0'));
    header.Write(Path("a"));
    EXPECT_EQ(Get("a"), DefaultImage());
    FormatScope const scope(TagFormat64);
    header.Write(Path("a"));
    EXPECT_EQ(Get("a"), DefaultImage(1));
}

TEST_F(BinHeader, EveryFieldHasItsPlace) {
    KxBinHeader header(512);
    header.SetVersion(0x0102);
    header.SetCompanyID(L"\u20ACx\u00FC");
    header.SetDataType(0x0304);
    header.SetElementSize(0x0506);
    header.SetMaxBlocks(0x0708);
    header.SetSize(KxTSize<short>(-2, 0x0A0B));
    header.SetDateTime(KxDateTime(2024, 12, 31, 23, 59, 58));
    header.SetMaskValue(1.5f);
    KxTMatrix4x4<double> matrix;
    matrix[0][3] = 2;
    matrix[3][0] = -1;
    header.SetTrafoMatrix(matrix);
    header.Write(Path("a"));

    std::string expected = DefaultImage();
    expected.replace(2, 2, "\x02\x01");
    expected.replace(6, 14, "\x80x\x04\x03\x06\x05\x08\x07\xFE\xFF\x0B\x0A\x7E\x51");  // 86398 = 0x1517E
    expected.replace(20, 2, std::string("\x01\x00", 2));
    expected.replace(22, 4, "\x4F\xDB\x34\x01");  // 20241231
    expected.replace(26, 4, std::string("\x00\x00\xC0\x3F", 4));
    expected.replace(152, 8, std::string("\0\0\0\0\0\0\0\x40", 8));
    expected.replace(224, 8, std::string("\0\0\0\0\0\0\xF0\xBF", 8));
    EXPECT_EQ(Get("a"), expected);

    // What no field covers is carried along.
    expected[40] = 'r';
    expected[511] = 'R';
    Put("b", expected);
    KxBinHeader read(512);
    read.Read(Path("b"));
    EXPECT_EQ(U(read.GetCompanyID()), "€x");
    EXPECT_EQ(read.GetDateTime(), KxDateTime(2024, 12, 31, 23, 59, 58));
    EXPECT_TRUE(read.GetSize().width == -2 && read.GetSize().height == 0x0A0B && read.GetMaskValue() == 1.5f);
    EXPECT_EQ(read.GetTrafoMatrix()[0][3] * 10 + read.GetTrafoMatrix()[3][0], 19);
    KxBinHeader copy(read);
    copy.Write(Path("c"));
    EXPECT_EQ(Get("c"), expected);
    read.SetCompanyID(L"Z");
    read.SetBuffer();
    EXPECT_EQ(ImageOf(read).substr(6, 2), std::string("Z\0", 2));
}

TEST_F(BinHeader, TheRecordFormOfTheFileStaysUntilItIsWritten) {
    Put("a", DefaultImage(1));
    KxBinHeader header(512);
    header.Read(Path("a"));
    EXPECT_EQ(header.GetTagFormat(), TagFormat64);
    EXPECT_EQ(GetGlobalTagFormat(), TagFormat32);
    header.SetBuffer();
    EXPECT_EQ(header.GetTagFormat(), TagFormat32);
    std::string unknown = DefaultImage();
    unknown.replace(30, 2, "\xFF\xFF");
    Put("a", unknown);
    header.Read(Path("a"));
    EXPECT_EQ(static_cast<int>(header.GetTagFormat()), 0xFFFF);
}

TEST_F(BinHeader, RefusalsKeepAllButEndianAndLen) {
    std::string const big = "\x4D\x4D" + DefaultImage().substr(2);
    std::string shortLen = DefaultImage();
    shortLen[4] = '\xFF';
    struct Case {
        std::string bytes;
        std::type_info const& type;
        char const* text;  // %s is the path in capitals
        int endian, len;
    };
    std::type_info const &notImplemented = typeid(KxNotImplementedException), &exception = typeid(KxException),
                         &fileException = typeid(KxFileException);
    for (Case const& c : {
             Case{big, notImplemented,
                  "Fehler beim Lesen des Kopfes der Datei \"%s\": Die Big Endian Schreibweise wird nicht unterstützt",
                  0x4D4D, 512},
             Case{shortLen, exception, "Fehler beim Lesen des Kopfes der Datei \"%s\": unzulässige Länge", 0x4949,
                  0x02FF},
             Case{DefaultImage().substr(0, 511), fileException, nullptr, 0x4949, 512},
             Case{DefaultImage().substr(0, 6), fileException, nullptr, 0x4949, 512},
             Case{DefaultImage().substr(0, 5), fileException, nullptr, 0x4949, 128},
             Case{"", fileException, nullptr, 0x4949, 128},
         }) {
        Put("Kopf.bin", c.bytes);
        KxBinHeader header(128);
        header.SetVersion(7);
        std::string text;
        try {
            header.Read(Path("Kopf.bin"));
            ADD_FAILURE() << "nothing was thrown";
        } catch (KxException* thrown) {
            EXPECT_EQ(typeid(*thrown).name(), c.type.name());
            text = U(thrown->GetMessage());
            thrown->Delete();
        }
        if (c.text) {
            std::string expected = c.text;
            expected.replace(expected.find("%s"), 2, U(Path("Kopf.bin").Upper()));
            EXPECT_EQ(text, expected);
        }
        EXPECT_EQ(header.GetEndian(), c.endian);
        EXPECT_EQ(header.GetLen(), c.len);
        EXPECT_EQ(header.GetVersion(), 7);
    }
    // The bytes decide, not what a derived class makes of them.
    struct Contrary : KxBinHeader {
        Contrary() : KxBinHeader(512) {}
        int IsIntel() override { return !KxBinHeader::IsIntel(); }
    } header;
    Put("big", big);
    test::Thrown<KxNotImplementedException>([&] { header.Read(Path("big")); });
    Put("little", DefaultImage());
    header.Read(Path("little"));
    EXPECT_EQ(header.GetLen(), 512);
    test::Thrown<KxFileException>([&] { header.Read(Path("missing")); });
    test::Thrown<KxFileException>([&] { header.Write(Path("missing/a")); });
    ASSERT_EQ(::mkfifo(File("pipe").c_str(), 0600), 0);
    std::thread writer([this] { std::ofstream(File("pipe"), std::ios::binary) << DefaultImage(); });
    test::Thrown<KxFileException>([&] { header.Read(Path("pipe")); });
    std::ifstream unblock(File("pipe"));  // in case nobody else opened the other end
    writer.join();
}

TEST_F(BinHeader, TagsStandRightBehindIt) {
    struct Case {
        TagFormat format;
        std::string before;  // the header
        std::string record;  // id 77, version 100, size 4, address, no next, payload 5
    };
    for (Case const& c :
         {Case{TagFormat32, "", {"\x4D\0\0\0\x64\0\x04\0\0\0\x12\x02\0\0\0\0\0\0\x05\0\0\0", 22}},
          Case{TagFormat64,
               "",
               {"\x4D\0\0\0\x64\x80\x04\0\0\0\0\0\0\0\x1E\x02\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x05\0\0\0", 34}},
          Case{TagFormat32, "other", {"\x4D\0\0\0\x64\0\x04\0\0\0\x17\x02\0\0\0\0\0\0\x05\0\0\0", 22}}}) {
        FormatScope const scope(c.format);
        {
            CFile file(Path("a"), CFile::modeCreate | CFile::modeReadWrite);
            KxTagArchive archive(&file, 0);
            file.Write(c.before.data(), static_cast<UINT>(c.before.size()));
            archive.SetMode(0xFFFFFFFF);
            KxBinHeader header(512);
            int number = 5;
            archive << header;
            EXPECT_EQ(archive.GetMode(), 0u);  // whatever was set is lost
            archive << KxTTag<int>(77, number);
        }
        EXPECT_EQ(Get("a"), c.before + DefaultImage(static_cast<char>(c.format)) + c.record);
        CFile file(Path("a"), CFile::modeRead);
        KxTagArchive archive(&file, 1);
        file.Seek(static_cast<LONGLONG>(c.before.size()), CFile::begin);
        archive.SetMode(0xFFFFFFFE);
        KxBinHeader header(512);
        archive >> header;
        EXPECT_EQ(archive.GetMode(), 1u);
        int number = 0;
        archive >> KxTTag<int>(77, number);
        EXPECT_EQ(number, 5);
    }
}

TEST_F(BinHeader, AMatrixWithoutItsElementsIsTheIdentity) {
    KxTMatrix4x4<double> matrix;
    matrix[0][0] = 2;
    for (unsigned long r = 0; r < 4; ++r) matrix[r].Resize(r == 0 ? 1 : 0);
    KxBinHeader header(512);
    header.SetTrafoMatrix(matrix);
    header.Write(Path("a"));
    std::string expected = DefaultImage();
    expected[128 + 6] = '\0', expected[128 + 7] = '\x40';
    EXPECT_EQ(Get("a"), expected);
}

TEST_F(BinHeader, NoLengthLeadsBeyondTheBlock) {
    // A header whose length was read from a file: its next passage through an archive goes by that length.
    std::string lying = DefaultImage();
    lying.replace(4, 2, "\xFF\xFF");
    Put("a", lying);
    KxBinHeader header(512);
    {
        CFile file(Path("a"), CFile::modeRead);
        KxTagArchive(&file, 1) >> header;
    }
    EXPECT_EQ(header.GetLen(), 65535);
    CFile file(Path("b"), CFile::modeCreate | CFile::modeReadWrite);
    KxTagArchive archive(&file, 0);
    archive << header;
    EXPECT_EQ(file.GetPosition(), 65535u);
    file.Seek(0, CFile::begin);
    archive >> header;
    EXPECT_EQ(file.GetPosition(), 65535u);
    EXPECT_EQ(ImageOf(header), lying);

    for (int const length : {0, 1, 2, 31, 32, 130, 255}) {
        auto const len = static_cast<unsigned short>(length);
        KxBinHeader small(len);
        small.Write(Path("c"));
        std::string expected = DefaultImage().substr(0, len);
        expected.resize(len);
        if (len > 4) expected[4] = static_cast<char>(len), expected[5] = 0;
        // A field is there whole or not at all.
        if (len == 1 || len == 31) expected[len - 1] = 0;
        if (len > 128) expected.replace(128, len - 128u, len - 128u, '\0');
        EXPECT_EQ(Get("c"), expected) << len;
        CFile cut(Path("c"), CFile::modeRead);
        KxTagArchive(&cut, 1) >> small;
        EXPECT_EQ(small.GetTrafoMatrix()[3][3], 0);
    }
}

}  // namespace
