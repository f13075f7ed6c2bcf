#pragma once

#include "Core/CObject.h"
#include "UI/Resources/CPalette.h"

namespace kel
{

// The tree node "palette": one colour scheme of the shared tree (below "shared::pal"). Its
// attribute "file" names the resource ("../../../Gfx/Palettes/Default.pal"), which is read when
// the node is initialised; a short or damaged resource fails the initialisation.
//
// Owns its CPalette, which lives as long as the node; views keep pointers into it. [ui thread]
class CPaletteObject : public CObject
{
public:
    CPaletteObject();
    ~CPaletteObject() override;

    static void registerClass(CClassInfo& info);

    [[nodiscard]] CError* init() override;
    // Reads the resource named by "file" now; a second call reads it again.
    [[nodiscard]] virtual CError* loadNow();

    // Null until the resource has been read.
    const CPalette* getPalette() const { return isLoaded ? &palette : nullptr; }

private:
    CPalette palette;
    bool isLoaded = false;
};

} // namespace kel
