#pragma once

#include "Core/CObject.h"

namespace kel
{

// A list of titled items that selectors, control arrays, text views, popups and knob labels show
// (tag ui:value-list-manual; the base of ui:value-list). Non-visual.
//
// The items written in the tree are the `ui:textview-p` children: each `content` child of a
// paragraph gives its `value`, and the values of one paragraph join with "[BR]" into one item.
// With `separator-char` (its first character), an item's text splits further into one item per
// piece at that character. `add-empty-value` (false) puts an empty item first, `max-capacity`
// (0: no limit) caps the count of items (the empty one counted). `is-add-manual-items` (false)
// is read by derived lists, which append the tree's items to those they compute.
//
// Every item has a text and a value: the value of a tree item is its position among the tree's
// items, that of the empty item -1.0, that of a computed item what the deriving list puts there
// (the normalised value for parameter lists). The text of the empty item is empty; getTitle is
// what a consumer shows and gives "---" for it, so consumers need no rule of their own.
//
// Each time the items really change (another count, text or value), the list raises
// `values-changed` with the parameter `count`; rebuilding the same items raises nothing.
//
// Owned by its parent in the tree; the paragraphs are its children. [ui thread]
class CValueList : public CObject
{
public:
    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* init() override;
    // Reads the tree's items and builds the list (updateValues).
    [[nodiscard]] CError* initChilds() override;

    int getCount() const { return texts.getCount(); }
    // The item's text as stored ("" for the empty item).
    const CString& getText(int index) const { return texts[index]; }
    // The text a consumer shows: "---" for an empty item.
    CString getTitle(int index) const;
    double getValue(int index) const { return values[index]; }
    // The first item whose value is within 1e-9 of value, or -1.
    int findValue(double value) const;
    // The items of the tree, after splitting.
    const CArray<CString>& getManualItems() const { return manualItems; }
    bool isAddManualItems() const { return addManualItems; }

    // Builds the items again from their source; the base takes the tree's items.
    [[nodiscard]] virtual CError* updateValues();
    // Reads the `ui:textview-p` children again (after paragraphs were added or removed) and
    // rebuilds.
    [[nodiscard]] CError* reloadManualItems();

    // Replaces the items by the computed ones given (texts and values of the same count): the
    // empty item first where asked, then these, then the tree's items where `withManual`, cut to
    // `max-capacity`. Raises `values-changed` when the result differs from the present items.
    [[nodiscard]] CError* setItems(const CArray<CString>& newTexts, const CArray<double>& newValues,
                                   bool withManual);

private:
    // Handler of the attributes that shape the list: rebuilds a list already complete.
    [[nodiscard]] CError* attrShape();
    void readAttributes();
    void readManualItems();
    // Appends text to manualItems, split at the separator when one is set.
    void addManualText(const CString& text);

    CArray<CString> texts;
    CArray<double> values;
    CArray<CString> manualItems;
    int maxCapacity = 0;
    uint16_t separator = 0; // 0: none
    bool addEmptyValue = false;
    bool addManualItems = false;
};

} // namespace kel
