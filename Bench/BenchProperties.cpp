// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Property trees beside polymorphic pointers of Boost.Serialization and of cereal, lists of as many properties as a list can
// store, and objects by name among many classes. The peers' nodes hold the same data: name, format, group, value, and
// their children in a vector; they keep no index of names.
#include "hbtools/base/syArchive.h"
#include "hbtools/properties/syPropertyList.h"

#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <unordered_map>
#include <vector>

#ifdef HBTOOLS_BENCH_CEREAL
#include <cereal/archives/binary.hpp>
#include <cereal/types/base_class.hpp>
#include <cereal/types/memory.hpp>
#include <cereal/types/polymorphic.hpp>
#include <cereal/types/string.hpp>
#include <cereal/types/vector.hpp>
#endif
#ifdef HBTOOLS_BENCH_BOOST
#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/base_object.hpp>
#include <boost/serialization/export.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/unique_ptr.hpp>
#include <boost/serialization/vector.hpp>
#endif

using namespace KxN;

namespace {

constexpr int treeSize = 100'000;
constexpr int listSize = KxPropertyList::maximumCount;
constexpr int numClasses = 10'000;

/// What stands in the tree: every eighth node a list, numbers and texts in turn otherwise.
enum class Kind { list, number, integer, text };
Kind KindOf(int number) {
    return number % 8 == 0 ? Kind::list : number % 3 == 0 ? Kind::number : number % 3 == 1 ? Kind::integer : Kind::text;
}
std::string NameOf(int number) {
    return "Bedingung " + std::to_string(number);
}
KxString WideName(int number) {
    return KxString(NameOf(number).c_str());
}

KxProperty* NewProperty(int number) {
    switch (KindOf(number)) {
        case Kind::list: return new KxPropertyList(WideName(number), L"Gruppe", 0);
        case Kind::number: return new KxTProperty<double>(WideName(number), L"Wert: %g mm", 0.5 * number, 1);
        case Kind::integer: return new KxTProperty<int>(WideName(number), L"Anzahl: %d", number, 1);
        default: return new KxStringProperty(WideName(number), L"Name: %s", L"Messmaschine", 1);
    }
}

/// Node `number` belongs to one of the former lists, near the root as often as far from it.
std::vector<int> const& Parents() {
    static std::vector<int> const parents = [] {
        std::mt19937 random(5);
        std::vector<int> of(treeSize, 0);
        for (int i = 1; i < treeSize; ++i)
            of[static_cast<std::size_t>(i)] = 8 * static_cast<int>(random() % ((static_cast<unsigned>(i) + 7) / 8));
        return of;
    }();
    return parents;
}

std::unique_ptr<KxPropertyList> MakeTree() {
    std::map<int, KxPropertyList*> lists;
    std::unique_ptr<KxPropertyList> root;
    for (int i = 0; i < treeSize; ++i) {
        KxProperty* const property = NewProperty(i);
        if (property->IsList()) lists[i] = property->GetList();
        if (i == 0)
            root.reset(property->GetList());
        else
            lists[Parents()[static_cast<std::size_t>(i)]]->Insert(property);
    }
    return root;
}

std::string Stored(KxPropertyList const& list) {
    CMemFile file(1 << 20);
    CArchive archive(&file, CArchive::store, 1 << 16);
    list.Store(archive);
    archive.Close();
    std::string bytes(file.GetLength(), '\0');
    file.Seek(0, CFile::begin);
    file.Read(bytes.data(), static_cast<UINT>(bytes.size()));
    return bytes;
}

void TreeStoreOurs(benchmark::State& state) {
    auto const tree = MakeTree();
    for (auto _ : state) {
        CMemFile file(1 << 20);
        CArchive archive(&file, CArchive::store, 1 << 16);
        tree->Store(archive);
        archive.Close();
        benchmark::DoNotOptimize(file.GetLength());
    }
}
BENCHMARK(TreeStoreOurs)->Name("property tree store/hbtools")->Arg(treeSize)->UseRealTime();

void Load(benchmark::State& state, std::string const& bytes) {
    CMemFile file(1 << 20);
    file.Write(bytes.data(), static_cast<UINT>(bytes.size()));
    for (auto _ : state) {
        file.Seek(0, CFile::begin);
        CArchive archive(&file, CArchive::load, 1 << 16);
        std::unique_ptr<KxPersistentObject> const loaded(KxPersistentObject::Load(archive));
        benchmark::DoNotOptimize(loaded.get());
    }
}

void TreeLoadOurs(benchmark::State& state) {
    std::string const bytes = Stored(*MakeTree());
    CMemFile file(1 << 20);
    file.Write(bytes.data(), static_cast<UINT>(bytes.size()));
    file.Seek(0, CFile::begin);
    CArchive archive(&file, CArchive::load);
    std::unique_ptr<KxPersistentObject> const loaded(KxPersistentObject::Load(archive));
    if (Stored(dynamic_cast<KxPropertyList&>(*loaded)) != bytes) state.SkipWithError("another tree came back");
    Load(state, bytes);
}
BENCHMARK(TreeLoadOurs)->Name("property tree load/hbtools")->Arg(treeSize)->UseRealTime();

// ---- a long list ----

std::unique_ptr<KxPropertyList> MakeList() {
    auto list = std::make_unique<KxPropertyList>(L"Liste", L"", 0);
    for (int i = 0; i < listSize; ++i) list->Insert(new KxTProperty<int>(WideName(i), L"Anzahl: %d", i, 0));
    return list;
}

void ListInsert(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<std::unique_ptr<KxProperty>> properties;
        properties.reserve(listSize);
        for (int i = 0; i < listSize; ++i) properties.emplace_back(new KxTProperty<int>(WideName(i), L"", i, 0));
        auto list = std::make_unique<KxPropertyList>();
        state.ResumeTiming();
        for (auto& property : properties) list->Insert(property.release());
        benchmark::DoNotOptimize(list->GetCount());
        state.PauseTiming();
        list.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(ListInsert)->Name("property list insert all/hbtools")->Arg(listSize)->UseRealTime();

void ListFind(benchmark::State& state) {
    auto const list = MakeList();
    std::vector<KxString> names;
    names.reserve(listSize);
    for (int i = 0; i < listSize; ++i) names.push_back(WideName(i * 7919 % listSize));
    for (auto _ : state)
        for (KxString const& name : names) benchmark::DoNotOptimize(list->GetProperty(name));
}
BENCHMARK(ListFind)->Name("property list find all/hbtools")->Arg(listSize)->UseRealTime();

void MapFind(benchmark::State& state) {
    std::unordered_map<std::wstring, int> map;
    std::vector<std::wstring> names;
    names.reserve(listSize);
    for (int i = 0; i < listSize; ++i) map[std::wstring(WideName(i).View())] = i;
    for (int i = 0; i < listSize; ++i) names.emplace_back(WideName(i * 7919 % listSize).View());
    for (auto _ : state)
        for (std::wstring const& name : names) benchmark::DoNotOptimize(map.find(name)->second);
}
BENCHMARK(MapFind)->Name("property list find all/unordered_map")->Arg(listSize)->UseRealTime();

void ListLoad(benchmark::State& state) {
    Load(state, Stored(*MakeList()));
}
BENCHMARK(ListLoad)->Name("property list load all/hbtools")->Arg(listSize)->UseRealTime();

// ---- objects by name ----

template <int N>
struct Numbered : KxDynamicObject {};

/// Factories of many names: what KxTFactory is, without ten thousand classes to compile.
class NamedFactory final : public KxAbstractFactory {
public:
    explicit NamedFactory(int number)
        : m_name(KxString(L"class Bench::Numbered<") + WideName(number)), m_element(this, m_name) {}
    KxDynamicObject* Create(KxString const& name) override { return name == m_name ? new Numbered<0> : nullptr; }
    KxString const& Name() const { return m_name; }

private:
    KxString m_name;
    KxFactoryListElement m_element;
};

void Create(benchmark::State& state) {
    std::vector<std::unique_ptr<NamedFactory>> factories;
    factories.reserve(numClasses);
    for (int i = 0; i < numClasses; ++i) factories.push_back(std::make_unique<NamedFactory>(i));
    std::size_t i = 0;
    for (auto _ : state) {
        i = (i + 7919) % numClasses;
        std::unique_ptr<KxDynamicObject> const object(CreateObject(factories[i]->Name()));
        benchmark::DoNotOptimize(object.get());
    }
}
BENCHMARK(Create)->Name("object by name/hbtools")->Arg(numClasses)->UseRealTime();

// ---- what the peers hold ----

/// The same classes twice: Boost's serialize functions have a version, cereal's have none. Texts are narrow, or wide as a
/// property's are.
template <bool isBoost, class S = std::string>
struct Peer {
    static S As(std::string const& text) { return S(text.begin(), text.end()); }

    struct Node {
        virtual ~Node() = default;
        S name;
        S message;
        std::uint32_t group = 1;
        template <class A, class... V>
        requires(sizeof...(V) == isBoost) void serialize(A& archive, V...) { archive& name& message& group; }
    };
    /// What is behind the base's data.
    template <class A, class D>
    static void Base(A& archive, [[maybe_unused]] D& derived) {
#ifdef HBTOOLS_BENCH_BOOST
        if constexpr (isBoost) archive& boost::serialization::base_object<Node>(derived);
#endif
        if constexpr (!isBoost) derived.Node::serialize(archive);
    }
    template <class T>
    struct Value : Node {
        T value{};
        template <class A, class... V>
        requires(sizeof...(V) == isBoost) void serialize(A& archive, V...) {
            Base(archive, *this);
            archive& value;
        }
    };
    struct List : Node {
        std::vector<std::unique_ptr<Node>> children;
        template <class A, class... V>
        requires(sizeof...(V) == isBoost) void serialize(A& archive, V...) {
            Base(archive, *this);
            archive& children;
        }
    };
    using Number = Value<double>;
    using Integer = Value<int>;
    using Text = Value<S>;

    static std::unique_ptr<Node> NewNode(int number) {
        auto const fill = [number](auto node, char const* message, auto const&... value) {
            node->name = As(NameOf(number));
            node->message = As(message);
            (..., (node->value = value));
            return node;
        };
        switch (KindOf(number)) {
            case Kind::list: return fill(std::make_unique<List>(), "Gruppe");
            case Kind::number: return fill(std::make_unique<Number>(), "Wert: %g mm", 0.5 * number);
            case Kind::integer: return fill(std::make_unique<Integer>(), "Anzahl: %d", number);
            default: return fill(std::make_unique<Text>(), "Name: %s", As("Messmaschine"));
        }
    }

    static std::unique_ptr<Node> MakeTree() {
        std::map<int, List*> lists;
        std::unique_ptr<Node> root;
        for (int i = 0; i < treeSize; ++i) {
            auto node = NewNode(i);
            if (auto* const list = dynamic_cast<List*>(node.get())) lists[i] = list;
            if (i == 0)
                root = std::move(node);
            else
                lists[Parents()[static_cast<std::size_t>(i)]]->children.push_back(std::move(node));
        }
        return root;
    }

    template <class Out>
    static void Store(benchmark::State& state) {
        auto const tree = MakeTree();
        for (auto _ : state) {
            std::ostringstream stream;
            {
                Out archive(stream);
                archive& tree;
            }
            benchmark::DoNotOptimize(stream.tellp());
        }
    }

    template <class Out, class In>
    static void Load(benchmark::State& state) {
        std::ostringstream out;
        {
            Out archive(out);
            auto const tree = MakeTree();
            archive& tree;
        }
        std::istringstream in(out.str());
        for (auto _ : state) {
            in.clear();
            in.seekg(0);
            In archive(in);
            std::unique_ptr<Node> loaded;
            archive& loaded;
            benchmark::DoNotOptimize(loaded.get());
        }
    }
};

}  // namespace

#ifdef HBTOOLS_BENCH_CEREAL
using Cereal = Peer<false>;
CEREAL_REGISTER_TYPE_WITH_NAME(Cereal::Number, "Number")
CEREAL_REGISTER_TYPE_WITH_NAME(Cereal::Integer, "Integer")
CEREAL_REGISTER_TYPE_WITH_NAME(Cereal::Text, "Text")
CEREAL_REGISTER_TYPE_WITH_NAME(Cereal::List, "List")
CEREAL_REGISTER_POLYMORPHIC_RELATION(Cereal::Node, Cereal::Number)
CEREAL_REGISTER_POLYMORPHIC_RELATION(Cereal::Node, Cereal::Integer)
CEREAL_REGISTER_POLYMORPHIC_RELATION(Cereal::Node, Cereal::Text)
CEREAL_REGISTER_POLYMORPHIC_RELATION(Cereal::Node, Cereal::List)

static void TreeStoreCereal(benchmark::State& state) {
    Cereal::Store<cereal::BinaryOutputArchive>(state);
}
BENCHMARK(TreeStoreCereal)->Name("property tree store/cereal")->Arg(treeSize)->UseRealTime();
static void TreeLoadCereal(benchmark::State& state) {
    Cereal::Load<cereal::BinaryOutputArchive, cereal::BinaryInputArchive>(state);
}
BENCHMARK(TreeLoadCereal)->Name("property tree load/cereal")->Arg(treeSize)->UseRealTime();

using CerealWide = Peer<false, std::wstring>;
CEREAL_REGISTER_TYPE_WITH_NAME(CerealWide::Number, "WideNumber")
CEREAL_REGISTER_TYPE_WITH_NAME(CerealWide::Integer, "WideInteger")
CEREAL_REGISTER_TYPE_WITH_NAME(CerealWide::Text, "WideText")
CEREAL_REGISTER_TYPE_WITH_NAME(CerealWide::List, "WideList")
CEREAL_REGISTER_POLYMORPHIC_RELATION(CerealWide::Node, CerealWide::Number)
CEREAL_REGISTER_POLYMORPHIC_RELATION(CerealWide::Node, CerealWide::Integer)
CEREAL_REGISTER_POLYMORPHIC_RELATION(CerealWide::Node, CerealWide::Text)
CEREAL_REGISTER_POLYMORPHIC_RELATION(CerealWide::Node, CerealWide::List)

static void TreeLoadCerealWide(benchmark::State& state) {
    CerealWide::Load<cereal::BinaryOutputArchive, cereal::BinaryInputArchive>(state);
}
BENCHMARK(TreeLoadCerealWide)->Name("property tree load/cereal, wide texts")->Arg(treeSize)->UseRealTime();
#endif

#ifdef HBTOOLS_BENCH_BOOST
using Boost = Peer<true>;
BOOST_CLASS_EXPORT_GUID(Boost::Number, "Number")
BOOST_CLASS_EXPORT_GUID(Boost::Integer, "Integer")
BOOST_CLASS_EXPORT_GUID(Boost::Text, "Text")
BOOST_CLASS_EXPORT_GUID(Boost::List, "List")

static void TreeStoreBoost(benchmark::State& state) {
    Boost::Store<boost::archive::binary_oarchive>(state);
}
BENCHMARK(TreeStoreBoost)->Name("property tree store/Boost.Serialization")->Arg(treeSize)->UseRealTime();
static void TreeLoadBoost(benchmark::State& state) {
    Boost::Load<boost::archive::binary_oarchive, boost::archive::binary_iarchive>(state);
}
BENCHMARK(TreeLoadBoost)->Name("property tree load/Boost.Serialization")->Arg(treeSize)->UseRealTime();
#endif
