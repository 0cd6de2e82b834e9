// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/persistence/syObjectGraph.h"

#include "base/syNameHash.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syResource.h"
#include "hbtools/persistence/sySimpleTags.h"
#include "hbtools/persistence/syTagArchive.h"
#include "persistence/syInnerTags.h"
#include "persistence/syTagRecord.h"
#include "persistence/syTextIds.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace KxN {

namespace {

using TypeInfo = KxSerializableTypeInfo;

class Reading;

struct NewAddress {
    long long address;
    Reading* reading;  // of the object there, as long as it lasts
};

/// The map of the guards alive. `numGuards` is their number.
struct Addresses {
    std::unordered_map<long long, NewAddress, detail::NumberHash> map;
    int numGuards = 0;
};
Addresses& TheAddresses() {
    static auto& addresses = *new Addresses;
    return addresses;
}

/// Beside the repository, so that hierarchies, files and objects need no search. Made when it is needed after types came or
/// went.
struct TypeIndex {
    std::optional<std::unordered_map<int, TypeInfo*>> byId;  // the first of each id
    std::optional<std::vector<TypeInfo*>> longestFirst;      // that can be made, those of one length as registered
};
TypeIndex& TheIndex() {
    static auto& index = *new TypeIndex;
    return index;
}

/// How many objects the outermost one that is being read from a file may still hold.
struct Budget {
    CFile const* file = nullptr;
    ULONGLONG numLeft = 0;
};

int g_depth = 0;  // of all files together: it stands for the stack
Budget g_budget;

/// One level of objects within one another.
class Level {
public:
    Level(CFile& file, bool isReading) : m_outer(g_budget) {
        if (g_depth >= KxxLimits().nestingDepth)
            AfxThrowArchiveException(CArchiveException::genericException, file.GetFileName());
        if (isReading) {
            // Each object has records of its own. Links that lead to the same ones again and again would never end. A
            // serializer may read another file meanwhile, which has a budget of its own.
            if (g_budget.file != &file) g_budget = {&file, detail::MostRecords(file)};
            if (g_budget.numLeft == 0) detail::ThrowEndOfFile(file);
            --g_budget.numLeft;
        }
        ++g_depth;
    }
    Level(Level const&) = delete;
    Level& operator=(Level const&) = delete;
    ~Level() {
        --g_depth;
        if (g_budget.file != m_outer.file) g_budget = m_outer;
    }

private:
    Budget m_outer;
};

long long AddressOf(KxDynamicObject* object) {
    return static_cast<long long>(reinterpret_cast<std::intptr_t>(object));
}

template <class Ids>
TypeInfo* LastThatCanBeMade(TypeInfo::KxRepository const& repository, Ids const& ids, int count) {
    while (count-- > 0)
        if (TypeInfo* const type = repository.GetTypeInfo(ids[count]); type && !type->IsAbstract()) return type;
    return nullptr;
}

/// Those that objects can be made of and told to be, the longest hierarchies first.
std::vector<TypeInfo*> LongestFirst(TypeInfo::KxRepository const& repository) {
    std::vector<std::pair<int, TypeInfo*>> lengths;
    for (TypeInfo* type : repository)
        if (!type->IsAbstract() && type->TypeCast()) lengths.emplace_back(type->GetClassHierarchy().Count(), type);
    std::stable_sort(lengths.begin(), lengths.end(), [](auto const& a, auto const& b) { return a.first > b.first; });
    std::vector<TypeInfo*> types;
    types.reserve(lengths.size());
    for (auto const& [length, type] : lengths) types.push_back(type);
    return types;
}

/// True if a payload stands behind the record's head. The last record of a level has no link: behind one without payload a
/// record of an outer level follows, and none of the types. Searching for them would walk the whole outer chain, for each
/// such object.
bool HasPayload(CFile& file, STag const& header) {
    if (header.nextTag == header.dataAddress || file.GetLength() <= header.dataAddress) return false;
    STag first;
    detail::ReadRecord(file, header.dataAddress, first);
    return first.id == inner::objectTypes;
}

/// The new object while its data are read. It dies with them, unless somebody asked for its address and may hold it.
class Reading {
public:
    Reading(KxDynamicObject*& place, KxDynamicObject* object, long long oldAddress)
        : m_place(place), m_former(std::exchange(place, object)), m_oldAddress(oldAddress) {
        try {
            Enter(oldAddress, AddressOf(object), this);
        } catch (...) {
            delete std::exchange(m_place, m_former);
            throw;
        }
    }
    Reading(Reading const&) = delete;
    Reading& operator=(Reading const&) = delete;
    ~Reading() {
        auto& map = TheAddresses().map;
        // Another object of the same old address may have taken its place.
        auto const entry = map.find(m_oldAddress);
        bool const isEntered = entry != map.end() && entry->second.reading == this;
        if (isEntered) entry->second.reading = nullptr;
        if (m_isDone) return;
        KxDynamicObject* const object = std::exchange(m_place, m_former);
        if (m_wasAsked) return;
        if (isEntered) map.erase(entry);
        delete object;
    }
    void Done() { m_isDone = true; }
    void MarkAsked() { m_wasAsked = true; }

    /// Of several objects of one old address the last one counts. Nothing if nobody wants to know.
    static void Enter(long long oldAddress, long long newAddress, Reading* reading) {
        Addresses& addresses = TheAddresses();
        if (addresses.numGuards > 0) addresses.map[oldAddress] = {newAddress, reading};
    }

private:
    KxDynamicObject*& m_place;
    KxDynamicObject* m_former;
    long long m_oldAddress;
    bool m_isDone = false;
    bool m_wasAsked = false;
};

}  // namespace

void KxDynamicObjectSerializer::Read(KxTagArchive&, KxDynamicObject*) const {}

void KxDynamicObjectSerializer::Write(KxDynamicObject*, KxTagArchive&) const {}

// Never destroyed: types of modules go when those are unloaded, some of them after everything else.
static KxSerializableTypeInfo::KxRepository& TheRepository() {
    static auto& repository = *new TypeInfo::KxRepository;
    return repository;
}

TypeInfo::KxRepository& KxSerializableTypeInfo::Repository = TheRepository();

TypeInfo* KxSerializableTypeInfo::KxRepository::GetTypeInfo(int typeId) const {
    if (this != &TheRepository()) {
        for (TypeInfo* type : *this)
            if (type->TypeId() == typeId) return type;
        return nullptr;
    }
    auto& types = TheIndex().byId;
    if (!types) {
        // Whole or not at all: types that are missing would be taken for unknown ones.
        std::unordered_map<int, TypeInfo*> made;
        for (TypeInfo* type : *this) made.emplace(type->TypeId(), type);
        types = std::move(made);
    }
    auto const found = types->find(typeId);
    return found == types->end() ? nullptr : found->second;
}

TypeInfo* KxSerializableTypeInfo::KxRepository::GetTypeInfo(KxTList<int> const& ids) const {
    return LastThatCanBeMade(*this, ids, ids.Count());
}

TypeInfo* KxSerializableTypeInfo::KxRepository::GetTypeInfo(KxTArray<int> const& ids) const {
    return LastThatCanBeMade(*this, ids, ids.Size());
}

TypeInfo* KxSerializableTypeInfo::KxRepository::GetTypeInfo(KxDynamicObject* object) const {
    auto const firstOf = [object](std::vector<TypeInfo*> const& types) {
        auto const found = std::find_if(types.begin(), types.end(),
                                        [object](TypeInfo* type) { return type->TypeCast()->IsOfType(object); });
        return found == types.end() ? nullptr : *found;
    };
    if (this != &TheRepository()) return firstOf(LongestFirst(*this));
    auto& types = TheIndex().longestFirst;
    if (!types) types = LongestFirst(*this);
    return firstOf(*types);
}

KxSerializableTypeInfo::KxSerializableTypeInfo(int typeId, int baseTypeId, KxIDynamicObjectTypeCast* cast,
                                               KxIDynamicObjectSerializer* serializer, KxIDynamicObjectFactory* factory)
    : m_typeId(typeId), m_baseTypeId(baseTypeId), m_cast(cast), m_serializer(serializer), m_factory(factory) {
    RegisterTypeInfo(this);
}

KxSerializableTypeInfo::~KxSerializableTypeInfo() {
    // Of two types of one id this one goes, and not the other.
    KxRepository& repository = TheRepository();
    if (int const index = repository.Find(this); index >= 0) repository.Remove(index);
    TheIndex() = {};
}

void KxSerializableTypeInfo::RegisterTypeInfo(KxSerializableTypeInfo* typeInfo) {
    TheRepository().AddTail(typeInfo);
    TheIndex() = {};
}

bool KxSerializableTypeInfo::UnregisterTypeInfo(int typeId) {
    KxRepository& repository = TheRepository();
    KxSerializableTypeInfo* const type = repository.GetTypeInfo(typeId);
    if (!type) return false;
    repository.Remove(repository.Find(type));
    TheIndex() = {};
    return true;
}

KxTList<int> KxSerializableTypeInfo::GetClassHierarchy() const {
    KxTList<int> hierarchy;
    std::unordered_set<int> seen;
    for (TypeInfo const* type = this; type && seen.insert(type->m_typeId).second;
         type = TheRepository().GetTypeInfo(type->m_baseTypeId))
        hierarchy.AddHead(type->m_typeId);
    return hierarchy;
}

KxAddressesMap::KxAddressesMap() {
    ++TheAddresses().numGuards;
}

KxAddressesMap::~KxAddressesMap() {
    Addresses& addresses = TheAddresses();
    if (--addresses.numGuards == 0) addresses.map.clear();
}

long long KxAddressesMap::GetCurrentAddress(long long oldAddress) {
    auto& map = TheAddresses().map;
    auto const entry = map.find(oldAddress);
    if (entry == map.end()) return 0;
    if (entry->second.reading) entry->second.reading->MarkAsked();
    return entry->second.address;
}

KxDynamicObject* KxAddressesMap::GetCurrentDynamicObject(long long oldAddress) {
    return reinterpret_cast<KxDynamicObject*>(static_cast<std::intptr_t>(GetCurrentAddress(oldAddress)));
}

KxDynamicObjectTag::KxDynamicObjectTag(unsigned long id, KxDynamicObject* object)
    : KxTag(id, KxVersion(100), 0, 0, 0), m_object(object) {}

KxDynamicObjectTag::KxDynamicObjectTag(KxDynamicObject* object) : KxDynamicObjectTag(inner::object, object) {}

KxDynamicObjectTag::~KxDynamicObjectTag() = default;

void KxDynamicObjectTag::RegisterAddress(long long oldAddress, long long newAddress) {
    Reading::Enter(oldAddress, newAddress, nullptr);
}

int KxDynamicObjectTag::Replace(CFile* file, ULONGLONG position) {
    STag header;
    bool const isNone = !m_object || !TheRepository().GetTypeInfo(m_object);
    if (isNone && ReadTagHeader(file, position, header) && HasPayload(*file, header)) {
        // No byte would be written, and readers would find the old object.
        KxString message;
        message.SPrintf(KxString(KxResId(text::ReplaceByNone)), KxxClassName(typeid(*this)), GetID(),
                        file->GetFileName());
        throw new KxException(L"syObjectGraph", __LINE__, message);
    }
    return KxTag::Replace(file, position);
}

int KxDynamicObjectTag::ReadData(CFile* file, STag const& header) {
    bool const hasPayload = HasPayload(*file, header);
    // A level below begins there if it has none.
    file->Seek(static_cast<LONGLONG>(header.dataAddress), CFile::begin);
    if (!hasPayload) return 1;
    Level const level(*file, true);
    KxTagArchive archive(file, 1);
    KxTArray<int> types;
    archive >> KxTBasicTypeArrayTag<int>(inner::objectTypes, types);
    KxSerializableTypeInfo const* const type = TheRepository().GetTypeInfo(types);
    if (!type) return 0;
    long long oldAddress = 0;
    archive >> KxTTag<long long>(inner::objectAddress, oldAddress);
    KxDynamicObject* const object = type->Factory()->Create();
    if (!object) return 0;
    Reading reading(m_object, object, oldAddress);
    archive.SetOptionalTagsMode();
    if (type->Serializer()) type->Serializer()->ReadObject(archive, object);
    reading.Done();
    return 1;
}

void KxDynamicObjectTag::WriteData(CFile* file) {
    if (!m_object) return;
    KxSerializableTypeInfo const* const type = TheRepository().GetTypeInfo(m_object);
    if (!type) return;
    Level const level(*file, false);
    KxTagArchive archive(file, 0);
    KxTList<int> const hierarchy = type->GetClassHierarchy();
    KxTArray<int> types(hierarchy.Count());
    std::copy(hierarchy.begin(), hierarchy.end(), types.begin());
    archive << KxTBasicTypeArrayTag<int>(inner::objectTypes, types);
    long long address = AddressOf(m_object);
    archive << KxTTag<long long>(inner::objectAddress, address);
    if (type->Serializer()) type->Serializer()->WriteObject(m_object, archive);
}

}  // namespace KxN
