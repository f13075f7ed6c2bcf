#pragma once

#include "Core/CError.h"

namespace kel
{

// Files the creator rows of the process graph and the instance's audio objects: the process
// definitions (audio:process-def, audio:process-link, audio:modZumbel, audio:modBypass,
// audio:modMute, audio:modNode, audio:modOutput, audio:modInterpolator, audio:modDecimator,
// audio:modFilter) and audio:param-collector, audio:audio-env, audio:dcdaw-context. Rows whose
// tag is already filed are left as they are, so a second call does nothing. The library adds it
// to the application's registrations when it loads; it must run before the shared tree is read.
// [set-up thread]
[[nodiscard]] CError* registerAudioProcessCreators();

} // namespace kel
