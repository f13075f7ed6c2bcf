#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

namespace kel
{

// Channel buffers for one process call, each fenced by guard words. For a call of n frames the
// n data words end exactly where the trailing guard begins, so a plug-in that writes even one
// word too many, in any block size, hits a guard; the words just before the data are guards too.
// Guards and unwritten data hold a NaN bit pattern that no arithmetic produces.
// Owned by the CHostedPlugin that feeds the plug-in. [the host's processing thread]
template <typename T> class CGuardedChannels
{
public:
    static constexpr int kGuardWords = 16;

    // Keeps the buffers when they are already large enough.
    void reserve(int channelCount, int capacityFrames)
    {
        if (channelCount == channels && capacityFrames <= capacity)
            return;
        channels = channelCount;
        capacity = capacityFrames > capacity ? capacityFrames : capacity;
        storage.assign(channels, std::vector<T>(capacity + 2 * kGuardWords));
        pointers.assign(channels > 0 ? channels : 1, nullptr);
        dirty = true;
    }

    int getChannels() const { return channels; }
    int getCapacity() const { return capacity; }

    // Lays the channels out for a call of `callFrames` (at most the capacity) and fills the data
    // and the guards around it with the pattern. Answers the pointer array to hand to the
    // plug-in. Only a changed size or a damaged guard refills everything, so a call costs
    // its frames plus the guards, whatever the capacity.
    T** arm(int callFrames)
    {
        const bool full = dirty || callFrames != frames;
        frames = callFrames;
        dirty = false;
        for (int ch = 0; ch < channels; ++ch)
        {
            T* base = storage[ch].data();
            pointers[ch] = base + kGuardWords + (capacity - frames);
            T* from = full ? base : pointers[ch] - kGuardWords;
            T* to = full ? base + storage[ch].size() : pointers[ch] + frames + kGuardWords;
            for (T* p = from; p < to; ++p)
                std::memcpy(p, &kPattern, sizeof(T));
        }
        return pointers.data();
    }

    T* getData(int channel) const { return pointers[channel]; }
    T** getPointers() { return pointers.data(); }

    // First channel whose guard words (the ones just before and just after its data) were
    // changed, or -1.
    int findGuardDamage()
    {
        for (int ch = 0; ch < channels; ++ch)
        {
            const T* dataBegin = pointers[ch];
            const T* dataEnd = dataBegin + frames;
            for (int i = 0; i < kGuardWords; ++i)
                if (!isPattern(dataBegin[i - kGuardWords]) || !isPattern(dataEnd[i]))
                {
                    dirty = true;
                    return ch;
                }
        }
        return -1;
    }

    // First channel with a data word still holding the pattern (never written), or -1.
    int findUnwritten(int* frameIndex = nullptr) const
    {
        for (int ch = 0; ch < channels; ++ch)
            for (int i = 0; i < frames; ++i)
                if (isPattern(pointers[ch][i]))
                {
                    if (frameIndex)
                        *frameIndex = i;
                    return ch;
                }
        return -1;
    }

    static bool isPattern(const T& value) { return std::memcmp(&value, &kPattern, sizeof(T)) == 0; }

private:
    // Quiet NaNs with a payload: distinct from any NaN the plug-in's arithmetic could make.
    static T makePattern()
    {
        T value;
        if constexpr (sizeof(T) == 4)
        {
            const uint32_t bits = 0x7FC5A5A5u;
            std::memcpy(&value, &bits, sizeof(value));
        }
        else
        {
            const uint64_t bits = 0x7FF8A5A5A5A5A5A5ull;
            std::memcpy(&value, &bits, sizeof(value));
        }
        return value;
    }
    inline static const T kPattern = makePattern();

    std::vector<std::vector<T>> storage;
    std::vector<T*> pointers = std::vector<T*>(1, nullptr);
    int channels = 0;
    int capacity = 0;
    int frames = -1;
    bool dirty = true;
};

} // namespace kel
