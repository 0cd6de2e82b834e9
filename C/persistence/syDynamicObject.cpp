// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The list decides the order; beside it stands an index, so that a factory that knows just one name is found by it and
// asked for no other. What comes out is what the walk along the list would give.
#include "hbtools/persistence/syDynamicObject.h"

#include "hbtools/base/syResource.h"
#include "persistence/syFactories.h"
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
    unsigned long long count = 0;       // registered so far
    unsigned long long generation = 1;  // changes with the list
    std::unordered_map<std::wstring, Places, NameHash, std::equal_to<>> byName;
    Places others;  // which must be asked for every name

    /// Where a factory of that name is filed; the empty name stands for those that must be asked for every name.
    Places& PlacesOf(KxString const& name) { return !name ? others : byName[std::wstring(name.View())]; }
};

/// Never destroyed: factories go when their modules do, some of them after everything else.
Registry& TheRegistry() {
    static auto& registry = *new Registry;
    return registry;
}

Places::iterator PlaceOf(Places& places, KxFactoryListElement const* element) {
    return std::find_if(places.begin(), places.end(), [element](Place const& p) { return p.element == element; });
}

}  // namespace

KxDynamicObject::~KxDynamicObject() = default;

KxFactoryListElement::KxFactoryListElement(KxAbstractFactory* factory) : KxFactoryListElement(factory, KxString()) {}

KxFactoryListElement::KxFactoryListElement(KxAbstractFactory* factory, KxString const& className)
    : m_factory(factory), m_className(className) {
    Registry& registry = TheRegistry();
    registry.PlacesOf(m_className).push_back({registry.count, this, factory});
    ++registry.count;
    ++registry.generation;
    m_next = std::exchange(registry.head, this);
}

KxFactoryListElement& KxFactoryListElement::operator=(KxFactoryListElement const& other) {
    if (this == &other) return *this;
    Registry& registry = TheRegistry();
    Places& places = registry.PlacesOf(m_className);
    if (auto const old = PlaceOf(places, this); old != places.end()) {
        ++registry.generation;
        Place const place{old->number, this, other.m_factory};
        places.erase(old);
        Places& target = registry.PlacesOf(other.m_className);
        target.insert(std::upper_bound(target.begin(), target.end(), place,
                                       [](Place const& a, Place const& b) { return a.number < b.number; }),
                      place);
    }
    m_factory = other.m_factory;
    m_className = other.m_className;
    return *this;
}

// Runs when memory may have run out long ago: it allocates nothing.
KxFactoryListElement::~KxFactoryListElement() {
    Registry& registry = TheRegistry();
    auto const named = registry.byName.find(m_className.View());
    bool const isNamed = named != registry.byName.end();
    Places& places = isNamed ? named->second : registry.others;
    auto const place = PlaceOf(places, this);
    if (place == places.end()) return;
    places.erase(place);
    if (isNamed && places.empty()) registry.byName.erase(named);
    ++registry.generation;
    KxFactoryListElement** link = &registry.head;
    while (*link != this) link = &(*link)->m_next;
    *link = m_next;
}

unsigned long long detail::FactoryGeneration() {
    return TheRegistry().generation;
}

KxAbstractFactory* detail::FirstFactory(KxString const& className) {
    Registry const& registry = TheRegistry();
    auto const found = registry.byName.find(className.View());
    return registry.others.empty() && found != registry.byName.end() ? found->second.back().factory : nullptr;
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
