// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Where each record of a source comes to stand in its copy. All places are known before the first byte is written, so
// that the copy is written in one pass, and what its form cannot hold is refused in time.
#pragma once

#include "hbtools/persistence/syTagCopier.h"
#include "persistence/syTagShift.h"

#include <map>
#include <vector>

namespace KxN {

class __attribute__((visibility("hidden"))) KxTagCopier::Plan {
public:
    explicit Plan(CFile& source) : m_source(source), m_inspector(&m_source) {}

    TagFileState Convert(CFile& target, TagFormat format);
    TagFileState Repair(CFile& target);

    detail::ShiftedFile m_source;
    KxTagInspector m_inspector;
    KxTDynArray<SxTagLoss> m_losses;
    int m_numCopied = 0;

private:
    enum class Part { record, address, rest };
    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    /// One piece of the target.
    struct Item {
        Part part;
        int record;        // of the source; of an address the object that gets it
        std::size_t next;  // the next of its level
        ULONGLONG position = 0;
        ULONGLONG size = 0;  // of the payload, or of the rest behind it
        bool isLong = false;
    };

    SxTagRecord const& RecordOf(Item const& item) const { return m_inspector.Records()[item.record]; }
    bool IsKept(int record) const { return m_isKept[static_cast<std::size_t>(record)]; }
    TagFileState Recover();
    void Begin();
    void DropDamaged();
    void DropOverlapping();
    void DropBelow();
    void MakeItems();
    void AddItem(Part part, int record, std::vector<std::size_t>& lastOfLevels);
    bool NeedsAddress(int object) const;
    ULONGLONG RestOf(int record) const;
    void ChooseAddresses();
    /// Gives each item its place; returns the length of the target.
    ULONGLONG Place();
    void UseForm(bool isLong);
    void UseOwnForms();
    void Write(CFile& target, int format);
    void WriteItem(CFile& target, Item const& item);
    std::size_t FindDifference(CFile& target);
    TagPayloadKind ExpectedKind(Item const& item) const;
    void Drop(std::size_t item);
    void FindLosses();
    void TellShift(std::vector<SxTagLoss>& losses) const;
    KxString ReasonOf(int record, std::map<ULONGLONG, int> const& faults) const;

    std::vector<Item> m_items;
    std::vector<int> m_firstChild;  // by record + 1, so that 0 is the first level
    std::vector<int> m_nextSibling;
    std::vector<bool> m_isKept;
    std::vector<bool> m_isCovered;  // by another record
    std::vector<bool> m_hasNoRest;
    std::vector<long long> m_addresses;  // given to objects, by record; 0: none
};

namespace detail {

/// Bytes of the payload in a copy whose records have this form.
ULONGLONG CopiedSize(SxTagRecord const& record, bool isLong);
/// Elements of an array in the copy: those that are kept, and the gaps that complete a row.
LONGLONG CopiedCount(SxTagRecord const& record);
/// Writes the payload at the target's position, which is `position`.
void CopyPayload(CFile& source, CFile& target, SxTagRecord const& record, ULONGLONG position, bool isLong);
/// Copies bytes in parts. @throws CFileException also where the source ends
void CopyBytes(CFile& source, ULONGLONG position, CFile& target, ULONGLONG count);
/// WriteRecord for the copy. @throws KxException also if the 64-bit form does not hold the version
void WriteCopiedRecord(CFile& target, STag const& image, bool isLong);

}  // namespace detail

}  // namespace KxN
