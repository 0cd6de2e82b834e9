// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxTools::Link, a callable of two words with one untyped argument: an object and a function that knows what to do with
// it. A plain value that owns nothing; the object must live as long as the link is called. Exceptions of what is
// called pass through. Any thread that may call the target.
//
//     class Worker { long long Run(void* argument); };
//     KxTools::Link link = KxxMakeLink(&worker, &Worker::Run);
//     link.Call(&data);
#pragma once

#include "hbtools/base/syTypes.h"

#include <type_traits>

namespace KxTools {

class Link {
public:
    using Stub = long long (*)(void* object, void* argument);

    constexpr Link() = default;  ///< Empty.
    constexpr Link(void* object, Stub stub) : m_object(object), m_stub(stub) {}

    constexpr bool IsSet() const { return m_stub != nullptr; }
    /// The code that is called; null for an empty link.
    constexpr Stub GetStub() const { return m_stub; }
    /// Calls the target and returns its result; an empty link returns 0.
    long long Call(void* argument) const { return m_stub ? m_stub(m_object, argument) : 0; }

    friend constexpr bool operator==(Link const&, Link const&) = default;

private:
    void* m_object = nullptr;
    Stub m_stub = nullptr;
};

static_assert(sizeof(Link) == 2 * sizeof(void*));

namespace detail {

/// Calls `method`, which takes a void* or nothing and returns a number or nothing.
template <auto method, class T>
long long CallMethod(void* object, void* argument) {
    T* const target = static_cast<T*>(object);
    if constexpr (std::is_invocable_v<decltype(method), T*, void*>) {
        if constexpr (std::is_void_v<std::invoke_result_t<decltype(method), T*, void*>>)
            return (target->*method)(argument), 0;
        else
            return static_cast<long long>((target->*method)(argument));
    } else {
        if constexpr (std::is_void_v<std::invoke_result_t<decltype(method), T*>>)
            return (target->*method)(), 0;
        else
            return static_cast<long long>((target->*method)());
    }
}

template <auto method, class T>
Link MakeLink(T* object) {
    return Link(object, &CallMethod<method, T>);
}

}  // namespace detail

}  // namespace KxTools

/// A link to a method of an object; `method` is a constant such as &Worker::Run.
#define KxxMakeLink(object, method) (::KxTools::detail::MakeLink<method>(object))
