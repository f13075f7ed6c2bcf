#pragma once

#include "Audio/CAudioParamCollector.h"
#include "Core/CArray.h"
#include "Core/CCheckedObject.h"
#include "Core/CError.h"
#include "Core/CString.h"
#include "Core/CStringMap.h"

#include <cstdint>

namespace kel
{

class CAudioEnv;
class CAudioParam;
class CAudioProcessDefBase;
class CAudioProcessPort;
class CDCDAWContext;

// A node of an instance's process graph, made from a definition of the shared tree: numbered
// input and output ports, the parameters its definition declares, and the operations the graph
// runs on it. Parameters get the full name of the process plus their leaf
// ("plugin.modMain.modZumbelModule.period"), after the remaps of the process and its containers;
// the collector owns them.
//
// The container that holds a process owns it (the instance owns the root processes). Build and
// set-up run on the thread that sets the instance up; update, process and clear on the audio
// thread, where nothing allocates or locks. [see each operation]
class CAudioProcessBase : public CCheckedObject
{
public:
    // What a process is built with: its definition, its full name, and the build of its
    // container, whose remaps apply to its parameters too.
    struct CBuild
    {
        CAudioParamCollector* collector = nullptr;
        CAudioEnv* env = nullptr;
        const CAudioProcessDefBase* def = nullptr;
        CString path;
        const CBuild* parent = nullptr;

        // Full name of the parameter `leaf` of this process, remapped by this process's
        // definition and then by each container's, innermost first.
        CString resolveParamName(const CString& leaf) const;
    };

    // The running conditions of a set-up. blockContext changes whenever the host's block
    // conditions do; a process whose modules were set up for another one sets them up again.
    struct CSetup
    {
        CDCDAWContext* context = nullptr;
        double sampleRateHz = 44100.0;
        int channels = 2;
        int maxFrames = 512;
        uint32_t blockContext = 0;
    };

    CAudioProcessBase() = default;
    ~CAudioProcessBase() override;
    CAudioProcessBase(const CAudioProcessBase&) = delete;
    CAudioProcessBase& operator=(const CAudioProcessBase&) = delete;

    // Reads the definition, makes the ports and creates and binds the parameters. [set-up]
    [[nodiscard]] virtual CError* init(const CBuild& build);
    // Drops all queued packets but the last of each port. [audio thread]
    virtual void clear();
    // Takes the parameter changes of this block (null: none). [audio thread]
    virtual void update(const CAudioParamCollector::CPacket* changes);
    // Runs on what the input ports hold and publishes on the output ports. [audio thread]
    virtual void process();
    // Subscribes input to output port `port`; an error for a port that does not exist. [set-up]
    [[nodiscard]] virtual CError* connect(int port, CAudioProcessPort* input);
    // Hooks, empty here: before the kernels, the kernel registration, and the set-up after it.
    [[nodiscard]] virtual CError* prepare() { return nullptr; }
    [[nodiscard]] virtual CError* registerKernels(CDCDAWContext* /*context*/) { return nullptr; }
    [[nodiscard]] virtual CError* setup(const CSetup& conditions);

    const CString& getName() const { return name; }
    const CAudioProcessDefBase* getDef() const { return def; }
    int getInputPortCount() const { return inputs.getCount(); }
    CAudioProcessPort* getInputPort(int port) const;
    CAudioProcessPort* getOutputPort(int port) const;
    // A parameter this process declared, by leaf name; null if none.
    CAudioParam* findParam(const CString& leaf) const;
    // Seconds of audio this process has run since its set-up.
    double getClockSec() const { return clockSec; }
    // For the debug channel.
    const char* kelErrorContextName() const;

protected:
    // [set-up] Makes the ports; init calls it with the counts of portCounts.
    [[nodiscard]] CError* makePorts(int inputCount, int outputCount);
    // Ports a process of this class has; one in and one out unless a class says otherwise.
    virtual void portCounts(int& inputCount, int& outputCount) const
    {
        inputCount = 1;
        outputCount = 1;
    }
    // The smallest frame count queued on the connected input ports; kNothingQueued if none.
    int availableFrames() const;
    void advanceClock(int frames);

    CString name;
    CString path;
    const CAudioProcessDefBase* def = nullptr;
    CAudioParamCollector* collector = nullptr;
    CAudioEnv* env = nullptr;
    CSetup conditions;
    CArray<CAudioProcessPort*, 2> inputs;
    CArray<CAudioProcessPort*, 2> outputs;
    CStringMap<CAudioParam*> params;
    double clockSec = 0.0;
    char contextName[128] = {};
};

} // namespace kel
