#include "Core/CThreadContract.h"

#include "Core/CDebugChannel.h"
#include "Core/Platform/CThisThread.h"

namespace kel
{

namespace
{
void logMismatch(const char* contract, const char* where)
{
    KEL_LOG("%s called off the %s thread", where, contract);
}

std::atomic<CThreadContract::CMismatchHandler> mismatchHandler{&logMismatch};
std::atomic<int> mismatchCount{0};
} // namespace

CThreadContract::CMismatchHandler CThreadContract::setMismatchHandler(CMismatchHandler handler)
{
    return mismatchHandler.exchange(handler ? handler : &logMismatch);
}

int CThreadContract::getMismatchCount()
{
    return mismatchCount.load();
}

void CThreadContract::claimThread()
{
    uint64_t none = 0;
    owner.compare_exchange_strong(none, CThisThread::id(), std::memory_order_relaxed);
}

void CThreadContract::checkThread(const char* where) const
{
    const uint64_t holder = owner.load(std::memory_order_relaxed);
    if (holder == 0 || holder == CThisThread::id())
        return;
    mismatchCount.fetch_add(1);
    mismatchHandler.load()(name, where);
}

} // namespace kel
