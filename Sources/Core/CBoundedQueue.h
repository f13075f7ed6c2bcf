#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace kel
{

// A first-in first-out queue of a fixed number of cells, sized once by init and never grown:
// any number of threads push and pop without a lock and without allocating. Each cell carries a
// turn number that says whether it is free for the push of this round or holds the value for the
// pop of this round; a push or pop claims its position with one compare-and-swap.
//
// A pusher fills the cell it claimed in place (a callback gets the cell's T), so that a record
// of any size travels without a copy on the stack. A pusher stopped between claiming and
// publishing holds back the pops behind it until it goes on: nobody waits for it, the values
// simply come a pop later. [any thread; init before the queue is shared]
template <typename T> class CBoundedQueue
{
public:
    CBoundedQueue() = default;
    CBoundedQueue(const CBoundedQueue&) = delete;
    CBoundedQueue& operator=(const CBoundedQueue&) = delete;

    // Makes the cells: capacity rounded up to a power of two, at least 2. False when out of
    // memory; the queue then takes nothing.
    bool init(int capacity)
    {
        size_t size = 2;
        while (size < static_cast<size_t>(capacity > 2 ? capacity : 2))
            size *= 2;
        cells.reset(new (std::nothrow) Cell[size]);
        if (!cells)
        {
            mask = 0;
            return false;
        }
        for (size_t i = 0; i < size; ++i)
            cells[i].turn.store(i, std::memory_order_relaxed);
        mask = size - 1;
        pushPosition.store(0, std::memory_order_relaxed);
        popPosition.store(0, std::memory_order_relaxed);
        return true;
    }

    int getCapacity() const { return cells ? static_cast<int>(mask + 1) : 0; }

    // Claims the next cell and lets fill(T&) write it; false when the queue is full (or was
    // never made), and fill is not called.
    template <typename Fill> bool push(Fill&& fill)
    {
        if (!cells)
            return false;
        size_t position = pushPosition.load(std::memory_order_relaxed);
        Cell* cell = nullptr;
        for (;;)
        {
            cell = &cells[position & mask];
            const size_t turn = cell->turn.load(std::memory_order_acquire);
            const intptr_t ahead = static_cast<intptr_t>(turn) - static_cast<intptr_t>(position);
            if (ahead == 0)
            {
                if (pushPosition.compare_exchange_weak(position, position + 1,
                                                       std::memory_order_relaxed))
                    break;
            }
            else if (ahead < 0)
            {
                return false;
            }
            else
            {
                position = pushPosition.load(std::memory_order_relaxed);
            }
        }
        fill(cell->value);
        cell->turn.store(position + 1, std::memory_order_release);
        return true;
    }

    // Takes the oldest value: take(T&) reads it in its cell; false when nothing is there.
    template <typename Take> bool pop(Take&& take)
    {
        if (!cells)
            return false;
        size_t position = popPosition.load(std::memory_order_relaxed);
        Cell* cell = nullptr;
        for (;;)
        {
            cell = &cells[position & mask];
            const size_t turn = cell->turn.load(std::memory_order_acquire);
            const intptr_t ahead =
                static_cast<intptr_t>(turn) - static_cast<intptr_t>(position + 1);
            if (ahead == 0)
            {
                if (popPosition.compare_exchange_weak(position, position + 1,
                                                      std::memory_order_relaxed))
                    break;
            }
            else if (ahead < 0)
            {
                return false;
            }
            else
            {
                position = popPosition.load(std::memory_order_relaxed);
            }
        }
        take(cell->value);
        cell->turn.store(position + mask + 1, std::memory_order_release);
        return true;
    }

    // Whether a pop would find nothing now (a hint: pushes may be under way).
    bool isEmpty() const
    {
        return pushPosition.load(std::memory_order_acquire) ==
               popPosition.load(std::memory_order_acquire);
    }

private:
    struct Cell
    {
        std::atomic<size_t> turn{0};
        T value{};
    };

    std::unique_ptr<Cell[]> cells;
    size_t mask = 0;
    std::atomic<size_t> pushPosition{0};
    // Keeps pushers and the popper off one cache line.
    char apart[64 - sizeof(std::atomic<size_t>)] = {};
    std::atomic<size_t> popPosition{0};
};

} // namespace kel
