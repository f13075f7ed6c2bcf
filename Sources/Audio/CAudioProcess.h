#pragma once

#include "Audio/CAudioProcessBase.h"

namespace kel
{

// A container process: it holds child processes, links them as its definition says, and runs
// them in an order in which each child's inputs are produced before it runs. Its input port 0
// feeds the children linked to it, and what the children give its output port 0 is passed on
// to its own subscribers, so the container is a process like any other to its owner.
//
// Owns its children and destroys them in reverse order of creation. [as the base]
class CAudioProcess : public CAudioProcessBase
{
public:
    // A link between children; index -1 stands for the container's own port.
    struct CLink
    {
        int srcIndex;
        int srcPort;
        int dstIndex;
        int dstPort;
    };

    CAudioProcess() = default;
    ~CAudioProcess() override;

    // Needs a container definition (CAudioProcessDef); builds the children and their links and
    // works out the order.
    [[nodiscard]] CError* init(const CBuild& build) override;
    void clear() override;
    void update(const CAudioParamCollector::CPacket* changes) override;
    void process() override;
    [[nodiscard]] CError* prepare() override;
    [[nodiscard]] CError* registerKernels(CDCDAWContext* context) override;
    [[nodiscard]] CError* setup(const CSetup& setupConditions) override;

    // Takes ownership of child; a name already in use fails and leaves child to the caller.
    [[nodiscard]] CError* addProcess(CAudioProcessBase* child);
    // Links output srcPort of child srcIndex to input dstPort of child dstIndex (-1: the
    // container's own input as source, or its own output as destination).
    [[nodiscard]] CError* addLink(const CLink& link);
    // Works out the run order from the links; a cycle keeps the order of the children and
    // logs "process seq err". False on a cycle.
    bool makeOrder();

    int getChildCount() const { return children.getCount(); }
    CAudioProcessBase* getChild(int index) const { return children[index]; }
    // A child by name, or a descendant by a dotted path of names ("modZumbelModule.modZumbel").
    CAudioProcessBase* findProcess(const CString& dottedPath) const;
    // Children in run order.
    const CArray<CAudioProcessBase*, 8>& getOrder() const { return order; }
    const CArray<CLink, 8>& getLinks() const { return links; }

private:
    int indexOfChild(const CString& childName) const;
    [[nodiscard]] CError* buildChildren(const CBuild& build);
    [[nodiscard]] CError* buildLinks();

    CArray<CAudioProcessBase*, 8> children;
    CArray<CAudioProcessBase*, 8> order;
    CArray<CLink, 8> links;
    // The container's output port as the children's destination: what arrives here is
    // forwarded to the subscribers of the output port.
    CAudioProcessPort* collectPort = nullptr;
};

} // namespace kel
