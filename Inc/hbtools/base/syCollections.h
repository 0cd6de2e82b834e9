// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The collections of the framework. CArray is a growing array, CList a doubly linked list whose nodes come from
// CPlex blocks, so that an element costs no allocation of its own. ARG is the type by which elements are handed
// in. An index out of range raises CInvalidArgException; a POSITION must be one that the list gave and did not
// remove since. Positions stay good while other elements come and go. If copying an element throws, a collection
// keeps what it had. Both hold their elements by value and cannot be copied by accident; see Copy and AddTail.
// A collection belongs to one thread at a time.
#pragma once

#include "hbtools/base/syObject.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace KxN {

/// Place of an element in a list; null behind either end.
using POSITION = struct KxListPosition*;

/// One block of raw memory in a chain of blocks.
struct CPlex {
    CPlex* pNext;

    /// The bytes of the block, aligned for any plain type.
    void* data() { return reinterpret_cast<std::byte*>(this) + headSize; }
    /// Makes a block of `count` elements and puts it in front of the chain. @throws std::bad_alloc
    static CPlex* Create(CPlex*& head, std::size_t count, std::size_t elementSize) {
        if (count > (static_cast<std::size_t>(-1) - headSize) / elementSize) throw std::bad_array_new_length();
        CPlex* const plex = new (::operator new(headSize + count * elementSize)) CPlex{head};
        return head = plex;
    }
    /// Frees this block and all behind it.
    void FreeDataChain() {
        for (CPlex* plex = this; plex;) ::operator delete(std::exchange(plex, plex->pNext));
    }

private:
    static constexpr std::size_t headSize =
        (sizeof(void*) + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) * alignof(std::max_align_t);
};

template <class TYPE, class ARG = TYPE const&>
class CArray : public CObject {
public:
    using Index = std::ptrdiff_t;

    CArray() = default;
    CArray(CArray const&) = delete;
    CArray& operator=(CArray const&) = delete;
    ~CArray() override { Release(); }

    Index GetSize() const { return m_size; }
    Index GetCount() const { return m_size; }
    Index GetUpperBound() const { return m_size - 1; }
    bool IsEmpty() const { return m_size == 0; }
    /// Sets the number of elements; new ones are value-initialised. growBy above 0 is the step of later growth.
    void SetSize(Index size, Index growBy = -1);
    /// Gives back memory that no element needs.
    void FreeExtra() { Reallocate(m_size); }
    void RemoveAll() { SetSize(0); }

    TYPE& GetAt(Index index) { return m_data[Checked(index)]; }
    TYPE const& GetAt(Index index) const { return m_data[Checked(index)]; }
    void SetAt(Index index, ARG element) { m_data[Checked(index)] = element; }
    TYPE& ElementAt(Index index) { return GetAt(index); }
    TYPE const& ElementAt(Index index) const { return GetAt(index); }
    TYPE& operator[](Index index) { return GetAt(index); }
    TYPE const& operator[](Index index) const { return GetAt(index); }
    TYPE* GetData() { return m_data; }
    TYPE const* GetData() const { return m_data; }

    /// Sets an element, growing the array as far as it needs.
    void SetAtGrow(Index index, ARG element);
    /// Returns the new element's index.
    Index Add(ARG element);
    /// Appends all of the other array; returns the index of the first.
    Index Append(CArray const& other);
    void Copy(CArray const& other);
    /// Inserts `count` copies in front of the index; what stands behind moves. A gap is value-initialised.
    void InsertAt(Index index, ARG element, Index count = 1);
    void InsertAt(Index start, CArray const* other);
    void RemoveAt(Index index, Index count = 1);

    TYPE* begin() { return m_data; }
    TYPE* end() { return m_data + m_size; }
    TYPE const* begin() const { return m_data; }
    TYPE const* end() const { return m_data + m_size; }

private:
    static Index NotNegative(Index value) {
        if (value < 0) AfxThrowInvalidArgException();
        return value;
    }
    Index Checked(Index index) const {
        if (index < 0 || index >= m_size) AfxThrowInvalidArgException();
        return index;
    }
    /// Makes room for `size` elements in all, more than that if the array is growing.
    void Reserve(Index size) {
        if (size > m_capacity) Reallocate(std::max(size, m_capacity + (m_growBy > 0 ? m_growBy : m_capacity / 2 + 4)));
    }
    void Reallocate(Index capacity);
    void Release();

    TYPE* m_data = nullptr;
    Index m_size = 0;
    Index m_capacity = 0;
    Index m_growBy = 0;
};

template <class TYPE, class ARG>
void CArray<TYPE, ARG>::Release() {
    std::destroy_n(m_data, m_size);
    if (m_data) std::allocator<TYPE>().deallocate(m_data, static_cast<std::size_t>(m_capacity));
    m_data = nullptr;
    m_size = m_capacity = 0;
}

template <class TYPE, class ARG>
void CArray<TYPE, ARG>::Reallocate(Index capacity) {
    if (capacity == m_capacity) return;
    std::allocator<TYPE> allocator;
    TYPE* const data = capacity > 0 ? allocator.allocate(static_cast<std::size_t>(capacity)) : nullptr;
    try {
        if constexpr (std::is_nothrow_move_constructible_v<TYPE> || !std::is_copy_constructible_v<TYPE>)
            std::uninitialized_move_n(m_data, m_size, data);
        else
            std::uninitialized_copy_n(m_data, m_size, data);
    } catch (...) {
        allocator.deallocate(data, static_cast<std::size_t>(capacity));
        throw;
    }
    Index const size = m_size;
    Release();
    m_data = data;
    m_size = size;
    m_capacity = capacity;
}

template <class TYPE, class ARG>
void CArray<TYPE, ARG>::SetSize(Index size, Index growBy) {
    NotNegative(size);
    if (growBy >= 0) m_growBy = growBy;
    if (size < m_size) {
        std::destroy(m_data + size, m_data + m_size);
        m_size = size;
        if (size == 0) Release();
    } else {
        Reserve(size);
        std::uninitialized_value_construct_n(m_data + m_size, size - m_size);
        m_size = size;
    }
}

template <class TYPE, class ARG>
void CArray<TYPE, ARG>::SetAtGrow(Index index, ARG element) {
    TYPE copy(element);  // the element may be one of ours
    if (NotNegative(index) >= m_size) SetSize(index + 1);
    m_data[index] = std::move(copy);
}

template <class TYPE, class ARG>
typename CArray<TYPE, ARG>::Index CArray<TYPE, ARG>::Add(ARG element) {
    if (m_size < m_capacity) {
        new (m_data + m_size) TYPE(element);
    } else {
        TYPE copy(element);  // the element may be one of ours
        Reserve(m_size + 1);
        new (m_data + m_size) TYPE(std::move(copy));
    }
    return m_size++;
}

template <class TYPE, class ARG>
typename CArray<TYPE, ARG>::Index CArray<TYPE, ARG>::Append(CArray const& other) {
    Index const first = m_size;
    Index const count = other.m_size;  // the other may be this one
    Reserve(first + count);
    std::uninitialized_copy_n(other.m_data, count, m_data + first);
    m_size += count;
    return first;
}

template <class TYPE, class ARG>
void CArray<TYPE, ARG>::Copy(CArray const& other) {
    if (this == &other) return;
    CArray copy;
    copy.Append(other);
    std::swap(m_data, copy.m_data);
    std::swap(m_size, copy.m_size);
    std::swap(m_capacity, copy.m_capacity);
}

template <class TYPE, class ARG>
void CArray<TYPE, ARG>::InsertAt(Index index, ARG element, Index count) {
    NotNegative(index);
    NotNegative(count);
    TYPE const copy(element);  // the element may be one of ours
    if (index > m_size) SetSize(index);
    Index const size = m_size;
    Reserve(size + count);
    for (Index i = 0; i < count; ++i) {
        new (m_data + m_size) TYPE(copy);
        ++m_size;
    }
    std::rotate(m_data + index, m_data + size, m_data + m_size);
}

template <class TYPE, class ARG>
void CArray<TYPE, ARG>::InsertAt(Index start, CArray const* other) {
    if (!other) AfxThrowInvalidArgException();
    NotNegative(start);
    if (start > m_size) SetSize(start);
    Index const size = Append(*other);
    std::rotate(m_data + start, m_data + size, m_data + m_size);
}

template <class TYPE, class ARG>
void CArray<TYPE, ARG>::RemoveAt(Index index, Index count) {
    if (index < 0 || count < 0 || index > m_size || count > m_size - index) AfxThrowInvalidArgException();
    std::move(m_data + index + count, m_data + m_size, m_data + index);
    std::destroy(m_data + m_size - count, m_data + m_size);
    m_size -= count;
}

template <class TYPE, class ARG = TYPE const&>
class CList : public CObject {
    struct Node {
        Node* next;
        Node* previous;
        TYPE value;
    };
    static_assert(alignof(Node) <= alignof(std::max_align_t), "CPlex blocks are aligned for plain types");

    template <class VALUE>
    class Walk {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = TYPE;
        using difference_type = std::ptrdiff_t;
        using pointer = VALUE*;
        using reference = VALUE&;

        explicit Walk(Node* node = nullptr) : m_node(node) {}
        reference operator*() const { return m_node->value; }
        pointer operator->() const { return &m_node->value; }
        Walk& operator++() {
            m_node = m_node->next;
            return *this;
        }
        Walk operator++(int) { return Walk(std::exchange(m_node, m_node->next)); }
        bool operator==(Walk const&) const = default;

    private:
        Node* m_node;
    };

public:
    using Index = std::ptrdiff_t;

    /// `blockSize` nodes are allocated at a time.
    explicit CList(Index blockSize = 10) : m_blockSize(blockSize < 1 ? 1 : static_cast<std::size_t>(blockSize)) {}
    CList(CList const&) = delete;
    CList& operator=(CList const&) = delete;
    ~CList() override { RemoveAll(); }

    Index GetCount() const { return m_count; }
    Index GetSize() const { return m_count; }
    bool IsEmpty() const { return m_count == 0; }

    // Of a list that is not empty, else CInvalidArgException.
    TYPE& GetHead() { return NotNull(m_head)->value; }
    TYPE const& GetHead() const { return NotNull(m_head)->value; }
    TYPE& GetTail() { return NotNull(m_tail)->value; }
    TYPE const& GetTail() const { return NotNull(m_tail)->value; }
    TYPE RemoveHead() { return Take(NotNull(m_head)); }
    TYPE RemoveTail() { return Take(NotNull(m_tail)); }

    POSITION AddHead(ARG element) { return Link(element, m_head); }
    POSITION AddTail(ARG element) { return Link(element, nullptr); }
    /// Appends all of the other list.
    void AddTail(CList const* other) {
        // Of this list itself only what was there before is appended.
        Node const* node = other->m_head;
        for (Index i = other->m_count; i > 0; --i, node = node->next) Link(node->value, nullptr);
    }
    /// In front of and behind a position; null stands for the head and the tail.
    POSITION InsertBefore(POSITION position, ARG element) {
        return Link(element, position ? NodeOf(position) : m_head);
    }
    POSITION InsertAfter(POSITION position, ARG element) {
        return Link(element, position ? NodeOf(position)->next : nullptr);
    }
    void RemoveAt(POSITION position) { Unlink(NotNull(NodeOf(position))); }
    void RemoveAll();

    POSITION GetHeadPosition() const { return PositionOf(m_head); }
    POSITION GetTailPosition() const { return PositionOf(m_tail); }
    /// The element at the position, which moves on to the next or the previous one, null at the end.
    TYPE& GetNext(POSITION& position) { return Step(position, &Node::next); }
    TYPE const& GetNext(POSITION& position) const { return Step(position, &Node::next); }
    TYPE& GetPrev(POSITION& position) { return Step(position, &Node::previous); }
    TYPE const& GetPrev(POSITION& position) const { return Step(position, &Node::previous); }
    TYPE& GetAt(POSITION position) { return NotNull(NodeOf(position))->value; }
    TYPE const& GetAt(POSITION position) const { return NotNull(NodeOf(position))->value; }
    void SetAt(POSITION position, ARG element) { GetAt(position) = element; }

    /// The first equal element behind `after`, or from the head on; null if there is none. Looks at each.
    POSITION Find(ARG element, POSITION after = nullptr) const {
        for (Node* node = after ? NodeOf(after)->next : m_head; node; node = node->next)
            if (node->value == element) return PositionOf(node);
        return nullptr;
    }
    /// Null if there is no such index.
    POSITION FindIndex(Index index) const {
        if (index < 0 || index >= m_count) return nullptr;
        Node* node = m_head;
        while (index-- > 0) node = node->next;
        return PositionOf(node);
    }

    Walk<TYPE> begin() { return Walk<TYPE>(m_head); }
    Walk<TYPE> end() { return Walk<TYPE>(); }
    Walk<TYPE const> begin() const { return Walk<TYPE const>(m_head); }
    Walk<TYPE const> end() const { return Walk<TYPE const>(); }

private:
    static Node* NodeOf(POSITION position) { return reinterpret_cast<Node*>(position); }
    static POSITION PositionOf(Node* node) { return reinterpret_cast<POSITION>(node); }
    static Node* NotNull(Node* node) {
        if (!node) AfxThrowInvalidArgException();
        return node;
    }
    static TYPE& Step(POSITION& position, Node* Node::*way) {
        Node* const node = NotNull(NodeOf(position));
        position = PositionOf(node->*way);
        return node->value;
    }

    /// Raw memory for one node; unused ones are chained by their first word.
    void* AllocateNode() {
        if (!m_free) {
            std::byte* const data = static_cast<std::byte*>(CPlex::Create(m_blocks, m_blockSize, sizeof(Node))->data());
            for (std::size_t i = m_blockSize; i > 0; --i) FreeNode(data + (i - 1) * sizeof(Node));
        }
        return std::exchange(m_free, *static_cast<void**>(m_free));
    }
    void FreeNode(void* memory) { m_free = new (memory) void*(m_free); }

    /// Puts an element in front of a node, or at the tail.
    POSITION Link(ARG element, Node* before) {
        void* const memory = AllocateNode();
        Node* const previous = before ? before->previous : m_tail;
        Node* node;
        try {
            node = new (memory) Node{before, previous, TYPE(element)};
        } catch (...) {
            FreeNode(memory);
            throw;
        }
        (previous ? previous->next : m_head) = node;
        (before ? before->previous : m_tail) = node;
        ++m_count;
        return PositionOf(node);
    }
    void Unlink(Node* node) {
        (node->previous ? node->previous->next : m_head) = node->next;
        (node->next ? node->next->previous : m_tail) = node->previous;
        node->~Node();
        FreeNode(node);
        if (--m_count == 0) RemoveAll();
    }
    TYPE Take(Node* node) {
        TYPE value(std::move(node->value));
        Unlink(node);
        return value;
    }

    Node* m_head = nullptr;
    Node* m_tail = nullptr;
    Index m_count = 0;
    void* m_free = nullptr;
    CPlex* m_blocks = nullptr;
    std::size_t m_blockSize;
};

template <class TYPE, class ARG>
void CList<TYPE, ARG>::RemoveAll() {
    for (Node* node = m_head; node;) std::exchange(node, node->next)->~Node();
    if (m_blocks) m_blocks->FreeDataChain();
    m_head = m_tail = nullptr;
    m_free = m_blocks = nullptr;
    m_count = 0;
}

}  // namespace KxN
