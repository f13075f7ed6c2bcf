#include "UI/Resources/CUiScale.h"

#include "Core/CInputStream.h"

#include <cmath>
#include <cstring>

namespace kel
{

double CUiScale::scale = 1.0;
bool CUiScale::isChosen = false;

void CUiScale::offerSetting(const char* text)
{
    if (isChosen || !text)
        return;
    static const struct
    {
        const char* text;
        double value;
    } kSettings[] = {{"0.8", 0.8}, {"1.0", 1.0}, {"1.25", 1.25}};
    for (const auto& setting : kSettings)
    {
        if (std::strcmp(text, setting.text) == 0)
            scale = setting.value;
    }
}

int CUiScale::pickNearest(const double* scales, int count, double value)
{
    double bestDistance = 99999.0;
    int best = -1;
    for (int i = 0; i < count; ++i)
    {
        const double distance = std::fabs(scales[i] - value);
        if (distance < bestDistance)
        {
            bestDistance = distance;
            best = i;
        }
    }
    return best;
}

CError* CUiScale::readSizes(CInputStream& stream, int32_t& outCount, int& outBest, double& outScale)
{
    outBest = -1;
    KEL_CHECK(stream.readInt32(outCount));
    if (outCount > kMaxStoredSizes)
        return KEL_ERROR("@kelstr_CUiScale_readSizes_Count Invalid number of stored sizes %1.",
                         outCount);
    if (outCount < 0)
        outCount = 0;
    double scales[kMaxStoredSizes] = {};
    for (int i = 0; i < outCount; ++i)
        KEL_CHECK(stream.readDouble(scales[i]));
    outBest = pickNearest(scales, outCount);
    if (outBest >= 0)
        outScale = scales[outBest];
    return nullptr;
}

int CUiScale::scaleMetric(int metric)
{
    return static_cast<int>(std::round(metric * scale));
}

} // namespace kel
