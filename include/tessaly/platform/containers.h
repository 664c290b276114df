#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>
#include <vector>

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/platform/large_blocks.h"

// The growable containers: value semantics, copies are deep, growth is amortised. Indexes are int. Reading
// behind the end gives a default value instead of touching memory; writing behind the end of a CArray does
// nothing unless the operation's name contains "Grow".
template <class Type, class Argument = Type const&>
class CArray {
  public:
    int GetSize() const noexcept { return static_cast<int>(items_.size()); }
    int GetCount() const noexcept { return GetSize(); }
    int GetUpperBound() const noexcept { return GetSize() - 1; }
    bool IsEmpty() const noexcept { return items_.empty(); }
    // New items are default-made. A negative size counts as 0. `grow_by` is ignored.
    void SetSize(int size, int grow_by = -1) {
        static_cast<void>(grow_by);
        items_.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    }
    // Room for `size` items; the items stay as they are.
    void Reserve(int size) {
        if (size > 0) items_.reserve(static_cast<std::size_t>(size));
    }
    void RemoveAll() noexcept { items_.clear(); }
    void FreeExtra() { items_.shrink_to_fit(); }

    Type GetAt(int index) const { return Holds(index) ? items_[static_cast<std::size_t>(index)] : Type(); }
    void SetAt(int index, Argument item) {
        if (Holds(index)) items_[static_cast<std::size_t>(index)] = item;
    }
    // Here as in InsertAt and Add, `item` may be one of this array.
    void SetAtGrow(int index, Argument item) {
        if (index < GetSize()) return SetAt(index, item);
        Type copy(item);
        SetSize(index + 1);
        items_.back() = std::move(copy);
    }
    // Result: the index of the new item.
    int Add(Argument item) {
        items_.push_back(item);
        return GetSize() - 1;
    }
    int Add(Type&& item) requires(!std::is_same_v<Argument, Type>) {
        items_.push_back(std::move(item));
        return GetSize() - 1;
    }
    // An array may be appended to itself.
    void Append(CArray const& other) {
        std::size_t const count = other.items_.size();
        for (std::size_t i = 0; i < count; ++i) items_.push_back(other.items_[i]);
    }
    void Copy(CArray const& other) { items_ = other.items_; }
    void InsertAt(int index, Argument item, int count = 1) {
        if (index < 0 || count <= 0) return;
        Type const copy(item);
        if (index > GetSize()) SetSize(index);
        items_.insert(items_.begin() + index, static_cast<std::size_t>(count), copy);
    }
    void RemoveAt(int index, int count = 1) {
        if (!Holds(index) || count <= 0) return;
        int const last = count > GetSize() - index ? GetSize() : index + count;
        items_.erase(items_.begin() + index, items_.begin() + last);
    }

    // The index must lie inside.
    Type& operator[](int index) { return items_[static_cast<std::size_t>(index)]; }
    Type const& operator[](int index) const { return items_[static_cast<std::size_t>(index)]; }
    Type& ElementAt(int index) { return (*this)[index]; }
    Type const& ElementAt(int index) const { return (*this)[index]; }
    Type* GetData() noexcept { return items_.data(); }
    Type const* GetData() const noexcept { return items_.data(); }

    auto begin() noexcept { return items_.begin(); }
    auto end() noexcept { return items_.end(); }
    auto begin() const noexcept { return items_.begin(); }
    auto end() const noexcept { return items_.end(); }
    // The standard container underneath, for algorithms and moves.
    using Storage = std::vector<Type, platform::TableAllocator<Type>>;
    Storage& Items() noexcept { return items_; }
    Storage const& Items() const noexcept { return items_; }

  private:
    bool Holds(int index) const noexcept { return index >= 0 && index < GetSize(); }
    Storage items_;
};

using CStringArray = CArray<CString, CString const&>;

// A place in a CList; null is the end.
using POSITION = void const*;

template <class Type, class Argument = Type const&>
class CList {
  public:
    CList() = default;
    CList(CList const& other) { Copy(other); }
    CList& operator=(CList const& other) {
        if (this != &other) {
            RemoveAll();
            Copy(other);
        }
        return *this;
    }
    CList(CList&& other) noexcept { Swap(other); }
    CList& operator=(CList&& other) noexcept {
        Swap(other);
        return *this;
    }
    ~CList() { RemoveAll(); }

    int GetCount() const noexcept { return count_; }
    int GetSize() const noexcept { return count_; }
    bool IsEmpty() const noexcept { return count_ == 0; }
    POSITION GetHeadPosition() const noexcept { return head_; }
    POSITION GetTailPosition() const noexcept { return tail_; }
    // Gives the item at `place` and moves `place` to the next one.
    Type& GetNext(POSITION& place) { return Step(place, &Node::next)->item; }
    Type const& GetNext(POSITION& place) const { return Step(place, &Node::next)->item; }
    Type& GetPrev(POSITION& place) { return Step(place, &Node::previous)->item; }
    Type& GetAt(POSITION place) { return NodeAt(place)->item; }
    Type const& GetAt(POSITION place) const { return NodeAt(place)->item; }
    Type& GetHead() { return head_->item; }
    Type const& GetHead() const { return head_->item; }
    Type& GetTail() { return tail_->item; }
    Type const& GetTail() const { return tail_->item; }
    POSITION AddTail(Argument item) { return Link(new Node{item, tail_, nullptr}); }
    POSITION AddHead(Argument item) { return Link(new Node{item, nullptr, head_}); }
    Type RemoveHead() { return Take(head_); }
    Type RemoveTail() { return Take(tail_); }
    void RemoveAt(POSITION place) { Take(NodeAt(place)); }
    POSITION Find(Argument item) const {
        for (Node* node = head_; node; node = node->next)
            if (node->item == item) return node;
        return nullptr;
    }
    void RemoveAll() noexcept {
        while (head_) delete std::exchange(head_, head_->next);
        tail_ = nullptr;
        count_ = 0;
    }

  private:
    struct Node {
        Type item;
        Node* previous;
        Node* next;
    };
    static Node* NodeAt(POSITION place) { return const_cast<Node*>(static_cast<Node const*>(place)); }
    static Node* Step(POSITION& place, Node* Node::*way) {
        Node* node = NodeAt(place);
        place = node->*way;
        return node;
    }
    POSITION Link(Node* node) {
        (node->previous ? node->previous->next : head_) = node;
        (node->next ? node->next->previous : tail_) = node;
        ++count_;
        return node;
    }
    Type Take(Node* node) {
        (node->previous ? node->previous->next : head_) = node->next;
        (node->next ? node->next->previous : tail_) = node->previous;
        --count_;
        Type item = std::move(node->item);
        delete node;
        return item;
    }
    void Copy(CList const& other) {
        for (Node const* node = other.head_; node; node = node->next) AddTail(node->item);
    }
    void Swap(CList& other) noexcept {
        std::swap(head_, other.head_);
        std::swap(tail_, other.tail_);
        std::swap(count_, other.count_);
    }
    Node* head_ = nullptr;
    Node* tail_ = nullptr;
    int count_ = 0;
};

using CStringList = CList<CString, CString const&>;
