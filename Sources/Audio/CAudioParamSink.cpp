#include "Audio/CAudioParamSink.h"

namespace kel
{

void CAudioParamSink::publishChange(CAudioParam&, const CAudioParamChange&, CAudioParamContext&) {}

} // namespace kel
