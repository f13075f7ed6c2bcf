#pragma once

#include "Core/CCheckedObject.h"
#include "Core/CError.h"

#include <cstdint>

namespace kel
{

class CInputStream;
class COutputStream;

// One palette entry: a transfer curve, not a point. The images are neutral grey pictures; each
// grey level (the index) turns into one red, one green and one blue byte, and the whole role is
// drawn with one opacity. The three ramps are separate arrays so that a pixel costs three byte
// loads. Where a single colour is needed (text, solid fills) it is the value at grey 255.
//
// A value: copied freely, owned by whoever holds it (normally a CPalette). [ui thread]
class CColor : public CCheckedObject
{
public:
    static constexpr int kLevels = 256;
    // Bytes of the stored form: alpha as a 64-bit real and the three ramps.
    static constexpr int kStoredBytes = 8 + 3 * kLevels;

    // Opaque black at every level.
    CColor();
    CColor(const CColor& other);
    CColor& operator=(const CColor& other);

    // Every grey level gives the same colour.
    void setFlat(uint8_t r, uint8_t g, uint8_t b);
    void setLevel(int grey, uint8_t r, uint8_t g, uint8_t b);
    // True when all 256 levels give one colour.
    bool isFlat() const;

    // The single colour of the role: the value at grey 255, as 0xRRGGBB.
    uint32_t getSolidRGB() const;

    [[nodiscard]] CError* read(CInputStream& stream);
    [[nodiscard]] CError* write(COutputStream& stream) const;

    bool operator==(const CColor& other) const;
    bool operator!=(const CColor& other) const { return !(*this == other); }

    // 0.0 transparent to 1.0 opaque.
    double alpha = 1.0;
    uint8_t red[kLevels];
    uint8_t green[kLevels];
    uint8_t blue[kLevels];
};

} // namespace kel
