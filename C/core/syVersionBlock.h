// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The version block of a module's file: a tree of named nodes, as the resource compilers of Windows make it. A module of this
// system has the same bytes in its section ".hbtools.version" (Doc/formats/version.md).
#pragma once

#include "hbtools/base/syString.h"

#include <string>
#include <string_view>

namespace KxN::detail {

/// The bytes of the block in a module's file of either format; false if there is none.
bool ReadVersionBlock(KxString const& path, std::string& block);

/// A number of 16 or 32 bits, its lowest byte first; 0 where the bytes end before it.
std::uint32_t NumberAt(std::string_view bytes, std::size_t at, std::size_t size);

/// A node within the bytes of its parent: size, size of the value, kind of the value, name, value, further nodes.
class VersionNode {
public:
    VersionNode() = default;
    /// The node that begins there; none if it does not fit.
    explicit VersionNode(std::string_view bytes);

    explicit operator bool() const { return !m_name.empty(); }
    std::u16string const& Name() const { return m_name; }
    std::string_view Value() const { return m_value; }
    /// The value up to its first zero.
    std::wstring Text() const;
    /// The first node within of that name, in whatever case; without a name the first one.
    VersionNode Find(std::u16string_view name = {}) const;

private:
    std::size_t m_size = 0;
    std::u16string m_name;
    std::string_view m_value, m_inner;
};

}  // namespace KxN::detail
