#pragma once

#include "Core/CError.h"

namespace kel
{

// The creator rows of the audio library: parameters and converters, registries, the graph's
// definitions, host parameters and the audio interface. The program that starts the application
// names this (CApplication::addCreatorRegistration) before the shared tree is read; calling it
// again changes nothing. [set-up thread]
class CAudioCreators
{
public:
    [[nodiscard]] static CError* registerAll();
};

} // namespace kel
