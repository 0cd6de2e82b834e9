// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Objects by the name of their class. A class that derives from KxDynamicObject and has a static KxTFactory is known from
// the first line of main, or while the module that brings it is loaded; CreateObject makes one by its name:
//
//     static KxN::KxTFactory<Probe> const probeFactory;
//     std::unique_ptr<KxN::KxDynamicObject> probe(KxN::CreateObject(L"class App::Probe"));
//
// Names are those of KxxClassName, compared exactly. Of two factories for one name the later one wins. Classes come and go
// only while the program starts, ends, or loads and unloads a module; in between CreateObject may run on any thread.
#pragma once

#include "hbtools/base/syClassName.h"
#include "hbtools/base/syException.h"

namespace KxN {

/// Root of everything that is made by name.
class KX_API KxDynamicObject {
public:
    virtual ~KxDynamicObject() = 0;

protected:
    KxDynamicObject() = default;
    KxDynamicObject(KxDynamicObject const&) = default;
    KxDynamicObject& operator=(KxDynamicObject const&) = default;
};

namespace detail {
class FactoryRegistry;
}

class KX_API KxAbstractFactory {
public:
    /// A new object, which is the caller's, if the name is that of this factory's class; otherwise null.
    virtual KxDynamicObject* Create(KxString const& className) = 0;

protected:
    ~KxAbstractFactory() = default;
};

/// One factory in the list of the process, of whichever module.
class KX_API KxFactoryListElement {
public:
    /// Puts the factory in front of the list. It stays the caller's and must live as long as the element.
    explicit KxFactoryListElement(KxAbstractFactory* factory);
    /// The same for a factory that knows just one name, so that it is asked for no other.
    KxFactoryListElement(KxAbstractFactory* factory, KxString const& className);
    /// A copy holds the same and stands in no list.
    KxFactoryListElement(KxFactoryListElement const& other)
        : m_factory(other.m_factory), m_className(other.m_className) {}
    /// Takes over factory and name; the element stays where it stands in the list, or outside. Throws std::bad_alloc only,
    /// and changes nothing then.
    KxFactoryListElement& operator=(KxFactoryListElement const& other);
    /// Takes the element out of the list, if it stands there.
    virtual ~KxFactoryListElement();

private:
    friend class detail::FactoryRegistry;

    KxAbstractFactory* m_factory;
    KxString m_className;  // by which it is found; empty for a factory that is asked for every name
    // Its neighbours among those of its name.
    KxFactoryListElement* m_newer = nullptr;
    KxFactoryListElement* m_older = nullptr;
    unsigned long long m_number = 0;  // in the order of registration; 0: it stands in no list
};

/// Makes objects of the class T by their default constructor. Of static storage.
template <class T>
class KxTFactory final : public KxAbstractFactory {
public:
    KxTFactory() : m_className(KxxClassName(typeid(T))), m_element(this, m_className) {}
    KxTFactory(KxTFactory const&) = delete;
    KxTFactory& operator=(KxTFactory const&) = delete;

    KxDynamicObject* Create(KxString const& className) override { return className == m_className ? new T : nullptr; }

private:
    KxString const& m_className;
    KxFactoryListElement m_element;
};

/// A new object of the class of that name, which is the caller's; null if nobody knows it. Throws what the class throws.
KX_API KxDynamicObject* CreateObject(KxString const& className);

/// An object that was needed could not be made. The text names its class, and the file that asked for it.
class KX_API KxDynamicObjectException : public KxRuntimeException {
public:
    /// `fileName` may be empty.
    KxDynamicObjectException(KxString const& sourceFile, unsigned long line, KxString const& className,
                             KxString const& fileName);
    KxDynamicObjectException(KxDynamicObjectException& other) = default;
    KxDynamicObjectException& operator=(KxDynamicObjectException& other) = default;

    KxString GetClassNameW() const { return m_className; }
    KxString GetFileName() const { return m_fileName; }

protected:
    void BuildMessage() override;

private:
    KxString m_className;
    KxString m_fileName;
};

}  // namespace KxN
