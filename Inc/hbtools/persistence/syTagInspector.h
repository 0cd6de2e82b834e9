// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxTagInspector looks through a tag file without knowing what an application keeps in it: it walks every chain,
// also those nested in payloads, recognises the kinds of payload that this library writes by their shape, and names
// what is damaged, where, and what that costs. It changes nothing, follows no damaged link for ever, takes time and
// memory in proportion to the file and believes no count that the file cannot hold.
//
//     KxTagInspector inspector(&file);
//     if (inspector.Inspect() == TagFileDamaged)
//         for (SxTagFault const& fault : inspector.Faults()) Show(fault.position, fault.text);
//
// It reads arrays in parts too (ReadElements): their elements are counted with 64 bits, and no more than a part is in memory.
//
// The file must stay open while the inspector is in use; one thread. Only a failing medium makes it throw
// (CFileException); damage never does.
#pragma once

#include "hbtools/base/syString.h"
#include "hbtools/core/syArray.h"
#include "hbtools/persistence/syTag.h"

namespace KxN {

/// What a file as a whole is. The numbers are the exit codes of the tools: do not renumber.
enum TagFileState { TagFileWhole = 0, TagFileDamaged = 2, TagFileForeign = 3 };

/// Kinds of payload as far as their bytes tell. The file stores no kind, so that some share a shape: an array and a
/// list of points, vectors of float and of int.
enum TagPayloadKind {
    PayloadNone,
    PayloadText,    ///< dataSize bytes, printable, with a terminating zero
    PayloadScalar,  ///< 2, 4 or 8 bytes
    PayloadBytes,   ///< dataSize bytes that are neither
    PayloadVec2s,
    PayloadVec2d,
    PayloadVec3d,
    PayloadVec3f,
    PayloadIntArray,    ///< count tag and ints
    PayloadDoubleTags,  ///< count tag and one tag for each double
    PayloadHistogram,   ///< the same inside one more tag
    PayloadVec2sArray,
    PayloadVec3fArray,
    PayloadVec3iArray,
    PayloadVec3dArray,
    PayloadVec3f2dArray,
    PayloadVec3d2dArray,
    PayloadEmptyArray,  ///< a count of 0: any of the arrays
    PayloadUnknown,     ///< a shape that this library does not write
    PayloadImage,       ///< a persistent object, as in property tags; KxObjectInspector tells what it holds
    PayloadGraphObject  ///< an object of a graph: what it is stands in the level behind it
};

/// "marker", "text", "array of KxVec3d", ...
KX_API wchar_t const* KxxPayloadKindName(TagPayloadKind kind);

/// One record of the file.
struct SxTagRecord {
    ULONGLONG position;     ///< Where its head stands.
    STag image;             ///< The head as read; Recover declares the size of what it keeps without knowing its kind.
    ULONGLONG extent;       ///< Bytes from dataAddress to the next record of the level, or to the level's end.
    ULONGLONG payloadSize;  ///< Bytes of them that the kind explains; nested records come behind these.
    LONGLONG count;         ///< Elements of an array, width * height of a 2-D array, objects of an image.
    int width;              ///< Of a 2-D array.
    int parent;             ///< Index of the record whose payload it is nested in, or -1.
    int depth;              ///< 0 on the first level.
    TagPayloadKind kind;
    bool isLongForm;  ///< 30 bytes rather than 18.
    bool hasLevel;    ///< Records are nested behind the payload.
    bool isDamaged;   ///< The payload is not whole. `count` tells, after Recover, how many of its elements are.
    /// Elements that the count of a damaged array promises, as far as Recover can tell; 0 of anything else.
    LONGLONG promised;
};

enum TagFaultKind {
    FaultTruncated,     ///< The file ends inside a record's head.
    FaultDanglingLink,  ///< A link behind the end of the file.
    FaultCycle,         ///< A link to a record of the same chain: the chain never ends.
    FaultBackwardLink,  ///< A link to an earlier place.
    FaultIntoRecord,    ///< A link into the middle of a record.
    FaultNoRecord,      ///< A link to bytes that are no record.
    FaultAddress,       ///< dataAddress does not lead to the payload.
    FaultShortPayload,  ///< Less payload than dataSize or a count promises.
    FaultCount,         ///< A count that no payload of this size can have.
    FaultOverlap,       ///< A record that belongs to two chains.
    FaultTrailing,      ///< Bytes at the end that belong to no record.
    FaultDepth,         ///< Nested deeper than KxLimits allows.
    FaultObject,        ///< An object that readers refuse.
    FaultUnlinked       ///< A record to which no link leads, right behind the last one of a level.
};

/// "truncated", "dangling link", ...
KX_API wchar_t const* KxxTagFaultName(TagFaultKind kind);

struct SxTagFault {
    TagFaultKind kind = FaultTruncated;
    ULONGLONG position = 0;   ///< Of the record that is at fault, or of the bytes.
    ULONGLONG target = 0;     ///< The other end of a link; the place of damage within a payload.
    ULONGLONG lostBytes = 0;  ///< Bytes that readers do not reach because of it.
    KxString text;            ///< One sentence, with what it costs.
};

class KxObjectInspector;

class KX_API KxTagInspector {
public:
    explicit KxTagInspector(CFile* file);
    KxTagInspector(KxTagInspector const&) = delete;
    KxTagInspector& operator=(KxTagInspector const&) = delete;
    ~KxTagInspector();

    /// Looks through the file anew. A record right behind the last one of a level, to which no link leads, is a fault and is
    /// listed as the next of that level, or of one around it. @throws CFileException if the medium fails
    TagFileState Inspect();
    /// Looks through the file anew as Inspect does, but goes on behind damage: where a link leads nowhere, the next
    /// record behind the payload is taken for the next of its level; records at the end, behind bytes of no record, become
    /// the last of the first level; arrays that are cut have as many elements as are there whole; a payload in front of
    /// a sound link that has the shape of no kind becomes bytes. Extents end where such a record begins. Foreign is
    /// what has no record at all. @throws CFileException if the medium fails
    TagFileState Recover();

    /// All records, parents in front of their children, chains in their order. The element records of tag arrays and
    /// the components of vectors are part of their payload and not listed.
    KxTDynArray<SxTagRecord> const& Records() const;
    KxTDynArray<SxTagFault> const& Faults() const;
    /// What is as an archive writes it and yet may be damage that nothing tells: a level below a number, where a neighbour
    /// stands whose link was lost. A file with remarks is whole.
    KxTDynArray<SxTagFault> const& Remarks() const;
    /// Where the first chain begins: 0, or behind a file header.
    ULONGLONG GetStartPosition() const;
    ULONGLONG GetFileSize() const;

    /// The payload's values `first` to `first + count - 1` as text, separated by `separator`: numbers with as many
    /// digits as they need, "x y z" for vectors, the text itself for PayloadText.
    KxString PayloadText(SxTagRecord const& record, LONGLONG first, LONGLONG count, wchar_t const* separator);
    /// How many values PayloadText knows.
    static LONGLONG NumValues(SxTagRecord const& record);
    /// Bytes of one element of the payload as ReadElements gives it: 12 for points of float, 4 for an array of int; 1 where
    /// the payload is no array of numbers.
    static UINT ElementSize(SxTagRecord const& record);
    /// How many elements ReadElements knows: the count of arrays, 1 for scalars and vectors, bytes of all else.
    static LONGLONG NumElements(SxTagRecord const& record);
    /// Reads whole elements `first` to `first + count - 1` without what stands between them, whatever the form of the
    /// records is; asked for in order they are one pass. Returns how many there were.
    LONGLONG ReadElements(SxTagRecord const& record, LONGLONG first, LONGLONG count, void* elements);
    /// Reads the images of the records; it knows the numbers of their objects.
    KxObjectInspector& Objects();
    /// The value of a scalar record as a whole number. False, with the value unchanged, if it is no scalar.
    bool ReadInteger(SxTagRecord const& record, LONGLONG& value);

private:
    class Walk;
    Walk* m_walk;
};

}  // namespace KxN
