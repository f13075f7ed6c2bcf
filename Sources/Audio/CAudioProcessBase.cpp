#include "Audio/CAudioProcessBase.h"

#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamContext.h"
#include "Audio/CAudioParamDef.h"
#include "Audio/CAudioParamRemapDef.h"
#include "Audio/CAudioProcessDefBase.h"
#include "Audio/CAudioProcessPort.h"

namespace kel
{

CString CAudioProcessBase::CBuild::resolveParamName(const CString& leaf) const
{
    CString fullName = path;
    fullName.append(".");
    fullName.append(leaf);
    for (const CBuild* level = this; level; level = level->parent)
    {
        if (!level->def)
            continue;
        for (int i = 0; i < level->def->getChildCount(); ++i)
        {
            const auto* remap = dynamic_cast<const CAudioParamRemapDef*>(level->def->getChild(i));
            if (!remap)
                continue;
            CString original = level->path;
            original.append(".");
            original.append(remap->getOrigName());
            if (original == fullName)
            {
                fullName = remap->resolveNewName(level->path);
                break;
            }
        }
    }
    return fullName;
}

CAudioProcessBase::~CAudioProcessBase()
{
    for (CAudioProcessPort* port : inputs)
        delete port;
    for (CAudioProcessPort* port : outputs)
        delete port;
}

const char* CAudioProcessBase::kelErrorContextName() const
{
    return contextName;
}

CError* CAudioProcessBase::init(const CBuild& build)
{
    def = build.def;
    collector = build.collector;
    env = build.env;
    path = build.path;
    path.toUtf8(contextName, static_cast<int>(sizeof(contextName)));
    contextName[sizeof(contextName) - 1] = 0;
    name = def ? def->getName() : CString();
    int inputCount = 1;
    int outputCount = 1;
    portCounts(inputCount, outputCount);
    KEL_CHECK(makePorts(inputCount, outputCount));
    if (!def || !collector)
        return nullptr;

    // A process's own parameters are bound before those of the processes inside it, so that a
    // remapped inner parameter keeps the outer definition.
    CAudioParamContext context;
    for (int i = 0; i < def->getChildCount(); ++i)
    {
        const auto* paramDef = dynamic_cast<const CAudioParamDef*>(def->getChild(i));
        if (!paramDef)
            continue;
        CAudioParam* param = collector->getParam(build.resolveParamName(paramDef->getName()));
        if (!param)
            return KEL_ERROR("@kelstr_CAudioProcessBase_init_NoMemory Out of memory.");
        param->bind(*paramDef, context);
        {
            CAudioParam::CGuard guard(*param);
            collector->noteElementSize(*param, param->getInfo(guard).getElementSize());
        }
        params.set(paramDef->getName(), param);
    }
    return nullptr;
}

CError* CAudioProcessBase::makePorts(int inputCount, int outputCount)
{
    for (int i = 0; i < inputCount; ++i)
        inputs.add(new CAudioProcessPort());
    for (int i = 0; i < outputCount; ++i)
        outputs.add(new CAudioProcessPort());
    return nullptr;
}

void CAudioProcessBase::clear()
{
    for (CAudioProcessPort* port : inputs)
        port->clear();
    for (CAudioProcessPort* port : outputs)
        port->clear();
}

void CAudioProcessBase::update(const CAudioParamCollector::CPacket*) {}

void CAudioProcessBase::process() {}

CError* CAudioProcessBase::connect(int port, CAudioProcessPort* input)
{
    CAudioProcessPort* source = getOutputPort(port);
    if (!source || !input)
        return KEL_ERROR("@kelstr_CAudioProcessBase_connect_InvalidPort Invalid port %1 of audio "
                         "process '%2'.",
                         port, path);
    source->subscribe(input);
    return nullptr;
}

CError* CAudioProcessBase::setup(const CSetup& setupConditions)
{
    conditions = setupConditions;
    clockSec = 0.0;
    for (CAudioProcessPort* port : inputs)
        KEL_CHECK(port->setup(conditions.context, conditions.channels));
    for (CAudioProcessPort* port : outputs)
        KEL_CHECK(port->setup(conditions.context, conditions.channels));
    return nullptr;
}

CAudioProcessPort* CAudioProcessBase::getInputPort(int port) const
{
    return port >= 0 && port < inputs.getCount() ? inputs[port] : nullptr;
}

CAudioProcessPort* CAudioProcessBase::getOutputPort(int port) const
{
    return port >= 0 && port < outputs.getCount() ? outputs[port] : nullptr;
}

CAudioParam* CAudioProcessBase::findParam(const CString& leaf) const
{
    return params.get(leaf, nullptr);
}

int CAudioProcessBase::availableFrames() const
{
    int frames = CAudioProcessPort::kNothingQueued;
    for (const CAudioProcessPort* port : inputs)
    {
        if (!port->isConnected())
            continue;
        const int queued = port->getAvailableFrames();
        if (queued < frames)
            frames = queued;
    }
    return frames;
}

void CAudioProcessBase::advanceClock(int frames)
{
    if (conditions.sampleRateHz > 0.0)
        clockSec += frames / conditions.sampleRateHz;
}

} // namespace kel
