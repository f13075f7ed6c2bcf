#include "Audio/CAudioCreators.h"

#include "Audio/CAudioExtParamCreators.h"
#include "Audio/CAudioInterfaceCreators.h"
#include "Audio/CAudioParamCreators.h"
#include "Audio/CAudioParamRegistryCreators.h"
#include "Audio/CAudioProcessCreators.h"

namespace kel
{

CError* CAudioCreators::registerAll()
{
    KEL_CHECK(registerAudioParamCreators());
    KEL_CHECK(registerAudioParamRegistryCreators());
    KEL_CHECK(registerAudioProcessCreators());
    KEL_CHECK(registerAudioExtParamCreators());
    KEL_CHECK(registerAudioInterfaceCreators());
    return nullptr;
}

} // namespace kel
