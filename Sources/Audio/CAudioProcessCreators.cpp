#include "Audio/CAudioProcessCreators.h"

#include "Audio/CAudioEnv.h"
#include "Audio/CAudioParamCollector.h"
#include "Audio/CAudioProcessDef.h"
#include "Audio/CAudioProcessLinkDef.h"
#include "Audio/CDCDAWContextObject.h"
#include "Audio/Modules/CModBypassDef.h"
#include "Audio/Modules/CModDecimatorDef.h"
#include "Audio/Modules/CModFilterDef.h"
#include "Audio/Modules/CModInterpolatorDef.h"
#include "Audio/Modules/CModMuteDef.h"
#include "Audio/Modules/CModNodeDef.h"
#include "Audio/Modules/CModOutputDef.h"
#include "Audio/Modules/CModZumbelDef.h"

namespace kel
{

CError* registerAudioProcessCreators()
{
    static const CCreatorRow rows[] = {
        CCreatorRow::of<CAudioProcessDef>("audio:process-def"),
        CCreatorRow::of<CAudioProcessLinkDef>("audio:process-link"),
        CCreatorRow::of<CModZumbelDef>("audio:modZumbel"),
        CCreatorRow::of<CModBypassDef>("audio:modBypass"),
        CCreatorRow::of<CModMuteDef>("audio:modMute"),
        CCreatorRow::of<CModNodeDef>("audio:modNode"),
        CCreatorRow::of<CModOutputDef>("audio:modOutput"),
        CCreatorRow::of<CModInterpolatorDef>("audio:modInterpolator"),
        CCreatorRow::of<CModDecimatorDef>("audio:modDecimator"),
        CCreatorRow::of<CModFilterDef>("audio:modFilter"),
        CCreatorRow::of<CAudioParamCollector>("audio:param-collector"),
        CCreatorRow::of<CAudioEnv>("audio:audio-env"),
        CCreatorRow::of<CDCDAWContextObject>("audio:dcdaw-context"),
    };
    return CObject::registerCreators(rows);
}

} // namespace kel
