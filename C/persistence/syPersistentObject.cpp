// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/persistence/syPersistentObject.h"

#include "base/posix/syMutex.h"
#include "base/syNameHash.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syResource.h"
#include "hbtools/persistence/syTagArchive.h"
#include "persistence/syFactories.h"
#include "persistence/syTextIds.h"

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>
#include <unordered_map>
#include <utility>
#include <vector>

namespace KxN {

namespace {

constexpr wchar_t const* sourceName = L"syPersistentObject";

int g_supportCycles = 0;
int g_lastNumber = 0;
int g_depth = 0;
constinit std::atomic<std::size_t> g_numKnown = 0;  // entries of the maps by object

/// What this run knows. Objects leave it when they are deleted, on whichever thread: no number ever leads to memory that
/// is gone, or to what stands there since.
class References {
public:
    void Clear() {
        std::lock_guard const lock(m_mutex);
        m_loaded.clear();
        m_numbers.clear();
        m_stored.clear();
        g_numKnown = 0;
    }

    /// The object of that number; null if there is none.
    KxPersistentObject* Find(int number) const {
        std::lock_guard const lock(m_mutex);
        auto const entry = m_loaded.find(number);
        return entry == m_loaded.end() ? nullptr : entry->second.object;
    }
    /// Counts a reference that was handed out, or with -1 one whose holder is gone.
    void CountHolder(int number, int change) noexcept {
        std::lock_guard const lock(m_mutex);
        auto const entry = m_loaded.find(number);
        if (entry != m_loaded.end()) entry->second.numHolders += change;
    }
    bool IsHeld(int number) const {
        std::lock_guard const lock(m_mutex);
        auto const entry = m_loaded.find(number);
        return entry != m_loaded.end() && entry->second.numHolders > 0;
    }
    void AddLoaded(int number, KxPersistentObject* object) {
        std::lock_guard const lock(m_mutex);
        m_loaded.emplace(number, Loaded{object});
        try {
            m_numbers.emplace(object, number);
        } catch (...) {
            m_loaded.erase(number);
            throw;
        }
        ++g_numKnown;
    }

    /// Its number; a new one if it had none.
    std::pair<int, bool> NumberOf(KxPersistentObject const* object) {
        std::lock_guard const lock(m_mutex);
        auto const [entry, isNew] = m_stored.try_emplace(object, g_lastNumber + 1);
        if (isNew) {
            ++g_lastNumber;
            ++g_numKnown;
        }
        return {entry->second, isNew};
    }

    bool HasNumber(KxPersistentObject const* object) const {
        std::lock_guard const lock(m_mutex);
        return m_stored.contains(object);
    }

    /// Takes back the numbers above `last`: what they were given for did not get into the file.
    void TakeBack(int last) noexcept {
        std::lock_guard const lock(m_mutex);
        if (g_lastNumber <= last) return;
        g_numKnown -= std::erase_if(m_stored, [last](auto const& entry) { return entry.second > last; });
        g_lastNumber = last;
    }

    void Forget(KxPersistentObject const* object) noexcept {
        std::lock_guard const lock(m_mutex);
        g_numKnown -= m_stored.erase(object);
        auto const entry = m_numbers.find(object);
        if (entry == m_numbers.end()) return;
        m_loaded.erase(entry->second);
        m_numbers.erase(entry);
        --g_numKnown;
    }

private:
    struct Loaded {
        KxPersistentObject* object;
        int numHolders = 0;  // references that others got while it was being read
    };

    mutable detail::Mutex m_mutex;
    std::unordered_map<int, Loaded, detail::NumberHash> m_loaded;
    std::unordered_map<KxPersistentObject const*, int> m_numbers;
    std::unordered_map<KxPersistentObject const*, int> m_stored;
};

// Never destroyed: objects may be stored, and die, while the process ends.
References& TheReferences() {
    static auto& references = *new References;
    return references;
}

/// One level of objects within one another.
class Level {
public:
    explicit Level(CArchive& archive) {
        if (g_depth >= KxxLimits().nestingDepth) Refuse(archive);
        ++g_depth;
    }
    Level(Level const&) = delete;
    Level& operator=(Level const&) = delete;
    ~Level() { --g_depth; }

private:
    [[noreturn, gnu::noinline]] static void Refuse(CArchive& archive) {
        AfxThrowArchiveException(CArchiveException::genericException, archive.GetFile()->GetFileName());
    }
};

/// What stands in front of a body: the object it is for, or one that is known already and has none.
struct Head {
    KxPersistentObject* object = nullptr;
    bool isKnown = false;
    bool isNumbered = false;
    int number = 0;
};

/// The object while its body is read. Unless all went well it is freed, but for one that another object holds which got
/// a reference and was read to its end.
class Making {
public:
    explicit Making(Head const& head) : m_head(head), m_outer(std::exchange(g_innermost, this)) {}
    Making(Making const&) = delete;
    Making& operator=(Making const&) = delete;
    ~Making() {
        g_innermost = m_outer;
        if (!m_head.object || (m_head.isNumbered && TheReferences().IsHeld(m_head.number))) return;
        for (int const number : m_held) TheReferences().CountHolder(number, -1);
        delete m_head.object;
    }
    KxPersistentObject* Done() { return std::exchange(m_head.object, nullptr); }

    /// The object whose body is read at the moment, if any, gets a reference to that one. What an object holds of itself
    /// dies with it.
    static void HandOut(int number) {
        if (!g_innermost || (g_innermost->m_head.isNumbered && g_innermost->m_head.number == number)) return;
        g_innermost->m_held.push_back(number);
        TheReferences().CountHolder(number, 1);
    }

private:
    static Making* g_innermost;

    Head m_head;
    Making* m_outer;
    std::vector<int> m_held;
};

Making* Making::g_innermost = nullptr;

/// Classes that were loaded lately, by the bytes of their names, so that most names are neither decoded nor looked up.
class LatelyLoaded {
public:
    /// Takes the class name from the archive and makes its object; null if nobody knows the class, or it is of another kind.
    KxPersistentObject* Make(CArchive& archive) {
        std::string_view const image = archive.PeekShortText();
        if (image.size() < 16) return MakeByName(archive, nullptr, std::string());
        std::size_t const first = std::hash<std::string_view>()(image.substr(image.size() - 16)) ^ image.size();
        for (std::size_t way = 0; way < 2; ++way) {
            SClass const& known = m_classes[(first + way) % m_classes.size()];
            if (known.image != image || known.generation != detail::FactoryGeneration()) continue;
            archive.TakeReadAhead(image.size());
            std::unique_ptr<KxDynamicObject> made(known.factory->Create(known.name));
            if (made && Place(*made) == known.place)
                return reinterpret_cast<KxPersistentObject*>(reinterpret_cast<char*>(made.release()) + known.shift);
            if (!made) made.reset(CreateObject(known.name));
            return Cast(made);
        }
        return MakeByName(archive, &m_classes[(first + (++m_turn & 1)) % m_classes.size()], std::string(image));
    }

private:
    /// A base within an object of a class. From the same one the same cast leads equally far, which saves searching the
    /// bases of the class for each object.
    struct SPlace {
        std::type_info const* type = nullptr;
        std::ptrdiff_t offset = 0;
        friend bool operator==(SPlace const& a, SPlace const& b) { return a.type == b.type && a.offset == b.offset; }
    };
    struct SClass {
        std::string image;
        KxString name;
        unsigned long long generation = 0;  // of the factories: with them goes what stands here
        KxAbstractFactory* factory = nullptr;
        SPlace place;
        std::ptrdiff_t shift = 0;  // from there to the persistent object
    };

    static SPlace Place(KxDynamicObject const& object) {
        auto const* const whole = static_cast<char const*>(dynamic_cast<void const*>(&object));
        return {&typeid(object), reinterpret_cast<char const*>(&object) - whole};
    }

    static KxPersistentObject* Cast(std::unique_ptr<KxDynamicObject>& made) {
        auto* const object = dynamic_cast<KxPersistentObject*>(made.get());
        if (object) static_cast<void>(made.release());
        return object;
    }

    static KxPersistentObject* MakeByName(CArchive& archive, SClass* place, std::string image) {
        KxString className;
        archive >> className;
        std::unique_ptr<KxDynamicObject> made(CreateObject(className));
        KxAbstractFactory* const factory = place ? detail::FirstFactory(className) : nullptr;
        KxDynamicObject const* const asMade = made.get();
        SClass known;  // takes its memory while the object still has an owner
        if (factory && asMade)
            known = {std::move(image), className, detail::FactoryGeneration(), factory, Place(*asMade), 0};
        KxPersistentObject* const object = Cast(made);
        if (object && factory) {
            known.shift = reinterpret_cast<char*>(object) - reinterpret_cast<char const*>(asMade);
            *place = std::move(known);
        }
        return object;
    }

    std::array<SClass, 64> m_classes;
    std::size_t m_turn = 0;
};

LatelyLoaded& TheLatelyLoaded() {
    static auto& classes = *new LatelyLoaded;
    return classes;
}

// Not inlined, here and below: objects stand within one another, and only what is needed meanwhile shall be on the stack.
[[gnu::noinline]] Head LoadHead(CArchive& archive, KxPersistentObject::Check check) {
    Head head;
    std::uint32_t flag = 0;
    archive >> flag;
    head.isNumbered = flag == 1;
    if (head.isNumbered) {
        archive >> head.number;
        head.object = TheReferences().Find(head.number);
        if (head.object) {
            if (check) check(archive, *head.object, true);
            Making::HandOut(head.number);
            head.isKnown = true;
            return head;
        }
    }
    std::unique_ptr<KxPersistentObject> made(TheLatelyLoaded().Make(archive));
    if (!made) KxPersistentObject::ThrowWrongObject(archive, __LINE__);
    if (check) check(archive, *made, false);
    if (head.isNumbered) TheReferences().AddLoaded(head.number, made.get());
    head.object = made.release();
    return head;
}

/// False if the object went out already and has no body here.
[[gnu::noinline]] bool StoreHead(CArchive& archive, KxPersistentObject const& object) {
    archive << static_cast<std::uint32_t>(g_supportCycles ? 1 : 0);
    if (g_supportCycles) {
        auto const [number, isNew] = TheReferences().NumberOf(&object);
        archive << static_cast<std::uint32_t>(number);
        if (!isNew) return false;
    }
    archive << KxxClassName(typeid(object));
    archive << static_cast<std::uint16_t>(object.GetVersion().GetValue());
    return true;
}

}  // namespace

KxPersistentObject::~KxPersistentObject() {
    if (g_numKnown.load(std::memory_order_relaxed) != 0) TheReferences().Forget(this);
}

void KxPersistentObject::Serialize(CArchive&) {}

void KxPersistentObject::SerializeOldVersion(CArchive&, KxVersion version) {
    throw new KxVersionException(sourceName, __LINE__, KxxClassName(typeid(*this)), version, GetVersion());
}

void KxPersistentObject::CheckStorable(CArchive&) const {}

bool KxPersistentObject::GivesNumbers() {
    return g_supportCycles != 0;
}

bool KxPersistentObject::WouldBeReference() const {
    return g_supportCycles && TheReferences().HasNumber(this);
}

void KxPersistentObject::SupportCyclicReferences(int enable) {
    g_supportCycles = enable;
}

void KxPersistentObject::InitializeReferenceMap() {
    TheReferences().Clear();
    g_lastNumber = 0;
}

KxPersistentObject::Storing::Storing() : m_last(g_lastNumber) {}

KxPersistentObject::Storing::~Storing() {
    if (!m_isDone) TheReferences().TakeBack(m_last);
}

void KxPersistentObject::Store(CArchive& archive) const {
    Level const level(archive);
    if (!WouldBeReference()) CheckStorable(archive);
    if (StoreHead(archive, *this)) const_cast<KxPersistentObject*>(this)->Serialize(archive);
}

void KxPersistentObject::ThrowWrongObject(CArchive& archive, unsigned long line) {
    throw new KxArchiveException(sourceName, line, KxString(KxResId(text::WrongObjectType)),
                                 KxString(archive.GetFile()->GetFileName()));
}

KxPersistentObject* KxPersistentObject::Load(CArchive& archive) {
    return LoadChecked(archive, nullptr);
}

KxPersistentObject* KxPersistentObject::LoadChecked(CArchive& archive, Check check) {
    Level const level(archive);
    Head const head = LoadHead(archive, check);
    if (head.isKnown) return head.object;
    Making making(head);
    std::uint16_t version = 0;
    archive >> version;
    if (KxVersion(version) == head.object->GetVersion())
        head.object->Serialize(archive);
    else
        head.object->SerializeOldVersion(archive, KxVersion(version));
    return making.Done();
}

}  // namespace KxN
