#pragma once

#include "Core/CAllocator.h"

#include <new>
#include <utility>

namespace kel
{

// The framework's growing array. The first N elements live inside the object; beyond that the
// elements move to a CAllocator block, and each growth takes the capacity to twice plus one
// (8 -> 17 -> 35 ..., 16 -> 33 ...). Elements may be of any type that can be moved; they are
// constructed and destroyed in place, in order of index. Pointers into the array are valid until
// the next growth or removal. Owned by whoever declares it; not shared between threads without a
// lock. Growth allocates, so the audio thread only uses arrays reserved beforehand.
template <typename T, int N = 8> class CArray
{
    static_assert(N > 0, "inline room for at least one element");

public:
    CArray() = default;
    CArray(const CArray& other)
    {
        reserve(other.count);
        for (int i = 0; i < other.count; ++i)
            new (items + i) T(other.items[i]);
        count = other.count;
    }
    CArray(CArray&& other) noexcept(noexcept(T(std::declval<T&&>()))) { takeFrom(other); }
    ~CArray()
    {
        clear();
        releaseHeap();
    }
    CArray& operator=(const CArray& other)
    {
        if (this != &other)
        {
            CArray copy(other);
            *this = std::move(copy);
        }
        return *this;
    }
    CArray& operator=(CArray&& other) noexcept(noexcept(T(std::declval<T&&>())))
    {
        if (this != &other)
        {
            clear();
            releaseHeap();
            takeFrom(other);
        }
        return *this;
    }

    int getCount() const { return count; }
    bool isEmpty() const { return count == 0; }
    int getCapacity() const { return capacity; }
    bool isInline() const { return items == inlineItems(); }

    // Index must be within 0..count-1.
    T& operator[](int index) { return items[index]; }
    const T& operator[](int index) const { return items[index]; }
    T& getLast() { return items[count - 1]; }
    const T& getLast() const { return items[count - 1]; }
    T* getData() { return items; }
    const T* getData() const { return items; }
    T* begin() { return items; }
    T* end() { return items + count; }
    const T* begin() const { return items; }
    const T* end() const { return items + count; }

    // Makes room for at least minCount elements, growing by the usual steps.
    void reserve(int minCount)
    {
        int grown = capacity;
        while (grown < minCount)
            grown = grown * 2 + 1;
        if (grown != capacity)
            moveTo(grown);
    }

    T& add(const T& value) { return insertAt(count, value); }
    T& add(T&& value) { return insertAt(count, std::move(value)); }
    template <typename... Args> T& emplace(Args&&... args)
    {
        return insertAt(count, T(std::forward<Args>(args)...));
    }

    // Inserts before index (clamped to 0..count). The value may be an element of this array.
    T& insertAt(int index, const T& value) { return insertAt(index, T(value)); }
    T& insertAt(int index, T&& value)
    {
        index = index < 0 ? 0 : (index > count ? count : index);
        if (count == capacity)
        {
            // The value may live in the old storage: take it out before the move.
            T moved(std::move(value));
            reserve(count + 1);
            return placeAt(index, std::move(moved));
        }
        return placeAt(index, std::move(value));
    }

    // Removes count elements from index; out-of-range parts are ignored.
    void removeAt(int index, int removeCount = 1)
    {
        if (index < 0 || index >= count || removeCount <= 0)
            return;
        if (removeCount > count - index)
            removeCount = count - index;
        for (int i = index; i + removeCount < count; ++i)
            items[i] = std::move(items[i + removeCount]);
        for (int i = count - removeCount; i < count; ++i)
            items[i].~T();
        count -= removeCount;
    }
    void removeLast()
    {
        if (count > 0)
            items[--count].~T();
    }

    // Index of the first element equal to value, or -1.
    int indexOf(const T& value) const
    {
        for (int i = 0; i < count; ++i)
        {
            if (items[i] == value)
                return i;
        }
        return -1;
    }
    bool contains(const T& value) const { return indexOf(value) >= 0; }

    // Destroys the elements; the storage stays.
    void clear()
    {
        for (int i = count - 1; i >= 0; --i)
            items[i].~T();
        count = 0;
    }
    // Destroys the elements and gives heap storage back.
    void reset()
    {
        clear();
        releaseHeap();
    }

private:
    T* inlineItems() { return reinterpret_cast<T*>(inlineStorage); }
    const T* inlineItems() const { return reinterpret_cast<const T*>(inlineStorage); }

    T& placeAt(int index, T&& value)
    {
        if (index == count)
            new (items + count) T(std::move(value));
        else
        {
            new (items + count) T(std::move(items[count - 1]));
            for (int i = count - 1; i > index; --i)
                items[i] = std::move(items[i - 1]);
            items[index] = std::move(value);
        }
        ++count;
        return items[index];
    }

    void moveTo(int newCapacity)
    {
        T* fresh = static_cast<T*>(CAllocator::alloc(sizeof(T) * static_cast<size_t>(newCapacity)));
        for (int i = 0; i < count; ++i)
        {
            new (fresh + i) T(std::move(items[i]));
            items[i].~T();
        }
        releaseHeap();
        items = fresh;
        capacity = newCapacity;
    }

    void releaseHeap()
    {
        if (items != inlineItems())
            CAllocator::free(items);
        items = inlineItems();
        capacity = N;
    }

    void takeFrom(CArray& other)
    {
        if (other.items == other.inlineItems())
        {
            for (int i = 0; i < other.count; ++i)
            {
                new (items + i) T(std::move(other.items[i]));
                other.items[i].~T();
            }
        }
        else
        {
            items = other.items;
            capacity = other.capacity;
            other.items = other.inlineItems();
            other.capacity = N;
        }
        count = other.count;
        other.count = 0;
    }

    alignas(T) unsigned char inlineStorage[sizeof(T) * N];
    T* items = inlineItems();
    int count = 0;
    int capacity = N;
};

} // namespace kel
