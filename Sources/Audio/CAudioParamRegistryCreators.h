#pragma once

#include "Core/CError.h"

namespace kel
{

// Files the creator row of the preset registries (audio:param-registry). A row whose tag is
// already filed is left as it is, so a second call does nothing. The library adds it to the
// application's registrations when it loads; it must run before an instance tree is built.
// [set-up thread]
[[nodiscard]] CError* registerAudioParamRegistryCreators();

} // namespace kel
