#pragma once

#include "Core/CError.h"

namespace kel
{

// Files the creator rows of the parameter classes: the nine converters (audio:cvt-*) and the
// definitions audio:param, audio:param-alloc and audio:param-remap. Called once at application
// start, before the shared tree is read; a second call changes nothing.
// [set-up thread]
[[nodiscard]] CError* registerAudioParamCreators();

} // namespace kel
