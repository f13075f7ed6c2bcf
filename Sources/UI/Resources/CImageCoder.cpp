#include "UI/Resources/CImageCoder.h"

#include "Core/CMemoryWriteBuffer.h"
#include "UI/Resources/CImageLayer.h"

namespace kel
{

namespace
{

int runTypeOf(uint8_t alpha)
{
    if (alpha == 0)
        return CImageLayer::kRunTransparent;
    return alpha == 255 ? CImageLayer::kRunOpaque : CImageLayer::kRunTranslucent;
}

CError* writeRunHead(COutputStream& out, int type, int length)
{
    const int value = (length << 3) | type;
    if (length < 32)
        return out.writeUInt8(static_cast<uint8_t>(value));
    const int extended = value | CImageLayer::kExtendedRunFlag;
    KEL_CHECK(out.writeUInt8(static_cast<uint8_t>(extended & 0xFF)));
    KEL_CHECK(out.writeUInt8(static_cast<uint8_t>(extended >> 8)));
    return nullptr;
}

} // namespace

CError* CImageCoder::encode(const uint8_t* pixels, int pixelsWide, int pixelsHigh, int pixelFormat,
                            CMemoryWriteBuffer& out)
{
    if (pixelsHigh < 0 || pixelsHigh > 0xFFFF || pixelsWide < 0)
        return KEL_ERROR("@kelstr_CImageCoder_encode_Size Invalid image size %1 x %2.", pixelsWide,
                         pixelsHigh);
    int64_t start = 0;
    KEL_CHECK(out.getPosition(start));
    KEL_CHECK(out.writeUInt16(static_cast<uint16_t>(pixelsHigh)));
    for (int row = 0; row < pixelsHigh; ++row)
        KEL_CHECK(out.writeUInt32(0));

    const int alphaAt = pixelFormat - 1;
    for (int row = 0; row < pixelsHigh; ++row)
    {
        const uint8_t* line = pixels + static_cast<size_t>(row) * pixelsWide * pixelFormat;
        bool visible = false;
        for (int px = 0; px < pixelsWide && !visible; ++px)
            visible = line[px * pixelFormat + alphaAt] != 0;
        if (!visible)
            continue;

        int64_t rowStart = 0;
        KEL_CHECK(out.getPosition(rowStart));
        KEL_CHECK(out.setPosition(start + 2 + 4 * row));
        KEL_CHECK(out.writeUInt32(static_cast<uint32_t>(rowStart - start)));
        KEL_CHECK(out.setPosition(rowStart));

        int px = 0;
        while (px < pixelsWide)
        {
            const int type = runTypeOf(line[px * pixelFormat + alphaAt]);
            int length = 1;
            while (px + length < pixelsWide && length < CImageLayer::kMaxRunLength &&
                   runTypeOf(line[(px + length) * pixelFormat + alphaAt]) == type)
                ++length;
            KEL_CHECK(writeRunHead(out, type, length));
            const int bytesPerPixel = type == CImageLayer::kRunTranslucent ? pixelFormat
                                      : type == CImageLayer::kRunOpaque    ? pixelFormat - 1
                                                                           : 0;
            for (int i = 0; i < length && bytesPerPixel > 0; ++i)
                KEL_CHECK(out.write(line + (px + i) * pixelFormat, bytesPerPixel));
            px += length;
        }
    }
    int64_t end = 0;
    KEL_CHECK(out.getSize(end));
    KEL_CHECK(out.setPosition(end));
    return nullptr;
}

} // namespace kel
