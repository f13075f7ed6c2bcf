#pragma once

#include "Core/CDataSetObject.h"
#include "UI/Resources/CImageSet.h"

namespace kel
{

// The tree node "imageset": one image set of the shared tree. Its attribute "file" names the
// resource ("../../../Gfx/Imagesets/knob.is"), read when the node is initialised, at the
// interface scale of that moment; a short or damaged resource fails the initialisation.
// Owns its CImageSet, which lives as long as the node; views keep pointers into it. [ui thread]
class CImageSetObject : public CDataSetObject
{
public:
    // Null until the resource has been read.
    const CImageSet* getImageSet() const { return isLoaded() ? &imageSet : nullptr; }

protected:
    CDataSet& getDataSet() override { return imageSet; }

private:
    CImageSet imageSet;
};

} // namespace kel
