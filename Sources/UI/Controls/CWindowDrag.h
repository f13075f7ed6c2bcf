#pragma once

#include "UI/Views/CView.h"

namespace kel
{

// The root view of a window (tag ui:window-drag): it starts the window's layout network and
// sector map, holds the window renderer as a child, and gives the window its palette
// ("palette", bound to the colour scheme). A press on its free area drags a top-level window
// along with the pointer. Owned by the tree's root object. [ui thread]
class CWindowDrag : public CView
{
public:
    static void registerClass(CClassInfo& info);

protected:
    bool isRootByDefault() const override { return true; }
};

} // namespace kel
