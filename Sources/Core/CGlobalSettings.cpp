#include "Core/CGlobalSettings.h"

#include <cmath>

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

double CGlobalSettings::dragStepOf(double dragPrecision)
{
    return 0.05 * std::pow(0.02, dragPrecision);
}

double CGlobalSettings::wheelStepOf(double wheelPrecision)
{
    return 0.2 * std::pow(0.025, wheelPrecision);
}

double CGlobalSettings::shiftFactorOf(double shiftPrecision)
{
    return 1.0 / (1.5 * std::pow(20.0 / 3.0, shiftPrecision));
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
    values().dragStep.store(dragStepOf(values().dragPrecision.load(std::memory_order_relaxed)),
                            std::memory_order_relaxed);
    return nullptr;
}

CError* CGlobalSettings::attrMouseWheelPrecision()
{
    copyDouble("mouse-wheel-precision", values().mouseWheelPrecision);
    values().wheelStep.store(
        wheelStepOf(values().mouseWheelPrecision.load(std::memory_order_relaxed)),
        std::memory_order_relaxed);
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
    values().shiftFactor.store(
        shiftFactorOf(values().shiftKeyPrecision.load(std::memory_order_relaxed)),
        std::memory_order_relaxed);
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
