// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Neighbours.h"

#include <algorithm>
#include <limits>

namespace ScanLab {

using namespace KxN;

namespace {
constexpr int bits = 21;  // of a key for each axis
constexpr std::int64_t most = (std::int64_t{1} << bits) - 2;

/// Sorts parts of some megabytes, then puts them together, so that there are places to end.
template <class Entry, class Less>
void Sort(Entry* entries, int count, Less less, Progress const& progress) {
    constexpr int part = 1 << 19;
    Progress const parts = progress.Part(0, 0.7), whole = progress.Part(0.7, 1);
    for (int begin = 0; begin < count; begin += std::min(part, count - begin)) {
        parts.Show(begin, count);
        std::sort(entries + begin, entries + begin + std::min(part, count - begin), less);
    }
    for (std::int64_t sorted = part; sorted < count; sorted *= 2)
        for (std::int64_t begin = 0; begin + sorted < count; begin += 2 * sorted) {
            whole.Show(sorted, static_cast<std::int64_t>(count));
            std::inplace_merge(entries + begin, entries + begin + sorted,
                               entries + std::min<std::int64_t>(begin + 2 * sorted, count), less);
        }
}
}  // namespace

Neighbours::Neighbours(KxTArray<KxVec3d> const& points, double cell, Progress progress)
    : m_points(points), m_cell(cell), m_low(points.Size() > 0 ? points[0] : KxVec3d::Zero), m_entries(points.Size()) {
    for (KxVec3d const& point : points)
        for (int i = 0; i < 3; ++i) m_low[i] = KxMath::Min(m_low[i], point[i]);
    InBlocks(progress.Part(0, 0.1), points.Size(), [&](int begin, int end) {
        for (int i = begin; i < end; ++i)
            m_entries[i] = {Key(Coordinate(points[i][0], 0), Coordinate(points[i][1], 1), Coordinate(points[i][2], 2)),
                            i};
    });
    auto const less = [](Entry const& a, Entry const& b) { return a.key < b.key; };
    Sort(m_entries.begin(), m_entries.Size(), less, progress.Part(0.1, 1));
}

// From 1 on, so that there is room for a neighbour below; what lies farther than the keys reach shares the last cube.
std::int64_t Neighbours::Coordinate(double value, int axis) const {
    double const cubes = (value - m_low[axis]) / m_cell;
    if (!(cubes >= -1)) return -1;
    if (cubes >= static_cast<double>(most)) return most;
    return cubes < 0 ? 0 : static_cast<std::int64_t>(cubes) + 1;
}

std::uint64_t Neighbours::Key(std::int64_t x, std::int64_t y, std::int64_t z) {
    auto const part = [](std::int64_t c) {
        return static_cast<std::uint64_t>(std::clamp<std::int64_t>(c, 0, most + 1));
    };
    return part(x) << 2 * bits | part(y) << bits | part(z);
}

Neighbours::Entry const* Neighbours::First(std::uint64_t key) const {
    return std::lower_bound(m_entries.begin(), m_entries.end(), key,
                            [](Entry const& e, std::uint64_t k) { return e.key < k; });
}

Neighbours::Entries Neighbours::Range(std::uint64_t first, std::uint64_t last) const {
    Entry const* const begin = First(first);
    Entry const* end = begin;
    while (end != m_entries.end() && end->key <= last) ++end;
    return {begin, end};
}

bool Neighbours::HasNear(KxVec3d const& place, int count) const {
    std::int64_t const x = Coordinate(place[0], 0), y = Coordinate(place[1], 1), z = Coordinate(place[2], 2);
    // The column of the place itself first: it mostly is enough.
    constexpr int order[] = {0, -1, 1};
    for (int const i : order)
        for (int const j : order) {
            Entry const* const end = m_entries.end();
            std::uint64_t const last = Key(x + i, y + j, z + 1);
            for (Entry const* entry = First(Key(x + i, y + j, z - 1)); entry != end && entry->key <= last; ++entry)
                if (m_points[entry->index].SquaredDistance(place) <= m_cell * m_cell && --count <= 0) return true;
        }
    return count <= 0;
}

int Neighbours::Nearest(KxVec3d const& place) const {
    int nearest = -1;
    double least = std::numeric_limits<double>::infinity();
    Near(place, [&](int index, double squared) {
        if (squared < least) {
            least = squared;
            nearest = index;
        }
    });
    return nearest;
}

}  // namespace ScanLab
