// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A property, or a tree of them, as one record of a tag file; the payload is the image of a persistent object.
//
//     KxPersistentObject::InitializeReferenceMap();                       // before each run of tags, either way
//     archive << KxPropertyListTag(300, conditions, KxVersion(100));      // KxPropertyList* conditions
//
// Reading sets the bound pointer to a new object, which is the caller's; what it pointed to before stays the caller's too.
// Objects that were stored with SupportCyclicReferences are made once in a run: two tags may then give the same object,
// unless the caller begins a new run for each. What a list owns is never given out. Tag and pointer belong to the thread
// of the archive, and the map of references to the process: one run at a time.
#pragma once

#include "hbtools/persistence/syTag.h"
#include "hbtools/properties/syPropertyList.h"

namespace KxN {

class KX_API KxPropertyTag : public KxTag {
public:
    /// The pointer must outlive the tag. Writing null throws KxDynamicObjectException.
    KxPropertyTag(unsigned long id, KxProperty*& property, KxVersion version = KxVersion(100));
    ~KxPropertyTag() override;

    /// Null throws KxDynamicObjectException before anything is written.
    ULONGLONG Append(CFile* file, ULONGLONG lastTagPosition) override;
    /// The image is written in place, and only when all of it is there. Of a kind that the library does not bring nothing
    /// tells how long an image in the file is: it may take the room up to the next record of its level, also if a level
    /// below stands in there; as the last record of its level it is refused.
    /// @throws KxException if it is longer than the old one; what KxPersistentObject::Store throws. The file is as before
    /// then
    int Replace(CFile* file, ULONGLONG position) override;

protected:
    /// @throws as KxPersistentObject::Load; KxDynamicObjectException for an object that is no property. The pointer is as
    /// before then.
    int ReadData(CFile* file, STag const& header) override;
    void WriteData(CFile* file) override;

private:
    KxProperty*& m_property;
};

class KX_API KxPropertyListTag : public KxTag {
public:
    /// As KxPropertyTag, for a list.
    KxPropertyListTag(unsigned long id, KxPropertyList*& list, KxVersion version = KxVersion(100));
    ~KxPropertyListTag() override;

    ULONGLONG Append(CFile* file, ULONGLONG lastTagPosition) override;
    int Replace(CFile* file, ULONGLONG position) override;

protected:
    int ReadData(CFile* file, STag const& header) override;
    void WriteData(CFile* file) override;

private:
    KxPropertyList*& m_list;
};

}  // namespace KxN
