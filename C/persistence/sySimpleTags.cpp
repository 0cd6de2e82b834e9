// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/persistence/sySimpleTags.h"

#include "hbtools/base/syArchive.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/persistence/syTagArchive.h"
#include "persistence/syBlockArchive.h"
#include "persistence/syInnerTags.h"
#include "persistence/syTagChain.h"
#include "persistence/syTagRecord.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace KxN {

namespace {

// Lengths in files count UTF-16 units: a character above the BMP is two.
unsigned long LengthInUnits(std::wstring_view text) {
    auto const pairs = std::count_if(text.begin(), text.end(), [](wchar_t c) { return c > 0xffff; });
    return static_cast<unsigned long>(text.size()) + static_cast<unsigned long>(pairs);
}

}  // namespace

KxNullTag::KxNullTag(unsigned long id, KxVersion version) : KxTag(id, version, 0, 0, 0) {}

KxNullTag::~KxNullTag() = default;

int KxNullTag::ReadData(CFile*, STag const&) {
    return 1;
}

void KxNullTag::WriteData(CFile*) {}

KxStringTag::KxStringTag(unsigned long id, KxString& text, KxVersion version)
    : KxTag(id, version, LengthInUnits(text.View()) + 1, 0, 0), m_text(text) {}

KxStringTag::~KxStringTag() = default;

int KxStringTag::ReadData(CFile* file, STag const& header) {
    if (header.dataSize == 0) {
        m_text = KxString();
        return 1;
    }
    ULONGLONG const length = file->GetLength();
    if (header.dataAddress > length || header.dataSize > length - header.dataAddress) detail::ThrowEndOfFile(*file);
    // In pieces up to the terminator: what is declared behind it costs no memory.
    constexpr ULONGLONG pieceSize = 1 << 20;
    std::string bytes;
    std::size_t end = std::string::npos;
    ULONGLONG left = header.dataSize;
    while (left > 0 && end == std::string::npos) {
        std::size_t const piece = static_cast<std::size_t>(std::min(left, pieceSize));
        std::size_t const done = bytes.size();
        bytes.resize(done + piece);
        if (file->Read(bytes.data() + done, static_cast<UINT>(piece)) != piece) detail::ThrowEndOfFile(*file);
        end = bytes.find('\0', done);
        left -= piece;
    }
    if (end != std::string::npos) bytes.resize(end);
    // A level below begins behind all of it.
    if (left > 0) file->Seek(static_cast<LONGLONG>(left), CFile::current);
    m_text = KxString(KxxWidenNarrow(bytes));
    return 1;
}

void KxStringTag::WriteData(CFile* file) {
    std::string bytes = KxxToNarrow(m_text.View());
    bytes.resize(GetDataSize() & detail::limit32, '\0');
    WriteTagData(file, bytes.data());
}

KxNumeratedTag::KxNumeratedTag(unsigned long id, unsigned long& number, KxVersion version)
    : KxTag(id, version, 4, 0, 0),
      m_onFile(static_cast<std::uint32_t>(number)),
      m_wanted(static_cast<std::uint32_t>(number)) {
    if (m_wanted != number) AfxThrowArchiveException(CArchiveException::badIndex);
}

KxNumeratedTag::~KxNumeratedTag() = default;

int KxNumeratedTag::Read(CFile* file, ULONGLONG position) {
    // Each search goes on where the former ended. Without an archive that remembers the chain, a ring would be walked
    // once for each record of the id.
    detail::TagChain chain(position);
    detail::TagChain* const former = std::exchange(m_chain, m_chain ? m_chain : &chain);
    struct Restore {
        detail::TagChain*& place;
        detail::TagChain* value;
        ~Restore() { place = value; }
    } const restore{m_chain, former};
    ULONGLONG left = 0;
    for (;;) {
        if (!KxTag::Read(file, position)) return 0;
        if (m_onFile == m_wanted) return 1;
        position = GetNextTag();
        if (position == 0) return 0;
        if (left == 0) left = detail::MostRecords(*file) + 1;
        if (--left == 0) detail::ThrowEndOfFile(*file);
    }
}

int KxNumeratedTag::ReadData(CFile* file, STag const& header) {
    ReadTagData(file, header, &m_onFile, sizeof m_onFile);
    return 1;
}

void KxNumeratedTag::WriteData(CFile* file) {
    file->Write(&m_onFile, sizeof m_onFile);
}

template <class T>
int KxTTag<T>::ReadData(CFile* file, STag const&) {
    // The file stands at the payload already: a scalar is worth no second seek.
    T value;
    if (file->Read(&value, sizeof value) != sizeof value) detail::ThrowEndOfFile(*file);
    m_value = value;
    return 1;
}

template <class T>
void KxTTag<T>::WriteData(CFile* file) {
    file->Write(&m_value, sizeof m_value);
}

template class KxTTag<short>;
template class KxTTag<int>;
template class KxTTag<float>;
template class KxTTag<double>;
template class KxTTag<long long>;

template <class T>
KxTBasicTypeArrayTag<T>::KxTBasicTypeArrayTag(unsigned long id, KxTArray<T>& values)
    : KxTag(id, KxVersion(100), 0, 0, 0), m_values(values) {}

template <class T>
KxTBasicTypeArrayTag<T>::~KxTBasicTypeArrayTag() = default;

template <class T>
int KxTBasicTypeArrayTag<T>::ReadData(CFile* file, STag const&) {
    int count = 0;
    {
        KxTagArchive archive(file, 1);
        archive.SetNecessaryTagsMode();
        archive >> KxTTag<int>(inner::intCount, count);
    }
    detail::BlockReader archive(file);
    archive.CheckCount(count, sizeof(T));
    m_values.Resize(count);
    archive.ReadBlock(m_values.Data(), sizeof(T) * static_cast<ULONGLONG>(count));
    archive.Close();
    return 1;
}

template <class T>
void KxTBasicTypeArrayTag<T>::WriteData(CFile* file) {
    int count = m_values.Size();
    {
        KxTagArchive archive(file, 0);
        archive << KxTTag<int>(inner::intCount, count);
    }
    CArchive archive(file, CArchive::store, detail::blockArchiveSize);
    archive.WriteBlock(m_values.Data(), sizeof(T) * static_cast<ULONGLONG>(count));
    archive.Close();
}

template class KxTBasicTypeArrayTag<int>;

template <class T, class TAG>
KxTTagArrayTag<T, TAG>::KxTTagArrayTag(unsigned long id, KxTArray<T>& values)
    : KxTag(id, KxVersion(100), 0, 0, 0), m_values(values) {}

template <class T, class TAG>
KxTTagArrayTag<T, TAG>::~KxTTagArrayTag() = default;

template <class T, class TAG>
int KxTTagArrayTag<T, TAG>::ReadData(CFile* file, STag const&) {
    KxTagArchive archive(file, 1);
    archive.SetNecessaryTagsMode();
    int count = 0;
    archive >> KxTTag<int>(inner::arrayCount, count);
    detail::CheckCount(*file, file->GetPosition(), count, STag32::fileSize + sizeof(T));
    KxTArray<T> values(count);
    ULONGLONG former = 0;
    for (int i = 0; i < count; ++i) {
        T value{};
        TAG tag(inner::arrayElement, value);
        archive >> tag;
        // Behind the last element the search would come round to it again.
        if (tag.GetDataAddress() <= former) detail::ThrowEndOfFile(*file);
        former = tag.GetDataAddress();
        values[i] = value;
    }
    m_values = std::move(values);
    return 1;
}

template <class T, class TAG>
void KxTTagArrayTag<T, TAG>::WriteData(CFile* file) {
    KxTagArchive archive(file, 0);
    int count = m_values.Size();
    archive << KxTTag<int>(inner::arrayCount, count);
    for (T& value : m_values) archive << TAG(inner::arrayElement, value);
}

template class KxTTagArrayTag<double, KxTTag<double>>;

}  // namespace KxN
