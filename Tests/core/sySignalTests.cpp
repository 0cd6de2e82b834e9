// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT

#include "hbtools/base/syObject.h"
#include "hbtools/core/sySignal.h"
#include "hbtools/core/sySmartPointer.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <pthread.h>

using namespace KxN;

namespace {

std::string g_calls;

/// A slot with a name, which writes down that it was called and then does what it was told.
struct Receiver {
    explicit Receiver(char theName) : name(theName) {}
    virtual ~Receiver() = default;
    virtual void On(int value) {
        g_calls += name + std::to_string(value) + " ";
        auto const now = action;  // it may take itself away
        if (now) now();
    }
    int OnConst(int value) const { return g_calls += name + std::to_string(-value) + " ", 0; }

    char name;
    std::function<void()> action;
};

void Free(int value) {
    g_calls += "f" + std::to_string(value) + " ";
}
void OtherFree(long value) {
    g_calls += "o" + std::to_string(value) + " ";
}

std::string Emitted(KxTSignal<int>& signal, int value = 1) {
    g_calls.clear();
    signal.Emit(value);
    return g_calls;
}

}  // namespace

TEST(Signals, ObjectsComeFirstInTheOrderOfConnection) {
    KxTSignal<int> signal;
    Receiver a('a'), b('b');
    signal.Emit(0);
    signal.Connect(&Free);
    signal.Connect(&b, &Receiver::On);
    signal.Connect(&a, &Receiver::On);
    signal.Connect(&a, &Receiver::OnConst);
    signal.Connect(&OtherFree);
    EXPECT_EQ(signal.NumSlots(), 5);
    EXPECT_EQ(Emitted(signal), "b1 a1 a-1 f1 o1 ");
    EXPECT_EQ(Emitted(signal, 2), "b2 a2 a-2 f2 o2 ");

    KxTSignal<int> copy(signal);
    EXPECT_EQ(copy.NumSlots(), 0);
    copy.Connect(&Free);
    copy = signal;
    EXPECT_EQ(copy.NumSlots(), 1);

    for (int i = 0; i < 2; ++i) {  // the second time changes nothing
        signal.Disconnect(&a, &Receiver::On);
        signal.Disconnect(&Free);
        EXPECT_EQ(Emitted(signal), "b1 a-1 o1 ");
    }
    signal.Connect(&b, &Receiver::On);
    EXPECT_EQ(Emitted(signal), "b1 a-1 b1 o1 ");
    signal.Disconnect(&b, &Receiver::On);
    EXPECT_EQ(Emitted(signal), "a-1 o1 ");

    copy.Connect(&b, &Receiver::On);
    copy.ConnectAsIn(signal);
    KxTSignal<int> const& same = copy;
    copy.ConnectAsIn(same);
    EXPECT_EQ(Emitted(copy) + Emitted(signal), "a-1 o1 a-1 o1 ");
}

TEST(Signals, SlotsMayChangeTheSignalWhileTheyAreCalled) {
    // What slot b of a, b, c, f does once: + and - connect and disconnect a slot, ! emits 9. Then the next emission.
    struct {
        char const *actions, *first, *again;
    } const cases[] = {
        {"-b", "a1 b1 c1 f1 ", "a1 c1 f1 "},
        {"-a", "a1 b1 c1 f1 ", "b1 c1 f1 "},
        {"-c", "a1 b1 f1 ", "a1 b1 f1 "},
        {"-f", "a1 b1 c1 ", "a1 b1 c1 "},
        {"!-f", "a1 b1 a9 b9 c9 f9 ", "a1 b1 c1 "},
        {"+d", "a1 b1 c1 d1 f1 ", "a1 b1 c1 d1 f1 "},
        {"-a+d", "a1 b1 c1 d1 f1 ", "b1 c1 d1 f1 "},  // the count is as before
        {"-a-b-c-f", "a1 b1 ", ""},
        {"-b+b", "a1 b1 c1 f1 ", "a1 c1 b1 f1 "},  // it was called
        {"-b+b-b+b", "a1 b1 c1 f1 ", "a1 c1 b1 f1 "},
        {"-c+c", "a1 b1 c1 f1 ", "a1 b1 c1 f1 "},  // it was not
        {"-b!+b", "a1 b1 a9 c9 f9 ", "a1 c1 b1 f1 "},
        {"-b+b!", "a1 b1 a9 c9 b9 f9 ", "a1 c1 b1 f1 "},
        {"!", "a1 b1 a9 b9 c9 f9 ", "a1 b1 c1 f1 "},
        {"!+d", "a1 b1 a9 b9 c9 f9 d1 ", "a1 b1 c1 d1 f1 "},
    };
    for (auto const& c : cases) {
        KxTSignal<int> signal;
        Receiver slots[] = {Receiver('a'), Receiver('b'), Receiver('c'), Receiver('d')};
        for (int i = 0; i < 3; ++i) signal.Connect(&slots[i], &Receiver::On);
        signal.Connect(&Free);
        slots[1].action = [&] {
            slots[1].action = nullptr;
            for (char const* action = c.actions; *action; ++action) {
                if (*action == '!') signal.Emit(9);
                if (*action != '+' && *action != '-') continue;
                bool const connects = *action++ == '+';
                Receiver* const slot = &slots[(*action - 'a') % 5];
                if (*action == 'f')
                    signal.Disconnect(&Free);
                else if (connects)
                    signal.Connect(slot, &Receiver::On);
                else
                    signal.Disconnect(slot, &Receiver::On);
            }
        };
        EXPECT_EQ(Emitted(signal), c.first) << c.actions;
        EXPECT_EQ(Emitted(signal), c.again) << c.actions;
    }
}

TEST(Signals, ASlotThatConnectsAnewEachTimeIsCalledOnce) {
    KxTSignal<int> signal;
    Receiver a('a'), b('b');
    signal.Connect(&a, &Receiver::On);
    signal.Connect(&b, &Receiver::On);
    int depth = 0;
    b.action = [&] {
        signal.Disconnect(&b, &Receiver::On);
        if (++depth == 1) signal.Emit(2);
        signal.Connect(&b, &Receiver::On);
    };
    a.action = [&] {  // anew from another slot, while an inner emission may be under way
        signal.Disconnect(&b, &Receiver::On);
        signal.Connect(&b, &Receiver::On);
    };
    EXPECT_EQ(Emitted(signal), "a1 b1 a2 b2 ");
    EXPECT_EQ(Emitted(signal), "a1 b1 ");
}

TEST(Signals, EndInASlotEndsAllEmissions) {
    auto signal = std::make_unique<KxTSignal<int>>();
    Receiver a('a'), b('b');
    signal->Connect(&a, &Receiver::On);
    signal->Connect(&b, &Receiver::On);
    signal->Connect(&Free);
    a.action = [&] {
        a.action = nullptr;
        signal->Emit(2);  // returns into an emission that is over too
    };
    b.action = [&] { signal.reset(); };
    g_calls.clear();
    signal->Emit(1);
    EXPECT_EQ(g_calls, "a1 a2 b2 ");

    static KxTSignal<int>* last = nullptr;  // in a free slot, with another behind it
    last = new KxTSignal<int>;
    void (*const destroy)(int) = [](int) { delete last; };
    last->Connect(&a, &Receiver::On);
    last->Connect(destroy);
    last->Connect(&Free);
    g_calls.clear();
    last->Emit(3);
    EXPECT_EQ(g_calls, "a3 ");
}

TEST(Signals, AThrowingSlotKeepsNoOtherFromBeingCalled) {
    KxTSignal<int> signal;
    Receiver slots[] = {Receiver('a'), Receiver('b'), Receiver('c')};
    for (Receiver& slot : slots) signal.Connect(&slot, &Receiver::On);
    signal.Connect(&Free);
    // The first leaves; a framework exception that does not is released, as the leak check sees.
    slots[0].action = [] { throw std::runtime_error("first"); };
    slots[1].action = [] { AfxThrowInvalidArgException(); };
    slots[2].action = [] { throw 7; };
    for (int i = 0; i < 2; ++i) {
        g_calls.clear();
        try {
            signal.Emit(1);
            ADD_FAILURE();
        } catch (std::runtime_error const& error) {
            EXPECT_STREQ(error.what(), "first");
        }
        EXPECT_EQ(g_calls, "a1 b1 c1 f1 ");
    }
    // The object of exhausted memory is the same each time.
    slots[0].action = slots[1].action = [] { AfxThrowMemoryException(); };
    slots[2].action = nullptr;
    EXPECT_THROW(signal.Emit(1), CMemoryException*);  // which nobody need delete
    slots[0].action = slots[1].action = nullptr;
    EXPECT_EQ(Emitted(signal), "a1 b1 c1 f1 ");
}

// The end of a thread leaves at once; what a slot threw before is released, as the leak check sees.
TEST(Signals, TheEndOfAThreadIsNotKept) {
    struct End : CException {
        bool EndsThread() const override { return true; }
    };
    KxTSignal<int> signal;
    Receiver slots[] = {Receiver('a'), Receiver('b'), Receiver('c')};
    for (Receiver& slot : slots) signal.Connect(&slot, &Receiver::On);
    std::function<void()> const firsts[] = {nullptr, [] { throw 7; }, [] { AfxThrowInvalidArgException(); }};
    slots[1].action = [] { throw new End; };
    for (auto const& first : firsts) {
        slots[0].action = first;
        g_calls.clear();
        try {
            signal.Emit(1);
            ADD_FAILURE();
        } catch (CException* exception) {
            EXPECT_TRUE(exception->EndsThread());
            exception->Delete();
        }
        EXPECT_EQ(g_calls, "a1 b1 ");
    }
    slots[1].action = [] { ::pthread_exit(nullptr); };
    bool returned = false;
    std::thread([&] {
        signal.Emit(2);
        returned = true;
    }).join();
    EXPECT_FALSE(returned);
    EXPECT_EQ(g_calls, "a1 b1 a2 b2 ");
}

TEST(Signals, ArgumentsReachEverySlotWhole) {
    struct Sink {
        void Take(std::string text) { taken += std::move(text); }
        void Change(int& number) { ++number; }
        std::string taken;
    } x, y;
    KxTSignal<std::string> texts;
    texts.Connect(&x, &Sink::Take);
    texts.Connect(&y, &Sink::Take);
    texts.Emit(std::string(40, 't'));
    EXPECT_EQ(x.taken + y.taken, std::string(80, 't'));
    KxTSignal<int&> numbers;
    numbers.Connect(&x, &Sink::Change);
    numbers.Connect(&y, &Sink::Change);
    int number = 5;
    numbers.Emit(number);
    EXPECT_EQ(number, 7);
}

namespace {

struct Counted : KxRefCounter {
    explicit Counted(int& theLive) : live(theLive) { ++live; }
    Counted(Counted const& other) : KxRefCounter(other), live(other.live) { ++live; }
    Counted& operator=(Counted const&) = delete;
    ~Counted() override { --live; }
    int& live;
};

}  // namespace

TEST(RefCounters, TheLastReferenceDeletes) {
    int live = 0;
    auto* object = new Counted(live);
    object->Ref();
    object->Ref();
    auto* copy = new Counted(*object);
    EXPECT_EQ(copy->GetRefCounterValue(), 0);
    static_cast<KxRefCounter&>(*copy) = *object;
    EXPECT_EQ(copy->GetRefCounterValue(), 0);
    copy->Unref();  // one that was never referenced deletes itself too
    EXPECT_EQ(live, 1);
    object->Unref();
    EXPECT_EQ(live, 1);
    object->Unref();
    EXPECT_EQ(live, 0);
}

TEST(RefCounters, SmartPointersShare) {
    int live = 0;
    {
        KxTSmartPointer<Counted> none, first(new Counted(live)), second(first);
        EXPECT_TRUE(!none && none == nullptr && first && first != none && second == first.Get() && !(second < first));
        second = *&second;
        second = second.Get();
        EXPECT_EQ((*second).GetRefCounterValue(), 2);
        KxTSmartPointer<Counted> moved(std::move(second));
        EXPECT_EQ(moved->GetRefCounterValue(), 2);
        moved = second = new Counted(live);
        first = none;
        EXPECT_EQ(live, 1) << "the first object went with its last reference";
        EXPECT_EQ(moved->GetRefCounterValue(), 2);
    }
    EXPECT_EQ(live, 0);
}
