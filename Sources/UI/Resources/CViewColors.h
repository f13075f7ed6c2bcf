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
// The colour change between two rows: setBlend names the row the view comes from and how far it
// is on its way to the current row (0.0 the row it comes from, 1.0 the current one). While it
// runs, every image and text colour answered is the mix of the same slot in both rows: alpha
// and every level of the three ramps as from + (to - from) * position, levels rounded to the
// nearest (halves up). Gradients are resolved to one entry per cell at the rebuild, so every
// cell is a ramp and mixes level by level. The mixed colours are kept in a block of their own,
// made by the first change that reads them and kept for the next ones (a change of the slot
// count makes it anew); they are worked out again only when the position, a row or the tables
// moved, so that reading one costs a check of a flag. Outside a change the cells are answered
// as they are. The disabled colours do not depend on the row and never mix.
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
    // The row of a state combination, -1 when it has none yet.
    int findRow(const CString& stateName) const;
    int getRowCount() const { return stateNames.getCount(); }
    // Sets the name of image slot index; slots up to it that do not exist yet get empty names.
    void setSlotName(int index, const CString& name);
    // Attribute "color-slots": names separated by '|', where "." is the empty name.
    void setSlotNames(const CString& list);
    int getSlotCount() const { return slotNames.getCount(); }
    void setTextSlotName(int index, const CString& name);
    int getTextSlotCount() const { return textSlotNames.getCount(); }
    // The colour change from the row of fromState (appended when new) to the current row, at
    // position (0.0 to 1.0). A position of 1.0 or more, or a row that is the current one, ends
    // the change.
    void setBlend(const CString& fromState, double position);
    void endBlend();
    bool isBlending() const { return blendRow >= 0; }
    int getBlendRow() const { return blendRow; }
    double getBlendPosition() const { return blendPosition; }

    // Gradient position 0.0 to 1.0.
    void setPhase(double newPhase);
    double getPhase() const { return phase; }

    // Rebuilds the tables when a name changed or the root's palette is another one.
    void update();
    bool isDirty() const { return dirty; }
    // Number of rebuilds so far (diagnostics: a drawing call should not cause any).
    int getRebuildCount() const { return rebuildCount; }

    // Colours of the current row, mixed with the row before while a change runs; a slot out of
    // range logs "WRONG COLOR INDEX %i" and answers the palette's default colour. Never null.
    const CColor* getImageColor(int slot);
    const CColor* getTextColor(int slot);
    // The palette entries of a slot in any row, never mixed; wrong rows and slots as above.
    const CColor* getImageColorInRow(int row, int slot);
    const CColor* getTextColorInRow(int row, int slot);
    const CColor* getDisabledColor();
    const CColor* getDisabledTextColor();

    // The palette name of a cell: "Button" + "Text" + "_" + "ActiveHover"; "/Selection" +
    // anything gives "Selection" + "_" + state, and so does any row + "/Selection".
    static CString composeName(const CString& root, const CString& slot, const CString& state);

private:
    void fillTable(const CColor**& table, int& tableSize, const CArray<CString>& slots);
    const CColor* cellColor(const CColor* const* table, int tableSize, int row, int slot,
                            int slotCount);
    const CColor* fallbackColor() const;
    void releaseTables();
    // Works the mixed colours out again when something moved; false when there are none.
    bool refreshBlend();

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
    int blendRow = -1; // the row the colour comes from; -1 outside a change
    double blendPosition = 1.0;
    bool blendStale = false;
    CColor* blendColors = nullptr; // owned: the image slots, then the text slots
    int blendColorCount = 0;
    const CPalette* palette = nullptr; // not owned
    CViewColors* rootColors = nullptr; // not owned
};

} // namespace kel
