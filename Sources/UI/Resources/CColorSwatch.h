#pragma once

#include "Core/CObject.h"

namespace kel
{

class CColor;
class CPalette;

// A numbered set of colours (tag ui:color-swatch): entry i is a palette role name, so that a
// control which is told "colour 3 of this swatch" draws in whatever the window's colour scheme
// gives that role. Non-visual.
//
// The entries: the attribute "colors", role names separated by '|' ("Custom1|Custom2"), then the
// children in their order, each one entry by its attribute "color" (children without one are
// skipped). Changing "colors" at run time rebuilds the list; its users read it when they draw.
//
// A colour is looked up in a palette with the state suffix of the asking view first
// ("Custom1_Hover"), then under the plain role name; a role the palette does not have, or an
// index out of range, gives no colour, and the caller keeps its own.
//
// Owned by its parent in the tree; the entry objects are its children. [ui thread]
class CColorSwatch : public CObject
{
public:
    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* initChilds() override;

    int getCount() const { return roles.getCount(); }
    // The role name of entry index; empty out of range.
    CString getRole(int index) const;
    // The palette's colour of entry index in the state row stateSuffix ("" for the plain row);
    // null when there is none.
    const CColor* findColor(int index, const CPalette& palette, const CString& stateSuffix) const;

private:
    [[nodiscard]] CError* attrColors();
    void rebuild();

    CArray<CString> roles;
};

} // namespace kel
