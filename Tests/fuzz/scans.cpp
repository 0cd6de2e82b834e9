// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Bytes as a scan of another program. One that is read has no more points than fit into the bytes, and each bit of them goes
// through a tag file and a PLY file and back.
#include "Operators/TextIds.h"
#include "ScanFile.h"
#include "ScanReader.h"
#include "ScanWriter.h"

#include "hbtools/base/syException.h"

#include "FuzzFolder.h"
#include "FuzzInput.h"

#include <cstring>
#include <optional>

using namespace KxN;

namespace {

bool IsSame(KxTDynArray<KxVec3d> const& a, KxTDynArray<KxVec3d> const& b) {
    return a.Size() == b.Size() &&
           (a.Size() == 0 ||
            std::memcmp(a.Data(), b.Data(), sizeof(KxVec3d) * static_cast<std::size_t>(a.Size())) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static FuzzFolder const folder;
    static bool const hasTexts = (ScanLab::UseTexts(), true);
    folder.Write("scan", std::string(reinterpret_cast<char const*>(data), size));
    std::optional<ScanLab::Scan> scan;
    if (hasTexts) Survive([&] { scan = ScanLab::ReadScan(folder.File("scan")); });
    if (!scan) return 0;
    // Three coordinates of at least one byte each.
    auto const count =
        static_cast<std::size_t>(scan->points->Size()) + static_cast<std::size_t>(scan->notFinite->Size());
    if (count > size / 3) Broken();
    ScanLab::StoredScan stored;
    stored.scan = *scan;
    ScanLab::Store(folder.File("scan.tag"), stored, TagFormat64);
    if (!ScanLab::IsSame(stored, ScanLab::Load(folder.File("scan.tag")))) Broken();
    ScanLab::WritePly(folder.File("scan.ply"), stored);
    ScanLab::Scan const again = ScanLab::ReadScan(folder.File("scan.ply"));
    if (!IsSame(scan->points, again.points) || !IsSame(scan->notFinite, again.notFinite)) Broken();
    return 0;
}
