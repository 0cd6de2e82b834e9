// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syArchive.h"

#include "Support.h"
#include "hbtools/base/syEncoding.h"

#include <cstdio>
#include <functional>
#include <limits>
#include <memory>
#include <vector>

namespace {

using namespace KxN;
using test::ReadAll;

std::string ToHex(std::string_view bytes) {
    std::string hex;
    char text[4];
    for (char const byte : bytes) {
        std::snprintf(text, sizeof text, " %02x", static_cast<unsigned char>(byte));
        hex += text;
    }
    return hex.empty() ? hex : hex.substr(1);
}

std::string FromHex(std::string_view hex) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 3)
        bytes += static_cast<char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16));
    return bytes;
}

/// A file in memory with a name, standing at the begin of its bytes.
class Source : public CMemFile {
public:
    explicit Source(std::string_view bytes = {}) {
        Write(bytes.data(), static_cast<UINT>(bytes.size()));
        Seek(0, CFile::begin);
        SetFilePath(L"/data/scan.arc");
    }
    UINT Read(void* buffer, UINT count) override {
        ++reads;
        largest = std::max(largest, count);
        return CMemFile::Read(buffer, count);
    }
    void Write(void const* buffer, UINT count) override {
        ++writes;
        CMemFile::Write(buffer, count);
    }
    int reads = 0, writes = 0;
    UINT largest = 0;
};

/// The bytes that `action` stores, as hexadecimal text.
template <class Action>
std::string Stored(Action action) {
    Source file;
    CArchive archive(&file, CArchive::store);
    action(archive);
    archive.Close();
    return ToHex(ReadAll(file));
}

constexpr auto CauseOf = [](auto call, std::string* name = nullptr) {
    return test::CauseOf<CArchiveException>(call, name);
};

template <class T>
void ExpectBytes(T value, char const* hex) {
    SCOPED_TRACE(hex);
    EXPECT_EQ(Stored([&](CArchive& archive) { archive << value; }), hex);
    Source file(FromHex(hex));
    CArchive archive(&file, CArchive::load);
    T loaded{};
    archive >> loaded;
    EXPECT_EQ(loaded, value);
    EXPECT_EQ(archive.GetRemaining(), 0u);
}

TEST(Archive, NumbersAreLittleEndianAndOfTheirStoredWidth) {
    ExpectBytes(true, "01");
    ExpectBytes(false, "00");
    ExpectBytes('A', "41");
    ExpectBytes(static_cast<signed char>(-2), "fe");
    ExpectBytes(static_cast<unsigned char>(0xfe), "fe");
    ExpectBytes(L'\xe9', "e9 00");
    ExpectBytes(L'\uffff', "ff ff");
    ExpectBytes(static_cast<short>(-2), "fe ff");
    ExpectBytes(static_cast<unsigned short>(0x1234), "34 12");
    ExpectBytes(-2, "fe ff ff ff");
    ExpectBytes(0x12345678u, "78 56 34 12");
    ExpectBytes(-2L, "fe ff ff ff");
    ExpectBytes(-2147483648L, "00 00 00 80");
    ExpectBytes(2147483647L, "ff ff ff 7f");
    ExpectBytes(4294967295UL, "ff ff ff ff");
    ExpectBytes(-2LL, "fe ff ff ff ff ff ff ff");
    ExpectBytes(0x123456789abcdef0ULL, "f0 de bc 9a 78 56 34 12");
    ExpectBytes(1.5f, "00 00 c0 3f");
    ExpectBytes(-2.0, "00 00 00 00 00 00 00 c0");

    Source nan(FromHex("01 00 00 00 00 00 f0 7f 02"));
    CArchive archive(&nan, CArchive::load);
    double value = 0;
    bool flag = false;
    archive >> value >> flag;
    EXPECT_EQ(Stored([&](CArchive& to) { to << value; }), "01 00 00 00 00 00 f0 7f")
        << "a signalling NaN keeps its bits";
    EXPECT_TRUE(flag) << "any byte but 0";
}

TEST(Archive, RefusesNumbersThatTheirStoredFormCannotHold) {
    Source file;
    CArchive archive(&file, CArchive::store);
    for (long const value : {2147483648L, -2147483649L, std::numeric_limits<long>::max()})
        EXPECT_EQ(CauseOf([&] { archive << value; }), CArchiveException::badIndex) << value;
    for (wchar_t const value : {static_cast<wchar_t>(0x10000), static_cast<wchar_t>(-1)})
        EXPECT_EQ(CauseOf([&] { archive << value; }), CArchiveException::badIndex);
    std::string name;
    EXPECT_EQ(CauseOf([&] { archive << 4294967296UL; }, &name), CArchiveException::badIndex);
    EXPECT_EQ(name, "scan.arc");
    std::size_t ahead = 1;
    archive.GetReadAhead(ahead);
    EXPECT_EQ(ahead, 0u);
    archive.Close();
    EXPECT_EQ(file.GetLength(), 0u);
}

TEST(Archive, TextLengthPrefixHasItsForms) {
    struct {
        ULONGLONG length;
        char const* hex;  // narrow; a wide one has its mark in front
    } const table[] = {
        {0, "00"},
        {254, "fe"},
        {255, "ff ff 00"},
        {65533, "ff fd ff"},
        {65534, "ff ff ff fe ff 00 00"},
        {65535, "ff ff ff ff ff 00 00"},
        {70000, "ff ff ff 70 11 01 00"},
        {0xfffffffe, "ff ff ff fe ff ff ff"},
        {0xffffffff, "ff ff ff ff ff ff ff ff ff ff ff 00 00 00 00"},
        {0x123456789abULL, "ff ff ff ff ff ff ff ab 89 67 45 23 01 00 00"},
    };
    for (auto const& [length, prefix] : table) {
        for (bool const wide : {false, true}) {
            std::string const hex = (wide ? "ff fe ff " : "") + std::string(prefix), bytes = FromHex(hex);
            SCOPED_TRACE(hex);
            EXPECT_EQ(Stored([&, size = length](CArchive& archive) { AfxWriteStringLength(archive, size, wide); }),
                      hex);
            int charSize = 0;
            for (std::size_t cut = 0; cut < bytes.size(); ++cut) {  // every prefix that is cut says so
                Source part(bytes.substr(0, cut));
                CArchive from(&part, CArchive::load);
                EXPECT_EQ(CauseOf([&] { AfxReadStringLength(from, charSize); }), CArchiveException::endOfFile);
            }
            // Each kind of text is stored with it, and each reads both forms.
            Source file(bytes);
            CArchive archive(&file, CArchive::load);
            EXPECT_EQ(AfxReadStringLength(archive, charSize), length);
            EXPECT_EQ(charSize, wide ? 2 : 1);
            EXPECT_EQ(archive.GetRemaining(), 0u);
            if (length > 70000) continue;
            std::string const narrow(length, 'n');
            KxString const text(narrow.c_str());
            std::string const stored = Stored([&](CArchive& to) {
                if (wide)
                    to << text << CString(text) << text;
                else
                    to << CStringA(narrow.c_str()) << CStringA(narrow.c_str()) << CStringA(narrow.c_str());
            });
            EXPECT_EQ(stored.size() + 1, 3 * 3 * (bytes.size() + length * (wide ? 2 : 1)));
            EXPECT_TRUE(stored.starts_with(hex));
            Source again(FromHex(stored));
            CArchive from(&again, CArchive::load);
            KxString first;
            CString second;
            CStringA third;
            from >> first >> second >> third;
            EXPECT_TRUE(first == text && second == CString(text) && third.View() == narrow);
        }
    }
}

TEST(Archive, TextBytes) {
    EXPECT_EQ(Stored([](CArchive& archive) { archive << KxString(L"a\u00fc\u20ac"); }),
              "ff fe ff 03 61 00 fc 00 ac 20");
    EXPECT_EQ(Stored([](CArchive& archive) { archive << CStringA("a\xfc"); }), "02 61 fc");
    // Above the BMP two units, counted as two; a lone surrogate stays one.
    std::wstring const high = {L'\U0001F600', static_cast<wchar_t>(0xD83D), L'x'};
    EXPECT_EQ(Stored([&](CArchive& archive) { archive << KxString(high); }), "ff fe ff 04 3d d8 00 de 3d d8 78 00");
    // A longer prefix than needed is read all the same.
    Source file(FromHex("ff fe ff 04 3d d8 00 de 3d d8 78 00 ff 02 00 41 80 04 81 8d 8f ff"));
    CArchive archive(&file, CArchive::load);
    KxString text, narrow;
    CStringA bytes;
    archive >> text >> narrow >> bytes;
    EXPECT_EQ(text.View(), high);
    EXPECT_EQ(narrow.View(), L"A\u20ac");
    EXPECT_EQ(ToHex(bytes.View()), "81 8d 8f ff") << "narrow into narrow changes no byte";
}

TEST(Archive, RefusesTextsThatAreNotThere) {
    struct {
        char const *what, *hex;
        int cause;
    } const table[] = {
        {"4 GiB narrow", "ff ff ff fe ff ff ff 41 42", CArchiveException::endOfFile},
        {"4 GiB wide", "ff fe ff ff ff ff fe ff ff ff 41 00", CArchiveException::endOfFile},
        {"2 GiB - 1 wide", "ff fe ff ff ff ff ff ff ff 7f 41 00", CArchiveException::endOfFile},
        {"2^64 - 1", "ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff", CArchiveException::endOfFile},
        {"2^63 wide", "ff fe ff ff ff ff ff ff ff ff 00 00 00 00 00 00 00 80", CArchiveException::endOfFile},
        {"300 of 2", "ff 2c 01 41 42", CArchiveException::endOfFile},
        {"half a unit", "ff fe ff 01 41", CArchiveException::endOfFile},
        {"mark twice", "ff fe ff ff fe ff 01 41 00", CArchiveException::badIndex},
    };
    for (auto const& row : table) {
        SCOPED_TRACE(row.what);
        auto const load = [&](auto text) {
            Source file(FromHex(row.hex));
            CArchive archive(&file, CArchive::load);
            std::string name;
            EXPECT_EQ(CauseOf([&] { archive >> text; }, &name), row.cause);
            EXPECT_EQ(name, "scan.arc");
            EXPECT_LE(file.largest, 4096u) << "nothing was made ready for so much";
        };
        load(KxString());
        load(CString());
        load(CStringA());
    }
}

TEST(Archive, CountsHaveThreeForms) {
    struct {
        ULONGLONG count;
        char const* hex;
    } const table[] = {
        {0, "00 00"},
        {65534, "fe ff"},
        {65535, "ff ff ff ff 00 00"},
        {0xfffffffe, "ff ff fe ff ff ff"},
        {0xffffffff, "ff ff ff ff ff ff ff ff ff ff 00 00 00 00"},
        {0x8000000000000000ULL, "ff ff ff ff ff ff 00 00 00 00 00 00 00 80"},
    };
    for (auto const& row : table) {
        EXPECT_EQ(Stored([&](CArchive& archive) { archive.WriteCount(row.count); }), row.hex);
        std::string const bytes = FromHex(row.hex);
        Source file(bytes), cut(bytes.substr(0, bytes.size() - 1));
        CArchive archive(&file, CArchive::load), shorter(&cut, CArchive::load);
        EXPECT_EQ(archive.ReadCount(), row.count);
        EXPECT_EQ(archive.GetRemaining(), 0u);
        EXPECT_EQ(CauseOf([&] { shorter.ReadCount(); }), CArchiveException::endOfFile);
    }
}

TEST(Archive, GivesBackWhatItReadAhead) {
    std::function<void(CArchive&)> const ways[] = {[](CArchive& archive) { archive.Flush(); },
                                                   [](CArchive& archive) { archive.Close(); }, [](CArchive&) {}};
    Source file("0123456789");
    for (auto const& way : ways) {
        file.Seek(1, CFile::begin);
        {
            CArchive archive(&file, CArchive::load);
            char c = 0;
            archive >> c >> c >> c;
            EXPECT_EQ(c, '3');
            EXPECT_EQ(file.GetPosition(), 10u);
            EXPECT_EQ(archive.GetRemaining(), 6u);
            way(archive);
        }
        EXPECT_EQ(file.GetPosition(), 4u);
    }
    // Without a flush on deletion, and after Abort, the file stays where it is.
    Source target;
    {
        char c = 0;
        CArchive(&file, CArchive::load | CArchive::bNoFlushOnDelete) >> c;
        CArchive(&target, CArchive::store | CArchive::bNoFlushOnDelete) << 'x';
        CArchive aborted(&target, CArchive::store);
        aborted << 'x';
        aborted.Abort();
    }
    EXPECT_EQ(file.GetPosition(), 10u);
    EXPECT_EQ(target.GetLength(), 0u);
}

TEST(Archive, LargeBlocksPassByTheBuffer) {
    std::string const block(10'000, 'b');
    BYTE buffer[256];
    Source file;
    {
        CArchive archive(&file, CArchive::store, sizeof buffer, buffer);
        archive << 'a';
        EXPECT_EQ(buffer[0], 'a') << "the buffer of the caller is used";
        archive.WriteBlock(block.data(), block.size());
        EXPECT_EQ(file.writes, 3) << "the empty one of the test, the buffer, the block";
        archive << 'c';
        archive.Write(block.data(), 255);  // fits exactly
        EXPECT_EQ(file.writes, 3);
        archive << 'd';
    }
    EXPECT_EQ(ReadAll(file), "a" + block + "c" + block.substr(0, 255) + "d");

    file.Seek(0, CFile::begin);
    file.reads = 0;
    file.largest = 0;
    CArchive archive(&file, CArchive::load, sizeof buffer, buffer);
    char c = 0;
    archive >> c;
    EXPECT_EQ(file.largest, 256u);
    std::string loaded(block.size(), '?');
    archive.ReadBlock(loaded.data(), loaded.size());
    EXPECT_EQ(loaded, block);
    EXPECT_EQ(file.reads, 2) << "the rest of the block goes to its place at once";
    archive >> c;
    EXPECT_EQ(c, 'c');
    EXPECT_EQ(archive.Read(loaded.data(), 1000), 256u) << "fewer only at the end";
    EXPECT_EQ(archive.Read(loaded.data(), 1), 0u);
}

TEST(Archive, FillsItsBuffer) {
    Source file(std::string(300, 'x') + "end");
    CArchive archive(&file, CArchive::load, 200);
    char part[150];
    archive.ReadBlock(part, 150);
    archive.FillBuffer(50);
    EXPECT_EQ(file.reads, 1) << "they were there";
    archive.FillBuffer(51);
    EXPECT_EQ(file.reads, 2);
    archive.ReadBlock(part, 150);
    EXPECT_EQ(CauseOf([&] { archive.FillBuffer(201); }), CArchiveException::endOfFile) << "more than its size";
    archive.FillBuffer(3);
    EXPECT_EQ(CauseOf([&] { archive.FillBuffer(4); }), CArchiveException::endOfFile);
    archive.ReadBlock(part, 3);
    EXPECT_EQ(std::string(part, 3), "end") << "a refusal loses nothing";
}

// Works of one direction are refused in the other, and all of them after Close.
TEST(Archive, RefusesTheOtherDirectionAndWorkAfterClose) {
    void (*const stores[])(CArchive&) = {
        [](CArchive& archive) { archive << 1; },
        [](CArchive& archive) { archive.Write("x", 1); },
        [](CArchive& archive) { archive << KxString(L"x"); },
        [](CArchive& archive) { archive.WriteCount(1); },
    };
    static char byte = 0;
    void (*const loads[])(CArchive&) = {
        [](CArchive& archive) { archive >> byte; },
        [](CArchive& archive) { archive.Read(&byte, 1); },
        [](CArchive& archive) { archive >> *std::make_unique<KxString>(); },
        [](CArchive& archive) { archive.ReadCount(); },
        [](CArchive& archive) { archive.FillBuffer(1); },
    };
    Source file("abc");
    std::string name;
    auto const expect = [&](CArchive& archive, auto const& works, int cause) {
        for (auto const& work : works) EXPECT_EQ(CauseOf([&] { work(archive); }, &name), cause);
    };
    CArchive loading(&file, CArchive::load | CArchive::bNoByteSwap), storing(&file, CArchive::store);
    EXPECT_TRUE(loading.IsLoading() && storing.IsStoring());
    expect(loading, stores, CArchiveException::readOnly);
    EXPECT_EQ(name, "scan.arc");
    expect(storing, loads, CArchiveException::writeOnly);
    EXPECT_EQ(name, "scan.arc");
    loading >> byte;
    EXPECT_EQ(byte, 'a');
    CArchive without(nullptr, CArchive::load), nowhere(nullptr, CArchive::store);
    expect(nowhere, stores, CArchiveException::genericException);
    for (CArchive* archive : {&loading, &storing, &without}) {
        archive->Close();
        expect(*archive, stores, CArchiveException::genericException);
        expect(*archive, loads, CArchiveException::genericException);
        EXPECT_EQ(archive->GetFile(), nullptr);
        EXPECT_EQ(archive->GetRemaining(), 0u);
        archive->Flush();
        archive->Close();
        archive->Abort();
    }
    EXPECT_EQ(file.GetLength(), 3u);
    static_assert(CArchiveException::readOnly == 2 && CArchiveException::endOfFile == 3 &&
                  CArchiveException::writeOnly == 4);
}

/// A medium that refuses to be written.
class FullFile : public CMemFile {
public:
    void Write(void const* buffer, UINT count) override {
        if (isFull) AfxThrowFileException(CFileException::diskFull, 28, L"full");
        CMemFile::Write(buffer, count);
    }
    bool isFull = true;
};

TEST(Archive, KeepsWhatTheMediumRefused) {
    FullFile file;
    {
        CArchive archive(&file, CArchive::store);
        archive << 0x41424344;
        test::Thrown<CFileException>([&] { archive.Flush(); });
        test::Thrown<CFileException>([&] { archive.Close(); });
        file.isFull = false;
        archive.Close();
        EXPECT_EQ(ToHex(ReadAll(file)), "44 43 42 41");
        file.isFull = true;
        CArchive lost(&file, CArchive::store);
        lost << 1;
    }  // the destructor says nothing
    EXPECT_EQ(file.GetLength(), 4u);
}

TEST(Archive, ValuesComeBackThroughEveryBufferSize) {
    for (int const size : {-1, 0, 128, 129, 4096, 100'000}) {
        Source file;
        {
            char tooSmall[16] = {};
            CArchive archive(&file, CArchive::store, size, size < 128 ? tooSmall : nullptr);
            for (int i = 0; i < 2000; ++i)
                archive << static_cast<BYTE>(i) << i * 1.5
                        << KxString(std::wstring(static_cast<std::size_t>(i % 300), L'z')) << static_cast<short>(-i);
        }
        file.Seek(0, CFile::begin);
        CArchive archive(&file, CArchive::load, size);
        for (int i = 0; i < 2000; ++i) {
            BYTE byte = 0;
            double number = 0;
            KxString text;
            short last = 0;
            archive >> byte >> number >> text >> last;
            ASSERT_TRUE(byte == i % 256 && number == i * 1.5 && text.Len() == i % 300 && last == -i) << i;
        }
        EXPECT_EQ(archive.GetRemaining(), 0u);
    }
}

}  // namespace
