#pragma once

#include "Core/CArray.h"
#include "Core/CCheckedObject.h"

#include <cstdint>

namespace kel
{

class CViewArea;

// The variables of every view area under one root view, and the small stack programs that tie
// them together. A variable that is not a plain input has a program over constants and other
// variables; setting a variable re-evaluates, depth first and in the order they were added, the
// variables that depend on it, until changes fall below 0.0001. So changing one variable
// touches exactly what depends on it.
//
// Storage: pages of 512 records, each page made when first needed; an id is a 16-bit number,
// page = id / 512, slot = id % 512; free records form a list ended by 65535. Programs of up to
// 12 words live in the record; longer ones on the heap. Constants of programs come from a pool
// that reuses any value within 0.0001.
//
// Opcodes: 0 push constant (next word: pool index), 1 divide, 2 guarded divide x, y, z (x / y
// while |y| > 0.0001, else z), 3 halve, 4 floor, 5 maximum of two, 6 maximum of the top n (next
// word; -1e20 for none), 7 subtract, 8 multiply, 9 add, 10 round halves away from zero,
// 11 push variable (next word). A program must leave exactly one value; otherwise the variable
// keeps its value. An empty program sets 0. The evaluation stack holds 256 values.
//
// A variable that is freed leaves the dependents of its operands; the programs that read it
// read 0 from then on, so its id can be handed out again without them following the new owner.
//
// Owned by the root view's area; the areas own their variables. [ui thread]
class CViewAreaNetwork : public CCheckedObject
{
public:
    using VarId = uint16_t;
    static constexpr VarId kNoVar = 65535;
    static constexpr int kPageSize = 512;
    static constexpr int kInlineWords = 12;
    static constexpr int kMaxDepth = 200;
    static constexpr double kThreshold = 0.0001;

    enum Opcode : uint16_t
    {
        kPushConst = 0,
        kDivide = 1,
        kGuardedDivide = 2,
        kHalve = 3,
        kFloor = 4,
        kMax2 = 5,
        kMaxN = 6,
        kSubtract = 7,
        kMultiply = 8,
        kAdd = 9,
        kRound = 10,
        kPushVar = 11,
    };

    // Told when the first area changes after the list was taken. [ui thread]
    class CListener
    {
    public:
        virtual ~CListener() = default;
        virtual void onAreasChanged() = 0;
    };

    CViewAreaNetwork() = default;
    ~CViewAreaNetwork() override;
    CViewAreaNetwork(const CViewAreaNetwork&) = delete;
    CViewAreaNetwork& operator=(const CViewAreaNetwork&) = delete;

    // A new variable of owner, value 0, no program; kNoVar when all 65535 ids are taken.
    VarId allocate(CViewArea* owner);
    // Frees the variable: it leaves the dependents of its operands, its dependents read 0 in its
    // place (they are not evaluated again), and its id goes back to the free list.
    void release(VarId id);

    // Installs a program (see setProgram's contract above) and evaluates it.
    void setProgram(VarId id, const uint16_t* words, int count);
    // Sets a value and pushes it on (depth counts the recursion; above 200 it stops with one
    // log line, "Too many recursions").
    void setValue(VarId id, double value, int depth = 0);
    double getValue(VarId id) const;
    // Opcode 10's rounding: halves away from zero (2.5 -> 3, -2.5 -> -3).
    static double roundHalfAway(double value);
    // The pool index of a constant, reusing an entry within 0.0001.
    uint16_t addConstant(double value);
    int getConstantCount() const { return constants.getCount(); }

    // The areas whose variables changed since the last take, each once, in order of change.
    void takeChangedAreas(CArray<CViewArea*, 16>& out);
    void forgetArea(CViewArea* area);
    bool hasChangedAreas() const { return !changedAreas.isEmpty(); }

    // Not owned; null for none.
    void setListener(CListener* newListener) { listener = newListener; }

    int getPageCount() const { return pages.getCount(); }
    int getLiveCount() const { return liveCount; }
    // How many evaluations and stores there were (tests: a change stays local).
    int getStoreCount() const { return storeCount; }

private:
    struct CRecord
    {
        CViewArea* owner = nullptr;
        // Up to kInlineWords words in place; a longer program on the heap (length tells which).
        union
        {
            uint16_t words[kInlineWords];
            uint16_t* heapWords;
        };
        uint16_t length = 0;
        uint16_t nextFree = kNoVar;
        float value = 0.0f;
        CArray<VarId, 4> dependents;
        bool isLive = false;

        CRecord() : words{} {}
        uint16_t* program() { return length > kInlineWords ? heapWords : words; }
        const uint16_t* program() const { return length > kInlineWords ? heapWords : words; }
    };

    CRecord* record(VarId id) const;
    // Evaluates the program of id; false when it does not leave exactly one value.
    bool evaluate(const CRecord& rec, double& out) const;
    void clearProgram(VarId id);

    CArray<CRecord*, 16> pages; // each kPageSize records in one allocator block, owned
    CArray<double, 16> constants;
    CArray<CViewArea*, 16> changedAreas;
    CListener* listener = nullptr;
    VarId freeHead = kNoVar;
    int liveCount = 0;
    int storeCount = 0;
};

} // namespace kel
