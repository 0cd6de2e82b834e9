// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/config/syEnum.h"

#include <algorithm>

namespace KxN {

KxEnum::~KxEnum() = default;

KxEnum& KxEnum::operator=(KxEnum const& other) {
    if (this == &other) return *this;
    Clear();
    return *this += other;
}

KxEnum& KxEnum::operator+=(KxEnum const& other) {
    if (this == &other) return *this;
    for (auto const& item : other.m_items) *this += *item;
    return *this;
}

KxEnum& KxEnum::operator+=(KxItem const& item) {
    if (!item.GetLabel() || Exist(item.GetLabel())) return *this;
    m_items.push_back(std::make_unique<KxItem const>(item));
    try {
        m_byLabel.emplace(m_items.back()->GetLabel().View(), m_items.back().get());
    } catch (...) {
        m_items.pop_back();
        throw;
    }
    return *this;
}

void KxEnum::Clear() {
    m_byLabel.clear();
    m_items.clear();
}

KxEnum::KxItem const& KxEnum::operator[](unsigned int index) const {
    static KxItem const none;
    return index < m_items.size() ? *m_items[index] : none;
}

int KxEnum::Exist(KxString const& label) const {
    return m_byLabel.contains(label.View());
}

int KxEnum::GetValue(KxString const& label) const {
    auto const found = m_byLabel.find(label.View());
    return found == m_byLabel.end() ? 0 : found->second->GetValue();
}

KxString KxEnum::GetLabel(int value, unsigned int index) const {
    for (auto const& item : m_items)
        if (item->GetValue() == value && index-- == 0) return item->GetLabel();
    return {};
}

unsigned int KxEnum::GetLabelCount(int value) const {
    return static_cast<unsigned int>(
        std::count_if(m_items.begin(), m_items.end(), [&](auto const& item) { return item->GetValue() == value; }));
}

KxEnum::KxItem KxEnum::FindFirst(KxString const& text, int caseSensitive, int partial) const {
    m_searchText = caseSensitive ? text : text.Upper();
    m_searchCaseSensitive = caseSensitive;
    m_searchPartial = partial;
    m_searchIndex = 0;
    return FindNext();
}

KxEnum::KxItem KxEnum::FindNext() const {
    std::wstring_view const text = m_searchText.View();
    while (m_searchIndex < m_items.size()) {
        KxItem const& item = *m_items[m_searchIndex++];
        KxString const label = m_searchCaseSensitive ? item.GetLabel() : item.GetLabel().Upper();
        if (m_searchPartial ? label.View().starts_with(text) : label.View() == text) return item;
    }
    return {};
}

bool KxEnum::AddUnlessEnd(KxItem const& item) {
    *this += item;
    return item.GetLabel().Len() > 0;
}

bool KxEnum::AddUnlessEnd(int& value, char const* label) {
    if (!label) return false;
    *this += KxItem(value, KxString(label));
    value = static_cast<int>(static_cast<unsigned>(value) + 1);  // behind the last number comes the first
    return true;
}

KxEnumBOOL::KxEnumBOOL() {
    *this += KxItem(1, L"TRUE");
    *this += KxItem(1, L"true");
    *this += KxItem(0, L"FALSE");
    *this += KxItem(0, L"false");
}

KxEnumBOOL::KxEnumBOOL(KxEnumBOOL const& other) : KxEnum(other) {
    *this += KxEnumBOOL();
}

}  // namespace KxN
