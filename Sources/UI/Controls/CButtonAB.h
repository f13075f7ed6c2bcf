#pragma once

#include "UI/Controls/CButton.h"

namespace kel
{

class CTextView;

// The A/B switch (tag ui:button-ab): a button whose inactive state is A and active state B, with
// two titles side by side in the children ".labels.a" and ".labels.b" of the view ".labels",
// the current one in bold: "[B]A[/B]" and "B" in state A, "A" and "[B]B[/B]" in state B. A
// template without them gets a ".labels" over the whole inside and two text views sharing it
// half and half (role ButtonABText). Owned by its parent view; the
// labels are its children. [ui thread]
class CButtonAB : public CButton
{
public:
    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* initChilds() override;
    void detachLinks() override;

    CTextView* getLabelA() const { return labelA; }
    CTextView* getLabelB() const { return labelB; }

protected:
    [[nodiscard]] CError* onActiveChanged(bool isNowActive) override;

private:
    [[nodiscard]] CError* makeLabels();
    [[nodiscard]] CError* showState(bool isB);

    CTextView* labelA = nullptr; // not owned: a grandchild; cleared in detachLinks
    CTextView* labelB = nullptr; // not owned: a grandchild; cleared in detachLinks
};

} // namespace kel
