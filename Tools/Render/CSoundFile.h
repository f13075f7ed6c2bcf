#pragma once

#include "Core/CError.h"

#include <vector>

namespace kel
{

// Reading and writing whole audio files as planar float channels, through libsndfile. Written
// files are WAV with 32-bit float samples. [any thread]
class CSoundFile
{
public:
    [[nodiscard]] static CError* read(const char* path, std::vector<std::vector<float>>& channels,
                                      double& rateHz);
    [[nodiscard]] static CError*
    write(const char* path, const std::vector<std::vector<float>>& channels, double rateHz);
};

} // namespace kel
