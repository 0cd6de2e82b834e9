// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Collections of points whose count and bytes do not agree. The file tells no kind, so that the end of the payload, or
// else the numbers themselves, must tell how long an element is.
#include "persistence/syTagPayload.h"
#include "persistence/syTagRecord.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <vector>

namespace KxN::detail {

namespace {

constexpr UINT sampleSize = 3072;  // a whole number of elements of any kind

/// One way to read the bytes.
struct Shape {
    TagPayloadKind kind;
    ULONGLONG head;  // bytes of the count, or of the two extents
    ULONGLONG each;
    LONGLONG count;
    LONGLONG width = 0;  // of a 2-D array

    ULONGLONG Size() const { return head + static_cast<ULONGLONG>(count) * each; }
};

/// How the numbers of a sample look.
struct Looks {
    double floats = 0;    // the part that a measurement can be
    double doubles = 0;   // the same, of pairs
    double ints = 0;      // the part that is small, as counts and indices are
    double emptyLow = 0;  // the part of pairs whose lower half is zero, the upper one not: doubles of few digits
};

bool IsMeasured(double value) {
    constexpr double gap = std::numeric_limits<float>::max();  // in points of either width
    double const size = std::abs(value);
    return value == 0 || value == gap || std::isnan(value) || (size > 1e-12 && size < 1e12);
}

Looks LookAt(CFile& file, ULONGLONG position, ULONGLONG end) {
    std::vector<BYTE> bytes(static_cast<std::size_t>(std::min<ULONGLONG>(sampleSize, end - position) / 8 * 8));
    file.Seek(static_cast<LONGLONG>(position), CFile::begin);
    bytes.resize(file.Read(bytes.data(), static_cast<UINT>(bytes.size())) / 8 * 8);
    Looks looks;
    if (bytes.empty()) return looks;
    for (std::size_t i = 0; i < bytes.size(); i += 8) {
        std::uint32_t words[2] = {Load<std::uint32_t>(bytes.data() + i), Load<std::uint32_t>(bytes.data() + i + 4)};
        for (std::uint32_t word : words) {
            looks.floats += IsMeasured(std::bit_cast<float>(word));
            looks.ints += std::abs(static_cast<LONGLONG>(std::bit_cast<std::int32_t>(word))) < (1 << 23);
        }
        looks.doubles += IsMeasured(Load<double>(bytes.data() + i));
        looks.emptyLow += words[0] == 0 && words[1] != 0;
    }
    std::size_t const numPairs = bytes.size() / 8;
    double const pairs = static_cast<double>(numPairs);
    return {looks.floats / (2 * pairs), looks.doubles / pairs, looks.ints / (2 * pairs), looks.emptyLow / pairs};
}

/// Bytes of one coordinate, 4 or 8, or 0 if the numbers do not tell.
ULONGLONG GuessWidth(Looks const& looks) {
    constexpr double nearlyAll = 0.98, many = 0.3;
    if (looks.doubles >= nearlyAll && (looks.floats < nearlyAll || looks.emptyLow > many)) return sizeof(double);
    if (looks.floats >= nearlyAll || looks.ints >= nearlyAll) return sizeof(float);
    return 0;
}

template <class Take>
void AllShapes(LONGLONG width, LONGLONG height, Take const& take) {
    if (width <= 0) return;
    for (auto const& [kind, each] : {std::pair{PayloadVec3fArray, 12}, {PayloadVec3dArray, 24}, {PayloadVec2sArray, 4}})
        take(Shape{kind, 4, static_cast<ULONGLONG>(each), width});
    if (height <= 0 || width * height > std::numeric_limits<std::int32_t>::max()) return;
    for (auto const& [kind, each] : {std::pair{PayloadVec3f2dArray, 12}, {PayloadVec3d2dArray, 24}})
        take(Shape{kind, 8, static_cast<ULONGLONG>(each), width * height, width});
}

/// The two numbers in front of the points. Where only one is there the other is 0.
std::array<std::int32_t, 2> HeadsAt(CFile& file, ULONGLONG address, ULONGLONG end) {
    std::array<std::int32_t, 2> heads{};
    file.Seek(static_cast<LONGLONG>(address), CFile::begin);
    file.Read(heads.data(), static_cast<UINT>(std::min<ULONGLONG>(sizeof heads, end - address)));
    return heads;
}

/// The shapes that fill `size` bytes if one bit of a count has tipped.
std::vector<Shape> OneBitOff(std::array<std::int32_t, 2> const& heads, ULONGLONG size) {
    std::vector<Shape> shapes;
    for (unsigned bit = 0; bit < 64; ++bit) {
        std::array<std::int32_t, 2> other = heads;
        std::int32_t& head = other[bit / 32];
        head = std::bit_cast<std::int32_t>(std::bit_cast<std::uint32_t>(head) ^ (1U << bit % 32));
        AllShapes(other[0], other[1], [&](Shape const& shape) {
            if (shape.Size() == size && (bit < 32 || shape.head == 8)) shapes.push_back(shape);
        });
    }
    return shapes;
}

/// True if nothing but zeros stands there, as far as a sample tells: room that was never written.
bool IsEmpty(CFile& file, ULONGLONG position, ULONGLONG end) {
    std::vector<BYTE> bytes(static_cast<std::size_t>(std::min<ULONGLONG>(sampleSize, end - position)));
    file.Seek(static_cast<LONGLONG>(position), CFile::begin);
    bytes.resize(file.Read(bytes.data(), static_cast<UINT>(bytes.size())));
    return std::all_of(bytes.begin(), bytes.end(), [](BYTE byte) { return byte == 0; });
}

/// True if the numbers are such as an array of this shape has.
bool LooksLike(Shape const& shape, Looks const& looks) {
    if (shape.count == 0) return true;
    ULONGLONG const width = GuessWidth(looks);
    return shape.each == 4 ? width == 0 || looks.ints > 0.5 : shape.each == 3 * width;
}

PayloadFinding FindingOf(Shape const& shape) {
    PayloadFinding finding;
    finding.kind = shape.kind;
    finding.size = shape.Size();
    finding.count = shape.count;
    finding.width = static_cast<int>(shape.width);
    return finding;
}

}  // namespace

PayloadFinding ShorterCollection(CFile& file, ULONGLONG address, ULONGLONG end, Followed followed) {
    PayloadFinding finding;
    finding.kind = PayloadUnknown;
    ULONGLONG const size = end - address;
    if (size < 5) return finding;
    std::array<std::int32_t, 2> const heads = HeadsAt(file, address, end);
    std::vector<Shape> shapes;
    if (followed == Followed::byElements && !OneBitOff(heads, size).empty()) return finding;
    auto const take = [&](Shape const& shape) {
        if (shape.Size() >= size) return;
        ULONGLONG const behind = address + shape.Size();
        bool isOne = false;
        if (followed == Followed::byRecord)
            isOne = IsRecordAt(file, behind, end) || (end == file.GetLength() && IsCutRecordAt(file, behind, true));
        else if (followed == Followed::byFront)
            isOne = end == file.GetLength() && IsCutRecordAt(file, behind) && !IsEmpty(file, behind, end) &&
                    LooksLike(shape, LookAt(file, address + shape.head, behind));
        else if ((end - behind) % shape.each == 0 || IsEmpty(file, behind, end))
            isOne = shape.each > 4 && LooksLike(shape, LookAt(file, address + shape.head, behind));
        if (isOne) shapes.push_back(shape);
    };
    if (heads[0] == 0 && followed != Followed::byElements) take(Shape{PayloadEmptyArray, 4, 0, 0});
    AllShapes(heads[0], heads[1], take);
    if (heads[0] >= 0 && heads[1] == 0 && size >= 8 && followed != Followed::byElements)
        take(Shape{PayloadVec3d2dArray, 8, 24, 0, heads[0]});
    if (shapes.empty()) return finding;
    // The less is left over, the better does the shape explain the bytes.
    auto const largest = std::max_element(shapes.begin(), shapes.end(),
                                          [](Shape const& a, Shape const& b) { return a.Size() < b.Size(); });
    finding = FindingOf(*largest);
    finding.hasLeftOver = followed == Followed::byElements;
    if (finding.kind == PayloadVec3fArray && LookAt(file, address + 4, address + finding.size).ints > 0.5)
        finding.kind = PayloadVec3iArray;
    return finding;
}

bool LooksLikeGrid(CFile& file, ULONGLONG address, ULONGLONG end) {
    constexpr LONGLONG mostRows = 1 << 20;  // as a float or half a double they would be next to nothing
    std::array<std::int32_t, 2> heads{};
    file.Seek(static_cast<LONGLONG>(address), CFile::begin);
    if (end - address < 32 || file.Read(heads.data(), sizeof heads) != sizeof heads) return false;
    LONGLONG const width = heads[0], height = heads[1];
    if (width < 2 || height < 2 || width >= mostRows || height >= mostRows) return false;
    if (width * height > std::numeric_limits<std::int32_t>::max()) return false;
    Looks const looks = LookAt(file, address + 8, end);
    return looks.ints < 0.5 && GuessWidth(looks) != 0;
}

bool IsCollectionUpTo(CFile& file, ULONGLONG address, ULONGLONG promisedEnd) {
    std::array<std::int32_t, 2> heads{};
    file.Seek(static_cast<LONGLONG>(address), CFile::begin);
    if (promisedEnd <= address || file.Read(heads.data(), sizeof heads) != sizeof heads) return false;
    bool isOne = false;
    AllShapes(heads[0], heads[1], [&](Shape const& shape) { isOne |= shape.Size() == promisedEnd - address; });
    return isOne;
}

PayloadFinding SalvageCollection(CFile& file, ULONGLONG address, ULONGLONG end, ULONGLONG promisedEnd) {
    PayloadFinding left;
    left.kind = PayloadUnknown;
    std::array<std::int32_t, 2> heads{};
    file.Seek(static_cast<LONGLONG>(address), CFile::begin);
    ULONGLONG const there = end - address;
    if (there < 8 || file.Read(heads.data(), sizeof heads) != sizeof heads) return left;
    LONGLONG const width = heads[0], height = heads[1];
    left.promised = std::max(0LL, width);

    std::vector<Shape> shapes;
    ULONGLONG const promised = promisedEnd > address ? promisedEnd - address : 0;
    AllShapes(width, height, [&](Shape const& shape) {
        if (shape.Size() == promised && shapes.empty()) shapes.push_back(shape);
    });
    if (shapes.empty() && (promised == 0 || promised == there)) {
        // All bytes are there and the count is not right: the right one is one bit away.
        shapes = OneBitOff(heads, there);
        if (shapes.size() != 1) shapes.clear();
    }
    if (shapes.empty()) {
        bool const isGrid = promised == 0 && LooksLikeGrid(file, address, end);
        ULONGLONG const each = 3 * GuessWidth(LookAt(file, address + (isGrid ? 8 : 4), end));
        if (each == 0) return left;
        bool const isFloat = each == 12;
        if (isGrid)
            shapes.push_back({isFloat ? PayloadVec3f2dArray : PayloadVec3d2dArray, 8, each, width * height, width});
        else
            shapes.push_back({isFloat ? PayloadVec3fArray : PayloadVec3dArray, 4, each,
                              width > 0 ? width : static_cast<LONGLONG>((there - 4) / each)});
    }
    Shape const& shape = shapes.front();
    left.kind = shape.kind;
    if (left.kind == PayloadVec3fArray && LookAt(file, address + 4, end).ints > 0.5) left.kind = PayloadVec3iArray;
    left.kept = std::min(shape.count, static_cast<LONGLONG>((there - shape.head) / shape.each));
    left.keptSize = shape.head + static_cast<ULONGLONG>(left.kept) * shape.each;
    left.promised = shape.head == 8 ? shape.count : std::max(shape.count, left.promised);
    left.width = static_cast<int>(shape.width);
    KxString const kind(KxxPayloadKindName(left.kind));
    if (shape.head == 4 && shape.count != width)
        left.fault.SPrintf(L"the %s has the count %lld, and %lld elements are there", kind, width, left.kept);
    else
        left.fault.SPrintf(L"the %s promises %lld elements in %llu bytes, and %llu bytes are there", kind, shape.count,
                           shape.Size(), there);
    left.faultKind = shape.Size() > there ? FaultShortPayload : FaultCount;
    left.lostBytes = there - std::min(there, left.keptSize);
    return left;
}

}  // namespace KxN::detail
