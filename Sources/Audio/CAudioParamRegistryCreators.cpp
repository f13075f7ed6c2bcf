#include "Audio/CAudioParamRegistryCreators.h"

#include "Audio/CAudioParamRegistry.h"
#include "Core/CApplication.h"

namespace kel
{

CError* registerAudioParamRegistryCreators()
{
    static const CCreatorRow rows[] = {
        CCreatorRow::of<CAudioParamRegistry>("audio:param-registry"),
    };
    for (const CCreatorRow& row : rows)
    {
        if (!CObject::hasCreator(CString(row.tag)))
            KEL_CHECK(CObject::registerCreators(&row, 1));
    }
    return nullptr;
}

namespace
{
// Known before the first instance tree is built, whoever starts the application. A static
// library drops an object nobody refers to: the starter calls the function by name as well.
const bool kRegistered =
    (CApplication::addCreatorRegistration(&registerAudioParamRegistryCreators), true);
} // namespace

} // namespace kel
