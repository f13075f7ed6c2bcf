#pragma once

#include "UI/Resources/CImageSet.h"

namespace kel
{

// A font face: an image set whose image numbers are character codes (one alpha-mask layer per
// glyph, its advance the pen step, x and y the bearing from a baseline at y 0), plus the line
// metrics of the text wrapper, stored for scale 1.0 and scaled at use.
//
// Stored form: u32 font version (1), the image set's form, then i32 lineHeight, lineAbove and
// lineBelow. A version other than 1 loads as an empty font.
// Owned by its CFontObject; read-only after start-up. [ui thread]
class CFont : public CImageSet
{
public:
    [[nodiscard]] CError* read(CInputStream& stream) override;
    [[nodiscard]] CError* write(COutputStream& stream) const override;

    // Null when the face has no such character; codes above 255 are found the same way.
    const CImage* getGlyph(int code) const { return getImage(code); }

    // As stored, for scale 1.0.
    int getStoredLineHeight() const { return lineHeight; }
    int getStoredLineAbove() const { return lineAbove; }
    int getStoredLineBelow() const { return lineBelow; }
    // At the interface scale, rounded half away from zero.
    int getLineHeight() const;
    int getLineAbove() const;
    int getLineBelow() const;
    void setLineMetrics(int height, int above, int below);

private:
    int lineHeight = 0;
    int lineAbove = 0;
    int lineBelow = 0;
};

} // namespace kel
