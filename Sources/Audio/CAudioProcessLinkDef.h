#pragma once

#include "Core/CObject.h"

namespace kel
{

// A link inside a container definition (tag audio:process-link): from output port `src` of one
// child to input port `dst` of another. A value is a process name, and after a '/' a port
// number ("modBypass/1"); without one the port is 0. Both names must be processes declared
// before the link in the same container. `state-id` and `bypass-state-id` name switchable
// states; this product's links have none. [set-up thread; read-only afterwards]
class CAudioProcessLinkDef : public CObject
{
public:
    CAudioProcessLinkDef() = default;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* init() override;

    const CString& getSrcName() const { return srcName; }
    int getSrcPort() const { return srcPort; }
    const CString& getDstName() const { return dstName; }
    int getDstPort() const { return dstPort; }

    // Splits "name/port"; false for an empty name or a port that is not a number of 0 or more.
    static bool parseEnd(const CString& text, CString& name, int& port, bool& portOk);

private:
    [[nodiscard]] CError* checkEnd(const char* attrName, CString& endName, int& port);
    bool hasSiblingProcess(const CString& processName) const;

    CString srcName;
    int srcPort = 0;
    CString dstName;
    int dstPort = 0;
};

} // namespace kel
