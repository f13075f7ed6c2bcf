#include "Core/CClassInfo.h"

namespace kel
{

int CClassInfo::findAttrHandler(const CString& attrName) const
{
    return handlerIndices.get(attrName, -1);
}

const CClassInfo::EventEntry* CClassInfo::findEventProc(const CString& eventName) const
{
    return eventProcs.find(eventName);
}

void CClassInfo::addAttrHandlerErased(const char* attrName, AttrHandler handler)
{
    const CString key(attrName);
    if (const int* index = handlerIndices.find(key))
    {
        // A derived class takes over the base's handler in the base's place.
        handlers[*index] = handler;
        return;
    }
    handlerIndices.set(key, handlers.getCount());
    handlers.add(handler);
}

} // namespace kel
