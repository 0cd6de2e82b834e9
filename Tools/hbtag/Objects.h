// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Images of persistent objects, property trees above all, as text for people, as JSON for scripts and as a part of a page
// that folds without a script.
#pragma once

#include "Listing.h"

#include <hbtools/persistence/syObjectInspector.h>

#include <string>
#include <vector>

namespace hbtag {

/// Where an image stands; its end is that of its record's extent, or of the file.
struct ImagePlace {
    unsigned long long position;
    unsigned long long end;
};
inline ImagePlace PlaceOf(KxN::SxTagRecord const& record) {
    return {record.image.dataAddress, record.image.dataAddress + record.payloadSize};
}

/// The outermost object in a few words: `list "Conditions"`.
std::string RootText(KxN::KxObjectInspector& objects, ImagePlace const& place);
/// One line for each object, behind `margin`, indented by its level.
void PrintObjects(Output& output, Options const& options, KxN::KxObjectInspector& objects, ImagePlace const& place,
                  std::string const& margin);
/// A JSON array: the objects, parents in front of their children, each with its depth.
void PrintJsonObjects(Output& output, Options const& options, KxN::KxObjectInspector& objects, ImagePlace const& place);
/// Nested <details>. At most `left` objects, which is counted down: what a browser still shows.
void PrintHtmlObjects(Output& output, Options const& options, KxN::KxObjectInspector& objects, ImagePlace const& place,
                      long long& left);
/// Text with the characters that HTML gives a meaning escaped.
std::string Html(std::string const& text);

/// A file that is no chain of records but begins with an image: images up to its end.
struct Stream {
    std::vector<ImagePlace> images;
    long long numObjects = 0;
    KxN::TagFileState state = KxN::TagFileWhole;
    KxN::SxTagFault fault;  // if it is damaged
};
Stream ReadStream(KxN::KxObjectInspector& objects, unsigned long long size);

}  // namespace hbtag
