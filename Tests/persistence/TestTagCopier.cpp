// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Copies of tag files: in the other form, and of what damage left.
#include "hbtools/persistence/syTagCopier.h"

#include "TagSample.h"
#include "TagTest.h"

#include <filesystem>
#include <map>
#include <random>
#include <unistd.h>

using namespace KxN;

namespace {

using Bytes = std::vector<BYTE>;

Bytes Sample(TagFormat format, ULONGLONG start = 0) {
    FormatScope const scope(format);
    CMemFile file;
    WriteSample(file, start);
    return BytesOf(file);
}

Bytes Converted(Bytes const& bytes, TagFormat format) {
    auto const source = FileOf(bytes);
    CMemFile target;
    EXPECT_EQ(KxTagCopier(source.get()).Convert(target, format), TagFileWhole);
    return BytesOf(target);
}

/// What a reader finds whole, by id: its bytes, wherever it stands.
struct Content {
    TagPayloadKind kind;
    std::string bytes;

    bool IsCollection() const { return kind >= PayloadVec2sArray && kind <= PayloadEmptyArray; }
    /// Whether `copy` is the same. Where a wrong link stood in for the end of a payload its kind was anyone's guess.
    bool IsIn(Content const& copy) const {
        if (kind == PayloadNone || kind == PayloadUnknown || kind == PayloadGraphObject) return true;
        if (!IsCollection() || kind == copy.kind) return kind == copy.kind && bytes == copy.bytes;
        bool isSame = false;
        for (std::size_t begin : {0U, 8U}) {  // of the digits: a count, or two extents
            std::size_t const length = std::min(bytes.size() - begin, copy.bytes.size());
            isSame = isSame || bytes.compare(begin, length, copy.bytes, 0, length) == 0;
        }
        return copy.IsCollection() && isSame;
    }
};
using Contents = std::multimap<unsigned long, Content>;

Contents Whole(Bytes const& bytes, TagFileState* state = nullptr) {
    auto const file = FileOf(bytes);
    KxTagInspector inspector(file.get());
    TagFileState const found = inspector.Inspect();
    if (state) *state = found;
    Contents contents;
    for (SxTagRecord const& record : inspector.Records()) {
        bool isWhole = !record.isDamaged && (record.image.id < 208009 || record.image.id > 208113);
        for (SxTagFault const& fault : inspector.Faults()) isWhole = isWhole && fault.position != record.position;
        if (!isWhole) continue;
        LONGLONG const count = KxTagInspector::NumElements(record);
        Bytes elements(static_cast<std::size_t>(count) * KxTagInspector::ElementSize(record));
        inspector.ReadElements(record, 0, count, elements.data());
        contents.emplace(record.image.id, Content{record.kind, ToHex(elements)});
    }
    return contents;
}

struct Repaired {
    Bytes bytes;
    TagFileState state;
    std::vector<SxTagLoss> losses;
    ULONGLONG copied = 0;  // of the source
};

Repaired Repair(Bytes const& bytes) {
    auto const source = FileOf(bytes);
    CMemFile target;
    KxTagCopier copier(source.get());
    Repaired result;
    result.state = copier.Repair(target);
    result.bytes = BytesOf(target);
    for (SxTagLoss const& loss : copier.Losses()) result.losses.push_back(loss);
    return result;
}

/// "5/9 121" for each record that is lost or cut: what is kept of how many, and the id.
std::string Lost(Repaired const& repaired) {
    std::string text;
    for (SxTagLoss const& loss : repaired.losses)
        if (loss.isRecord)
            text +=
                std::to_string(loss.kept) + '/' + std::to_string(loss.promised) + ' ' + std::to_string(loss.id) + "; ";
    return text;
}

/// The output is whole, and holds what was whole. Returns why not.
std::string Judge(Bytes const& bytes, bool isSingleFault = true) {
    Repaired const repaired = Repair(bytes);
    TagFileState state = TagFileWhole;
    auto const before = Whole(bytes, &state);
    if (repaired.state == TagFileForeign)
        return state == TagFileForeign || before.empty() || !isSingleFault ? "" : "refused";
    TagFileState after = TagFileForeign;
    auto const copied = Whole(repaired.bytes, &after);
    bool const isEmpty = repaired.bytes.empty() || repaired.bytes.size() == 512;
    if (after != TagFileWhole && !isEmpty) return "the copy is not whole";
    for (auto const& entry : before) {
        unsigned long const id = entry.first;
        Content const& content = entry.second;
        auto const [first, last] = copied.equal_range(id);
        if (isSingleFault && std::none_of(first, last, [&](auto const& other) { return content.IsIn(other.second); }))
            return "lost " + std::to_string(id) + " of kind " + std::to_string(content.kind);
    }
    if (state == TagFileWhole && (repaired.bytes.size() != bytes.size() || copied.size() != before.size()))
        return "changed";
    ULONGLONG end = 0;
    for (SxTagLoss const& loss : repaired.losses) {
        if (loss.begin > loss.end || loss.end > bytes.size()) return "a loss that is no range";
        end = std::max(end, loss.end);
    }
    return state == TagFileWhole && end > 0 ? "losses of a whole file" : "";
}

}  // namespace

TEST(TagCopier, ThereAndBackIsTheSameAndBothAreWhatAnArchiveWrites) {
    for (ULONGLONG start : {0U, 512U}) {
        Bytes short32 = Sample(TagFormat32, start), long64 = Sample(TagFormat64, start);
        if (start > 0)
            for (Bytes* bytes : {&short32, &long64}) {
                Bytes const mark = FromHex("4949 6400 0002");
                std::copy(mark.begin(), mark.end(), bytes->begin());
                (*bytes)[30] = bytes == &long64;
                (*bytes)[40] = 0x77;  // reserved bytes go along
            }
        EXPECT_TRUE(Converted(short32, TagFormat64) == long64) << start;
        EXPECT_TRUE(Converted(long64, TagFormat32) == short32) << start;
        EXPECT_TRUE(Converted(short32, TagFormat32) == short32) << start;
        EXPECT_EQ(Judge(short32) + Judge(long64), "") << start;
    }
    // Vectors of one tag for each component are a tree of their own.
    CMemFile vectors;
    KxVec2d pair(1, 2);
    KxVec3f triple(3, 4, 5);
    KxTagArchive(&vectors, 0) << KxVec2dTag(1, pair) << KxVec3fTag(2, triple);
    Bytes const long64 = Converted(BytesOf(vectors), TagFormat64);
    EXPECT_TRUE(Converted(long64, TagFormat32) == BytesOf(vectors));
    EXPECT_EQ(Judge(long64), "");
    // By hand: id 1, version 100, 2 bytes; then the 30 bytes of the other form.
    EXPECT_EQ(ToHex(Converted(FromHex("01000000 6400 02000000 12000000 00000000 0500"), TagFormat64)),
              Plain("01000000 6480 0200000000000000 1E00000000000000 0000000000000000 0500"));
}

TEST(TagCopier, RefusesWhatAFormDoesNotHold) {
    auto const late = FileOf(FromHex("01000000 0040 02000000 12000000 00000000 0500"));  // version 0x4000
    CMemFile target;
    EXPECT_EQ(Thrown([&] { KxTagCopier(late.get()).Convert(target, TagFormat64); }), "KxException");
    EXPECT_EQ(target.GetLength(), 0U);
    auto const cut = FileOf(FromHex("01000000 6400 04000000 12000000 00000000 0500"));
    EXPECT_EQ(KxTagCopier(cut.get()).Convert(target, TagFormat64), TagFileDamaged);
    EXPECT_EQ(target.GetLength(), 0U);

    auto const path = std::filesystem::temp_directory_path() / ("hbtools-copier-" + std::to_string(::getpid()));
    CFile file(KxString(path.wstring()), CFile::modeCreate | CFile::modeReadWrite);
    try {
        // An array of 200 million points of double in a long record: 4.8e9 bytes, all of them holes.
        Bytes const head = FromHex("01000000 6480 0000000000000000 1E00000000000000 0000000000000000 00C2EB0B");
        file.Write(head.data(), static_cast<UINT>(head.size()));
        file.SetLength(head.size() + 24ULL * 200000000);
        EXPECT_EQ(Thrown([&] { KxTagCopier(&file).Convert(target, TagFormat32); }), "KxException");
        EXPECT_EQ(target.GetLength(), 0U);
    } catch (CFileException* exception) {
        exception->Delete();  // no sparse files here
    }
    file.Abort();
    std::filesystem::remove(path);
}

// Every cut and every bit of every byte: what is repaired is whole, and has all that was.
TEST(TagCopier, RepairsWhateverASingleFaultLeaves) {
    for (TagFormat const format : {TagFormat32, TagFormat64}) {
        Bytes const whole = Sample(format);
        int failures = 0;
        for (std::size_t length = 0; length < whole.size() && failures < 5; ++length) {
            std::string const verdict = Judge(Bytes(whole.begin(), whole.begin() + static_cast<long>(length)));
            if (verdict.empty()) continue;
            ADD_FAILURE() << format << " cut to " << length << ": " << verdict;
            ++failures;
        }
        for (std::size_t bit = 0; bit < 8 * whole.size() && failures < 10; ++bit) {
            Bytes bytes = whole;
            bytes[bit / 8] ^= static_cast<BYTE>(1 << bit % 8);
            std::string const verdict = Judge(bytes);
            if (verdict.empty()) continue;
            ADD_FAILURE() << format << " byte " << bit / 8 << " bit " << bit % 8 << ": " << verdict;
            ++failures;
        }
    }
}

// Bytes that are missing, or too many, anywhere: the copy is whole, and what it has is there once.
TEST(TagCopier, WhatIsMissingWithinTheFile) {
    for (TagFormat const format : {TagFormat32, TagFormat64}) {
        Bytes const whole = Sample(format);
        for (long const size : {1L, 20L, 97L})
            for (long at = 0; at + size < static_cast<long>(whole.size()); at += 11) {
                Bytes less = whole, more = whole;
                less.erase(less.begin() + at, less.begin() + at + size);
                more.insert(more.begin() + at, static_cast<std::size_t>(size), BYTE{7});
                ASSERT_EQ(Judge(less, false), "") << format << ' ' << at << ' ' << size;
                ASSERT_EQ(Judge(more, false), "") << format << ' ' << at << ' ' << size;
                // Whatever is missing of one record, most others are there.
                EXPECT_GE(Whole(Repair(less).bytes).size(), 9U) << format << ' ' << at << ' ' << size;
            }
    }
}

// Links that lead anywhere, sizes that claim what is not theirs, and noise, several at a time.
TEST(TagCopier, WhatManyFaultsLeaveIsWholeInTheCopy) {
    std::mt19937 random(5);
    auto const pick = [&](std::size_t count) { return static_cast<std::size_t>(random() % count); };
    for (TagFormat const format : {TagFormat32, TagFormat64}) {
        Bytes const whole = Sample(format);
        auto const file = FileOf(whole);
        KxTagInspector inspector(file.get());
        inspector.Inspect();
        auto const& records = inspector.Records();
        std::size_t const width = format == TagFormat64 ? 8 : 4;
        for (int round = 0; round < 400; ++round) {
            Bytes bytes = whole;
            for (std::size_t faults = 1 + pick(5); faults > 0; --faults) {
                auto const record = [&] {
                    return records[static_cast<int>(pick(static_cast<std::size_t>(records.Size())))];
                };
                std::size_t const field = 6 + width * pick(3);  // size, address or link
                ULONGLONG const value = pick(4) ? record().position : random() % (2 * whole.size());
                std::size_t const at = static_cast<std::size_t>(record().position) + field;
                for (std::size_t i = 0; i < width; ++i) bytes[at + i] = static_cast<BYTE>(value >> (8 * i));
                if (pick(3) == 0) bytes[pick(bytes.size())] ^= static_cast<BYTE>(1 << pick(8));
            }
            ASSERT_EQ(Judge(bytes, false), "") << format << ' ' << round << ' ' << ToHex(bytes);
        }
    }
}

// By hand: what a reader cannot come to any more.
TEST(TagCopier, FindsRecordsThatNoChainLeadsTo) {
    struct {
        char const* what;
        char const* bytes;
        int copied;
    } const cases[] = {
        {"a chain that goes back",
         "01000000 6400 02000000 12000000 27000000 0100 ff 02000000 6400 00000000 27000000 00000000"
         "03000000 6400 00000000 39000000 15000000",
         3},
        {"a link out of its level, behind all others",
         "01000000 6400 00000000 12000000 24000000 02000000 6400 00000000 24000000 3a000000"
         "03000000 6400 04000000 36000000 00000000 01020304 04000000 6400 04000000 4c000000 00000000 05060708",
         4},
    };
    for (auto const& c : cases) {
        Bytes const bytes = FromHex(c.bytes);
        EXPECT_EQ(Judge(bytes), "") << c.what;
        EXPECT_EQ(Whole(Repair(bytes).bytes).size(), static_cast<std::size_t>(c.copied)) << c.what;
    }
    // Behind a link to nowhere and a mebibyte of noise, which is looked through by blocks of that size.
    for (std::size_t const less : {0U, 1U, 17U, 18U, 19U, 29U, 30U, 31U}) {
        Bytes bytes = FromHex("01000000 6400 02000000 12000000 ffffff7f 0100");
        std::size_t const begin = bytes.size() + (1 << 20) - less;
        bytes.resize(begin, 0xff);
        for (std::size_t const number : {begin + 18, std::size_t(0)})
            for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<BYTE>(number >> (8 * i)));
        Bytes const head = FromHex("02000000 6400 02000000");
        bytes.insert(bytes.begin() + static_cast<long>(begin), head.begin(), head.end());
        bytes.insert(bytes.end(), {5, 0});
        Repaired const repaired = Repair(bytes);
        EXPECT_EQ(Whole(repaired.bytes).count(2), 1U) << less;
        EXPECT_EQ(repaired.losses.size(), 1U) << less;
    }
}

// Arrays keep the elements that are there; their kind is told by a link behind the end, by a count of which one bit
// tipped, or by the numbers.
TEST(TagCopier, KeepsWholeElementsAndCountsThem) {
    auto const file = [](auto const& write) {
        CMemFile memory;
        KxTagArchive archive(&memory, 0);
        write(archive);
        return BytesOf(memory);
    };
    auto floats = SamplePoints<KxVec3f>(100);
    auto doubles = SamplePoints<KxVec3d>(100);
    auto whole = SamplePoints<KxVec3i>(100);
    KxTArray<int> numbers(100);
    KxTArray<double> values(100);
    KxT2dArray<KxVec3f> grid(10, 10);
    for (int i = 0; i < 100; ++i) {
        grid.Data()[i] = floats[i];
        numbers[i] = i;
    }
    int number = 5;
    Bytes const plain = file([&](KxTagArchive& archive) { archive << KxVec3fArrayTag(1, floats); });
    Bytes const precise = file([&](KxTagArchive& archive) { archive << KxVec3dArrayTag(1, doubles); });
    Bytes const counts = file([&](KxTagArchive& archive) { archive << KxVec3iArrayTag(1, whole); });
    Bytes const rows = file([&](KxTagArchive& archive) { archive << KxVec3f2dArrayTag(1, grid); });
    Bytes const ints = file([&](KxTagArchive& archive) { archive << KxTBasicTypeArrayTag<int>(1, numbers); });
    Bytes const tags =
        file([&](KxTagArchive& archive) { archive << KxTTagArrayTag<double, KxTTag<double>>(1, values); });
    Bytes const followed =
        file([&](KxTagArchive& archive) { archive << KxVec3dArrayTag(1, doubles) << KxTTag<int>(2, number); });
    Bytes const nested = file([&](KxTagArchive& archive) {
        archive << KxNullTag(3);
        archive.LevelDown();
        archive << KxVec3fArrayTag(1, floats);
        archive.LevelUp();
        archive << KxTTag<int>(2, number);
    });
    auto const cut = [](Bytes const& bytes, std::size_t length) {
        return Bytes(bytes.begin(), bytes.begin() + static_cast<long>(length));
    };
    auto const with = [](Bytes bytes, std::size_t position, BYTE value) {
        bytes[position] = value;
        return bytes;
    };
    auto const spliced = [](Bytes bytes, std::size_t position, long missing, std::size_t added) {
        auto const place = bytes.begin() + static_cast<long>(position);
        bytes.insert(bytes.erase(place, place + missing), added, BYTE{0x55});
        return bytes;
    };
    struct Case {
        char const* name;
        Bytes bytes;
        char const* lost;
        std::size_t size;  // of the copy
    };
    Case const cases[] = {
        {"floats", cut(plain, 18 + 4 + 12 * 40 + 11), "40/100 1; ", 18 + 4 + 12 * 40},
        {"doubles", cut(precise, 18 + 4 + 24 * 40 + 23), "40/100 1; ", 18 + 4 + 24 * 40},
        {"ints", cut(counts, 18 + 4 + 12 * 40 + 1), "40/100 1; ", 18 + 4 + 12 * 40},
        {"rows", cut(rows, 18 + 8 + 12 * 41 + 1), "41/100 1; ", 18 + 8 + 12 * 50},
        {"array of int", cut(ints, 18 + 22 + 4 * 40 + 3), "40/100 1; ", 18 + 22 + 4 * 40},
        {"tag array", cut(tags, 18 + 22 + 26 * 40 + 25), "40/100 1; ", 18 + 22 + 26 * 40},
        {"link within a tag array", with(tags, 18 + 22 + 26 * 40 + 15, 0x7f), "100/100 1; ", tags.size()},
        {"before a link", cut(followed, 18 + 4 + 24), "1/100 1; ", 18 + 4 + 24},
        {"before a link further out", cut(nested, 36 + 4 + 12 * 2), "2/100 1; ", 36 + 4 + 12 * 2},
        {"where shorter points would end", cut(followed, 18 + 4 + 12 * 100), "50/100 1; ", 18 + 4 + 24 * 50},
        {"the same in a level", cut(nested, 36 + 4 + 4 * 100), "33/100 1; ", 36 + 4 + 12 * 33},
        {"nothing of an array", cut(plain, 18 + 4 + 11), "0/100 1; ", 0},
        {"count of 16777316", with(followed, 18 + 3, 1), "100/16777316 1; ", followed.size()},
        {"count below 0", with(followed, 18 + 3, 0x80), "100/100 1; ", followed.size()},
        {"count without sense", with(with(followed, 18, 0xff), 18 + 2, 0xff), "100/16711935 1; ", followed.size()},
        {"scalar", cut(followed, followed.size() - 1), "0/0 2; ", 18 + 4 + 24 * 100},
        {"link to nowhere", with(nested, 17, 0x7f), "", nested.size()},
        {"no link", with(with(nested, 14, 0), 15, 0), "", nested.size()},
        {"48 bytes missing", spliced(followed, 18 + 4 + 24 * 10, 48, 0), "98/100 1; ", followed.size() - 48},
        {"50 bytes missing", spliced(followed, 18 + 4 + 24 * 10, 50, 0), "97/100 1; ", followed.size() - 72},
        {"in a level", spliced(nested, 36 + 4 + 12 * 10, 24, 0), "98/100 1; ", nested.size() - 24},
        {"50 bytes too many", spliced(followed, 18 + 4 + 24 * 10, 0, 50), "100/100 1; ", followed.size()},
        {"head of the first record", with(followed, 11, 0x55), "", 22},
    };
    for (Case const& c : cases) {
        Repaired const repaired = Repair(c.bytes);
        EXPECT_EQ(repaired.state, TagFileDamaged) << c.name;
        EXPECT_EQ(Lost(repaired), c.lost) << c.name;
        EXPECT_EQ(repaired.bytes.size(), c.size) << c.name;
        EXPECT_EQ(Judge(c.bytes), "") << c.name;
    }
    // Whichever bit of a count tips, the link tells that it is not right, and the bytes which one it was.
    Bytes const linked = file([&](KxTagArchive& archive) { archive << KxVec3f2dArrayTag(1, grid) << KxNullTag(2); });
    for (auto const& [sound, numBits] : {std::pair{&followed, 32}, {&linked, 64}})
        for (int bit = 0; bit < numBits; ++bit) {
            std::size_t const at = 18 + static_cast<std::size_t>(bit) / 8;
            Repaired const repaired = Repair(with(*sound, at, static_cast<BYTE>((*sound)[at] ^ 1 << bit % 8)));
            EXPECT_TRUE(repaired.state == TagFileDamaged && repaired.bytes == *sound) << numBits << ' ' << bit;
        }
    // The row that is cut is filled with points that are none; by hand, 10 x 5 points and the first gap.
    Bytes const gaps = Repair(cut(rows, 18 + 8 + 12 * 41)).bytes;
    EXPECT_EQ(ToHex(Bytes(gaps.begin() + 18, gaps.begin() + 26)), Plain("0A000000 05000000"));
    EXPECT_EQ(ToHex(Bytes(gaps.begin() + 26 + 12 * 41, gaps.begin() + 26 + 12 * 42)),
              Plain("FFFF7F7F 00000000 00000000"));
}

// By hand: what nobody knows between a scalar and another one, with and without a declared size.
TEST(TagCopier, KindsOfAnApplicationsOwnKeepTheirBytes) {
    std::string const known = "01000000 6400 04000000 12000000 16000000 07000000 ";
    std::string const own = "deadbeef 20617070 00ff2506 1b5b33", last = "03000000 6400 02000000 49000000 00000000 0500";
    std::string const declared = "0f270000 6400 0f000000 28000000 37000000 ";
    std::string const bytes = Plain(known + declared + own + last), form64 = Plain("0f270000 6480 0f00000000000000");
    std::string const other = ToHex(Converted(FromHex(bytes), TagFormat64));
    EXPECT_NE(other.find(form64), std::string::npos);
    EXPECT_NE(other.find(Plain(own)), std::string::npos);
    EXPECT_EQ(ToHex(Converted(FromHex(other), TagFormat32)), bytes);
    EXPECT_EQ(ToHex(Repair(FromHex(bytes)).bytes), bytes);
    // In the shape of no kind; then nothing is lost either, and the copy is whole.
    Repaired const repaired = Repair(FromHex(known + "0f270000 6400 00000000 28000000 37000000 " + own + last));
    EXPECT_EQ(repaired.state, TagFileDamaged);
    EXPECT_EQ(ToHex(repaired.bytes), bytes);
    EXPECT_TRUE(repaired.losses.empty());
    EXPECT_EQ(Judge(repaired.bytes), "");
}

TEST(TagCopier, OfRecordsThatOverlapOneIsKept) {
    // The payload of the first covers the second, to which it leads all the same; two levels that share their tail.
    Repaired const covered =
        Repair(FromHex("01000000 6400 1c000000 12000000 16000000 07000000 02000000 6400 02000000 28000000 00000000 0500"
                       "0000 00000000"));
    EXPECT_EQ(covered.state, TagFileDamaged);
    EXPECT_EQ(ToHex(covered.bytes), Plain("02000000 6400 02000000 12000000 00000000 0500"));
    EXPECT_EQ(Lost(covered), "0/0 1; ");
    Repaired const shared =
        Repair(FromHex("01000000 6400 00000000 12000000 24000000 02000000 6400 00000000 24000000 36000000"
                       "03000000 6400 00000000 36000000 00000000 04000000 6400 02000000 48000000 00000000 0500"));
    EXPECT_EQ(shared.state, TagFileDamaged);
    std::string const copy = ToHex(shared.bytes), tail = Plain("04000000 6400 02000000");
    EXPECT_NE(copy.find(tail), std::string::npos);
    EXPECT_EQ(copy.find(tail), copy.rfind(tail)) << copy;
    EXPECT_EQ(Judge(shared.bytes), "");
}

TEST(TagCopier, NothingOfAFileThatEndsWithinItsHeaderIsWhole) {
    Bytes whole(600);
    whole[0] = whole[1] = 0x49;
    whole[5] = 0x02;  // 512 bytes
    for (std::size_t const length : {6U, 300U, 511U}) {
        Repaired const repaired = Repair(Bytes(whole.begin(), whole.begin() + static_cast<long>(length)));
        EXPECT_EQ(repaired.state, TagFileDamaged);
        EXPECT_TRUE(repaired.bytes.empty());
        ASSERT_EQ(repaired.losses.size(), 1);
        EXPECT_EQ(repaired.losses[0].end - repaired.losses[0].begin, length);
    }
}
