// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The input is a file with an object that may hold two further ones and refer to a third, of three types.
#include "hbtools/persistence/syObjectGraph.h"
#include "hbtools/persistence/sySimpleTags.h"
#include "hbtools/persistence/syTagArchive.h"

#include "FuzzInput.h"

#include <memory>
#include <utility>
#include <vector>

using namespace KxN;

namespace {

struct Node : KxDynamicObject {
    long long reference = 0;
};
struct Derived : Node {};

std::vector<std::unique_ptr<KxDynamicObject>> g_objects;
void Keep(KxDynamicObject* object) {
    std::unique_ptr<KxDynamicObject> owner(object);
    if (owner) g_objects.push_back(std::move(owner));
}

template <class T>
struct Factory : KxIDynamicObjectFactory {
    KxDynamicObject* Create() const override { return new T; }
};

struct Serializer : KxDynamicObjectSerializer {
    void Read(KxTagArchive& archive, KxDynamicObject* object) const override {
        archive >> KxTTag<long long>(1, dynamic_cast<Node&>(*object).reference);
        for (unsigned long id = 2; id <= 3; ++id) {
            KxDynamicObjectTag child(id, nullptr);
            archive >> child;
            Keep(child.DynamicObject());
        }
    }
};

Serializer g_serializer;
Factory<Node> g_nodes;
Factory<Derived> g_derived;
KxDynamicObjectTypeCast<KxDynamicObject> g_objectCast;
KxDynamicObjectTypeCast<Node> g_nodeCast;
KxDynamicObjectTypeCast<Derived> g_derivedCast;
KxSerializableTypeInfo const g_objectType(1, 0, &g_objectCast);
KxSerializableTypeInfo const g_nodeType(2, 1, &g_nodeCast, &g_serializer, &g_nodes);
KxSerializableTypeInfo const g_derivedType(3, 2, &g_derivedCast, &g_serializer, &g_derived);

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FuzzInput file(data, size);
    KxAddressesMap const map;
    Survive([&] {
        KxTagArchive archive(&file, 1);
        KxDynamicObjectTag tag(nullptr);
        archive >> tag;
        Keep(tag.DynamicObject());
    });
    for (auto const& object : g_objects)
        if (auto const* const node = dynamic_cast<Node const*>(object.get()))
            if (KxDynamicObject* const other = KxAddressesMap::GetCurrentDynamicObject(node->reference))
                static_cast<void>(dynamic_cast<Node*>(other));
    g_objects.clear();
    return 0;
}
