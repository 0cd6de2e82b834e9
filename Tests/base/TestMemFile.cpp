// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syFile.h"

#include "Support.h"

#include <cstring>
#include <limits>

namespace {

using namespace KxN;
using test::Append;
using test::ReadAll;

/// Shows the seams and lets the n-th request for memory fail.
class WatchedFile : public CMemFile {
public:
    using CMemFile::CMemFile, CMemFile::GrowFile;
    ~WatchedFile() override { Close(); }

    ULONGLONG GetBufferSize() const { return m_bufferSize; }
    int requestsLeft = std::numeric_limits<int>::max();
    int blocks = 0;

protected:
    BYTE* Alloc(ULONGLONG size) override {
        if (requestsLeft-- <= 0) return nullptr;
        ++blocks;
        return CMemFile::Alloc(size);
    }
    BYTE* Realloc(BYTE* memory, ULONGLONG size) override {
        return requestsLeft-- <= 0 ? nullptr : CMemFile::Realloc(memory, size);
    }
    void Free(BYTE* memory) override {
        --blocks;
        CMemFile::Free(memory);
    }
};

TEST(MemFile, GrowsByItsValue) {
    WatchedFile file(100);
    EXPECT_EQ(file.GetBufferSize(), 0u);
    std::string expected;
    for (auto const& [count, buffer] : {std::pair{1, 100u}, {99, 100}, {1, 200}, {250, 400}, {0, 400}}) {
        std::string const part(static_cast<std::size_t>(count), static_cast<char>('a' + count % 26));
        Append(file, part);
        expected += part;
        EXPECT_EQ(file.GetLength(), expected.size());
        EXPECT_EQ(file.GetPosition(), expected.size());
        EXPECT_EQ(file.GetBufferSize(), buffer);
    }
    file.GrowFile(399);  // there is room
    EXPECT_EQ(file.GetBufferSize(), 400u);
    EXPECT_EQ(ReadAll(file), expected);
    file.Close();
    EXPECT_EQ(file.blocks, 0);
    EXPECT_EQ(file.GetLength(), 0u);
    EXPECT_TRUE(file.IsOpen()) << "a file in memory can always be used";
    Append(file, "again");
    EXPECT_EQ(ReadAll(file), "again");
}

TEST(MemFile, FillsGapsWithZeros) {
    CMemFile file(16);
    Append(file, std::string(16, 'x'));
    file.SetLength(2);  // what was cut does not come back
    EXPECT_EQ(file.GetPosition(), 16u);
    file.Seek(5, CFile::begin);
    char byte = '?';
    EXPECT_EQ(file.Read(&byte, 1), 0u);
    EXPECT_EQ(file.GetLength(), 2u) << "only writing extends";
    Append(file, "ab");
    EXPECT_EQ(ReadAll(file), std::string("xx\0\0\0ab", 7));
    file.SetLength(3);
    file.SetLength(40);
    EXPECT_EQ(ReadAll(file), std::string("xx", 2) + std::string(38, '\0'));
    file.Seek(-2, CFile::end);
    Append(file, "end");
    EXPECT_EQ(file.GetLength(), 41u);
}

TEST(MemFile, RefusesImpossiblePlaces) {
    CMemFile file;
    Append(file, "abc");
    constexpr LONGLONG last = std::numeric_limits<LONGLONG>::max();
    std::pair<LONGLONG, UINT> const bad[] = {{-1, 0}, {-4, 1}, {-4, 2}, {last, 1}, {last, 2}, {0, 3}};
    for (auto const& [offset, from] : bad) {
        test::Thrown<CFileException>([&, to = offset, origin = from] { file.Seek(to, origin); });
        EXPECT_EQ(file.GetPosition(), 3u);
    }
    EXPECT_EQ(file.Seek(last, CFile::begin), static_cast<ULONGLONG>(last));
    test::Thrown<CFileException>([&] { Append(file, "x"); });
    file.Seek(last - 10, CFile::begin);
    test::Thrown<CMemoryException>([&] { Append(file, "x"); });
    test::Thrown<CMemoryException>([&] { file.SetLength(1ULL << 63); });
    test::Thrown<CMemoryException>([&] { file.SetLength(~0ULL); });
    EXPECT_EQ(ReadAll(file), "abc");
}

TEST(MemFile, KeepsItsBytesWhenThereIsNoMemory) {
    WatchedFile file(8);
    file.requestsLeft = 0;
    test::Thrown<CMemoryException>([&] { Append(file, "x"); });
    EXPECT_EQ(file.GetLength(), 0u);
    file.requestsLeft = 1;
    Append(file, "12345678");
    test::Thrown<CMemoryException>([&] { Append(file, "9"); });
    EXPECT_EQ(file.GetPosition(), 8u);
    test::Thrown<CMemoryException>([&] { file.SetLength(9); });
    EXPECT_EQ(ReadAll(file), "12345678");
    file.requestsLeft = 1;
    Append(file, "9");
    EXPECT_EQ(ReadAll(file), "123456789");

    // A growth rule that falls short is no reason to write beyond the memory.
    class Lazy : public CMemFile {
        void GrowFile(ULONGLONG) override {}
    } lazy;
    test::Thrown<CMemoryException>([&] { Append(lazy, "x"); });
    EXPECT_EQ(lazy.GetLength(), 0u);
}

TEST(MemFile, WorksInMemoryOfTheCaller) {
    BYTE memory[] = {'a', 'b', 'c', 'd'};
    CMemFile fixed(memory, 4), growing(memory, 4, 16);
    fixed.Seek(1, CFile::begin);
    Append(fixed, "B");
    EXPECT_EQ(memory[1], 'B');
    fixed.Seek(0, CFile::end);
    test::Thrown<CMemoryException>([&] { Append(fixed, "e"); });
    EXPECT_EQ(ReadAll(fixed), "aBcd");
    growing.Seek(0, CFile::end);
    Append(growing, "e");
    growing.Seek(0, CFile::begin);
    Append(growing, "A");
    EXPECT_EQ(ReadAll(growing), "ABcde");
    EXPECT_EQ(memory[0], 'a') << "from its growth on the file works in a copy";
    CMemFile emptied(memory, 4, 16);
    emptied.SetLength(0);
    emptied.SetLength(5);
    EXPECT_EQ(ReadAll(emptied), std::string(5, '\0'));
    EXPECT_EQ(fixed.Detach(), memory);
    EXPECT_EQ(fixed.GetLength(), 0u);
}

TEST(MemFile, HandsItsMemoryOn) {
    CMemFile file;
    CSharedFile shared;
    EXPECT_EQ(shared.GetAllocFlags(), 0x2002u);
    EXPECT_EQ(shared.Detach(), nullptr);
    for (CMemFile* memoryFile : {&file, static_cast<CMemFile*>(&shared)}) {
        Append(*memoryFile, "mine");
        void* const memory = memoryFile == &file ? file.Detach() : shared.Detach();
        ASSERT_NE(memory, nullptr);
        EXPECT_EQ(std::memcmp(memory, "mine", 4), 0);
        std::free(memory);
        EXPECT_EQ(memoryFile->GetLength() + memoryFile->GetPosition(), 0u);
        Append(*memoryFile, "new");
        EXPECT_EQ(ReadAll(*memoryFile), "new");
    }
    EXPECT_TRUE(file.Open(L"/somewhere/other", CFile::modeRead));
    EXPECT_EQ(file.GetLength(), 0u) << "opening empties";
    EXPECT_TRUE(file.Open(nullptr, CFile::modeRead));
    EXPECT_EQ(test::U(KxString(file.GetFileName())), "other");
}

}  // namespace
