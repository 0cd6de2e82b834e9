// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The containers beside the ones of the standard library, in one run. Names are "<topic>/<who>/<n>"; a ratio is
// that of two lines of the same topic and n. Every operation works on n elements, so items per second compare too.
//
// The allocator is told to keep what is freed, as in an application whose heap has reached its size. Otherwise the
// order of the benchmarks decides which of them pay for getting the same pages from the system again and again.

#include "hbtools/core/syArray.h"
#include "hbtools/core/syList.h"
#include "hbtools/core/syMap.h"
#include "hbtools/core/sySVQueue.h"

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <algorithm>
#include <deque>
#include <list>
#include <memory_resource>
#include <numeric>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

using namespace KxN;

namespace {

using Pointer = double*;
double g_target[16];

Pointer PointerOf(int i) {
    return &g_target[i & 15];
}

void Append(KxTSVQueue<Pointer>& queue, Pointer value) {
    queue.Append(value);
}
void Append(KxTDynArray<Pointer>& array, Pointer value) {
    array.Add(value);
}
template <class Container>
void Append(Container& container, Pointer value) {
    container.push_back(value);
}

template <class Container>
Container Filled(int n) {
    Container container;
    for (int i = 0; i < n; ++i) {
        Append(container, PointerOf(i));
    }
    return container;
}

template <class Container>
void AppendAll(benchmark::State& state) {
    int const n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        Container container = Filled<Container>(n);
        benchmark::DoNotOptimize(container);
    }
    state.SetItemsProcessed(state.iterations() * n);
}

template <class Container>
void Iterate(benchmark::State& state) {
    int const n = static_cast<int>(state.range(0));
    Container const container = Filled<Container>(n);
    for (auto _ : state) {
        std::uintptr_t sum = 0;
        for (Pointer const pointer : container) {
            sum += reinterpret_cast<std::uintptr_t>(pointer);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * n);
}

template <class Container, class Index>
void WalkByIndex(benchmark::State& state) {
    Index const n = static_cast<Index>(state.range(0));
    Container const container = Filled<Container>(static_cast<int>(n));
    for (auto _ : state) {
        std::uintptr_t sum = 0;
        for (Index i = 0; i < n; ++i) {
            sum += reinterpret_cast<std::uintptr_t>(container[i]);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

void InsertAt(KxTSVQueue<Pointer>& queue, int index, Pointer value) {
    queue.Insert(value, index);
}
template <class Container>
void InsertAt(Container& container, int index, Pointer value) {
    container.insert(container.begin() + index, value);
}

/// One insertion into the middle of a container of n elements, 100 times over.
template <class Container>
void InsertMiddle(benchmark::State& state) {
    int const n = static_cast<int>(state.range(0));
    Container const filled = Filled<Container>(n);
    for (auto _ : state) {
        state.PauseTiming();
        Container container(filled);
        state.ResumeTiming();
        for (int i = 0; i < 100; ++i) {
            InsertAt(container, (n + i) / 2, PointerOf(i));
        }
        benchmark::DoNotOptimize(container);
        state.PauseTiming();
        container = Container();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * 100);
}

void AddTail(KxTBlockList<double>& list, double value) {
    list.AddTail(value);
}
void AddTail(std::list<double>& list, double value) {
    list.push_back(value);
}

template <class List>
void ListAppendWalkFree(benchmark::State& state) {
    int const n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        List list;
        for (int i = 0; i < n; ++i) {
            AddTail(list, i);
        }
        double sum = 0;
        for (double const value : list) {
            sum += value;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * n);
}

/// The doubly linked list of the standard library with its memory handed out by a pointer bump.
void MonotonicStdListAppendWalkFree(benchmark::State& state) {
    int const n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        std::pmr::monotonic_buffer_resource memory;
        std::pmr::list<double> list(&memory);
        for (int i = 0; i < n; ++i) {
            list.push_back(i);
        }
        double sum = 0;
        for (double const value : list) {
            sum += value;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * n);
}

/// The least that a list of that many elements can cost: singly linked, its memory handed out by a pointer bump.
void MonotonicAppendWalkFree(benchmark::State& state) {
    struct Node {
        double value;
        Node* next;
    };
    int const n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        std::pmr::monotonic_buffer_resource memory;
        Node* head = nullptr;
        Node** tail = &head;
        for (int i = 0; i < n; ++i) {
            Node* const node = new (memory.allocate(sizeof(Node), alignof(Node))) Node{double(i), nullptr};
            *tail = node;
            tail = &node->next;
        }
        double sum = 0;
        for (Node const* node = head; node; node = node->next) {
            sum += node->value;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * n);
}

struct Item {
    double values[3];
};

struct BlockHeap {
    KxTBlockHeap<Item> heap{1024};
    void* Take() { return heap.Alloc(); }
    void Give(void* item) { heap.Free(static_cast<Item*>(item)); }
};

struct PoolResource {
    std::pmr::unsynchronized_pool_resource pool;
    void* Take() { return pool.allocate(sizeof(Item), alignof(Item)); }
    void Give(void* item) { pool.deallocate(item, sizeof(Item), alignof(Item)); }
};

struct NewDelete {
    void* Take() { return new Item; }
    void Give(void* item) { delete static_cast<Item*>(item); }
};

/// Takes n items and gives them back in a random order.
template <class Heap>
void TakeAndGiveAtRandom(benchmark::State& state) {
    auto const n = static_cast<std::size_t>(state.range(0));
    std::vector<std::size_t> order(n);
    std::iota(order.begin(), order.end(), std::size_t(0));
    std::shuffle(order.begin(), order.end(), std::mt19937(5));
    std::vector<void*> items(n);
    for (auto _ : state) {
        Heap heap;
        for (void*& item : items) {
            item = heap.Take();
        }
        for (std::size_t const i : order) {
            heap.Give(items[i]);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

/// n items stay taken; one is given back and one taken, n times, at random places.
template <class Heap>
void ExchangeAtRandom(benchmark::State& state) {
    auto const n = static_cast<std::size_t>(state.range(0));
    Heap heap;
    std::vector<void*> items(n);
    for (void*& item : items) {
        item = heap.Take();
    }
    std::vector<std::size_t> order(n);
    std::iota(order.begin(), order.end(), std::size_t(0));
    std::shuffle(order.begin(), order.end(), std::mt19937(5));
    for (auto _ : state) {
        for (std::size_t const i : order) {
            heap.Give(items[i]);
            items[i] = heap.Take();
        }
    }
    for (void* const item : items) {
        heap.Give(item);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

std::vector<int> RandomKeys(int n) {
    std::vector<int> keys(static_cast<std::size_t>(n));
    std::iota(keys.begin(), keys.end(), 0);
    for (int& key : keys) {
        key *= 3;
    }
    std::shuffle(keys.begin(), keys.end(), std::mt19937(9));
    return keys;
}

KxTIntegerHashFunction<int> const g_hash;

struct OurMap : KxTMap<int, int> {
    explicit OurMap(int n) : KxTMap<int, int>(&g_hash, n | 1) {}
    bool Has(int key) const { return Find(key) != nullptr; }
};

struct PeerMap : std::unordered_map<int, int> {
    explicit PeerMap(int n) { reserve(static_cast<std::size_t>(n)); }
    bool Has(int key) const { return find(key) != end(); }
};

template <class Map>
void MapInsert(benchmark::State& state) {
    int const n = static_cast<int>(state.range(0));
    std::vector<int> const keys = RandomKeys(n);
    for (auto _ : state) {
        Map map(n);
        for (int const key : keys) {
            map[key] = key;
        }
        benchmark::DoNotOptimize(map);
    }
    state.SetItemsProcessed(state.iterations() * n);
}

template <class Map>
void MapFind(benchmark::State& state) {
    int const n = static_cast<int>(state.range(0));
    std::vector<int> keys = RandomKeys(n);
    Map map(n);
    for (int const key : keys) {
        map[key] = key;
    }
    std::shuffle(keys.begin(), keys.end(), std::mt19937(10));
    for (auto _ : state) {
        int found = 0;
        for (int const key : keys) {
            found += map.Has(key);
        }
        benchmark::DoNotOptimize(found);
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void Register(char const* topic, char const* who, void (*function)(benchmark::State&)) {
    std::string const name = std::string(topic) + "/" + who;
    benchmark::RegisterBenchmark(name.c_str(), function)->RangeMultiplier(10)->Range(1000, 1000000);
    benchmark::RegisterBenchmark(name.c_str(), function)->Arg(10000000)->Iterations(1);
}

[[maybe_unused]] bool const g_registered = [] {
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    Register("queue append", "hbtools", &AppendAll<KxTSVQueue<Pointer>>);
    Register("queue append", "std::deque", &AppendAll<std::deque<Pointer>>);
    Register("queue append", "std::vector", &AppendAll<std::vector<Pointer>>);
    Register("queue iterate", "hbtools", &Iterate<KxTSVQueue<Pointer>>);
    Register("queue iterate", "std::deque", &Iterate<std::deque<Pointer>>);
    Register("queue iterate", "std::vector", &Iterate<std::vector<Pointer>>);
    Register("queue walk by index", "hbtools", &WalkByIndex<KxTSVQueue<Pointer>, int>);
    Register("queue walk by index", "std::deque", &WalkByIndex<std::deque<Pointer>, std::size_t>);
    Register("queue insert in the middle", "hbtools", &InsertMiddle<KxTSVQueue<Pointer>>);
    Register("queue insert in the middle", "std::deque", &InsertMiddle<std::deque<Pointer>>);
    Register("array append", "hbtools", &AppendAll<KxTDynArray<Pointer>>);
    Register("array append", "std::vector", &AppendAll<std::vector<Pointer>>);
    Register("list append walk free", "hbtools", &ListAppendWalkFree<KxTBlockList<double>>);
    Register("list append walk free", "std::list", &ListAppendWalkFree<std::list<double>>);
    Register("list append walk free", "std::pmr::list monotonic", &MonotonicStdListAppendWalkFree);
    Register("list append walk free", "monotonic singly list", &MonotonicAppendWalkFree);
    Register("heap random free", "hbtools", &TakeAndGiveAtRandom<BlockHeap>);
    Register("heap random free", "std::pmr pool", &TakeAndGiveAtRandom<PoolResource>);
    Register("heap random free", "new and delete", &TakeAndGiveAtRandom<NewDelete>);
    Register("heap exchange", "hbtools", &ExchangeAtRandom<BlockHeap>);
    Register("heap exchange", "std::pmr pool", &ExchangeAtRandom<PoolResource>);
    Register("heap exchange", "new and delete", &ExchangeAtRandom<NewDelete>);
    Register("map insert", "hbtools", &MapInsert<OurMap>);
    Register("map insert", "std::unordered_map", &MapInsert<PeerMap>);
    Register("map find", "hbtools", &MapFind<OurMap>);
    Register("map find", "std::unordered_map", &MapFind<PeerMap>);
    return true;
}();

}  // namespace
