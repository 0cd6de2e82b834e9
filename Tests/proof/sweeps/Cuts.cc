// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Cuts.h"

#include "../../fuzz/FuzzInput.h"

#include "hbtools/persistence/syObjectInspector.h"
#include "hbtools/persistence/syTagInspector.h"

#include <algorithm>

namespace proof {

using namespace KxN;

namespace {

bool Always(std::string const&, std::size_t) {
    return true;
}

/// The rest is part of the last line.
bool IsInLastLine(std::string const& whole, std::size_t length) {
    return whole.find_last_of('\n', whole.size() - 2) < length;
}

bool IsBlankBehind(std::string const& whole, std::size_t length) {
    return whole.find_first_not_of(" \r\n\t", length) == std::string::npos;
}

/// Neither records in front of the last one are gone nor a part of its head.
bool IsInLastPayload(std::string const& whole, std::size_t length) {
    FuzzInput file(reinterpret_cast<std::uint8_t const*>(whole.data()), whole.size());
    KxTagInspector inspector(&file);
    inspector.Inspect();
    SxTagRecord last{};
    for (SxTagRecord const& record : inspector.Records())
        if (record.position >= last.position) last = record;
    if (length == last.position || length >= last.image.dataAddress) return true;
    FuzzInput cut(reinterpret_cast<std::uint8_t const*>(whole.data()), length);
    KxTagInspector rest(&cut);
    rest.Inspect();
    return rest.Records().Size() == 0;  // all behind a header, as if nothing had been stored yet
}

/// Nothing tells how many objects a stream has.
bool IsBetweenObjects(std::string const& whole, std::size_t length) {
    FuzzInput file(reinterpret_cast<std::uint8_t const*>(whole.data()), whole.size());
    KxObjectInspector objects(&file);
    ULONGLONG end = 0;
    do {
        objects.Begin(end, whole.size());
        for (SxObject object; objects.Next(object);) {}
        end = objects.GetPosition();
    } while (end < length && !objects.HasFault());
    return end == length;
}

constexpr Format formats[] = {
    {" .tag ", "no checksum: a level may have ended there, and the payload of the last record has no declared end",
     IsInLastPayload},
    {" .stream ", "objects that stand for themselves", IsBetweenObjects},
    {" .ini .macro .txt .csv .xyz .debug ", "lines that stand for themselves, the last one without an end", Always},
    {" .texts ", "the last text may have had more words; that others are missing is told by a strict check",
     IsInLastLine},
    {" .ply .pcd ", "the last number of a text may have had more digits", IsInLastLine},
    {" .bas ", "the last text may have had more words", IsInLastLine},
    {" .xml ", "blanks behind the last element", IsBlankBehind},
};
constexpr Format strict{"", "", nullptr};

}  // namespace

Format const& FormatOf(std::filesystem::path const& file) {
    for (Format const& format : formats)
        if (std::string(format.extensions).find(" " + file.extension().string() + " ") != std::string::npos)
            return format;
    return strict;
}

std::vector<std::size_t> BordersOf(std::string const& whole) {
    std::size_t const size = whole.size();
    std::vector<std::size_t> borders = {0, 1, size / 3, size / 2, size - 1};
    FuzzInput file(reinterpret_cast<std::uint8_t const*>(whole.data()), size);
    KxTagInspector inspector(&file);
    std::vector<std::size_t> inner;
    Survive([&] {
        inspector.Inspect();
        for (SxTagRecord const& record : inspector.Records()) {
            inner.push_back(static_cast<std::size_t>(record.position));
            inner.push_back(static_cast<std::size_t>(record.image.dataAddress));
        }
    });
    if (inner.empty())
        for (std::size_t at = 0; (at = whole.find('\n', at)) != std::string::npos;) inner.push_back(++at);
    constexpr std::size_t few = 4;
    for (std::size_t i = 0; i < inner.size(); i += std::max<std::size_t>(1, inner.size() / few))
        borders.push_back(inner[i]);
    std::erase_if(borders, [&](std::size_t border) { return border >= size; });
    std::ranges::sort(borders);
    borders.erase(std::unique(borders.begin(), borders.end()), borders.end());
    return borders;
}

}  // namespace proof
