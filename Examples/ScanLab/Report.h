// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The report of a session as one HTML page that needs nothing beside it: for each set of deviations a map of the points
// in colour, which the mouse turns, with a colour bar, and the histogram; the table of fits; the conditions of the
// measurements.
#pragma once

#include "Operators/Session.h"
#include "Progress.h"

#include <hbtools/core/syColor.h>

namespace ScanLab {

struct ReportStyle {
    KxN::KxString title{L"ScanLab"};
    int points = 20000;  // of each map, at most
    double limit = 0;    // deviation at both ends of the colours; 0 takes three sigma of the core
    KxN::KxColor low{0x21, 0x66, 0xac};
    KxN::KxColor middle{0xe0, 0xe0, 0xd0};
    KxN::KxColor high{0xb2, 0x18, 0x2b};
    bool hasConditions = true;
};

/// Writes the page whole or not at all. @throws KxDirEntryException
void SaveReport(KxN::KxString const& path, Session const& session, ReportStyle const& style, Progress progress = {});

}  // namespace ScanLab
