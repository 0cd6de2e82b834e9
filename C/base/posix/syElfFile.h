// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The system's format of modules, as far as it is looked at before the loader sees the file: whether all of it is there,
// and where a section lies. Every number of the file is compared with its length before it is used.
#pragma once

#include "base/posix/syDescriptor.h"

#include <vector>
#include <elf.h>

namespace KxN::detail {

class ElfFile {
public:
    enum class State { whole, isNone, isCut, isForeign };

    /// Looks at an open file, which must live as long. A system error number if it cannot be read.
    int Open(Descriptor const& file);
    /// isNone for what is no module of this kind of processor's word size and byte order, isCut if a part lies outside,
    /// isForeign if it is whole and for another processor.
    State GetState() const { return m_state; }

    /// Where the section lies within the file; false if there is none.
    bool FindSection(std::string_view name, unsigned long long& offset, unsigned long long& size) const;

private:
    bool IsWithin(unsigned long long offset, unsigned long long size) const {
        return offset <= m_length && size <= m_length - offset;
    }
    /// False if the file is shorter than it says or cannot be read.
    bool Read(void* buffer, unsigned long long offset, std::size_t size) const;
    bool ReadTables(Elf64_Ehdr const& header);

    Descriptor const* m_file = nullptr;
    unsigned long long m_length = 0;
    State m_state = State::isNone;
    std::vector<Elf64_Shdr> m_sections;
    std::string m_names;
};

}  // namespace KxN::detail
