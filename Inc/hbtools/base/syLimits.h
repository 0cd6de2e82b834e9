// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Every bound that no file format states, in one place. The defaults are far beyond what sensible data needs;
// they keep damaged and hostile input from exhausting the machine. An application may change them at its
// start, before it uses the library: they are read without a lock by every thread afterwards.
#pragma once

#include "hbtools/base/syTypes.h"

namespace KxN {

struct KxLimits {
    /// Levels of objects, property lists, elements and records within one another. Reading and storing objects are
    /// recursions: at 4096 levels a thread needs 1 MiB of stack for property lists and 4 MiB for graphs of objects, and
    /// accordingly more where this is set higher.
    int nestingDepth = 4096;
    /// Bytes of a configuration file, or of another text file that is read whole.
    std::size_t textFileBytes = 256u << 20;
    /// Lines of a configuration file. The fast classes leave those behind them in the file unread; KxConfig refuses it.
    std::size_t configLines = 4u << 20;
    /// Characters that the width of one conversion in a format may ask for.
    int formatWidth = 4096;
    /// Digits or characters that the precision of one conversion in a format may ask for; at most 1024.
    int formatPrecision = 512;
    /// Calls that may wait in the main thread's queue.
    std::size_t postedCalls = 1u << 20;
    /// Macros that run one within another, in one thread.
    int macroDepth = 32;
    /// Bytes that the steps of one history, for undo and redo, may take together, as far as their states tell.
    unsigned long long undoMemory = 4ULL << 30;
    /// Bytes that one zip archive may bring out, in all and for each byte of its own; no honest one reaches 1033.
    unsigned long long zipTotal = 1ULL << 40;
    unsigned long long zipRatio = 1100;
    /// Folders within one another in the name of a file in a zip archive.
    int zipDepth = 128;
    /// Bytes of all texts of one satellite, and of one of them.
    std::size_t satelliteBytes = 64u << 20;
    std::size_t resourceTextBytes = 1u << 20;
    /// Attributes of one XML element.
    std::size_t xmlAttributes = 1u << 16;
};

/// The limits of this process.
KX_API KxLimits& KxxLimits();

}  // namespace KxN
