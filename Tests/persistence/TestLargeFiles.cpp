// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Records on both sides of 2^31 and 2^32, in a sparse file, and more points than 32 bits count.
#include "TagTest.h"

#include "hbtools/persistence/syGeometryTags.h"
#include "hbtools/persistence/syTagInspector.h"

#include <cstring>
#include <filesystem>
#include <unistd.h>

using namespace KxN;

namespace {

class LargeTagFiles : public testing::Test {
protected:
    void SetUp() override {
        path = (std::filesystem::temp_directory_path() / ("hbtools-large-" + std::to_string(::getpid()))).string();
        file.Open(KxString(path.c_str()), CFile::modeCreate | CFile::modeReadWrite);
    }
    void TearDown() override {
        file.Abort();
        std::filesystem::remove(path);
    }
    /// Makes the file sparse up to `length`; false where the file system cannot.
    bool Extend(ULONGLONG length) {
        try {
            file.SetLength(length);
            return true;
        } catch (CFileException* exception) {
            exception->Delete();
            return false;
        }
    }

    std::string path;
    CFile file;
};

}  // namespace

TEST_F(LargeTagFiles, TheLongFormReachesBeyond4GiB) {
    FormatScope const scope(TagFormat64);
    KxTagArchive archive(&file, 0);
    int index = 0;
    for (ULONGLONG gap : {0ULL, (1ULL << 31) - 10, (1ULL << 31) + 100, (1ULL << 32) - 7, (1ULL << 32) + 5000}) {
        if (!Extend(std::max(gap, file.GetLength()))) GTEST_SKIP() << "no sparse files here";
        archive << KxTTag<int>(static_cast<unsigned long>(100 + index), index);
        ++index;
    }
    file.Seek(0, CFile::begin);
    KxTagArchive reading(&file, 1);
    for (int i : {4, 0, 3, 1, 2}) {
        int value = -1;
        KxTTag<int> tag(static_cast<unsigned long>(100 + i), value);
        reading >> tag;
        EXPECT_EQ(value, i);
        EXPECT_EQ(tag.GetDataAddress() > 0xffffffffULL, i >= 3);
    }
    file.Seek(0, CFile::begin);
    KxTagInspector inspector(&file);
    EXPECT_EQ(inspector.Inspect(), TagFileWhole);
    EXPECT_EQ(inspector.Records().Size(), 5);
}

TEST_F(LargeTagFiles, TheShortFormReachesUpTo4GiB) {
    KxTagArchive archive(&file, 0);
    KxTArray<KxVec3f> points(1000);
    for (KxVec3f& point : points)
        point = KxVec3f(1, 2, 3);  // what stands behind an array leaves its kind to its numbers
    int index = 0;
    // The payloads lie across 2^31, behind it, and end right before 2^32.
    for (ULONGLONG gap : {0ULL, (1ULL << 31) - 6000, (1ULL << 31) + 100000, (1ULL << 32) - 18 - 4 - 12000 - 1}) {
        if (!Extend(std::max(gap, file.GetLength()))) GTEST_SKIP() << "no sparse files here";
        archive << KxVec3fArrayTag(static_cast<unsigned long>(100 + index++), points);
    }
    EXPECT_EQ(file.GetLength(), (1ULL << 32) - 1);
    EXPECT_EQ(Thrown([&] { archive << KxVec3fArrayTag(104, points); }), "KxException");
    file.Seek(0, CFile::begin);
    KxTagArchive reading(&file, 1);
    for (unsigned long i : {3UL, 0UL, 2UL, 1UL}) {
        KxTArray<KxVec3f> read;
        reading >> KxVec3fArrayTag(100 + i, read);
        ASSERT_EQ(read.Size(), 1000);
        EXPECT_EQ(read[999][2], 3);
    }
    KxTagInspector inspector(&file);
    EXPECT_EQ(inspector.Inspect(), TagFileWhole);
    EXPECT_EQ(inspector.Records().Size(), 4);
    EXPECT_EQ(file.GetLength(), (1ULL << 32) - 1) << "what was refused has left nothing";
}

namespace {

/// A file that exists nowhere but for its head: a 2-D array of points. The first coordinate of each point, asked for from
/// the begin of one on, is its number in the file as far as 24 bits hold it.
class EndlessPoints : public CFile {
public:
    EndlessPoints(int width, int height) : m_points(static_cast<ULONGLONG>(width) * static_cast<ULONGLONG>(height)) {
        FormatScope const scope(TagFormat64);
        CMemFile head;
        KxTagArchive archive(&head, 0);
        archive << KxNullTag(7);
        m_head = BytesOf(head);
        for (int side : {width, height})
            for (int i = 0; i < 4; ++i) m_head.push_back(static_cast<BYTE>(side >> 8 * i));
    }
    ULONGLONG GetLength() const override { return m_head.size() + m_points * pointSize; }
    ULONGLONG GetPosition() const override { return m_position; }
    ULONGLONG Seek(LONGLONG offset, UINT from) override {
        ULONGLONG const base = from == begin ? 0 : from == end ? GetLength() : m_position;
        return m_position = base + static_cast<ULONGLONG>(offset);
    }
    UINT Read(void* buffer, UINT count) override {
        count = static_cast<UINT>(std::min<ULONGLONG>(count, GetLength() - std::min(m_position, GetLength())));
        auto* const bytes = static_cast<BYTE*>(buffer);
        UINT done = 0;
        for (; done < count && m_position + done < m_head.size(); ++done) bytes[done] = m_head[m_position + done];
        ULONGLONG const payload = m_position + done - m_head.size();
        // Of a large part only the first point is made: making them all would take minutes.
        if (done == 0 && count >= pointSize && payload % pointSize == 0) {
            float const number[3] = {static_cast<float>(payload / pointSize % (1 << 24)), 0, 0};
            std::memcpy(bytes, number, sizeof number);
        } else if (done < count && count < 4096) {
            std::memset(bytes + done, 0, count - done);
        }
        m_position += count;
        return count;
    }

private:
    static constexpr UINT pointSize = 12;
    ULONGLONG m_points;
    ULONGLONG m_position = 0;
    std::vector<BYTE> m_head;
};

}  // namespace

TEST(LargeArrays, PointsBeyond32BitsAreReadInPartsAndAllCounted) {
    for (int const height : {65536, 65537, 70000}) {  // 65537 rows are one more point than 2^32, and more
        EndlessPoints endless(65536 + (height == 65537), height);
        KxTagInspector inspector(&endless);
        ASSERT_EQ(inspector.Inspect(), TagFileWhole);
        ASSERT_EQ(inspector.Records().Size(), 1);
        SxTagRecord const& record = inspector.Records()[0];
        EXPECT_EQ(record.kind, PayloadVec3f2dArray);
        LONGLONG const expected = height == 65536 ? 4294967296 : height == 65537 ? 4295098369 : 4587520000;
        EXPECT_EQ(KxTagInspector::NumElements(record), expected);
        std::vector<KxVec3f> part(1 << 20);
        LONGLONG count = 0, number = 0;
        for (int wrong = 0; wrong < 3; count += number) {
            number = inspector.ReadElements(record, count, static_cast<LONGLONG>(part.size()), part.data());
            if (number == 0) break;
            if (part[0][0] != static_cast<float>(count % (1 << 24)))
                ADD_FAILURE() << count << ": " << part[0][0], ++wrong;
        }
        EXPECT_EQ(count, expected);
        // The archive's own arrays end at 2^31 - 1 elements.
        KxT2dArray<KxVec3f> array(2, 2);
        endless.Seek(0, CFile::begin);
        KxTagArchive archive(&endless, 1);
        EXPECT_EQ(Thrown([&] { archive >> KxVec3f2dArrayTag(7, array); }), "archive 5");
        EXPECT_EQ(array.Size(), 4);
    }
}

TEST_F(LargeTagFiles, PointsBeyond32BitsAreWhereTheyWereWritten) {
    FormatScope const scope(TagFormat64);
    KxTagArchive(&file, 0) << KxNullTag(7);
    constexpr LONGLONG width = 65536, height = 65537, count = width * height;
    int const sides[] = {width, height};
    file.Write(sides, sizeof sides);
    ULONGLONG const payload = file.GetLength();
    if (!Extend(payload + count * sizeof(KxVec3f))) GTEST_SKIP() << "no sparse files here";
    // All else is a hole: reading 48 GiB of zeros takes minutes on many file systems.
    constexpr LONGLONG borders[] = {0, 1LL << 31, 1LL << 32, count - 1};
    auto const pointOf = [](LONGLONG number) {
        LONGLONG const row = number / width;
        return KxVec3f(static_cast<float>(row), static_cast<float>(number % width), 1);
    };
    for (LONGLONG const border : borders)
        for (LONGLONG number = std::max(border - 1, 0LL); number <= std::min(border + 1, count - 1); ++number) {
            KxVec3f const made = pointOf(number);
            float const point[] = {made[0], made[1], made[2]};
            file.Seek(static_cast<LONGLONG>(payload) + number * LONGLONG{sizeof point}, CFile::begin);
            file.Write(point, sizeof point);
        }
    file.Close();

    CFile reading(KxString(path.c_str()), CFile::modeRead);
    KxTagInspector inspector(&reading);
    ASSERT_EQ(inspector.Inspect(), TagFileWhole);
    ASSERT_EQ(inspector.Records().Size(), 1);
    SxTagRecord const& record = inspector.Records()[0];
    ASSERT_EQ(record.kind, PayloadVec3f2dArray);
    EXPECT_EQ(KxTagInspector::NumElements(record), 4295032832);
    for (LONGLONG const border : borders) {
        constexpr LONGLONG half = 1000;
        LONGLONG const first = std::max(border - half, 0LL), wanted = std::min(border + half, count) - first;
        std::vector<KxVec3f> part(2 * half);
        // More than there are at the end of the array.
        ASSERT_EQ(inspector.ReadElements(record, first, border + half - first, part.data()), wanted);
        for (LONGLONG i = 0; i < wanted; ++i) {
            LONGLONG const number = first + i;
            bool const isWritten = number >= border - 1 && number <= border + 1;
            KxVec3f const expected = isWritten ? pointOf(number) : KxVec3f(0, 0, 0);
            EXPECT_TRUE(part[static_cast<std::size_t>(i)] == expected) << number;
        }
    }
    KxVec3f none;
    EXPECT_EQ(inspector.ReadElements(record, count, 1, &none), 0);
}

TEST_F(LargeTagFiles, TheShortFormRefusesBeforeItDamagesAnything) {
    KxTagArchive archive(&file, 0);
    int value = 7;
    archive << KxTTag<int>(1, value);
    if (!Extend((1ULL << 32) + 10)) GTEST_SKIP() << "no sparse files here";
    ULONGLONG const length = file.GetLength();
    try {
        archive << KxTTag<int>(2, value);
        FAIL() << "a position beyond 32 bits has no room in the short form";
    } catch (KxException* exception) {
        EXPECT_TRUE(exception->GetMessage() == L"Die Dateigröße überschreitet das erlaubte Maximum von 4 GBytes");
        exception->Delete();
    }
    EXPECT_EQ(file.GetLength(), length);
    // Nor does a long record behind a short one, whose link would not reach it.
    FormatScope const scope(TagFormat64);
    EXPECT_EQ(Thrown([&] { archive << KxTTag<int>(2, value); }), "KxException");
    EXPECT_EQ(file.GetLength(), length);
    file.Seek(0, CFile::begin);
    BYTE head[18];
    ASSERT_EQ(file.Read(head, sizeof head), sizeof head);
    EXPECT_EQ(ToHex({head, head + 18}), Plain("01000000 6400 04000000 12000000 00000000"));
}
