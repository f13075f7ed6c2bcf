#include "Audio/CAudioParamRegistryCreators.h"

#include "Audio/CAudioParamRegistry.h"

namespace kel
{

CError* registerAudioParamRegistryCreators()
{
    static const CCreatorRow rows[] = {
        CCreatorRow::of<CAudioParamRegistry>("audio:param-registry"),
    };
    return CObject::registerCreators(rows);
}

} // namespace kel
