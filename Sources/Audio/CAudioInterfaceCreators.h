#pragma once

#include "Core/CError.h"

namespace kel
{

// Files the creator rows of the audio interface's tree classes: audio:interface-base,
// audio:interface-client, audio:interface-base-connector-vst,
// audio:interface-client-connector-vst and audio:viz-collector. Rows already filed are left
// alone, so a second call does nothing. Runs at application start, before any instance tree is
// built. [set-up thread]
[[nodiscard]] CError* registerAudioInterfaceCreators();

} // namespace kel
