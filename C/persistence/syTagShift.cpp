// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "persistence/syTagShift.h"

#include "persistence/syTagRecord.h"

#include <algorithm>
#include <vector>

namespace KxN::detail {

void ShiftedFile::SetShift(ULONGLONG seam, LONGLONG shift) {
    m_length = m_file.GetLength() + static_cast<ULONGLONG>(shift);
    m_seam = seam;
    m_shift = shift;
}

ULONGLONG ShiftedFile::ToSource(ULONGLONG position) const {
    if (position < HoleBegin()) return position;
    return position < HoleEnd() ? m_seam : position - static_cast<ULONGLONG>(m_shift);
}

ULONGLONG ShiftedFile::Seek(LONGLONG offset, UINT from) {
    // The file itself refuses what no file has.
    if (m_shift == 0)
        return m_position = m_file.Seek(from == current ? offset + static_cast<LONGLONG>(m_position) : offset,
                                        from == current ? static_cast<UINT>(begin) : from);
    if (from == begin && offset < 0) m_file.Seek(offset, from);
    ULONGLONG const base = from == begin ? 0 : from == end ? GetLength() : m_position;
    return m_position = base + static_cast<ULONGLONG>(offset);
}

UINT ShiftedFile::Read(void* buffer, UINT count) {
    if (m_shift == 0) {
        m_file.Seek(static_cast<LONGLONG>(m_position), begin);
        UINT const got = m_file.Read(buffer, count);
        m_position += got;
        return got;
    }
    auto* const bytes = static_cast<BYTE*>(buffer);
    ULONGLONG const length = GetLength();
    count = static_cast<UINT>(std::min<ULONGLONG>(count, length - std::min(m_position, length)));
    UINT done = 0;
    while (done < count) {
        ULONGLONG const position = m_position + done;
        ULONGLONG const next = position < HoleBegin() ? HoleBegin() : position < HoleEnd() ? HoleEnd() : length;
        UINT const part = static_cast<UINT>(std::min<ULONGLONG>(count - done, next - position));
        if (position >= HoleBegin() && position < HoleEnd()) {
            std::fill_n(bytes + done, part, BYTE{0});
        } else {
            m_file.Seek(static_cast<LONGLONG>(ToSource(position)), begin);
            if (m_file.Read(bytes + done, part) != part) break;
        }
        done += part;
    }
    m_position += done;
    return done;
}

BYTE const* ShiftedFile::Peek(ULONGLONG position, UINT count) {
    return m_shift == 0 ? m_file.Peek(position, count) : nullptr;
}

namespace {

/// What a head says of its own place and of the next one's.
struct Said {
    ULONGLONG place = 0;  // 0 where the bytes cannot be a head
    ULONGLONG next = 0;
};

Said SaidAt(BYTE const* bytes, std::size_t size) {
    std::uint16_t const version = Load<std::uint16_t>(bytes + 4);
    if (size < STag32::fileSize || version == 0 || version == longFormMark || Load<std::uint32_t>(bytes) == 0)
        return {};
    if (version & longFormMark) {
        if (size < STag::fileSize || Load<std::uint64_t>(bytes + 14) < STag::fileSize) return {};
        return {Load<std::uint64_t>(bytes + 14) - STag::fileSize, Load<std::uint64_t>(bytes + 22)};
    }
    if (Load<std::uint32_t>(bytes + 10) < STag32::fileSize) return {};
    return {Load<std::uint32_t>(bytes + 10) - STag32::fileSize, Load<std::uint32_t>(bytes + 14)};
}

}  // namespace

bool FindShift(CFile& file, ULONGLONG from, ULONGLONG target, ULONGLONG& seam, LONGLONG& shift) {
    constexpr std::size_t blockSize = 1 << 20;
    ULONGLONG const size = file.GetLength(), begin = from;
    std::vector<BYTE> block;
    ULONGLONG left = 1 << 16;  // heads that may still be looked for at the end of a link: each is a read
    while (from < size && size - from >= STag32::fileSize) {
        block.resize(static_cast<std::size_t>(std::min<ULONGLONG>(blockSize, size - from)));
        file.Seek(static_cast<LONGLONG>(from), CFile::begin);
        if (file.Read(block.data(), static_cast<UINT>(block.size())) != block.size()) return false;
        for (std::size_t i = 0; i + STag32::fileSize <= block.size(); ++i) {
            Said const said = SaidAt(block.data() + i, block.size() - i);
            ULONGLONG const place = from + i;
            // No more is missing, or too much, than there is of the file.
            if (said.place == 0 || said.place == place || said.place >= 2 * size) continue;
            bool isShifted = said.place == target;
            ULONGLONG const off = said.place - place;  // of either sign, modulo 2^64
            ULONGLONG const next = said.next - off;
            if (!isShifted && said.next > said.place && next > place && next < size && left > 0) {
                --left;
                BYTE bytes[STag::fileSize] = {};
                file.Seek(static_cast<LONGLONG>(next), CFile::begin);
                UINT const got = file.Read(bytes, sizeof bytes);
                isShifted = SaidAt(bytes, got).place == said.next;
            }
            // Only bytes that are there, and behind what led here, can be too many.
            if (!isShifted || (said.place < place && place - said.place > place - begin)) continue;
            seam = place;
            shift = static_cast<LONGLONG>(off);
            return true;
        }
        if (from + block.size() >= size) break;
        from += block.size() - STag::fileSize;
    }
    return false;
}

}  // namespace KxN::detail
