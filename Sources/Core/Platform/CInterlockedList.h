#pragma once

#include <atomic>

namespace kel
{

// A lock-free singly linked list of nodes that embed their link (they derive from
// CInterlockedList::CNode). Any number of threads may push; one consumer takes the whole list at
// once with popAll, which sidesteps the reuse problem a single-node pop would have. The list owns
// nothing: whoever pushes a node hands it to whoever pops it.
// [any thread; never locks, never allocates]
class CInterlockedList
{
public:
    class CNode
    {
    public:
        CNode* next = nullptr;
    };

    CInterlockedList() = default;
    CInterlockedList(const CInterlockedList&) = delete;
    CInterlockedList& operator=(const CInterlockedList&) = delete;

    // Answers true when the list was empty before, so that a producer knows when to wake the
    // consumer.
    bool push(CNode* node)
    {
        CNode* old = head.load(std::memory_order_relaxed);
        do
            node->next = old;
        while (!head.compare_exchange_weak(old, node, std::memory_order_release,
                                           std::memory_order_relaxed));
        return old == nullptr;
    }

    // Takes every node, newest first; null when the list is empty.
    CNode* popAll() { return head.exchange(nullptr, std::memory_order_acquire); }

    // Takes every node in the order of their pushes.
    CNode* popAllInOrder() { return reverse(popAll()); }

    bool isEmpty() const { return head.load(std::memory_order_relaxed) == nullptr; }

    static CNode* reverse(CNode* chain)
    {
        CNode* reversed = nullptr;
        while (chain)
        {
            CNode* next = chain->next;
            chain->next = reversed;
            reversed = chain;
            chain = next;
        }
        return reversed;
    }

private:
    std::atomic<CNode*> head{nullptr};
};

} // namespace kel
