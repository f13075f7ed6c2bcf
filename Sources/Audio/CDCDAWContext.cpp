#include "Audio/CDCDAWContext.h"

#include "Audio/Filters/CDCDAWArithmeticKernels.h"
#include "Audio/Filters/CDCDAWBiquadKernels.h"
#include "Audio/Filters/CDCDAWOnePoleKernels.h"
#include "Audio/Filters/CDCDAWHalfBandKernels.h"
#include "Audio/Filters/CDCDAWEqKernels.h"

#include <cstring>

namespace kel
{

static_assert(CDCDAWContext::kStandardCount == 102, "standard kernel list out of step");

namespace
{
constexpr int kInitialPoolRecords = 64;
// One call record is in flight per run; a few spare cover nested set-up without allocation.
constexpr int kInitialCallRecords = 4;
} // namespace

CDCDAWContext::CDCDAWContext()
{
    std::memset(kernels, 0, sizeof(kernels));
    for (int& bucket : buckets)
        bucket = -1;
    for (int& id : standardIds)
        id = -1;
}

CDCDAWContext::~CDCDAWContext()
{
    // Calls still queued never ran; their buffers were referenced for them, so drop those.
    while (CDCDAWCall* call = queueHead)
    {
        queueHead = call->next;
        for (int n = call->entry->bufferCount - 1; n >= 0; --n)
            release(call->handles[n]);
        CAllocator::free(call);
    }
    while (CDCDAWCall* call = freeCalls)
    {
        freeCalls = call->next;
        CAllocator::free(call);
    }
    for (int n = 0; n < recordCount; ++n)
        CAllocator::free(records[n].data);
    CAllocator::free(records);
}

CError* CDCDAWContext::init()
{
    if (!records && !growPool())
        return KEL_ERROR(
            "@kelstr_CDCDAWContext_init_OutOfMemory Out of memory for the buffer pool.");
    for (int n = 0; n < kInitialCallRecords; ++n)
    {
        auto* call = static_cast<CDCDAWCall*>(CAllocator::alloc(sizeof(CDCDAWCall)));
        if (!call)
            return KEL_ERROR(
                "@kelstr_CDCDAWContext_init_OutOfMemory Out of memory for the buffer pool.");
        call->next = freeCalls;
        freeCalls = call;
    }

    // The families register in the order of the standard list; each answers false if one of
    // its names could not be registered.
    bool ok = CDCDAWArithmeticKernels::registerKernels(this, standardIds + kCopy) &&
              CDCDAWBiquadKernels::registerKernels(this, standardIds + kFltbiqi) &&
              CDCDAWOnePoleKernels::registerKernels(this, standardIds + kFltlphp1i) &&
              CDCDAWHalfBandKernels::registerKernels(this, standardIds + kFlthbf2i) &&
              CDCDAWEqKernels::registerKernels(this, standardIds + kFltheqi);
    if (!ok)
        return KEL_ERROR("@kelstr_CDCDAWContext_init_RegisterFailed Could not register the "
                         "standard kernels.");
    return nullptr;
}

// --- Kernel registry ---

uint32_t CDCDAWContext::hashName(const char* name)
{
    uint32_t h = 5555;
    for (const char* p = name; *p; ++p)
        h = h * 33u + static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(*p)));
    return h & (kBucketCount - 1);
}

int CDCDAWContext::findKernel(const char* name) const
{
    if (!name)
        return -1;
    for (int id = buckets[hashName(name)]; id >= 0; id = kernels[id].nextInBucket)
    {
        if (std::strcmp(kernels[id].name, name) == 0)
            return id;
    }
    return -1;
}

int CDCDAWContext::findStandardName(const char* shortName) const
{
    char full[CDCDAWKernel::kMaxNameLength + 1];
    const size_t prefixLength = std::strlen(kNamePrefix);
    const size_t shortLength = shortName ? std::strlen(shortName) : 0;
    if (prefixLength + shortLength > CDCDAWKernel::kMaxNameLength)
        return -1;
    std::memcpy(full, kNamePrefix, prefixLength);
    std::memcpy(full + prefixLength, shortName, shortLength);
    full[prefixLength + shortLength] = 0;
    return findKernel(full);
}

int CDCDAWContext::registerKernel(const char* name, CDCDAWKernelFunction function, int bufferCount,
                                  unsigned accessFlags, int costFixed, int costPerFrame)
{
    if (!name || !function || bufferCount < 1 || bufferCount > CDCDAWCall::kMaxBuffers)
        return -1;
    const size_t length = std::strlen(name);
    if (length == 0 || length > CDCDAWKernel::kMaxNameLength)
        return -1;
    const int existing = findKernel(name);
    if (existing >= 0)
    {
        const CDCDAWKernel& entry = kernels[existing];
        // Two classes may register the same kernel; they must agree on what it is.
        if (entry.function == function && entry.bufferCount == bufferCount &&
            entry.accessFlags == accessFlags)
            return existing;
        return -1;
    }
    if (kernelCount >= kMaxKernels)
        return -1;

    const int id = kernelCount++;
    CDCDAWKernel& entry = kernels[id];
    std::memcpy(entry.name, name, length + 1);
    entry.function = function;
    entry.bufferCount = bufferCount;
    entry.accessFlags = accessFlags;
    entry.costFixed = costFixed;
    entry.costPerFrame = costPerFrame;
    const uint32_t bucket = hashName(name);
    entry.nextInBucket = buckets[bucket];
    buckets[bucket] = id;
    return id;
}

bool CDCDAWContext::registerKernels(const CDCDAWKernelRow* rows, int count, int* ids)
{
    bool ok = true;
    for (int n = 0; n < count; ++n)
    {
        const CDCDAWKernelRow& row = rows[n];
        const int id = registerKernel(row.name, row.function, row.bufferCount, row.accessFlags,
                                      row.costFixed, row.costPerFrame);
        if (ids)
            ids[n] = id;
        ok = ok && id >= 0;
    }
    return ok;
}

const CDCDAWKernel* CDCDAWContext::getKernel(int id) const
{
    if (id < 0 || id >= kernelCount)
        return nullptr;
    return &kernels[id];
}

// --- Buffer pool ---

bool CDCDAWContext::growPool()
{
    if (recordCapacity >= kMaxPoolRecords)
        return false;
    int newCapacity = recordCapacity ? recordCapacity * 2 : kInitialPoolRecords;
    if (newCapacity > kMaxPoolRecords)
        newCapacity = kMaxPoolRecords;
    auto* grown = static_cast<PoolRecord*>(
        CAllocator::realloc(records, static_cast<size_t>(newCapacity) * sizeof(PoolRecord)));
    if (!grown)
        return false;
    records = grown;
    // New records join the free list in index order, lowest first.
    for (int n = newCapacity - 1; n >= recordCapacity; --n)
    {
        PoolRecord& fresh = records[n];
        fresh.data = nullptr;
        fresh.capacity = 0;
        fresh.refCount = 0;
        fresh.flags = 0;
        fresh.watchFlags[0] = fresh.watchFlags[1] = nullptr;
        fresh.nextFree = firstFreeRecord;
        firstFreeRecord = n;
    }
    recordCount = newCapacity;
    recordCapacity = newCapacity;
    return true;
}

CDCDAWContext::PoolRecord* CDCDAWContext::record(uint32_t handle) const
{
    const int index = recordIndex(handle);
    if (handle == kInvalidHandle || index >= recordCount)
        return nullptr;
    return &records[index];
}

uint32_t CDCDAWContext::acquire(size_t bytes)
{
    if (firstFreeRecord < 0 && !growPool())
        return kInvalidHandle;
    const int index = firstFreeRecord;
    PoolRecord& rec = records[index];
    if (rec.capacity < bytes)
    {
        // Rounded up so that blocks of slightly different lengths settle on one size.
        const size_t rounded = (bytes + 255) & ~static_cast<size_t>(255);
        void* grown = CAllocator::realloc(rec.data, rounded);
        if (!grown)
            return kInvalidHandle;
        rec.data = static_cast<uint8_t*>(grown);
        rec.capacity = rounded;
    }
    firstFreeRecord = rec.nextFree;
    rec.nextFree = -1;
    rec.refCount = 1;
    rec.flags = 0;
    rec.watchFlags[0] = rec.watchFlags[1] = nullptr;
    return static_cast<uint32_t>(index);
}

void CDCDAWContext::addRef(uint32_t handle)
{
    // A record on the free list has no owner to share; taking it back would corrupt the list.
    PoolRecord* rec = record(handle);
    if (rec && rec->refCount > 0)
        ++rec->refCount;
}

void CDCDAWContext::release(uint32_t handle)
{
    PoolRecord* rec = record(handle);
    if (!rec || rec->refCount <= 0)
        return;
    if (--rec->refCount == 0)
    {
        rec->flags = 0;
        rec->nextFree = firstFreeRecord;
        firstFreeRecord = recordIndex(handle);
    }
}

void CDCDAWContext::releaseFromRun(uint32_t handle)
{
    PoolRecord* rec = record(handle);
    if (!rec)
        return;
    if (rec->flags & kFlagWatched)
    {
        if (rec->watchFlags[0])
            *rec->watchFlags[0] = 1;
        if (rec->watchFlags[1])
            *rec->watchFlags[1] = 1;
        rec->watchFlags[0] = rec->watchFlags[1] = nullptr;
        rec->flags &= ~kFlagWatched;
    }
    release(handle);
}

void CDCDAWContext::watch(uint32_t handle, int* flagA, int* flagB)
{
    if (PoolRecord* rec = record(handle))
    {
        rec->flags |= kFlagWatched;
        rec->watchFlags[0] = flagA;
        rec->watchFlags[1] = flagB;
    }
}

void* CDCDAWContext::pointer(uint32_t handle) const
{
    PoolRecord* rec = record(handle);
    if (!rec || !rec->data)
        return nullptr;
    return rec->data + byteOffset(handle);
}

size_t CDCDAWContext::capacity(uint32_t handle) const
{
    PoolRecord* rec = record(handle);
    if (!rec || rec->capacity < byteOffset(handle))
        return 0;
    return rec->capacity - byteOffset(handle);
}

int CDCDAWContext::refCount(uint32_t handle) const
{
    PoolRecord* rec = record(handle);
    return rec ? rec->refCount : 0;
}

int CDCDAWContext::getFreeRecordCount() const
{
    int count = 0;
    for (int n = firstFreeRecord; n >= 0; n = records[n].nextFree)
        ++count;
    return count;
}

// --- Running ---

CDCDAWCall* CDCDAWContext::takeCall()
{
    CDCDAWCall* call = freeCalls;
    if (call)
    {
        freeCalls = call->next;
        return call;
    }
    // Only before warm-up, or while deferred calls pile up in the queue.
    return static_cast<CDCDAWCall*>(CAllocator::alloc(sizeof(CDCDAWCall)));
}

void CDCDAWContext::finishCall(CDCDAWCall* call)
{
    for (int n = call->entry->bufferCount - 1; n >= 0; --n)
        releaseFromRun(call->handles[n]);
    call->next = freeCalls;
    freeCalls = call;
}

bool CDCDAWContext::run(int kernelId, int frames, double constant, const uint32_t* handles,
                        int handleCount, const double* scalars, int scalarCount)
{
    const CDCDAWKernel* entry = getKernel(kernelId);
    if (!entry || handleCount != entry->bufferCount || frames < 0)
        return false;
    CDCDAWCall* call = takeCall();
    if (!call)
        return false;
    call->entry = entry;
    call->context = this;
    call->frames = frames;
    call->constant = constant;
    for (int n = 0; n < 4; ++n)
        call->scalars[n] = (scalars && n < scalarCount) ? scalars[n] : 0.0;
    for (int n = 0; n < CDCDAWCall::kMaxBuffers; ++n)
    {
        if (n < handleCount)
        {
            call->handles[n] = handles[n];
            call->data[n] = pointer(handles[n]);
            addRef(handles[n]);
        }
        else
        {
            call->handles[n] = kInvalidHandle;
            call->data[n] = nullptr;
        }
    }
    call->cost = static_cast<int64_t>(frames) * entry->costPerFrame + entry->costFixed;
    call->next = nullptr;

    if (workerCount == 0)
    {
        entry->function(call);
        finishCall(call);
        return true;
    }

    CLockGuard guard(queueLock);
    if (queueTail)
        queueTail->next = call;
    else
        queueHead = call;
    queueTail = call;
    return true;
}

int CDCDAWContext::runDeferred()
{
    int done = 0;
    for (;;)
    {
        CDCDAWCall* call;
        {
            CLockGuard guard(queueLock);
            call = queueHead;
            if (!call)
                break;
            queueHead = call->next;
            if (!queueHead)
                queueTail = nullptr;
        }
        call->entry->function(call);
        finishCall(call);
        ++done;
    }
    return done;
}

int64_t CDCDAWContext::getQueuedCost()
{
    CLockGuard guard(queueLock);
    int64_t total = 0;
    for (CDCDAWCall* call = queueHead; call; call = call->next)
        total += call->cost;
    return total;
}

} // namespace kel
