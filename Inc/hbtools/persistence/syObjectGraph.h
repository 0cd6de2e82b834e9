// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Graphs of objects in tag files, by numeric types. A type has a static KxSerializableTypeInfo and is known from the first
// line of main, or while its module is loaded. A KxDynamicObjectTag writes the types of an object from the root down, its
// address and what the serializer of its type adds; a reader makes the most derived type that it knows, and
// KxAddressesMap leads from the addresses in the file to the new objects.
//
//     KxAddressesMap const map;                               KxDynamicObjectTag tag(nullptr);
//     archive >> tag;                                         // ... all objects of the file
//     node->next = dynamic_cast<Node*>(KxAddressesMap::GetCurrentDynamicObject(node->nextAddress));
//
// Damaged files raise what syTagArchive.h tells, objects within one another deeper than KxLimits::nestingDepth
// CArchiveException; reading is a recursion, and objects that deep need a stack of 4 MiB, besides what serializers take.
// Types and map belong to the process and have no lock: one read at a time, and no module may be loaded or unloaded
// meanwhile; objects must be deleted before the module of their type is unloaded.
#pragma once

#include "hbtools/core/syArray.h"
#include "hbtools/core/syList.h"
#include "hbtools/persistence/syDynamicObject.h"
#include "hbtools/persistence/syTag.h"

namespace KxN {

class KxTagArchive;

/// Tells whether an object is of one type, or derived from it.
class KX_API KxIDynamicObjectTypeCast {
public:
    virtual bool IsOfType(KxDynamicObject* object) const = 0;
    virtual ~KxIDynamicObjectTypeCast() = default;
};

template <class T>
class KxDynamicObjectTypeCast final : public KxIDynamicObjectTypeCast {
public:
    bool IsOfType(KxDynamicObject* object) const override {
        if constexpr (std::is_same_v<T, KxDynamicObject>)
            return object != nullptr;
        else
            return dynamic_cast<T*>(object) != nullptr;
    }
};

class KX_API KxIDynamicObjectFactory {
public:
    /// A new object, which is the caller's.
    virtual KxDynamicObject* Create() const = 0;
    virtual ~KxIDynamicObjectFactory() = default;
};

/// Reads and writes what an object of one type holds. A reference to another object stands as that object's address.
class KX_API KxIDynamicObjectSerializer {
public:
    virtual ~KxIDynamicObjectSerializer() = default;
    void ReadObject(KxTagArchive& archive, KxDynamicObject* object) const { Read(archive, object); }
    void WriteObject(KxDynamicObject* object, KxTagArchive& archive) const { Write(object, archive); }

protected:
    /// The archive is in optional mode: what is not there leaves the object as it is.
    virtual void Read(KxTagArchive& archive, KxDynamicObject* object) const = 0;
    virtual void Write(KxDynamicObject* object, KxTagArchive& archive) const = 0;
};

/// Reads and writes nothing.
class KX_API KxDynamicObjectSerializer : public KxIDynamicObjectSerializer {
protected:
    void Read(KxTagArchive& archive, KxDynamicObject* object) const override;
    void Write(KxDynamicObject* object, KxTagArchive& archive) const override;
};

/// One type. Of static storage; cast, serializer and factory stay the caller's and must live as long.
class KX_API KxSerializableTypeInfo {
public:
    /// The types of the process in the order of registration.
    class KX_API KxRepository : public KxTList<KxSerializableTypeInfo*> {
    public:
        /// The first type of that id; null if there is none.
        KxSerializableTypeInfo* GetTypeInfo(int typeId) const;
        /// From the last id to the first, the first type that is there and has a factory; null if there is none.
        KxSerializableTypeInfo* GetTypeInfo(KxTList<int> const& ids) const;
        KxSerializableTypeInfo* GetTypeInfo(KxTArray<int> const& ids) const;
        /// Of all types with a factory that the object is of, the one with the longest hierarchy, the first registered
        /// of several; null if there is none.
        KxSerializableTypeInfo* GetTypeInfo(KxDynamicObject* object) const;
    };
    /// To be read. It must not be changed directly: types come and go with their constructors and destructors, and an
    /// index of their ids is kept beside it.
    static KxRepository& Repository;

    /// An abstract type. The ids are the application's; a root's base is an id that no type has.
    KxSerializableTypeInfo(int typeId, int baseTypeId, KxIDynamicObjectTypeCast* cast)
        : KxSerializableTypeInfo(typeId, baseTypeId, cast, nullptr, nullptr) {}
    /// Without a cast no object is written as one of this type, without a serializer nothing of its content. A factory
    /// that makes null is taken for a type that cannot be made.
    KxSerializableTypeInfo(int typeId, int baseTypeId, KxIDynamicObjectTypeCast* cast,
                           KxIDynamicObjectSerializer* serializer, KxIDynamicObjectFactory* factory);
    KxSerializableTypeInfo(KxSerializableTypeInfo const&) = delete;
    KxSerializableTypeInfo& operator=(KxSerializableTypeInfo const&) = delete;
    virtual ~KxSerializableTypeInfo();

    int TypeId() const { return m_typeId; }
    int BaseTypeId() const { return m_baseTypeId; }
    bool IsAbstract() const { return !m_factory; }
    KxIDynamicObjectTypeCast* TypeCast() const { return m_cast; }            ///< May be null.
    KxIDynamicObjectSerializer* Serializer() const { return m_serializer; }  ///< May be null.
    KxIDynamicObjectFactory* Factory() const { return m_factory; }           ///< Null for an abstract type.
    /// The types from the root down to this one. Ids that lead back to themselves end it.
    KxTList<int> GetClassHierarchy() const;

protected:
    static void RegisterTypeInfo(KxSerializableTypeInfo* typeInfo);
    /// Takes the first type of that id out; false if there is none.
    static bool UnregisterTypeInfo(int typeId);

private:
    int m_typeId;
    int m_baseTypeId;
    KxIDynamicObjectTypeCast* m_cast;
    KxIDynamicObjectSerializer* m_serializer;
    KxIDynamicObjectFactory* m_factory;
};

/// While one of these lives, objects that are read are found by their addresses in the file. They may be nested, and
/// share one map.
class KX_API KxAddressesMap {
public:
    KxAddressesMap();
    KxAddressesMap(KxAddressesMap const&) = delete;
    KxAddressesMap& operator=(KxAddressesMap const&) = delete;
    ~KxAddressesMap();

    /// The new address for one in the file; of several the last that was read. 0 if none was read, or no map lives.
    long long operator[](long long oldAddress) const { return GetCurrentAddress(oldAddress); }
    static long long GetCurrentAddress(long long oldAddress);
    /// The same as an object, which may be of another type than the file pretends: cast it by dynamic_cast.
    static KxDynamicObject* GetCurrentDynamicObject(long long oldAddress);
};

/// An object as a record. It is not owned; after a read that found one, DynamicObject is the new object, which is the
/// caller's.
class KX_API KxDynamicObjectTag : public KxTag {
public:
    KxDynamicObjectTag(unsigned long id, KxDynamicObject* object);
    explicit KxDynamicObjectTag(KxDynamicObject* object);  ///< With the id 208001.
    ~KxDynamicObjectTag() override;

    KxDynamicObject* DynamicObject() const { return m_object; }

    /// Null and objects of unknown types take the place of such ones only: nothing can make readers pass over an object
    /// that is there.
    /// @throws KxException, before a byte changes, for them in place of an object, and for an object that does not fit
    int Replace(CFile* file, ULONGLONG position) override;

protected:
    /// A record without payload leaves the object as it is. A record of which nobody knows a type that can be made counts
    /// as a missing one: the read goes on at the begin of the level, gives the first object of this id once more if that
    /// is of a known type, and ends as for a missing tag otherwise. Further reads of the id do the same and come to no
    /// object behind it: who writes types that readers may not know gives each object an id of its own. If the
    /// serializer throws, the new object is gone, unless somebody asked for its address meanwhile.
    int ReadData(CFile* file, STag const& header) override;
    /// Null and objects of unknown types have no payload.
    void WriteData(CFile* file) override;
    /// Enters an object that was read; nothing if no KxAddressesMap lives.
    static void RegisterAddress(long long oldAddress, long long newAddress);

private:
    KxDynamicObject* m_object;
};

}  // namespace KxN
