// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The table of names. Only the first line of a name stands in it, so that a file of equal names makes no long chains.
#include "config/syConfigLines.h"

#include "base/syNameHash.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <utility>

namespace KxN::detail {

namespace {

ConfigSection const* ScopeOf(ConfigLine const* line) {
    return line->kind == ConfigLine::Key ? line->section : nullptr;
}

}  // namespace

std::size_t ConfigLines::BucketOf(ConfigSection const* scope, std::size_t hash) const {
    return ((hash ^ reinterpret_cast<std::uintptr_t>(scope)) * NameHash::multiplier) >> m_tableShift;
}

ConfigLine* ConfigLines::Lookup(ConfigSection const* scope, std::wstring_view name) const {
    std::size_t const hash = NameHash()(name);
    for (ConfigLine* line = m_table[BucketOf(scope, hash)]; line; line = line->nextInBucket)
        if (line->hash == hash && ScopeOf(line) == scope && NameEqual()(line->name, name)) return line;
    return nullptr;
}

void ConfigLines::MakeTable(std::size_t count) {
    m_table = std::vector<ConfigLine*>(std::bit_ceil(std::max<std::size_t>(16, count)));
    m_tableShift = 64 - std::countr_zero(m_table.size());
    for (ConfigLine* line = m_first; line; line = line->next) {
        if (!line->isIndexed) continue;
        ConfigLine*& bucket = m_table[BucketOf(ScopeOf(line), line->hash)];
        line->nextInBucket = std::exchange(bucket, line);
    }
}

/// Makes room for one more, so that AddToTable never throws.
void ConfigLines::ReserveTable() {
    if (m_indexed >= 2 * m_table.size()) MakeTable(2 * m_indexed);
}

void ConfigLines::AddToTable(ConfigLine* line) {
    ++m_indexed;
    ConfigLine*& bucket = m_table[BucketOf(ScopeOf(line), line->hash)];
    line->nextInBucket = std::exchange(bucket, line);
    line->isIndexed = true;
}

void ConfigLines::TakeFromTable(ConfigLine* line) {
    ConfigLine** link = &m_table[BucketOf(ScopeOf(line), line->hash)];
    while (*link != line) link = &(*link)->nextInBucket;
    *link = line->nextInBucket;
    line->isIndexed = false;
    --m_indexed;
}

/// Adds a key at that place among those of its section.
void ConfigLines::AddKey(ConfigLine* line, std::size_t position) {
    std::vector<ConfigLine*>& keys = line->section->keys;
    ReserveTable();
    keys.insert(keys.begin() + static_cast<std::ptrdiff_t>(position), line);
    line->hash = NameHash()(line->name);
    line->isIndexed = false;
    ConfigLine* const first = Lookup(line->section, line->name);
    if (first) {
        ++line->section->duplicates;
        if (std::find(keys.begin() + static_cast<std::ptrdiff_t>(position), keys.end(), first) == keys.end()) return;
        TakeFromTable(first);
    }
    AddToTable(line);
}

/// A key that is no longer among those of its section; the next of its name takes its place.
void ConfigLines::UnindexKey(ConfigLine* line) {
    ConfigSection* const section = line->section;
    if (!line->isIndexed) {
        --section->duplicates;
        return;
    }
    TakeFromTable(line);
    if (section->duplicates == 0) return;
    auto const next = std::find_if(section->keys.begin(), section->keys.end(), [&](ConfigLine const* key) {
        return key->hash == line->hash && NameEqual()(key->name, line->name);
    });
    if (next == section->keys.end()) return;
    --section->duplicates;
    AddToTable(*next);
}

void ConfigLines::IndexGroup(ConfigLine* line) {
    line->hash = NameHash()(line->name);
    if (Lookup(nullptr, line->name))
        ++m_groupDuplicates;
    else
        AddToTable(line);
}

/// The same for a group whose section has been taken out.
void ConfigLines::UnindexGroup(ConfigLine* line) {
    if (!line->isIndexed) {
        --m_groupDuplicates;
        return;
    }
    TakeFromTable(line);
    if (m_groupDuplicates == 0) return;
    auto const next = std::find_if(m_sections.begin() + 1, m_sections.end(), [&](auto const& section) {
        return section->head->hash == line->hash && NameEqual()(section->head->name, line->name);
    });
    if (next == m_sections.end()) return;
    --m_groupDuplicates;
    AddToTable((*next)->head);
}

}  // namespace KxN::detail
