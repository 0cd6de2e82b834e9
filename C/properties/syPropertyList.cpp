// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The children are linked with each other and, once there are more than a few, chained in buckets by their names. Links to
// the parent make walks through whole trees possible without recursion and without memory.
#include "hbtools/properties/syPropertyList.h"

#include "hbtools/base/syResource.h"
#include "properties/syTextIds.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <typeinfo>
#include <vector>

namespace KxN {

namespace {

constexpr wchar_t const* sourceName = L"syPropertyList";
constexpr int shortList = 8;  // is searched from its begin

// Begins with another number in each process, so that no file can be made whose names all collide.
std::size_t HashOf(std::wstring_view name) {
    static std::size_t const seed = (std::size_t{std::random_device()()} << 32) ^ std::random_device()();
    constexpr std::size_t multiplier = 0x9E3779B97F4A7C15u;
    std::size_t hash = seed ^ name.size();
    for (; name.size() >= 2; name.remove_prefix(2)) {
        std::size_t pair;
        std::memcpy(&pair, name.data(), sizeof pair);
        hash = (hash ^ pair) * multiplier;
        hash ^= hash >> 32;
    }
    if (!name.empty()) hash ^= static_cast<std::uint32_t>(name[0]);
    hash *= multiplier;
    return hash ^ (hash >> 32);
}

/// A list of the application's own may do everything differently; it is asked, and not walked through.
KxPropertyList* PlainList(KxProperty* property) {
    return typeid(*property) == typeid(KxPropertyList) ? static_cast<KxPropertyList*>(property) : nullptr;
}

[[noreturn]] void Throw(unsigned long line, KxString const& name, unsigned short id) {
    throw new KxPropertyException(sourceName, line, name, KxString(KxResId(id)));
}

// Lists stand within one another: what is not needed meanwhile shall not be on the stack.
[[gnu::noinline]] void CheckCount(CArchive& archive, ULONGLONG count) {
    if (count > KxPropertyList::maximumCount)
        AfxThrowArchiveException(CArchiveException::badIndex, archive.GetFile()->GetFileName());
}

/// A child is a property, and has no owner yet.
void CheckChild(CArchive& archive, KxPersistentObject& object, bool isKnown) {
    if (isKnown || !dynamic_cast<KxProperty*>(&object)) KxPersistentObject::ThrowWrongObject(archive, __LINE__);
}

}  // namespace

KxPropertyList::KxPropertyList(KxPropertyList const& other)
    : KxPropertyList(other.GetName(), other.GetMessageFormat(), other.GetPropertyGroup()) {
    CopyChildren(other);
}

KxPropertyList& KxPropertyList::operator=(KxPropertyList const& other) {
    if (this == &other) return *this;
    KxPropertyList copy(other);
    KxProperty::operator=(other);
    std::swap(m_first, copy.m_first);
    std::swap(m_last, copy.m_last);
    std::swap(m_count, copy.m_count);
    std::swap(m_lastNumber, copy.m_lastNumber);
    std::swap(m_buckets, copy.m_buckets);
    std::swap(m_numBuckets, copy.m_numBuckets);
    if (copy.m_mayRepeat) MarkRenamed();
    for (KxProperty& child : *this) child.m_links.list = this;
    for (KxProperty& child : copy) child.m_links.list = &copy;
    return *this;
}

KxPropertyList::~KxPropertyList() {
    RemoveAll();
}

int KxPropertyList::Exists(KxString const& name) const {
    return Find(name) != nullptr;
}

KxProperty* KxPropertyList::GetProperty(KxString const& name) {
    KxProperty* const property = Find(name);
    if (!property) Throw(__LINE__, name, text::PropertyNotFound);
    return property;
}

KxProperty const* KxPropertyList::GetProperty(KxString const& name) const {
    KxProperty const* const property = Find(name);
    if (!property) Throw(__LINE__, name, text::PropertyNotFound);
    return property;
}

void KxPropertyList::Insert(KxProperty* property) {
    if (!property) AfxThrowInvalidArgException();
    if (Find(property->GetName())) Throw(__LINE__, property->GetName(), text::PropertyExists);
    if (property->m_links.list) AfxThrowInvalidArgException();
    if (property->IsList())
        for (KxProperty const* above = this; above; above = above->m_links.list)
            if (above == property) AfxThrowInvalidArgException();
    MakeRoom();
    Link(property);
    if (property->m_mayRepeat) MarkRenamed();
}

void KxPropertyList::Remove(KxString const& name) {
    KxProperty* const property = GetProperty(name);
    Unlink(property);
    delete property;
}

void KxPropertyList::RemoveAll() {
    KxPropertyList* list = this;
    for (;;) {
        list->m_buckets.reset();
        list->m_numBuckets = 0;
        KxProperty* const child = list->m_first;
        if (!child) {
            if (list == this) return;
            KxPropertyList* const parent = list->m_links.list;
            parent->Unlink(list);
            delete list;
            list = parent;
            continue;
        }
        auto* const inner = child->IsList() ? dynamic_cast<KxPropertyList*>(child) : nullptr;
        if (inner && inner->m_first) {
            list = inner;
            continue;
        }
        list->Unlink(child);
        delete child;
    }
}

KxProperty* KxPropertyList::Find(KxString const& name) const {
    if (!m_buckets) {
        KxProperty* child = m_first;
        while (child && child->m_name.View() != name.View()) child = child->m_links.next;
        return child;
    }
    std::size_t const hash = HashOf(name.View());
    KxProperty* found = nullptr;
    for (KxProperty* child = m_buckets[hash & (m_numBuckets - 1)]; child; child = child->m_links.nextInBucket) {
        if (child->m_links.hash != hash || child->m_name.View() != name.View()) continue;
        // Renaming may have given a name twice: the first one counts.
        if (!found || child->m_links.number < found->m_links.number) found = child;
    }
    return found;
}

int KxPropertyList::LongestSearch() const {
    if (!m_buckets) return m_count;
    int longest = 0;
    for (std::size_t i = 0; i < m_numBuckets; ++i) {
        int length = 0;
        for (KxProperty const* child = m_buckets[i]; child; child = child->m_links.nextInBucket) ++length;
        longest = std::max(longest, length);
    }
    return longest;
}

/// So that one more child can be linked without failing.
void KxPropertyList::MakeRoom() {
    std::size_t const needed = static_cast<std::size_t>(m_count) + 1;
    if (needed <= shortList || needed <= m_numBuckets) return;
    std::size_t const numBuckets = std::max<std::size_t>(m_numBuckets * 2, 32);
    m_buckets = std::make_unique<KxProperty*[]>(numBuckets);
    m_numBuckets = numBuckets;
    for (KxProperty& child : *this) Index(&child);
}

void KxPropertyList::Index(KxProperty* property) noexcept {
    if (!m_buckets) return;
    KxProperty::SLinks& links = property->m_links;
    links.hash = HashOf(property->m_name.View());
    KxProperty*& bucket = m_buckets[links.hash & (m_numBuckets - 1)];
    links.nextInBucket = std::exchange(bucket, property);
}

void KxPropertyList::Unindex(KxProperty* property) noexcept {
    if (!m_buckets) return;
    KxProperty** link = &m_buckets[property->m_links.hash & (m_numBuckets - 1)];
    while (*link != property) link = &(*link)->m_links.nextInBucket;
    *link = property->m_links.nextInBucket;
}

void KxPropertyList::Link(KxProperty* property) noexcept {
    KxProperty::SLinks& links = property->m_links;
    links.list = this;
    links.previous = m_last;
    links.next = nullptr;
    links.number = ++m_lastNumber;
    (m_last ? m_last->m_links.next : m_first) = property;
    m_last = property;
    ++m_count;
    Index(property);
}

void KxPropertyList::Unlink(KxProperty* property) noexcept {
    Unindex(property);
    KxProperty::SLinks& links = property->m_links;
    (links.previous ? links.previous->m_links.next : m_first) = links.next;
    (links.next ? links.next->m_links.previous : m_last) = links.previous;
    links = {};
    --m_count;
}

void KxPropertyList::CopyChildren(KxPropertyList const& source) {
    KxPropertyList const* from = &source;
    KxPropertyList* to = this;
    m_mayRepeat = source.m_mayRepeat;
    for (KxProperty* child = source.m_first; child || from != &source;) {
        if (!child) {
            child = from->m_links.next;
            from = from->m_links.list;
            to = to->m_links.list;
            continue;
        }
        KxPropertyList const* const inner = PlainList(child);
        std::unique_ptr<KxProperty> copy(
            inner ? new KxPropertyList(inner->GetName(), inner->GetMessageFormat(), inner->GetPropertyGroup())
                  : child->Clone());
        if (!copy) AfxThrowInvalidArgException();
        to->MakeRoom();
        KxProperty* const linked = copy.release();
        to->Link(linked);
        if (inner && inner->m_first) {
            from = inner;
            to = static_cast<KxPropertyList*>(linked);
            to->m_mayRepeat = inner->m_mayRepeat;
            child = inner->m_first;
        } else {
            child = child->m_links.next;
        }
    }
}

void KxPropertyList::CheckStorable(CArchive& archive) const {
    CheckCount(archive, static_cast<ULONGLONG>(m_count));
    // Not without need: the children are all over the memory.
    if (GivesNumbers())
        for (KxProperty const& child : *this)
            if (child.WouldBeReference()) ThrowWrongObject(archive, __LINE__);
    CheckNames();
}

/// Nothing to do unless somebody gave a name since the last time. Then it looks at the whole tree, so that the lists in
/// it have nothing left to do when their turn comes.
[[gnu::noinline]] void KxPropertyList::CheckNames() const {
    if (!m_mayRepeat) return;
    std::vector<KxPropertyList const*> lists{this};
    for (std::size_t i = 0; i < lists.size(); ++i) {
        for (KxProperty const& child : *lists[i]) {
            if (lists[i]->Find(child.GetName()) != &child) Throw(__LINE__, child.GetName(), text::PropertyExists);
            if (!child.m_mayRepeat) continue;
            if (auto const* const inner = dynamic_cast<KxPropertyList const*>(&child)) lists.push_back(inner);
        }
    }
    for (KxPropertyList const* list : lists) list->m_mayRepeat = false;
}

void KxPropertyList::MarkRenamed() noexcept {
    for (KxProperty* list = this; list && !list->m_mayRepeat; list = list->m_links.list) list->m_mayRepeat = true;
}

void KxPropertyList::Serialize(CArchive& archive) {
    if (archive.IsStoring()) {
        // A stream with a wrong count could not be read.
        CheckCount(archive, static_cast<ULONGLONG>(m_count));
        CheckNames();
        KxProperty::Serialize(archive);
        archive << std::uint32_t{GetCount()};
        for (KxProperty const& child : *this) {
            if (child.WouldBeReference()) ThrowWrongObject(archive, __LINE__);
            child.Store(archive);
        }
        return;
    }
    KxProperty::Serialize(archive);
    std::uint32_t count = 0;
    archive >> count;
    CheckCount(archive, count);
    for (; count > 0; --count) {
        std::unique_ptr<KxProperty> child(static_cast<KxProperty*>(LoadChecked(archive, &CheckChild)));
        Insert(child.get());
        static_cast<void>(child.release());
    }
}

int KxPropertyList::IsList() const {
    return 1;
}

KxString KxPropertyList::GetMessageW() const {
    return GetMessageFormat();
}

/// Calls `line` for each plain list, this one first, with its level; it says whether the children follow. They are walked
/// in turn if they are plain lists too; everything else is for `other`.
template <class Line, class Other>
void KxPropertyList::WalkLists(unsigned long level, Line line, Other other) {
    if (!line(*this, level)) return;
    KxPropertyList* list = this;
    for (KxProperty* child = m_first; child || list != this;) {
        if (!child) {
            child = list->m_links.next;
            list = list->m_links.list;
            --level;
            continue;
        }
        KxPropertyList* const inner = PlainList(child);
        if (!inner) other(*child, level + 1);
        if (inner && line(*inner, level + 1) && inner->m_first) {
            list = inner;
            child = inner->m_first;
            ++level;
        } else {
            child = child->m_links.next;
        }
    }
}

void KxPropertyList::GetAllMessageBufResized(KxTBlockMem<KxString*>& messages, KxTMem<unsigned long> const& groups,
                                             unsigned long level, int showHidden, char fillChar,
                                             unsigned short indent) {
    WalkLists(
        level,
        [&](KxPropertyList& list, unsigned long at) {
            if ((list.IsHidden() && !showHidden) || !list.IsListedIn(groups)) return false;
            list.KxProperty::GetAllMessageBufResized(messages, at, showHidden, fillChar, indent);
            return true;
        },
        [&](KxProperty& child, unsigned long at) {
            child.GetAllMessageBufResized(messages, groups, at, showHidden, fillChar, indent);
        });
}

void KxPropertyList::GetAllMessageBufResized(KxTBlockMem<KxString*>& messages, unsigned long level, int showHidden,
                                             char fillChar, unsigned short indent) {
    WalkLists(
        level,
        [&](KxPropertyList& list, unsigned long at) {
            if (list.IsHidden() && !showHidden) return false;
            list.KxProperty::GetAllMessageBufResized(messages, at, showHidden, fillChar, indent);
            return true;
        },
        [&](KxProperty& child, unsigned long at) {
            child.GetAllMessageBufResized(messages, at, showHidden, fillChar, indent);
        });
}

KxProperty* KxPropertyList::Clone() const {
    return new KxPropertyList(*this);
}

}  // namespace KxN
