// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Files into archives and out of them: Pack, Unpack.
#include "../Print.h"
#include "../TemporaryName.h"
#include "../UnpackedFolder.h"
#include "Command.h"
#include "Operators.h"
#include "Watch.h"

#include <hbtools/base/syDirEntry.h>
#include <hbtools/base/syEncoding.h>
#include <hbtools/base/sySafeFile.h>
#include <hbtools/core/syFileSpec.h>
#include <hbtools/interchange/syZipHelper.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

namespace ScanLab {

using namespace KxN;

namespace {

/// The name in an archive beside the size.
void PrintFile(KxString const& name, ULONGLONG size) {
    Print(L"%12llu  %s\n", size, name);
}

double MegabytesOf(KxString const& path) {
    return static_cast<double>(KxTools::FileStat(KxDirEntry(path)).GetSize()) / 1e6;
}

/// Whether both paths lead to one file.
bool IsSame(KxString const& a, KxString const& b) {
    std::error_code error;
    return std::filesystem::equivalent(KxxToSystemPath(a.View()), KxxToSystemPath(b.View()), error);
}

class PackCommand : public CommandOf<PackCommand> {
public:
    enum : unsigned short { File = 1, Files, Folder, Comment };

    explicit PackCommand(Session& session) : CommandOf(PackId, session) {
        AddFile(File, {L"zip"}, false, L"results.zip");
        AddText(Files, L"*");
        AddText(Folder, L"*");
        AddText(Comment, L"*");
    }

protected:
    OperatorReturnCode Run() override {
        KxString const path = OutputOf(File);
        std::vector<KxString> const files = Found(path);
        if (files.empty()) Refuse(Files, FormatOf(Text::NoFile, GetParameterString(Files)));
        KxTDynArray<SxZipSource> sources;
        double megabytes = 0;
        for (KxString const& file : files) {
            sources.Add({file, TextOrNone(Folder)});
            megabytes += MegabytesOf(file);
        }
        RunningWatch watch;
        InWorker([&](Progress progress) {
            progress = progress.Stage(L"packing", 0, 1);
            KxZipHelper::CompressFiles(sources, path, TextOrNone(Comment), KxZipHelper::Mode::replace,
                                       [&](ULONGLONG done, ULONGLONG all) { progress.Show(done, all); });
        });
        double const seconds = watch.Seconds();
        for (KxString const& file : files)
            PrintFile(KxString(KxDirEntry(file).GetName()), KxTools::FileStat(KxDirEntry(file)).GetSize());
        Print(L"%s  %d files, %.1f MB in %.1f MB, packed %.0f MB/s\n", path, files.size(), megabytes, MegabytesOf(path),
              megabytes / seconds);
        return OPERATOR_OK;
    }

private:
    /// A command line has no empty texts.
    KxString TextOrNone(unsigned short parameter) {
        KxString const text = GetParameterString(parameter);
        return text == L"*" ? KxString() : text;
    }
    /// By name; without the archive, and what others are about to write.
    std::vector<KxString> Found(KxString const& archive) {
        KxDirEntry const pattern(m_session.PathInFolder(GetParameterString(Files)));
        std::vector<KxString> files;
        KxFileSpec search;
        for (int found = search.First(KxString(pattern.GetFull())); found; found = search.Next()) {
            KxString const file((KxDirEntry(pattern.GetPath()) + KxDirEntry(search.GetName())).GetFull());
            if (KxTools::FileStat(KxDirEntry(file)).IsFile() && !IsSame(file, archive) &&
                !KxxIsTemporaryName(search.GetName()))
                files.push_back(file);
        }
        std::sort(files.begin(), files.end());
        return files;
    }
};

class UnpackCommand : public CommandOf<UnpackCommand> {
public:
    enum : unsigned short { File = 1, Folder };

    explicit UnpackCommand(Session& session) : CommandOf(UnpackId, session) {
        AddFile(File, {L"zip", L"*"}, true);
        AddText(Folder, L"*");
    }

protected:
    OperatorReturnCode Run() override {
        KxString const path = InputOf(File), named = GetParameterString(Folder);
        KxString const target = m_session.OutputPath(named == L"*" ? KxString(KxDirEntry(path).GetBase()) : named);
        KxTMap<KxString, KxString> files;
        RunningWatch watch;
        InWorker([&](Progress progress) {
            progress = progress.Stage(L"unpacking", 0, 1);
            UnpackedFolder folder(target);
            UnderName(target, folder.Path(), [&] {
                KxZipHelper::UncompressFiles(path, folder.Path(), files,
                                             [&](ULONGLONG done, ULONGLONG all) { progress.Show(done, all); });
            });
            progress.Done();
            folder.Commit();
        });
        double const seconds = watch.Seconds();
        std::vector<KxString> names;
        for (auto const& file : files) names.push_back(file.key);
        std::sort(names.begin(), names.end());
        double megabytes = 0;
        for (KxString const& name : names) {
            KxTools::DirEntry const inside(name, KxTools::FSYS_STYLE_DOS);
            KxTools::FileStat const stat(KxDirEntry(target) + inside);
            PrintFile(name, stat.GetSize());
            megabytes += static_cast<double>(stat.GetSize()) / 1e6;
        }
        Print(L"%s  %d files, %.1f MB, unpacked %.0f MB/s\n", target, names.size(), megabytes, megabytes / seconds);
        return OPERATOR_OK;
    }
};

}  // namespace

void InsertPackOperators(KxOperatorMgr& manager, Session& session) {
    manager.Insert(new PackCommand(session));
    manager.Insert(new UnpackCommand(session));
}

}  // namespace ScanLab
