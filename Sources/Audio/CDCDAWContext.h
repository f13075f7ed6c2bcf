#pragma once

#include "Core/CCheckedObject.h"
#include "Core/CError.h"
#include "Core/Platform/CLock.h"

#include <cstddef>
#include <cstdint>

namespace kel
{

class CDCDAWContext;
struct CDCDAWCall;

// A kernel's entry point: a plain function taking one call record.
using CDCDAWKernelFunction = void (*)(CDCDAWCall* call);

// One row of the kernel table.
struct CDCDAWKernel
{
    static constexpr int kMaxNameLength = 64;

    char name[kMaxNameLength + 1];
    CDCDAWKernelFunction function;
    int bufferCount;      // 1 to 5
    unsigned accessFlags; // bit n set: the kernel writes buffer n
    int nextInBucket;     // next entry with the same hash, -1 ends
    int costFixed;
    int costPerFrame;
};

// One run of a kernel, as the kernel sees it. data[n] is buffer n at the handle's byte offset;
// scalars are free for kernels that need more than the constant.
struct CDCDAWCall
{
    static constexpr int kMaxBuffers = 5;

    const CDCDAWKernel* entry;
    CDCDAWContext* context;
    int frames;
    double constant;
    double scalars[4];
    uint32_t handles[kMaxBuffers];
    void* data[kMaxBuffers];
    int64_t cost; // costFixed + frames * costPerFrame, for deferred scheduling
    CDCDAWCall* next;

    double* doubles(int buffer) const { return static_cast<double*>(data[buffer]); }
};

// One row of a family's registration table.
struct CDCDAWKernelRow
{
    const char* name;
    CDCDAWKernelFunction function;
    int bufferCount;
    unsigned accessFlags;
    int costFixed;
    int costPerFrame;
};

// The kernel registry and buffer pool of one plug-in instance. All sample arithmetic of the
// engine goes through named kernels: a process looks a kernel's id up once by name and later
// runs it by id on pool buffers.
//
// Buffer handles. A handle is a 32-bit value: the low 12 bits are the index of a pool record,
// the upper 20 bits a byte offset into that record's buffer. For buffers of doubles, adding
// (frame << 15) to a handle addresses the same buffer at that frame (8 bytes per frame, shifted
// past the 12 index bits); atFrame() does this. Offsets reach 1 MiB, so a handle addresses the
// first 131072 doubles of a buffer. kInvalidHandle (all ones) is never a valid handle; acquire
// answers it on failure and release and addRef ignore it.
//
// CDCDAWContextObject owns the context. Registration, init and the destructor run on the thread
// that sets the instance up; acquire, addRef, release, run and the accessors belong to the
// audio thread and, once warmed up (buffers grown to their largest size, call records and pool
// records back on their free lists), neither allocate nor lock. A lock guards only the deferred
// queue, which is used when the worker count is not zero.
class CDCDAWContext : public CCheckedObject
{
public:
    static constexpr int kMaxKernels = 512;
    static constexpr int kBucketCount = 1024;
    static constexpr int kMaxPoolRecords = 4095; // index 0xFFF is reserved for kInvalidHandle
    static constexpr uint32_t kInvalidHandle = 0xFFFFFFFFu;
    static constexpr int kFrameShift = 15;
    static constexpr const char* kNamePrefix = "com.kelmont.dcdaw.";

    // Pool record flag: the record is under watch (see watch()).
    static constexpr uint32_t kFlagWatched = 32;

    // The kernels registered at creation, in registration order; the value is the index into
    // the standard id array, and, as nothing registers before them, also the kernel's id.
    enum StandardKernel : int
    {
        kCopy,
        kAddc,
        kAddcid,
        kAdd2,
        kAdd2i,
        kAdd3,
        kAdd4,
        kSub2,
        kMax2,
        kMax2i,
        kMax3,
        kMax4,
        kMin2,
        kMin3,
        kMin4,
        kMix,
        kMix2,
        kMixb,
        kMixbc,
        kAdd2mul,
        kAdd3mul,
        kMulc,
        kMulci,
        kMul2,
        kMul2i,
        kMul2addi,
        kAbs,
        kSqrt,
        kFill0,
        kFillc,
        kFilld,
        kXfadei,
        kXfade,
        kFltbiqi,
        kFltbiqu,
        kFltbiqcommon,
        kFltbiqcommong,
        kFltbiqlp,
        kFltbiqlpg,
        kFltbiqhp,
        kFltbiqhpg,
        kFltbiqbp,
        kFltbiqbpg,
        kFltbiqnotch,
        kFltbiqnotchg,
        kFltlphp1i,
        kFltlphp1u,
        kFltlp1a,
        kFltlp1ag,
        kFltlp1b,
        kFltlp1bg,
        kFltlp1c,
        kFltlp1cg,
        kFltlp1d,
        kFltlp1dg,
        kFlthp1a,
        kFlthp1ag,
        kFlthp1b,
        kFlthp1bg,
        kFlthp1c,
        kFlthp1cg,
        kFlthp1d,
        kFlthp1dg,
        kFlthbf2i, // then u, plain, g for each order 2, 4, ... 16 (see hbfId())
        kFltheqi = kFlthbf2i + 32,
        kFlthequ,
        kFltheq,
        kFltapf1_6i,
        kFltapf1_6u,
        kFltapf1_6,
        kFltapf1_6g,
        kStandardCount
    };

    CDCDAWContext();
    ~CDCDAWContext() override;
    CDCDAWContext(const CDCDAWContext&) = delete;
    CDCDAWContext& operator=(const CDCDAWContext&) = delete;

    // Allocates the first pool and call records and registers the standard kernels.
    [[nodiscard]] CError* init();

    // --- Kernel registry [set-up thread] ---

    // Answers the kernel's id; the same name with the same function, buffer count and access
    // flags answers the existing id. -1 if the table is full, bufferCount is not 1 to 5, the name
    // is empty or longer than 64 characters, or the name exists with other values.
    int registerKernel(const char* name, CDCDAWKernelFunction function, int bufferCount,
                       unsigned accessFlags, int costFixed, int costPerFrame);
    // Registers `count` rows in order and stores their ids; false if any failed.
    bool registerKernels(const CDCDAWKernelRow* rows, int count, int* ids);
    // [any thread; the table only grows at set-up] -1 if unknown.
    int findKernel(const char* name) const;
    // Looks up kNamePrefix + shortName.
    int findStandardName(const char* shortName) const;
    int standardId(StandardKernel kernel) const { return standardIds[kernel]; }
    // Half-band kernels: order 2 to 16 (even), variant 0 set-up, 1 update, 2 run, 3 run with gain.
    static StandardKernel hbfId(int order, int variant)
    {
        return static_cast<StandardKernel>(kFlthbf2i + (order / 2 - 1) * 4 + variant);
    }
    const CDCDAWKernel* getKernel(int id) const;
    int getKernelCount() const { return kernelCount; }

    // The bucket a name falls in: h = 5555, then h = h * 33 + byte (signed) per byte, 32-bit.
    static uint32_t hashName(const char* name);

    // --- Buffer pool [audio thread] ---

    // A buffer of at least `bytes` bytes with a reference count of 1, or kInvalidHandle if the
    // pool is exhausted or memory runs out. Contents are not cleared.
    uint32_t acquire(size_t bytes);
    void addRef(uint32_t handle);
    // At the last reference the record returns to the free list, keeping its capacity.
    void release(uint32_t handle);

    void* pointer(uint32_t handle) const;
    double* doubles(uint32_t handle) const { return static_cast<double*>(pointer(handle)); }
    // Bytes usable from the handle's offset on.
    size_t capacity(uint32_t handle) const;
    int refCount(uint32_t handle) const;

    static uint32_t atFrame(uint32_t handle, int frame)
    {
        return handle + (static_cast<uint32_t>(frame) << kFrameShift);
    }
    static int recordIndex(uint32_t handle) { return static_cast<int>(handle & 0xFFFu); }
    static uint32_t byteOffset(uint32_t handle) { return handle >> 12; }

    // Puts a held buffer under watch: when a kernel run drops its reference to it, both flags
    // are set to 1 and the watch ends. Lets an owner learn that deferred work on it is done.
    void watch(uint32_t handle, int* flagA, int* flagB);

    int getPoolRecordCount() const { return recordCount; }
    int getFreeRecordCount() const;

    // --- Running [audio thread] ---

    // Runs a kernel on `handleCount` buffers, which must equal its buffer count; answers false
    // (and does nothing) otherwise or for an unknown id. The run holds a reference on each
    // buffer for its duration, so the caller may release a handle right after.
    bool run(int kernelId, int frames, double constant, const uint32_t* handles, int handleCount,
             const double* scalars = nullptr, int scalarCount = 0);
    bool run(int kernelId, int frames, double constant, uint32_t h0)
    {
        return run(kernelId, frames, constant, &h0, 1);
    }
    bool run(int kernelId, int frames, double constant, uint32_t h0, uint32_t h1)
    {
        const uint32_t list[] = {h0, h1};
        return run(kernelId, frames, constant, list, 2);
    }
    bool run(int kernelId, int frames, double constant, uint32_t h0, uint32_t h1, uint32_t h2)
    {
        const uint32_t list[] = {h0, h1, h2};
        return run(kernelId, frames, constant, list, 3);
    }
    bool run(int kernelId, int frames, double constant, uint32_t h0, uint32_t h1, uint32_t h2,
             uint32_t h3)
    {
        const uint32_t list[] = {h0, h1, h2, h3};
        return run(kernelId, frames, constant, list, 4);
    }
    bool run(int kernelId, int frames, double constant, uint32_t h0, uint32_t h1, uint32_t h2,
             uint32_t h3, uint32_t h4)
    {
        const uint32_t list[] = {h0, h1, h2, h3, h4};
        return run(kernelId, frames, constant, list, 5);
    }

    // Deferred mode. With a worker count above zero, run() queues its call record (with its
    // cost) instead of calling the kernel; runDeferred() works the queue off in order and
    // answers the number of calls made. Zero in this product. [the context's thread; the queue
    // itself is under the context's lock]
    void setWorkerCount(int count) { workerCount = count; }
    int runDeferred();
    int64_t getQueuedCost();

private:
    struct PoolRecord
    {
        uint8_t* data;
        size_t capacity;
        int32_t refCount;
        uint32_t flags;
        int* watchFlags[2];
        int32_t nextFree; // -1 ends the free list
    };

    bool growPool();
    CDCDAWCall* takeCall();
    void finishCall(CDCDAWCall* call);
    void releaseFromRun(uint32_t handle);
    PoolRecord* record(uint32_t handle) const;

    CDCDAWKernel kernels[kMaxKernels];
    int kernelCount = 0;
    int buckets[kBucketCount];
    int standardIds[kStandardCount];

    PoolRecord* records = nullptr;
    int recordCount = 0; // records in use or free
    int recordCapacity = 0;
    int firstFreeRecord = -1;

    CDCDAWCall* freeCalls = nullptr;
    CDCDAWCall* queueHead = nullptr;
    CDCDAWCall* queueTail = nullptr;
    int workerCount = 0;
    CLock queueLock;
};

} // namespace kel
