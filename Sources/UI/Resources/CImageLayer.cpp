#include "UI/Resources/CImageLayer.h"

#include "Core/CInputStream.h"
#include "Core/COutputStream.h"
#include "UI/Resources/CInPlaceData.h"
#include "UI/Resources/CUiScale.h"

namespace kel
{

CError* CImageLayer::read(CInputStream& stream)
{
    int32_t variantCount = 0;
    int best = -1;
    KEL_CHECK(stream.readInt32(colorSlot));
    KEL_CHECK(stream.readInt32(pixelFormat));
    KEL_CHECK(CUiScale::readSizes(stream, variantCount, best, scale));
    for (int i = 0; i < variantCount; ++i)
        KEL_CHECK(readVariant(stream, i == best));
    return nullptr;
}

CError* CImageLayer::readVariant(CInputStream& stream, bool keep)
{
    if (!keep)
    {
        // width, height, advance, x, y, drawWidth, drawHeight
        KEL_CHECK(stream.consume(4 + 4 + 8 + 4 * 4));
        uint32_t skipped = 0;
        KEL_CHECK(stream.readUInt32(skipped));
        KEL_CHECK(stream.consume(skipped));
        return nullptr;
    }
    KEL_CHECK(stream.readInt32(width));
    KEL_CHECK(stream.readInt32(height));
    KEL_CHECK(stream.readDouble(advance));
    KEL_CHECK(stream.readInt32(x));
    KEL_CHECK(stream.readInt32(y));
    KEL_CHECK(stream.readInt32(drawWidth));
    KEL_CHECK(stream.readInt32(drawHeight));
    KEL_CHECK(stream.readUInt32(dataSize));
    KEL_CHECK(CInPlaceData::take(stream, dataSize, ownedData, data));
    return nullptr;
}

CError* CImageLayer::write(COutputStream& stream) const
{
    KEL_CHECK(stream.writeInt32(colorSlot));
    KEL_CHECK(stream.writeInt32(pixelFormat));
    KEL_CHECK(stream.writeInt32(1));
    KEL_CHECK(stream.writeDouble(scale));
    KEL_CHECK(stream.writeInt32(width));
    KEL_CHECK(stream.writeInt32(height));
    KEL_CHECK(stream.writeDouble(advance));
    KEL_CHECK(stream.writeInt32(x));
    KEL_CHECK(stream.writeInt32(y));
    KEL_CHECK(stream.writeInt32(drawWidth));
    KEL_CHECK(stream.writeInt32(drawHeight));
    KEL_CHECK(stream.writeUInt32(dataSize));
    if (dataSize)
        KEL_CHECK(stream.write(data, dataSize));
    return nullptr;
}

int CImageLayer::getRepresentativeGrey() const
{
    if (!data || dataSize < 2)
        return 255;
    const int rowCount = data[0] | (data[1] << 8);
    if (rowCount == 0 || dataSize < 6)
        return 255;
    const uint32_t rowOffset =
        data[2] | (data[3] << 8) | (data[4] << 16) | (static_cast<uint32_t>(data[5]) << 24);
    for (uint32_t pair = 0; pair < 10; ++pair)
    {
        const uint32_t at = rowOffset + pair * 2;
        if (at + 1 >= dataSize)
            break;
        const int type = data[at] & 3;
        if (type == kRunTranslucent || type == kRunOpaque)
            return data[at + 1];
    }
    return 128;
}

void CImageLayer::setFormat(int slot, int format)
{
    colorSlot = slot;
    pixelFormat = format;
}

void CImageLayer::setGeometry(int nominalWidth, int nominalHeight, double advancePx, int left,
                              int top, int pixelsWide, int pixelsHigh)
{
    width = nominalWidth;
    height = nominalHeight;
    advance = advancePx;
    x = left;
    y = top;
    drawWidth = pixelsWide;
    drawHeight = pixelsHigh;
}

CError* CImageLayer::setCodedData(const void* bytes, size_t size, double storedScale)
{
    if (!ownedData.assign(bytes, size))
        return KEL_ERROR("@kelstr_CImageLayer_setCodedData_NoMemory Out of memory for %1 bytes "
                         "of image data.",
                         static_cast<unsigned long long>(size));
    data = size ? ownedData.getData() : nullptr;
    dataSize = static_cast<uint32_t>(size);
    scale = storedScale;
    return nullptr;
}

} // namespace kel
