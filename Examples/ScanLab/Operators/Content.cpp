// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Content.h"

#include "TextIds.h"

#include <hbtools/base/syException.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace ScanLab {

using namespace KxN;

namespace {

/// Blocks of memory by their addresses, and their bytes.
using Blocks = std::map<void const*, ULONGLONG>;

ULONGLONG SizeOf(KxString const& text) {
    return sizeof(wchar_t) * static_cast<ULONGLONG>(text.Len());
}

template <class... T>
ULONGLONG ValuesOf(KxProperty const& property) {
    ULONGLONG size = 0;
    auto const add = [&](auto const* buffer, std::size_t each) {
        if (buffer) size = each * static_cast<ULONGLONG>(buffer->Get().Size());
    };
    (add(dynamic_cast<KxTBuf1DProperty<T> const*>(&property), sizeof(T)), ...);
    if (auto const* const text = dynamic_cast<KxStringProperty const*>(&property)) size = SizeOf(text->Get());
    return size;
}

ULONGLONG SizeOf(KxPropertyList const& conditions) {
    constexpr ULONGLONG perProperty = 256;  // of itself and its place in the list
    ULONGLONG size = 0;
    std::set<void const*> formats;  // which properties share
    std::vector<KxPropertyList const*> lists;
    auto const add = [&](KxProperty const& property) {
        size += perProperty + SizeOf(property.GetName()) +
                ValuesOf<char, unsigned char, short, unsigned short, int, unsigned, long, unsigned long, float, double>(
                    property);
        KxString const& format = property.GetMessageFormat();
        if (formats.insert(&format).second) size += SizeOf(format);
        if (auto const* const list = dynamic_cast<KxPropertyList const*>(&property)) lists.push_back(list);
    };
    add(conditions);
    while (!lists.empty()) {
        KxPropertyList const& list = *lists.back();
        lists.pop_back();
        for (KxProperty const& property : list) add(property);
    }
    return size;
}

void Collect(Blocks& blocks, Shared<KxTDynArray<KxVec3d>> const& points) {
    blocks[&*points] = sizeof(KxVec3d) * static_cast<ULONGLONG>(points->Capacity());
}

void Collect(Blocks& blocks, Shared<KxHistogram> const& values) {
    blocks[&*values] = sizeof(double) * static_cast<ULONGLONG>(values->Count());
}

Blocks BlocksOf(Content const& content) {
    Blocks blocks;
    for (auto const& entry : content.Entries()) {
        Scan const& scan = entry->stored.scan;
        blocks[entry.get()] = sizeof(Entry);
        Collect(blocks, scan.points);
        Collect(blocks, scan.notFinite);
        Collect(blocks, entry->stored.deviations);
        blocks[&*scan.conditions] = SizeOf(scan.conditions);
    }
    for (auto const& set : content.Deviations()) {
        blocks[set.get()] =
            sizeof(DeviationSet) + sizeof(DeviationSet::Sample) * static_cast<ULONGLONG>(set->samples.Capacity());
        Collect(blocks, set->values);
    }
    for (auto const& fit : content.Fits()) blocks[fit.get()] = sizeof(FitRecord);
    return blocks;
}

}  // namespace

DeviationSet::DeviationSet(KxString const& itsTitle, KxString const& itsUnit, Shared<KxHistogram> itsValues,
                           KxTDynArray<KxVec3d> const& points)
    : title(itsTitle), unit(itsUnit), values(std::move(itsValues)) {
    int const step = std::max(1, (points.Size() + mostSamples - 1) / mostSamples);
    samples.Reserve(points.Size() / step + 1);
    int i = 0;
    for (double const value : values->Values()) {
        if (i >= points.Size()) break;
        if (i % step == PlaceInBlock(i / step, step)) samples.Add({points[i], value});
        ++i;
    }
}

Content::List<Entry>::iterator Content::Search(KxString const& name) {
    return std::find_if(m_entries.begin(), m_entries.end(), [&](auto const& entry) { return entry->name == name; });
}

Entry& Content::Add(KxString const& wished, KxString const& natural, StoredScan stored) {
    auto entry = std::make_shared<Entry>();
    entry->name = wished;
    if (wished == L"*") {
        entry->name = natural;
        for (int number = 2; Search(entry->name) != m_entries.end(); ++number)
            entry->name = KxxFormat(L"%s-%d", natural, number);
    }
    entry->stored = std::move(stored);
    auto const former = Search(entry->name);
    if (former != m_entries.end()) m_entries.erase(former);
    m_entries.push_back(entry);
    m_current = entry->name;
    return *entry;
}

void Content::AddBeside(KxString const& name, StoredScan stored) {
    KxString const current = m_entries.empty() ? name : m_current;
    Add(name, name, std::move(stored));
    m_current = current;
}

Entry& Content::Edit(KxString const& name) {
    auto copy = std::make_shared<Entry>(Find(name));
    *Search(copy->name) = copy;
    return *copy;
}

Entry const& Content::Find(KxString const& name) const {
    bool const isCurrent = name == L"*";
    if (isCurrent && m_entries.empty()) throw new KxException(L"Session", __LINE__, TextOf(Text::NoScan));
    KxString const& wanted = isCurrent ? m_current : name;
    for (auto const& entry : m_entries)
        if (entry->name == wanted) return *entry;
    throw new KxException(L"Session", __LINE__, FormatOf(Text::ScanUnknown, name));
}

void Content::Remove(KxString const& name) {
    auto const found = Search(KxString(Find(name).name));
    bool const wasCurrent = (*found)->name == m_current;
    m_entries.erase(found);
    if (wasCurrent && !m_entries.empty()) m_current = m_entries.back()->name;
}

void Content::Add(DeviationSet set) {
    std::erase_if(m_deviations, [&](auto const& other) { return other->title == set.title; });
    m_deviations.push_back(std::make_shared<DeviationSet>(std::move(set)));
}

DeviationSet const& Content::CurrentDeviations() const {
    if (m_deviations.empty()) throw new KxException(L"Session", __LINE__, TextOf(Text::NoDeviations));
    return *m_deviations.back();
}

ULONGLONG Content::SizeBeyond(Content const& other) const {
    Blocks const others = BlocksOf(other);
    ULONGLONG size = 0;
    for (auto const& [block, bytes] : BlocksOf(*this))
        if (!others.contains(block)) size += bytes;
    return size;
}

}  // namespace ScanLab
