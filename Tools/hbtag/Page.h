// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A tag file as one page for a browser, with everything in it: the records as a tree, and the points of every array of
// points in space, to be turned and zoomed. The page needs no server and no network.
#pragma once

#include "../common/Output.h"

#include <hbtools/base/syFile.h>
#include <hbtools/persistence/syTagInspector.h>

namespace hbtag {

/// Prints the page of a file that was inspected. Of large arrays every n-th point is shown.
void PrintPage(tool::Output& output, KxN::KxString const& name, KxN::CFile& file, KxN::KxTagInspector& inspector,
               KxN::TagFileState state);

/// What stands in front of the data, and behind them.
extern std::string_view const pageHead;
extern std::string_view const pageTail;

}  // namespace hbtag
