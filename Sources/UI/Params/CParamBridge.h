#pragma once

#include "Core/CObject.h"

#include <cstdint>

namespace kel
{

class CUIParam;

// A source of values for CUIParams, in normalised units (0.0 to 1.0): reading, writing, text in
// both directions, the default, and the changes that make one undo step (beginChange, endChange).
// An element is a position inside the value, a group one channel group. A bridge that is not
// valid answers 0.0 and empty texts, and ignores every change.
//
// The CUIParams that read from it register themselves (addUIParam) and are told of each change
// that concerns them (notifyUIParams); they are not owned, and a bridge that goes tells them.
// [ui thread]
class CParamBridge : public CObject
{
public:
    ~CParamBridge() override;

    void detachLinks() override;

    virtual bool isValid() const = 0;
    // Text of a normalised value of an element, as the value's converter writes it.
    virtual void valueToText(CString& out, double normalised, int element, int group) const = 0;
    // Text of the present value (exact: no round trip through the normalised form).
    virtual void getValueText(CString& out, int element, int group) const = 0;
    // A user's text to a normalised value, limited to the range; ok tells whether it was valid.
    virtual double textToValue(const CString& text, int element, int group, bool* ok) const = 0;
    virtual double getNormalisedValue(int element, int group) const = 0;
    [[nodiscard]] virtual CError* setNormalisedValue(double value, int element, int group) = 0;
    virtual double getDefaultValue(int element, int group) const = 0;
    // One undo step of its own.
    [[nodiscard]] virtual CError* resetToDefault(int element, int group) = 0;
    // Opens the undo step that the following changes join; a step still open is ended first.
    // A mergeId of 0 or more lets the history fold steps of the same gesture into one entry.
    [[nodiscard]] virtual CError* beginChange(int element, int group, int32_t mergeId = -1) = 0;
    // Closes the step; a step in which nothing changed leaves no trace.
    [[nodiscard]] virtual CError* endChange() = 0;
    virtual bool isChangeOpen() const = 0;

    void addUIParam(CUIParam* uiParam);
    void removeUIParam(CUIParam* uiParam);
    int getUIParamCount() const { return uiParams.getCount(); }

protected:
    // Tells the CUIParams of the flat element range [elementOffset, elementOffset + elementCount)
    // of group (-1: every group) that their value changed; isReplacing also concerns everything
    // behind the range. The first error ends the walk.
    [[nodiscard]] CError* notifyUIParams(int elementOffset, int elementCount, int group,
                                         bool isReplacing);

private:
    CArray<CUIParam*> uiParams; // not owned; each removes itself
};

} // namespace kel
