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

struct Stream;

/// Prints the page of a file that was inspected; `stream` if it holds no records but images of objects. Of large arrays
/// every n-th point is shown. Property trees fold without a script.
void PrintPage(tool::Output& output, KxN::KxString const& name, KxN::CFile& file, KxN::KxTagInspector& inspector,
               KxN::TagFileState state, Stream const* stream);

/// What stands in front of the trees of objects, between them and the data, and behind those.
extern std::string_view const pageHead;
extern std::string_view const pageMiddle;
extern std::string_view const pageTail;

}  // namespace hbtag
