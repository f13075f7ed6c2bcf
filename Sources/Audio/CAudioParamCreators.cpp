#include "Audio/CAudioParamCreators.h"

#include "Audio/CAudioParamAllocDef.h"
#include "Audio/CAudioParamDef.h"
#include "Audio/CAudioParamRemapDef.h"
#include "Audio/Converters/CAudioParamConverterBW.h"
#include "Audio/Converters/CAudioParamConverterEnum.h"
#include "Audio/Converters/CAudioParamConverterFreq.h"
#include "Audio/Converters/CAudioParamConverterGain.h"
#include "Audio/Converters/CAudioParamConverterPercent.h"
#include "Audio/Converters/CAudioParamConverterRatio.h"
#include "Audio/Converters/CAudioParamConverterReal.h"
#include "Audio/Converters/CAudioParamConverterText.h"
#include "Audio/Converters/CAudioParamConverterTime.h"

namespace kel
{

CError* registerAudioParamCreators()
{
    // Scope and filter definitions have no tag in this product: no tree uses them.
    static const CCreatorRow rows[] = {
        CCreatorRow::of<CAudioParamConverterBW>("audio:cvt-bw"),
        CCreatorRow::of<CAudioParamConverterEnum>("audio:cvt-enum"),
        CCreatorRow::of<CAudioParamConverterFreq>("audio:cvt-freq"),
        CCreatorRow::of<CAudioParamConverterGain>("audio:cvt-gain"),
        CCreatorRow::of<CAudioParamConverterPercent>("audio:cvt-percent"),
        CCreatorRow::of<CAudioParamConverterRatio>("audio:cvt-ratio"),
        CCreatorRow::of<CAudioParamConverterReal>("audio:cvt-real"),
        CCreatorRow::of<CAudioParamConverterText>("audio:cvt-text"),
        CCreatorRow::of<CAudioParamConverterTime>("audio:cvt-time"),
        CCreatorRow::of<CAudioParamDef>("audio:param"),
        CCreatorRow::of<CAudioParamAllocDef>("audio:param-alloc"),
        CCreatorRow::of<CAudioParamRemapDef>("audio:param-remap"),
    };
    return CObject::registerCreators(rows);
}

} // namespace kel
