#include "UI/Windows/CWindowSharedData.h"

namespace kel
{

void CWindowSharedData::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

void CWindowSharedData::detachLinks()
{
    display = nullptr;
    windows.clear();
    CObject::detachLinks();
}

void CWindowSharedData::addWindow(CWindow* window)
{
    if (!windows.contains(window))
        windows.add(window);
}

void CWindowSharedData::removeWindow(CWindow* window)
{
    const int index = windows.indexOf(window);
    if (index >= 0)
        windows.removeAt(index);
}

} // namespace kel
