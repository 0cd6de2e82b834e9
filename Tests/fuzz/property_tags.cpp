// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The input is the payload of one record, read as a property and as a list; and a whole chain of such records.
#include "hbtools/persistence/sySimpleTags.h"
#include "hbtools/persistence/syTagArchive.h"
#include "hbtools/properties/syPropertyTag.h"

#include "FuzzInput.h"

#include <memory>

using namespace KxN;

namespace {

constexpr unsigned long id = 1;

template <class TAG, class P>
void Read(CFile& file) {
    file.Seek(0, CFile::begin);
    Survive([&] {
        KxPersistentObject::InitializeReferenceMap();
        P* property = nullptr;
        KxTagArchive archive(&file, 1);
        archive >> TAG(id, property);
        std::unique_ptr<P> const owner(property);
        archive >> TAG(id, property);
        if (property != owner.get()) delete property;
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FuzzInput whole(data, size);
    CMemFile framed;
    KxTagArchive(&framed, 0) << KxNullTag(id);
    if (size > 0) framed.Write(data, static_cast<UINT>(size));
    for (CFile* file : {static_cast<CFile*>(&whole), static_cast<CFile*>(&framed)}) {
        Read<KxPropertyTag, KxProperty>(*file);
        Read<KxPropertyListTag, KxPropertyList>(*file);
    }
    return 0;
}
