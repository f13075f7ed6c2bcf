#include "Core/CObjectEventBridgeHandler.h"

#include "Core/CUIEventBridge.h"
#include "Core/Platform/CRunLoop.h"
#include "Core/Platform/CThisThread.h"

namespace kel
{

CObjectEventBridgeHandler::~CObjectEventBridgeHandler()
{
    // Every listener below has left the notify server by now (destroyObject detaches children
    // first), so no sender still holds the carrier.
    delete carrier;
}

void CObjectEventBridgeHandler::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CObjectEventBridgeHandler::init()
{
    KEL_CHECK(CObject::init());
    if (carrier)
        return nullptr;
    CRunLoop* loop = CRunLoop::forThisThread();
    if (!loop)
        return KEL_ERROR("@kelstr_CObjectEventBridgeHandler_init_NoRunLoop Unable to create the "
                         "event loop of this thread.");
    carrier = new CUIEventBridge(this, loop);
    setEventBridge(CThisThread::id(), carrier);
    return nullptr;
}

} // namespace kel
