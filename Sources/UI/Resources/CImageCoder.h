#pragma once

#include "Core/CError.h"

#include <cstdint>

namespace kel
{

class CMemoryWriteBuffer;

// The compilers' half of the image format: turns plain pixels into the run-length coded rows
// that CImageLayer keeps and CLinearBitmap draws (see CImageLayer for the form). Pixels of alpha
// 0 become transparent runs, of alpha 255 opaque runs without the alpha byte, the rest
// translucent runs; a row with nothing visible gets offset 0 and no bytes. Not used by the
// plug-in. [any thread]
class CImageCoder
{
public:
    // pixels: pixelsHigh rows of pixelsWide pixels, pixelFormat bytes each, alpha last (a mask
    // has the alpha byte alone). Appends the coded data to out.
    [[nodiscard]] static CError* encode(const uint8_t* pixels, int pixelsWide, int pixelsHigh,
                                        int pixelFormat, CMemoryWriteBuffer& out);
};

} // namespace kel
