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
    property = dynamic_cast<P*>(KxPersistentObject::LoadChecked(archive, &Check<P>));
    archive.Close();
    return 1;
}

template <class P>
void WriteImage(CFile* file, P const* property) {
    if (!property) ThrowNot<P>(__LINE__);
    CArchive archive(file, CArchive::store, archiveSize);
    property->Store(archive);
    archive.Close();
}

}  // namespace

KxPropertyTag::KxPropertyTag(unsigned long id, KxProperty*& property, KxVersion version)
    : KxTag(id, version, 0, 0, 0), m_property(property) {}

KxPropertyTag::~KxPropertyTag() = default;

int KxPropertyTag::ReadData(CFile* file, STag const&) {
    return ReadImage(file, m_property);
}

void KxPropertyTag::WriteData(CFile* file) {
    WriteImage(file, m_property);
}

KxPropertyListTag::KxPropertyListTag(unsigned long id, KxPropertyList*& list, KxVersion version)
    : KxTag(id, version, 0, 0, 0), m_list(list) {}

KxPropertyListTag::~KxPropertyListTag() = default;

int KxPropertyListTag::ReadData(CFile* file, STag const&) {
    return ReadImage(file, m_list);
}

void KxPropertyListTag::WriteData(CFile* file) {
    WriteImage(file, m_list);
}

}  // namespace KxN
