// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Scenarios.h"

#include "hbtools/base/syConfig.h"
#include "hbtools/base/syDirEntry.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syEncryption.h"
#include "hbtools/base/sySafeFile.h"
#include "hbtools/config/syConfigFast.h"
#include "hbtools/core/syBackupFile.h"
#include "hbtools/diagnostics/syExceptionMgr.h"
#include "hbtools/interchange/syXmlParser.h"
#include "hbtools/interchange/syZipHelper.h"
#include "hbtools/operators/syOperator.h"
#include "hbtools/operators/syParamDouble.h"
#include "hbtools/operators/syParamLong.h"
#include "hbtools/persistence/syGeometryTags.h"
#include "hbtools/persistence/sySimpleTags.h"
#include "hbtools/persistence/syTagArchive.h"

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>
#include <sys/resource.h>
#include <unistd.h>

namespace faults {

using namespace KxN;

namespace {

constexpr int lines = 12;
constexpr int pointsOfLine = 1000;
constexpr int block = 7000;

KxVec3d Point(int i) {
    return KxVec3d(i * 0.25, -i, 1.0 / (i + 1));
}

}  // namespace

void StoreScan(CFile& file, KxString const& name) {
    KxString stored = name;  // a tag writes from where it reads to
    KxTagArchive archive(&file, 0);
    archive << KxNullTag(1);
    archive.LevelDown();
    archive << KxStringTag(2, stored);
    for (int line = 0; line < lines; ++line) {
        int const count = line == 5 ? block : pointsOfLine;
        KxTArray<KxVec3d> points(count);
        for (int i = 0; i < count; ++i) points[i] = Point(line + i);
        archive << KxVec3dArrayTag(static_cast<unsigned long>(10 + line), points);
    }
    archive.LevelUp();
    archive.Flush();
}

bool LoadScan(CFile& file, KxString const& name) {
    KxTagArchive archive(&file, 1);
    archive >> KxNullTag(1);
    archive.LevelDown();
    bool isSame = true;
    for (int line = lines - 1; line >= 0; --line) {
        KxTArray<KxVec3d> points;
        archive >> KxVec3dArrayTag(static_cast<unsigned long>(10 + line), points);
        int const count = line == 5 ? block : pointsOfLine;
        isSame = isSame && points.Size() == count;
        for (int i = 0; isSame && i < count; ++i) isSame = points[i] == Point(line + i);
    }
    KxString loaded;
    archive >> KxStringTag(2, loaded);
    return isSame && loaded == name;
}

namespace {

constexpr SxStringResource filterTexts[] = {{100, "Filter"}, {110, "Radius"}, {120, "Passes"}};
constinit CDynLinkLibrary g_filterTexts{filterTexts};

class Filter : public KxOperator {
public:
    Filter() : KxOperator(100, KxResId(100, &g_filterTexts)) {
        Insert(new KxParameterDouble(1, KxResId(110, &g_filterTexts), 2.5, 0.5, {0.0, 50.0}, 0.1, 3));
        Insert(new KxParameterLong(2, KxResId(120, &g_filterTexts), 3, 1, {1, 10}, 1));
    }
    KxOperator* Clone() const override { return new Filter; }

protected:
    OperatorReturnCode DoExecute() override { return OPERATOR_OK; }
};

int Refused() {
    std::puts("scan.dat: refused");
    return 3;
}

}  // namespace

int RunScenario(std::string const& scenario, KxString const& path) {
    KxString const name = L"M\u00fcller 7";
    if (scenario == "store") {
        CFile file(path, CFile::modeReadWrite | CFile::modeCreate);
        StoreScan(file, name);
        file.Close();
    } else if (scenario == "load") {
        CFile file(path, CFile::modeRead);
        if (!LoadScan(file, name)) return 4;
        file.Close();
    } else if (scenario == "flushes") {  // again and again
        CFile file(path, CFile::modeReadWrite | CFile::modeCreate);
        for (int round = 0; round < 3; ++round) {
            file.Write("bytes", 5);
            try {
                file.Flush();
            } catch (CFileException* exception) {
                exception->Delete();
                file.Flush();
                return 4;
            }
        }
        file.Close();
    } else if (scenario == "silent") {  // destructors close
        CFile file(path, CFile::modeReadWrite | CFile::modeCreate);
        file.Write("pending", 7);
    } else if (scenario == "cut") {
        CFile file(path, CFile::modeReadWrite | CFile::modeCreate | CFile::modeNoTruncate);
        file.SetLength(3);
        file.Close();
    } else if (scenario == "safe") {
        std::vector<char> const bytes(100'000, 'n');
        KxSafeFile file(path);
        for (int i = 0; i < 3; ++i) file.Write(bytes.data(), bytes.size());
        file.Commit();
    } else if (scenario == "whole") {
        KxSafeFile safe(path);
        CFile file;
        safe.Open(file);
        StoreScan(file, name);
        file.Close();
        safe.Commit();
    } else if (scenario == "copy") {  // this program onto the file
        KxDirEntry const source(L"/proc/self/exe");
        return source.CopyTo(KxDirEntry(path), 1) == 0 ? 0 : Refused();
    } else if (scenario == "config") {
        KxConfig config(path);
        config.SetGroup(L"Scanner");
        config.WriteKey(L"Port", L"COM2");
    } else if (scenario == "update") {  // many keys in one step
        KxConfig config(path);
        config.BeginUpdate();
        config.SetGroup(L"Scanner");
        config.WriteKey(L"Port", L"COM2");
        config.WriteKey(L"Speed", L"1.5");
        config.SetGroup(L"Filter");
        config.WriteKey(L"Radius", L"2");
        config.EndUpdate();
    } else if (scenario == "fast") {
        KxConfigFast config(path);
        config.SetGroup(L"Scanner");
        config.WriteKey(L"Port", L"COM2");
        config.Flush();
    } else if (scenario == "encrypted") {
        KxTools::SetEncryptionPassword("the password of the scenarios");
        KxTools::EncryptionOn();
        KxConfigFast config(path);
        config.SetGroup(L"Scanner");
        config.WriteKey(L"Port", config.ReadKey(L"Port") == KxString(L"COM1") ? L"COM2" : L"COM1");
        config.Flush();
    } else if (scenario == "settings") {  // of an operator
        Filter().Save(path);
    } else if (scenario == "xml") {
        XML_PARSER xml;
        if (xml.Load_XML_Document(path.GetStr()))
            xml.Set_Attribute(L"unit", L"mm");
        else
            xml.Add_FirstChildNode(L"conditions");
        if (!xml.Save_XML_Document(path.GetStr())) return Refused();
    } else if (scenario == "backup") {
        KxBackupFile(path).Create();
    } else if (scenario == "log" || scenario == "log loaded") {  // loads a log, which saves it, and adds to it
        KxString const ini = (KxDirEntry(path).GetPath().GetPath() + KxDirEntry(L"app.ini")).GetFull();
        KxxSaveFile(ini, "[Initialization]\nErrorCount=200\nBackupTiming=SAVE_ALL_CHANGES\nFileName=" +
                             KxxToUtf8(path.View()) + "\n");
        KxExceptionManager manager;
        manager.Initialize(ini);
        KxExceptionManagerException entry(KxDateTime(2024, 12, 31, 23, 59, 58), L"Scanner", EXCEPT_FATAL, name);
        if (scenario == "log") manager.AddExceptionToLog(entry);
        manager.ChangeBackupTiming(static_cast<BackupTiming>(3));  // the destructor has nobody to tell
    } else if (scenario == "debug") {                              // the disk is full within the second entry
        KxString const ini = (KxDirEntry(path).GetPath().GetPath() + KxDirEntry(L"app.ini")).GetFull();
        KxxSaveFile(ini, "[Initialization]\nDebugFileName=" + KxxToUtf8(path.View()) + "\n");
        KxExceptionManager manager;
        manager.Initialize(ini);
        manager.WriteToDebugFile(L"first", 0, 0);
        rlimit const full = {10, RLIM_INFINITY}, none = {RLIM_INFINITY, RLIM_INFINITY};
        ::setrlimit(RLIMIT_FSIZE, &full);
        manager.WriteToDebugFile(L"refused", 0, 0);
        ::setrlimit(RLIMIT_FSIZE, &none);
        manager.WriteToDebugFile(L"again", 0, 0);
    } else if (scenario == "zip") {  // adds a file from elsewhere to an archive
        KxDirEntry const source = KxDirEntry(path).GetPath().GetPath() + KxDirEntry(L"source");
        KxxSaveFile(KxString(source.GetFull()), std::string(300'000, 'p'));
        std::filesystem::last_write_time(KxxToSystemPath(KxString(source.GetFull()).View()),
                                         {});  // which the archive holds
        // By a call that does not fail here.
        wchar_t const* const folder = ::access(KxxToSystemPath(path.View()).c_str(), F_OK) == 0 ? L"more" : L"";
        KxZipHelper::CompressFile(KxString(source.GetFull()), path, folder, name);
    } else if (scenario == "unzip") {
        KxTMap<KxString, KxString> files;
        KxString const folder(KxString(KxDirEntry(path).GetPath().GetFull()) + L"/out");
        auto const tell = [&] { std::printf("%d files\n", static_cast<int>(files.Count())); };
        try {
            KxZipHelper::UncompressFiles(path, folder, files);
        } catch (KxException*) {
            tell();
            throw;
        }
        tell();
    } else if (scenario == "folder") {
        return KxDirEntry(path).MakeDir(0) ? 0 : Refused();
    } else {
        return 5;
    }
    return 0;
}

}  // namespace faults
