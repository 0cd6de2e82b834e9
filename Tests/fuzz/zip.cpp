// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Bytes as an archive: nothing comes out outside the folder, what is told to have come out is there, and an archive that a
// file cannot be added to stays as it was. If it can, what came out before comes out again, and the file with it.
#include "hbtools/base/syLimits.h"
#include "hbtools/interchange/syZipHelper.h"

#include "FuzzFolder.h"
#include "FuzzInput.h"

using namespace KxN;

namespace fs = std::filesystem;

namespace {

long CountOf(fs::path const& folder) {
    memory::Safe const safe;
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

/// Whether all came out.
bool Unpack(FuzzFolder const& folder, KxTMap<KxString, KxString>& files) {
    bool isDone = false;
    {
        memory::Safe const safe;
        fs::remove_all(folder.path / "in");
        fs::create_directories(folder.path / "in" / "out");
    }
    Survive([&] { isDone = KxZipHelper::UncompressFiles(folder.File("a.zip"), folder.File("in/out"), files); });
    if (CountOf(folder.path / "in") != 1 || CountOf(folder.path) != 3) Broken();
    for (auto const& element : files)
        if (!fs::is_regular_file(KxxToSystemPath(element.value.View()))) Broken();
    return isDone;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static FuzzFolder const folder;
    std::string const bytes(reinterpret_cast<char const*>(data), size);
    KxxLimits().zipTotal = 1 << 20;
    folder.Write("a.zip", bytes);
    folder.Write("new", "points");
    KxTMap<KxString, KxString> files;
    bool const isWhole = Unpack(folder, files);
    KxString comment;
    Survive([&] { KxZipHelper::GetGlobalComment(folder.File("a.zip"), comment); });
    bool isAdded = false;
    Survive([&] { isAdded = KxZipHelper::CompressFile(folder.File("new"), folder.File("a.zip"), L"x/y", L"c"); });
    if (!isAdded) {
        if (folder.Read("a.zip") != bytes) Broken();
        return 0;
    }
    if (!isWhole) return 0;
    KxTMap<KxString, KxString> again;
    KxxLimits().zipTotal = 2 << 20;
    // One more, unless there was one of that name.
    if (!Unpack(folder, again) || again.Count() < files.Count() || again.Count() > files.Count() + 1) Broken();
    if (folder.Read("in/out/x/y/new") != "points") Broken();
    return 0;
}
