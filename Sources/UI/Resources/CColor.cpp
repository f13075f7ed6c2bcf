#include "UI/Resources/CColor.h"

#include "Core/CInputStream.h"
#include "Core/COutputStream.h"

#include <cstring>

namespace kel
{

CColor::CColor()
{
    setFlat(0, 0, 0);
}

CColor::CColor(const CColor& other) : CCheckedObject()
{
    *this = other;
}

CColor& CColor::operator=(const CColor& other)
{
    if (this == &other)
        return *this;
    alpha = other.alpha;
    std::memcpy(red, other.red, kLevels);
    std::memcpy(green, other.green, kLevels);
    std::memcpy(blue, other.blue, kLevels);
    return *this;
}

void CColor::setFlat(uint8_t r, uint8_t g, uint8_t b)
{
    std::memset(red, r, kLevels);
    std::memset(green, g, kLevels);
    std::memset(blue, b, kLevels);
}

void CColor::setLevel(int grey, uint8_t r, uint8_t g, uint8_t b)
{
    if (grey < 0 || grey >= kLevels)
        return;
    red[grey] = r;
    green[grey] = g;
    blue[grey] = b;
}

bool CColor::isFlat() const
{
    for (int i = 1; i < kLevels; ++i)
    {
        if (red[i] != red[0] || green[i] != green[0] || blue[i] != blue[0])
            return false;
    }
    return true;
}

uint32_t CColor::getSolidRGB() const
{
    return (uint32_t(red[kLevels - 1]) << 16) | (uint32_t(green[kLevels - 1]) << 8) |
           blue[kLevels - 1];
}

CError* CColor::read(CInputStream& stream)
{
    KEL_CHECK(stream.readDouble(alpha));
    KEL_CHECK(stream.read(red, kLevels));
    KEL_CHECK(stream.read(green, kLevels));
    KEL_CHECK(stream.read(blue, kLevels));
    return nullptr;
}

CError* CColor::write(COutputStream& stream) const
{
    KEL_CHECK(stream.writeDouble(alpha));
    KEL_CHECK(stream.write(red, kLevels));
    KEL_CHECK(stream.write(green, kLevels));
    KEL_CHECK(stream.write(blue, kLevels));
    return nullptr;
}

bool CColor::operator==(const CColor& other) const
{
    return alpha == other.alpha && std::memcmp(red, other.red, kLevels) == 0 &&
           std::memcmp(green, other.green, kLevels) == 0 &&
           std::memcmp(blue, other.blue, kLevels) == 0;
}

} // namespace kel
