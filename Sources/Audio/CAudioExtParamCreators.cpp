#include "Audio/CAudioExtParamCreators.h"

#include "Audio/CAudioCCTable.h"
#include "Audio/CAudioExtParam.h"
#include "Audio/CAudioExtParamList.h"

namespace kel
{

CError* registerAudioExtParamCreators()
{
    static const CCreatorRow rows[] = {
        CCreatorRow::of<CAudioExtParam>("audio:ext-param"),
        CCreatorRow::of<CAudioExtParamList>("audio:ext-param-list"),
        CCreatorRow::of<CAudioCCTable>("audio:cctable"),
    };
    return CObject::registerCreators(rows);
}

} // namespace kel
