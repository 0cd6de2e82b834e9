// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Plain lines from standard input.
#pragma once

#include <hbtools/base/syString.h>

namespace ScanLab {

class Lines {
public:
    /// The longest line in bytes.
    static constexpr std::size_t longest = std::size_t{1} << 20;

    /// The next line without its end; false at the end of the input. @throws KxException if it is too long, or if
    /// reading fails
    bool Next(KxN::KxString& line);
    /// Of the last line, from 1 on.
    long Number() const { return m_number; }

private:
    long m_number = 0;
};

}  // namespace ScanLab
