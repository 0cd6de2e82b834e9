// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxTList, a doubly linked list, and KxTBlockList, the same with its nodes in a KxTBlockHeap, for lists of many
// elements. Values: copies are deep. References to an element stay until it is removed. Indices are not checked.
// Unless an operation says otherwise, whatever `new` or an element throws leaves the list as it was.
// Access by index keeps a cursor: a walk by rising or falling index costs one step per element, any other the distance.
// Threads: operator[] and Remove move the cursor even on a const list, so two threads may not index one list at a
// time. Iterators leave the cursor alone: several threads may walk a list that nobody changes.
#pragma once

#include "hbtools/core/syBlockHeap.h"

#include <iterator>
#include <typeinfo>

namespace KxN {

template <class T>
class KX_API KxTList {
public:
    struct SNode {
        SNode() : value() {}
        explicit SNode(T const& theValue) : value(theValue) {}

        T value;
        SNode* prev = nullptr;
        SNode* next = nullptr;
    };

private:
    template <class E>
    class Walker {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        using pointer = E*;
        using reference = E&;

        Walker() = default;
        explicit Walker(SNode* node) : m_node(node) {}
        template <class Other>
        requires std::is_same_v<Other const, E> Walker(Walker<Other> const& other) : m_node(other.m_node) {}

        E& operator*() const { return m_node->value; }
        E* operator->() const { return &m_node->value; }
        Walker& operator++() {
            m_node = m_node->next;
            return *this;
        }
        Walker operator++(int) {
            Walker const before(*this);
            ++*this;
            return before;
        }
        friend bool operator==(Walker const& a, Walker const& b) { return a.m_node == b.m_node; }

    private:
        template <class>
        friend class Walker;
        SNode* m_node = nullptr;
    };

public:
    using iterator = Walker<T>;
    using const_iterator = Walker<T const>;

    KxTList() = default;
    KxTList(KxTList const& other) : KxTList() { AddAll(other); }
    /// Takes the nodes over where both lists get them in the same way; otherwise copies.
    KxTList(KxTList&& other) : KxTList() {
        if (typeid(other) == typeid(KxTList)) {
            SwapNodes(other);
        } else {
            AddAll(other);
        }
    }
    KxTList& operator=(KxTList const& other) {
        if (this != &other) {
            int const before = m_count;
            AddAll(other);
            for (int index = 0; index < before; ++index) {
                Drop(m_head, 0);
            }
        }
        return *this;
    }
    KxTList& operator=(KxTList&& other) {
        if (typeid(*this) == typeid(KxTList) && typeid(other) == typeid(KxTList)) {
            SwapNodes(other);
            return *this;
        }
        return *this = static_cast<KxTList const&>(other);
    }

protected:
    /// A node with a copy of the value and null links.
    virtual SNode* NewNode(T const& value) { return new SNode(value); }
    /// Frees a node that NewNode made.
    virtual void DeleteNode(SNode* node) { delete node; }

public:
    virtual ~KxTList() { RemoveAll(); }

    int Count() const { return m_count; }

    T& operator[](int index) { return Seek(index)->value; }
    T const& operator[](int index) const { return Seek(index)->value; }
    /// First and last element; there must be one.
    T& Head() { return m_head->value; }
    T const& Head() const { return m_head->value; }
    T& Tail() { return m_tail->value; }
    T const& Tail() const { return m_tail->value; }

    void AddTail(T const& value) {
        RefuseTooMany();
        LinkTail(NewNode(value));
    }

    void AddHead(T const& value) {
        RefuseTooMany();
        SNode* const node = NewNode(value);
        node->next = m_head;
        (m_head ? m_head->prev : m_tail) = node;
        m_head = node;
        ++m_count;
        if (m_cursor) {
            ++m_cursorIndex;
        }
    }

    /// Each takes an element out and returns it.
    T Remove(int index) { return TakeOut(Seek(index), index); }
    T RemoveHead() { return TakeOut(m_head, 0); }
    T RemoveTail() { return TakeOut(m_tail, m_count - 1); }

    void RemoveAll() {
        SNode* node = m_head;
        ForgetNodes();
        while (node) {
            SNode* const next = node->next;
            DeleteNode(node);
            node = next;
        }
    }

    /// Index of the first element equal to the value, or -1. Looks at all in front of it.
    int Find(T const& value) const {
        int index = 0;
        for (T const& element : *this) {
            if (element == value) {
                return index;
            }
            ++index;
        }
        return -1;
    }

    iterator begin() { return iterator(m_head); }
    iterator end() { return iterator(); }
    const_iterator begin() const { return const_iterator(m_head); }
    const_iterator end() const { return const_iterator(); }

    /// Where the cursor stands, -1 if it was not set yet or its element went with nothing left.
    int CursorIndex() const { return m_cursor ? m_cursorIndex : -1; }

protected:
    void SwapNodes(KxTList& other) noexcept {
        std::swap(m_head, other.m_head);
        std::swap(m_tail, other.m_tail);
        std::swap(m_count, other.m_count);
        std::swap(m_cursor, other.m_cursor);
        std::swap(m_cursorIndex, other.m_cursorIndex);
    }

    /// Makes the list empty without freeing the nodes.
    void ForgetNodes() noexcept {
        m_head = m_tail = m_cursor = nullptr;
        m_count = m_cursorIndex = 0;
    }

    /// Adds all elements of another list, or none of them.
    void AddAll(KxTList const& other) {
        int const before = m_count;
        try {
            for (T const& value : other) {
                AddTail(value);
            }
        } catch (...) {
            while (m_count > before) {
                Drop(m_tail, m_count - 1);
            }
            throw;
        }
    }

    void RefuseTooMany() const {
        if (m_count == std::numeric_limits<int>::max()) [[unlikely]] {
            throw std::bad_array_new_length();
        }
    }

    void LinkTail(SNode* node) noexcept {
        node->prev = m_tail;
        (m_tail ? m_tail->next : m_head) = node;
        m_tail = node;
        ++m_count;
    }

private:
    /// Moves the cursor to the index, from the head or the tail if they are nearer.
    SNode* Seek(int index) const {
        if (!m_cursor || index < m_cursorIndex / 2) {
            m_cursor = m_head;
            m_cursorIndex = 0;
        }
        if (index - m_cursorIndex > m_count - 1 - index) {
            m_cursor = m_tail;
            m_cursorIndex = m_count - 1;
        }
        for (; m_cursorIndex < index; ++m_cursorIndex) {
            m_cursor = m_cursor->next;
        }
        for (; m_cursorIndex > index; --m_cursorIndex) {
            m_cursor = m_cursor->prev;
        }
        return m_cursor;
    }

    T TakeOut(SNode* node, int index) {
        T value(std::move_if_noexcept(node->value));
        Drop(node, index);
        return value;
    }

    /// Unlinks and frees the node of that index. A cursor on it goes to the next element, else to the one before.
    void Drop(SNode* node, int index) {
        if (m_cursor == node) {
            m_cursor = node->next ? node->next : node->prev;
            m_cursorIndex = node->next ? index : index - 1;
        } else if (m_cursor && m_cursorIndex > index) {
            --m_cursorIndex;
        }
        (node->prev ? node->prev->next : m_head) = node->next;
        (node->next ? node->next->prev : m_tail) = node->prev;
        --m_count;
        DeleteNode(node);
    }

    SNode* m_head = nullptr;
    SNode* m_tail = nullptr;
    int m_count = 0;
    mutable int m_cursorIndex = 0;
    mutable SNode* m_cursor = nullptr;
};

/// T must be default-constructible.
template <class T>
class KX_API KxTBlockList : public KxTList<T> {
public:
    using typename KxTList<T>::SNode;

    /// blockSize: nodes per block, at least 1.
    explicit KxTBlockList(int blockSize = 1024) : m_heap(blockSize) {}
    KxTBlockList(KxTBlockList const& other) : KxTBlockList(other.BlockSize()) { this->AddAll(other); }
    KxTBlockList(KxTBlockList&& other) noexcept : KxTBlockList(other.BlockSize()) { Swap(other); }
    /// The list keeps its own block size.
    KxTBlockList& operator=(KxTBlockList const& other) {
        KxTList<T>::operator=(other);
        return *this;
    }
    KxTBlockList& operator=(KxTBlockList&& other) noexcept {
        Swap(other);
        return *this;
    }
    ~KxTBlockList() override { this->ForgetNodes(); }  // the heap frees the nodes

    /// The same as that of KxTList, without the way through NewNode.
    void AddTail(T const& value) {
        this->RefuseTooMany();
        this->LinkTail(m_heap.Construct(value));
    }

    /// Frees all blocks at once.
    void RemoveAll() {
        this->ForgetNodes();
        m_heap.Clear();
    }

    int BlockSize() const { return m_heap.BlockSize(); }
    /// Sets the nodes per block, at least 1; a list that has nodes goes on with its blocks until RemoveAll.
    void SetBlockSize(int blockSize) { m_heap.SetBlockSize(blockSize); }

    void Swap(KxTBlockList& other) noexcept {
        this->SwapNodes(other);
        m_heap.Swap(other.m_heap);
    }

protected:
    SNode* NewNode(T const& value) final { return m_heap.Construct(value); }
    void DeleteNode(SNode* node) final { m_heap.KxTBlockHeap<SNode>::Free(node); }

private:
    KxTBlockHeap<SNode> m_heap;
};

}  // namespace KxN
