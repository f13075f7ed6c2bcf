#pragma once

#include "Core/CObject.h"
#include "UI/Resources/CBrushSet.h"

namespace kel
{

// The tree node "brushset": the pens of the shared tree, named by a view's attribute
// "brush-set" ("shared::bs.brushes"). Its attribute "file" names the resource, read when the node
// is initialised; a short or damaged resource fails the initialisation.
// Owns its CBrushSet, which lives as long as the node. [ui thread]
class CBrushSetObject : public CObject
{
public:
    CBrushSetObject();
    ~CBrushSetObject() override;

    static void registerClass(CClassInfo& info);

    [[nodiscard]] CError* init() override;
    // Reads the resource named by "file" now; a second call reads it again.
    [[nodiscard]] virtual CError* loadNow();

    // Null until the resource has been read.
    const CBrushSet* getBrushSet() const { return isLoaded ? &brushSet : nullptr; }

private:
    CBrushSet brushSet;
    bool isLoaded = false;
};

} // namespace kel
