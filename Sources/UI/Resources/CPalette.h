#pragma once

#include "Core/CDataSet.h"
#include "Core/CError.h"
#include "Core/CString.h"
#include "Core/CStringMap.h"
#include "UI/Resources/CColor.h"

#include <cstdint>

namespace kel
{

// A named set of colours: every role name ("Button", "PanelText_Hover") with its CColor, plus the
// gradients, names whose colour moves through a number of steps stored as "Name|0", "Name|1"...
// Every failed lookup answers the palette's copy of the entry "Default", so drawing code never
// receives null.
//
// The .pal form (little-endian, unaligned; a string is a u32 byte count and the bytes): u32
// version 1, u32 colour count, per colour its name and the CColor (f64 alpha, three 256-byte
// ramps) in ascending byte order of the names, u32 gradient count, per gradient its name and an
// i32 step count.
//
// A CPaletteObject owns the palette and loads it (CDataSet::load); it is read once at start and
// read-only afterwards, and the views' colour tables point into it. [ui thread]
class CPalette : public CDataSet
{
public:
    static constexpr uint32_t kVersion = 1;

    CPalette();
    ~CPalette() override;

    // Clears both maps, then reads the .pal form. A version other than 1 is no error: the palette
    // stays empty. A short or damaged stream returns the stream's error.
    [[nodiscard]] CError* read(CInputStream& stream) override;
    [[nodiscard]] CError* write(COutputStream& stream) const override;

    // The colour of name at a gradient position (phase 0.0 to 1.0, used only by gradient
    // names). Unknown names log "Color not found: '%s'" and answer the default colour.
    const CColor* getColor(const CString& name, double phase = 0.0) const;
    // The entry of exactly this name, gradients not resolved; null when absent. Never logs.
    const CColor* findColor(const CString& name) const;
    // The copy of "Default" taken when the palette was read (opaque black before).
    const CColor* getDefaultColor() const { return &defaultColor; }
    // Steps of a gradient name, 0 when name is no gradient.
    int32_t getGradientSteps(const CString& name) const;
    // The stored name of a gradient step: "Alarm", 31 gives "Alarm|31".
    static CString gradientStepName(const CString& name, int step);
    // Which step a phase selects: (steps - 1) * phase rounded to the nearest, halves away from
    // zero.
    static int gradientStep(int32_t steps, double phase);

    // Building a palette (the offline compiler, tests). A repeated name replaces the old entry.
    void setColor(const CString& name, const CColor& color);
    void setGradient(const CString& name, int32_t steps);
    // Takes a new copy of the entry "Default" (after setColor, as read does).
    void refreshDefaultColor();
    void clear();

    const CStringMap<CColor>& getColors() const { return colors; }
    const CStringMap<int32_t>& getGradients() const { return gradients; }

private:
    CStringMap<CColor> colors;
    CStringMap<int32_t> gradients;
    CColor defaultColor;
};

} // namespace kel
