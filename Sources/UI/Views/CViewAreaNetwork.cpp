#include "UI/Views/CViewAreaNetwork.h"

#include "Core/CAllocator.h"
#include "Core/CDebugChannel.h"

#include <cmath>
#include <new>

namespace kel
{

namespace
{

// Deep enough for the maximum over a row of a few hundred children (opcode 6 takes them all from
// the stack). Evaluation never nests, so one frame of it is on the stack at a time.
constexpr int kStackSize = 256;

// Calls visit(index) for the index of each variable operand in a program, stepping over the
// operand words of the other opcodes.
template <typename Visit> void forEachVarOperand(const uint16_t* words, int length, Visit visit)
{
    for (int i = 0; i < length; ++i)
    {
        if (words[i] == CViewAreaNetwork::kPushConst || words[i] == CViewAreaNetwork::kMaxN)
            ++i;
        else if (words[i] == CViewAreaNetwork::kPushVar && i + 1 < length)
            visit(++i);
    }
}

} // namespace

CViewAreaNetwork::~CViewAreaNetwork()
{
    for (CRecord* page : pages)
    {
        for (int i = 0; i < kPageSize; ++i)
        {
            if (page[i].length > kInlineWords)
                CAllocator::free(page[i].heapWords);
            page[i].~CRecord();
        }
        CAllocator::free(page);
    }
}

CViewAreaNetwork::CRecord* CViewAreaNetwork::record(VarId id) const
{
    const int page = id / kPageSize;
    if (id == kNoVar || page >= pages.getCount())
        return nullptr;
    return &pages[page][id % kPageSize];
}

CViewAreaNetwork::VarId CViewAreaNetwork::allocate(CViewArea* owner)
{
    if (freeHead == kNoVar)
    {
        // A new page; its slots join the free list in ascending order.
        const int pageIndex = pages.getCount();
        if ((pageIndex + 1) * kPageSize > kNoVar)
            return kNoVar;
        auto* page = static_cast<CRecord*>(CAllocator::alloc(sizeof(CRecord) * kPageSize));
        if (!page)
            return kNoVar;
        for (int i = 0; i < kPageSize; ++i)
            new (page + i) CRecord();
        pages.add(page);
        for (int i = kPageSize - 1; i >= 0; --i)
        {
            const int id = pageIndex * kPageSize + i;
            if (id == kNoVar)
                continue;
            page[i].nextFree = freeHead;
            freeHead = static_cast<VarId>(id);
        }
    }
    const VarId id = freeHead;
    CRecord* rec = record(id);
    freeHead = rec->nextFree;
    rec->owner = owner;
    rec->nextFree = kNoVar;
    rec->value = 0.0f;
    rec->length = 0;
    rec->isLive = true;
    ++liveCount;
    return id;
}

void CViewAreaNetwork::clearProgram(VarId id)
{
    CRecord* rec = record(id);
    // Leave the dependents of the old operands.
    forEachVarOperand(rec->program(), rec->length,
                      [&](int at)
                      {
                          if (CRecord* operand = record(rec->program()[at]))
                          {
                              const int index = operand->dependents.indexOf(id);
                              if (index >= 0)
                                  operand->dependents.removeAt(index);
                          }
                      });
    if (rec->length > kInlineWords)
        CAllocator::free(rec->heapWords);
    rec->length = 0;
    for (uint16_t& word : rec->words)
        word = 0;
}

void CViewAreaNetwork::release(VarId id)
{
    CRecord* rec = record(id);
    if (!rec || !rec->isLive)
        return;
    clearProgram(id);
    // The id goes back to the free list: whoever still reads it reads a constant 0 instead, or
    // they would follow the next owner of the id without being its dependents.
    const uint16_t zero = addConstant(0.0);
    for (VarId dependent : rec->dependents)
    {
        CRecord* reader = record(dependent);
        uint16_t* words = reader->program();
        forEachVarOperand(words, reader->length,
                          [&](int at)
                          {
                              if (words[at] == id)
                              {
                                  words[at - 1] = kPushConst;
                                  words[at] = zero;
                              }
                          });
    }
    rec->dependents.reset();
    rec->owner = nullptr;
    rec->isLive = false;
    rec->value = 0.0f;
    rec->nextFree = freeHead;
    freeHead = id;
    --liveCount;
}

void CViewAreaNetwork::setProgram(VarId id, const uint16_t* words, int count)
{
    CRecord* rec = record(id);
    if (!rec || !rec->isLive || count < 0 || count > 65535)
        return;
    clearProgram(id);
    uint16_t* target = rec->words;
    if (count > kInlineWords)
    {
        target = allocArray<uint16_t>(static_cast<size_t>(count));
        if (!target)
            return;
        rec->heapWords = target;
    }
    for (int i = 0; i < count; ++i)
        target[i] = words[i];
    rec->length = static_cast<uint16_t>(count);
    forEachVarOperand(words, count,
                      [&](int at)
                      {
                          CRecord* operand = record(words[at]);
                          if (operand && operand->isLive && !operand->dependents.contains(id))
                              operand->dependents.add(id);
                      });
    double value = 0.0;
    if (evaluate(*rec, value))
        setValue(id, value, 0);
}

bool CViewAreaNetwork::evaluate(const CRecord& rec, double& out) const
{
    if (rec.length == 0)
    {
        out = 0.0;
        return true;
    }
    double stack[kStackSize];
    int top = 0;
    const uint16_t* words = rec.program();
    for (int i = 0; i < rec.length; ++i)
    {
        switch (words[i])
        {
        case kPushConst:
            if (i + 1 >= rec.length || top >= kStackSize || words[i + 1] >= constants.getCount())
                return false;
            stack[top++] = constants[words[++i]];
            break;
        case kPushVar:
        {
            if (i + 1 >= rec.length || top >= kStackSize)
                return false;
            const CRecord* operand = record(words[++i]);
            stack[top++] = operand ? operand->value : 0.0;
            break;
        }
        case kHalve:
        case kFloor:
        case kRound:
            if (top < 1)
                return false;
            stack[top - 1] = words[i] == kHalve   ? stack[top - 1] / 2.0
                             : words[i] == kFloor ? std::floor(stack[top - 1])
                                                  : roundHalfAway(stack[top - 1]);
            break;
        case kGuardedDivide:
            if (top < 3)
                return false;
            stack[top - 3] = std::fabs(stack[top - 2]) > kThreshold
                                 ? stack[top - 3] / stack[top - 2]
                                 : stack[top - 1];
            top -= 2;
            break;
        case kMaxN:
        {
            if (i + 1 >= rec.length)
                return false;
            const int n = words[++i];
            if (n == 0)
                break;
            if (top < n)
                return false;
            double best = -1e20;
            for (int k = top - n; k < top; ++k)
                best = stack[k] > best ? stack[k] : best;
            top -= n;
            stack[top++] = best;
            break;
        }
        default:
        {
            if (top < 2)
                return false;
            const double a = stack[top - 2];
            const double b = stack[top - 1];
            double r = 0.0;
            switch (words[i])
            {
            case kDivide:
                r = a / b;
                break;
            case kMax2:
                r = a > b ? a : b;
                break;
            case kSubtract:
                r = a - b;
                break;
            case kMultiply:
                r = a * b;
                break;
            case kAdd:
                r = a + b;
                break;
            default:
                return false;
            }
            stack[top - 2] = r;
            --top;
            break;
        }
        }
    }
    if (top != 1)
        return false;
    out = stack[0];
    return true;
}

void CViewAreaNetwork::setValue(VarId id, double value, int depth)
{
    if (depth > kMaxDepth)
    {
        KEL_LOG("Too many recursions");
        return;
    }
    CRecord* rec = record(id);
    if (!rec || !rec->isLive)
        return;
    // Compared as it would be stored: a fraction that a float cannot hold (5000.3) would
    // otherwise count as a change on every evaluation and never stop a propagation.
    const float stored = static_cast<float>(value);
    if (std::fabs(static_cast<double>(stored) - rec->value) < kThreshold)
        return;
    rec->value = stored;
    ++storeCount;
    // The list may change under us only through programs, which nothing here installs.
    for (int i = 0; i < rec->dependents.getCount(); ++i)
    {
        const VarId dependent = rec->dependents[i];
        double next = 0.0;
        if (evaluate(*record(dependent), next))
            setValue(dependent, next, depth + 1);
    }
    if (rec->owner && !changedAreas.contains(rec->owner))
    {
        changedAreas.add(rec->owner);
        if (changedAreas.getCount() == 1 && listener)
            listener->onAreasChanged();
    }
}

double CViewAreaNetwork::roundHalfAway(double value)
{
    return value < 0.0 ? -std::floor(-value + 0.5) : std::floor(value + 0.5);
}

double CViewAreaNetwork::getValue(VarId id) const
{
    const CRecord* rec = record(id);
    return rec ? rec->value : 0.0;
}

uint16_t CViewAreaNetwork::addConstant(double value)
{
    for (int i = 0; i < constants.getCount(); ++i)
    {
        if (std::fabs(constants[i] - value) < kThreshold)
            return static_cast<uint16_t>(i);
    }
    constants.add(value);
    return static_cast<uint16_t>(constants.getCount() - 1);
}

void CViewAreaNetwork::takeChangedAreas(CArray<CViewArea*, 16>& out)
{
    out.clear();
    for (CViewArea* area : changedAreas)
        out.add(area);
    changedAreas.clear();
}

void CViewAreaNetwork::forgetArea(CViewArea* area)
{
    const int at = changedAreas.indexOf(area);
    if (at >= 0)
        changedAreas.removeAt(at);
}

} // namespace kel
