// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/persistence/syPersistentObject.h"

#include "hbtools/base/syLimits.h"
#include "hbtools/persistence/syTagArchive.h"

#define HBTOOLS_ALLOCATIONS_ELSEWHERE
#include "../base/Allocations.h"
#include "../base/Support.h"

#include <memory>
#include <optional>

// The names of these classes stand in the streams below.
namespace store {

using namespace KxN;

int g_alive = 0;

struct Node : KxPersistentObject {
    int value = 0;
    Node* next = nullptr;  // not owned

    Node() { ++g_alive; }
    ~Node() override { --g_alive; }
    KxVersion GetVersion() const override { return 3; }
    void Serialize(CArchive& archive) override {
        if (archive.IsStoring()) {
            archive << value << (next != nullptr);
            if (next) next->Store(archive);
            return;
        }
        bool hasNext = false;
        archive >> value >> hasNext;
        if (hasNext) next = dynamic_cast<Node*>(Load(archive));
    }
};

struct Old : Node {
    KxVersion GetVersion() const override { return 2; }
    void SerializeOldVersion(CArchive& archive, KxVersion version) override {
        archive >> value;
        value += 1000 * version.GetValue();
    }
};

/// Reads on behind the node that it refers to.
struct Pair : Node {
    void Serialize(CArchive& archive) override {
        Node::Serialize(archive);
        archive >> value;
    }
};

struct Plain : KxDynamicObject {
    long long before = 0;
};

/// Of two bases that are made by name. Its factory gives the one that is no persistent object.
struct Both : Plain, Node {};
struct BothFactory final : KxAbstractFactory {
    KxDynamicObject* Create(KxString const&) override { return static_cast<Plain*>(new Both); }
    KxFactoryListElement element{this, L"class store::Both"};
};

BothFactory const g_bothFactory;
KxTFactory<Pair> const g_pairFactory;
KxTFactory<Node> const g_nodeFactory;
KxTFactory<Old> const g_oldFactory;
KxTFactory<Plain> const g_plainFactory;

}  // namespace store

namespace {

using namespace KxN;
using store::g_alive;
using store::Node;
using namespace std::string_literals;

/// The bytes of a name as wide text.
std::string Wide(std::string const& name) {
    std::string bytes = "\xFF\xFE\xFF"s;
    bytes += static_cast<char>(name.size());
    for (char const c : name) bytes += {c, '\0'};
    return bytes;
}

std::string const nodeName = Wide("class store::Node");

std::string StoredBytes(std::initializer_list<KxPersistentObject const*> objects) {
    CMemFile file(256);
    CArchive archive(&file, CArchive::store);
    for (KxPersistentObject const* object : objects) object->Store(archive);
    archive.Close();
    std::string bytes(file.GetLength(), '\0');
    file.Seek(0, CFile::begin);
    file.Read(bytes.data(), static_cast<UINT>(bytes.size()));
    return bytes;
}

/// Loads from bytes, one object after the other.
class Loading {
public:
    explicit Loading(std::string const& bytes) {
        m_file.Write(bytes.data(), static_cast<UINT>(bytes.size()));
        m_file.Seek(0, CFile::begin);
        m_archive.emplace(&m_file, CArchive::load);
    }
    KxPersistentObject* Next() { return KxPersistentObject::Load(*m_archive); }

private:
    CMemFile m_file{256};
    std::optional<CArchive> m_archive;
};

class PersistentObject : public testing::Test {
protected:
    void SetUp() override { KxPersistentObject::InitializeReferenceMap(); }
    void TearDown() override {
        KxPersistentObject::SupportCyclicReferences(0);
        KxPersistentObject::InitializeReferenceMap();
        EXPECT_EQ(g_alive, 0);
    }
};

TEST(DynamicObject, TheNewestFactoryOfANameWins) {
    struct Counting final : KxAbstractFactory {
        KxDynamicObject* Create(KxString const& name) override {
            ++asked;
            return name == L"class store::Plain" && makes ? new store::Plain : nullptr;
        }
        int asked = 0;
        bool makes = false;
    } counting;
    auto const made = [](wchar_t const* name) {
        return std::unique_ptr<KxDynamicObject>(CreateObject(name)) != nullptr;
    };
    EXPECT_TRUE(made(L"class store::Node"));
    EXPECT_FALSE(made(L"class store::node") || made(L"store::Node") || made(L""));
    {
        KxFactoryListElement const element(&counting);
        EXPECT_TRUE(made(L"class store::Plain"));
        EXPECT_EQ(counting.asked, 1);
        {
            KxTFactory<store::Plain> const newer;
            EXPECT_TRUE(made(L"class store::Plain"));
            EXPECT_EQ(counting.asked, 1);  // the newer one came first
        }
        counting.makes = true;
        EXPECT_TRUE(made(L"class store::Plain"));
        EXPECT_EQ(counting.asked, 2);
        { KxFactoryListElement const copy(element); }  // never was in the list
        EXPECT_FALSE(made(L"class nobody"));
        EXPECT_EQ(counting.asked, 3);
    }
    EXPECT_FALSE(made(L"class nobody"));
    EXPECT_EQ(counting.asked, 3);
    KxDynamicObjectException nameOnly(L"x", 1, L"class A", L""), inFile(L"x", 1, L"class A", L"b.dat");
    EXPECT_EQ(test::U(nameOnly.GetMessage()),
              "Das angeforderte Objekt des Typs \"class A\" konnte nicht angelegt werden");
    EXPECT_EQ(test::U(inFile.GetMessage()),
              "Das in der Datei \"b.dat\" angegebene Objekt des Typs \"class A\" konnte nicht angelegt werden");
}

TEST(DynamicObject, AssignmentKeepsThePlaceInTheListAndTakesTheName) {
    static int last;
    struct Telling final : KxAbstractFactory {
        explicit Telling(int n) : number(n) {}
        KxDynamicObject* Create(KxString const&) override {
            last = number;
            return new store::Plain;
        }
        int number;
    };
    auto const asked = [](wchar_t const* name) {
        last = 0;
        delete CreateObject(name);
        return last;
    };
    Telling one(1), two(2), any(3);
    KxFactoryListElement a(&one, L"x");
    {
        KxFactoryListElement b(&two, L"y"), c(a), d(b), all(&any);
        c = d;  // neither stands in the list
        EXPECT_EQ(asked(L"x") * 10 + asked(L"y"), 33);
        all = d;
        EXPECT_EQ(asked(L"x") * 10 + asked(L"y"), 12);
        all = a;  // as the newest one of x
        a = b;
        EXPECT_EQ(asked(L"x") * 10 + asked(L"y"), 12);
        b = c = all;
        c = a;
        EXPECT_EQ(asked(L"x") * 10 + asked(L"y"), 12);
    }
    EXPECT_EQ(asked(L"x") * 10 + asked(L"y"), 2);
    a = KxFactoryListElement(a);
    EXPECT_EQ(asked(L"y"), 2);
}

TEST_F(PersistentObject, BytesWithAndWithoutNumbers) {
    Node a;
    a.value = 0x01020304;
    std::string const body = nodeName + "\x03\0"s + "\x04\x03\x02\x01\0"s;
    EXPECT_EQ(StoredBytes({&a, &a}), "\0\0\0\0"s + body + "\0\0\0\0"s + body);
    KxPersistentObject::SupportCyclicReferences(1);
    EXPECT_EQ(StoredBytes({&a, &a}), "\1\0\0\0\1\0\0\0"s + body + "\1\0\0\0\1\0\0\0"s);
    Node b;
    EXPECT_EQ(StoredBytes({&b}).substr(0, 8), "\1\0\0\0\2\0\0\0"s);  // the run goes on
    KxPersistentObject::InitializeReferenceMap();
    EXPECT_EQ(StoredBytes({&b}).substr(0, 8), "\1\0\0\0\1\0\0\0"s);
}

TEST_F(PersistentObject, SharedAndCyclicObjectsComeBackAsSuch) {
    KxPersistentObject::SupportCyclicReferences(1);
    Node a, b;
    a.value = 1;
    b.value = 2;
    a.next = &b;
    b.next = &a;
    std::string const bytes = StoredBytes({&a, &b});
    KxPersistentObject::SupportCyclicReferences(0);  // the reader needs no switch
    Loading loading(bytes);
    std::unique_ptr<Node> const first(dynamic_cast<Node*>(loading.Next()));
    std::unique_ptr<Node> const second(dynamic_cast<Node*>(loading.Next()));
    ASSERT_TRUE(first && second);
    EXPECT_TRUE(first->next == second.get() && second->next == first.get());
    EXPECT_EQ(first->value * 10 + second->value, 12);
    KxPersistentObject::InitializeReferenceMap();
    Loading twice(std::string("\0\0\0\0", 4) + nodeName + "\3\0\7\0\0\0\0"s + std::string("\0\0\0\0", 4) + nodeName +
                  "\3\0\7\0\0\0\0"s);
    std::unique_ptr<KxPersistentObject> const one(twice.Next()), other(twice.Next());
    EXPECT_NE(one, other);
}

TEST_F(PersistentObject, NamesAndVersionsOfOtherWriters) {
    struct Case {
        std::string bytes;
        int value;
    };
    std::string const rest = "\3\0\7\0\0\0\0"s;
    for (Case const& c : {
             Case{"\0\0\0\0\x11"s + "class store::Node" + rest, 7},                   // narrow
             Case{"\0\0\0\0"s + Wide("class store::Both") + rest, 7},                 // made as its other base, once
             Case{"\0\0\0\0"s + Wide("class store::Both") + rest, 7},                 // and when it is known
             Case{"\1\0\0\0\0\0\0\0"s + nodeName + rest, 7},                          // numbers that no writer gives
             Case{"\1\0\0\0\xFF\xFF\xFF\xFF"s + nodeName + rest, 7},                  //
             Case{"\2\0\0\0"s + nodeName + rest, 7},                                  // only 1 counts as on
             Case{"\0\0\0\0"s + Wide("class store::Old") + "\5\0\7\0\0\0"s, 5007},    // a version that it reads
             Case{"\0\0\0\0\xFF\xFE\xFF\xFF\x11\0"s + nodeName.substr(4) + rest, 7},  // a longer form of the length
             Case{"\0\0\0\0\xFF\xFE\xFF\xFF\xFF\xFF\x11\0\0\0"s + nodeName.substr(4) + rest, 7},
         }) {
        Loading loading(c.bytes);
        std::unique_ptr<Node> const node(dynamic_cast<Node*>(loading.Next()));
        ASSERT_TRUE(node);
        EXPECT_EQ(node->value, c.value);
    }
}

// The factory that made the last object of a class need not make the next one.
TEST_F(PersistentObject, AnotherFactoryStandsInForOneThatMakesNoMore) {
    struct Once final : KxAbstractFactory {
        KxDynamicObject* Create(KxString const&) override { return left-- > 0 ? new Node : nullptr; }
        int left = 1;
        KxFactoryListElement element{this, L"class store::Node"};
    } once;
    std::string const node = "\0\0\0\0"s + nodeName + "\3\0\7\0\0\0\0"s;
    Loading loading(node + node + node);
    for (int i = 0; i < 3; ++i) {
        std::unique_ptr<KxPersistentObject> const object(loading.Next());
        EXPECT_TRUE(dynamic_cast<Node*>(object.get()));
    }
    EXPECT_LT(once.left, 0);  // it was asked in vain
}

TEST_F(PersistentObject, RefusesWhatIsDamagedAndLeavesNothing) {
    std::string const wrong =
        "Beim Lesen der Datei \"\" ist ein Fehler aufgetreten: Der erwartete Objekttyp entspricht nicht dem "
        "gespeicherten Typ";
    auto const load = [](std::string const& bytes) { return [bytes] { Loading(bytes).Next(); }; };
    EXPECT_EQ(test::Thrown<KxArchiveException>(load("\0\0\0\0"s + Wide("class store::Nobody") + "\0\0"s)), wrong);
    EXPECT_EQ(test::Thrown<KxArchiveException>(load("\0\0\0\0"s + Wide("class store::Plain") + "\0\0"s)), wrong);
    try {
        load("\0\0\0\0"s + nodeName + "\4\0\7\0\0\0\0"s)();
        FAIL();
    } catch (KxVersionException* exception) {
        EXPECT_EQ(exception->GetFound().GetValue() * 10 + exception->GetNeeded().GetValue(), 43);
        exception->Delete();
    }
    EXPECT_EQ(test::CauseOf<CArchiveException>(load("\0\0\0\0\xFF\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F"s)), 3);  // 4 GiB

    // Cut at every byte. The run knows nothing of what failed.
    std::string const cycle =
        "\1\0\0\0\1\0\0\0"s + nodeName + "\3\0\1\0\0\0\1"s + "\1\0\0\0\2\0\0\0"s + nodeName + "\3\0\2\0\0\0\0"s;
    for (std::size_t length = 0; length < cycle.size(); ++length) {
        KxPersistentObject::InitializeReferenceMap();
        EXPECT_EQ(test::CauseOf<CArchiveException>(load(cycle.substr(0, length))), 3) << length;
        EXPECT_EQ(g_alive, 0) << length;
        EXPECT_EQ(test::CauseOf<CArchiveException>(load("\1\0\0\0\1\0\0\0"s)), 3) << length;
    }
    // A reference to nothing reads on, and finds no name.
    KxPersistentObject::InitializeReferenceMap();
    EXPECT_EQ(test::CauseOf<CArchiveException>(load("\1\0\0\0\x63\0\0\0"s)), 3);

    // What fails behind a reference to itself goes; what another object holds that was read whole stays.
    std::string const next = "\0\0\0\0\1"s, pairName = Wide("class store::Pair") + "\3\0"s + next;
    std::string const pair = "\1\0\0\0\1\0\0\0"s + pairName, first = "\1\0\0\0\1\0\0\0"s;
    for (auto const& [body, alive] : {std::pair{first, 0},
                                      {"\1\0\0\0\2\0\0\0"s + pairName + first, 0},
                                      {"\1\0\0\0\2\0\0\0"s + nodeName + "\3\0"s + next + first, 2}}) {
        KxPersistentObject::InitializeReferenceMap();
        EXPECT_EQ(test::CauseOf<CArchiveException>(load(pair + body)), 3);
        EXPECT_EQ(g_alive, alive);
        if (alive == 0) continue;
        std::unique_ptr<Node> const held(dynamic_cast<Node*>(Loading(first).Next()));
        std::unique_ptr<Node> const holder(dynamic_cast<Node*>(Loading("\1\0\0\0\2\0\0\0"s).Next()));
        EXPECT_EQ(holder->next, held.get());
    }

    CMemFile file(64);
    CArchive storing(&file, CArchive::store);
    EXPECT_EQ(test::CauseOf<CArchiveException>([&] { KxPersistentObject::Load(storing); }), 4);
    CArchive loading(&file, CArchive::load);
    EXPECT_EQ(test::CauseOf<CArchiveException>([&] { Node().Store(loading); }), 2);
}

TEST_F(PersistentObject, WithoutMemoryNothingIsLeft) {
    std::string bytes;
    {
        Node const node;
        bytes = StoredBytes({&node});
    }
    int const failures = test::FailEachAllocation(
        [&] {
            Loading loading(bytes);
            KxTFactory<store::Plain> const another;  // classes are looked up anew
            std::unique_ptr<KxPersistentObject> const made(loading.Next());
        },
        [] {
            EXPECT_EQ(g_alive, 0);
            KxPersistentObject::InitializeReferenceMap();
        });
    EXPECT_GT(failures, 5);
}

TEST_F(PersistentObject, DepthIsBounded) {
    std::string deep;
    for (int i = 0; i < 100000; ++i)
        deep += "\1\0\0\0"s + std::string(reinterpret_cast<char const*>(&i), 4) + nodeName + "\3\0\1\0\0\0\1"s;
    EXPECT_EQ(test::CauseOf<CArchiveException>([&] { Loading(deep).Next(); }), 1);
    EXPECT_EQ(g_alive, 0);
    Node ring;
    ring.next = &ring;
    EXPECT_EQ(test::CauseOf<CArchiveException>([&] { StoredBytes({&ring}); }), 1);
    int const former = std::exchange(KxxLimits().nestingDepth, 2);
    Node end, middle, head;
    middle.next = &end;
    head.next = &middle;
    EXPECT_EQ(StoredBytes({&middle}).size(), 2 * (4 + nodeName.size() + 7));
    EXPECT_EQ(test::CauseOf<CArchiveException>([&] { StoredBytes({&head}); }), 1);
    KxxLimits().nestingDepth = former;
}

}  // namespace
