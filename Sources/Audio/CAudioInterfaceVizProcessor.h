#pragma once

#include "Core/CArray.h"
#include "Core/CString.h"

#include <cstdint>

namespace kel
{

// Takes the visual data of the audio side on the UI side: the list of visual slots, the pacing of
// visual frames, and the end of all visual state when the audio side clears. Implemented by views
// that show meters; set on the client with CAudioInterfaceClient::setVizProcessor, not owned.
// [ui thread; called from the client's processBaseData]
class CAudioInterfaceVizProcessor
{
public:
    virtual ~CAudioInterfaceVizProcessor() = default;

    // Answer to a slot-list request, under the request's id.
    virtual void onVizSlotList(int32_t requestId, const CArray<CString>& slotNames) = 0;
    // Answer to an info request: visual frames per second and the number of slots.
    virtual void onVizInfo(int32_t id, double framesPerSec, int slotCount) = 0;
    // The audio side dropped its state: every stream subscription is gone.
    virtual void onVizReset() = 0;
};

} // namespace kel
