// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxPropertyList: a property that owns further properties with unique names, in the order of insertion. Lists in lists
// make a tree of named values that is stored as one object, and carried by a KxPropertyListTag in a tag file.
//
//     KxPropertyList conditions(L"Conditions", L"Conditions", 0);
//     conditions.Insert(new KxStringProperty(L"Operator", L"Operator: %s", name, 0));
//     for (KxProperty const& property : conditions) Show(property.GetMessageW());
//
// Names are compared exactly and found by an index: inserting and finding take the same time however long the list is.
// Copying, listing and deleting are no recursion, whatever the depth. Whatever is thrown leaves a list as it was, but for
// Serialize, which keeps what it had loaded. A tree belongs to one thread at a time; several may read one that nobody
// changes.
#pragma once

#include "hbtools/properties/syProperty.h"

#include <iterator>
#include <memory>

namespace KxN {

class KX_API KxPropertyList : public KxProperty {
    template <class P>
    class Walker {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = P;
        using difference_type = std::ptrdiff_t;
        using pointer = P*;
        using reference = P&;

        Walker() = default;
        explicit Walker(P* property) : m_property(property) {}
        P& operator*() const { return *m_property; }
        P* operator->() const { return m_property; }
        Walker& operator++() {
            m_property = NextOf(m_property);
            return *this;
        }
        Walker operator++(int) {
            Walker const before(*this);
            ++*this;
            return before;
        }
        friend bool operator==(Walker const& a, Walker const& b) { return a.m_property == b.m_property; }

    private:
        P* m_property = nullptr;
    };

public:
    using iterator = Walker<KxProperty>;
    using const_iterator = Walker<KxProperty const>;
    /// Children that a list can store.
    static constexpr int maximumCount = 65535;

    KxPropertyList() = default;
    KxPropertyList(KxString const& name, KxString const& message, unsigned long group)
        : KxProperty(name, message, group) {}
    /// Deep.
    KxPropertyList(KxPropertyList const& other);
    /// Deep; what the list held is deleted. `other` may stand within this list, or hold it.
    KxPropertyList& operator=(KxPropertyList const& other);
    ~KxPropertyList() override;

    /// The low 16 bits of the number of children.
    unsigned short GetCount() const { return static_cast<unsigned short>(m_count); }
    /// Non-zero if a child has the name. Children of children are not looked at, here and below.
    int Exists(KxString const& name) const;
    /// The child of that name, which stays the list's. @throws KxPropertyException if there is none
    KxProperty* GetProperty(KxString const& name);
    KxProperty const* GetProperty(KxString const& name) const;
    /// Adds the property at the end; it is the list's from now on. If this throws it still is the caller's.
    /// @throws KxPropertyException if a child has its name; CInvalidArgException for null, for what another list owns,
    /// and for a list that this one stands in
    void Insert(KxProperty* property);
    /// Deletes the child of that name. @throws KxPropertyException if there is none
    void Remove(KxString const& name);
    void RemoveAll();

    iterator begin() { return iterator(m_first); }
    iterator end() { return iterator(); }
    const_iterator begin() const { return const_iterator(m_first); }
    const_iterator end() const { return const_iterator(); }

    /// The properties that the longest search for a name would look at: stays small however long the list is.
    int LongestSearch() const;

    /// Stores the children behind the list's own data, or adds those of the archive to what the list holds. Store asks
    /// CheckStorable before it writes anything of the list.
    /// @throws as KxPersistentObject::Store and Load; CArchiveException cause badIndex for more than maximumCount
    /// children; KxPropertyException for a name that is there already; KxArchiveException for a child that is no property
    /// or has an owner, and in storing for a child that went out already in this run, under its number
    void Serialize(CArchive& archive) override;
    int IsList() const override;
    KxString GetMessageW() const override;  ///< The message format as it stands.
    /// The list's own line and those of its children, one level deeper. In the first form a list outside the groups hides
    /// all that it holds.
    void GetAllMessageBufResized(KxTBlockMem<KxString*>& messages, KxTMem<unsigned long> const& groups,
                                 unsigned long level, int showHidden, char fillChar, unsigned short indent) override;
    void GetAllMessageBufResized(KxTBlockMem<KxString*>& messages, unsigned long level, int showHidden, char fillChar,
                                 unsigned short indent) override;
    KxProperty* Clone() const override;

protected:
    /// @throws KxPropertyException if SetName or an assignment gave a name twice, in this list or in one that it holds;
    /// CArchiveException for too many children, KxArchiveException for a child that would be a mere reference: no reader
    /// would take them
    void CheckStorable(CArchive& archive) const override;

private:
    friend class KxProperty;

    static KxProperty* NextOf(KxProperty const* property) { return property->m_links.next; }
    template <class Line, class Other>
    void WalkLists(unsigned long level, Line line, Other other);
    KxProperty* Find(KxString const& name) const;
    void CheckNames() const;
    void MarkRenamed() noexcept;
    void CopyChildren(KxPropertyList const& source);
    void MakeRoom();
    void Index(KxProperty* property) noexcept;
    void Unindex(KxProperty* property) noexcept;
    void Link(KxProperty* property) noexcept;
    void Unlink(KxProperty* property) noexcept;

    KxProperty* m_first = nullptr;
    KxProperty* m_last = nullptr;
    int m_count = 0;
    ULONGLONG m_lastNumber = 0;
    std::unique_ptr<KxProperty*[]> m_buckets;  // none while the list is short
    std::size_t m_numBuckets = 0;              // a power of two
};

}  // namespace KxN
