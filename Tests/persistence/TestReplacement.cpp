// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Replacing in place: each kind by a shorter, an equal and a longer one, wherever its record stands.
#include "TagTest.h"

#include "hbtools/persistence/syGeometryTags.h"
#include "hbtools/persistence/syObjectGraph.h"
#include "hbtools/properties/syPropertyTag.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace {

using namespace KxN;

/// Stores a value of `count` parts that are told by `first`, or loads one and compares.
using Kind = std::function<void(KxTagArchive& archive, unsigned long id, int count, int first)>;

template <class TAG, class VALUE>
std::string Stored(VALUE& value) {
    CMemFile file;
    KxTagArchive(&file, 0) << TAG(1, value);
    return HexOf(file);
}

template <class TAG, class VALUE>
void Carry(KxTagArchive& archive, unsigned long id, VALUE value) {
    if (archive.IsStoring()) {
        archive << TAG(id, value);
        return;
    }
    VALUE read;
    archive >> TAG(id, read);
    EXPECT_EQ(Stored<TAG>(read), Stored<TAG>(value));
}

template <class TAG, class T>
void CarryArray(KxTagArchive& archive, unsigned long id, int count, int first) {
    KxTArray<T> values(count);
    for (int i = 0; i < count; ++i)
        if constexpr (std::is_arithmetic_v<T>)
            values[i] = static_cast<T>(first + i);
        else
            values[i] = T(static_cast<float>(first + i), 2.5F, -3.5F);
    Carry<TAG>(archive, id, values);
}

void CarryGrid(KxTagArchive& archive, unsigned long id, int count, int first) {
    KxT2dArray<KxVec3d> values(3, count);
    for (int i = 0; i < values.Size(); ++i) values.Data()[i] = KxVec3d(first + i, 2.5, -3.5);
    Carry<KxVec3d2dArrayTag>(archive, id, values);
}

void CarryHistogram(KxTagArchive& archive, unsigned long id, int count, int first) {
    KxHistogram histogram;
    for (int i = 0; i < count; ++i) histogram.Add(first + i);
    Carry<KxHistogramTag>(archive, id, histogram);
}

void CarryVector(KxTagArchive& archive, unsigned long id, int, int first) {
    Carry<KxVec3dTag>(archive, id, KxVec3d(first, 2.0, 3.0));
}

KxString TextOf(int count, int first) {
    return KxString(std::wstring(static_cast<std::size_t>(count), static_cast<wchar_t>(L'a' + first)));
}

void CarryText(KxTagArchive& archive, unsigned long id, int count, int first) {
    KxString text = TextOf(count, first);
    KxString const expected = text;
    archive.IsStoring() ? archive << KxStringTag(id, text) : archive >> KxStringTag(id, text);
    EXPECT_TRUE(text == expected);
}

void CarryProperty(KxTagArchive& archive, unsigned long id, int count, int first) {
    KxStringProperty written(L"n", L"", TextOf(count, first), 0);
    KxProperty* property = &written;
    if (archive.IsStoring()) {
        archive << KxPropertyTag(id, property);
        return;
    }
    archive >> KxPropertyTag(id, property);
    std::unique_ptr<KxProperty> const owner(property);
    EXPECT_TRUE(dynamic_cast<KxStringProperty&>(*property).Get() == written.Get());
}

/// Of an application: `hasFront` plain bytes, then records.
class OwnTag : public KxTag {
public:
    OwnTag(unsigned long id, bool hasFront, int count, int first)
        : KxTag(id, KxVersion(100), 0, 0, 0), m_hasFront(hasFront), m_count(count), m_first(first) {}

protected:
    int ReadData(CFile* file, STag const&) override {
        int front = m_first;
        if (m_hasFront) file->Read(&front, sizeof front);
        EXPECT_EQ(front, m_first);
        KxTagArchive archive(file, 1);
        CarryText(archive, 21, 3, m_first);
        CarryText(archive, 22, m_count, m_first);
        return 1;
    }
    void WriteData(CFile* file) override {
        if (m_hasFront) file->Write(&m_first, sizeof m_first);
        KxTagArchive archive(file, 0);
        CarryText(archive, 21, 3, m_first);
        CarryText(archive, 22, m_count, m_first);
    }

private:
    bool m_hasFront;
    int m_count;
    int m_first;
};

template <bool hasFront>
void CarryOwn(KxTagArchive& archive, unsigned long id, int count, int first) {
    OwnTag tag(id, hasFront, count, first);
    archive.IsStoring() ? archive << tag : archive >> tag;
}

void CarryMarker(KxTagArchive& archive, unsigned long id, int, int) {
    archive.IsStoring() ? archive << KxNullTag(id) : archive >> KxNullTag(id);
}

void CarryLevel(KxTagArchive& archive, unsigned long id, int count, int first) {
    CarryMarker(archive, id, count, first);
    archive.LevelDown();
    CarryText(archive, 11, count, first);
    archive.LevelUp();
}

struct Thing : KxDynamicObject {};
struct Stranger : KxDynamicObject {};

std::function<void(KxTagArchive&)> g_content;

struct Serializer : KxDynamicObjectSerializer {
    void Read(KxTagArchive& archive, KxDynamicObject*) const override { std::exchange(g_content, nullptr)(archive); }
    void Write(KxDynamicObject*, KxTagArchive& archive) const override { std::exchange(g_content, nullptr)(archive); }
};
struct Factory : KxIDynamicObjectFactory {
    KxDynamicObject* Create() const override { return new Thing; }
};
KxDynamicObjectTypeCast<Thing> g_cast;
Serializer g_serializer;
Factory g_factory;

/// An object whose last record is of that kind.
Kind ObjectWith(Kind const& last) {
    return [last](KxTagArchive& archive, unsigned long id, int count, int first) {
        g_content = [&](KxTagArchive& inner) {
            CarryText(inner, 4, 2, first);
            last(inner, 5, count, first);
        };
        Thing thing;
        KxDynamicObjectTag tag(id, archive.IsStoring() ? &thing : nullptr);
        archive.IsStoring() ? archive << tag : archive >> tag;
        EXPECT_TRUE(tag.DynamicObject());
        if (!archive.IsStoring()) delete tag.DynamicObject();
    };
}

struct Place {
    bool hasLevel;    // below the record
    bool hasSibling;  // behind it
};
constexpr Place places[] = {{false, true}, {false, false}, {true, true}, {true, false}};

constexpr LONGLONG levelBegin = 60;  // of the level with the record, in either form

/// Two records of an outer level, and the record in a level below the first.
void WriteFile(CMemFile& file, TagFormat format, Place place, std::function<void(KxTagArchive&)> const& write) {
    FormatScope const scope(format);
    std::vector<BYTE> const fill(static_cast<std::size_t>(levelBegin) - (format == TagFormat32 ? 18U : 30U));
    file.Write(fill.data(), static_cast<UINT>(fill.size()));
    KxTagArchive archive(&file, 0);
    archive << KxNullTag(1);
    archive.LevelDown();
    write(archive);
    if (place.hasLevel) {
        archive.LevelDown();
        CarryText(archive, 31, 8, 0);
        CarryText(archive, 32, 70, 1);
        archive.LevelUp();
    }
    if (place.hasSibling) CarryText(archive, 3, 90, 2);
    archive.LevelUp();
    for (unsigned long id = 4; id < 20; ++id) CarryText(archive, id, 30, 3);
}

template <class Write>
std::string Replaced(CMemFile& file, TagFormat format, Write const& write) {
    FormatScope const scope(format);
    file.Seek(levelBegin, CFile::begin);
    KxTagArchive archive(&file, 0);
    archive.SetReplaceMode();
    return Thrown([&] { write(archive); });
}

class Replacement : public testing::Test {
protected:
    KxSerializableTypeInfo m_type{77, -1, &g_cast, &g_serializer, &g_factory};
};

TEST_F(Replacement, WhatFitsReadsBackAndAllElseStays) {
    struct {
        char const* name;
        Kind carry;
        bool isPlain = false;
    } const kinds[] = {{"text", CarryText, true},
                       {"points", CarryArray<KxVec3fArrayTag, KxVec3f>, true},
                       {"vector", CarryVector},
                       {"int array", CarryArray<KxTBasicTypeArrayTag<int>, int>},
                       {"double tags", CarryArray<KxTTagArrayTag<double, KxTTag<double>>, double>},
                       {"histogram", CarryHistogram},
                       {"property", CarryProperty},
                       {"own kind", CarryOwn<false>},
                       {"own kind with a front", CarryOwn<true>},
                       {"object, text", ObjectWith(CarryText)},
                       {"object, points", ObjectWith(CarryArray<KxVec3fArrayTag, KxVec3f>)},
                       {"object, grid", ObjectWith(CarryGrid)},
                       {"object, vector", ObjectWith(CarryVector)},
                       {"object, int array", ObjectWith(CarryArray<KxTBasicTypeArrayTag<int>, int>)},
                       {"object, double tags", ObjectWith(CarryArray<KxTTagArrayTag<double, KxTTag<double>>, double>)},
                       {"object, histogram", ObjectWith(CarryHistogram)},
                       {"object, property", ObjectWith(CarryProperty)},
                       {"object, own kind", ObjectWith(CarryOwn<false>)},
                       {"object, marker", ObjectWith(CarryMarker)},
                       {"object, level", ObjectWith(CarryLevel)},
                       {"object, object, points", ObjectWith(ObjectWith(CarryArray<KxVec3fArrayTag, KxVec3f>))}};
    for (TagFormat const format : {TagFormat32, TagFormat64})
        for (auto const& kind : kinds)
            for (Place const place : places)
                for (int const count : {0, 3, 5, 9}) {
                    SCOPED_TRACE(testing::Message() << kind.name << " of " << count << ", form " << format << ", level "
                                                    << place.hasLevel << ", sibling " << place.hasSibling);
                    int const was = 5;
                    auto const sizeOf = [&](int parts) {
                        FormatScope const scope(format);
                        CMemFile alone;
                        KxTagArchive archive(&alone, 0);
                        kind.carry(archive, 2, parts, 0);
                        return alone.GetLength() - (format == TagFormat32 ? 18 : 30);
                    };
                    if (kind.isPlain && count > was) continue;  // overwrites what follows
                    bool const fits = sizeOf(count) <= sizeOf(was);
                    CMemFile file;
                    WriteFile(file, format, place, [&](KxTagArchive& archive) { kind.carry(archive, 2, was, 1); });
                    std::vector<BYTE> const before = BytesOf(file);
                    auto const write = [&](int first) {
                        return Replaced(file, format,
                                        [&](KxTagArchive& archive) { kind.carry(archive, 2, count, first); });
                    };
                    for (int const first : {2, 3}) {
                        EXPECT_EQ(write(first), fits ? "" : "KxException");
                        std::vector<BYTE> const after = BytesOf(file);
                        ASSERT_EQ(after.size(), before.size());
                        auto const begin = levelBegin + (format == TagFormat32 ? 18 : 30);
                        auto const size = fits ? static_cast<std::ptrdiff_t>(sizeOf(count)) : 0;
                        EXPECT_TRUE(std::equal(before.begin(), before.begin() + begin, after.begin()));
                        EXPECT_TRUE(
                            std::equal(before.begin() + begin + size, before.end(), after.begin() + begin + size));
                        file.Seek(levelBegin, CFile::begin);
                        KxTagArchive archive(&file, 1);
                        if (fits)
                            kind.carry(archive, 2, count, first);
                        else
                            kind.carry(archive, 2, was, 1);
                    }
                }
}

TEST_F(Replacement, ARecordWithoutPayloadHasNoRoom) {
    Stranger stranger;
    for (TagFormat const format : {TagFormat32, TagFormat64})
        for (Place const place : places)
            for (KxDynamicObject* const empty :
                 {static_cast<KxDynamicObject*>(nullptr), static_cast<KxDynamicObject*>(&stranger)}) {
                CMemFile file;
                WriteFile(file, format, place, [&](KxTagArchive& archive) { archive << KxDynamicObjectTag(2, empty); });
                std::vector<BYTE> const before = BytesOf(file);
                EXPECT_EQ(
                    Replaced(file, format, [](KxTagArchive& archive) { ObjectWith(CarryText)(archive, 2, 3, 1); }),
                    "KxException");
                EXPECT_EQ(BytesOf(file), before);
                EXPECT_EQ(
                    Replaced(file, format, [](KxTagArchive& archive) { archive << KxDynamicObjectTag(2, nullptr); }),
                    "");
                EXPECT_EQ(BytesOf(file), before);
            }
}

// Bytes of an application within an object: nobody can tell where they end.
TEST_F(Replacement, AnObjectThatEndsInPlainBytesStays) {
    auto const carry = ObjectWith(CarryOwn<true>);
    for (TagFormat const format : {TagFormat32, TagFormat64})
        for (Place const place : places) {
            CMemFile file;
            WriteFile(file, format, place, [&](KxTagArchive& archive) { carry(archive, 2, 5, 1); });
            std::vector<BYTE> const before = BytesOf(file);
            EXPECT_EQ(Replaced(file, format, [&](KxTagArchive& archive) { carry(archive, 2, 3, 2); }), "KxException");
            EXPECT_EQ(BytesOf(file), before);
        }
}

TEST_F(Replacement, AnObjectGivesWayToNone) {
    Stranger stranger;
    for (KxDynamicObject* const empty :
         {static_cast<KxDynamicObject*>(nullptr), static_cast<KxDynamicObject*>(&stranger)}) {
        CMemFile file;
        WriteFile(file, TagFormat32, {false, true},
                  [](KxTagArchive& archive) { ObjectWith(CarryText)(archive, 2, 3, 1); });
        std::vector<BYTE> const before = BytesOf(file);
        auto const replaced = [&](unsigned long id) {
            return Replaced(file, TagFormat32,
                            [&](KxTagArchive& archive) { archive << KxDynamicObjectTag(id, empty); });
        };
        EXPECT_EQ(replaced(2), "KxException");
        EXPECT_EQ(BytesOf(file), before);
        EXPECT_EQ(replaced(99), "");  // not there: appended
        EXPECT_EQ(file.GetLength(), before.size() + 18);
    }
}

// Each bit of the link and the payload is flipped; the payload reaches up to the next record.
TEST_F(Replacement, DamageWidensAPayloadNowhere) {
    Kind const kinds[] = {ObjectWith(ObjectWith(CarryArray<KxVec3fArrayTag, KxVec3f>)), ObjectWith(CarryGrid),
                          ObjectWith(CarryText), ObjectWith(CarryProperty), CarryProperty};
    for (Kind const& kind : kinds) {
        CMemFile whole;
        WriteFile(whole, TagFormat32, {false, true}, [&](KxTagArchive& archive) { kind(archive, 2, 3, 1); });
        std::vector<BYTE> const bytes = BytesOf(whole);
        std::size_t const link = levelBegin + 14;
        std::size_t const next = std::size_t{bytes[link]} | std::size_t{bytes[link + 1]} << 8U;
        ASSERT_TRUE(next > link + 50 && next < bytes.size());
        for (std::size_t bit = link * 8; bit < next * 8; ++bit) {
            std::vector<BYTE> damaged = bytes;
            damaged[bit / 8] = static_cast<BYTE>(damaged[bit / 8] ^ (1U << (bit % 8)));
            auto const file = FileOf(damaged);
            EXPECT_EQ(Replaced(*file, TagFormat32, [&](KxTagArchive& archive) { kind(archive, 2, 4, 2); }),
                      "KxException")
                << bit;
            EXPECT_EQ(BytesOf(*file), damaged) << bit;
        }
    }
}

}  // namespace
