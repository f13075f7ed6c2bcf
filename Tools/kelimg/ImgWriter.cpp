#include "ImgWriter.h"

#include "Core/CMemoryWriteBuffer.h"
#include "UI/Resources/CImageCoder.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace kelimg
{

const double kScales[3] = {0.8, 1.0, 1.25};

void Picture::trim()
{
    const int alphaAt = format - 1;
    auto visible = [&](int x, int y)
    { return pixels[(y * pixelsWide + x) * format + alphaAt] != 0; };
    int x0 = pixelsWide;
    int y0 = pixelsHigh;
    int x1 = -1;
    int y1 = -1;
    for (int y = 0; y < pixelsHigh; ++y)
        for (int x = 0; x < pixelsWide; ++x)
            if (visible(x, y))
            {
                x0 = std::min(x0, x);
                x1 = std::max(x1, x);
                y0 = std::min(y0, y);
                y1 = std::max(y1, y);
            }
    if (x1 < 0)
    {
        pixelsWide = pixelsHigh = 0;
        pixels.clear();
        return;
    }
    std::vector<uint8_t> kept;
    for (int y = y0; y <= y1; ++y)
        kept.insert(kept.end(), pixels.begin() + (y * pixelsWide + x0) * format,
                    pixels.begin() + (y * pixelsWide + x1 + 1) * format);
    left += x0;
    top += y0;
    pixelsWide = x1 - x0 + 1;
    pixelsHigh = y1 - y0 + 1;
    pixels.swap(kept);
}

void ByteWriter::u16(uint16_t v)
{
    u8(static_cast<uint8_t>(v));
    u8(static_cast<uint8_t>(v >> 8));
}

void ByteWriter::u32(uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        u8(static_cast<uint8_t>(v >> (8 * i)));
}

void ByteWriter::f64(double v)
{
    uint64_t bits = 0;
    std::memcpy(&bits, &v, sizeof(bits));
    u32(static_cast<uint32_t>(bits));
    u32(static_cast<uint32_t>(bits >> 32));
}

void ByteWriter::str(const std::string& s)
{
    u32(static_cast<uint32_t>(s.size()));
    raw(reinterpret_cast<const uint8_t*>(s.data()), s.size());
}

static void writeLayer(ByteWriter& out, const Layer& layer)
{
    out.i32(layer.colorSlot);
    out.i32(layer.format);
    out.i32(3);
    for (double scale : kScales)
        out.f64(scale);
    for (const Picture& p : layer.variants)
    {
        out.i32(p.width);
        out.i32(p.height);
        out.f64(p.advance);
        out.i32(p.left);
        out.i32(p.top);
        out.i32(p.pixelsWide);
        out.i32(p.pixelsHigh);
        kel::CMemoryWriteBuffer coded;
        if (kel::CError* error = kel::CImageCoder::encode(p.pixels.data(), p.pixelsWide,
                                                          p.pixelsHigh, layer.format, coded))
        {
            std::fprintf(stderr, "kelimg: %s\n", error->getMessage());
            delete error;
        }
        out.u32(static_cast<uint32_t>(coded.getSize()));
        out.raw(coded.getData(), coded.getSize());
    }
}

void writeImageSet(ByteWriter& out, const ImageSet& set)
{
    out.u32(1);
    out.u32(static_cast<uint32_t>(set.ranges.size()));
    for (const auto& [name, range] : set.ranges) // std::map: ascending by bytes
    {
        out.str(name);
        out.i32(range.first);
        out.i32(range.second);
    }
    out.u32(static_cast<uint32_t>(set.images.size()));
    for (const auto& [number, image] : set.images)
    {
        out.i32(number);
        out.u32(static_cast<uint32_t>(image.layers.size()));
        for (const Layer& layer : image.layers)
            writeLayer(out, layer);
    }
}

bool saveFile(const std::string& path, const std::vector<uint8_t>& bytes)
{
    FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
    {
        std::fprintf(stderr, "kelimg: cannot write %s\n", path.c_str());
        return false;
    }
    const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    return std::fclose(file) == 0 && ok;
}

} // namespace kelimg
