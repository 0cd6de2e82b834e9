// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A module that brings a persistent class and a type of object graphs.
#include "hbtools/persistence/syObjectGraph.h"
#include "hbtools/persistence/syPersistentObject.h"

namespace modules {

struct Probe : KxN::KxPersistentObject {
    KxN::KxVersion GetVersion() const override { return 1; }
};

struct Make : KxN::KxIDynamicObjectFactory {
    KxN::KxDynamicObject* Create() const override { return new Probe; }
};

KxN::KxTFactory<Probe> const g_probeFactory;
KxN::KxDynamicObjectTypeCast<Probe> g_cast;
KxN::KxDynamicObjectSerializer g_serializer;
Make g_make;
KxN::KxSerializableTypeInfo const g_type(7001, -1, &g_cast, &g_serializer, &g_make);

}  // namespace modules
