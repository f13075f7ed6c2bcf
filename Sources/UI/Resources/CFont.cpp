#include "UI/Resources/CFont.h"

#include "Core/CInputStream.h"
#include "Core/COutputStream.h"
#include "UI/Resources/CUiScale.h"

namespace kel
{

CError* CFont::read(CInputStream& stream)
{
    clear();
    setLineMetrics(0, 0, 0);
    uint32_t version = 0;
    KEL_CHECK(stream.readUInt32(version));
    if (version != kFormatVersion)
        return nullptr;
    KEL_CHECK(CImageSet::read(stream));
    KEL_CHECK(stream.readInt32(lineHeight));
    KEL_CHECK(stream.readInt32(lineAbove));
    KEL_CHECK(stream.readInt32(lineBelow));
    return nullptr;
}

CError* CFont::write(COutputStream& stream) const
{
    KEL_CHECK(stream.writeUInt32(kFormatVersion));
    KEL_CHECK(CImageSet::write(stream));
    KEL_CHECK(stream.writeInt32(lineHeight));
    KEL_CHECK(stream.writeInt32(lineAbove));
    KEL_CHECK(stream.writeInt32(lineBelow));
    return nullptr;
}

int CFont::getLineHeight() const
{
    return CUiScale::scaleMetric(lineHeight);
}

int CFont::getLineAbove() const
{
    return CUiScale::scaleMetric(lineAbove);
}

int CFont::getLineBelow() const
{
    return CUiScale::scaleMetric(lineBelow);
}

void CFont::setLineMetrics(int height, int above, int below)
{
    lineHeight = height;
    lineAbove = above;
    lineBelow = below;
}

} // namespace kel
