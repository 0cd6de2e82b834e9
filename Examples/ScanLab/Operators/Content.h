// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What a session holds: scans by name with the shapes that were fitted to them, the deviations that were computed, the
// table of fits. A value whose copies share all points, deviations and conditions until one of them changes some, so that
// a history of contents takes no more memory than their differences. One thread at a time.
#pragma once

#include "../ScanFile.h"

#include <hbtools/math/syMatrix4.h>

#include <memory>
#include <vector>

namespace ScanLab {

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
    Shared<KxN::KxHistogram> values;
    KxN::KxTDynArray<Sample> samples;  // one of every n points

    /// `points` are those of the values, in their order.
    DeviationSet(KxN::KxString const& title, KxN::KxString const& unit, Shared<KxN::KxHistogram> values,
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

class Content {
public:
    template <class T>
    using List = std::vector<std::shared_ptr<T const>>;

    /// Adds a scan, which becomes the current one. `wished` is its name, and a scan of that name is replaced; "*" takes
    /// `natural`, with a number if that is taken. The reference is good while a content holds the scan.
    Entry& Add(KxN::KxString const& wished, KxN::KxString const& natural, StoredScan stored);
    /// The same without a change of the current one, unless that is the one that is replaced. No "*".
    void AddBeside(KxN::KxString const& name, StoredScan stored);
    /// The scan, to be changed: other contents keep it as it is. Otherwise as Find.
    Entry& Edit(KxN::KxString const& name);
    /// "*" is the current one. @throws KxException if there is none
    Entry const& Find(KxN::KxString const& name) const;
    void Remove(KxN::KxString const& name);  ///< As Find.
    /// In the order in which they came.
    List<Entry> const& Entries() const { return m_entries; }

    /// Becomes the current set; one of the same title goes.
    void Add(DeviationSet set);
    /// @throws KxException if there is none
    DeviationSet const& CurrentDeviations() const;
    List<DeviationSet> const& Deviations() const { return m_deviations; }

    void Add(FitRecord fit) { m_fits.push_back(std::make_shared<FitRecord>(std::move(fit))); }
    List<FitRecord> const& Fits() const { return m_fits; }

    /// The memory of what this one holds and the other does not, in bytes.
    KxN::ULONGLONG SizeBeyond(Content const& other) const;

private:
    List<Entry>::iterator Search(KxN::KxString const& name);

    List<Entry> m_entries;
    KxN::KxString m_current;  // name; no meaning without entries
    List<DeviationSet> m_deviations;
    List<FitRecord> m_fits;
};

}  // namespace ScanLab
