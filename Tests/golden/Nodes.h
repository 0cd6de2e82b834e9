// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The objects of graph.tag: a node of type 10, and a leaf of type 20 derived from it.
#pragma once

#include "hbtools/persistence/syObjectGraph.h"
#include "hbtools/persistence/sySimpleTags.h"
#include "hbtools/persistence/syTagArchive.h"

namespace golden {

using namespace KxN;

struct Node : KxDynamicObject {
    int value = 0;
    long long nextAddress = 0;  // of the next node, as it stands in the file
    Node* inner = nullptr;      // not owned
};
struct Leaf : Node {};

/// Record 1 the value, 2 the next node, 3 a node within this one.
struct NodeSerializer : KxDynamicObjectSerializer {
    void Read(KxTagArchive& archive, KxDynamicObject* object) const override {
        auto& node = dynamic_cast<Node&>(*object);
        KxDynamicObjectTag inner(3, nullptr);
        archive >> KxTTag<int>(1, node.value) >> KxTTag<long long>(2, node.nextAddress) >> inner;
        node.inner = dynamic_cast<Node*>(inner.DynamicObject());
    }
    void Write(KxDynamicObject* object, KxTagArchive& archive) const override {
        auto& node = dynamic_cast<Node&>(*object);
        archive << KxTTag<int>(1, node.value) << KxTTag<long long>(2, node.nextAddress);
        if (node.inner) archive << KxDynamicObjectTag(3, node.inner);
    }
};

template <class T>
struct Maker : KxIDynamicObjectFactory {
    KxDynamicObject* Create() const override { return new T; }
};

/// While one lives the two types are known.
struct Types {
    NodeSerializer serializer;
    KxDynamicObjectTypeCast<Node> isNode;
    KxDynamicObjectTypeCast<Leaf> isLeaf;
    Maker<Node> makesNodes;
    Maker<Leaf> makesLeaves;
    KxSerializableTypeInfo node{10, -1, &isNode, &serializer, &makesNodes};
    KxSerializableTypeInfo leaf{20, 10, &isLeaf, &serializer, &makesLeaves};
};

}  // namespace golden
