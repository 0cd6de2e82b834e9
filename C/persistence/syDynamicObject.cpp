// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The list stands in pieces: one chain for each name, with the newest element in front, and one of the elements that are
// asked for every name. The numbers of the elements give the order of the whole, so that what comes out is what a walk
// along one list would give, and a factory that knows just one name is asked for no other. An element stands in the chain
// of its name exactly while it has a number.
#include "hbtools/persistence/syDynamicObject.h"

#include "hbtools/base/syResource.h"
#include "persistence/syFactories.h"
#include "persistence/syTextIds.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace KxN {

class detail::FactoryRegistry {
public:
    using Element = KxFactoryListElement;

    /// Never destroyed: factories go when their modules do, some of them after everything else.
    static FactoryRegistry& The() {
        static auto& registry = *new FactoryRegistry;
        return registry;
    }

    unsigned long long Generation() const { return m_generation; }

    void Add(Element& element) { Link(element, ChainOf(element.m_className), ++m_count); }

    /// Allocates nothing: it runs when memory may have run out long ago.
    void Remove(Element& element) noexcept {
        if (element.m_number == 0) return;
        auto const named = m_byName.find(element.m_className.View());
        Chain& chain = !element.m_className ? m_others : named->second;
        (element.m_newer ? element.m_newer->m_older : chain.newest) = element.m_older;
        if (element.m_older) element.m_older->m_newer = element.m_newer;
        if (!chain.newest && &chain != &m_others) m_byName.erase(named);
        element.m_newer = element.m_older = nullptr;
        element.m_number = 0;
        ++m_generation;
    }

    void Assign(Element& element, Element const& other) {
        KxString name(other.m_className);
        unsigned long long const number = element.m_number;
        // What may throw comes first; a chain without elements does no harm.
        Chain* const chain = number != 0 ? &ChainOf(name) : nullptr;
        bool const stays = number != 0 && name == element.m_className;
        if (!stays) Remove(element);
        element.m_factory = other.m_factory;
        element.m_className = std::move(name);
        if (stays)
            ++m_generation;
        else if (chain)
            Link(element, *chain, number);
    }

    KxAbstractFactory* First(KxString const& name) const { return m_others.newest ? nullptr : FactoryOf(Newest(name)); }

    KxDynamicObject* Create(KxString const& name) const {
        Element const* named = Newest(name);
        Element const* other = m_others.newest;
        while (named || other) {
            Element const*& next = !other || (named && named->m_number > other->m_number) ? named : other;
            Element const* const asked = std::exchange(next, next->m_older);
            if (KxDynamicObject* const object = asked->m_factory->Create(name)) return object;
        }
        return nullptr;
    }

private:
    struct Chain {
        Element* newest = nullptr;
    };
    struct NameHash : std::hash<std::wstring_view> {
        using is_transparent = void;
    };

    static KxAbstractFactory* FactoryOf(Element const* element) { return element ? element->m_factory : nullptr; }

    Chain& ChainOf(KxString const& name) { return !name ? m_others : m_byName[std::wstring(name.View())]; }

    Element const* Newest(KxString const& name) const {
        auto const found = m_byName.find(name.View());
        return found == m_byName.end() ? nullptr : found->second.newest;
    }

    void Link(Element& element, Chain& chain, unsigned long long number) noexcept {
        Element* newer = nullptr;
        Element* older = chain.newest;
        while (older && older->m_number > number) newer = std::exchange(older, older->m_older);
        element.m_newer = newer;
        element.m_older = older;
        (newer ? newer->m_older : chain.newest) = &element;
        if (older) older->m_newer = &element;
        element.m_number = number;
        ++m_generation;
    }

    unsigned long long m_count = 0;       // registered so far
    unsigned long long m_generation = 1;  // changes with the list
    std::unordered_map<std::wstring, Chain, NameHash, std::equal_to<>> m_byName;
    Chain m_others;  // which are asked for every name
};

using detail::FactoryRegistry;

KxDynamicObject::~KxDynamicObject() = default;

KxFactoryListElement::KxFactoryListElement(KxAbstractFactory* factory) : KxFactoryListElement(factory, KxString()) {}

KxFactoryListElement::KxFactoryListElement(KxAbstractFactory* factory, KxString const& className)
    : m_factory(factory), m_className(className) {
    FactoryRegistry::The().Add(*this);
}

KxFactoryListElement& KxFactoryListElement::operator=(KxFactoryListElement const& other) {
    if (this != &other) FactoryRegistry::The().Assign(*this, other);
    return *this;
}

KxFactoryListElement::~KxFactoryListElement() {
    FactoryRegistry::The().Remove(*this);
}

unsigned long long detail::FactoryGeneration() {
    return FactoryRegistry::The().Generation();
}

KxAbstractFactory* detail::FirstFactory(KxString const& className) {
    return FactoryRegistry::The().First(className);
}

KxDynamicObject* CreateObject(KxString const& className) {
    return FactoryRegistry::The().Create(className);
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
