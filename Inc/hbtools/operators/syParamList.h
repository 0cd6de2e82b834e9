// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxParameterList: one of several texts. Entries are compared exactly, the first match counts, and at most 65535 of them
// can be selected. Constructors take any selection: one that is no entry is the index 65535, which stands for none, and
// so may be an index that a shorter list leaves behind; the selected entry then is the empty text until one is
// selected. Promises, errors and threads as in syParameter.h.
#pragma once

#include "hbtools/core/syMem.h"
#include "hbtools/operators/syParameter.h"

#include <initializer_list>

namespace KxN {

class KX_API KxParameterList : public KxParameter {
public:
    KxParameterList() { SetType(PARAMETER_LIST); }
    KxParameterList(unsigned short id, KxTMem<KxString> const& entries, KxString const& selected,
                    KxString const& defaultEntry);
    KxParameterList(unsigned short id, KxResId const& resId, KxTMem<KxString> const& entries, KxString const& selected,
                    KxString const& defaultEntry);
    // Two to five entries, one by one.
    KxParameterList(unsigned short id, KxString const& entry1, KxString const& entry2, KxString const& selected,
                    KxString const& defaultEntry)
        : KxParameterList(id, Listed({entry1, entry2}), selected, defaultEntry) {}
    KxParameterList(unsigned short id, KxString const& entry1, KxString const& entry2, KxString const& entry3,
                    KxString const& selected, KxString const& defaultEntry)
        : KxParameterList(id, Listed({entry1, entry2, entry3}), selected, defaultEntry) {}
    KxParameterList(unsigned short id, KxString const& entry1, KxString const& entry2, KxString const& entry3,
                    KxString const& entry4, KxString const& selected, KxString const& defaultEntry)
        : KxParameterList(id, Listed({entry1, entry2, entry3, entry4}), selected, defaultEntry) {}
    KxParameterList(unsigned short id, KxString const& entry1, KxString const& entry2, KxString const& entry3,
                    KxString const& entry4, KxString const& entry5, KxString const& selected,
                    KxString const& defaultEntry)
        : KxParameterList(id, Listed({entry1, entry2, entry3, entry4, entry5}), selected, defaultEntry) {}
    KxParameterList(unsigned short id, KxResId const& resId, KxString const& entry1, KxString const& entry2,
                    KxString const& selected, KxString const& defaultEntry)
        : KxParameterList(id, resId, Listed({entry1, entry2}), selected, defaultEntry) {}
    KxParameterList(unsigned short id, KxResId const& resId, KxString const& entry1, KxString const& entry2,
                    KxString const& entry3, KxString const& selected, KxString const& defaultEntry)
        : KxParameterList(id, resId, Listed({entry1, entry2, entry3}), selected, defaultEntry) {}
    KxParameterList(unsigned short id, KxResId const& resId, KxString const& entry1, KxString const& entry2,
                    KxString const& entry3, KxString const& entry4, KxString const& selected,
                    KxString const& defaultEntry)
        : KxParameterList(id, resId, Listed({entry1, entry2, entry3, entry4}), selected, defaultEntry) {}
    KxParameterList(unsigned short id, KxResId const& resId, KxString const& entry1, KxString const& entry2,
                    KxString const& entry3, KxString const& entry4, KxString const& entry5, KxString const& selected,
                    KxString const& defaultEntry)
        : KxParameterList(id, resId, Listed({entry1, entry2, entry3, entry4, entry5}), selected, defaultEntry) {}

    KxString GetValueAsString() const override { return GetSelectedEntry(); }
    void SetValueFromString(KxString const& value) override { SelectEntry(value); }
    ~KxParameterList() override;
    /// Keys: the selected entry and "(default)". Unknown entries are left alone: an unknown default keeps the default
    /// as it is, an unknown selection selects the default.
    void Save(KxString const& fileName, KxString const& group) override;
    void Load(KxString const& fileName, KxString const& group) override;

    KxString const& GetSelectedEntry() const { return EntryAt(m_selected); }
    void SelectEntry(KxString const& entry);  ///< Looks at each. Fires SignalValueChanged. @throws KxException if none
    KxString const& GetSelectedDefaultEntry() const { return EntryAt(m_default); }
    void SetDefaultEntry(KxString const& entry);  ///< No signal. @throws KxException if it is no entry
    KxTMem<KxString> const& GetList() const { return m_entries; }
    /// Replaces the entries; both indices stay as they are. Fires SignalAttributesChanged.
    void SetList(KxTMem<KxString> const& entries);

protected:
    int Exists(KxString const& entry) const { return GetPos(entry) != none; }
    /// Index of the first equal entry, 65535 if there is none.
    unsigned long GetPos(KxString const& entry) const;

private:
    static constexpr unsigned long none = 65535;
    static KxTMem<KxString> Listed(std::initializer_list<KxString> entries);
    KxString const& EntryAt(unsigned long index) const;
    unsigned long Known(KxString const& entry, KxString const& prefix, unsigned long line) const;

    KxTMem<KxString> m_entries;
    unsigned long m_selected = 0;
    unsigned long m_default = 0;
};

}  // namespace KxN
