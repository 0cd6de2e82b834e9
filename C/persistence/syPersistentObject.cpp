// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/persistence/syPersistentObject.h"

#include "hbtools/base/syLimits.h"
#include "hbtools/base/syResource.h"
#include "hbtools/persistence/syTagArchive.h"
#include "persistence/syTextIds.h"

#include <memory>
#include <unordered_map>
#include <utility>

namespace KxN {

namespace {

constexpr wchar_t const* sourceName = L"syPersistentObject";

struct Loaded {
    KxPersistentObject* object;
    unsigned long long order;  // of the objects of a run
    bool isLoading = true;     // its body is still being read
    bool isReferred = false;   // a reference to it was handed out meanwhile
};

int g_supportCycles = 0;
int g_lastNumber = 0;
int g_depth = 0;
unsigned long long g_numLoaded = 0;

// Never destroyed: objects may be stored while the process ends.
auto& LoadMap() {
    static auto& map = *new std::unordered_map<int, Loaded>;
    return map;
}
auto& StoreMap() {
    static auto& map = *new std::unordered_map<KxPersistentObject const*, int>;
    return map;
}

/// One level of objects within one another.
class Level {
public:
    explicit Level(CArchive& archive) {
        if (g_depth >= KxxLimits().nestingDepth)
            AfxThrowArchiveException(CArchiveException::genericException, archive.GetFile()->GetFileName());
        ++g_depth;
    }
    Level(Level const&) = delete;
    Level& operator=(Level const&) = delete;
    ~Level() { --g_depth; }
};

[[noreturn]] void ThrowWrongObject(CArchive& archive, unsigned long line) {
    throw new KxArchiveException(sourceName, line, KxString(KxResId(text::WrongObjectType)),
                                 KxString(archive.GetFile()->GetFileName()));
}

/// The object while its body is read. Unless all went well it is freed, but for one that somebody refers to.
class Making {
public:
    Making(KxPersistentObject* object, bool isNumbered, int number)
        : m_object(object), m_isNumbered(isNumbered), m_number(number), m_order(++g_numLoaded) {
        if (!isNumbered) return;
        try {
            LoadMap()[number] = {object, m_order};
        } catch (...) {
            delete object;
            throw;
        }
    }
    Making(Making const&) = delete;
    Making& operator=(Making const&) = delete;
    ~Making() {
        if (!m_object) return;
        auto const own = LoadMap().find(m_number);
        if (m_isNumbered && own != LoadMap().end() && own->second.object == m_object && own->second.isReferred) return;
        // What its body had made goes with it, or is nobody's.
        std::erase_if(LoadMap(), [this](auto const& entry) { return entry.second.order >= m_order; });
        delete m_object;
    }
    KxPersistentObject* Done() {
        if (m_isNumbered) {
            auto const entry = LoadMap().find(m_number);
            if (entry != LoadMap().end()) entry->second.isLoading = false;
        }
        return std::exchange(m_object, nullptr);
    }

private:
    KxPersistentObject* m_object;
    bool m_isNumbered;
    int m_number;
    unsigned long long m_order;
};

}  // namespace

KxPersistentObject::~KxPersistentObject() = default;

void KxPersistentObject::Serialize(CArchive&) {}

void KxPersistentObject::SerializeOldVersion(CArchive&, KxVersion version) {
    throw new KxVersionException(sourceName, __LINE__, KxxClassName(typeid(*this)), GetVersion(), version);
}

void KxPersistentObject::SupportCyclicReferences(int enable) {
    g_supportCycles = enable;
}

void KxPersistentObject::InitializeReferenceMap() {
    LoadMap().clear();
    StoreMap().clear();
    g_lastNumber = 0;
}

void KxPersistentObject::Store(CArchive& archive) const {
    Level const level(archive);
    archive << static_cast<std::uint32_t>(g_supportCycles ? 1 : 0);
    if (g_supportCycles) {
        auto const [entry, isNew] = StoreMap().try_emplace(this, g_lastNumber + 1);
        if (isNew) ++g_lastNumber;
        archive << static_cast<std::uint32_t>(entry->second);
        if (!isNew) return;
    }
    archive << KxxClassName(typeid(*this));
    archive << static_cast<std::uint16_t>(GetVersion().GetValue());
    const_cast<KxPersistentObject*>(this)->Serialize(archive);
}

KxPersistentObject* KxPersistentObject::Load(CArchive& archive) {
    return LoadObject(archive, true);
}

KxPersistentObject* KxPersistentObject::LoadOwned(CArchive& archive) {
    return LoadObject(archive, false);
}

KxPersistentObject* KxPersistentObject::LoadObject(CArchive& archive, bool mayRefer) {
    Level const level(archive);
    std::uint32_t flag = 0, number = 0;
    archive >> flag;
    bool const isNumbered = flag == 1;
    if (isNumbered) {
        archive >> number;
        auto const known = LoadMap().find(static_cast<int>(number));
        if (known != LoadMap().end()) {
            if (!mayRefer) ThrowWrongObject(archive, __LINE__);
            if (known->second.isLoading) known->second.isReferred = true;
            return known->second.object;
        }
    }
    KxString className;
    archive >> className;
    std::unique_ptr<KxDynamicObject> made(CreateObject(className));
    auto* const object = dynamic_cast<KxPersistentObject*>(made.get());
    if (!object) ThrowWrongObject(archive, __LINE__);
    static_cast<void>(made.release());
    Making making(object, isNumbered, static_cast<int>(number));
    std::uint16_t version = 0;
    archive >> version;
    if (KxVersion(version) == object->GetVersion())
        object->Serialize(archive);
    else
        object->SerializeOldVersion(archive, KxVersion(version));
    return making.Done();
}

}  // namespace KxN
