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
    return Lookup(scope, name, NameHash()(name));
}

ConfigLine* ConfigLines::Lookup(ConfigSection const* scope, std::wstring_view name, std::size_t hash) const {
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

/// Adds the name of a line that is the last of all with that name, or of one that is linked already.
void ConfigLines::AddName(ConfigLine* line, bool isLast) {
    line->hash = NameHash()(line->name);
    ConfigLine* const first = Lookup(ScopeOf(line), line->name, line->hash);
    if (!first) {
        line->previousSame = line;
        line->nextSame = nullptr;
        return AddToTable(line);
    }
    ConfigLine* behind = first->previousSame;
    if (!isLast) {  // a key among others of its section
        auto const isSame = [&](ConfigLine const* other) {
            return other->kind == ConfigLine::Key && other->hash == line->hash && NameEqual()(other->name, line->name);
        };
        behind = line->previous;
        while (behind && behind->section == line->section && !isSame(behind)) behind = behind->previous;
        if (behind && behind->section != line->section) behind = nullptr;
    }
    line->isIndexed = false;
    line->previousSame = behind ? behind : first->previousSame;
    line->nextSame = behind ? behind->nextSame : first;
    if (behind) {
        (behind->nextSame ? behind->nextSame : first)->previousSame = line;
        behind->nextSame = line;
    } else {
        first->previousSame = line;
        TakeFromTable(first);
        AddToTable(line);
    }
}

/// Removes the name of a line; the next of that name takes its place.
void ConfigLines::RemoveName(ConfigLine* line) {
    ConfigLine* const next = line->nextSame;
    if (line->isIndexed) {
        TakeFromTable(line);
        if (!next) return;
        next->previousSame = line->previousSame;
        return AddToTable(next);
    }
    (next ? next : Lookup(ScopeOf(line), line->name, line->hash))->previousSame = line->previousSame;
    line->previousSame->nextSame = next;
}

}  // namespace KxN::detail
