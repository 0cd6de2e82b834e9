// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxTSignal<A> calls the slots that are connected to it: methods of objects first, then free functions, each in the
// order of connection. A plain member of its owner; it owns no object, so whoever dies before the signal disconnects.
//
//     KxTSignal<int> changed;
//     changed.Connect(&view, &View::OnChanged);   // void OnChanged(int), also const, also with another result
//     changed.Emit(7);
//
// While it is called a slot may connect and disconnect any slots, itself included, emit the same signal again, or
// destroy the signal. In one emission each connected slot is called once, those that are connected meanwhile too, but for
// a slot that was called in it, disconnected, and connected again: that is the same slot, and was called.
// A slot that throws keeps no other from being called; the first exception leaves Emit at its end, later ones are
// released. Only what ends the thread (CException::EndsThread, pthread_exit) leaves at once.
// Threads: a signal belongs to one thread at a time, and slots run on the thread that emits.
#pragma once

#include "hbtools/core/syList.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>
#include <memory>
#include <utility>

namespace KxN {

class CException;

namespace detail {

/// The first exception of an emission.
class KX_API SlotFailure {
public:
    /// In a handler of any exception: keeps the first; releases a later one. What ends the thread passes on.
    void Keep();
    void Rethrow() {
        if (m_first) [[unlikely]]
            std::rethrow_exception(m_first);
    }

private:
    CException* First() const;
    void Release();

    std::exception_ptr m_first;
};

}  // namespace detail

template <class A>
class KX_API KxTSignal {
public:
    KxTSignal() = default;
    /// Connections are between objects, so copies do not take part: a copy begins without slots.
    KxTSignal(KxTSignal const&) {}
    /// Keeps its own slots.
    KxTSignal& operator=(KxTSignal const&) { return *this; }
    /// Ends emissions that are under way: no further slot is called.
    ~KxTSignal() {
        Mark(gone);
        for (SlotDescriptor* slot : m_slots) delete slot;
        for (StaticSlotDescriptor* slot : m_staticSlots) delete slot;
        ForgetDropped();
    }

    /// Connects a method of an object, which stays the caller's and must live until it is disconnected. The method
    /// takes what A converts to. Connected twice it is called twice.
    template <class T, class C, class R, class P>
    void Connect(T* object, R (C::*method)(P)) {
        Add(m_slots, MakeSlot(static_cast<C*>(object), method));
    }
    template <class T, class C, class R, class P>
    void Connect(T* object, R (C::*method)(P) const) {
        Add(m_slots, MakeSlot(static_cast<C const*>(object), method));
    }
    /// Connects a free function.
    template <class R, class P>
    void Connect(R (*function)(P)) {
        Add(m_staticSlots, MakeStaticSlot(function));
    }

    /// Disconnects all connections of that slot; none is fine too. Looks at every connection of the signal.
    template <class T, class C, class R, class P>
    void Disconnect(T* object, R (C::*method)(P)) {
        Drop(m_slots, MakeSlot(static_cast<C*>(object), method));
    }
    template <class T, class C, class R, class P>
    void Disconnect(T* object, R (C::*method)(P) const) {
        Drop(m_slots, MakeSlot(static_cast<C const*>(object), method));
    }
    template <class R, class P>
    void Disconnect(R (*function)(P)) {
        Drop(m_staticSlots, MakeStaticSlot(function));
    }

    /// Takes the connections of another signal in place of its own, for owners whose copies tell the same slots. Only
    /// some of them if memory ends.
    void ConnectAsIn(KxTSignal const& other) {
        if (this == &other) return;
        while (m_slots.Count() > 0) Drop(m_slots, SlotDescriptor(*m_slots[0]));
        while (m_staticSlots.Count() > 0) Drop(m_staticSlots, StaticSlotDescriptor(*m_staticSlots[0]));
        for (SlotDescriptor const* slot : other.m_slots) Add(m_slots, slot->Fresh());
        for (StaticSlotDescriptor const* slot : other.m_staticSlots) Add(m_staticSlots, slot->Fresh());
    }

    /// Calls every slot with the argument. An emission from within a slot reaches all slots, that one included; what
    /// the outer one has not called by then has had the newer argument and is not called again.
    void Emit(A argument) {
        if (m_slots.Count() + m_staticSlots.Count() == 0) return;
        Frame frame(*this);
        detail::SlotFailure failure;
        Call(m_slots, frame, failure, argument);
        if (frame.state != gone) Call(m_staticSlots, frame, failure, argument);
        failure.Rethrow();
    }

    /// Number of connections of both kinds.
    int NumSlots() const { return m_slots.Count() + m_staticSlots.Count(); }

private:
    enum State { same, changed, gone };

    /// An emission under way. It stands on the stack, so that it outlives the signal.
    struct Frame {
        explicit Frame(KxTSignal& signal) : owner(signal), outer(signal.m_frame), number(++signal.m_emission) {
            signal.m_frame = this;
        }
        Frame(Frame const&) = delete;
        Frame& operator=(Frame const&) = delete;
        ~Frame() {
            if (state == gone) return;
            owner.m_frame = outer;
            if (!outer) owner.ForgetDropped();
        }

        /// The number of the first emission under way.
        unsigned long long Outermost() const { return outer ? outer->Outermost() : number; }

        KxTSignal& owner;
        Frame* outer;
        unsigned long long number;  // of the emission
        State state = same;
    };

    struct SlotDescriptor {
        void call(A argument) { stub(object, std::forward<A>(argument), *this); }
        bool operator==(SlotDescriptor const& other) const { return object == other.object && method == other.method; }
        SlotDescriptor Fresh() const { return {object, stub, method, 0, nullptr}; }  ///< As it is connected.

        void* object;
        void (*stub)(void* object, A argument, SlotDescriptor& descriptor);
        /// The pointer to the method as bytes: the same in every module, which the stub's address need not be.
        std::array<std::byte, 2 * sizeof(void*)> method;
        unsigned long long called;  // the number of the last emission that called it
        SlotDescriptor* nextDropped;
    };

    struct StaticSlotDescriptor {
        void call(A argument) { stub(std::forward<A>(argument), *this); }
        bool operator==(StaticSlotDescriptor const& other) const { return function == other.function; }
        StaticSlotDescriptor Fresh() const { return {stub, function, 0, nullptr}; }

        void (*stub)(A argument, StaticSlotDescriptor& descriptor);
        void (*function)();
        unsigned long long called;
        StaticSlotDescriptor* nextDropped;
    };

    template <class C, class M>
    static SlotDescriptor MakeSlot(C* object, M method) {
        SlotDescriptor slot{};
        static_assert(sizeof method == sizeof slot.method);
        slot.object = const_cast<void*>(static_cast<void const*>(object));
        slot.stub = [](void* target, A argument, SlotDescriptor& descriptor) {
            M call;
            std::memcpy(&call, descriptor.method.data(), sizeof call);
            (static_cast<C*>(target)->*call)(std::forward<A>(argument));
        };
        std::memcpy(slot.method.data(), &method, sizeof method);
        return slot;
    }

    template <class R, class P>
    static StaticSlotDescriptor MakeStaticSlot(R (*function)(P)) {
        StaticSlotDescriptor slot{};
        slot.stub = [](A argument, StaticSlotDescriptor& descriptor) {
            reinterpret_cast<R (*)(P)>(descriptor.function)(std::forward<A>(argument));
        };
        slot.function = reinterpret_cast<void (*)()>(function);
        return slot;
    }

    /// Tells every emission under way.
    void Mark(State state) noexcept {
        for (Frame* frame = m_frame; frame; frame = frame->outer) frame->state = state;
    }

    SlotDescriptor*& Dropped(SlotDescriptor const&) { return m_dropped; }
    StaticSlotDescriptor*& Dropped(StaticSlotDescriptor const&) { return m_staticDropped; }

    template <class D>
    D* FindDropped(D const& slot) {
        D* dropped = Dropped(slot);
        while (dropped && !(*dropped == slot)) dropped = dropped->nextDropped;
        return dropped;
    }

    template <class D>
    void Add(KxTList<D*>& slots, D const& slot) {
        auto fresh = std::make_unique<D>(slot);
        slots.AddTail(fresh.get());
        D* const added = fresh.release();
        D const* const dropped = FindDropped(slot);
        if (dropped && dropped->called >= m_frame->number) added->called = m_emission;
        Mark(changed);
    }

    template <class D>
    void Drop(KxTList<D*>& slots, D const& slot) {
        for (int index = slots.Count() - 1; index >= 0; --index) {
            if (!(*slots[index] == slot)) continue;
            std::unique_ptr<D> dropped(slots.Remove(index));
            Mark(changed);
            // What was called in an emission under way is remembered, once, until the last of them ends.
            if (!m_frame || dropped->called < m_frame->Outermost()) continue;
            if (D* const known = FindDropped(slot)) {
                known->called = std::max(known->called, dropped->called);
            } else {
                dropped->nextDropped = Dropped(slot);
                Dropped(slot) = dropped.release();
            }
        }
    }

    void ForgetDropped() {
        while (m_dropped) delete std::exchange(m_dropped, m_dropped->nextDropped);
        while (m_staticDropped) delete std::exchange(m_staticDropped, m_staticDropped->nextDropped);
    }

    /// Walks a list of slots, anew from its head after any change, until it passes all without calling one.
    template <class D>
    void Call(KxTList<D*>& slots, Frame& frame, detail::SlotFailure& failure, A& argument) {
        do {
            frame.state = same;
            for (D* slot : slots) {
                if (slot->called == m_emission) continue;
                slot->called = m_emission;
                try {
                    slot->call(argument);
                } catch (...) {
                    failure.Keep();
                }
                if (frame.state != same) break;  // the walk stands on what may be gone
            }
        } while (frame.state == changed);
    }

    KxTList<SlotDescriptor*> m_slots;
    KxTList<StaticSlotDescriptor*> m_staticSlots;
    unsigned long long m_emission = 0;
    SlotDescriptor* m_dropped = nullptr;  // chains
    StaticSlotDescriptor* m_staticDropped = nullptr;
    Frame* m_frame = nullptr;  // the innermost emission under way
};

}  // namespace KxN
