// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "PropertyTest.h"

#include "hbtools/base/syLimits.h"
#include "hbtools/persistence/sySimpleTags.h"
#include "hbtools/persistence/syTagArchive.h"

#include <random>
#include <pthread.h>

using namespace test;

// Stands in streams by this name.
namespace measured {

/// A persistent object that is no property.
struct Thing : KxPersistentObject {
    KxVersion GetVersion() const override { return 1; }
};
/// A property that only its own code can read.
struct Probe : KxTProperty<int> {
    using KxTProperty<int>::KxTProperty;
    KxProperty* Clone() const override { return new Probe(*this); }
};

KxTFactory<Thing> const g_thingFactory;
KxTFactory<Probe> const g_probeFactory;

}  // namespace measured

namespace {

KxTProperty<int>* Int(KxString const& name, int value = 0, unsigned long group = 0) {
    return new KxTProperty<int>(name, name + L"=%d", value, group);
}

KxString NameOf(int i) {
    return KxString(L"Messbedingung ") + KxString(KxTools::String(i));
}

/// list a=1 | b=2 | sub(c=3 | d=4) | e=5
void Fill(KxPropertyList& list) {
    auto* const sub = new KxPropertyList(L"sub", L"sub", 2);
    list.Insert(Int(L"a", 1));
    list.Insert(Int(L"b", 2, 2));
    list.Insert(sub);
    list.Insert(Int(L"e", 5, 0x8002));
    sub->Insert(Int(L"c", 3));
    sub->Insert(Int(L"d", 4, 2));
}

std::string const image = Head("KxPropertyList") + Wide("l") + Wide("m") + "\1\0\0\0\2\0\0\0"s +     //
                          Head("KxTProperty<int>") + Wide("a") + Wide("%d") + "\0\0\0\0\1\0\0\0"s +  //
                          Head("KxPropertyList") + Wide("s") + Wide("") + "\2\0\0\0\1\0\0\0"s +      //
                          Head("KxTProperty<char>") + Wide("a") + Wide("%c") + "\0\0\0\0x"s;

template <class Action>
void OnSmallStack(Action action) {
    pthread_attr_t attributes;
    pthread_t thread;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 256 * 1024), 0);
    auto const run = [](void* argument) -> void* {
        (*static_cast<Action*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &action), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

TEST(PropertyList, NamesAreUniqueAndFoundExactly) {
    KxPropertyList list(L"l", L"m", 0);
    EXPECT_EQ(list.GetCount(), 0);
    std::string const missing = "Die Eigenschaft \"x\" konnte in der Liste nicht gefunden werden";
    EXPECT_EQ(Thrown<KxPropertyException>([&] { list.GetProperty(L"x"); }), missing);
    Fill(list);
    EXPECT_EQ(Thrown<KxPropertyException>([&] { list.Remove(L"x"); }), missing);
    EXPECT_TRUE(list.Exists(L"a") && !list.Exists(L"A") && !list.Exists(L"c"));
    Owner const second(Int(L"a", 9));
    EXPECT_EQ(Thrown<KxPropertyException>([&] { list.Insert(second.get()); }),
              "Die Eigenschaft \"a\" ist in der Liste schon vorhanden");
    KxPropertyList const& fixed = list;
    EXPECT_EQ(Thrown<KxPropertyException>([&] { fixed.GetProperty(L"x"); }), missing);
    EXPECT_EQ(fixed.GetProperty(L"b"), list.GetProperty(L"b"));
    list.Remove(L"a");
    list.Insert(Int(L"a", 7));
    EXPECT_EQ(Lines(list), "m|*b=2|*sub|**c=3|**d=4|*a=7|");
    auto* const sub = list.GetProperty(L"sub")->GetList();
    Thrown<CInvalidArgException>([&] { list.Insert(nullptr); });
    Thrown<CInvalidArgException>([&] { sub->Insert(&list); });
    Thrown<CInvalidArgException>([&] { sub->Insert(list.GetProperty(L"a")); });
    delete list.GetProperty(L"b");
    EXPECT_EQ(list.GetCount(), 3);
}

TEST(PropertyList, FiltersAndHidesWholeSubtrees) {
    KxPropertyList list(L"l", L"m", 1);
    Fill(list);
    struct Case {
        std::vector<unsigned long> groups;
        int showHidden;
        char const* lines;
    };
    for (Case const& c : {Case{{2}, 1, ""}, Case{{1}, 0, "m|"}, Case{{1, 2}, 0, "m|*b=2|*sub|**d=4|"},
                          Case{{0, 1}, 1, "m|*a=1|"}, Case{{1, 2}, 1, "m|*b=2|*sub|**d=4|*e=5|"}, Case{{}, 1, ""}}) {
        KxTMem<unsigned long> const groups(c.groups.data(), c.groups.size());
        EXPECT_EQ(Lines(list, c.showHidden, &groups), c.lines);
    }
    list.Insert(new KxPropertyList(L"none", L"none", 7));  // an empty one is its own line
    EXPECT_EQ(Lines(list), "m|*a=1|*b=2|*sub|**c=3|**d=4|*none|");
    list.Remove(L"none");
    list.SetHidden();
    unsigned long const both[] = {1, 2};
    KxTMem<unsigned long> const groups(both, 2);
    EXPECT_EQ(Lines(list) + Lines(list, 0, &groups), "");
    KxTBlockMem<KxString*> none;
    list.GetAllMessageBufResized(none, 0, 0, ' ', 0);
    EXPECT_EQ(none.Size(), 0);
    list.SetNotHidden();
    list.GetProperty(L"sub")->SetHidden();
    EXPECT_EQ(Lines(list) + Lines(list, 1), "m|*a=1|*b=2|m|*a=1|*b=2|*sub|**c=3|**d=4|*e=5|");
    EXPECT_EQ(Lines(list, 0, &groups) + Lines(list, 1, &groups), "m|*b=2|m|*b=2|*sub|**d=4|*e=5|");
    for (int const showHidden : {0, 1}) {
        KxTBlockMem<KxString*> messages;
        list.GetAllMessageBufResized(messages, 0, showHidden, ' ', 0);
        EXPECT_EQ(messages.Size(), showHidden ? 7 : 3);
        for (KxString* message : messages) delete message;
    }
}

TEST(PropertyList, CopiesAreDeepAlsoOfPartsOfItself) {
    KxPropertyList list(L"l", L"m", 0);
    Fill(list);
    KxPropertyList copy(list);
    std::string const all = "m|*a=1|*b=2|*sub|**c=3|**d=4|";
    list.RemoveAll();
    EXPECT_EQ(Lines(list) + Lines(copy), "m|" + all);
    list = copy;
    list = *list.GetProperty(L"sub")->GetList();
    EXPECT_EQ(Lines(list), "sub|*c=3|*d=4|");
    KxPropertyList const& itself = list;
    list = itself;
    EXPECT_EQ(Lines(list), "sub|*c=3|*d=4|");
    *copy.GetProperty(L"sub")->GetList() = copy;
    EXPECT_EQ(Lines(copy), "m|*a=1|*b=2|*m|**a=1|**b=2|**sub|***c=3|***d=4|");
    EXPECT_TRUE(copy.Exists(L"l") && !copy.Exists(L"sub"));  // the child has its new name
}

TEST(PropertyList, ManyNamesAreFoundInFewSteps) {
    KxPropertyList list(L"l", L"m", 0);
    for (int i = 0; i < KxPropertyList::maximumCount; ++i) list.Insert(Int(NameOf(i), i));
    EXPECT_EQ(list.GetCount(), 65535);
    EXPECT_LE(list.LongestSearch(), 16);
    Owner const loaded = LoadFrom(StoredBytes(list));
    EXPECT_LE(loaded->GetList()->LongestSearch(), 16);
    int next = 0;
    for (KxProperty const& property : *loaded->GetList()) {
        ASSERT_EQ(property.GetName(), NameOf(next));
        ASSERT_EQ(list.GetProperty(NameOf(next)), list.GetProperty(property.GetName()));
        ++next;
    }
    EXPECT_EQ(next, 65535);
    // Renaming moves a name; of two equal ones the first child is found.
    KxProperty* const first = list.GetProperty(NameOf(1));
    list.GetProperty(NameOf(9))->SetName(NameOf(1));
    EXPECT_TRUE(list.GetProperty(NameOf(1)) == first && !list.Exists(NameOf(9)));
    KxProperty* const third = list.GetProperty(NameOf(3));
    third->SetName(NameOf(5));
    EXPECT_EQ(list.GetProperty(NameOf(5)), third);
    third->SetName(NameOf(3));
    list.Insert(Int(L"one too many"));
    EXPECT_EQ(CauseOf<CArchiveException>([&] { StoredBytes(list); }), 5);
    // What is removed is gone from the index, and nothing else: the second child of that name, too, is found then.
    int removed = 0;
    for (int i = 2; i < 60000; i += 7, ++removed) list.Remove(NameOf(i == 9 ? 1 : i));
    EXPECT_EQ(list.GetCount(), 65536 - removed);
    for (int i = 0; i < KxPropertyList::maximumCount; ++i) {
        bool const isRemoved = i < 60000 && i % 7 == 2;
        ASSERT_EQ(list.Exists(NameOf(i)) != 0, !isRemoved) << i;
    }
    EXPECT_NE(list.GetProperty(NameOf(1)), first);
}

TEST(PropertyList, RefusesToStoreWhatNoReaderTakes) {
    KxPropertyList list(L"l", L"m", 0);
    Fill(list);
    KxPropertyList& sub = *list.GetProperty(L"sub")->GetList();
    KxProperty &c = *sub.GetProperty(L"c"), &d = *sub.GetProperty(L"d");
    std::string const stored = StoredBytes(list);
    auto const refused = [](KxPersistentObject const& object) {
        CMemFile file;
        CArchive archive(&file, CArchive::store);
        std::string const text = Thrown<KxPropertyException>([&] { object.Store(archive); });
        archive.Close();
        EXPECT_EQ(file.GetLength(), 0U);
        return text;
    };
    c.SetName(L"d");
    EXPECT_EQ(refused(list), "Die Eigenschaft \"d\" ist in der Liste schon vorhanden");
    refused(KxPropertyList(list));
    KxPropertyList outer;
    outer.Insert(list.Clone());
    refused(outer);
    KxPropertyList assigned;
    assigned = list;
    refused(assigned);
    EXPECT_EQ(sub.GetProperty(L"d"), &c);  // the first one of a name
    c.SetName(L"c");
    EXPECT_EQ(StoredBytes(list), stored);
    d = c;
    EXPECT_EQ(sub.GetProperty(L"c"), &c);
    refused(list);
    sub.Remove(L"c");
    StoredBytes(list);

    // A child that went out before would be no more than a number.
    KxPersistentObject::InitializeReferenceMap();
    KxPersistentObject::SupportCyclicReferences(1);
    StoredBytes(*list.GetProperty(L"a"));
    Thrown<KxArchiveException>([&] { StoredBytes(list); });
    KxPersistentObject::SupportCyclicReferences(0);
    KxPersistentObject::InitializeReferenceMap();
    StoredBytes(list);
}

TEST(PropertyList, LoadsIntoWhatItHoldsAndRefusesEveryCut) {
    KxPropertyList list(L"l", L"m", 1);
    list.Insert(new KxTProperty<int>(L"a", L"%d", 1, 0));
    auto* const sub = new KxPropertyList(L"s", L"", 2);
    list.Insert(sub);
    sub->Insert(new KxTProperty<char>(L"a", L"%c", 'x', 0));
    EXPECT_EQ(StoredBytes(list), image);
    for (std::size_t length = 0; length < image.size(); ++length)
        EXPECT_EQ(CauseOf<CArchiveException>([&] { LoadFrom(image.substr(0, length)); }), 3) << length;

    CMemFile file(4096);
    Append(file, image.substr(Head("KxPropertyList").size()));
    auto const load = [&] {
        file.Seek(0, CFile::begin);
        CArchive archive(&file, CArchive::load);
        list.Serialize(archive);
    };
    EXPECT_EQ(Thrown<KxPropertyException>(load), "Die Eigenschaft \"a\" ist in der Liste schon vorhanden");
    list.Remove(L"a");
    list.GetProperty(L"s")->SetName(L"old");
    load();
    EXPECT_EQ(Lines(list), "m|*|**x|*1|*|**x|");

    // A member that loads is found by the name that it takes.
    KxProperty* const member = list.GetProperty(L"old");
    std::string const stored = StoredBytes(KxPropertyList(L"new", L"", 0));
    CMemFile one(4096);
    Append(one, stored.substr(Head("KxPropertyList").size()));
    one.Seek(0, CFile::begin);
    CArchive archive(&one, CArchive::load);
    member->Serialize(archive);
    EXPECT_TRUE(list.GetProperty(L"new") == member && !list.Exists(L"old"));
}

TEST(PropertyList, RefusesForeignChildrenOwnedReferencesAndDepth) {
    std::string const list = Wide("l") + Wide("m") + "\0\0\0\0"s, one = list + "\1\0\0\0"s;
    std::string const numbered = "\1\0\0\0\1\0\0\0"s + Head("KxPropertyList").substr(4);
    std::string const child =
        "\1\0\0\0\2\0\0\0"s + Head("KxTProperty<char>").substr(4) + Wide("a") + Wide("") + "\0\0\0\0x"s;
    std::string const thing = "\0\0\0\0"s + Wide("class measured::Thing") + "\1\0"s;
    struct Case {
        std::string bytes;
        int cause;  // 0: the exception of wrong objects
    };
    for (Case const& c :
         {Case{Head("KxPropertyList") + list + "\xFF\xFF\xFF\xFF"s, 5},
          Case{numbered + one + "\1\0\0\0\1\0\0\0"s, 0},                         // itself
          Case{numbered + list + "\2\0\0\0"s + child + "\1\0\0\0\2\0\0\0"s, 0},  // its child
          Case{Head("KxPropertyList") + one + "\1\0\0\0\x63\0\0\0"s, 3},         // nothing
          Case{Head("KxPropertyList") + one + Head("KxNothing"), 0}, Case{Head("KxPropertyList") + one + thing, 0}}) {
        KxPersistentObject::InitializeReferenceMap();
        auto const load = [&] { LoadFrom(c.bytes); };
        if (c.cause)
            EXPECT_EQ(CauseOf<CArchiveException>(load), c.cause);
        else
            Thrown<KxArchiveException>(load);
        EXPECT_EQ(CauseOf<CArchiveException>([] { LoadFrom("\1\0\0\0\1\0\0\0"s); }), 3);  // nothing is left
    }
    std::string deep;
    for (int i = 0; i < 100000; ++i) deep += Head("KxPropertyList") + one;
    EXPECT_EQ(CauseOf<CArchiveException>([&] { LoadFrom(deep); }), 1);
}

TEST(PropertyList, DeepTreesNeedNoStack) {
    std::string bytes;
    for (int i = 1; i < KxxLimits().nestingDepth; ++i)
        bytes += Head("KxPropertyList") + Wide("l") + Wide("m") + "\0\0\0\0\1\0\0\0"s;
    bytes += Head("KxTProperty<char>") + Wide("a") + Wide("%c") + "\0\0\0\0x"s;
    Owner tree = LoadFrom(bytes);
    EXPECT_EQ(StoredBytes(*tree), bytes);
    auto* outer = new KxPropertyList;
    for (int i = 0; i < 100000; ++i) {
        auto* const above = new KxPropertyList;
        above->Insert(std::exchange(outer, above));
    }
    OnSmallStack([&] {
        Owner copy(tree->Clone());
        KxTBlockMem<KxString*> messages;
        copy->GetAllMessageBufResized(messages, 0, 1, ' ', 0);
        EXPECT_EQ(messages.Size(), KxxLimits().nestingDepth);
        for (KxString* message : messages) delete message;
        tree.reset();
        delete outer->Clone();
        delete outer;
    });
}

using Generator = std::minstd_rand0;

/// One random property; lists get children.
KxProperty* Random(Generator& random, int number, int& left, int depth = 100) {
    KxString const name = NameOf(number);
    switch (random() % 6) {
        case 0: return new KxTProperty<double>(name, L"%g", 0.5 * number, random() % 0x10000);
        case 1: return new KxTProperty<long>(name, L"%ld", -number, 0);
        case 2: return new KxStringProperty(name, L"%s", NameOf(-number), 0);
        case 3: return new KxTBuf1DProperty<float>(name, L"", KxTBuf1D<float>(static_cast<unsigned>(random() % 9)), 0);
        case 4:
            return new KxTBuf1DProperty<unsigned long>(name, L"",
                                                       KxTBuf1D<unsigned long>(static_cast<unsigned>(random() % 9)), 0);
        default: {
            auto* const list = new KxPropertyList(name, L"", 0);
            for (int i = static_cast<int>(random() % 60); i > 0 && left > 0 && depth > 0; --i)
                list->Insert(Random(random, --left, left, depth - 1));
            return list;
        }
    }
}

TEST(PropertyTag, CarriesARandomTreeAndWhatItFound) {
    Generator random(7);
    int left = 100000;
    KxPropertyList tree(L"tree", L"", 0);
    while (left > 0) tree.Insert(Random(random, --left, left));
    std::string const stored = StoredBytes(tree);

    CMemFile file(1 << 20);
    KxPropertyList* list = &tree;
    KxProperty* first = &*tree.begin();
    KxTagArchive(&file, 0) << KxPropertyListTag(300, list) << KxPropertyTag(301, first);
    file.Seek(0, CFile::begin);
    KxTagArchive archive(&file, 1);
    archive >> KxPropertyTag(301, first) >> KxPropertyListTag(300, list);
    Owner const owners[] = {Owner(list), Owner(first)};
    EXPECT_TRUE(StoredBytes(*list) == stored);
    EXPECT_EQ(StoredBytes(*first), StoredBytes(*tree.begin()));

    KxProperty* whole = nullptr;
    file.Seek(0, CFile::begin);
    KxTagArchive(&file, 1) >> KxPropertyTag(300, whole);
    EXPECT_TRUE(Owner(whole)->IsList());
}

TEST(PropertyTag, ReplacesWithinTheOldImageOrNothing) {
    struct Case {
        Owner former, now;
        bool isLast;  // record of its level
        bool fits;
    };
    auto const text = [](wchar_t const* value) { return std::make_unique<KxStringProperty>(L"n", L"", value, 0); };
    auto const probe = [](wchar_t const* name) { return std::make_unique<measured::Probe>(name, L"", 1, 0); };
    auto const list = [](long last) {
        auto made = std::make_unique<KxPropertyList>(L"l", L"", 0);
        made->Insert(Int(L"a"));
        made->Insert(new KxTProperty<long>(L"b", L"", last, 0));
        return made;
    };
    Case cases[] = {{text(L"four"), text(L"4"), false, true},
                    {text(L"four"), text(L"five"), true, true},
                    {text(L"four"), text(L"seven"), false, false},
                    {text(L"four"), text(L"seven"), true, false},
                    {list(1), list(2), false, true},
                    {list(1), list(1L << 31), false, false},
                    {probe(L"n"), probe(L"m"), false, true},
                    {probe(L"n"), probe(L"mm"), false, false},
                    {probe(L"n"), probe(L"m"), true, false},
                    {list(1), nullptr, false, false}};
    for (Case& c : cases) {
        KxPersistentObject::InitializeReferenceMap();
        KxPersistentObject::SupportCyclicReferences(1);
        CMemFile file(4096);
        KxProperty* property = c.former.get();
        KxTagArchive writing(&file, 0);
        writing << KxNullTag(1);
        writing.LevelDown();
        writing << KxPropertyTag(2, property);
        if (!c.isLast) writing << KxNullTag(3);
        writing.LevelUp();
        int behind = 7;
        writing << KxTTag<int>(4, behind);
        std::string const before = ReadAll(file);

        file.Seek(18, CFile::begin);
        KxTagArchive replacing(&file, 0);
        replacing.SetReplaceMode();
        property = c.now.get();
        bool refused = false;
        try {
            replacing << KxPropertyTag(2, property);
        } catch (CException* exception) {
            exception->Delete();
            refused = true;
        }
        EXPECT_EQ(refused, !c.fits);
        std::string const after = ReadAll(file);
        EXPECT_EQ(after.size(), before.size());
        EXPECT_EQ(after == before, refused);
        if (refused && property && !property->IsList()) {
            // The run goes on, and the object is not taken for one that is in the file.
            file.Seek(0, CFile::begin);
            KxTagArchive(&file, 0) << KxPropertyTag(5, property);
        }
        KxPersistentObject::SupportCyclicReferences(0);
        KxPersistentObject::InitializeReferenceMap();
        file.Seek(18, CFile::begin);
        KxProperty* read = nullptr;
        KxTagArchive(&file, 1) >> KxPropertyTag(2, read);
        Owner const owner(read);
        EXPECT_EQ(read->GetName(), (refused ? c.former : c.now)->GetName());
        int number = 0;
        file.Seek(0, CFile::begin);
        KxTagArchive reading(&file, 1);
        reading >> KxTTag<int>(4, number);
        EXPECT_EQ(number, 7);
        if (ReadAll(file).size() == before.size()) continue;
        reading >> KxPropertyTag(5, read);
        EXPECT_EQ(Owner(read)->GetName(), c.now->GetName());
    }
    CMemFile file(4096);
    auto const former = list(1), now = list(2);
    for (KxPropertyList* written : {former.get(), now.get()}) {
        file.Seek(0, CFile::begin);
        KxTagArchive archive(&file, 0);
        if (written == now.get()) archive.SetReplaceMode();
        archive << KxPropertyListTag(2, written);
    }
    file.Seek(0, CFile::begin);
    KxPropertyList* read = nullptr;
    KxTagArchive(&file, 1) >> KxPropertyListTag(2, read);
    Owner const owner(read);
    EXPECT_EQ(Lines(*read), Lines(*now));
}

TEST(PropertyTag, RefusesOtherClassesAndOwnedReferences) {
    CMemFile file(4096);
    KxProperty* property = nullptr;
    Thrown<KxDynamicObjectException>([&] { KxTagArchive(&file, 0) << KxPropertyTag(1, property); });
    EXPECT_EQ(file.GetLength(), 0U);
    KxTProperty<char> one(L"n", L"", 'x', 0);
    property = &one;
    KxTagArchive(&file, 0) << KxPropertyTag(1, property);
    file.Seek(0, CFile::begin);
    KxPropertyList* list = nullptr;
    EXPECT_EQ(Thrown<KxDynamicObjectException>([&] { KxTagArchive(&file, 1) >> KxPropertyListTag(1, list); }),
              "Das angeforderte Objekt des Typs \"class KxN::KxPropertyList\" konnte nicht angelegt werden");
    EXPECT_TRUE(!list && property == &one);
    file.Seek(0, CFile::begin);
    Append(file, "\1\0\0\0\x64\0\0\0\0\0\x12\0\0\0\0\0\0\0\0\0\0\0"s + Wide("class measured::Thing") + "\1\0"s);
    file.Seek(0, CFile::begin);
    Thrown<KxDynamicObjectException>([&] { KxTagArchive(&file, 1) >> KxPropertyTag(1, property); });
    EXPECT_EQ(property, &one);

    // The same object under two tags is one object; a child is nobody else's.
    KxPropertyList parent(L"l", L"", 0);
    parent.Insert(one.Clone());
    CMemFile shared(4096);
    KxPersistentObject::InitializeReferenceMap();
    KxPersistentObject::SupportCyclicReferences(1);
    list = &parent;
    property = &*parent.begin();
    KxTagArchive(&shared, 0) << KxPropertyListTag(1, list) << KxPropertyListTag(2, list) << KxPropertyTag(3, property);
    KxPersistentObject::SupportCyclicReferences(0);
    KxPersistentObject::InitializeReferenceMap();
    shared.Seek(0, CFile::begin);
    KxTagArchive archive(&shared, 1);
    KxPropertyList* again = nullptr;
    archive >> KxPropertyListTag(1, list) >> KxPropertyListTag(2, again);
    Owner const owner(list);
    EXPECT_EQ(list, again);
    Thrown<KxArchiveException>([&] { archive >> KxPropertyTag(3, property); });
}

}  // namespace
