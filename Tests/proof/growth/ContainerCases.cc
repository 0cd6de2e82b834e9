// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Case.h"

#include "hbtools/base/syCollections.h"
#include "hbtools/base/syFormat.h"
#include "hbtools/base/syResource.h"
#include "hbtools/core/syArray.h"
#include "hbtools/core/syBlockHeap.h"
#include "hbtools/core/syList.h"
#include "hbtools/core/syMap.h"
#include "hbtools/core/syPList.h"
#include "hbtools/core/sySVQueue.h"
#include "hbtools/core/sySignal.h"
#include "hbtools/math/syHistogram.h"
#include "hbtools/math/syVec3.h"
#include "hbtools/persistence/syCompactArray.h"
#include "hbtools/properties/syPropertyList.h"
#include "hbtools/state/syUndoRedo.h"

#include <algorithm>
#include <memory>
#include <numeric>
#include <random>

using namespace KxN;

namespace proof {

namespace {

template <class Sequence>
void Append(Sequence& sequence, int value) {
    if constexpr (requires { sequence.Append(value); })
        sequence.Append(value);
    else if constexpr (requires { sequence.AddTail(value); })
        sequence.AddTail(value);
    else
        sequence.Add(value);
}

template <class Sequence>
std::function<void()> Appending(int n) {
    return [n, all = std::make_shared<Sequence>()] {
        for (int i = 0; i < n; ++i) Append(*all, i);
    };
}

template <class Sequence, Order order>
std::function<void()> Indexing(int n) {
    auto all = std::make_shared<Sequence>();
    for (int i = 0; i < n; ++i) Append(*all, i);
    return [all, numbers = Numbers(n, order)] {
        for (int i : numbers) (*all)[i] += 1;
    };
}

/// At a place that stays: the begin, the end, or the middle.
template <class Sequence>
std::function<void()> Removing(int n) {
    auto all = std::make_shared<Sequence>();
    for (int i = 0; i < n; ++i) Append(*all, i);
    return [all] {
        for (int i = 0; all->Count() > 0; ++i) all->Remove(i % 2 ? all->Count() - 1 : 0);
    };
}

struct CountedHash : KxTHashFunction<int> {
    unsigned int Value(int const& key) const override {
        ++g_calls;
        return static_cast<unsigned>(key);
    }
};
std::function<void()> MapOf(int n, Order order) {
    static CountedHash const hash;
    return [n, map = std::make_shared<KxTMap<int, int>>(&hash, n), numbers = Numbers(n, order)] {
        for (int i : numbers) (*map)[i] = i;
        for (int i = 0; i < n; ++i)
            if (!map->Find(i)) std::abort();
        for (int i : numbers) map->Remove(i);
    };
}

class Pointers : public CPList {
public:
    Pointers() : CPList(Compare, nullptr) {}
    using CPList::AddEntry, CPList::Sort, CPList::FindBinary;
    static int Compare(void* a, void* b) {
        ++g_calls;
        return a < b ? -1 : a > b;
    }
};
std::function<void()> SortedPointers(std::vector<int> numbers) {
    return [all = std::make_shared<Pointers>(), numbers = std::move(numbers)] {
        static std::vector<char> places(1 << 16);
        for (int i : numbers) all->AddEntry(&places[static_cast<std::size_t>(i)]);
        all->Sort();
        unsigned long index = 0;
        void* entry = nullptr;
        for (int i : numbers)
            if (!all->FindBinary(&places[static_cast<std::size_t>(i)], &index, &entry)) std::abort();
    };
}

std::function<void()> Heap(int n, Order order) {
    return [n, heap = std::make_shared<KxTBlockHeap<double>>(64), numbers = Numbers(n, order)] {
        std::vector<double*> all;
        for (int round = 0; round < 2; ++round) {
            for (int i = 0; i < n; ++i) all.push_back(heap->Alloc());
            for (int i : numbers) heap->Free(all[static_cast<std::size_t>(i)]);
            all.clear();
        }
    };
}

std::function<void()> Compact(int n) {
    auto array = std::make_shared<KxCompactArray<KxVec3f>>(n);
    return [n, array] {
        for (int i = 0; i < n; i += 2) (*array)[i][0] = 1;
        int count = 0;
        for (int i = 0; i < n; ++i) count += array->Has(i) ? array->DenseIndex(i) % 2 : 0;
        array->Fill();
        array->Resize(n / 2);
        if (count < 0) std::abort();
    };
}

struct Slot {
    void Take(int) { ++g_calls; }
};
std::function<void()> Slots(int n) {
    struct State {
        std::vector<Slot> slots;
        KxTSignal<int> signal;
    };
    auto state = std::make_shared<State>();
    state->slots.resize(static_cast<std::size_t>(n));
    return [state] {
        for (Slot& slot : state->slots) state->signal.Connect(&slot, &Slot::Take);
        state->signal.Emit(1);
    };
}

struct NumberState : KxState {
    void Read() override { ++g_calls; }
    void Write() override { ++g_calls; }
    KxState* Clone() override { return new NumberState; }
    ULONGLONG GetSize() const override {
        ++g_calls;
        return 8;
    }
};
/// n steps of one state each, or one step of n states; all undone and redone.
std::function<void()> Undoing(int n, int steps) {
    return [n, steps] {
        KxUndoRedo history;
        for (int step = 0; step < steps; ++step) {
            history.Begin(L"step");
            for (int i = 0; i < n / steps; ++i) history.SaveState(new NumberState);
            history.End(L"");
        }
        while (history.CanUndo()) history.Undo();
        while (history.CanRedo()) history.Redo();
    };
}

std::shared_ptr<KxPropertyList> Conditions(int n) {
    auto list = std::make_shared<KxPropertyList>(L"list", L"all of it", 0);
    for (int i = 0; i < n; ++i)
        list->Insert(new KxTProperty<int>(Name(L"a common prefix of all names ", i), L"%d", i, 0));
    return list;
}

/// A module of n texts, from id 1 on.
struct Texts {
    explicit Texts(int n) {
        for (int i = 0; i < n; ++i) names.push_back("Operator" + Digits(i));
        for (std::string const& name : names)
            texts.push_back({static_cast<unsigned short>(texts.size() + 1), name.c_str()});
        count = texts.size();
        module = std::make_unique<CDynLinkLibrary>(texts.data(), &count);
    }
    std::vector<std::string> names;
    std::vector<SxStringResource> texts;
    std::size_t count = 0;
    std::unique_ptr<CDynLinkLibrary> module;
};
std::function<void()> LookUp(int n) {
    return [n, state = std::make_shared<Texts>(n)] {
        for (int i = n; i > 0; --i)
            if (KxString(KxResId(static_cast<unsigned short>(i), state->module.get())).Len() != 16) std::abort();
    };
}
}  // namespace

std::vector<int> Numbers(int n, Order order) {
    std::vector<int> numbers(static_cast<std::size_t>(n));
    std::iota(numbers.begin(), numbers.end(), 0);
    if (order == Order::falling) std::reverse(numbers.begin(), numbers.end());
    if (order == Order::mixed) std::shuffle(numbers.begin(), numbers.end(), std::mt19937(7));
    return numbers;
}

std::vector<Case> ContainerCases() {
    /// Inserting moves at most one block, which is full soon.
    struct Queue : KxTSVQueue<int> {
        Queue() : KxTSVQueue(16, 16, 16) {}
    };
    using List = KxTList<int>;
    return {
        {"queue: append", Appending<Queue>},
        {"queue: by rising index", Indexing<Queue, Order::rising>},
        {"queue: by falling index", Indexing<Queue, Order::falling>},
        {"queue: remove at both ends", Removing<Queue>},
        {"queue: prepend",
         [](int n) {
             return [n, all = std::make_shared<Queue>()] {
                 for (int i = 0; i < n; ++i) all->Prepend(i);
             };
         }},
        {"list: append", Appending<List>},
        {"list: by rising index", Indexing<List, Order::rising>},
        {"list: by falling index", Indexing<List, Order::falling>},
        {"list: remove at both ends", Removing<List>},
        // The last copy of what grows by factors is of anything between a part and all.
        {"growing array: append", Appending<KxTDynArray<int>>, true},
        {"framework array: append", Appending<CArray<int, int>>, true},
        {"framework list: append", Appending<CList<int, int>>},
        {"map: rising keys", [](int n) { return MapOf(n, Order::rising); }},
        {"map: mixed keys", [](int n) { return MapOf(n, Order::mixed); }},
        {"pointers: sort rising", [](int n) { return SortedPointers(Numbers(n, Order::rising)); }, true},
        {"pointers: sort falling", [](int n) { return SortedPointers(Numbers(n, Order::falling)); }, true},
        {"pointers: sort mixed", [](int n) { return SortedPointers(Numbers(n, Order::mixed)); }, true},
        {"pointers: sort equal", [](int n) { return SortedPointers(std::vector<int>(static_cast<std::size_t>(n))); },
         true},
        {"block heap: free rising", [](int n) { return Heap(n, Order::rising); }},
        {"block heap: free falling", [](int n) { return Heap(n, Order::falling); }},
        {"block heap: free mixed", [](int n) { return Heap(n, Order::mixed); }},
        {"compact array: fill and look", Compact},
        {"signal: connect and emit", Slots},
        {"undo: many steps", [](int n) { return Undoing(n, n); }},
        {"undo: many states", [](int n) { return Undoing(n, 1); }},
        {"text: append characters",
         [](int n) {
             return [n, text = std::make_shared<KxString>(), wide = std::make_shared<CString>()] {
                 for (int i = 0; i < n; ++i) *text += L"x", *wide += L"x";
             };
         }},
        {"text: format and widen",
         [](int n) {
             return [text = KxString(std::wstring(static_cast<std::size_t>(n), L'%'))] {
                 KxxFormat(text.View(), 1);
                 KxxFormat(L"%s", text);
             };
         }},
        {"histogram: add",
         [](int n) {
             return [n, histogram = std::make_shared<KxHistogram>(64)] {
                 for (int i = 0; i < n; ++i) histogram->Add(i % 17);
             };
         }},
        {"property list: insert", [](int n) { return [n] { Conditions(n); }; }},
        {"property list: find",
         [](int n) {
             return [n, list = Conditions(n)] {
                 for (int i = 0; i < n; ++i)
                     if (!list->GetProperty(Name(L"a common prefix of all names ", i))) std::abort();
             };
         }},
        {"property list: remove",
         [](int n) {
             return [n, list = Conditions(n)] {
                 for (int i = n; i-- > 0;) list->Remove(Name(L"a common prefix of all names ", i / 2 * 2 + 1 - i % 2));
             };
         }},
        {"property list: show and copy",
         [](int n) {
             return [list = Conditions(n)] {
                 KxTBlockMem<KxString*> messages;
                 list->GetAllMessageBufResized(messages, 0, 1, '.', 4);
                 for (KxString* message : messages) delete message;
                 std::unique_ptr<KxProperty> const copy(list->Clone());
             };
         }},
        {"texts: look up", LookUp, true, nullptr, 1 << 16},
    };
}

}  // namespace proof
