#pragma once

#include "Core/CObject.h"

namespace kel
{

// One image colour slot of its parent view (tag ui:view-color-slot): "slot-index" names the
// slot, "color" the slot name that replaces the one the view's "color-slots" gave it, so that
// layer slot-index of the view's images draws in the colour role + that name. Read once, in init.
// Owned by the view. [ui thread]
class CViewColorSlot : public CObject
{
public:
    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* init() override;
};

} // namespace kel
