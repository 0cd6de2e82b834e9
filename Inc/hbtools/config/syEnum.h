// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxEnum is a table of integer values and their labels, for look-ups in both directions. A value may have several
// labels, which is how other spellings are accepted; a label stands once.
//
//     KxEnum const modes(0, "off", "slow", "fast", nullptr);
//     modes.GetValue(L"slow");                    // 1
//     modes.FindFirst(L"FA", 0, 1).GetValue();    // 2
//
// A search keeps its state in the object: one object serves one search, and one thread, at a time. Nothing here throws
// but bad_alloc.
#pragma once

#include "hbtools/base/syString.h"

#include <concepts>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace KxN {

class KX_API KxEnum {
public:
    class KxItem {
    public:
        KxItem() = default;  ///< The item that was not found: without a label.
        KxItem(int value, KxString const& label) : m_value(value), m_label(label) {}
        int GetValue() const { return m_value; }
        KxString const& GetLabel() const { return m_label; }

    private:
        int m_value = 0;
        KxString m_label;
    };

    KxEnum() = default;
    /// Items one by one; the first with an empty label ends the list.
    template <std::same_as<KxItem>... ITEMS>
    explicit KxEnum(KxItem const& first, ITEMS const&... items) {
        (void)(AddUnlessEnd(first) && ... && AddUnlessEnd(items));
    }
    /// Labels only: the first has the value `first`, each next one the next number, which wraps behind INT_MAX. A
    /// null pointer ends the list.
    template <std::convertible_to<char const*>... LABELS>
    KxEnum(int first, char const* label, LABELS... labels) {
        (void)(AddUnlessEnd(first, label) && ... && AddUnlessEnd(first, labels));
    }
    KxEnum(KxEnum const& other) { *this += other; }
    KxEnum& operator=(KxEnum const& other);
    virtual ~KxEnum();

    /// Adds each item of the other.
    KxEnum& operator+=(KxEnum const& other);
    /// Adds the item if it has a label that does not exist yet.
    KxEnum& operator+=(KxItem const& item);
    void Clear();

    unsigned int GetCount() const { return static_cast<unsigned int>(m_items.size()); }
    /// The item of that index in the order of insertion; one without a label behind the last.
    KxItem const& operator[](unsigned int index) const;

    /// 1 if the label, compared exactly, is in the table.
    int Exist(KxString const& label) const;
    /// The value of the label; 0 if it is not in the table, which Exist tells.
    int GetValue(KxString const& label) const;
    /// The label of that index among those of the value, in the order of insertion; empty if there is none.
    KxString GetLabel(int value, unsigned int index = 0) const;
    unsigned int GetLabelCount(int value) const;

    /// The first item whose label equals the text or, with `partial`, begins with it; without `caseSensitive` both
    /// are compared in capitals. A copy; without a label if there is none.
    KxItem FindFirst(KxString const& text, int caseSensitive, int partial) const;
    /// The next item of that search.
    KxItem FindNext() const;

private:
    bool AddUnlessEnd(KxItem const& item);
    bool AddUnlessEnd(int& value, char const* label);

    std::vector<std::unique_ptr<KxItem const>> m_items;
    std::unordered_map<std::wstring_view, KxItem const*> m_byLabel;  // views of the items' labels
    mutable KxString m_searchText;
    mutable int m_searchCaseSensitive = 0;
    mutable int m_searchPartial = 0;
    mutable std::size_t m_searchIndex = 0;
};

/// "TRUE" and "true" for 1, "FALSE" and "false" for 0.
class KX_API KxEnumBOOL : public KxEnum {
public:
    KxEnumBOOL();
    KxEnumBOOL(KxEnumBOOL const& other);
    KxEnumBOOL& operator=(KxEnumBOOL const&) = default;
};

}  // namespace KxN
