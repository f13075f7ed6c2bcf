#pragma once

#include "Core/CArray.h"
#include "Core/CCheckedObject.h"
#include "Core/CString.h"

namespace kel
{

class CColor;
class CPalette;

// The colour table of one view (or of several: a view with "shared-color" uses the table of the
// view it names). A view never holds colour values: it holds a role ("Button"), slot names for
// the layers of its images ("", "Indicator") and for its text ("Text"), and rows, one per
// combination of states ("", "Active", "ActiveHover"). The table holds, per row and slot, the
// palette entry of the composed name "Button" + slot + "_" + row, looked up once per rebuild, so
// that drawing reads a pointer and compares one palette pointer.
//
// The palette comes from the window's root view: only the root's table is given a palette, the
// others follow it at their next update. Any change of a name, of the row list or of the phase
// marks the table dirty; it is rebuilt lazily at the next update.
//
// Owned by its view; the palette and the root table are not owned and outlive it. [ui thread]
class CViewColors : public CCheckedObject
{
public:
    CViewColors();
    ~CViewColors() override;
    CViewColors(const CViewColors&) = delete;
    CViewColors& operator=(const CViewColors&) = delete;

    // The table of the window's root view, whose palette this one follows; a root view's table
    // names itself. Null until set: updates then log "RootColors IS NULL" and do nothing.
    void setRootColors(CViewColors* root) { rootColors = root; }
    CViewColors* getRootColors() const { return rootColors; }
    // Only for the root's table: the palette all tables of the window draw from.
    void setPalette(const CPalette* newPalette);
    const CPalette* getPalette() const { return palette; }

    // Attribute "color". A name that begins with "/" is absolute: slot names are not appended.
    void setRootName(const CString& name);
    const CString& getRootName() const { return rootName; }
    // Makes the row of this state combination current, appending it when it is new.
    void setState(const CString& stateName);
    int getCurrentRow() const { return currentRow; }
    int getRowCount() const { return stateNames.getCount(); }
    // Sets the name of image slot index; slots up to it that do not exist yet get empty names.
    void setSlotName(int index, const CString& name);
    // Attribute "color-slots": names separated by '|', where "." is the empty name.
    void setSlotNames(const CString& list);
    int getSlotCount() const { return slotNames.getCount(); }
    void setTextSlotName(int index, const CString& name);
    int getTextSlotCount() const { return textSlotNames.getCount(); }
    // Gradient position 0.0 to 1.0.
    void setPhase(double newPhase);
    double getPhase() const { return phase; }

    // Rebuilds the tables when a name changed or the root's palette is another one.
    void update();
    bool isDirty() const { return dirty; }
    // Number of rebuilds so far (diagnostics: a drawing call should not cause any).
    int getRebuildCount() const { return rebuildCount; }

    // Colours of the current row; a slot out of range logs "WRONG COLOR INDEX %i" and answers
    // the palette's default colour. Never null.
    const CColor* getImageColor(int slot);
    const CColor* getTextColor(int slot);
    const CColor* getDisabledColor();
    const CColor* getDisabledTextColor();

    // The palette name of a cell: "Button" + "Text" + "_" + "ActiveHover"; "/Selection" +
    // anything gives "Selection" + "_" + state.
    static CString composeName(const CString& root, const CString& slot, const CString& state);

private:
    void fillTable(const CColor**& table, int& tableSize, const CArray<CString>& slots);
    const CColor* cellColor(const CColor* const* table, int tableSize, int slot, int slotCount);
    const CColor* fallbackColor() const;
    void releaseTables();

    CString rootName;
    CArray<CString> slotNames;
    CArray<CString> textSlotNames;
    CArray<CString> stateNames;
    int currentRow = 0;
    double phase = 0.0;
    const CColor** imageTable = nullptr;
    int imageTableSize = 0;
    const CColor** textTable = nullptr;
    int textTableSize = 0;
    const CColor* disabledColor = nullptr;
    const CColor* disabledTextColor = nullptr;
    bool dirty = true;
    int rebuildCount = 0;
    const CPalette* palette = nullptr; // not owned
    CViewColors* rootColors = nullptr; // not owned
};

} // namespace kel
