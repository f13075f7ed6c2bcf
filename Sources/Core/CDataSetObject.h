#pragma once

#include "Core/CObject.h"

namespace kel
{

class CDataSet;

// A tree node that holds one data set read from the resource its attribute "file" names
// ("../../../Gfx/Palettes/Default.pal"), loaded when the node is initialised, or with
// "is-load-deferred" when its first user calls loadNow; a missing, short or damaged resource
// fails the initialisation (or that call). Derived classes own the set and hand it out
// through getDataSet; views keep pointers into it for the node's life. [ui thread]
class CDataSetObject : public CObject
{
public:
    static void registerClass(CClassInfo& info);

    [[nodiscard]] CError* init() override;
    // Reads the resource named by "file" now; a second call reads it again.
    [[nodiscard]] virtual CError* loadNow();

    bool isLoaded() const { return loaded; }

protected:
    virtual CDataSet& getDataSet() = 0;

private:
    bool loaded = false;
};

} // namespace kel
