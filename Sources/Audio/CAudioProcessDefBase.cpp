#include "Audio/CAudioProcessDefBase.h"

namespace kel
{

void CAudioProcessDefBase::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CAudioProcessDefBase::init()
{
    KEL_CHECK(CObject::init());
    smoothUpdate = getAttrBool("is-smooth-update", false);
    multiband = getAttrBool("is-multiband", false);
    stacked = getAttrBool("is-stacked", false);
    const CString shiftText = getAttrString("stack-index-shift", CString("0"));
    int32_t shift = 0;
    if (!shiftText.isEmpty() && !shiftText.parseInt(shift))
        return KEL_ERROR("@kelstr_CAudioProcessDefBase_init_InvalidStackIndexShift Invalid stack "
                         "index shift value '%1' specified.",
                         shiftText);
    stackIndexShift = shift;
    grouped = getAttrBool("is-grouped", false);
    whole = getAttrBool("is-whole", false);
    terminalWhole = getAttrBool("is-terminal-whole", false);
    prototype = getAttrBool("is-prototype", false);
    outOfOrder = getAttrBool("is-outoforder", false);
    group0 = getAttrBool("is-group0", false);
    element0 = getAttrBool("is-element0", false);
    allParamGroups = getAttrBool("use-all-param-groups", false);
    allParamElements = getAttrBool("use-all-param-elements", false);
    weightedInput = getAttrBool("is-weighted-input", false);
    timeShift = getAttrBool("use-time-shift", false);
    const double xfade = getAttrDouble("xfade-length", 0.015);
    xfadeLengthSec = xfade < 0.0001 ? 0.0001 : xfade;
    return nullptr;
}

} // namespace kel
