#pragma once

// The stored forms of image sets, fonts and brush sets, written with every size: each layer of a
// compiled image holds one picture per interface scale.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace kelimg
{

extern const double kScales[3];

// Straight (not premultiplied) grey + alpha pixels, or alpha alone, with the picture's origin.
struct Picture
{
    int width = 0;  // nominal size
    int height = 0; // nominal size
    double advance = 0.0;
    int left = 0; // where pixel column 0 lies relative to the origin
    int top = 0;
    int pixelsWide = 0;
    int pixelsHigh = 0;
    int format = 2;
    std::vector<uint8_t> pixels; // pixelsWide * pixelsHigh * format bytes

    // Drops fully transparent outer rows and columns, moving left and top.
    void trim();
};

struct Layer
{
    int colorSlot = 0;
    int format = 2;
    Picture variants[3]; // for kScales in order
};

struct Image
{
    std::vector<Layer> layers;
};

struct ImageSet
{
    std::map<std::string, std::pair<int, int>> ranges;
    std::map<int, Image> images;
};

class ByteWriter
{
public:
    void u8(uint8_t v) { bytes.push_back(v); }
    void u16(uint16_t v);
    void u32(uint32_t v);
    void i32(int32_t v) { u32(static_cast<uint32_t>(v)); }
    void f64(double v);
    void str(const std::string& s);
    void raw(const uint8_t* data, size_t size) { bytes.insert(bytes.end(), data, data + size); }

    std::vector<uint8_t> bytes;
};

void writeImageSet(ByteWriter& out, const ImageSet& set);
bool saveFile(const std::string& path, const std::vector<uint8_t>& bytes);

} // namespace kelimg
