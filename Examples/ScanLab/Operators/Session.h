// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the operators work on: scans by name with the shapes that were fitted to them, and the deviations that were
// computed. One thread at a time.
#pragma once

#include "../LongRun.h"
#include "../ScanFile.h"

#include <hbtools/math/syMatrix4.h>

#include <memory>
#include <vector>

namespace ScanLab {

class Languages;

/// A scan in the session.
struct Entry {
    KxN::KxString name;  // under which it is found
    StoredScan stored;
    KxN::KxMatrix4 moved;  // what Transform and Align did to it since it came
    bool isMoved = false;  // Transform did something
};

/// Of blocks of `step` points one each, at a place that keeps changing: the same place in all of them would show the raster
/// of the scanner as a pattern that is not there.
inline int PlaceInBlock(int block, int step) {
    return static_cast<int>((static_cast<unsigned>(block) * 2654435761U >> 8) % static_cast<unsigned>(step));
}

/// Deviations with some of the points that have them, for maps.
struct DeviationSet {
    struct Sample {
        KxN::KxVec3d point;
        double value;
    };
    static constexpr int mostSamples = 50000;

    KxN::KxString title;
    KxN::KxString unit;
    KxN::KxHistogram values{4096};
    KxN::KxTDynArray<Sample> samples;  // one of every n points

    /// `points` are those of the values, in their order.
    DeviationSet(KxN::KxString const& title, KxN::KxString const& unit, KxN::KxHistogram const& values,
                 KxN::KxTDynArray<KxN::KxVec3d> const& points);  // some milliseconds for 10 million
};

/// A line of the table of fits.
struct FitRecord {
    KxN::KxString scan;
    KxN::KxString shape;  // with its place, size and unit
    double mean;
    double sigma;
    int count;  // points that took part
    int all;
};

class Session {
public:
    /// `folder`: where files with relative names are written.
    explicit Session(KxN::KxString const& folder) : m_folder(folder) {}

    /// Adds a scan, which becomes the current one. `wished` is its name, and a scan of that name is replaced; "*" takes
    /// `natural`, with a number if that is taken.
    Entry& Add(KxN::KxString const& wished, KxN::KxString const& natural, StoredScan stored);
    /// The same without a change of the current one, unless that is the one that is replaced. No "*".
    void AddBeside(KxN::KxString const& name, StoredScan stored);
    /// "*" is the current one. @throws KxException if there is none
    Entry& Find(KxN::KxString const& name);
    void Remove(KxN::KxString const& name);  ///< As Find.
    /// In the order in which they came.
    std::vector<std::unique_ptr<Entry>> const& Entries() const { return m_entries; }

    /// Becomes the current set; one of the same title goes.
    void Add(DeviationSet set);
    /// @throws KxException if there is none
    DeviationSet const& CurrentDeviations() const;
    std::vector<DeviationSet> const& Deviations() const { return m_deviations; }

    void Add(FitRecord const& fit) { m_fits.push_back(fit); }
    std::vector<FitRecord> const& Fits() const { return m_fits; }

    /// Where a file of that name is to be written; its folder is made. @throws KxException if the name is empty,
    /// KxFileException if the folder cannot be made
    KxN::KxString OutputPath(KxN::KxString const& name) const;

    /// The configuration file of the application; empty if it runs without.
    KxN::KxString settingsFile;
    /// The application's; null without.
    Languages* languages = nullptr;
    /// How the progress of long operators is shown; not at all unless set.
    ProgressSettings progress;

private:
    std::vector<std::unique_ptr<Entry>>::iterator Search(KxN::KxString const& name);

    KxN::KxString m_folder;
    std::vector<std::unique_ptr<Entry>> m_entries;
    Entry* m_current = nullptr;
    std::vector<DeviationSet> m_deviations;
    std::vector<FitRecord> m_fits;
};

}  // namespace ScanLab
