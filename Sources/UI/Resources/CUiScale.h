#pragma once

#include "Core/CError.h"

#include <cstdint>

namespace kel
{

class CInputStream;

// The interface scale of the process: 1.0 unless the user's settings chose 0.8 or 1.25. Read once
// at start-up, before the first image set, font or brush set is loaded; every loader keeps the
// stored size nearest to it, so a new value takes effect only for resources loaded afterwards.
// [ui thread]
class CUiScale
{
public:
    static double get() { return scale; }
    // A scale the process chose for itself (a tool drawing at a given size, a test); the
    // user's setting no longer applies.
    static void set(double value)
    {
        scale = value;
        isChosen = true;
    }
    // The user's setting, kept as "0.8", "1.0" or "1.25": taken unless the process chose a
    // scale; any other text leaves the scale as it is.
    static void offerSetting(const char* text);

    // Index of the scale nearest to value among count scales in stored order; a tie keeps the
    // earlier one. -1 when there are none.
    static int pickNearest(const double* scales, int count, double value);
    static int pickNearest(const double* scales, int count)
    {
        return pickNearest(scales, count, scale);
    }

    // Reads the size list of a stored layer or brush (i32 count, count f64 scales) and picks the
    // size to keep: outBest is its index (-1 when there are none) and outScale its scale. A count
    // beyond kMaxStoredSizes is a broken file.
    static constexpr int kMaxStoredSizes = 16;
    [[nodiscard]] static CError* readSizes(CInputStream& stream, int32_t& outCount, int& outBest,
                                           double& outScale);

    // A line metric stored for scale 1.0, at the current scale, rounded half away from zero.
    static int scaleMetric(int metric);

private:
    static double scale;
    static bool isChosen;
};

} // namespace kel
