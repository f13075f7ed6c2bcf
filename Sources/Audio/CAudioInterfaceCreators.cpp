#include "Audio/CAudioInterfaceCreators.h"

#include "Audio/CAudioInterfaceBase.h"
#include "Audio/CAudioInterfaceBaseConnectorVST.h"
#include "Audio/CAudioInterfaceClient.h"
#include "Audio/CAudioInterfaceClientConnectorVST.h"
#include "Audio/CAudioVizCollector.h"

namespace kel
{

CError* registerAudioInterfaceCreators()
{
    static const CCreatorRow rows[] = {
        CCreatorRow::of<CAudioInterfaceBase>("audio:interface-base"),
        CCreatorRow::of<CAudioInterfaceClient>("audio:interface-client"),
        CCreatorRow::of<CAudioInterfaceBaseConnectorVST>("audio:interface-base-connector-vst"),
        CCreatorRow::of<CAudioInterfaceClientConnectorVST>("audio:interface-client-connector-vst"),
        CCreatorRow::of<CAudioVizCollector>("audio:viz-collector"),
    };
    return CObject::registerCreators(rows);
}

} // namespace kel
