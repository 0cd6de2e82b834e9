// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syLocale.h"

#include "hbtools/base/syEncoding.h"

#include <unicode/uloc.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace KxN {

namespace {

/// What the environment says when the library is loaded. Nothing is made of it yet: locale data take a while to load.
struct UserLocale {
    char name[64] = "";

    UserLocale() {
        char const* locale = "";
        for (char const* const variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
            char const* const value = std::getenv(variable);
            if (!value || !*value) continue;
            locale = value;
            break;
        }
        bool const isPlain = !*locale || std::strcmp(locale, "C") == 0 || std::strcmp(locale, "POSIX") == 0 ||
                             std::strncmp(locale, "C.", 2) == 0;
        if (isPlain) return;
        char const* const list = std::getenv("LANGUAGE");
        if (list && *list) locale = list;
        std::size_t const length = std::min(std::strcspn(locale, ":"), sizeof name - 1);
        std::memcpy(name, locale, length);
    }
};
UserLocale const g_userLocale;

constexpr unsigned short englishOfTheUnitedStates = 1033;
constexpr unsigned short pseudoLanguage = 0x0501;

thread_local unsigned short t_language = 0;  // 0: the user's

struct Code {
    unsigned short language;
    char code[4];
};
// Ordered by number. Where a language has one variant in use its code is that of ISO 639-3 or stands here.
constexpr Code codes[] = {
    {0x0004, "CHS"}, {0x0401, "ARA"}, {0x0402, "BGR"}, {0x0403, "CAT"}, {0x0404, "CHT"}, {0x0405, "CSY"},
    {0x0406, "DAN"}, {0x0407, "DEU"}, {0x0408, "ELL"}, {0x0409, "ENU"}, {0x040A, "ESP"}, {0x040B, "FIN"},
    {0x040C, "FRA"}, {0x040D, "HEB"}, {0x040E, "HUN"}, {0x040F, "ISL"}, {0x0410, "ITA"}, {0x0411, "JPN"},
    {0x0412, "KOR"}, {0x0413, "NLD"}, {0x0414, "NOR"}, {0x0415, "PLK"}, {0x0416, "PTB"}, {0x0418, "ROM"},
    {0x0419, "RUS"}, {0x041A, "HRV"}, {0x041B, "SKY"}, {0x041C, "SQI"}, {0x041D, "SVE"}, {0x041E, "THA"},
    {0x041F, "TRK"}, {0x0421, "IND"}, {0x0422, "UKR"}, {0x0424, "SLV"}, {0x0425, "ETI"}, {0x0426, "LVI"},
    {0x0427, "LTH"}, {0x042A, "VIT"}, {0x0501, "QPS"}, {0x0804, "CHS"}, {0x0807, "DES"}, {0x0809, "ENG"},
    {0x080A, "ESM"}, {0x080C, "FRB"}, {0x0810, "ITS"}, {0x0813, "NLB"}, {0x0814, "NON"}, {0x0816, "PTG"},
    {0x081D, "SVF"}, {0x0C04, "ZHH"}, {0x0C07, "DEA"}, {0x0C09, "ENA"}, {0x0C0A, "ESN"}, {0x0C0C, "FRC"},
    {0x1004, "ZHI"}, {0x1007, "DEL"}, {0x1009, "ENC"}, {0x100C, "FRS"}, {0x1404, "ZHM"}, {0x1407, "DEC"},
    {0x1409, "ENZ"}, {0x140C, "FRL"}, {0x1809, "ENI"}, {0x180C, "FRM"}, {0x1C09, "ENS"}, {0x2009, "ENJ"},
    {0x2409, "ENB"}, {0x2809, "ENL"}, {0x2C09, "ENT"}, {0x3009, "ENW"}, {0x3409, "ENP"}, {0x4009, "ENN"},
    {0x4409, "ENM"}, {0x4809, "ENE"}, {0x7C04, "CHT"}};

KxString FromIcu(UChar const* text, int length) {
    std::u16string units(static_cast<std::size_t>(std::max(length, 0)), u'\0');
    std::copy(text, text + units.size(), units.begin());
    return KxxWidenUtf16(units);
}

}  // namespace

unsigned short KxxFindLanguage(std::string const& localeName) {
    char name[ULOC_FULLNAME_CAPACITY] = "";
    UErrorCode error = U_ZERO_ERROR;
    std::string const plain = localeName.substr(0, localeName.find_first_of(".@"));
    uloc_canonicalize(plain.c_str(), name, sizeof name, &error);
    if (U_FAILURE(error) || error == U_STRING_NOT_TERMINATED_WARNING) return 0;
    unsigned const found = uloc_getLCID(name) & 0xFFFF;
    if (found == 0 || (found & 0x3FF) == 0) return 0;
    // A language without a variant has the default one.
    return static_cast<unsigned short>(found >> 10 ? found : found | 0x400);
}

unsigned short KxxGetUserLanguage() {
    static unsigned short const language = [] {
        unsigned short const found = KxxFindLanguage(g_userLocale.name);
        return found != 0 ? found : englishOfTheUnitedStates;
    }();
    return language;
}

unsigned short KxxGetThreadLanguage() {
    return t_language != 0 ? t_language : KxxGetUserLanguage();
}

unsigned short KxxSetThreadLanguage(unsigned short language) {
    unsigned short const former = KxxGetThreadLanguage();
    t_language = language;
    return former;
}

std::string KxxGetLocaleName(unsigned short language) {
    if (language == pseudoLanguage) return "en_US";  // the data have no names for it
    char name[ULOC_FULLNAME_CAPACITY] = "";
    UErrorCode error = U_ZERO_ERROR;
    int const length = uloc_getLocaleForLCID(language, name, sizeof name, &error);
    if (U_FAILURE(error) || length <= 0 || length >= static_cast<int>(sizeof name)) return {};
    return std::string(name, static_cast<std::size_t>(length));
}

KxString KxxGetLanguageCode(unsigned short language) {
    auto const known = std::lower_bound(std::begin(codes), std::end(codes), language,
                                        [](Code const& a, unsigned short b) { return a.language < b; });
    if (known != std::end(codes) && known->language == language) return KxString(known->code);
    std::string const locale = KxxGetLocaleName(language);
    return locale.empty() ? KxString() : KxString(uloc_getISO3Language(locale.c_str())).Upper();
}

KxString KxxGetLanguageName(unsigned short language, unsigned short inLanguage) {
    std::string const locale = KxxGetLocaleName(language), in = KxxGetLocaleName(inLanguage);
    if (locale.empty()) return KxString();
    UChar name[256];
    UErrorCode error = U_ZERO_ERROR;
    int const length = uloc_getDisplayName(locale.c_str(), in.c_str(), name, static_cast<int>(std::size(name)), &error);
    return U_FAILURE(error) ? KxString() : FromIcu(name, std::min(length, static_cast<int>(std::size(name))));
}

}  // namespace KxN
