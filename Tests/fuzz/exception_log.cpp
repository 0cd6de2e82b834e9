// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Bytes as an exception log, as the manager loads it and as hblog shows it, and as a debug file with profile lines. What
// was loaded once is whole, so that saving and loading it again must lose nothing.
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syTextEncoding.h"
#include "hbtools/diagnostics/syExceptionMgr.h"

#include "FuzzInput.h"
#include "Profile.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

using namespace KxN;

namespace {

/// A folder for the files, in memory where there is such a file system.
struct Folder {
    Folder() {
        std::filesystem::path root = "/dev/shm";
        if (!std::filesystem::is_directory(root)) root = std::filesystem::temp_directory_path();
        std::string name = (root / "hbfuzz-XXXXXX").string();
        if (!::mkdtemp(name.data())) std::abort();
        path = name;
        std::ofstream(path / "app.ini") << "[Initialization]\nErrorCount=4294967295\nBackupTiming=SAVE_ON_DEMAND\n"
                                           "FileName=log\nMaxEntries=1\nBlockLevelWriting=none\n";
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    KxString File(char const* name) const { return KxxFromSystemPath((path / name).string()); }

    std::filesystem::path path;
};

unsigned long LoadAndSave(Folder const& folder) {
    KxExceptionManager manager;
    manager.SetOldestPurgeDateTime(KxDateTime());
    manager.Initialize(folder.File("app.ini"));
    manager.SaveExcGrpLst();
    manager.ChangeBackupTiming(static_cast<BackupTiming>(3));
    return manager.GetTotalCount();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static Folder const folder;
    std::string const bytes(reinterpret_cast<char const*>(data), size);
    std::ofstream(folder.path / "log", std::ios::binary | std::ios::trunc) << bytes;
    Survive([&] { hblog::ReadLogFile(folder.File("log")); });
    Survive([&] {
        unsigned long const count = LoadAndSave(folder);
        if (LoadAndSave(folder) != count) std::abort();
        hblog::LogFile const log = hblog::ReadLogFile(folder.File("log"));
        if (log.state != hblog::State::whole || log.entries.size() != count) std::abort();
    });
    KxTextEncoding const encoding = KxxDetectEncoding(bytes);
    hblog::DebugFile const file =
        hblog::ParseDebugFile(KxxDecodeText(std::string_view(bytes).substr(KxxMarkLength(encoding)), encoding));
    hblog::TraceJson(hblog::ReadProfile(file));
    return 0;
}
