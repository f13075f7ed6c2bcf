#pragma once

#include "Core/CObject.h"

namespace kel
{

class CAudioProcessBase;

// The definition of a process in the shared tree: the graph flags every process definition
// carries, and the creation of the process it stands for. Read only once the tree is built.
// The tree owns it; the process made from it keeps a pointer to it for its life, which the
// shared tree outlives. [set-up thread; read-only afterwards]
class CAudioProcessDefBase : public CObject
{
public:
    CAudioProcessDefBase() = default;

    static void registerClass(CClassInfo& info);
    // Reads the flags; a stack index shift that is not a whole number fails.
    [[nodiscard]] CError* init() override;

    // Makes the process of this definition, not yet initialised. An error for a definition whose
    // process does not exist in this build.
    [[nodiscard]] virtual CError* createProcess(CAudioProcessBase*& out) const = 0;

    bool isSmoothUpdate() const { return smoothUpdate; }
    bool isGrouped() const { return grouped; }
    bool isTerminalWhole() const { return terminalWhole; }
    bool isGroup0() const { return group0; }
    bool isElement0() const { return element0; }
    bool usesAllParamGroups() const { return allParamGroups; }
    bool usesAllParamElements() const { return allParamElements; }
    bool usesTimeShift() const { return timeShift; }
    // Crossfade of a smooth update, seconds; 0.015 unless `xfade-length` says otherwise, and
    // never below 0.0001.
    double getXfadeLengthSec() const { return xfadeLengthSec; }

private:
    bool smoothUpdate = false;
    bool multiband = false;
    bool stacked = false;
    int stackIndexShift = 0;
    bool grouped = false;
    bool whole = false;
    bool terminalWhole = false;
    bool prototype = false;
    bool outOfOrder = false;
    bool group0 = false;
    bool element0 = false;
    bool allParamGroups = false;
    bool allParamElements = false;
    bool weightedInput = false;
    bool timeShift = false;
    double xfadeLengthSec = 0.015;
};

} // namespace kel
