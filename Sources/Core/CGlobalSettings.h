#pragma once

#include "Core/CObject.h"

#include <atomic>

namespace kel
{

// The user's interface settings as one process-wide record that controls read without lookups
// (tag core:global-settings). The object sits in the interface tree, its attributes linked to the
// shared items ({*/ui.global-data.tablet-mode tablet-mode}); each attribute's handler copies its
// value into the record. [handlers: the tree's thread; the record: any thread]
class CGlobalSettings : public CObject
{
public:
    struct CValues
    {
        std::atomic<bool> builtinRefresh{false};
        std::atomic<double> dragPrecision{0.8};
        std::atomic<double> mouseWheelPrecision{0.5};
        std::atomic<int> oversamplingLevel{1};
        std::atomic<bool> radialKnobMode{false};
        std::atomic<double> shiftKeyPrecision{0.5};
        std::atomic<bool> showKnobLabels{true};
        std::atomic<bool> showVirtualKeyboard{true};
        std::atomic<bool> tabletMode{false};
        // The drag constants made from the three precisions (see the functions below), kept in
        // step by the precisions' handlers; the initial values are those of the defaults.
        std::atomic<double> dragStep{0.05 * 0.043734482957731115};
        std::atomic<double> wheelStep{0.2 * 0.15811388300841897};
        std::atomic<double> shiftFactor{1.0 / (1.5 * 2.581988897471611)};
    };

    // Normalised value per pixel of drag: 0.05 * 0.02^precision.
    static double dragStepOf(double dragPrecision);
    // Normalised step per wheel unit: 0.2 * 0.025^precision.
    static double wheelStepOf(double wheelPrecision);
    // Factor on motion while Shift is held: 1 / (1.5 * (20/3)^precision).
    static double shiftFactorOf(double shiftPrecision);

    static void registerClass(CClassInfo& info);
    static CValues& values();

private:
    [[nodiscard]] CError* attrBuiltinRefresh();
    [[nodiscard]] CError* attrDragPrecision();
    [[nodiscard]] CError* attrMouseWheelPrecision();
    [[nodiscard]] CError* attrOversamplingLevel();
    [[nodiscard]] CError* attrRadialKnobMode();
    [[nodiscard]] CError* attrShiftKeyPrecision();
    [[nodiscard]] CError* attrShowKnobLabels();
    [[nodiscard]] CError* attrShowVirtualKeyboard();
    [[nodiscard]] CError* attrTabletMode();

    void copyBool(const char* attrName, std::atomic<bool>& target) const;
    void copyDouble(const char* attrName, std::atomic<double>& target) const;
};

} // namespace kel
