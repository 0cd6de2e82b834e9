// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The input is a run of persistent objects: properties, and links that refer to one another from inside their bodies. What
// loads is listed, copied, stored and loaded again; where a link that stays leads to must be there.
#include "hbtools/properties/syPropertyList.h"

#include "FuzzInput.h"

#include <memory>
#include <unordered_set>
#include <vector>

using namespace KxN;

namespace fuzz {

std::unordered_set<KxPersistentObject*> g_links;  // all that are alive

/// Refers to two others and reads on between and behind them.
struct Link : KxPersistentObject {
    Link() { g_links.insert(this); }
    ~Link() override { g_links.erase(this); }
    KxVersion GetVersion() const override { return 1; }
    void Serialize(CArchive& archive) override {
        for (Link*& target : targets) {
            BYTE isThere = 0;
            archive >> isThere;
            if (isThere) target = static_cast<Link*>(LoadChecked(archive, &CheckLink));
        }
        archive >> value;
    }
    static void CheckLink(CArchive& archive, KxPersistentObject& object, bool) {
        if (!dynamic_cast<Link*>(&object)) ThrowWrongObject(archive, __LINE__);
    }

    Link* targets[2] = {};  // not owned
    int value = 0;
};

KxTFactory<Link> const g_linkFactory;

}  // namespace fuzz

namespace {

void Use(KxProperty& property) {
    struct Messages : KxTBlockMem<KxString*> {
        ~Messages() {
            for (KxString* message : *this) delete message;
        }
    } messages;
    property.GetAllMessageBufResized(messages, 0, 1, '.', 0);
    std::unique_ptr<KxProperty> const copy(property.Clone());
    CMemFile file(4096);
    CArchive storing(&file, CArchive::store);
    copy->Store(storing);
    storing.Close();
    file.Seek(0, CFile::begin);
    CArchive loading(&file, CArchive::load);
    std::unique_ptr<KxPersistentObject> const again(KxPersistentObject::Load(loading));
    KxPersistentObject const& loaded = *again;
    if (typeid(loaded) != typeid(property)) Broken();
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
            auto const* const property = dynamic_cast<KxProperty*>(object);
            bool isNew = property && !property->GetParent();
            for (auto const& former : loaded) isNew = isNew && former.get() != object;
            if (isNew) loaded.push_back(std::unique_ptr<KxPersistentObject>(object));
        }
    });
    // Numbers of the input are not those of the copies.
    KxPersistentObject::InitializeReferenceMap();
    for (auto const& object : loaded) Survive([&] { Use(dynamic_cast<KxProperty&>(*object)); });
    for (KxPersistentObject* object : fuzz::g_links)
        for (fuzz::Link* target : dynamic_cast<fuzz::Link&>(*object).targets)
            if (target && !fuzz::g_links.contains(target)) Broken();
    while (!fuzz::g_links.empty()) delete *fuzz::g_links.begin();
    return 0;
}
