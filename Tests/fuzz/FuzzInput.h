// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the fuzz targets share: the input as a file, and running into documented exceptions without ending.
#pragma once

#include "hbtools/base/syFile.h"

#include "FuzzMemory.h"

#include <cstdint>
#include <memory>

/// A memory file that holds the input and stands at its begin.
class FuzzInput : public KxN::CMemFile {
public:
    FuzzInput(std::uint8_t const* data, std::size_t size) : CMemFile(4096) {
        if (size > 0) Write(data, static_cast<KxN::UINT>(size));
        Seek(0, begin);
    }
};

/// Members of the exception tree are the documented answer to bad input; anything else ends the run. If it was memory that
/// failed, it is told and the target ends.
template <class Action>
void Survive(Action action) {
    try {
        action();
    } catch (KxN::CException* exception) {
        struct Deleter {
            void operator()(KxN::CException* caught) const { caught->Delete(); }
        };
        std::unique_ptr<KxN::CException, Deleter> const owner(exception);
        KxN::CException::TextOf(*exception);
        if (memory::g_hasFailed) throw std::bad_alloc();
    }
}
