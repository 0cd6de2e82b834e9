// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The walk of the inspector through all chains of a file. Inspecting ends a chain where its link leads nowhere;
// recovering (syTagRecovery.cpp) looks for the next record behind. Where a level has grown behind its neighbours, all links
// are looked at first (syTagLinks.cpp).
#pragma once

#include "base/syNameHash.h"
#include "hbtools/persistence/syTagInspector.h"
#include "persistence/syTagPayload.h"

#include <algorithm>
#include <map>
#include <set>
#include <unordered_map>
#include <vector>

namespace KxN {

namespace detail {
class ShiftedFile;
}

constexpr ULONGLONG chainEnd = ~0ULL;
constexpr ULONGLONG chainLost = ~1ULL;  // the chain goes on at the next record behind

class __attribute__((visibility("hidden"))) KxTagInspector::Walk {
public:
    explicit Walk(CFile& file) : m_file(file), m_objects(&file) {}

    /// Walks once more if a level has grown behind its neighbours.
    TagFileState InspectWithGrownLevels();
    TagFileState InspectWithoutGrowth(bool isRecovering);

    CFile& m_file;
    ULONGLONG m_size = 0;
    ULONGLONG m_start = 0;
    KxTDynArray<SxTagRecord> m_records;
    KxTDynArray<SxTagFault> m_faults;
    KxTDynArray<SxTagFault> m_remarks;
    detail::ElementCursor m_elements;
    KxObjectInspector m_objects;

private:
    TagFileState Inspect(bool isRecovering);

    /// A chain that is being walked: where its next record stands, chainEnd when it is done.
    struct Level {
        ULONGLONG next;
        ULONGLONG end;
        int parent;
        int depth;
        int source;  // the record whose link led to `next`, -1 at the begin of the chain
        // While recovering:
        ULONGLONG reached = 0;      // behind what belongs to the level so far
        ULONGLONG promisedEnd = 0;  // where the level ended before the file was cut; 0 if nothing tells
        bool isLoose = false;       // nothing tells where the level ends
    };

    bool FindStart();
    void Step(Level& level);
    bool TakeRecord(Level& level, SxTagRecord& record);
    void FollowLink(Level& level, int number);
    void TakePayload(int number, ULONGLONG end);
    bool MayHaveLevel(SxTagRecord const& record);
    void GoOnUnlinked(int number, ULONGLONG position);
    void FaultCycleAt(ULONGLONG position, ULONGLONG target, ULONGLONG rest) {
        Fault(
            FaultCycle, position, target, rest,
            L"the record at %llu leads back to %llu: the chain never ends, and whoever seeks an absent tag is refused",
            position, target);
        m_isBroken = true;
    }
    void FaultShared(ULONGLONG position, ULONGLONG target) {
        Fault(FaultOverlap, position, target, 0, L"the record at %llu leads to %llu, which another chain has already",
              position, target);
    }
    void FindOverlaps();
    void CheckGraphs();
    enum class Visit { none, sameChain, otherChain };
    void RememberVisits();
    Visit VisitOf(ULONGLONG position, int parent);
    bool LeadsTo(ULONGLONG from, ULONGLONG position);
    template <class... Arguments>
    void Fault(TagFaultKind kind, ULONGLONG position, ULONGLONG target, ULONGLONG lost, wchar_t const* format,
               Arguments const&... arguments);
    void Reached(ULONGLONG position) { m_reached = std::max(m_reached, std::min(position, m_size)); }

    std::vector<Level> m_levels;
    // Of records with a payload and a link: those that have a level below them, and the numbers that have none.
    std::set<unsigned long> m_levelIds;
    std::set<unsigned long> m_plainIds;
    std::unordered_map<ULONGLONG, int, detail::NumberHash>
        m_visited;  // records and their parents, filled from the first backward link on
    bool m_hasVisited = false;
    bool m_isBroken = false;  // a chain ended before its end
    // Levels that have grown: no range of bytes holds them.
    void FindLinks();
    bool HasGrownTo(ULONGLONG position) const;
    ULONGLONG PayloadLimit(ULONGLONG address, ULONGLONG limit) const;

    enum class Growth { none, unseen, seen, followed };
    Growth m_growth = Growth::none;
    std::map<ULONGLONG, int> m_links;  // records that another one leads to, and how many do
    std::vector<ULONGLONG> m_heads;    // all records that chains lead to, in the order of the file
    std::set<ULONGLONG> m_markerEnds;  // places right behind records without payload
    // Recovering:
    struct Deferred {  // a link out of the payload of a level's parent, for when all within was walked
        ULONGLONG position;
        int parent;
        int depth;
        int source;
    };
    void BeginAtFirstRecord();
    bool IsInnerAt(ULONGLONG position);
    bool IsFree(ULONGLONG position) const;
    bool IsWithinHead(ULONGLONG position, ULONGLONG from);
    bool IsHeadAt(ULONGLONG position, ULONGLONG end);
    ULONGLONG FindHead(ULONGLONG from, ULONGLONG end);
    ULONGLONG FindSoundHead(ULONGLONG from, ULONGLONG end);
    ULONGLONG UnvisitedHead(ULONGLONG from, ULONGLONG end);
    ULONGLONG OneBitOff(ULONGLONG link, bool isLong, ULONGLONG from, ULONGLONG end);
    ULONGLONG CollectionEnd(Level const& level, SxTagRecord const& record, ULONGLONG end);
    void FollowOrMend(Level& level, int number);
    void FaultMended(SxTagRecord const& record, ULONGLONG end);
    void RejectCut(SxTagRecord const& record, detail::PayloadFinding& finding) const;
    void RejectShifted(STag const& image, detail::PayloadFinding& finding) const;
    void TakeLeft(int number, ULONGLONG end, detail::PayloadFinding const& finding);
    ULONGLONG PromisedEnd(SxTagRecord const& record) const;
    void FindNextOf(Level& level);
    bool TakeDeferred();

    detail::ShiftedFile const* m_shifted = nullptr;  // the file, if it is one
    bool m_isRecovering = false;
    bool m_isMended = false;   // the record in hand has no link of its own that leads on
    bool m_tookTrail = false;  // what stands at the end without a link
    std::vector<Deferred> m_deferred;
    std::map<ULONGLONG, ULONGLONG> m_taken;  // records, and the ends of their payloads
    ULONGLONG m_emptyFrom = 0;               // no record begins from here on
    ULONGLONG m_emptyTo = 0;                 // up to here
    ULONGLONG m_steps = 0;                   // from record to record that may still be made to tell rings
    ULONGLONG m_budget = 0;                  // records that may still be visited; a file has no more
    ULONGLONG m_reached = 0;                 // end of the last byte that belongs to a record
};

template <class... Arguments>
void KxTagInspector::Walk::Fault(TagFaultKind kind, ULONGLONG position, ULONGLONG target, ULONGLONG lost,
                                 wchar_t const* format, Arguments const&... arguments) {
    SxTagFault fault;
    fault.kind = kind;
    fault.position = position;
    fault.target = target;
    fault.lostBytes = lost;
    fault.text.SPrintf(format, arguments...);
    m_faults.Add(fault);
}

}  // namespace KxN
