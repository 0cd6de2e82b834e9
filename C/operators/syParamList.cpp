// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/operators/syParamList.h"

#include "operators/syOperatorParts.h"

#include <algorithm>

namespace KxN {

KxParameterList::KxParameterList(unsigned short id, KxTMem<KxString> const& entries, KxString const& selected,
                                 KxString const& defaultEntry)
    : KxParameter(id), m_entries(entries), m_selected(GetPos(selected)), m_default(GetPos(defaultEntry)) {
    SetType(PARAMETER_LIST);
}

KxParameterList::KxParameterList(unsigned short id, KxResId const& resId, KxTMem<KxString> const& entries,
                                 KxString const& selected, KxString const& defaultEntry)
    : KxParameter(id, resId), m_entries(entries), m_selected(GetPos(selected)), m_default(GetPos(defaultEntry)) {
    SetType(PARAMETER_LIST);
}

KxParameterList::~KxParameterList() = default;

KxTMem<KxString> KxParameterList::Listed(std::initializer_list<KxString> entries) {
    return {entries.begin(), entries.size()};
}

unsigned long KxParameterList::GetPos(KxString const& entry) const {
    unsigned long const count = std::min(m_entries.Size(), none);
    for (unsigned long i = 0; i < count; ++i)
        if (m_entries[i] == entry) return i;
    return none;
}

KxString const& KxParameterList::EntryAt(unsigned long index) const {
    static KxString const noEntry;
    return index < m_entries.Size() && index != none ? m_entries[index] : noEntry;
}

unsigned long KxParameterList::Known(KxString const& entry, KxString const& prefix, unsigned long line) const {
    unsigned long const position = GetPos(entry);
    if (position != none) return position;
    throw new KxException(
        L"syParamList", line,
        detail::FormatOf(text::EntryUnknown, GetFixName(), detail::TextOf(text::WordList), prefix, entry));
}

void KxParameterList::SelectEntry(KxString const& entry) {
    m_selected = Known(entry, KxString(), __LINE__);
    SignalValueChanged.Emit(*this);
}

void KxParameterList::SetDefaultEntry(KxString const& entry) {
    // The number itself, as it always stood in this message.
    m_default = Known(entry, KxTools::String(text::EntryDefault), __LINE__);
}

void KxParameterList::SetList(KxTMem<KxString> const& entries) {
    m_entries = entries;
    SignalAttributesChanged.Emit(*this);
}

void KxParameterList::Save(KxString const& fileName, KxString const& group) {
    detail::ParameterSettings settings(fileName, group, GetFixName());
    settings.Write(L"", GetSelectedEntry());
    settings.Write(L"(default)", GetSelectedDefaultEntry());
    settings.Store();
}

void KxParameterList::Load(KxString const& fileName, KxString const& group) {
    detail::ParameterSettings const settings(fileName, group, GetFixName());
    unsigned long const position = GetPos(settings.Read(L"(default)", GetSelectedDefaultEntry()));
    if (position != none) m_default = position;
    unsigned long const selected = GetPos(settings.Read(L"", GetSelectedDefaultEntry()));
    m_selected = selected != none ? selected : m_default;
}

}  // namespace KxN
