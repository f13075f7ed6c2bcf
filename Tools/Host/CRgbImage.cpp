#include "CRgbImage.h"

#include <png.h>

#include <algorithm>
#include <string>

namespace kel
{

namespace
{
// More colours than a background, a border and a focus ring: something has really drawn.
constexpr int kMostColoursOfABlankWindow = 4;
} // namespace

CRgbImage::CRgbImage(int imageWidth, int imageHeight)
    : width(std::max(imageWidth, 0)), height(std::max(imageHeight, 0)),
      pixels(static_cast<size_t>(width) * height * 3, 0)
{
}

uint32_t CRgbImage::getPixel(int x, int y) const
{
    const uint8_t* at = &pixels[(static_cast<size_t>(y) * width + x) * 3];
    return (uint32_t(at[0]) << 16) | (uint32_t(at[1]) << 8) | at[2];
}

void CRgbImage::setPixel(int x, int y, uint32_t rgb)
{
    uint8_t* at = &pixels[(static_cast<size_t>(y) * width + x) * 3];
    at[0] = static_cast<uint8_t>(rgb >> 16);
    at[1] = static_cast<uint8_t>(rgb >> 8);
    at[2] = static_cast<uint8_t>(rgb);
}

int CRgbImage::countColours(int limit) const
{
    std::vector<uint32_t> seen;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
        {
            const uint32_t colour = getPixel(x, y);
            if (std::find(seen.begin(), seen.end(), colour) != seen.end())
                continue;
            seen.push_back(colour);
            if (static_cast<int>(seen.size()) >= limit)
                return limit;
        }
    return static_cast<int>(seen.size());
}

bool CRgbImage::isBlank() const
{
    return isEmpty() || countColours(kMostColoursOfABlankWindow + 1) <= kMostColoursOfABlankWindow;
}

bool CRgbImage::equals(const CRgbImage& other) const
{
    return width == other.width && height == other.height && pixels == other.pixels;
}

CError* CRgbImage::writePng(const char* path) const
{
    if (isEmpty())
        return KEL_ERROR("@kelstr_CRgbImage_writePng_Empty Nothing to write to '%1'.", path);
    // libpng's simplified interface: no longjmp to guard against.
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_RGB;
    if (!png_image_write_to_file(&image, path, 0, pixels.data(), width * 3, nullptr))
    {
        const std::string reason = image.message;
        png_image_free(&image);
        return KEL_ERROR("@kelstr_CRgbImage_writePng_Failed Cannot write '%1': %2", path,
                         reason.c_str());
    }
    return nullptr;
}

} // namespace kel
