// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "persistence/syTagPayload.h"

#include "persistence/syInnerTags.h"
#include "persistence/syTagRecord.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace KxN::detail {

namespace {

constexpr UINT sampleSize = 3072;  // bytes of an array that are looked at to tell floats from ints

UINT ReadUpTo(CFile& file, ULONGLONG position, void* buffer, UINT count) {
    file.Seek(static_cast<LONGLONG>(position), CFile::begin);
    return file.Read(buffer, count);
}

template <class T>
T ReadNumber(CFile& file, ULONGLONG position) {
    T value{};
    if (ReadUpTo(file, position, &value, sizeof value) != sizeof value) ThrowEndOfFile(file);
    return value;
}

// A chain of records that the library writes inside a payload, read one after the other.
class InnerChain {
public:
    InnerChain(CFile& file, ULONGLONG position, ULONGLONG end, ULONGLONG& budget)
        : m_file(file), m_next(position), m_end(end), m_budget(budget) {}

    /// Takes the next record if it is one of `id` with a payload of `size` bytes that lies in front of the end.
    bool Take(std::uint32_t id, ULONGLONG size) {
        if (m_next == 0 || m_budget == 0 || !IsRecordAt(m_file, m_next, m_end)) return false;
        --m_budget;
        ReadRecord(m_file, m_next, m_record);
        if (m_record.id != id || m_record.dataSize != size || size > m_end - m_record.dataAddress) return false;
        m_behind = m_record.dataAddress + size;
        m_next = m_record.nextTag > m_next ? m_record.nextTag : 0;
        return true;
    }
    /// The same where the link is lost and the next record stands right behind.
    bool TakeBehind(std::uint32_t id, ULONGLONG size) {
        m_next = m_behind;
        return Take(id, size);
    }
    ULONGLONG PayloadAddress() const { return m_record.dataAddress; }
    ULONGLONG Behind() const { return m_behind; }

private:
    CFile& m_file;
    ULONGLONG m_next;
    ULONGLONG m_end;
    ULONGLONG& m_budget;
    STag m_record;
    ULONGLONG m_behind = 0;
};

PayloadFinding Broken(TagPayloadKind kind, STag const& record, ULONGLONG end, KxString const& text) {
    PayloadFinding finding;
    finding.kind = kind;
    finding.size = end - record.dataAddress;
    finding.faultKind = FaultShortPayload;
    finding.lostBytes = finding.size;
    finding.fault = text;
    return finding;
}

PayloadFinding FindVector(CFile& file, STag const& record, ULONGLONG end, ULONGLONG& budget, TagPayloadKind kind,
                          std::uint32_t firstId, int components, ULONGLONG size) {
    InnerChain chain(file, record.dataAddress, end, budget);
    for (int i = 0; i < components; ++i) {
        if (chain.Take(firstId + static_cast<std::uint32_t>(i), size)) continue;
        KxString text;
        text.SPrintf(L"component %d of %d of a vector is missing or cut", i + 1, components);
        PayloadFinding finding = Broken(kind, record, end, text);
        int taken = i;
        while (taken > 0 && taken < components && chain.TakeBehind(firstId + static_cast<std::uint32_t>(taken), size))
            ++taken;
        finding.promised = 1;
        finding.kept = taken == components;
        finding.keptSize = chain.Behind() - record.dataAddress;
        return finding;
    }
    PayloadFinding finding;
    finding.kind = kind;
    finding.count = 1;
    finding.size = chain.Behind() - record.dataAddress;
    return finding;
}

PayloadFinding FindDoubleTags(CFile& file, STag const& record, ULONGLONG end, ULONGLONG& budget, TagPayloadKind kind) {
    InnerChain chain(file, record.dataAddress, end, budget);
    if (!chain.Take(inner::arrayCount, sizeof(int)))
        return Broken(kind, record, end, L"the count tag of an array is cut");
    int const count = ReadNumber<int>(file, chain.PayloadAddress());
    int present = 0;
    while (present < count && chain.Take(inner::arrayElement, sizeof(double))) ++present;
    PayloadFinding finding;
    finding.kind = kind;
    finding.count = present;
    finding.size = chain.Behind() - record.dataAddress;
    if (present != count) {
        finding.promised = count;
        while (present < count && (chain.TakeBehind(inner::arrayElement, sizeof(double)) ||
                                   chain.Take(inner::arrayElement, sizeof(double))))
            ++present;
        finding.kept = present;
        finding.keptSize = chain.Behind() - record.dataAddress;
        finding.faultKind = FaultCount;
        finding.fault.SPrintf(L"the array promises %d values and has %lld; readers refuse it", count, finding.count);
        finding.lostBytes = finding.size;
        finding.size = end - record.dataAddress;
    }
    return finding;
}

PayloadFinding FindIntArray(CFile& file, STag const& record, ULONGLONG end, ULONGLONG& budget) {
    InnerChain chain(file, record.dataAddress, end, budget);
    if (!chain.Take(inner::intCount, sizeof(int)))
        return Broken(PayloadIntArray, record, end, L"the count tag of an array is cut");
    LONGLONG const count = ReadNumber<int>(file, chain.PayloadAddress());
    ULONGLONG const room = end - chain.Behind();
    PayloadFinding finding;
    finding.kind = PayloadIntArray;
    finding.count = count;
    finding.size = chain.Behind() - record.dataAddress + static_cast<ULONGLONG>(count) * sizeof(int);
    if (count < 0 || static_cast<ULONGLONG>(count) > room / sizeof(int)) {
        finding.fault.SPrintf(L"the array promises %lld values and there is room for %llu; readers refuse it", count,
                              room / sizeof(int));
        finding.promised = count;
        finding.kept = static_cast<LONGLONG>(room / sizeof(int));
        finding.keptSize = chain.Behind() - record.dataAddress + static_cast<ULONGLONG>(finding.kept) * sizeof(int);
        finding.count = 0;
        finding.size = end - record.dataAddress;
        finding.lostBytes = finding.size;
    }
    return finding;
}

// Small whole numbers are denormal or next to nothing as floats.
bool LooksLikeInts(CFile& file, ULONGLONG position, LONGLONG count) {
    std::array<std::int32_t, sampleSize / sizeof(std::int32_t)> words;
    ULONGLONG const bytes = std::min<ULONGLONG>(static_cast<ULONGLONG>(count) * 12, sampleSize);
    UINT const read = ReadUpTo(file, position, words.data(), static_cast<UINT>(bytes));
    UINT const got = read / UINT{sizeof(std::int32_t)};
    int ints = 0;
    int floats = 0;
    for (UINT i = 0; i < got; ++i) {
        if (words[i] == 0) continue;
        if (std::abs(static_cast<LONGLONG>(words[i])) < (1 << 23))
            ++ints;
        else
            ++floats;
    }
    return ints > floats;
}

// The collection that fills the bytes exactly.
bool FitsExactly(CFile& file, STag const& record, ULONGLONG size, std::array<std::int32_t, 2> const& head,
                 PayloadFinding& finding) {
    LONGLONG const count = head[0];
    ULONGLONG const room = size - 4;
    finding.count = count;
    if (count == 0 && room == 0) {
        finding.kind = PayloadEmptyArray;
        return true;
    }
    if (count > 0) {
        ULONGLONG const each = room / static_cast<ULONGLONG>(count);
        if (room % static_cast<ULONGLONG>(count) == 0 && (each == 4 || each == 12 || each == 24)) {
            finding.kind = each == 4                                            ? PayloadVec2sArray
                           : each == 24                                         ? PayloadVec3dArray
                           : LooksLikeInts(file, record.dataAddress + 4, count) ? PayloadVec3iArray
                                                                                : PayloadVec3fArray;
            return true;
        }
    }
    if (size < 8 || head[0] < 0 || head[1] < 0) return false;
    LONGLONG const cells = static_cast<LONGLONG>(head[0]) * head[1];
    for (auto [kind, each] : {std::pair{PayloadVec3d2dArray, 24}, std::pair{PayloadVec3f2dArray, 12}}) {
        if (static_cast<ULONGLONG>(cells) != (size - 8) / static_cast<ULONGLONG>(each)) continue;
        if ((size - 8) % static_cast<ULONGLONG>(each) != 0) continue;
        finding.kind = kind;
        finding.count = cells;
        finding.width = head[0];
        return true;
    }
    return false;
}

// The plain collections: a count, or width and height, and as many elements as the bytes hold exactly. The link of a record
// tells where its payload ends at the latest; behind the last one of a level records may stand that no link leads to.
PayloadFinding FindCollection(CFile& file, STag const& record, ULONGLONG end) {
    PayloadFinding finding;
    ULONGLONG const size = end - record.dataAddress;
    finding.size = size;
    finding.kind = PayloadUnknown;
    std::array<std::int32_t, 2> head{};
    if (ReadUpTo(file, record.dataAddress, head.data(), static_cast<UINT>(std::min<ULONGLONG>(size, 8))) < 4) {
        finding.fault.SPrintf(L"the payload of %llu bytes has the shape of no kind", size);
        finding.lostBytes = size;
        return finding;
    }
    auto const shorter = [&](Followed followed) {
        PayloadFinding const found = ShorterCollection(file, record.dataAddress, end, followed);
        if (found.kind != PayloadUnknown) finding = found;
        return found.kind != PayloadUnknown;
    };
    bool const isLast = record.nextTag == 0;
    if (isLast && shorter(Followed::byRecord)) return finding;
    if (isLast && head[0] == 0 && head[1] > 0 && shorter(Followed::byFront)) return finding;
    if (FitsExactly(file, record, size, head, finding)) return finding;
    if (!isLast && shorter(Followed::byRecord)) return finding;
    if (isLast && shorter(Followed::byFront)) return finding;
    LONGLONG const count = head[0];
    ULONGLONG const room = size - 4;
    finding.lostBytes = size;
    bool const atEnd = end == file.GetLength();
    bool const isCutGrid = atEnd && size >= 8 && head[0] >= 0 && head[1] >= 0 &&
                           static_cast<ULONGLONG>(head[0]) * static_cast<ULONGLONG>(head[1]) > size / 12 &&
                           LooksLikeGrid(file, record.dataAddress, end);
    if (isCutGrid && static_cast<ULONGLONG>(count) <= room / 24) {
        finding.faultKind = FaultShortPayload;
        finding.fault.SPrintf(L"the payload of %llu bytes is too short for %d x %d points", size, head[0], head[1]);
    } else if (!isCutGrid && shorter(Followed::byElements)) {
        return finding;
    } else {
        // Only at the end of the file can the rest have been cut off.
        bool const isShort = atEnd && count > 0 && static_cast<ULONGLONG>(count) > room / 24;
        finding.faultKind = isShort && static_cast<ULONGLONG>(count) <= room / 4 ? FaultShortPayload : FaultCount;
        finding.fault.SPrintf(
            L"the payload of %llu bytes has the shape of no kind; as an array it promises %lld elements, "
            L"which are at least %lld bytes",
            size, count, count < 0 ? 0LL : count * 4 + 4);
    }
    finding.count = 0;
    return finding;
}

// The image of a persistent object, with all that it holds.
PayloadFinding FindImage(STag const& record, ULONGLONG end, ULONGLONG& budget, KxObjectInspector& objects) {
    constexpr ULONGLONG bytesPerVisit = 64;  // of names, which are read
    PayloadFinding finding;
    finding.kind = PayloadImage;
    objects.Begin(record.dataAddress, end);
    ULONGLONG bodyBegin = 0;
    for (SxObject object; objects.Next(object); ++finding.count) {
        if (objects.IsUnknownBehind()) bodyBegin = object.valuePosition;
        ULONGLONG const visits = 1 + object.name.length / bytesPerVisit;
        if (budget < visits) {
            finding =
                Broken(PayloadImage, record, end, L"the payloads overlap: their objects are more than fit in the file");
            finding.faultKind = FaultOverlap;
            return finding;
        }
        budget -= visits;
    }
    finding.size = objects.GetPosition() - record.dataAddress;
    finding.bodyBegin = bodyBegin;
    if (!objects.HasFault()) return finding;
    SxTagFault const& fault = objects.Fault();
    finding.size = end - record.dataAddress;
    finding.faultKind = fault.kind;
    finding.target = fault.position;
    finding.lostBytes = fault.lostBytes;
    finding.fault = fault.text;
    return finding;
}

bool IsText(CFile& file, STag const& record) {
    // Longer ones are no names or remarks; they are shown as bytes.
    constexpr ULONGLONG longestText = 1 << 20;
    if (record.dataSize == 2 || record.dataSize > longestText) return false;
    std::string bytes(static_cast<std::size_t>(record.dataSize), '\0');
    if (ReadUpTo(file, record.dataAddress, bytes.data(), static_cast<UINT>(record.dataSize)) != record.dataSize)
        return false;
    // The one zero is the last byte; a number of the same size hardly looks like this.
    std::size_t const length = bytes.find('\0');
    if (length != bytes.size() - 1) return false;
    return std::all_of(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length), [](char c) {
        return static_cast<unsigned char>(c) >= 0x20 || c == '\t' || c == '\n' || c == '\r' || c == 0x1b;
    });
}

}  // namespace

bool IsRecordAt(CFile& file, ULONGLONG position, ULONGLONG end) {
    if (position > end || end - position < STag32::fileSize) return false;
    BYTE bytes[STag::fileSize];
    UINT const got =
        ReadUpTo(file, position, bytes, static_cast<UINT>(std::min<ULONGLONG>(STag::fileSize, end - position)));
    if (got < STag32::fileSize) return false;
    if (Load<std::uint16_t>(bytes + 4) & longFormMark)
        return got == STag::fileSize && Load<std::uint64_t>(bytes + 14) == position + STag::fileSize;
    // A long record that was patched by a short image keeps its payload behind 30 bytes.
    std::uint64_t const address = Load<std::uint32_t>(bytes + 10);
    return address == position + STag32::fileSize ||
           (address == position + STag::fileSize && end - position >= STag::fileSize);
}

bool IsCutRecordAt(CFile& file, ULONGLONG position, bool isSure) {
    BYTE bytes[STag::fileSize] = {};
    UINT const got = ReadUpTo(file, position, bytes, sizeof bytes);
    bool const isLong = got >= 6 && (bytes[5] & 0x80) != 0;
    UINT const addressOffset = isLong ? 14 : 10;
    UINT const headSize = isLong ? STag::fileSize : STag32::fileSize;
    if (got >= headSize || (isSure && got < addressOffset + 2)) return false;
    std::uint64_t const expected = position + headSize;
    for (UINT i = addressOffset; i < got && i < addressOffset + (isLong ? 8 : 4); ++i)
        if (bytes[i] != static_cast<BYTE>(expected >> (8 * (i - addressOffset)))) return false;
    return true;
}

PayloadFinding FindPayload(CFile& file, STag const& record, ULONGLONG end, ULONGLONG& budget,
                           KxObjectInspector& objects) {
    PayloadFinding finding;
    if (record.dataSize > 0) {
        bool const scalar = record.dataSize == 2 || record.dataSize == 4 || record.dataSize == 8;
        finding.kind = IsText(file, record) ? PayloadText : scalar ? PayloadScalar : PayloadBytes;
        finding.size = record.dataSize;
        finding.count = 1;
        return finding;
    }
    if (record.dataAddress >= end) return finding;
    if (objects.IsImageAt(record.dataAddress, end)) return FindImage(record, end, budget, objects);
    if (!IsRecordAt(file, record.dataAddress, end)) return FindCollection(file, record, end);
    STag first;
    ReadRecord(file, record.dataAddress, first);
    switch (first.id) {
        case inner::vec2s: return FindVector(file, record, end, budget, PayloadVec2s, inner::vec2s, 2, sizeof(short));
        case inner::vec2d: return FindVector(file, record, end, budget, PayloadVec2d, inner::vec2d, 2, sizeof(double));
        case inner::vec3d: return FindVector(file, record, end, budget, PayloadVec3d, inner::vec3d, 3, sizeof(double));
        case inner::vec3f: return FindVector(file, record, end, budget, PayloadVec3f, inner::vec3f, 3, sizeof(float));
        case inner::arrayCount: return FindDoubleTags(file, record, end, budget, PayloadDoubleTags);
        case inner::intCount: return FindIntArray(file, record, end, budget);
        case inner::objectTypes: finding.kind = PayloadGraphObject; return finding;
        case inner::histogramValues: {
            STag inside = record;
            inside.dataAddress = first.dataAddress;
            finding = FindDoubleTags(file, inside, end, budget, PayloadHistogram);
            finding.size += first.dataAddress - record.dataAddress;
            return finding;
        }
        default: return finding;  // a marker; what stands there is the level below it
    }
}

ULONGLONG NextInner(CFile& file, STag const& record) {
    ULONGLONG const behind = record.dataAddress + record.dataSize;
    if (record.nextTag == behind) return behind;
    STag next;
    if (!IsRecordAt(file, record.nextTag, file.GetLength())) return behind;
    ReadRecord(file, record.nextTag, next);
    return next.id == record.id || next.id == record.id + 1 ? record.nextTag : behind;
}

double ElementCursor::Value(CFile& file, ULONGLONG countTag, LONGLONG index) {
    STag record;
    if (countTag != m_countTag || index < m_index) {
        ReadRecord(file, countTag, record);
        m_countTag = countTag;
        m_position = NextInner(file, record);
        m_index = 0;
    }
    for (;;) {
        ReadRecord(file, m_position, record);
        if (m_index == index) return ReadNumber<double>(file, record.dataAddress);
        m_position = NextInner(file, record);
        ++m_index;
    }
}

}  // namespace KxN::detail
