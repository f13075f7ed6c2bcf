#pragma once

#include "Audio/CDCDAWContext.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

// A context with its standard kernels, and pool buffers fenced by guard words: each buffer is
// taken with kGuardFrames spare doubles on either side and handed out at an offset, so the
// handle arithmetic is exercised too. TearDown fails the test if a kernel wrote past either end.
class CDCDAWKernelFixture : public ::testing::Test
{
protected:
    static constexpr int kGuardFrames = 4;
    static constexpr uint64_t kGuardWord = 0xDEADBEEFCAFEF00Dull;

    void SetUp() override { ASSERT_EQ(context.init(), nullptr); }

    void TearDown() override
    {
        for (const Fenced& fenced : buffers)
        {
            auto* base = reinterpret_cast<const uint64_t*>(context.pointer(fenced.base));
            for (int n = 0; n < kGuardFrames; ++n)
            {
                EXPECT_EQ(base[n], kGuardWord) << "underrun of a buffer of " << fenced.frames;
                EXPECT_EQ(base[kGuardFrames + fenced.frames + n], kGuardWord)
                    << "overrun of a buffer of " << fenced.frames;
            }
            context.release(fenced.base);
        }
    }

    // A buffer of `frames` doubles (or bytes rounded up to doubles), zero-filled.
    uint32_t buffer(int frames)
    {
        const uint32_t base =
            context.acquire(static_cast<size_t>(frames + 2 * kGuardFrames) * sizeof(double));
        EXPECT_NE(base, kel::CDCDAWContext::kInvalidHandle);
        auto* words = reinterpret_cast<uint64_t*>(context.pointer(base));
        for (int n = 0; n < kGuardFrames; ++n)
            words[n] = words[kGuardFrames + frames + n] = kGuardWord;
        const uint32_t handle = kel::CDCDAWContext::atFrame(base, kGuardFrames);
        std::memset(context.pointer(handle), 0, static_cast<size_t>(frames) * sizeof(double));
        buffers.push_back({base, frames});
        return handle;
    }
    uint32_t stateBuffer(size_t bytes)
    {
        return buffer(static_cast<int>((bytes + sizeof(double) - 1) / sizeof(double)));
    }
    uint32_t filled(const std::vector<double>& values)
    {
        const uint32_t handle = buffer(static_cast<int>(values.size()));
        std::memcpy(context.pointer(handle), values.data(), values.size() * sizeof(double));
        return handle;
    }
    std::vector<double> read(uint32_t handle, int frames)
    {
        const double* data = context.doubles(handle);
        return std::vector<double>(data, data + frames);
    }
    template <typename T> T* state(uint32_t handle)
    {
        return static_cast<T*>(context.pointer(handle));
    }
    int id(const char* shortName)
    {
        const int found = context.findStandardName(shortName);
        EXPECT_GE(found, 0) << shortName;
        return found;
    }

    kel::CDCDAWContext context;

private:
    struct Fenced
    {
        uint32_t base;
        int frames;
    };
    std::vector<Fenced> buffers;
};
