// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The table of names. Only the first line of a name stands in it, so that a file of equal names makes no long chains.
#include "config/syConfigLines.h"
#include "hbtools/base/syEncoding.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <random>

namespace KxN::detail {

namespace {

constexpr std::size_t multiplier = 0x9E3779B97F4A7C15u;

wchar_t Upper(wchar_t c) {
    if (c < 0x80) return c >= L'a' && c <= L'z' ? c - 0x20 : c;
    return KxxToUpper(c);
}

/// Another start in each process, so that no file can be made whose names collide.
std::size_t Seed() {
    static std::size_t const seed = (std::size_t{std::random_device()()} << 32) ^ std::random_device()();
    return seed;
}

std::size_t HashOf(std::wstring_view name, std::size_t seed) {
    std::size_t hash = seed;
    for (wchar_t const c : name) {
        hash = (hash ^ static_cast<std::uint32_t>(Upper(c))) * multiplier;
        hash ^= hash >> 32;
    }
    return hash;
}

bool IsEqual(std::wstring_view a, std::wstring_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                              [](wchar_t x, wchar_t y) { return x == y || Upper(x) == Upper(y); });
}

ConfigSection const* ScopeOf(ConfigLine const* line) {
    return line->kind == ConfigLine::Key ? line->section : nullptr;
}

}  // namespace

std::size_t ConfigLines::BucketOf(ConfigSection const* scope, std::size_t hash) const {
    return ((hash ^ reinterpret_cast<std::uintptr_t>(scope)) * multiplier) >> m_tableShift;
}

ConfigLine* ConfigLines::Lookup(ConfigSection const* scope, std::wstring_view name) const {
    std::size_t const hash = HashOf(name, m_seed);
    for (ConfigLine* line = m_table[BucketOf(scope, hash)]; line; line = line->nextInBucket)
        if (line->hash == hash && ScopeOf(line) == scope && IsEqual(line->name, name)) return line;
    return nullptr;
}

void ConfigLines::MakeTable(std::size_t count) {
    m_seed = Seed();
    m_table.assign(std::bit_ceil(std::max<std::size_t>(16, count)), nullptr);
    m_tableShift = 64 - std::countr_zero(m_table.size());
    for (ConfigLine* line = m_first; line; line = line->next) {
        if (!line->isIndexed) continue;
        ConfigLine*& bucket = m_table[BucketOf(ScopeOf(line), line->hash)];
        line->nextInBucket = std::exchange(bucket, line);
    }
}

void ConfigLines::AddToTable(ConfigLine* line) {
    if (++m_indexed > 2 * m_table.size()) MakeTable(m_indexed);
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
    keys.insert(keys.begin() + static_cast<std::ptrdiff_t>(position), line);
    line->hash = HashOf(line->name, m_seed);
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
        return key->hash == line->hash && IsEqual(key->name, line->name);
    });
    if (next == section->keys.end()) return;
    --section->duplicates;
    AddToTable(*next);
}

void ConfigLines::IndexGroup(ConfigLine* line) {
    line->hash = HashOf(line->name, m_seed);
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
        return section->head->hash == line->hash && IsEqual(section->head->name, line->name);
    });
    if (next == m_sections.end()) return;
    --m_groupDuplicates;
    AddToTable((*next)->head);
}

}  // namespace KxN::detail
