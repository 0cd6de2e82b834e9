// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "ScanWriter.h"

#include "AnyNumbers.h"
#include "Print.h"

#include <hbtools/base/syEncoding.h>
#include <hbtools/base/sySafeFile.h>

#include <bit>
#include <charconv>
#include <limits>
#include <string>

namespace ScanLab {

using namespace KxN;

namespace {

static_assert(std::endian::native == std::endian::little, "the numbers of a PLY file are written as they stand");

bool HasDeviations(StoredScan const& stored) {
    return stored.deviations->Count() > 0 && stored.deviations->Count() == stored.scan.points->Size();
}

/// Writes `head`, then for each point what `put(bytes, numbers, count)` appends for its three or four numbers.
template <class Put>
void WritePoints(KxString const& path, StoredScan const& stored, std::string const& head, Progress progress, Put put) {
    constexpr std::size_t block = 1 << 20;
    AnyNumbers const scope;
    KxSafeFile file(path);
    progress = progress.Stage(L"writing", 0, 1);
    std::string bytes = head;
    bytes.reserve(block + 256);
    bool const hasDeviations = HasDeviations(stored);
    auto deviation = stored.deviations->Values().begin();
    long long done = 0;
    long long const all = static_cast<long long>(stored.scan.points->Size()) + stored.scan.notFinite->Size();
    for (KxTDynArray<KxVec3d> const* points : {&*stored.scan.points, &*stored.scan.notFinite})
        for (KxVec3d const& p : *points) {
            double numbers[] = {p[0], p[1], p[2], std::numeric_limits<double>::quiet_NaN()};
            if (hasDeviations && points == &*stored.scan.points) {
                numbers[3] = *deviation;
                ++deviation;
            }
            put(bytes, numbers, hasDeviations ? 4 : 3);
            ++done;
            if (bytes.size() < block) continue;
            file.Write(bytes.data(), bytes.size());
            bytes.clear();
            progress.Show(done, all);
        }
    file.Write(bytes.data(), bytes.size());
    progress.Done();
    file.Commit();
}

std::string Comment(wchar_t const* what, KxString const& text) {
    std::wstring line(text.View());
    for (wchar_t& c : line)
        if (IsControl(c)) c = L'?';
    return line.empty() ? std::string() : KxxToUtf8(KxxFormat(L"comment %s %s\n", what, line));
}

}  // namespace

void WritePly(KxString const& path, StoredScan const& stored, Progress progress) {
    Scan const& scan = stored.scan;
    std::string head = "ply\nformat binary_little_endian 1.0\n" + Comment(L"name", scan.name) +
                       Comment(L"unit", scan.unit) + "element vertex " +
                       std::to_string(static_cast<long long>(scan.points->Size()) + scan.notFinite->Size()) +
                       "\nproperty double x\nproperty double y\nproperty double z\n";
    if (HasDeviations(stored)) head += "property double deviation\n";
    WritePoints(path, stored, head + "end_header\n", progress,
                [](std::string& bytes, double const* numbers, std::size_t count) {
                    bytes.append(reinterpret_cast<char const*>(numbers), count * sizeof *numbers);
                });
}

void WriteCsv(KxString const& path, StoredScan const& stored, Progress progress) {
    std::string const head = HasDeviations(stored) ? "x,y,z,deviation\n" : "x,y,z\n";
    WritePoints(path, stored, head, progress, [](std::string& bytes, double const* numbers, std::size_t count) {
        char text[32];
        for (std::size_t i = 0; i < count; ++i) {
            bytes.append(text, std::to_chars(text, text + sizeof text, numbers[i]).ptr);
            bytes += i + 1 < count ? ',' : '\n';
        }
    });
}

}  // namespace ScanLab
