#include "CSoundFile.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>

namespace kel
{

namespace
{
// Files move through in chunks, so a long file never needs a second interleaved copy of itself.
constexpr sf_count_t kChunkFrames = 65536;
} // namespace

CError* CSoundFile::read(const char* path, std::vector<std::vector<float>>& channels,
                         double& rateHz)
{
    SF_INFO info = {};
    SNDFILE* file = sf_open(path, SFM_READ, &info);
    if (!file)
        return KEL_ERROR("@kelstr_CSoundFile_read_Open Cannot read '%1': %2", path,
                         sf_strerror(nullptr));
    if (info.channels <= 0 || info.samplerate <= 0)
    {
        sf_close(file);
        return KEL_ERROR("@kelstr_CSoundFile_read_Format '%1' holds no audio.", path);
    }
    rateHz = info.samplerate;
    channels.assign(info.channels, std::vector<float>());
    for (auto& channel : channels)
        channel.reserve(static_cast<size_t>(info.frames));
    std::vector<float> chunk(static_cast<size_t>(kChunkFrames * info.channels));
    for (;;)
    {
        const sf_count_t got = sf_readf_float(file, chunk.data(), kChunkFrames);
        if (got <= 0)
            break;
        for (sf_count_t i = 0; i < got; ++i)
            for (int ch = 0; ch < info.channels; ++ch)
                channels[ch].push_back(chunk[i * info.channels + ch]);
    }
    sf_close(file);
    return nullptr;
}

CError* CSoundFile::write(const char* path, const std::vector<std::vector<float>>& channels,
                          double rateHz)
{
    if (channels.empty())
        return KEL_ERROR("@kelstr_CSoundFile_write_Empty Nothing to write to '%1'.", path);
    SF_INFO info = {};
    info.channels = static_cast<int>(channels.size());
    info.samplerate = static_cast<int>(std::lround(rateHz));
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(path, SFM_WRITE, &info);
    if (!file)
        return KEL_ERROR("@kelstr_CSoundFile_write_Open Cannot write '%1': %2", path,
                         sf_strerror(nullptr));
    const sf_count_t frames = static_cast<sf_count_t>(channels[0].size());
    std::vector<float> chunk(static_cast<size_t>(kChunkFrames * info.channels));
    for (sf_count_t done = 0; done < frames;)
    {
        const sf_count_t count = std::min(kChunkFrames, frames - done);
        for (sf_count_t i = 0; i < count; ++i)
            for (int ch = 0; ch < info.channels; ++ch)
                chunk[i * info.channels + ch] = channels[ch][done + i];
        if (sf_writef_float(file, chunk.data(), count) != count)
        {
            sf_close(file);
            return KEL_ERROR("@kelstr_CSoundFile_write_Short Cannot write all of '%1'.", path);
        }
        done += count;
    }
    sf_close(file);
    return nullptr;
}

} // namespace kel
