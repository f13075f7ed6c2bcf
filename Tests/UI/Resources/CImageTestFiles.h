#pragma once

// Builders for image set, font and brush set files in memory, so that the tests state every byte
// they feed the readers.

#include "Core/CError.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/CString.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace kel::test
{

struct LayerVariant
{
    int width = 0;
    int height = 0;
    double advance = 0.0;
    int x = 0;
    int y = 0;
    int drawWidth = 0;
    int drawHeight = 0;
    std::vector<uint8_t> data;
};

inline const std::vector<double>& standardScales()
{
    static const std::vector<double> scales = {0.8, 1.0, 1.25};
    return scales;
}

inline void writeLayer(COutputStream& out, int slot, int format,
                       const std::vector<LayerVariant>& variants,
                       const std::vector<double>& scales = standardScales())
{
    ASSERT_EQ(nullptr, out.writeInt32(slot));
    ASSERT_EQ(nullptr, out.writeInt32(format));
    ASSERT_EQ(nullptr, out.writeInt32(static_cast<int32_t>(variants.size())));
    for (double scale : scales)
        ASSERT_EQ(nullptr, out.writeDouble(scale));
    for (const LayerVariant& v : variants)
    {
        ASSERT_EQ(nullptr, out.writeInt32(v.width));
        ASSERT_EQ(nullptr, out.writeInt32(v.height));
        ASSERT_EQ(nullptr, out.writeDouble(v.advance));
        ASSERT_EQ(nullptr, out.writeInt32(v.x));
        ASSERT_EQ(nullptr, out.writeInt32(v.y));
        ASSERT_EQ(nullptr, out.writeInt32(v.drawWidth));
        ASSERT_EQ(nullptr, out.writeInt32(v.drawHeight));
        ASSERT_EQ(nullptr, out.writeUInt32(static_cast<uint32_t>(v.data.size())));
        if (!v.data.empty())
        {
            ASSERT_EQ(nullptr, out.write(v.data.data(), v.data.size()));
        }
    }
}

// A one-row coded picture: the row count, one offset and the run bytes.
inline std::vector<uint8_t> oneRow(const std::vector<uint8_t>& runs)
{
    std::vector<uint8_t> data = {1, 0, 6, 0, 0, 0};
    data.insert(data.end(), runs.begin(), runs.end());
    return data;
}

// Three sizes of one layer whose widths tell which was kept: 8, 10 and 12 pixels.
inline std::vector<LayerVariant> sizedVariants(int grey)
{
    std::vector<LayerVariant> variants;
    for (int width : {8, 10, 12})
    {
        LayerVariant v;
        v.width = v.drawWidth = width;
        v.height = v.drawHeight = 1;
        v.advance = width + 0.5;
        v.data = oneRow({static_cast<uint8_t>((1 << 3) | 2), static_cast<uint8_t>(grey),
                         static_cast<uint8_t>(((width - 1) << 3) | 0)});
        variants.push_back(v);
    }
    return variants;
}

inline std::vector<uint8_t> bytesOf(const CMemoryWriteBuffer& buffer)
{
    return std::vector<uint8_t>(buffer.getData(), buffer.getData() + buffer.getSize());
}

// Reads bytes, less the last `cut` of them, into target: how many it took, -1 for an error.
template <class T> int64_t readLength(T& target, const std::vector<uint8_t>& bytes, size_t cut = 0)
{
    CMemoryReader reader(bytes.data(), bytes.size() - cut);
    CError* error = target.read(reader);
    const int64_t length = error ? -1 : reader.getPosition();
    delete error;
    return length;
}
template <class T> bool reads(T& target, const std::vector<uint8_t>& bytes, size_t cut = 0)
{
    return readLength(target, bytes, cut) >= 0;
}

// Writes source and reads what it wrote into copy: whether both went without an error. What the
// copy reads from memory it keeps pointing into, so copyBytes (the written bytes) must outlive it.
template <class T> bool copiesByWriting(T& source, T& copy, std::vector<uint8_t>& copyBytes)
{
    CMemoryWriteBuffer written;
    CError* error = source.write(written);
    const bool wrote = error == nullptr;
    delete error;
    copyBytes = bytesOf(written);
    return wrote && reads(copy, copyBytes);
}

} // namespace kel::test
