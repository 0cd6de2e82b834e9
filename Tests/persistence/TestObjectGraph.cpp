// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/persistence/syObjectGraph.h"

#include "FormatExamples.h"

#include "hbtools/base/syLimits.h"

#include "hbtools/properties/syPropertyList.h"

#include "../base/Allocations.h"
#include "../base/Support.h"

#include <functional>
#include <optional>
#include <utility>

namespace {

using namespace KxN;

int g_alive = 0;

struct A : KxDynamicObject {
    A() { ++g_alive; }
    ~A() override { --g_alive; }
    int value = 0;
    long long otherAddress = 0;
    A* inner = nullptr;  // not owned
    bool hasNull = false;
};
struct B : A {};
struct C : B {};
struct Alien : KxDynamicObject {};

template <class T>
struct Factory : KxIDynamicObjectFactory {
    KxDynamicObject* Create() const override { return new T; }
};

KxDynamicObject* g_asked = nullptr;
std::function<void()> g_meanwhile;

/// A value, the address of another object, and perhaps an object within this one.
struct Serializer : KxDynamicObjectSerializer {
    void Read(KxTagArchive& archive, KxDynamicObject* object) const override {
        auto& a = dynamic_cast<A&>(*object);
        KxDynamicObjectTag inner(3, nullptr);
        archive >> KxTTag<int>(1, a.value) >> KxTTag<long long>(2, a.otherAddress);
        if (a.value == asksItself) g_asked = KxAddressesMap::GetCurrentDynamicObject(a.otherAddress);
        if (g_meanwhile) std::exchange(g_meanwhile, nullptr)();
        archive >> inner;
        a.inner = dynamic_cast<A*>(inner.DynamicObject());
        if (a.value >= throwing) AfxThrowInvalidArgException();
    }
    void Write(KxDynamicObject* object, KxTagArchive& archive) const override {
        auto& a = dynamic_cast<A&>(*object);
        archive << KxTTag<int>(1, a.value) << KxTTag<long long>(2, a.otherAddress);
        if (a.inner || a.hasNull) archive << KxDynamicObjectTag(3, a.inner);
    }
    static constexpr int throwing = 1000, asksItself = 1001;
};

Serializer g_serializer;

template <class T>
class Type {
public:
    Type(int id, int base, bool isAbstract = false) {
        if (isAbstract)
            m_info.emplace(id, base, &m_cast);
        else
            m_info.emplace(id, base, &m_cast, &g_serializer, &m_factory);
    }
    KxSerializableTypeInfo& Info() { return *m_info; }

private:
    KxDynamicObjectTypeCast<T> m_cast;
    Factory<T> m_factory;
    std::optional<KxSerializableTypeInfo> m_info;
};

long long Address(KxDynamicObject& object) {
    return static_cast<long long>(reinterpret_cast<std::intptr_t>(&object));
}

/// Reads the object of the id; it is the caller's.
std::unique_ptr<A> ReadA(KxTagArchive& archive, unsigned long id = 208001) {
    KxDynamicObjectTag tag(id, nullptr);
    archive >> tag;
    return std::unique_ptr<A>(dynamic_cast<A*>(tag.DynamicObject()));
}

TEST(ObjectGraph, BytesOfAnObject) {
    Type<A> a(10, -1);
    Type<B> b(20, 10);
    B object;
    object.value = 7;
    CMemFile file;
    KxTagArchive(&file, 0) << KxDynamicObjectTag(&object);
    long long const address = Address(object);
    std::vector<BYTE> raw(8);
    std::memcpy(raw.data(), &address, 8);
    EXPECT_EQ(HexOf(file), Plain("812c0300 6400 00000000 12000000 00000000"           // 208001
                                 "822c0300 6400 00000000 24000000 42000000"           // 208002: the types
                                 "f12c0300 6400 04000000 36000000 00000000 02000000"  // how many
                                 "0a000000 14000000"                                  // from the root on
                                 "832c0300 6400 08000000 54000000 5c000000") +        // 208003: the address
                               ToHex(raw) +                                           //
                               Plain("01000000 6400 04000000 6e000000 72000000 07000000"
                                     "02000000 6400 08000000 84000000 00000000 0000000000000000"));
    file.Seek(0, CFile::begin);
    KxTagArchive archive(&file, 1);
    auto const read = ReadA(archive);
    ASSERT_TRUE(dynamic_cast<B*>(read.get()));
    EXPECT_EQ(read->value, 7);
}

TEST(ObjectGraph, WithoutMemoryNoKnownTypeIsTakenForUnknown) {
    Type<A> a(10, -1);
    std::optional<Type<B>> b;
    B object;
    auto const stored = [&] {
        CMemFile file;
        KxTagArchive(&file, 0) << KxDynamicObjectTag(&object);
        return HexOf(file);
    };
    b.emplace(20, 10);
    std::string const expected = stored();
    int const failures = test::FailEachAllocation(
        [&] {
            b.emplace(20, 10);  // types are looked up anew
            stored();
        },
        [&] { EXPECT_TRUE(!b || stored() == expected); });
    EXPECT_GT(failures, 5);
}

TEST(ObjectGraph, TheMostDerivedKnownTypeIsMade) {
    CMemFile file;
    {
        Type<A> a(10, -1);
        Type<B> b(20, 10);
        Type<C> c(30, 20);
        C object;
        object.value = 5;
        KxTagArchive(&file, 0) << KxDynamicObjectTag(&object);
        EXPECT_EQ(c.Info().GetClassHierarchy().Count(), 3);
    }
    auto const made = [&]() -> std::string {
        file.Seek(0, CFile::begin);
        KxTagArchive archive(&file, 1);
        auto const object = ReadA(archive);
        EXPECT_EQ(object->value, 5);
        return dynamic_cast<C*>(object.get()) ? "C" : dynamic_cast<B*>(object.get()) ? "B" : "A";
    };
    EXPECT_EQ(Thrown(made), "missing");
    {
        Type<B> b(20, 10);
        EXPECT_EQ(made(), "B");
    }
    Type<A> a(10, -1);
    Type<B> abstract(20, 10, true);
    EXPECT_EQ(made(), "A");
    Type<C> c(30, 20);
    EXPECT_EQ(made(), "C");
    {
        C object;
        EXPECT_EQ(KxSerializableTypeInfo::Repository.GetTypeInfo(&object), &c.Info());  // past the abstract one
    }

    // Ids in a ring, a second type of one id, and one that is not there.
    Type<A> ring(40, 41), other(41, 40);
    EXPECT_EQ(ring.Info().GetClassHierarchy().Count(), 2);
    struct Repository : KxSerializableTypeInfo {
        using KxSerializableTypeInfo::UnregisterTypeInfo;
    };
    auto& repository = KxSerializableTypeInfo::Repository;
    {
        Type<A> second(10, -1);
        EXPECT_EQ(repository.GetTypeInfo(10), &a.Info());
        EXPECT_TRUE(Repository::UnregisterTypeInfo(10));
        EXPECT_EQ(repository.GetTypeInfo(10), &second.Info());
    }
    EXPECT_FALSE(Repository::UnregisterTypeInfo(10));
    KxSerializableTypeInfo::KxRepository own;  // of an application
    for (Type<A>* type : {&ring, &other}) own.AddTail(&type->Info());
    EXPECT_TRUE(own.GetTypeInfo(41) == &other.Info() && !own.GetTypeInfo(30));
    EXPECT_EQ(own.GetTypeInfo(ring.Info().GetClassHierarchy()), &ring.Info());
    A object;
    EXPECT_EQ(own.GetTypeInfo(&object), &ring.Info());
}

TEST(ObjectGraph, ReferencesLeadToTheNewObjects) {
    Type<A> a(10, -1);
    A first, second;
    first.value = 1;
    first.otherAddress = Address(second);  // read later
    second.value = 2;
    second.otherAddress = Address(first);
    CMemFile file;
    KxTagArchive(&file, 0) << KxDynamicObjectTag(1, &first) << KxDynamicObjectTag(2, &second);
    std::unique_ptr<A> one, two;
    {
        KxAddressesMap const map;
        {
            KxAddressesMap const nested;
            file.Seek(0, CFile::begin);
            KxTagArchive archive(&file, 1);
            one = ReadA(archive, 1);
            two = ReadA(archive, 2);
        }
        EXPECT_EQ(KxAddressesMap::GetCurrentDynamicObject(one->otherAddress), two.get());
        EXPECT_EQ(map[two->otherAddress], Address(*one));
        EXPECT_EQ(KxAddressesMap::GetCurrentDynamicObject(4711), nullptr);
    }
    EXPECT_EQ(KxAddressesMap::GetCurrentAddress(one->otherAddress), 0);
}

TEST(ObjectGraph, NothingToReadLeavesTheObject) {
    Type<A> a(10, -1);
    Alien alien;
    A held, last;
    CMemFile file;
    KxTagArchive(&file, 0) << KxDynamicObjectTag(1, nullptr) << KxDynamicObjectTag(2, &alien)
                           << KxDynamicObjectTag(3, &last) << KxDynamicObjectTag(4, nullptr);
    file.Seek(0, CFile::begin);
    KxTagArchive archive(&file, 1);
    for (unsigned long const id : {1UL, 2UL, 4UL}) {
        KxDynamicObjectTag tag(id, &held);
        archive >> tag;
        EXPECT_TRUE(archive.LastReadTagFound());
        EXPECT_EQ(tag.DynamicObject(), &held);
    }
    // A level below such a record is read, and so is what follows where the level ends with it.
    for (TagFormat const format : {TagFormat32, TagFormat64}) {
        FormatScope const scope(format);
        CMemFile levels;
        KxTagArchive writing(&levels, 0);
        int below = 5, behind = 6, read[2] = {0, 0};
        writing << KxDynamicObjectTag(1, nullptr);
        writing.LevelDown();
        writing << KxTTag<int>(2, below);
        writing.LevelUp();
        writing << KxTTag<int>(3, behind);
        levels.Seek(0, CFile::begin);
        KxTagArchive reading(&levels, 1);
        reading >> KxDynamicObjectTag(1, nullptr);
        reading.LevelDown();
        reading >> KxTTag<int>(2, read[0]);
        reading.LevelUp();
        reading >> KxTTag<int>(3, read[1]);
        EXPECT_TRUE(read[0] == 5 && read[1] == 6);
    }
}

TEST(ObjectGraph, NullMembersCostNoWalkAlongWhatFollows) {
    Type<A> a(10, -1);
    struct Counting : CMemFile {
        ULONGLONG Seek(LONGLONG offset, UINT from) override {
            ++steps;
            return CMemFile::Seek(offset, from);
        }
        long long steps = 0;
    };
    auto const steps = [](int count) {
        Counting file;
        A object;
        object.hasNull = true;
        KxTagArchive writing(&file, 0);
        for (object.value = 0; object.value < count; ++object.value) writing << KxDynamicObjectTag(&object);
        file.Seek(0, CFile::begin);
        file.steps = 0;
        KxTagArchive archive(&file, 1);
        for (int i = 0; i < count; ++i) {
            auto const read = ReadA(archive);
            EXPECT_TRUE(read->value == i && !read->inner);
        }
        return file.steps;
    };
    EXPECT_LT(steps(800), 5 * steps(200));
}

TEST(ObjectGraph, AnUnknownTypeBarsTheWay) {
    struct Stranger : A {};
    CMemFile file;
    A objects[2];
    Stranger alien;
    {
        Type<Stranger> other(50, -1);
        Type<A> known(10, -1);
        KxTagArchive archive(&file, 0);
        objects[0].value = 1;
        archive << KxDynamicObjectTag(&objects[0]) << KxDynamicObjectTag(&alien) << KxDynamicObjectTag(&objects[1])
                << KxDynamicObjectTag(5, &alien) << KxDynamicObjectTag(6, &objects[1]);
    }
    Type<A> a(10, -1);
    file.Seek(0, CFile::begin);
    KxTagArchive archive(&file, 1);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(ReadA(archive)->value, 1);
    EXPECT_EQ(Thrown([&] { ReadA(archive, 5); }), "missing");
    EXPECT_EQ(ReadA(archive, 6)->value, 0);
}

TEST(ObjectGraph, TypesThatCannotBeToldOrMadeAreUnknown) {
    struct Nothing : KxIDynamicObjectFactory {
        KxDynamicObject* Create() const override { return nullptr; }
    } nothing;
    KxDynamicObjectTypeCast<A> cast;
    A object;
    CMemFile file;
    KxSerializableTypeInfo const without(20, 10, nullptr, &g_serializer, &nothing);
    {
        Type<A> const known(10, -1);
        KxTagArchive(&file, 0) << KxDynamicObjectTag(1, &object);
    }
    KxSerializableTypeInfo const unmade(10, -1, &cast, &g_serializer, &nothing);
    file.Seek(0, CFile::begin);
    KxTagArchive archive(&file, 1);
    KxDynamicObjectTag tag(1, &object);
    EXPECT_EQ(Thrown([&] { archive >> tag; }), "missing");
    EXPECT_EQ(tag.DynamicObject(), &object);
}

TEST(ObjectGraph, DepthIsBoundedAndEachFileHasItsObjects) {
    Type<A> a(10, -1);
    CMemFile file, other;
    A outer, inner;
    outer.inner = &inner;
    KxTagArchive(&file, 0) << KxDynamicObjectTag(&outer);
    auto const read = [&file] {
        file.Seek(0, CFile::begin);
        KxTagArchive archive(&file, 1);
        delete ReadA(archive)->inner;
    };
    {
        int const former = std::exchange(KxxLimits().nestingDepth, 1);
        CMemFile none;
        EXPECT_EQ(Thrown([&] { KxTagArchive(&none, 0) << KxDynamicObjectTag(&outer); }), "archive 1");
        int const before = g_alive;
        EXPECT_EQ(Thrown(read), "archive 1");
        EXPECT_EQ(g_alive, before);
        KxxLimits().nestingDepth = 2;
        EXPECT_EQ(Thrown(read), "");
        KxxLimits().nestingDepth = former;
    }
    // A file with more objects than the outer one has room for is read in between.
    KxTagArchive writing(&other, 0);
    for (int i = 0; i < 50; ++i) writing << KxDynamicObjectTag(&inner);
    g_meanwhile = [&other] {
        other.Seek(0, CFile::begin);
        KxTagArchive archive(&other, 1);
        for (int i = 0; i < 50; ++i) ReadA(archive);
    };
    EXPECT_EQ(Thrown(read), "");
    EXPECT_FALSE(g_meanwhile);
}

TEST(ObjectGraph, DamageLeavesNothing) {
    Type<A> a(10, -1);
    auto const read = [](std::vector<BYTE> const& bytes) {
        auto const file = FileOf(bytes);
        KxAddressesMap const map;
        KxTagArchive archive(file.get(), 1);
        auto const object = ReadA(archive);
        if (object) delete object->inner;
    };
    std::vector<BYTE> whole;
    {
        A object, inner;
        object.inner = &inner;
        CMemFile file;
        KxTagArchive(&file, 0) << KxDynamicObjectTag(&object);
        whole = BytesOf(file);
    }
    for (std::size_t length = 0; length < whole.size(); ++length) {
        std::string const what = Thrown([&] { read({whole.begin(), whole.begin() + static_cast<long>(length)}); });
        bool const isNull = length == 0x12 || length == 0x9a;  // a record without payload
        EXPECT_TRUE(isNull ? what.empty() : what == "file 14" || what == "archive 3") << length << what;
    }
    EXPECT_EQ(g_alive, 0);
    // The object within another is the other one again; without a bound that would double 4096 times.
    std::vector<BYTE> ring = whole;
    std::size_t const innerTag = 0x88;
    ASSERT_EQ(ring[innerTag], 3);
    ring[innerTag + 10] = 0x12;
    EXPECT_EQ(Thrown([&] { read(ring); }), "file 14");

    for (int value : {Serializer::throwing, Serializer::asksItself}) {
        A object;
        object.value = value;
        object.otherAddress = Address(object);
        CMemFile file;
        KxTagArchive(&file, 0) << KxDynamicObjectTag(&object);
        file.Seek(0, CFile::begin);
        KxAddressesMap const map;
        int const before = g_alive;
        KxDynamicObjectTag tag(nullptr);
        test::Thrown<CInvalidArgException>([&] { KxTagArchive(&file, 1) >> tag; });
        EXPECT_EQ(tag.DynamicObject(), nullptr);
        // Whoever asked for the address may hold the object.
        std::unique_ptr<KxDynamicObject> const left(KxAddressesMap::GetCurrentDynamicObject(Address(object)));
        EXPECT_EQ(g_alive - before, value == Serializer::asksItself);
    }
    // An object within it pretends the same address. The outer one stays all the same, since somebody asked for it.
    A object, inner;
    object.value = Serializer::asksItself;
    object.otherAddress = Address(object);
    object.inner = &inner;
    CMemFile file;
    KxTagArchive(&file, 0) << KxDynamicObjectTag(&object);
    long const second = 0xd8;
    file.Seek(second, CFile::begin);
    long long address = 0;
    file.Read(&address, sizeof address);
    ASSERT_EQ(address, Address(inner));
    file.Seek(second, CFile::begin);
    file.Write(&object.otherAddress, sizeof address);
    file.Seek(0, CFile::begin);
    KxAddressesMap const map;
    test::Thrown<CInvalidArgException>([&] { KxTagArchive(&file, 1) >> KxDynamicObjectTag(nullptr); });
    EXPECT_EQ(g_alive, 4);
    std::unique_ptr<A> const asked(dynamic_cast<A*>(g_asked));
    std::unique_ptr<KxDynamicObject> const last(KxAddressesMap::GetCurrentDynamicObject(Address(object)));
    EXPECT_TRUE(asked->inner == last.get() && asked.get() != last.get());
}

TEST(ObjectGraph, AnObjectIsReplacedInPlace) {
    Type<A> a(10, -1);
    A object, longer;
    CMemFile file;
    KxTagArchive(&file, 0) << KxDynamicObjectTag(&object) << KxNullTag(9);
    ULONGLONG const length = file.GetLength();
    file.Seek(0, CFile::begin);
    KxTagArchive archive(&file, 0);
    archive.SetReplaceMode();
    object.value = 77;
    archive << KxDynamicObjectTag(&object);
    longer.inner = &object;
    EXPECT_EQ(Thrown([&] { archive << KxDynamicObjectTag(&longer); }), "KxException");
    EXPECT_EQ(file.GetLength(), length);
    file.Seek(0, CFile::begin);
    KxTagArchive reading(&file, 1);
    EXPECT_EQ(ReadA(reading)->value, 77);
}

TEST(ObjectGraph, ExamplesOfThePageAreWhole) {
    std::vector<std::string> const examples = Examples("objects.md");
    ASSERT_EQ(examples.size(), 2U);
    KxPropertyList list(L"l", L"", 3);
    list.Insert(new KxTProperty<int>(L"n", L"%d", -2, 0));
    CMemFile stored;
    CArchive archive(&stored, CArchive::store);
    list.Store(archive);
    archive.Close();
    EXPECT_EQ(HexOf(stored), examples[0]);

    Type<A> a(10, -1);
    Type<B> b(20, 10);
    auto const file = FileOf(FromHex(examples[1]));
    KxTagArchive reading(file.get(), 1);
    auto const object = ReadA(reading);
    ASSERT_TRUE(dynamic_cast<B*>(object.get()));
    EXPECT_TRUE(object->value == 7 && object->otherAddress == 0x2000);
}

}  // namespace
