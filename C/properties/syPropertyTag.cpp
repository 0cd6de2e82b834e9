// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/properties/syPropertyTag.h"

namespace KxN {

namespace {

constexpr wchar_t const* sourceName = L"syPropertyTag";
constexpr int archiveSize = 4096;

template <class P>
[[noreturn]] void ThrowNot(unsigned long line) {
    throw new KxDynamicObjectException(sourceName, line, KxxClassName(typeid(P)), KxString());
}

/// Lets pass what is a P and what no list owns.
template <class P>
void Check(CArchive& archive, KxPersistentObject& object, bool isKnown) {
    P const* const property = dynamic_cast<P*>(&object);
    if (!property) ThrowNot<P>(__LINE__);
    if (isKnown && property->GetParent()) KxPersistentObject::ThrowWrongObject(archive, __LINE__);
}

template <class P>
int ReadImage(CFile* file, P*& property) {
    CArchive archive(file, CArchive::load, archiveSize);
    P* const loaded = dynamic_cast<P*>(KxPersistentObject::LoadChecked(archive, &Check<P>));
    archive.Close();
    property = loaded;
    return 1;
}

void WriteImage(CFile* file, KxProperty const* property) {
    CArchive archive(file, CArchive::store, archiveSize);
    property->Store(archive);
    archive.Close();
}

/// Writes a record by that function of the base. Null is refused in front of everything; what fails leaves no numbers of
/// objects that nobody could read.
template <class P, class Write>
auto WriteRecord(P const* property, Write write) {
    if (!property) ThrowNot<P>(__LINE__);
    KxPersistentObject::Storing storing;
    auto const result = write();
    storing.Done();
    return result;
}

}  // namespace

KxPropertyTag::KxPropertyTag(unsigned long id, KxProperty*& property, KxVersion version)
    : KxTag(id, version, 0, 0, 0), m_property(property) {
    SetHoldsObject();
}

KxPropertyTag::~KxPropertyTag() = default;

ULONGLONG KxPropertyTag::Append(CFile* file, ULONGLONG lastTagPosition) {
    return WriteRecord(m_property, [&] { return KxTag::Append(file, lastTagPosition); });
}

int KxPropertyTag::Replace(CFile* file, ULONGLONG position) {
    return WriteRecord(m_property, [&] { return KxTag::Replace(file, position); });
}

int KxPropertyTag::ReadData(CFile* file, STag const&) {
    return ReadImage(file, m_property);
}

void KxPropertyTag::WriteData(CFile* file) {
    WriteImage(file, m_property);
}

KxPropertyListTag::KxPropertyListTag(unsigned long id, KxPropertyList*& list, KxVersion version)
    : KxTag(id, version, 0, 0, 0), m_list(list) {
    SetHoldsObject();
}

KxPropertyListTag::~KxPropertyListTag() = default;

ULONGLONG KxPropertyListTag::Append(CFile* file, ULONGLONG lastTagPosition) {
    return WriteRecord(m_list, [&] { return KxTag::Append(file, lastTagPosition); });
}

int KxPropertyListTag::Replace(CFile* file, ULONGLONG position) {
    return WriteRecord(m_list, [&] { return KxTag::Replace(file, position); });
}

int KxPropertyListTag::ReadData(CFile* file, STag const&) {
    return ReadImage(file, m_list);
}

void KxPropertyListTag::WriteData(CFile* file) {
    WriteImage(file, m_list);
}

}  // namespace KxN
