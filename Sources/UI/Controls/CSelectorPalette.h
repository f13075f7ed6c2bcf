#pragma once

#include "UI/Controls/CSelector.h"

namespace kel
{

// The colour scheme chooser (tag ui:selector-palette): one button per palette under
// "shared::pal" ("Unable to locate palette object 'shared::pal'." without it), in their order,
// made from "ui:selector-palette-button" and coloured "PalIcon" + the palette's name with the
// slots ".|Outer|Inner|Text". Choosing a button writes the palette's name to "palette-name" and
// to the shared attribute ("ui.local-data.ui-color-scheme" by default), from which every window
// takes its palette; the name the shared attribute holds makes its button the active one.
// Owned by its parent view. [ui thread]
class CSelectorPalette : public CSelector
{
public:
    static void registerClass(CClassInfo& info);

    const CArray<CString>& getPaletteNames() const { return paletteNames; }

protected:
    const char* getDefaultButtonTag() const override { return "ui:selector-palette-button"; }
    const char* getDefaultSharedAttribute() const override
    {
        return "ui.local-data.ui-color-scheme";
    }
    [[nodiscard]] CError* prepareButtons() override;
    void readTitles(CArray<CString>& out) const override;
    void describeButton(int index, CAttrMap& params) const override;
    [[nodiscard]] CError* onButtonReleased(int index) override;
    [[nodiscard]] CError* onSharedValue(const CString& text) override;

private:
    CArray<CString> paletteNames;
};

} // namespace kel
