// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Finds the points near a place: the points of a scan, sorted into cubes of one size.
#pragma once

#include "Progress.h"

#include <hbtools/core/syArray.h>
#include <hbtools/math/syVec3.h>

#include <cstdint>

namespace ScanLab {

class Neighbours {
public:
    /// `cell`: edge of the cubes, above 0. The points must outlive this.
    Neighbours(KxN::KxTArray<KxN::KxVec3d> const& points, double cell, Progress progress = {});

    /// Calls visit(index, squared distance) for each point that is not farther than a cell from `place`, each once.
    template <class Visit>
    void Near(KxN::KxVec3d const& place, Visit visit) const {
        std::int64_t const x = Coordinate(place[0], 0), y = Coordinate(place[1], 1), z = Coordinate(place[2], 2);
        for (std::int64_t i = x - 1; i <= x + 1; ++i)
            for (std::int64_t j = y - 1; j <= y + 1; ++j) {
                // The cubes of one column are neighbours in the order too.
                auto [place0, end] = Range(Key(i, j, z - 1), Key(i, j, z + 1));
                for (; place0 != end; ++place0) {
                    double const squared = m_points[place0->index].SquaredDistance(place);
                    if (squared <= m_cell * m_cell) visit(place0->index, squared);
                }
            }
    }
    /// True if there are at least `count` of them. Looks at no more than it needs to know that.
    bool HasNear(KxN::KxVec3d const& place, int count) const;
    /// The nearest of them; -1 if there is none.
    int Nearest(KxN::KxVec3d const& place) const;

private:
    struct Entry {
        std::uint64_t key;
        int index;
    };
    struct Entries {
        Entry const* begin;
        Entry const* end;
    };

    std::int64_t Coordinate(double value, int axis) const;
    static std::uint64_t Key(std::int64_t x, std::int64_t y, std::int64_t z);
    Entry const* First(std::uint64_t key) const;
    Entries Range(std::uint64_t first, std::uint64_t last) const;

    KxN::KxTArray<KxN::KxVec3d> const& m_points;
    double m_cell;
    KxN::KxVec3d m_low;
    KxN::KxTArray<Entry> m_entries;  // by key
};

}  // namespace ScanLab
