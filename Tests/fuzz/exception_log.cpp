// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Bytes as an exception log, as the manager loads it and as hblog shows it, and as a debug file with profile lines. What
// was loaded once is whole, so that saving and loading it again must lose nothing.
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syTextEncoding.h"
#include "hbtools/diagnostics/syExceptionMgr.h"

#include "FuzzFolder.h"
#include "FuzzInput.h"
#include "Profile.h"

using namespace KxN;

namespace {

struct Folder : FuzzFolder {
    Folder() {
        Write("app.ini",
              "[Initialization]\nErrorCount=4294967295\nBackupTiming=SAVE_ON_DEMAND\n"
              "FileName=log\nMaxEntries=1\nBlockLevelWriting=none\n");
    }
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
    folder.Write("log", bytes);
    Survive([&] { hblog::ReadLogFile(folder.File("log")); });
    Survive([&] {
        unsigned long const count = LoadAndSave(folder);
        if (LoadAndSave(folder) != count) Broken();
        hblog::LogFile const log = hblog::ReadLogFile(folder.File("log"));
        if (log.state != hblog::State::whole || log.entries.size() != count) Broken();
    });
    KxTextEncoding const encoding = KxxDetectEncoding(bytes);
    hblog::DebugFile const file =
        hblog::ParseDebugFile(KxxDecodeText(std::string_view(bytes).substr(KxxMarkLength(encoding)), encoding));
    hblog::TraceJson(hblog::ReadProfile(file));
    return 0;
}
