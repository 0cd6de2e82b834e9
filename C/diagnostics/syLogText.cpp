// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "diagnostics/syLogText.h"

#include "base/posix/syDescriptor.h"
#include "hbtools/base/syConfig.h"
#include "hbtools/base/syEncoding.h"

namespace KxN::detail {

namespace {

constexpr wchar_t const* levelNames[] = {L"EXCEPT_UNKNOWN", L"EXCEPT_USER", L"EXCEPT_NONFATAL", L"EXCEPT_FATAL"};

}  // namespace

wchar_t const* LevelName(ErrorLevel level) {
    return levelNames[level >= EXCEPT_UNKNOWN && level <= EXCEPT_FATAL ? level : EXCEPT_UNKNOWN];
}

ErrorLevel LevelOf(KxString const& name) {
    for (ErrorLevel const level : {EXCEPT_USER, EXCEPT_NONFATAL, EXCEPT_FATAL})
        if (name.ICompare(levelNames[level]) == 0) return level;
    return EXCEPT_UNKNOWN;
}

KxDirEntry ExistingIniFile(KxString const& iniFile, wchar_t const* sourceFile) {
    KxDirEntry path(iniFile);
    path.ToAbs();
    if (!path.Exists(1)) throw new KxFileNotExistException(sourceFile, __LINE__, path.GetFull());
    return path;
}

KxString FileNameKey(KxConfig const& config, wchar_t const* key, KxString const& otherwise) {
    KxString const name = config.ReadKey(key);
    return !name ? otherwise : name;
}

KxString BesideIniFile(KxDirEntry const& iniFile, KxString const& name) {
    return (iniFile.GetPath() + KxDirEntry(name)).GetFull();
}

void TellOnStandardError(CException* exception) noexcept {
    try {
        if (exception) WriteToStandardError(KxxToUtf8(CException::TextOf(*exception).View()) + "\n");
    } catch (...) {
        exception->Delete();
        exception = nullptr;
    }
    if (exception)
        exception->Delete();
    else
        WriteToStandardError("no memory is left to write the exception log or the debug file\n");
}

}  // namespace KxN::detail
