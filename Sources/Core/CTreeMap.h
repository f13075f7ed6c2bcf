#pragma once

#include "Core/CStdAllocator.h"

#include <functional>
#include <map>
#include <utility>

namespace kel
{

// Ordered map (a balanced tree) with nodes from CAllocator: the common body of CStringMap,
// CIntMap and CPtrMap. Iteration runs in key order and yields pairs of key and value
// (`for (auto& [key, value] : map)`). Iterators and value pointers stay valid until their own
// element is erased. Owned by whoever declares it; not shared between threads without a lock.
template <typename K, typename V> class CTreeMap
{
    using Tree = std::map<K, V, std::less<K>, CStdAllocator<std::pair<const K, V>>>;

public:
    using Iterator = typename Tree::iterator;
    using ConstIterator = typename Tree::const_iterator;

    int getCount() const { return static_cast<int>(tree.size()); }
    bool isEmpty() const { return tree.empty(); }

    // The value stored under key, or null.
    V* find(const K& key)
    {
        auto found = tree.find(key);
        return found == tree.end() ? nullptr : &found->second;
    }
    const V* find(const K& key) const
    {
        auto found = tree.find(key);
        return found == tree.end() ? nullptr : &found->second;
    }
    bool contains(const K& key) const { return tree.find(key) != tree.end(); }
    // The value under key, or fallback when there is none.
    V get(const K& key, const V& fallback) const
    {
        auto found = tree.find(key);
        return found == tree.end() ? fallback : found->second;
    }

    // Adds key when it is new and answers true; an existing entry is left as it is.
    bool insert(const K& key, V value) { return tree.emplace(key, std::move(value)).second; }
    // Adds or replaces; answers the stored value.
    V& set(const K& key, V value)
    {
        auto placed = tree.insert_or_assign(key, std::move(value));
        return placed.first->second;
    }
    // The value under key, made by default construction when there is none.
    V& operator[](const K& key) { return tree[key]; }

    // Answers whether there was such an entry.
    bool erase(const K& key) { return tree.erase(key) != 0; }
    // Erases while iterating: answers the element after the erased one.
    Iterator erase(Iterator position) { return tree.erase(position); }
    void clear() { tree.clear(); }

    // The first element whose key is not less than key.
    Iterator lowerBound(const K& key) { return tree.lower_bound(key); }
    ConstIterator lowerBound(const K& key) const { return tree.lower_bound(key); }

    Iterator begin() { return tree.begin(); }
    Iterator end() { return tree.end(); }
    ConstIterator begin() const { return tree.begin(); }
    ConstIterator end() const { return tree.end(); }

private:
    Tree tree;
};

} // namespace kel
