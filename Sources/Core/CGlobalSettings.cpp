#include "Core/CGlobalSettings.h"

namespace kel
{

void CGlobalSettings::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
    info.addAttrHandler<CGlobalSettings>("builtin-refresh", &CGlobalSettings::attrBuiltinRefresh);
    info.addAttrHandler<CGlobalSettings>("drag-precision", &CGlobalSettings::attrDragPrecision);
    info.addAttrHandler<CGlobalSettings>("mouse-wheel-precision",
                                         &CGlobalSettings::attrMouseWheelPrecision);
    info.addAttrHandler<CGlobalSettings>("oversampling-level",
                                         &CGlobalSettings::attrOversamplingLevel);
    info.addAttrHandler<CGlobalSettings>("radial-knob-mode", &CGlobalSettings::attrRadialKnobMode);
    info.addAttrHandler<CGlobalSettings>("shift-key-precision",
                                         &CGlobalSettings::attrShiftKeyPrecision);
    info.addAttrHandler<CGlobalSettings>("show-knob-labels", &CGlobalSettings::attrShowKnobLabels);
    info.addAttrHandler<CGlobalSettings>("show-virtual-keyboard",
                                         &CGlobalSettings::attrShowVirtualKeyboard);
    info.addAttrHandler<CGlobalSettings>("tablet-mode", &CGlobalSettings::attrTabletMode);
}

CGlobalSettings::CValues& CGlobalSettings::values()
{
    static CValues record;
    return record;
}

// A value that does not convert keeps the record's present one.
void CGlobalSettings::copyBool(const char* attrName, std::atomic<bool>& target) const
{
    bool value = false;
    const CAttrValue* attr = findAttr(CString(attrName));
    if (attr && attr->tryGetBool(value))
        target.store(value, std::memory_order_relaxed);
}

void CGlobalSettings::copyDouble(const char* attrName, std::atomic<double>& target) const
{
    double value = 0.0;
    const CAttrValue* attr = findAttr(CString(attrName));
    if (attr && attr->tryGetDouble(value))
        target.store(value, std::memory_order_relaxed);
}

CError* CGlobalSettings::attrBuiltinRefresh()
{
    copyBool("builtin-refresh", values().builtinRefresh);
    return nullptr;
}

CError* CGlobalSettings::attrDragPrecision()
{
    copyDouble("drag-precision", values().dragPrecision);
    return nullptr;
}

CError* CGlobalSettings::attrMouseWheelPrecision()
{
    copyDouble("mouse-wheel-precision", values().mouseWheelPrecision);
    return nullptr;
}

CError* CGlobalSettings::attrOversamplingLevel()
{
    int32_t value = 0;
    const CAttrValue* attr = findAttr(CString("oversampling-level"));
    if (attr && attr->tryGetInt(value))
        values().oversamplingLevel.store(value, std::memory_order_relaxed);
    return nullptr;
}

CError* CGlobalSettings::attrRadialKnobMode()
{
    copyBool("radial-knob-mode", values().radialKnobMode);
    return nullptr;
}

CError* CGlobalSettings::attrShiftKeyPrecision()
{
    copyDouble("shift-key-precision", values().shiftKeyPrecision);
    return nullptr;
}

CError* CGlobalSettings::attrShowKnobLabels()
{
    copyBool("show-knob-labels", values().showKnobLabels);
    return nullptr;
}

CError* CGlobalSettings::attrShowVirtualKeyboard()
{
    copyBool("show-virtual-keyboard", values().showVirtualKeyboard);
    return nullptr;
}

CError* CGlobalSettings::attrTabletMode()
{
    copyBool("tablet-mode", values().tabletMode);
    return nullptr;
}

} // namespace kel
