#include "Audio/CAudioProcess.h"

#include "Audio/CAudioProcessDef.h"
#include "Audio/CAudioProcessLinkDef.h"
#include "Audio/CAudioProcessPort.h"
#include "Audio/CDCDAWContext.h"
#include "Core/CDebugChannel.h"

namespace kel
{

CAudioProcess::~CAudioProcess()
{
    for (int i = children.getCount() - 1; i >= 0; --i)
        delete children[i];
    delete collectPort;
}

CError* CAudioProcess::init(const CBuild& build)
{
    if (!dynamic_cast<const CAudioProcessDef*>(build.def))
        return KEL_ERROR("@kelstr_CAudioProcess_init_ProcessDefClassInvalid Audio process def of "
                         "invalid class supplied.");
    KEL_CHECK(CAudioProcessBase::init(build));
    collectPort = new CAudioProcessPort();
    KEL_CHECK(buildChildren(build));
    KEL_CHECK(buildLinks());
    makeOrder();
    return nullptr;
}

CError* CAudioProcess::buildChildren(const CBuild& build)
{
    for (int i = 0; i < def->getChildCount(); ++i)
    {
        const auto* childDef = dynamic_cast<const CAudioProcessDefBase*>(def->getChild(i));
        if (!childDef)
            continue;
        CAudioProcessBase* child = nullptr;
        KEL_CHECK(childDef->createProcess(child));
        CBuild childBuild;
        childBuild.collector = build.collector;
        childBuild.env = build.env;
        childBuild.def = childDef;
        childBuild.path = build.path;
        childBuild.path.append(".");
        childBuild.path.append(childDef->getName());
        childBuild.parent = &build;
        if (CError* error = child->init(childBuild))
        {
            delete child;
            return error;
        }
        if (CError* error = addProcess(child))
        {
            delete child;
            return error;
        }
    }
    return nullptr;
}

CError* CAudioProcess::buildLinks()
{
    // Explicit links first, so that the chain leaves the inputs they feed alone.
    for (int i = 0; i < def->getChildCount(); ++i)
    {
        const auto* linkDef = dynamic_cast<const CAudioProcessLinkDef*>(def->getChild(i));
        if (!linkDef)
            continue;
        const int src = indexOfChild(linkDef->getSrcName());
        const int dst = indexOfChild(linkDef->getDstName());
        if (src < 0)
            return KEL_ERROR("@kelstr_CAudioProcessLinkDef_init_SrcNameError Invalid process in "
                             "the 'src' attribute value '%1' specified.",
                             linkDef->getSrcName());
        if (dst < 0)
            return KEL_ERROR("@kelstr_CAudioProcessLinkDef_init_DstNameError Invalid process in "
                             "the 'dst' attribute value '%1' specified.",
                             linkDef->getDstName());
        KEL_CHECK(addLink(CLink{src, linkDef->getSrcPort(), dst, linkDef->getDstPort()}));
    }
    const auto* containerDef = static_cast<const CAudioProcessDef*>(def);
    if (!containerDef->isAutoLinks() || children.isEmpty())
        return nullptr;
    const int explicitCount = links.getCount();
    auto isFedExplicitly = [&](int dstIndex)
    {
        for (int i = 0; i < explicitCount; ++i)
        {
            if (links[i].dstIndex == dstIndex && links[i].dstPort == 0)
                return true;
        }
        return false;
    };
    if (!isFedExplicitly(0))
        KEL_CHECK(addLink(CLink{-1, 0, 0, 0}));
    for (int i = 1; i < children.getCount(); ++i)
    {
        if (!isFedExplicitly(i))
            KEL_CHECK(addLink(CLink{i - 1, 0, i, 0}));
    }
    KEL_CHECK(addLink(CLink{children.getCount() - 1, 0, -1, 0}));
    return nullptr;
}

CError* CAudioProcess::addProcess(CAudioProcessBase* child)
{
    if (!child)
        return nullptr;
    if (indexOfChild(child->getName()) >= 0)
        return KEL_ERROR("@kelstr_CAudioProcess_addProcess_DupeName Duplicate audio process name "
                         "'%1'.",
                         child->getName());
    children.add(child);
    return nullptr;
}

CError* CAudioProcess::addLink(const CLink& link)
{
    CAudioProcessPort* input =
        link.dstIndex < 0 ? collectPort : children[link.dstIndex]->getInputPort(link.dstPort);
    if (!input)
        return KEL_ERROR("@kelstr_CAudioProcessLinkDef_init_DstPortError Invalid port in the "
                         "'dst' attribute value '%1' specified.",
                         children[link.dstIndex]->getName());
    if (link.srcIndex < 0)
    {
        if (!getInputPort(link.srcPort))
            return KEL_ERROR("@kelstr_CAudioProcessLinkDef_init_SrcPortError Invalid port in the "
                             "'src' attribute value '%1' specified.",
                             getName());
        getInputPort(link.srcPort)->subscribe(input);
    }
    else if (!children[link.srcIndex]->getOutputPort(link.srcPort))
    {
        return KEL_ERROR("@kelstr_CAudioProcessLinkDef_init_SrcPortError Invalid port in the "
                         "'src' attribute value '%1' specified.",
                         children[link.srcIndex]->getName());
    }
    else
    {
        KEL_CHECK(children[link.srcIndex]->connect(link.srcPort, input));
    }
    links.add(link);
    return nullptr;
}

bool CAudioProcess::makeOrder()
{
    // Kahn's order over the links between children, taking the earliest ready child each time,
    // so that a chain keeps the order of the definition.
    const int count = children.getCount();
    CArray<int, 8> pending;
    for (int i = 0; i < count; ++i)
        pending.add(0);
    for (const CLink& link : links)
    {
        if (link.srcIndex >= 0 && link.dstIndex >= 0 && link.srcIndex != link.dstIndex)
            ++pending[link.dstIndex];
    }
    CArray<bool, 8> placed;
    for (int i = 0; i < count; ++i)
        placed.add(false);
    order.clear();
    while (order.getCount() < count)
    {
        int next = -1;
        for (int i = 0; i < count && next < 0; ++i)
        {
            if (!placed[i] && pending[i] == 0)
                next = i;
        }
        if (next < 0)
            break;
        placed[next] = true;
        order.add(children[next]);
        for (const CLink& link : links)
        {
            if (link.srcIndex == next && link.dstIndex >= 0 && link.dstIndex != next)
                --pending[link.dstIndex];
        }
    }
    if (order.getCount() == count)
        return true;
    KEL_LOG("process seq err");
    order.clear();
    for (CAudioProcessBase* child : children)
        order.add(child);
    return false;
}

int CAudioProcess::indexOfChild(const CString& childName) const
{
    for (int i = 0; i < children.getCount(); ++i)
    {
        if (children[i]->getName() == childName)
            return i;
    }
    return -1;
}

CAudioProcessBase* CAudioProcess::findProcess(const CString& dottedPath) const
{
    const int dot = dottedPath.find(CString("."));
    const CString head = dot < 0 ? dottedPath : dottedPath.substring(0, dot);
    const int index = indexOfChild(head);
    if (index < 0)
        return nullptr;
    if (dot < 0)
        return children[index];
    const auto* inner = dynamic_cast<const CAudioProcess*>(children[index]);
    return inner ? inner->findProcess(dottedPath.substring(dot + 1)) : nullptr;
}

void CAudioProcess::clear()
{
    CAudioProcessBase::clear();
    collectPort->clear();
    for (CAudioProcessBase* child : order)
        child->clear();
}

void CAudioProcess::update(const CAudioParamCollector::CPacket* changes)
{
    for (CAudioProcessBase* child : order)
        child->update(changes);
}

void CAudioProcess::process()
{
    const int frames = availableFrames();
    for (CAudioProcessPort* port : inputs)
        port->forward();
    for (CAudioProcessBase* child : order)
        child->process();
    // What the children gave goes out through the output port's subscribers.
    CAudioProcessPort::CPacket packet;
    for (int channel = 0; channel < collectPort->getChannelCount(); ++channel)
    {
        while (collectPort->pop(channel, packet))
        {
            outputs[0]->publish(channel, packet.handle, packet.frames);
            conditions.context->release(packet.handle);
        }
    }
    if (frames != CAudioProcessPort::kNothingQueued)
        advanceClock(frames);
}

CError* CAudioProcess::prepare()
{
    for (CAudioProcessBase* child : children)
        KEL_CHECK(child->prepare());
    return nullptr;
}

CError* CAudioProcess::registerKernels(CDCDAWContext* context)
{
    for (CAudioProcessBase* child : children)
        KEL_CHECK(child->registerKernels(context));
    return nullptr;
}

CError* CAudioProcess::setup(const CSetup& setupConditions)
{
    KEL_CHECK(CAudioProcessBase::setup(setupConditions));
    KEL_CHECK(collectPort->setup(setupConditions.context, setupConditions.channels));
    for (CAudioProcessBase* child : children)
        KEL_CHECK(child->setup(setupConditions));
    return nullptr;
}

} // namespace kel
