#pragma once

#include "Core/CDataSetObject.h"
#include "UI/Resources/CBrushSet.h"

namespace kel
{

// The tree node "brushset": the pens of the shared tree, named by a view's attribute
// "brush-set" ("shared::bs.brushes"). Its attribute "file" names the resource, read when the node
// is initialised; a short or damaged resource fails the initialisation.
// Owns its CBrushSet, which lives as long as the node. [ui thread]
class CBrushSetObject : public CDataSetObject
{
public:
    // Null until the resource has been read.
    const CBrushSet* getBrushSet() const { return isLoaded() ? &brushSet : nullptr; }

protected:
    CDataSet& getDataSet() override { return brushSet; }

private:
    CBrushSet brushSet;
};

} // namespace kel
