// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The list decides the order; beside it stands an index, so that a factory that knows just one name is found by it and
// asked for no other. What comes out is what the walk along the list would give.
#include "hbtools/persistence/syDynamicObject.h"

#include "hbtools/base/syResource.h"
#include "persistence/syTextIds.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace KxN {

namespace {

struct NameHash : std::hash<std::wstring_view> {
    using is_transparent = void;
};

/// A factory with its place in the order of registration.
struct Place {
    unsigned long long number;
    KxFactoryListElement const* element;
    KxAbstractFactory* factory;
};

/// Later ones at the end.
using Places = std::vector<Place>;

struct Registry {
    KxFactoryListElement* head = nullptr;
    unsigned long long count = 0;  // registered so far
    std::unordered_map<std::wstring, Places, NameHash, std::equal_to<>> byName;
    Places others;  // which must be asked for every name
};

/// Never destroyed: factories go when their modules do, some of them after everything else.
Registry& TheRegistry() {
    static auto& registry = *new Registry;
    return registry;
}

bool Forget(Places& places, KxFactoryListElement const* element) {
    auto const place =
        std::find_if(places.begin(), places.end(), [element](Place const& p) { return p.element == element; });
    if (place == places.end()) return false;
    places.erase(place);
    return true;
}

}  // namespace

KxDynamicObject::~KxDynamicObject() = default;

KxFactoryListElement::KxFactoryListElement(KxAbstractFactory* factory) : m_factory(factory) {
    Registry& registry = TheRegistry();
    registry.others.push_back({registry.count, this, factory});
    ++registry.count;
    m_next = std::exchange(registry.head, this);
}

KxFactoryListElement::KxFactoryListElement(KxAbstractFactory* factory, KxString const& className) : m_factory(factory) {
    Registry& registry = TheRegistry();
    registry.byName[std::wstring(className.View())].push_back({registry.count, this, factory});
    ++registry.count;
    m_next = std::exchange(registry.head, this);
}

KxFactoryListElement::~KxFactoryListElement() {
    Registry& registry = TheRegistry();
    KxFactoryListElement** link = &registry.head;
    while (*link && *link != this) link = &(*link)->m_next;
    if (!*link) return;
    *link = m_next;
    if (Forget(registry.others, this)) return;
    for (auto entry = registry.byName.begin(); entry != registry.byName.end(); ++entry) {
        if (!Forget(entry->second, this)) continue;
        if (entry->second.empty()) registry.byName.erase(entry);
        return;
    }
}

KxDynamicObject* CreateObject(KxString const& className) {
    Registry const& registry = TheRegistry();
    auto const found = registry.byName.find(className.View());
    static Places const none;
    Places const& named = found == registry.byName.end() ? none : found->second;
    Places const& others = registry.others;
    // The two in the order of the list, the newest first.
    std::size_t n = named.size(), o = others.size();
    while (n > 0 || o > 0) {
        bool const isNamed = o == 0 || (n > 0 && named[n - 1].number > others[o - 1].number);
        KxAbstractFactory* const factory = isNamed ? named[--n].factory : others[--o].factory;
        if (KxDynamicObject* const object = factory->Create(className)) return object;
    }
    return nullptr;
}

KxDynamicObjectException::KxDynamicObjectException(KxString const& sourceFile, unsigned long line,
                                                   KxString const& className, KxString const& fileName)
    : KxRuntimeException(sourceFile, line), m_className(className), m_fileName(fileName) {}

void KxDynamicObjectException::BuildMessage() {
    if (!m_fileName)
        m_message.SPrintf(KxString(KxResId(text::ObjectNotMade)), m_className);
    else
        m_message.SPrintf(KxString(KxResId(text::ObjectInFileNotMade)), m_fileName, m_className);
    KxRuntimeException::BuildMessage();
}

}  // namespace KxN
