#include "Core/CThread.h"

#include "Core/Platform/CRunLoop.h"

namespace kel
{

CThread::~CThread()
{
    stopThread();
}

CError* CThread::runThread(bool isTimeCritical, bool hasRunLoop)
{
    if (handle.isStarted())
        return KEL_ERROR("@kelstr_CThread_runThread_AlreadyRunning Thread is already running.");
    isStopping.store(false, std::memory_order_release);
    if (hasRunLoop)
    {
        // Made here, so that other threads may post to it as soon as runThread returns; the
        // thread binds it to itself before it pumps.
        runLoop = new CRunLoop();
        if (const int error = runLoop->getInitError())
        {
            delete runLoop;
            runLoop = nullptr;
            return KEL_ERROR("@kelstr_CThread_runThread_createEvent Unable to create a thread "
                             "update event (error %1)",
                             error);
        }
    }
    if (const int error = handle.start(threadEntry, this, isTimeCritical))
    {
        delete runLoop;
        runLoop = nullptr;
        return KEL_ERROR("@kelstr_CThread_runThread_createThread Thread creation error %1", error);
    }
    return nullptr;
}

void CThread::stopThread()
{
    if (!handle.isStarted())
        return;
    isStopping.store(true, std::memory_order_release);
    updateEvent.signal();
    if (runLoop)
        runLoop->quit();
    (void)handle.join();
    delete runLoop;
    runLoop = nullptr;
}

void CThread::threadEntry(void* context)
{
    auto* thread = static_cast<CThread*>(context);
    if (thread->runLoop)
        thread->runLoop->bindToThisThread();
    thread->execute();
}

void CThread::execute()
{
    if (runLoop)
    {
        while (!isStopRequested())
            runLoop->run();
        return;
    }
    while (!isStopRequested())
        (void)waitForSignal(-1);
}

} // namespace kel
