#pragma once

#include "Core/CError.h"

namespace kel
{

// The creator rows of the user interface library: the resource nodes of the shared tree
// (palette, imageset, font, brushset), the views and controls, and the window objects. The plug-in
// adds registerAll as a registration hook of the application, which runs it once after the core's
// and the audio side's rows; a second call reports the first tag already registered. [start-up
// thread]
class CUiCreators
{
public:
    [[nodiscard]] static CError* registerAll();
};

} // namespace kel
