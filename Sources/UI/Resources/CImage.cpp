#include "UI/Resources/CImage.h"

#include "Core/CInputStream.h"
#include "Core/COutputStream.h"
#include "UI/Resources/CImageLayer.h"

namespace kel
{

namespace
{
// The product's images have up to four planes; a count far beyond that is a broken file.
constexpr uint32_t kMaxLayers = 64;
} // namespace

CImage::~CImage()
{
    for (CImageLayer* layer : layers)
        delete layer;
}

CError* CImage::read(CInputStream& stream)
{
    uint32_t layerCount = 0;
    KEL_CHECK(stream.readUInt32(layerCount));
    if (layerCount > kMaxLayers)
        return KEL_ERROR("@kelstr_CImage_read_LayerCount Invalid number of image layers %1.",
                         layerCount);
    layers.reserve(static_cast<int>(layerCount));
    for (uint32_t i = 0; i < layerCount; ++i)
    {
        auto* layer = new CImageLayer();
        layers.add(layer);
        KEL_CHECK(layer->read(stream));
    }
    return nullptr;
}

CError* CImage::write(COutputStream& stream) const
{
    KEL_CHECK(stream.writeUInt32(static_cast<uint32_t>(layers.getCount())));
    for (const CImageLayer* layer : layers)
        KEL_CHECK(layer->write(stream));
    return nullptr;
}

} // namespace kel
