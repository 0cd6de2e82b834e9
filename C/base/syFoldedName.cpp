// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "base/syFoldedName.h"

#include "hbtools/base/syEncoding.h"

#include <unicode/unorm2.h>

#include <algorithm>

namespace KxN::detail {

std::string FoldedName(std::wstring_view name) {
    bool const isPlain = std::all_of(name.begin(), name.end(), [](wchar_t c) { return c < 0x80; });
    if (isPlain) {
        std::string lower(name.begin(), name.end());
        for (char& c : lower)
            if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        return lower;
    }
    std::wstring upper(name);
    std::transform(upper.begin(), upper.end(), upper.begin(), [](wchar_t c) { return KxxToUpper(c); });
    UErrorCode error = U_ZERO_ERROR;
    UNormalizer2 const* const fold = unorm2_getNFKCCasefoldInstance(&error);
    std::u16string const units = KxxToUtf16(upper);
    std::u16string folded(units.size() * 4 + 32, u'\0');
    for (int attempt = 0; attempt < 2 && U_SUCCESS(error); ++attempt) {
        int const length = unorm2_normalize(fold, units.data(), static_cast<int>(units.size()), folded.data(),
                                            static_cast<int>(folded.size()), &error);
        folded.resize(static_cast<std::size_t>(std::max(length, 0)));
        if (error != U_BUFFER_OVERFLOW_ERROR) break;
        error = U_ZERO_ERROR;
    }
    if (U_FAILURE(error)) return KxxToUtf8(upper);  // without ICU's data; case alone counts then
    return KxxToUtf8(KxxWidenUtf16(folded));
}

}  // namespace KxN::detail
