#pragma once

#include "Core/CError.h"

namespace kel
{

// Files the creator rows of the host boundary's tree classes: audio:ext-param,
// audio:ext-param-list and audio:cctable. Rows already filed are left alone, so a second call
// does nothing. Runs at application start, before any instance tree is built. [set-up thread]
[[nodiscard]] CError* registerAudioExtParamCreators();

} // namespace kel
