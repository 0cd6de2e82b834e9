// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Whether a translated text can take the arguments of the text that it stands for. hbres asks when a language pack is
// built, and the look-up of texts when one is loaded. Texts are UTF-8; any bytes will do. Nothing throws but bad_alloc.
// Any thread.
#pragma once

#include "hbtools/base/syTypes.h"

#include <string>
#include <string_view>

namespace KxN {

/// Whether both texts take the same arguments: as many, each of the same kind (a number without or with decimals, a text,
/// a character, a pointer). Flags, widths, precisions and lengths may differ. A text may name its arguments by position
/// ("%2$s %1$d") to take them in another order. Both have as many percent signs that begin nothing.
KX_API bool KxxSamePlaceholders(std::string_view base, std::string_view translated);

/// The conversions of a text as they stand there: "%s, %-5d".
KX_API std::string KxxListPlaceholders(std::string_view text);

/// A text that reads like the given one and shows by its looks that it was looked up: letters with accents, 40 % longer, in
/// brackets. Conversions and line ends stay.
KX_API std::string KxxPseudoTranslate(std::string_view text);

}  // namespace KxN
