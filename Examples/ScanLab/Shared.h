// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A value that its copies share until one of them changes it: a copy takes no memory and no time, however many points it
// has. What is moved from can only be assigned to or destroyed. Copies belong to one thread at a time, all together.
#pragma once

#include <memory>
#include <utility>

namespace ScanLab {

template <class T>
class Shared {
public:
    Shared() : Shared(T()) {}
    Shared(T value) : m_value(std::make_shared<T>(std::move(value))) {}

    operator T const&() const { return *m_value; }
    T const& operator*() const { return *m_value; }
    T const* operator->() const { return m_value.get(); }
    auto const& operator[](int i) const { return std::as_const(*m_value)[i]; }
    auto begin() const { return std::as_const(*m_value).begin(); }
    auto end() const { return std::as_const(*m_value).end(); }

    /// The value, to be changed: from here on it is this one's alone.
    T& Edit() {
        if (m_value.use_count() > 1) m_value = std::make_shared<T>(std::as_const(*m_value));
        return *m_value;
    }

private:
    std::shared_ptr<T> m_value;
};

}  // namespace ScanLab
