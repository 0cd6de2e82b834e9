// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Languages by the number that the system's formats and settings use: the lower 10 bits are the primary language, those
// above the variant, so that 1031 is German of Germany and 2055 German of Switzerland. Names come from the locale data.
// Any thread; nothing throws but bad_alloc. A number that no language has gives empty names.
#pragma once

#include "hbtools/base/syString.h"

#include <string>

namespace KxN {

/// The language of the user interface: what LC_ALL, LC_MESSAGES or LANG, the first that is set, said when the library was
/// loaded, or the first of LANGUAGE where they name a language at all. 1033, English of the United States, where they do
/// not: that is what messages of the system are in then.
KX_API unsigned short KxxGetUserLanguage();

/// The language of the calling thread for what depends on one, the user's unless set. Setting returns the former one.
KX_API unsigned short KxxGetThreadLanguage();
KX_API unsigned short KxxSetThreadLanguage(unsigned short language);

/// Three letters: of the language and its variant where there is a name in use, such as DEU, ENU, ENG, FRA, else the
/// language by ISO 639-3 in capitals. QPS is the pseudo-language 0x0501.
KX_API KxString KxxGetLanguageCode(unsigned short language);
/// The name of a language in another one: "Deutsch (Schweiz)".
KX_API KxString KxxGetLanguageName(unsigned short language, unsigned short inLanguage);
/// The system's name, such as "de_CH".
KX_API std::string KxxGetLocaleName(unsigned short language);
/// The language of such a name, which may have a coding and a variant behind it; 0 if it names none.
KX_API unsigned short KxxFindLanguage(std::string const& localeName);

}  // namespace KxN
