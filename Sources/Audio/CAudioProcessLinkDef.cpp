#include "Audio/CAudioProcessLinkDef.h"

#include "Audio/CAudioProcessDefBase.h"

namespace kel
{

void CAudioProcessLinkDef::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

bool CAudioProcessLinkDef::parseEnd(const CString& text, CString& name, int& port, bool& portOk)
{
    const int slash = text.find(CString("/"));
    port = 0;
    portOk = true;
    if (slash < 0)
    {
        name = text;
        return !name.isEmpty();
    }
    name = text.substring(0, slash);
    int32_t number = 0;
    portOk = text.substring(slash + 1).parseInt(number) && number >= 0;
    port = portOk ? number : 0;
    return !name.isEmpty();
}

bool CAudioProcessLinkDef::hasSiblingProcess(const CString& processName) const
{
    const CObject* owner = getParent();
    if (!owner)
        return false;
    for (int i = 0; i < owner->getChildCount(); ++i)
    {
        const CObject* sibling = owner->getChild(i);
        if (sibling->getName() == processName && dynamic_cast<const CAudioProcessDefBase*>(sibling))
            return true;
    }
    return false;
}

CError* CAudioProcessLinkDef::checkEnd(const char* attrName, CString& endName, int& port)
{
    const bool isSrc = attrName[0] == 's';
    const CString text = getAttrString(attrName, CString());
    if (text.isEmpty())
        return isSrc ? KEL_ERROR("@kelstr_CAudioProcessLinkDef_init_NoSrc No 'src' attribute "
                                 "defined.")
                     : KEL_ERROR("@kelstr_CAudioProcessLinkDef_init_NoDst No 'dst' attribute "
                                 "defined.");
    bool portOk = true;
    if (!parseEnd(text, endName, port, portOk) || !hasSiblingProcess(endName))
        return isSrc ? KEL_ERROR("@kelstr_CAudioProcessLinkDef_init_SrcNameError Invalid process "
                                 "in the 'src' attribute value '%1' specified.",
                                 text)
                     : KEL_ERROR("@kelstr_CAudioProcessLinkDef_init_DstNameError Invalid process "
                                 "in the 'dst' attribute value '%1' specified.",
                                 text);
    if (!portOk)
        return isSrc ? KEL_ERROR("@kelstr_CAudioProcessLinkDef_init_SrcPortError Invalid port in "
                                 "the 'src' attribute value '%1' specified.",
                                 text)
                     : KEL_ERROR("@kelstr_CAudioProcessLinkDef_init_DstPortError Invalid port in "
                                 "the 'dst' attribute value '%1' specified.",
                                 text);
    return nullptr;
}

CError* CAudioProcessLinkDef::init()
{
    KEL_CHECK(CObject::init());
    KEL_CHECK(checkEnd("src", srcName, srcPort));
    KEL_CHECK(checkEnd("dst", dstName, dstPort));
    // Switchable link states are not part of this framework's graphs yet: any named state is
    // one that does not exist.
    for (const char* attrName : {"state-id", "bypass-state-id"})
    {
        const CString stateId = getAttrString(attrName, CString());
        if (!stateId.isEmpty())
            return KEL_ERROR("@kelstr_CAudioProcessLinkDef_init_StateError Invalid state "
                             "identifier '%1' specified.",
                             stateId);
    }
    return nullptr;
}

} // namespace kel
