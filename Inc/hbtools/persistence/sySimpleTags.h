// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The simple kinds of tags: marker, text, number among equals, scalar, and arrays of scalars. Each is bound to a
// variable of the caller's for one read or write:
//
//     KxString name(L"Platte 7");
//     archive << KxStringTag(1001, name, KxVersion(100));
//
// What cannot be read raises CFileException (a file that ends too early), KxVersionException (a later version) or, for
// arrays, CArchiveException (an impossible count) or KxTagArchiveException (an element that is missing), and the
// variable keeps its value; an array of int is resized once its count is known to fit the file. A tag and its variable
// belong to the thread of the archive.
#pragma once

#include "hbtools/base/syString.h"
#include "hbtools/core/syArray.h"
#include "hbtools/persistence/syTag.h"

namespace KxN {

/// A marker without payload, under which a nested level hangs.
class KX_API KxNullTag : public KxTag {
public:
    explicit KxNullTag(unsigned long id, KxVersion version = KxVersion(100));
    ~KxNullTag() override;

protected:
    int ReadData(CFile* file, STag const& header) override;
    void WriteData(CFile* file) override;
};

/// Narrow text in the code page of the thread, with a terminating zero. The payload has the length that the text
/// had when the tag was made, plus one; a text changed since is cut or filled with zeros.
class KX_API KxStringTag : public KxTag {
public:
    KxStringTag(unsigned long id, KxString& text, KxVersion version = KxVersion(100));
    ~KxStringTag() override;

protected:
    int ReadData(CFile* file, STag const& header) override;
    void WriteData(CFile* file) override;

private:
    KxString& m_text;
};

/// One of several records of the same id, told apart by a number. The number is copied: reading looks for it and
/// writing writes it, nothing is assigned back.
class KX_API KxNumeratedTag : public KxTag {
public:
    /// @throws CArchiveException cause badIndex for a number beyond 32 bits, before anything is read or written
    KxNumeratedTag(unsigned long id, unsigned long& number, KxVersion version = KxVersion(100));
    ~KxNumeratedTag() override;
    /// Returns non-zero if a record of the id with the number stands in the chain from `position`.
    int Read(CFile* file, ULONGLONG position) override;

protected:
    int ReadData(CFile* file, STag const& header) override;
    void WriteData(CFile* file) override;

private:
    std::uint32_t m_onFile;
    std::uint32_t m_wanted;
};

/// One scalar: short, int, float, double or long long, as its little-endian bytes.
template <class T>
class KX_API KxTTag : public KxTag {
public:
    KxTTag(unsigned long id, T& value, KxVersion version = KxVersion(100))
        : KxTag(id, version, sizeof(T), 0, 0), m_value(value) {}
    ~KxTTag() override = default;

protected:
    int ReadData(CFile* file, STag const& header) override;
    void WriteData(CFile* file) override;

private:
    T& m_value;
};

extern template class KxTTag<short>;
extern template class KxTTag<int>;
extern template class KxTTag<float>;
extern template class KxTTag<double>;
extern template class KxTTag<long long>;

/// An array of int: a count tag (208113), then the elements as they lie in memory.
template <class T>
class KX_API KxTBasicTypeArrayTag : public KxTag {
public:
    KxTBasicTypeArrayTag(unsigned long id, KxTArray<T>& values);
    ~KxTBasicTypeArrayTag() override;

protected:
    int ReadData(CFile* file, STag const& header) override;
    void WriteData(CFile* file) override;

private:
    KxTArray<T>& m_values;
};

extern template class KxTBasicTypeArrayTag<int>;

/// An array of double, one tag (208105) for each element behind a count tag (208104).
template <class T, class TAG>
class KX_API KxTTagArrayTag : public KxTag {
public:
    KxTTagArrayTag(unsigned long id, KxTArray<T>& values);
    ~KxTTagArrayTag() override;

protected:
    int ReadData(CFile* file, STag const& header) override;
    void WriteData(CFile* file) override;

private:
    KxTArray<T>& m_values;
};

extern template class KxTTagArrayTag<double, KxTTag<double>>;

}  // namespace KxN
