#pragma once

#include "Core/CObject.h"

#include <cstdint>

namespace kel
{

class CParamBridge;
class CParamGroupSelector;
class CSharedAttribute;
class CUIParamUpdateHandler;

// A control's connection to one named value (tag ui:ui-param): a parameter through a bridge, or a
// shared attribute, read and written in normalised units (0.0 to 1.0) and as text. A control
// may have several, told apart by `index`.
//
// Attributes: `bridge` (path of a CParamBridge), `element` (0), `group` (0), `group-selector`
// (path of a CParamGroupSelector whose group replaces `group` and is followed), `index` (0),
// `shared-attribute` (path of a core:shared-attribute, used when there is no bridge),
// `shared-attribute-value` (the text that means "on": the value then reads 1.0 when the shared
// attribute holds it and 0.0 otherwise, and writing a value of 0.5 or more writes the text; a
// lower one writes nothing, as a choice is left by choosing another), `value-list` (path of the
// value list that gives the values their meaning, resolved and kept for the control).
// Without a bridge and a shared attribute, the value is 0.0 and nothing is heard.
//
// The parent must be a CUIParamUpdateHandler ("Parent object does not support ui-param."); it is
// called whenever the value may have changed, and reads it back from here, so that it shows what
// the parameter holds. The element used is `element` plus the offset the control sets.
//
// Owned by its control; bridge, selector, shared attribute and value list are not owned and are
// forgotten in detachLinks (a bridge that goes first tells it). [ui thread]
class CUIParam : public CObject
{
public:
    CUIParam();
    ~CUIParam() override;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* init() override;
    void detachLinks() override;
    [[nodiscard]] CError* onLinkedAttr(CObject* sender, const CString& attrName,
                                       const CAttrValue& value) override;

    // ---- values; element counts from this CUIParam's own element ----

    bool isValid() const;
    double getNormalisedValue(int element = 0) const;
    [[nodiscard]] CError* setNormalisedValue(double value, int element = 0);
    // The present value as the converter writes it (the shared attribute's text as it stands).
    void getText(CString& out, int element = 0) const;
    // Text of a normalised value, as getText would show it.
    void valueToText(CString& out, double value, int element = 0) const;
    [[nodiscard]] CError* setFromText(const CString& text, int element = 0);
    double getDefaultValue(int element = 0) const;
    [[nodiscard]] CError* resetToDefault(int element = 0);
    // The undo step of a gesture on the bridge (nothing for a shared attribute).
    [[nodiscard]] CError* beginChange(int element = 0, int32_t mergeId = -1);
    [[nodiscard]] CError* endChange();

    // ---- fields ----

    CParamBridge* getBridge() const { return bridge; }
    CObject* getValueList() const { return valueList; }
    int getIndex() const { return index; }
    // `element` plus the control's offset.
    int getElement() const { return element + elementOffset; }
    // The selector's group where one is followed, else `group`.
    int getGroup() const { return group; }
    // Set by the control whose elements start further on.
    void setElementOffset(int offset) { elementOffset = offset; }

    // Calls the parent's handler (a value display refreshing on its own).
    [[nodiscard]] CError* notifyHandler();

    // ---- from the bridge ----

    // A change of the flat element range [elementOffset, elementOffset + elementCount) of group
    // (-1: all groups); isReplacing also concerns the elements behind it. The handler hears only
    // a change that concerns this CUIParam.
    [[nodiscard]] CError* onBridgeChange(int changeOffset, int changeCount, int changeGroup,
                                         bool isReplacing);
    // The bridge is going: the CUIParam reads 0.0 from now on.
    void onBridgeGone(CParamBridge* leaving);

private:
    // Procedure of the selector's "group-change".
    [[nodiscard]] CError* onGroupChange();
    CString getSharedText() const;

    CUIParamUpdateHandler* handler = nullptr;     // not owned: the parent
    CParamBridge* bridge = nullptr;               // not owned; cleared in detachLinks
    CParamGroupSelector* groupSelector = nullptr; // not owned; cleared in detachLinks
    CSharedAttribute* sharedAttribute = nullptr;  // not owned; cleared in detachLinks
    CObject* valueList = nullptr;                 // not owned; cleared in detachLinks
    CString sharedValue;
    int element = 0;
    int elementOffset = 0;
    int group = 0;
    int index = 0;
};

} // namespace kel
