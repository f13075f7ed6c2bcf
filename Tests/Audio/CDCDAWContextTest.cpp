#include "Audio/CDCDAWContext.h"
#include "Audio/CDCDAWContextObject.h"
#include "Audio/Filters/CDCDAWGeneratorKernels.h"
#include "Audio/Filters/CDCDAWArithmeticKernels.h"
#include "Core/CAllocator.h"
#include "Core/Platform/CLock.h"
#include "Core/Platform/CThisThread.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

using kel::CDCDAWCall;
using kel::CDCDAWContext;

namespace
{

void kernelNothing(CDCDAWCall*) {}
void kernelOther(CDCDAWCall*) {}

// Records what a kernel saw, for the tests of the run protocol.
struct Seen
{
    int calls = 0;
    int frames = 0;
    double constant = 0.0;
    int refCounts[2] = {};
    double scalar0 = 0.0;
    std::vector<int> order;
};
Seen seen;

void kernelObserve(CDCDAWCall* call)
{
    ++seen.calls;
    seen.frames = call->frames;
    seen.constant = call->constant;
    seen.scalar0 = call->scalars[0];
    for (int n = 0; n < call->entry->bufferCount && n < 2; ++n)
        seen.refCounts[n] = call->context->refCount(call->handles[n]);
    seen.order.push_back(static_cast<int>(call->constant));
}

// Drops the caller's references from inside the run, so that the run's own release is the
// last one and the order in which the records reach the free list becomes visible.
void kernelReleaseOwners(CDCDAWCall* call)
{
    for (int n = 0; n < call->entry->bufferCount; ++n)
        call->context->release(call->handles[n]);
}

uint32_t referenceHash(const char* name)
{
    int32_t h = 5555;
    for (const char* p = name; *p; ++p)
        h = static_cast<int32_t>(static_cast<uint32_t>(h) * 33u +
                                 static_cast<uint32_t>(static_cast<signed char>(*p)));
    return static_cast<uint32_t>(h) & 0x3FF;
}

class CDCDAWContextTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(context.init(), nullptr);
        seen = Seen();
    }
    CDCDAWContext context;
};

} // namespace

TEST(CDCDAWContextHash, MatchesTheByteWiseFormulaWithSignedBytes)
{
    EXPECT_EQ(CDCDAWContext::hashName(""), 5555u & 0x3FF);
    EXPECT_EQ(CDCDAWContext::hashName("a"), (5555u * 33 + 'a') & 0x3FF);
    // A byte above 127 counts as negative.
    EXPECT_EQ(CDCDAWContext::hashName("\xE9"), (5555u * 33 - 23) & 0x3FF);
    for (const char* name : {"com.kelmont.dcdaw.copy", "com.kelmont.dcdaw.fltapf1_6g", "x\xFF\x80y",
                             "a rather long name that wraps the 32-bit hash twice"})
        EXPECT_EQ(CDCDAWContext::hashName(name), referenceHash(name)) << name;
}

TEST_F(CDCDAWContextTest, RegistrationAnswersOldIdForSameValuesAndRefusesConflicts)
{
    const int id = context.registerKernel("test.a", kernelNothing, 2, 1, 10, 20);
    ASSERT_GE(id, CDCDAWContext::kStandardCount);
    // Costs are not part of the identity.
    EXPECT_EQ(context.registerKernel("test.a", kernelNothing, 2, 1, 99, 99), id);
    EXPECT_EQ(context.registerKernel("test.a", kernelOther, 2, 1, 10, 20), -1);
    EXPECT_EQ(context.registerKernel("test.a", kernelNothing, 3, 1, 10, 20), -1);
    EXPECT_EQ(context.registerKernel("test.a", kernelNothing, 2, 3, 10, 20), -1);
    EXPECT_EQ(context.findKernel("test.a"), id);
    EXPECT_EQ(context.getKernel(id)->costFixed, 10);

    EXPECT_EQ(context.registerKernel("test.six", kernelNothing, 6, 1, 0, 0), -1);
    EXPECT_EQ(context.registerKernel("test.zero", kernelNothing, 0, 1, 0, 0), -1);
    EXPECT_GE(context.registerKernel("test.five", kernelNothing, 5, 31, 0, 0), 0);
    EXPECT_EQ(context.registerKernel("", kernelNothing, 1, 1, 0, 0), -1);
    const std::string longest(64, 'n');
    const std::string tooLong(65, 'n');
    EXPECT_GE(context.registerKernel(longest.c_str(), kernelNothing, 1, 1, 0, 0), 0);
    EXPECT_EQ(context.registerKernel(tooLong.c_str(), kernelNothing, 1, 1, 0, 0), -1);
    EXPECT_EQ(context.findKernel("test.unknown"), -1);
}

TEST_F(CDCDAWContextTest, NamesSharingABucketAreAllFound)
{
    // Find a handful of names that fall into one bucket and register them.
    std::vector<std::string> colliding;
    const uint32_t target = CDCDAWContext::hashName("collide.0");
    for (int n = 0; colliding.size() < 4 && n < 200000; ++n)
    {
        const std::string name = "collide." + std::to_string(n);
        if (CDCDAWContext::hashName(name.c_str()) == target)
            colliding.push_back(name);
    }
    ASSERT_EQ(colliding.size(), 4u);
    std::vector<int> ids;
    for (const std::string& name : colliding)
        ids.push_back(context.registerKernel(name.c_str(), kernelNothing, 1, 1, 0, 0));
    for (size_t n = 0; n < colliding.size(); ++n)
    {
        EXPECT_GE(ids[n], 0);
        EXPECT_EQ(context.findKernel(colliding[n].c_str()), ids[n]);
    }
}

TEST_F(CDCDAWContextTest, TableRefusesTheEntryAfterFiveHundredTwelve)
{
    char name[32];
    int last = -1;
    for (int n = context.getKernelCount(); n < CDCDAWContext::kMaxKernels; ++n)
    {
        std::snprintf(name, sizeof(name), "fill.%d", n);
        last = context.registerKernel(name, kernelNothing, 1, 1, 0, 0);
        ASSERT_EQ(last, n);
    }
    EXPECT_EQ(last, CDCDAWContext::kMaxKernels - 1);
    EXPECT_EQ(context.registerKernel("fill.over", kernelNothing, 1, 1, 0, 0), -1);
    // An existing name with the same values still answers its id when the table is full.
    EXPECT_EQ(context.registerKernel(name, kernelNothing, 1, 1, 0, 0), last);
    EXPECT_EQ(context.findKernel("fill.200"), 200);
}

TEST_F(CDCDAWContextTest, StandardKernelsStandInTheirListedOrder)
{
    const char* const names[] = {
        "copy",          "addc",        "addcid",       "add2",       "add2i",     "add3",
        "add4",          "sub2",        "max2",         "max2i",      "max3",      "max4",
        "min2",          "min3",        "min4",         "mix",        "mix2",      "mixb",
        "mixbc",         "add2mul",     "add3mul",      "mulc",       "mulci",     "mul2",
        "mul2i",         "mul2addi",    "abs",          "sqrt",       "fill0",     "fillc",
        "filld",         "xfadei",      "xfade",        "fltbiqi",    "fltbiqu",   "fltbiqcommon",
        "fltbiqcommong", "fltbiqlp",    "fltbiqlpg",    "fltbiqhp",   "fltbiqhpg", "fltbiqbp",
        "fltbiqbpg",     "fltbiqnotch", "fltbiqnotchg", "fltlphp1i",  "fltlphp1u", "fltlp1a",
        "fltlp1ag",      "fltlp1b",     "fltlp1bg",     "fltlp1c",    "fltlp1cg",  "fltlp1d",
        "fltlp1dg",      "flthp1a",     "flthp1ag",     "flthp1b",    "flthp1bg",  "flthp1c",
        "flthp1cg",      "flthp1d",     "flthp1dg",     "flthbf2i",   "flthbf2u",  "flthbf2",
        "flthbf2g",      "flthbf4i",    "flthbf4u",     "flthbf4",    "flthbf4g",  "flthbf6i",
        "flthbf6u",      "flthbf6",     "flthbf6g",     "flthbf8i",   "flthbf8u",  "flthbf8",
        "flthbf8g",      "flthbf10i",   "flthbf10u",    "flthbf10",   "flthbf10g", "flthbf12i",
        "flthbf12u",     "flthbf12",    "flthbf12g",    "flthbf14i",  "flthbf14u", "flthbf14",
        "flthbf14g",     "flthbf16i",   "flthbf16u",    "flthbf16",   "flthbf16g", "fltheqi",
        "flthequ",       "fltheq",      "fltapf1_6i",   "fltapf1_6u", "fltapf1_6", "fltapf1_6g"};
    ASSERT_EQ(sizeof(names) / sizeof(names[0]), static_cast<size_t>(CDCDAWContext::kStandardCount));
    for (int n = 0; n < CDCDAWContext::kStandardCount; ++n)
    {
        EXPECT_EQ(context.findStandardName(names[n]), n) << names[n];
        EXPECT_EQ(context.standardId(static_cast<CDCDAWContext::StandardKernel>(n)), n);
    }
    EXPECT_EQ(context.getKernelCount(), CDCDAWContext::kStandardCount);
    EXPECT_EQ(CDCDAWContext::hbfId(10, 2), context.findStandardName("flthbf10"));
    EXPECT_EQ(CDCDAWContext::kFltheqi, context.findStandardName("fltheqi"));
}

TEST_F(CDCDAWContextTest, ProductKernelsCarryTheirRegistrationData)
{
    struct Expected
    {
        const char* name;
        int buffers;
        unsigned flags;
        int costFixed;
        int costPerFrame;
    };
    const Expected table[] = {
        {"mix", 3, 1, 200, 8},     {"xfadei", 1, 1, 2200, 0}, {"xfade", 4, 3, 200, 11},
        {"sinei", 1, 1, 0, 15},    {"sine", 2, 3, 0, 15},     {"fltnoisei", 1, 1, 0, 15},
        {"fltnoise", 2, 1, 0, 15}, {"denormn", 2, 3, 0, 15},  {"copy", 2, 1, 200, 4},
        {"mulc", 2, 1, 200, 5},    {"fill0", 1, 1, 200, 2},
    };
    ASSERT_TRUE(kel::CDCDAWGeneratorKernels::registerKernels(&context, nullptr));
    int ids[4];
    // A second registration by another module answers the same ids.
    ASSERT_TRUE(kel::CDCDAWGeneratorKernels::registerKernels(&context, ids));
    EXPECT_EQ(ids[0], context.findStandardName("sinei"));
    EXPECT_EQ(ids[3], context.findStandardName("fltnoise"));
    ASSERT_EQ(context.findStandardName("denormn"), -1);
    EXPECT_TRUE(context.registerKernel("com.kelmont.dcdaw.denormn", kernelNothing, 2, 3, 0, 15) >=
                0);
    for (const Expected& row : table)
    {
        const kel::CDCDAWKernel* entry = context.getKernel(context.findStandardName(row.name));
        ASSERT_NE(entry, nullptr) << row.name;
        EXPECT_EQ(entry->bufferCount, row.buffers) << row.name;
        EXPECT_EQ(entry->accessFlags, row.flags) << row.name;
        EXPECT_EQ(entry->costFixed, row.costFixed) << row.name;
        EXPECT_EQ(entry->costPerFrame, row.costPerFrame) << row.name;
    }
}

TEST_F(CDCDAWContextTest, HandleCarriesIndexAndByteOffsetAndStepsByFrames)
{
    const uint32_t handle = context.acquire(100 * sizeof(double));
    ASSERT_NE(handle, CDCDAWContext::kInvalidHandle);
    EXPECT_EQ(CDCDAWContext::byteOffset(handle), 0u);
    const uint32_t at37 = CDCDAWContext::atFrame(handle, 37);
    EXPECT_EQ(at37, handle + (37u << 15));
    EXPECT_EQ(CDCDAWContext::recordIndex(at37), CDCDAWContext::recordIndex(handle));
    EXPECT_EQ(CDCDAWContext::byteOffset(at37), 37u * sizeof(double));
    EXPECT_EQ(context.doubles(at37), context.doubles(handle) + 37);
    EXPECT_EQ(context.capacity(at37), context.capacity(handle) - 37 * sizeof(double));
    EXPECT_GE(context.capacity(handle), 100 * sizeof(double));

    // Reference counting goes through any view of the buffer.
    context.addRef(at37);
    EXPECT_EQ(context.refCount(handle), 2);
    context.release(handle);
    EXPECT_EQ(context.refCount(at37), 1);
    context.release(at37);
    EXPECT_EQ(context.refCount(handle), 0);

    // The invalid handle is inert.
    context.addRef(CDCDAWContext::kInvalidHandle);
    context.release(CDCDAWContext::kInvalidHandle);
    EXPECT_EQ(context.pointer(CDCDAWContext::kInvalidHandle), nullptr);
}

TEST_F(CDCDAWContextTest, PoolReusesRecordsKeepsCapacityAndGrowsTheRecordTable)
{
    const uint32_t big = context.acquire(10000);
    void* data = context.pointer(big);
    const size_t grown = context.capacity(big);
    context.release(big);
    // The released record comes back first, with its buffer and capacity untouched.
    const uint32_t small = context.acquire(8);
    EXPECT_EQ(small, big);
    EXPECT_EQ(context.pointer(small), data);
    EXPECT_EQ(context.capacity(small), grown);
    context.release(small);

    const int initialRecords = context.getPoolRecordCount();
    std::vector<uint32_t> held;
    for (int n = 0; n < initialRecords + 10; ++n)
        held.push_back(context.acquire(64));
    EXPECT_GT(context.getPoolRecordCount(), initialRecords);
    for (size_t n = 0; n < held.size(); ++n)
    {
        ASSERT_NE(held[n], CDCDAWContext::kInvalidHandle);
        for (size_t m = 0; m < n; ++m)
            ASSERT_NE(CDCDAWContext::recordIndex(held[n]), CDCDAWContext::recordIndex(held[m]));
    }
    for (uint32_t handle : held)
        context.release(handle);
    EXPECT_EQ(context.getFreeRecordCount(), context.getPoolRecordCount());
}

TEST_F(CDCDAWContextTest, PoolAnswersInvalidHandleWhenAllRecordsAreTaken)
{
    std::vector<uint32_t> held;
    for (;;)
    {
        const uint32_t handle = context.acquire(16);
        if (handle == CDCDAWContext::kInvalidHandle)
            break;
        held.push_back(handle);
        ASSERT_LE(held.size(), static_cast<size_t>(CDCDAWContext::kMaxPoolRecords));
    }
    EXPECT_EQ(held.size(), static_cast<size_t>(CDCDAWContext::kMaxPoolRecords));
    for (uint32_t handle : held)
        context.release(handle);
}

TEST_F(CDCDAWContextTest, RunHoldsAReferencePerBufferAndPassesTheCallData)
{
    const int id = context.registerKernel("test.observe", kernelObserve, 2, 1, 100, 3);
    const uint32_t a = context.acquire(64);
    const uint32_t b = context.acquire(64);
    const double scalars[] = {2.5};
    const uint32_t handles[] = {a, b};
    ASSERT_TRUE(context.run(id, 7, 0.25, handles, 2, scalars, 1));
    EXPECT_EQ(seen.calls, 1);
    EXPECT_EQ(seen.frames, 7);
    EXPECT_EQ(seen.constant, 0.25);
    EXPECT_EQ(seen.scalar0, 2.5);
    EXPECT_EQ(seen.refCounts[0], 2);
    EXPECT_EQ(seen.refCounts[1], 2);
    EXPECT_EQ(context.refCount(a), 1);
    EXPECT_EQ(context.refCount(b), 1);

    // Wrong buffer counts and unknown ids run nothing.
    EXPECT_FALSE(context.run(id, 7, 0.0, a));
    EXPECT_FALSE(context.run(9999, 7, 0.0, a, b));
    EXPECT_FALSE(context.run(-1, 7, 0.0, a, b));
    EXPECT_EQ(seen.calls, 1);
    context.release(a);
    context.release(b);
}

TEST_F(CDCDAWContextTest, RunReleasesBuffersFromLastToFirst)
{
    const int id = context.registerKernel("test.releaseOwners", kernelReleaseOwners, 2, 1, 0, 0);
    const uint32_t a = context.acquire(64);
    const uint32_t b = context.acquire(64);
    ASSERT_TRUE(context.run(id, 1, 0.0, a, b));
    EXPECT_EQ(context.refCount(a), 0);
    EXPECT_EQ(context.refCount(b), 0);
    // b went back first, a on top of it: a is handed out first.
    EXPECT_EQ(context.acquire(8), a);
    EXPECT_EQ(context.acquire(8), b);
    context.release(a);
    context.release(b);
}

TEST_F(CDCDAWContextTest, WatchedBufferSetsBothFlagsOnceWhenARunReleasesIt)
{
    const uint32_t out = context.acquire(64 * sizeof(double));
    int flagA = 0;
    int flagB = 0;
    context.watch(out, &flagA, &flagB);
    // A plain release is not the end of a kernel's work.
    context.addRef(out);
    context.release(out);
    EXPECT_EQ(flagA, 0);
    ASSERT_TRUE(context.run(context.standardId(CDCDAWContext::kFill0), 64, 0.0, out));
    EXPECT_EQ(flagA, 1);
    EXPECT_EQ(flagB, 1);
    flagA = flagB = 0;
    ASSERT_TRUE(context.run(context.standardId(CDCDAWContext::kFill0), 64, 0.0, out));
    EXPECT_EQ(flagA, 0);
    EXPECT_EQ(flagB, 0);
    context.release(out);
}

TEST_F(CDCDAWContextTest, WorkersQueueCallsInOrderWithTheirCostUntilDrained)
{
    const int id = context.registerKernel("test.observe", kernelObserve, 1, 1, 100, 3);
    const uint32_t a = context.acquire(64);
    context.setWorkerCount(1);
    ASSERT_TRUE(context.run(id, 10, 1.0, a));
    ASSERT_TRUE(context.run(id, 20, 2.0, a));
    EXPECT_EQ(seen.calls, 0);
    EXPECT_EQ(context.refCount(a), 3);
    EXPECT_EQ(context.getQueuedCost(), (100 + 10 * 3) + (100 + 20 * 3));
    EXPECT_EQ(context.runDeferred(), 2);
    EXPECT_EQ(seen.order, (std::vector<int>{1, 2}));
    EXPECT_EQ(context.refCount(a), 1);
    EXPECT_EQ(context.getQueuedCost(), 0);
    // A context destroyed with calls still queued drops their references without running them.
    {
        CDCDAWContext other;
        ASSERT_EQ(other.init(), nullptr);
        const int otherId = other.registerKernel("test.observe", kernelObserve, 1, 1, 0, 0);
        other.setWorkerCount(2);
        ASSERT_TRUE(other.run(otherId, 1, 3.0, other.acquire(8)));
    }
    EXPECT_EQ(seen.calls, 2);
    context.setWorkerCount(0);
    context.release(a);
}

TEST_F(CDCDAWContextTest, WarmedUpRunsNeitherAllocateNorLock)
{
    int gen[4];
    ASSERT_TRUE(kel::CDCDAWGeneratorKernels::registerKernels(&context, gen));
    const int copy = context.standardId(CDCDAWContext::kCopy);
    const int mix = context.standardId(CDCDAWContext::kMix);
    const int xfadei = context.standardId(CDCDAWContext::kXfadei);
    const int xfade = context.standardId(CDCDAWContext::kXfade);

    auto block = [&](int frames)
    {
        const uint32_t in = context.acquire(512 * sizeof(double));
        const uint32_t state = context.acquire(sizeof(kel::CDCDAWGeneratorKernels::SineState));
        auto* sine = static_cast<kel::CDCDAWGeneratorKernels::SineState*>(context.pointer(state));
        sine->freqHz = 440.0;
        sine->amplitude = 1.0;
        context.run(gen[0], 1, 48000.0, state);
        const uint32_t signal = context.acquire(512 * sizeof(double));
        context.run(gen[1], frames, 0.0, signal, state);
        const uint32_t fade = context.acquire(3 * sizeof(double));
        context.run(xfadei, 1440, 0.0, fade);
        const uint32_t mixed = context.acquire(512 * sizeof(double));
        context.run(copy, frames, 0.0, in, signal);
        context.run(mix, frames, 0.5, mixed, signal, in);
        const uint32_t out = context.acquire(512 * sizeof(double));
        context.run(xfade, frames, 0.0, out, fade, mixed, in);
        for (uint32_t handle : {out, mixed, fade, signal, state, in})
            context.release(handle);
    };
    for (int frames : {512, 7, 1})
        block(frames);

    kel::CAllocator::watchThread(kel::CThisThread::id());
    kel::CLock::watchThread(kel::CThisThread::id());
    for (int frames : {1, 7, 511, 512})
        block(frames);
    const uint64_t allocations = kel::CAllocator::watchedAllocations();
    const uint64_t locks = kel::CLock::watchedLocks();
    kel::CAllocator::watchThread(0);
    kel::CLock::watchThread(0);
    EXPECT_EQ(allocations, 0u);
    EXPECT_EQ(locks, 0u);
}

TEST(CDCDAWContextObject, DestructionReturnsEveryBlockOfContextPoolAndCallRecords)
{
    // The first object of a class makes its process-wide class info; that one stays.
    delete new kel::CDCDAWContextObject();
    const int64_t before = kel::CAllocator::liveBlocks();
    {
        auto* object = new kel::CDCDAWContextObject();
        ASSERT_EQ(object->init(), nullptr);
        CDCDAWContext* context = object->getContext();
        std::vector<uint32_t> held;
        for (int n = 0; n < 100; ++n)
            held.push_back(context->acquire(static_cast<size_t>(n) * 100));
        context->release(held[5]);
        context->setWorkerCount(1);
        ASSERT_TRUE(context->run(context->standardId(CDCDAWContext::kFill0), 1, 0.0, held[0]));
        delete object;
    }
    EXPECT_EQ(kel::CAllocator::liveBlocks(), before);
}

TEST(CDCDAWContextObject, InitCreatesOneContextWithTheStandardKernels)
{
    kel::CDCDAWContextObject object;
    EXPECT_EQ(object.getContext(), nullptr);
    ASSERT_EQ(object.init(), nullptr);
    CDCDAWContext* context = object.getContext();
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(context->findKernel("com.kelmont.dcdaw.xfade"), CDCDAWContext::kXfade);
    ASSERT_EQ(object.init(), nullptr);
    EXPECT_EQ(object.getContext(), context);
}
