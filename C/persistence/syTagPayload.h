// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Telling the kind of a payload from its bytes, and its values as text. Used by the inspector.
#pragma once

#include "hbtools/persistence/syObjectInspector.h"

#include <charconv>
#include <string>

namespace KxN::detail {

/// What the bytes of a payload turned out to be. A fault has a text; its kind and lost bytes are set then.
struct PayloadFinding {
    TagPayloadKind kind = PayloadNone;
    ULONGLONG size = 0;  // bytes that the kind explains
    LONGLONG count = 0;
    int width = 0;
    TagFaultKind faultKind = FaultCount;
    ULONGLONG target = 0;  // where the damage is, if it is not the record as a whole
    ULONGLONG lostBytes = 0;
    KxString fault;
    // Of a faulty array: what its count promises, the elements that are there, the bytes up to behind them.
    LONGLONG promised = 0;
    LONGLONG kept = 0;
    ULONGLONG keptSize = 0;
    bool hasLeftOver = false;  // elements of a longer collection stand behind it
    ULONGLONG bodyBegin = 0;   // of an image's body that only its class can read, which was taken up to the end
};

/// The number with as many digits as it needs.
template <class T>
void AppendNumber(std::wstring& text, T value) {
    char digits[64];
    auto const result = std::to_chars(digits, digits + sizeof digits, value);
    text.append(digits, result.ptr);
}

/// A count, or two extents, and raw elements.
inline bool IsCollection(TagPayloadKind kind) {
    return kind >= PayloadVec2sArray && kind <= PayloadEmptyArray;
}

/// No payload of its own, but a level.
inline bool IsMarker(TagPayloadKind kind) {
    return kind == PayloadNone || kind == PayloadGraphObject;
}

/// True if a whole head stands at `position` in front of `end` and its dataAddress leads to where its payload must be.
bool IsRecordAt(CFile& file, ULONGLONG position, ULONGLONG end);

/// True if what stands at `position` up to the end of the file can be the front of a head that is cut. With `isSure` at
/// least two bytes of its dataAddress must tell so.
bool IsCutRecordAt(CFile& file, ULONGLONG position, bool isSure = false);

/// Looks at the bytes from `record.dataAddress` up to `end`, which is not behind the end of the file. `budget` is the
/// number of inner records and objects that may still be visited; `objects` knows those of the payloads before.
PayloadFinding FindPayload(CFile& file, STag const& record, ULONGLONG end, ULONGLONG& budget,
                           KxObjectInspector& objects);

/// What is left of a collection of points between `address` and `end` whose count and bytes do not agree: which kind it
/// was, by where its end must have been (`promisedEnd`, 0 if nothing tells), by a count of which one bit tipped, or else
/// by its numbers. `kept` is 0 if nothing tells its kind; else `fault` says what is missing of that kind.
PayloadFinding SalvageCollection(CFile& file, ULONGLONG address, ULONGLONG end, ULONGLONG promisedEnd);

/// A collection of points that ends by its count in front of `end`. What follows tells its kind: a record (`Followed::byRecord`),
/// the front of one that a failed append left at the end of the file, or elements of a longer collection in whose place it was
/// written. The kind is PayloadUnknown if it is none.
enum class Followed { byRecord, byFront, byElements };
PayloadFinding ShorterCollection(CFile& file, ULONGLONG address, ULONGLONG end, Followed followed);

/// True if a collection that begins at `address` would end at `promisedEnd`, by its count and one of the kinds.
bool IsCollectionUpTo(CFile& file, ULONGLONG address, ULONGLONG promisedEnd);

/// True if what stands there begins as a 2-D array of measured points does, whatever of it is there.
bool LooksLikeGrid(CFile& file, ULONGLONG address, ULONGLONG end);

/// Where the next of the records within a payload stands that was found: where the link leads, or right behind if it leads to
/// none of them.
ULONGLONG NextInner(CFile& file, STag const& record);

/// Walks the element records of a tag array: keeps its place between calls, so that a listing is one pass.
class ElementCursor {
public:
    /// Value `index` of the array whose count tag stands at `countTag`, which the inspector found. @throws CFileException
    double Value(CFile& file, ULONGLONG countTag, LONGLONG index);

private:
    ULONGLONG m_countTag = ~0ULL;
    ULONGLONG m_position = 0;
    LONGLONG m_index = 0;
};

/// Values `first` to `first + count - 1` of a payload as text; see KxTagInspector::PayloadText.
KxString PayloadValues(CFile& file, ElementCursor& elements, SxTagRecord const& record, LONGLONG first, LONGLONG count,
                       wchar_t const* separator);

}  // namespace KxN::detail
