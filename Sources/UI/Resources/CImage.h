#pragma once

#include "Core/CArray.h"
#include "Core/CCheckedObject.h"
#include "Core/CError.h"

namespace kel
{

class CImageLayer;
class CInputStream;
class COutputStream;

// One picture of an image set or one glyph of a font: its planes, drawn first to last, each in
// the colour of its own slot. Owns its layers; owned by its CImageSet. [ui thread]
class CImage : public CCheckedObject
{
public:
    CImage() = default;
    CImage(const CImage&) = delete;
    CImage& operator=(const CImage&) = delete;
    ~CImage() override;

    // A layer count and that many layer records.
    [[nodiscard]] CError* read(CInputStream& stream);
    [[nodiscard]] CError* write(COutputStream& stream) const;

    int getLayerCount() const { return layers.getCount(); }
    const CImageLayer* getLayer(int index) const { return layers[index]; }
    // Takes ownership.
    void addLayer(CImageLayer* layer) { layers.add(layer); }

private:
    CArray<CImageLayer*, 4> layers;
};

} // namespace kel
