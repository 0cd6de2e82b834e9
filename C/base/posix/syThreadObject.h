// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// An object of which each thread has its own, made when the thread first asks for it and destroyed at its end, behind the
// thread_local objects with destructors: those end the process when they are first used without memory, where this throws.
//
//     constinit thread_local ThreadObject<KxModuleError> t_error;
//     t_error.Get().text = text;
//
// The first thread's objects go before the static ones, if it has loaded this library. A killed thread leaves its own.
#pragma once

#include <cstddef>
#include <new>

namespace KxN::detail {

/// What has to be destroyed at the end of its thread. Without a destructor itself, as it stands in the thread's memory.
class ThreadEnd {
public:
    static void DestroyAll(void*) noexcept;

protected:
    constexpr ThreadEnd() = default;
    /// @throws std::bad_alloc
    void Note(void (*destroy)(ThreadEnd&));

private:
    ThreadEnd* m_next = nullptr;
    void (*m_destroy)(ThreadEnd&) = nullptr;
};

template <class T>
class ThreadObject : public ThreadEnd {
public:
    constexpr ThreadObject() = default;

    /// @throws std::bad_alloc, and what the object's constructor throws; nothing is made then
    T& Get() {
        if (!m_isMade) [[unlikely]]
            Make();
        return Made();
    }

private:
    T& Made() { return *std::launder(reinterpret_cast<T*>(m_room)); }
    void Make() {
        ::new (static_cast<void*>(m_room)) T();
        try {
            Note(&Destroy);
        } catch (...) {
            Made().~T();
            throw;
        }
        m_isMade = true;
    }
    static void Destroy(ThreadEnd& end) {
        auto& object = static_cast<ThreadObject&>(end);
        object.Made().~T();
        object.m_isMade = false;  // until then the destructor reaches it
    }

    alignas(T) std::byte m_room[sizeof(T)] = {};
    bool m_isMade = false;
};

}  // namespace KxN::detail
