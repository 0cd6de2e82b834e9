// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the parts of the exception manager share: names of levels, paths beside the ini file, the last resort.
#pragma once

#include "hbtools/base/syDirEntry.h"
#include "hbtools/base/syException.h"

#include <exception>

namespace KxN {
class KxConfig;
}

namespace KxN::detail {

/// "EXCEPT_USER" and so on; a number that is no level is EXCEPT_UNKNOWN.
wchar_t const* LevelName(ErrorLevel level);
/// The level of that name, without regard to case; EXCEPT_UNKNOWN for any other text.
ErrorLevel LevelOf(KxString const& name);

/// The absolute path of an ini file. @throws KxFileNotExistException naming the source file
KxDirEntry ExistingIniFile(KxString const& iniFile, wchar_t const* sourceFile);
/// The value of a key; one that is missing or empty is `otherwise`.
KxString FileNameKey(KxConfig const& config, wchar_t const* key, KxString const& otherwise);
/// A file name as the ini file means it.
KxString BesideIniFile(KxDirEntry const& iniFile, KxString const& name);

/// One line on standard error, for failures that must not be thrown. Releases the exception; null is a lack of memory.
void TellOnStandardError(CException* exception) noexcept;

/// Runs the call and tells what it throws on standard error.
template <class Call>
void Guarded(Call call) noexcept {
    try {
        call();
    } catch (CException* exception) {
        TellOnStandardError(exception);
    } catch (std::exception const&) {
        TellOnStandardError(nullptr);
    }
}

}  // namespace KxN::detail
