// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The input is a run of persistent objects. What loads is listed, copied, stored and loaded again.
#include "hbtools/properties/syPropertyList.h"

#include "FuzzInput.h"

#include <memory>
#include <vector>

using namespace KxN;

namespace {

void Use(KxProperty& property) {
    KxTBlockMem<KxString*> messages;
    property.GetAllMessageBufResized(messages, 0, 1, '.', 0);
    for (KxString* message : messages) delete message;
    std::unique_ptr<KxProperty> const copy(property.Clone());
    CMemFile file(4096);
    CArchive storing(&file, CArchive::store);
    copy->Store(storing);
    storing.Close();
    file.Seek(0, CFile::begin);
    CArchive loading(&file, CArchive::load);
    std::unique_ptr<KxPersistentObject> const again(KxPersistentObject::Load(loading));
    KxPersistentObject const& loaded = *again;
    if (typeid(loaded) != typeid(property)) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FuzzInput file(data, size);
    std::vector<std::unique_ptr<KxPersistentObject>> loaded;
    KxPersistentObject::InitializeReferenceMap();
    Survive([&] {
        CArchive archive(&file, CArchive::load);
        for (;;) {
            KxPersistentObject* const object = KxPersistentObject::Load(archive);
            bool isNew = dynamic_cast<KxProperty*>(object)->GetParent() == nullptr;
            for (auto const& former : loaded) isNew = isNew && former.get() != object;
            if (isNew) loaded.emplace_back(object);
        }
    });
    // Numbers of the input are not those of the copies.
    KxPersistentObject::InitializeReferenceMap();
    for (auto const& object : loaded) Survive([&] { Use(dynamic_cast<KxProperty&>(*object)); });
    return 0;
}
