// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxTMap: a hash map with chains. The number of buckets is set once, by its owner, who knows how many elements
// come: about as many buckets as elements is right, more elements only make the chains longer. Without a hash
// function all elements stand in one chain. Elements lie in a block heap: their addresses stay until they are
// removed, and nothing is allocated per element; finding allocates nothing.
// Iteration goes through the buckets from 0 up and gives the later inserted of a bucket first.
//
// A copy has one bucket: its elements stand in one chain, in the reverse order of the source. Assignment keeps the
// buckets and the hash function that the map has. Whatever is thrown leaves the map as it was. The hash function is
// not owned and must outlive the map. Const operations may run on several threads at a time.
#pragma once

#include "hbtools/core/syArray.h"
#include "hbtools/core/syBlockHeap.h"
#include "hbtools/core/syHashFunction.h"

#include <iterator>

namespace KxN {

template <class K, class V>
struct TMapElement {
    TMapElement() : key(), value() {}
    explicit TMapElement(K const& theKey) : key(theKey), value() {}
    TMapElement(K const& theKey, V const& theValue) : key(theKey), value(theValue) {}

    K key;
    TMapElement* next = nullptr;
    V value;
};

template <class K, class V>
class KX_API KxTMap {
public:
    using Element = TMapElement<K, V>;

private:
    template <class E>
    class Walker {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = Element;
        using difference_type = std::ptrdiff_t;
        using pointer = E*;
        using reference = E&;

        Walker() = default;
        /// From a bucket on; there is at least one.
        Walker(Element* const* bucket, Element* const* end) : m_element(*bucket), m_bucket(bucket), m_end(end) {
            SkipEmptyBuckets();
        }
        template <class Other>
        requires std::is_same_v<Other const, E> Walker(Walker<Other> const& other)
            : m_element(other.m_element), m_bucket(other.m_bucket), m_end(other.m_end) {}

        E& operator*() const { return *m_element; }
        E* operator->() const { return m_element; }
        Walker& operator++() {
            m_element = m_element->next;
            SkipEmptyBuckets();
            return *this;
        }
        Walker operator++(int) {
            Walker const before(*this);
            ++*this;
            return before;
        }
        friend bool operator==(Walker const& a, Walker const& b) { return a.m_element == b.m_element; }

    private:
        template <class>
        friend class Walker;

        void SkipEmptyBuckets() {
            while (!m_element && m_bucket != m_end) {
                if (++m_bucket != m_end) {
                    m_element = *m_bucket;
                }
            }
        }

        Element* m_element = nullptr;
        Element* const* m_bucket = nullptr;
        Element* const* m_end = nullptr;
    };

public:
    using iterator = Walker<Element>;
    using const_iterator = Walker<Element const>;

    /// hashFunction may be null. bucketCount is at least 1.
    explicit KxTMap(KxTHashFunction<K> const* hashFunction = nullptr, int bucketCount = 97)
        : m_hashFunction(hashFunction), m_buckets(std::max(1, bucketCount)), m_heap(1024) {}

    KxTMap(KxTMap const& other) : KxTMap(other.m_hashFunction, 1) { InsertAll(other); }
    KxTMap(KxTMap&& other) : KxTMap(other.m_hashFunction, 1) { Swap(other); }
    KxTMap& operator=(KxTMap const& other) {
        if (this != &other) {
            KxTMap copy(m_hashFunction, m_buckets.Size());
            copy.InsertAll(other);
            Swap(copy);
        }
        return *this;
    }
    /// Takes over the elements together with buckets and hash function.
    KxTMap& operator=(KxTMap&& other) noexcept {
        Swap(other);
        return *this;
    }
    ~KxTMap() = default;

    int Count() const { return m_count; }
    int BucketCount() const { return m_buckets.Size(); }

    /// The value of the key; a key that is not there is inserted with a default-constructed value, numbers and
    /// pointers zero.
    V& operator[](K const& key) {
        Element*& bucket = m_buckets[BucketOf(key)];
        Element* const found = FindInChain(bucket, key);
        return (found ? found : Insert(bucket, key))->value;
    }

    /// The element of the key, or null. Its key must not be changed.
    Element* Find(K const& key) { return FindInChain(m_buckets[BucketOf(key)], key); }
    Element const* Find(K const& key) const { return FindInChain(m_buckets[BucketOf(key)], key); }

    /// Removes the element of the key; false if there is none.
    bool Remove(K const& key) {
        for (Element** link = &m_buckets[BucketOf(key)]; *link; link = &(*link)->next) {
            if (Equal((*link)->key, key)) {
                Element* const element = *link;
                *link = element->next;
                --m_count;
                m_heap.KxTBlockHeap<Element>::Free(element);
                return true;
            }
        }
        return false;
    }

    void RemoveAll() {
        std::fill(m_buckets.begin(), m_buckets.end(), nullptr);
        m_count = 0;
        m_heap.Clear();
    }

    iterator begin() { return iterator(m_buckets.begin(), m_buckets.end()); }
    iterator end() { return iterator(); }
    const_iterator begin() const { return const_iterator(m_buckets.begin(), m_buckets.end()); }
    const_iterator end() const { return const_iterator(); }

    void Swap(KxTMap& other) noexcept {
        std::swap(m_count, other.m_count);
        std::swap(m_hashFunction, other.m_hashFunction);
        m_buckets.Swap(other.m_buckets);
        m_heap.Swap(other.m_heap);
    }

private:
    static bool Equal(K const& a, K const& b) {
        if constexpr (std::is_same_v<K, CString>) {
            return a.Compare(b) == 0;
        } else {
            return a == b;
        }
    }

    int BucketOf(K const& key) const {
        return m_hashFunction
                   ? static_cast<int>(m_hashFunction->Value(key) % static_cast<unsigned int>(m_buckets.Size()))
                   : 0;
    }

    static Element* FindInChain(Element* element, K const& key) {
        while (element && !Equal(element->key, key)) {
            element = element->next;
        }
        return element;
    }

    /// Links a new element at the head of the chain.
    template <class... Value>
    Element* Insert(Element*& bucket, K const& key, Value const&... value) {
        if (m_count == std::numeric_limits<int>::max()) {
            throw std::bad_array_new_length();
        }
        Element* const element = m_heap.Construct(key, value...);
        element->next = bucket;
        bucket = element;
        ++m_count;
        return element;
    }

    /// The keys of the other map differ from each other and from those here, so nothing is looked up.
    void InsertAll(KxTMap const& other) {
        for (Element const& element : other) {
            Insert(m_buckets[BucketOf(element.key)], element.key, element.value);
        }
    }

    int m_count = 0;
    KxTHashFunction<K> const* m_hashFunction;
    KxTArray<Element*> m_buckets;
    KxTBlockHeap<Element> m_heap;
};

}  // namespace KxN
