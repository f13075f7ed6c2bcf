#pragma once

#include "Core/CDataSetObject.h"
#include "UI/Resources/CPalette.h"

namespace kel
{

// The tree node "palette": one colour scheme of the shared tree (below "shared::pal"). Its
// attribute "file" names the resource ("../../../Gfx/Palettes/Default.pal"), which is read when
// the node is initialised; a short or damaged resource fails the initialisation.
//
// Owns its CPalette, which lives as long as the node; views keep pointers into it. [ui thread]
class CPaletteObject : public CDataSetObject
{
public:
    // Null until the resource has been read.
    const CPalette* getPalette() const { return isLoaded() ? &palette : nullptr; }

protected:
    CDataSet& getDataSet() override { return palette; }

private:
    CPalette palette;
};

} // namespace kel
