#include "Core/Platform/CThisThread.h"

#include <pthread.h>

namespace kel
{

uint64_t CThisThread::id()
{
    static_assert(sizeof(pthread_t) <= sizeof(uint64_t), "thread ids must fit 64 bits");
    return static_cast<uint64_t>(pthread_self());
}

} // namespace kel
