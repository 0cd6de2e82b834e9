// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Session.h"

#include "TextIds.h"

#include <hbtools/base/syDirEntry.h>
#include <hbtools/base/syException.h>

#include <algorithm>
#include <utility>

namespace ScanLab {

using namespace KxN;

DeviationSet::DeviationSet(KxString const& itsTitle, KxString const& itsUnit, KxHistogram const& itsValues,
                           KxTDynArray<KxVec3d> const& points)
    : title(itsTitle), unit(itsUnit), values(itsValues) {
    int const step = std::max(1, (points.Size() + mostSamples - 1) / mostSamples);
    samples.Reserve(points.Size() / step + 1);
    int i = 0;
    for (double const value : values.Values()) {
        if (i >= points.Size()) break;
        if (i % step == PlaceInBlock(i / step, step)) samples.Add({points[i], value});
        ++i;
    }
}

std::vector<std::unique_ptr<Entry>>::iterator Session::Search(KxString const& name) {
    return std::find_if(m_entries.begin(), m_entries.end(), [&](auto const& entry) { return entry->name == name; });
}

Entry& Session::Add(KxString const& wished, KxString const& natural, StoredScan stored) {
    auto entry = std::make_unique<Entry>();
    entry->name = wished;
    if (wished == L"*") {
        entry->name = natural;
        for (int number = 2; Search(entry->name) != m_entries.end(); ++number)
            entry->name = KxxFormat(L"%s-%d", natural, number);
    }
    entry->stored = std::move(stored);
    auto const former = Search(entry->name);
    if (former != m_entries.end()) m_entries.erase(former);
    m_entries.push_back(std::move(entry));
    m_current = m_entries.back().get();
    return *m_current;
}

void Session::AddBeside(KxString const& name, StoredScan stored) {
    Entry* const former = m_current;
    bool const stays = former && former->name != name;
    Add(name, name, std::move(stored));
    if (stays) m_current = former;
}

Entry& Session::Find(KxString const& name) {
    if (name == L"*") {
        if (!m_current) throw new KxException(L"Session", __LINE__, TextOf(Text::NoScan));
        return *m_current;
    }
    auto const found = Search(name);
    if (found == m_entries.end()) throw new KxException(L"Session", __LINE__, FormatOf(Text::ScanUnknown, name));
    return **found;
}

void Session::Remove(KxString const& name) {
    Entry* const entry = &Find(name);
    m_entries.erase(std::find_if(m_entries.begin(), m_entries.end(), [&](auto const& e) { return e.get() == entry; }));
    if (m_current == entry) m_current = m_entries.empty() ? nullptr : m_entries.back().get();
}

void Session::Add(DeviationSet set) {
    std::erase_if(m_deviations, [&](DeviationSet const& other) { return other.title == set.title; });
    m_deviations.push_back(std::move(set));
}

DeviationSet const& Session::CurrentDeviations() const {
    if (m_deviations.empty()) throw new KxException(L"Session", __LINE__, TextOf(Text::NoDeviations));
    return m_deviations.back();
}

KxString Session::OutputPath(KxString const& name) const {
    if (name.Len() == 0) throw new KxException(L"Session", __LINE__, TextOf(Text::NoFileName));
    KxDirEntry const path(KxDirEntry(m_folder) + KxDirEntry(name));
    KxDirEntry const folder(path.GetPath());
    if (folder.GetFull().Len() > 0 && !KxTools::FileStat(folder).GetKind() && !folder.MakeDir(1))
        throw new KxFileException(L"Session", __LINE__, FormatOf(Text::NoFolder, folder.GetFull()));
    return KxString(path.GetFull());
}

}  // namespace ScanLab
