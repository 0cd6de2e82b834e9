// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/config/syConfigValues.h"

#include "config/syTextIds.h"
#include "hbtools/base/syLimits.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace KxN {

namespace {

KxString SourceFile() {
    return L"syConfigValues";
}

std::wstring_view WithoutBlanks(std::wstring_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(L" \t\n\v\f\r"), text.size()));
    return text;
}

/// A number in a text and whether the text is one by the rules of its kind.
template <class NUMBER>
struct Parsed {
    NUMBER number = 0;
    bool isNumber = false;

    template <class RANGE>
    bool IsIn(RANGE const& range) const {
        return number >= range.minimum && number <= range.maximum;
    }
};

/// The integer that the text begins with, 0 if there is none; one beyond all our types stays beyond them.
Parsed<long long> ParseInteger(KxString const& text) {
    constexpr long long beyond = 1LL << 62;
    std::wstring_view digits = text.View();
    bool const isNegative = digits.starts_with(L'-');
    if (isNegative || digits.starts_with(L'+')) digits.remove_prefix(1);
    long long number = 0;
    for (wchar_t const c : digits) {
        if (c < L'0' || c > L'9') break;
        number = number >= beyond / 10 ? beyond : number * 10 + (c - L'0');
    }
    return {isNegative ? -number : number, text.IsIntNum() != 0};
}

/// The float that a number from 0 on becomes; infinite where no float is near.
double AsFloat(double number) {
    constexpr double most = std::numeric_limits<float>::max();
    constexpr double halfStep = 0x1p103;  // between the largest floats; from here on it would round up
    if (number >= most) return number < most + halfStep ? most : std::numeric_limits<double>::infinity();
    return double(static_cast<float>(number));
}

/// The floating-point number that the text begins with, in decimal.
Parsed<double> ParseDouble(KxString const& value, bool narrows) {
    std::wstring_view text = WithoutBlanks(value.View());
    bool const isNegative = text.starts_with(L'-');
    if (isNegative || text.starts_with(L'+')) text.remove_prefix(1);
    // What from_chars would take and no measurement is: words, another sign, hexadecimal (of which it takes the 0).
    bool const startsRight = !text.empty() && ((text[0] >= L'0' && text[0] <= L'9') || text[0] == L'.');
    if (!startsRight || text.starts_with(L"0x") || text.starts_with(L"0X")) return {};
    std::string narrow;
    for (wchar_t const c : text.substr(0, text.find_first_not_of(L"0123456789.eE+-"))) narrow += static_cast<char>(c);
    Parsed<double> parsed;
    auto const result = std::from_chars(narrow.data(), narrow.data() + narrow.size(), parsed.number);
    if (result.ec == std::errc::invalid_argument) return {};
    parsed.isNumber = true;
    if (result.ec == std::errc::result_out_of_range)  // too small is 0, too large is in no range
        parsed.number = double(KxString(text)) == 0 ? 0 : std::numeric_limits<double>::infinity();
    if (narrows) parsed.number = AsFloat(parsed.number);
    if (isNegative) parsed.number = -parsed.number;
    return parsed;
}

KxString TextOf(long long number) {
    return KxString(std::to_wstring(number));
}

KxString TextOf(double number) {
    return KxString().SPrintf(L"%lg", number);
}

KxTools::String Full(KxDirEntry const& path) {
    return path.GetFull(KxTools::FSYS_STYLE_HOST, 0, KxTools::WholeText);
}

}  // namespace

KxConfigurationException::KxConfigurationException(KxString const& specMessage)
    : KxReadKeywordException(L"XXX", 0, L"XXX", L"XXX", L"XXX"), m_specMessage(specMessage) {}

void KxConfigurationException::SetSpecMessage(KxString const& message) {
    m_specMessage = message;
    BuildMessage();  // the text may have been asked for already
}

void KxConfigurationException::BuildMessage() {
    if (HasSpecMessage()) {
        m_message = GetSpecMessage();
        KxException::BuildMessage();  // NOLINT(bugprone-parent-virtual-call): not the text of key and group
    } else {
        KxReadKeywordException::BuildMessage();
    }
}

// Failures.

template <class... ARGUMENTS>
int KxConfigValues::Fail(unsigned short id, KxString const& key, ARGUMENTS const&... arguments) const {
    if (!m_throwOnError) return 0;
    KxString message;
    message.SPrintf(MessageFormat(id), key, GroupName(), PathName(), arguments...);
    throw new KxConfigurationException(message);
}

int KxConfigValues::FailRange(KxString const& key, KxString const& value, KxString const& minimum,
                              KxString const& maximum) const {
    if (!m_throwOnError) return 0;
    KxReadKeywordException reason(SourceFile(), __LINE__, key, GroupName(), PathName(), value, minimum, maximum);
    throw new KxConfigurationException(reason);
}

int KxConfigValues::Failure(KxString const& message) const {
    if (m_throwOnError) throw new KxConfigurationException(message);
    return 0;
}

void KxConfigValues::ThrowInvalidKeyException(KxString const& key) const {
    KxReadKeywordException reason(SourceFile(), __LINE__, key, GroupName(), PathName());
    throw new KxConfigurationException(reason);
}

int KxConfigValues::CheckKeyCount(unsigned short count, unsigned short minKeys) {
    if (count != 0) m_groupSeen = 1;
    if (count >= minKeys) return 1;
    return Failure(TooFewKeysMessage(minKeys));
}

// Reading.

int KxConfigValues::Read(KxString& value, KxString const& key) const {
    if (!m_groupSeen) {
        KxDirEntry path(PathName());
        if (!path.ToAbs() || !path.Exists(1)) {
            if (!m_throwOnError) return 0;
            KxFileNotExistException reason(SourceFile(), __LINE__, Full(path));
            throw new KxConfigurationException(reason.GetMessage());
        }
    }
    KxString read = ValueOf(key);
    if (!read) {
        if (m_throwOnError) ThrowInvalidKeyException(key);
        return 0;
    }
    value = std::move(read);
    return 1;
}

KxString KxConfigValues::ReadString(KxString const& key) const {
    KxString value;
    Read(value, key);
    return value;
}

int KxConfigValues::ReadInteger(long long& value, KxString const& key, Range const& range) const {
    KxString text;
    if (!Read(text, key)) return 0;
    auto const parsed = ParseInteger(text);
    if (!parsed.isNumber || !parsed.IsIn(range))
        return FailRange(key, text, TextOf(range.minimum), TextOf(range.maximum));
    value = parsed.number;
    return 1;
}

int KxConfigValues::ReadDouble(double& value, KxString const& key, FloatRange const& range, bool narrows) const {
    KxString text;
    if (!Read(text, key)) return 0;
    auto const parsed = ParseDouble(text, narrows);
    if (!parsed.isNumber || !parsed.IsIn(range))
        return FailRange(key, text, TextOf(range.minimum), TextOf(range.maximum));
    value = parsed.number;
    return 1;
}

template <class PARSED, class RANGE, class NUMBER>
int KxConfigValues::StorePair(KxTPair<NUMBER>& value, KxString const& key, KxString const& text,
                              PARSED const (&parsed)[2], RANGE const& first, RANGE const& second, int ordered) const {
    bool const isFirst = parsed[0].IsIn(first);
    bool const isSecond = parsed[1].IsIn(second);
    if (parsed[0].isNumber && parsed[1].isNumber && isFirst && isSecond) {
        if (ordered && parsed[0].number > parsed[1].number) return Fail(text::NumbersRefused, key);
        value = KxTPair<NUMBER>(parsed[0].number, parsed[1].number);
        return 1;
    }
    // With both in their ranges one of them is no number; then what is allowed at all is told.
    RANGE const hull(std::min(first.minimum, second.minimum), std::max(first.maximum, second.maximum));
    RANGE const& told = !isFirst ? first : !isSecond ? second : hull;
    return FailRange(key, text, TextOf(told.minimum), TextOf(told.maximum));
}

int KxConfigValues::ReadIntegers(KxTPair<long long>& value, KxString const& key, Range const& first,
                                 Range const& second, int ordered) const {
    KxString text;
    if (!Read(text, key)) return 0;
    if (text.GetTokenCount(L';') < 2) return Fail(text::TooFewNumbers, key, 2UL);
    Parsed<long long> const parsed[] = {ParseInteger(text.GetToken(0, L';')), ParseInteger(text.GetToken(1, L';'))};
    return StorePair(value, key, text, parsed, first, second, ordered);
}

int KxConfigValues::ReadDoubles(KxTPair<double>& value, KxString const& key, FloatRange const& first,
                                FloatRange const& second, bool narrows, int ordered) const {
    KxString text;
    if (!Read(text, key)) return 0;
    if (text.GetTokenCount(L';') < 2) return Fail(text::TooFewNumbers, key, 2UL);
    Parsed<double> const parsed[] = {ParseDouble(text.GetToken(0, L';'), narrows),
                                     ParseDouble(text.GetToken(1, L';'), narrows)};
    return StorePair(value, key, text, parsed, first, second, ordered);
}

int KxConfigValues::ReadRectangle(KxTRectangle<long long>& value, KxString const& key, Range const& across,
                                  Range const& down) const {
    KxString text;
    if (!Read(text, key)) return 0;
    if (text.GetTokenCount(L';') < 4) return Fail(text::TooFewNumbers, key, 4UL);
    long long numbers[4];
    for (int i = 0; i < 4; ++i) {
        auto const parsed = ParseInteger(text.GetToken(i, L';'));
        // Callers know this text for both failures, though that of the rectangle would fit the second.
        if (!parsed.isNumber || !parsed.IsIn(i % 2 == 0 ? across : down)) return Fail(text::NumbersRefused, key);
        numbers[i] = parsed.number;
    }
    value = {numbers[0], numbers[1], numbers[2], numbers[3]};
    return 1;
}

int KxConfigValues::Read(int& value, KxString const& key, KxEnum const& labels, int caseSensitive) const {
    KxString text;
    if (!Read(text, key)) return 0;
    KxEnum::KxItem const found = labels.FindFirst(caseSensitive ? text : text.Upper(), caseSensitive, 0);
    if (found.GetLabel().Len() > 0) {
        value = found.GetValue();
        return 1;
    }
    KxString all;
    for (unsigned int i = 0; i < labels.GetCount(); ++i) all += labels[i].GetLabel() + L"\n";
    return Fail(text::LabelUnknown, key, text, all);
}

int KxConfigValues::Read(KxDirEntry& value, KxString const& key, int mustExist) const {
    KxString text;
    if (!Read(text, key)) return 0;
    KxDirEntry path(text);
    if (!path.ToAbs()) return Fail(text::PathRefused, key, text);
    if (mustExist && !path.Exists(1)) return Fail(text::PathMissing, key, text);
    value = std::move(path);
    return 1;
}

int KxConfigValues::ReadBOOL(KxString const& key) const {
    int value = 0;
    Read(value, key, KxEnumBOOL(), 0);
    return value;
}

KxTRange<unsigned short> KxConfigValues::ReadRangeUSHORT(KxString const& key, int ordered) const {
    KxTPair<unsigned short> pair;
    Read(pair, key, ordered);
    return {pair.first, pair.second};
}

// Writing.

int KxConfigValues::Write(KxString const& value, KxString const& key) {
    return Store(key, value) ? 1 : FailStore(key, value);
}

int KxConfigValues::Write(double value, KxString const& key, unsigned short precision) {
    KxString text;
    text.SPrintf(L"%.*lg", std::min<int>(precision, KxxLimits().formatPrecision), value);
    return std::isfinite(value) ? Write(text, key) : FailStore(key, text);
}

int KxConfigValues::Write(KxTPair<double> const& value, KxString const& key, unsigned short precision) {
    int const digits = std::min<int>(precision, KxxLimits().formatPrecision);
    KxString text;
    text.SPrintf(L"%.*lf%c%.*lf", digits, value.first, L';', digits, value.second);
    return std::isfinite(value.first) && std::isfinite(value.second) ? Write(text, key) : FailStore(key, text);
}

int KxConfigValues::Write(KxDirEntry const& value, KxString const& key) {
    unsigned char const isFolder = KxTools::FileStat(value).GetKind() != 0;
    return Write(KxString(value.GetFull(KxTools::FSYS_STYLE_HOST, isFolder, KxTools::WholeText)), key);
}

int KxConfigValues::Write(int value, KxString const& key, KxEnum const& labels, int upper) {
    KxString const label = labels.GetLabel(value, 0);
    if (!label) return FailStore(key, TextOf(static_cast<long long>(value)));
    return Write(upper ? label.Upper() : label, key);
}

KxTools::String KxConfigValues::Text(long long number) {
    return TextOf(number);
}

}  // namespace KxN
