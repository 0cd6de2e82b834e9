// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxTSmartPointer<T> holds one reference to a T derived from KxRefCounter, or none. The object is deleted with its
// last reference. Copies share the object. Nothing here throws but a T whose Ref does; a T must not throw when it is
// released or deleted, which would end the program.
// Threads: as KxRefCounter, all references to one object stay within one thread.
//
//     KxTSmartPointer<KxState> state(new MyState);
//     if (state) state->Enter();
#pragma once

#include "hbtools/core/syRefCounter.h"

#include <functional>
#include <utility>

namespace KxN {

template <class T>
class KX_API KxTSmartPointer {
public:
    /// Takes a reference to the object, if there is one.
    KxTSmartPointer(T* object = nullptr) : m_object(object) {
        if (m_object) m_object->Ref();
    }
    KxTSmartPointer(KxTSmartPointer const& other) : KxTSmartPointer(other.m_object) {}
    KxTSmartPointer(KxTSmartPointer&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    /// References the new object before it releases the old one, so that both may be the same.
    KxTSmartPointer& operator=(KxTSmartPointer const& other) {
        KxTSmartPointer(other).Swap(*this);
        return *this;
    }
    KxTSmartPointer& operator=(KxTSmartPointer&& other) noexcept {
        KxTSmartPointer(std::move(other)).Swap(*this);
        return *this;
    }
    ~KxTSmartPointer() {
        if (m_object) m_object->Unref();
    }

    /// The object; null if there is none. It stays shared.
    T* Get() const { return m_object; }
    explicit operator bool() const { return m_object != nullptr; }
    /// @pre there is an object
    T* operator->() const { return m_object; }
    T& operator*() const { return *m_object; }

    friend bool operator==(KxTSmartPointer const& a, KxTSmartPointer const& b) { return a.m_object == b.m_object; }
    friend bool operator==(KxTSmartPointer const& a, T const* b) { return a.m_object == b; }
    friend bool operator<(KxTSmartPointer const& a, KxTSmartPointer const& b) {
        return std::less<T*>()(a.m_object, b.m_object);
    }

private:
    void Swap(KxTSmartPointer& other) noexcept { std::swap(m_object, other.m_object); }

    T* m_object;
};

}  // namespace KxN
