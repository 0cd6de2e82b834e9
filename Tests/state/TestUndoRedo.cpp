// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/state/syUndoRedo.h"

#include "hbtools/base/syException.h"
#include "hbtools/base/syLimits.h"

#include "../base/Support.h"

#include <string>
#include <utility>
#include <vector>

using namespace KxN;

namespace {

int g_alive = 0;

/// A number of the application, and what becomes of its states.
struct Data {
    int value = 0;
    std::string calls;
    char fails = ' ';
    bool takesValue = false;  // bytes of a state
};

class NumberState : public KxState {
public:
    explicit NumberState(Data& data, char name = 'a', ULONGLONG size = 0) : m_data(data), m_name(name), m_size(size) {
        ++g_alive;
    }
    ~NumberState() override { --g_alive; }
    void Read() override { Call('r'), m_value = m_data.value; }
    void Write() override { Call('w'), m_data.value = m_value; }
    KxState* Clone() override { return new NumberState(m_data, m_name, m_size); }
    ULONGLONG GetSize() const override { return m_size + (m_data.takesValue ? static_cast<ULONGLONG>(m_value) : 0); }

private:
    void Call(char what) {
        if (m_data.fails == what) throw new KxException(KxString(L"failed"));
        m_data.calls += what;
        m_data.calls += m_name;
    }

    Data& m_data;
    char m_name;
    ULONGLONG m_size;
    int m_value = 0;
};

struct Log {
    std::string text;
    void Changed(KxUndoRedo*) { text += 'c'; }
    void Undone(KxUndoRedo*) { text += 'u'; }
    void Redone(KxUndoRedo*) { text += 'r'; }
    void Watch(KxUndoRedo& undo) {
        undo.SignalChanged.Connect(this, &Log::Changed);
        undo.SignalUndone.Connect(this, &Log::Undone);
        undo.SignalRedone.Connect(this, &Log::Redone);
    }
};

class UndoRedo : public testing::Test {
protected:
    void SetUp() override { log.Watch(undo); }
    void Step(int value, wchar_t const* name = L"step", ULONGLONG size = 0) {
        undo.Begin(name);
        undo.SaveState(new NumberState(data, 'a', size));
        data.value = value;
        undo.End(L"");
    }
    static std::wstring Listed(KxUndoRedo::Names const& names) {
        std::wstring text;
        for (CString const& name : names) (text += static_cast<wchar_t const*>(name)) += L' ';
        return text;
    }

    Data data;
    KxUndoRedo undo;
    Log log;
};

TEST(State, CompositesReadForwardAndWriteBackward) {
    Data data;
    {
        KxTSmartPointer<KxCompositeState> composite(new KxCompositeState);
        KxTSmartPointer<KxState> twin(composite->Clone());
        EXPECT_EQ(dynamic_cast<KxCompositeState&>(*twin).NumStates(), 0);
        composite->AddState(new NumberState(data, 'a', 3));
        composite->AddState(nullptr);
        composite->AddState(new NumberState(data, 'b', 4));
        EXPECT_EQ(composite->NumStates(), 3);
        EXPECT_EQ(composite->GetSize(), 7u);
        composite->Read();
        composite->Write();
        EXPECT_EQ(data.calls, "rarbwbwa");
        twin = composite->Clone();
        EXPECT_EQ(twin->GetRefCounterValue(), 1);
        KxTSmartPointer<KxCompositeState> const copy(new KxCompositeState(*composite));
        EXPECT_EQ(copy->GetRefCounterValue(), 1);  // of its own, not the source's
        composite = nullptr;
        EXPECT_EQ(g_alive, 4);  // two that the copy shares with nobody now, two of the clone
        data.calls.clear();
        twin->Write();
        EXPECT_EQ(data.calls, "wbwa");
    }
    EXPECT_EQ(g_alive, 0);

    struct Plain : KxState {
        void Read() override {}
        void Write() override {}
        KxState* Clone() override { return new Plain; }
    } first, third;
    first.Ref();
    Plain second(first);
    EXPECT_EQ(second.GetRefCounterValue(), 1);  // a copy stands for the object
    second = third;
    EXPECT_EQ(second.GetRefCounterValue(), 0);
}

TEST_F(UndoRedo, GoesBackAndForth) {
    Step(1, L"one");
    Step(2, L"two");
    EXPECT_EQ(log.text, "cc");
    undo.Undo();
    EXPECT_EQ(data.value, 1);
    undo.Undo();
    EXPECT_EQ(data.value, 0);
    EXPECT_FALSE(undo.CanUndo());
    EXPECT_EQ(Listed(undo.RedoNames()), L"one two ");
    undo.Redo();
    EXPECT_EQ(data.value, 1);
    undo.Redo();
    EXPECT_EQ(data.value, 2);
    EXPECT_EQ(Listed(undo.UndoNames()), L"one two ");
    EXPECT_FALSE(undo.CanRedo());
    undo.Redo();  // nothing there
    EXPECT_EQ(log.text, "cccucucrcr");
    EXPECT_EQ(undo.GetSize(), 0U);
    undo.Begin(L"large");
    undo.SaveState(new NumberState(data, 'a', 1000));
    EXPECT_EQ(undo.GetSize(), 1000U);  // of the open bracket too
    EXPECT_NE(test::Thrown<CInvalidArgException>([&] { undo.SaveState(nullptr); }), "");
    undo.End(L"");
    KxUndoRedo const& itself = undo;
    undo = itself;
    undo.Undo();
    EXPECT_EQ(Listed(undo.UndoNames()) + Listed(undo.RedoNames()), L"one two large ");
    KxUndoRedo nothing;
    nothing.Undo();
    EXPECT_FALSE(nothing.CanUndo() || nothing.CanRedo());
    log.text.clear();

    undo.Undo();
    undo.Begin(L"nothing");
    undo.End(L"at all");
    EXPECT_TRUE(undo.CanRedo());  // an empty bracket leaves no trace
    Step(9, L"nine");
    EXPECT_FALSE(undo.CanRedo());
    EXPECT_EQ(undo.RedoStates().Count(), 0);
    EXPECT_EQ(Listed(undo.UndoNames()), L"one nine ");
    EXPECT_EQ(log.text, "cuc");
}

TEST_F(UndoRedo, AStateMayChangeTheHistoryWhileItIsWritten) {
    struct Clearing : NumberState {
        Clearing(Data& data, KxUndoRedo& owner, bool& isOn)
            : NumberState(data), own(data), history(owner), clears(isOn) {}
        void Write() override {
            NumberState::Write();
            if (clears) history.Clear();
        }
        KxState* Clone() override { return new Clearing(own, history, clears); }
        Data& own;
        KxUndoRedo& history;
        bool& clears;
    };
    for (bool const whenRedone : {false, true}) {
        bool clears = !whenRedone;
        Step(1);
        undo.Begin(L"clears");
        undo.SaveState(new Clearing(data, undo, clears));
        data.value = 5;
        undo.End(L"");
        undo.Undo();
        EXPECT_EQ(data.value, 1);
        clears = true;
        if (whenRedone) undo.Redo();
        EXPECT_EQ(data.value, whenRedone ? 5 : 1);
        EXPECT_FALSE(undo.CanUndo() || undo.CanRedo());
    }
    EXPECT_EQ(g_alive, 0);
    struct Adding : NumberState {
        Adding(Data& data, KxUndoRedo& owner) : NumberState(data), own(data), history(owner) {}
        void Write() override {
            NumberState::Write();
            history.Begin(L"added");
            history.SaveState(new NumberState(own));
            history.End(L"");
        }
        KxState* Clone() override { return new Adding(own, history); }
        Data& own;
        KxUndoRedo& history;
    };
    undo.Begin(L"adds");
    undo.SaveState(new Adding(data, undo));
    undo.End(L"");
    undo.Undo();  // what was added stands behind the step and is undone first
    EXPECT_EQ(Listed(undo.UndoNames()), L"adds added ");
    EXPECT_FALSE(undo.CanRedo());
}

TEST_F(UndoRedo, BracketsMerge) {
    undo.Begin(L"outer");
    undo.SaveState(new NumberState(data, 'a'));
    undo.Begin(L"inner");
    undo.SaveState(new NumberState(data, 'b'));
    undo.End(L"ignored");
    undo.Clear();  // leaves the bracket open
    undo.End(L"");
    undo.Begin(L"begun");
    undo.SaveState(new NumberState(data, 'c'));
    undo.End(L"ended");
    EXPECT_EQ(Listed(undo.UndoNames()), L"outer ended ");
    data.calls.clear();
    undo.Undo();
    undo.Undo();
    EXPECT_EQ(data.calls, "rcwcrarbwbwa");
    EXPECT_NE(test::Thrown<CInvalidArgException>([&] { undo.End(L""); }), "");
    EXPECT_NE(test::Thrown<CInvalidArgException>([&] { undo.SaveState(new NumberState(data)); }), "");
    EXPECT_EQ(g_alive, 3);
}

TEST_F(UndoRedo, KeepsTwentyStepsAndTheMemoryLimit) {
    for (int i = 1; i <= 21; ++i) Step(i, std::to_wstring(i).c_str(), 10);
    EXPECT_EQ(undo.UndoStates().Count(), 20);
    EXPECT_EQ(Listed(undo.UndoNames()).substr(0, 4), L"2 3 ");
    EXPECT_EQ(g_alive, 20);
    EXPECT_EQ(undo.GetSize(), 200u);

    auto const former = std::exchange(KxxLimits().undoMemory, 35);
    Step(22, L"22", 10);
    EXPECT_EQ(Listed(undo.UndoNames()), L"20 21 22 ");
    Step(23, L"23", 35);
    EXPECT_EQ(Listed(undo.UndoNames()), L"23 ");
    undo.Begin(L"large");
    undo.SaveState(new NumberState(data, 'a', 30));
    EXPECT_EQ(test::Thrown<KxException>([&] { undo.SaveState(new NumberState(data, 'b', 6)); }),
              test::U(L"Der Schritt \"large\" lässt sich nicht rückgängig machen, da er mehr als 35 Byte braucht"));
    undo.End(L"");
    KxxLimits().undoMemory = former;
    EXPECT_EQ(Listed(undo.UndoNames()), L"large ");
    undo.Undo();
    EXPECT_EQ(g_alive, 1);
}

// The other side of a step may be larger than the step.
TEST_F(UndoRedo, UndoAndRedoKeepTheMemoryLimit) {
    data.takesValue = true;
    auto const former = std::exchange(KxxLimits().undoMemory, 100);
    for (int i = 1; i <= 5; ++i) Step(10 * i, std::to_wstring(i).c_str());  // the states take 0, 10, 20, 30 and 40
    struct Case {
        int value;  // that the data grew to
        void (KxUndoRedo::*move)();
        wchar_t const *undo, *redo;
        ULONGLONG size;
        int valueAfter;
    };
    for (auto const& [value, move, undoNames, redoNames, size, valueAfter] :
         {Case{60, &KxUndoRedo::Undo, L"4 ", L"5 ", 30 + 60, 40},  // the farthest are gone
          Case{40, &KxUndoRedo::Undo, L"", L"4 5 ", 40 + 60, 30}, Case{90, &KxUndoRedo::Redo, L"4 ", L"", 90, 40},
          Case{200, &KxUndoRedo::Undo, L"", L"4 ", 200, 90}}) {  // what was just there stays
        data.value = value;
        (undo.*move)();
        EXPECT_EQ(Listed(undo.UndoNames()), undoNames) << value;
        EXPECT_EQ(Listed(undo.RedoNames()), redoNames) << value;
        EXPECT_EQ(undo.GetSize(), size);
        EXPECT_EQ(data.value, valueAfter);
    }
    // The farthest on whichever side.
    undo.Clear();
    KxxLimits().undoMemory = 1000;
    data.value = 10;
    for (int i = 1; i <= 6; ++i) Step(10, std::to_wstring(i).c_str());
    for (int i = 0; i < 4; ++i) undo.Undo();  // 1 2 | 3 4 5 6
    KxxLimits().undoMemory = 60;
    data.value = 30;
    undo.Redo();
    EXPECT_EQ(Listed(undo.UndoNames()) + L"|" + Listed(undo.RedoNames()), L"2 3 |4 5 ");
    EXPECT_EQ(undo.GetSize(), 60u);
    KxxLimits().undoMemory = 50;
    data.value = 20;
    undo.Undo();
    EXPECT_EQ(Listed(undo.UndoNames()) + L"|" + Listed(undo.RedoNames()), L"2 |3 4 5 ");
    KxxLimits().undoMemory = 45;
    undo.Redo();
    EXPECT_EQ(Listed(undo.UndoNames()) + L"|" + Listed(undo.RedoNames()), L"3 |4 ");
    KxxLimits().undoMemory = former;
}

TEST_F(UndoRedo, ADroppedBracketLeavesNoStep) {
    Step(1, L"one");
    undo.Undo();
    undo.Begin(L"outer");
    undo.SaveState(new NumberState(data));
    undo.Begin(L"inner");
    undo.SaveState(new NumberState(data));
    undo.Drop();
    undo.SaveState(new NumberState(data));
    undo.End(L"named");
    undo.Drop();  // none is open
    EXPECT_EQ(Listed(undo.UndoNames()) + L"|" + Listed(undo.RedoNames()), L"|one ");
    EXPECT_EQ(g_alive, 1);
    EXPECT_EQ(log.text, "ccu");
    Step(2, L"two");
    EXPECT_EQ(Listed(undo.UndoNames()), L"two ");
}

TEST_F(UndoRedo, StaysUsableWhenAStateFails) {
    Step(1);
    data.fails = 'w';
    for (int i = 0; i < 3; ++i) EXPECT_EQ(test::Thrown<KxException>([&] { undo.Undo(); }), "failed");
    EXPECT_EQ(undo.UndoNames().Count(), 1);  // as they stood at that moment, and no more the next time
    EXPECT_EQ(undo.RedoNames().Count(), 1);
    data.fails = ' ';
    data.value = 7;  // half of an undo
    undo.Undo();
    EXPECT_EQ(data.value, 0);
    undo.Redo();
    EXPECT_EQ(data.value, 1);  // what was there before the first
    data.fails = 'r';
    for (int i = 0; i < 3; ++i) EXPECT_EQ(test::Thrown<KxException>([&] { undo.Undo(); }), "failed");
    EXPECT_TRUE(undo.CanUndo() && undo.RedoNames().Count() == 1);
    data.fails = ' ';
    undo.Redo();  // has nothing to give
    EXPECT_EQ(data.value, 1);
    EXPECT_FALSE(undo.CanRedo());
    data.fails = 'r';
    undo.Begin(L"failing");
    EXPECT_EQ(test::Thrown<KxException>([&] { undo.SaveState(new NumberState(data)); }), "failed");
    undo.End(L"");
    data.fails = ' ';
    undo.Undo();
    EXPECT_EQ(data.value, 0);
    EXPECT_EQ(undo.UndoNames().Count(), 0);
    Step(4);
    undo.Undo();
    data.fails = 'w';
    EXPECT_EQ(test::Thrown<KxException>([&] { undo.Redo(); }), "failed");
    data.fails = ' ';
    data.value = 7;  // half of a redo
    undo.Undo();
    EXPECT_EQ(data.value, 0);
    undo.Redo();
    EXPECT_EQ(data.value, 7);
    undo.Redo();
    EXPECT_EQ(data.value, 4);
}

TEST_F(UndoRedo, CopiesShareStepsAndSlots) {
    Step(5);
    {
        KxUndoRedo copy(undo);
        EXPECT_EQ(g_alive, 1);
        log.text.clear();
        copy.Undo();
        EXPECT_EQ(log.text, "cu");
        EXPECT_EQ(data.value, 0);
        EXPECT_TRUE(undo.CanUndo());
        undo = copy;
    }
    EXPECT_TRUE(!undo.CanUndo() && undo.CanRedo());
    undo.Redo();
    EXPECT_EQ(data.value, 5);
}

}  // namespace
