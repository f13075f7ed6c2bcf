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
    };

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
