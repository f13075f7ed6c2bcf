#pragma once

#include "UI/Controls/CSelector.h"

namespace kel
{

// The interface scale chooser (tag ui:selector-scale): three buttons from "ui:button" for 80 %,
// 100 % and 125 %, titled by the value list "^ui-scale-titles" (or "button-title-list"; without
// either "80%", "100%", "125%"). Choosing one writes its factor ("0.8", "1.0", "1.25") to
// "scale" and to the shared attribute ("ui.local-data.ui-scale" by default); the factor the
// shared attribute holds makes its button the active one (none for another factor). Owned by
// its parent view. [ui thread]
class CSelectorScale : public CSelector
{
public:
    static constexpr int kScaleCount = 3;
    // The factors as they are written.
    static const char* const kScales[kScaleCount];

    static void registerClass(CClassInfo& info);

protected:
    const char* getDefaultSharedAttribute() const override { return "ui.local-data.ui-scale"; }
    [[nodiscard]] CError* prepareButtons() override;
    void readTitles(CArray<CString>& out) const override;
    [[nodiscard]] CError* onButtonReleased(int index) override;
    [[nodiscard]] CError* onSharedValue(const CString& text) override;
};

} // namespace kel
