#pragma once

#include "UI/Rendering/CTextWrapper.h"
#include "UI/Views/CView.h"

namespace kel
{

class CFontObject;

// The text control (tag ui:textview): a label, a hint, a list of paragraphs, and the edit box
// that a text field opens over itself.
//
// Text: the attribute "title" (with mark-up), or the children ui:textview-p, each the values of
// its "content" children joined by [BR], and ui:textview-br, an empty line; paragraphs follow
// each other "paragraph-spacing" apart. The faces are those of the font family "font-name" (a
// path; a view without one takes its nearest ancestor's, "shared::fnt.base" at the top). The
// text lies in the view's rectangle by "text-alignment" ("left", "center", "right",
// "justify") and "text-alignment-v" ("top", "center", "bottom"), wrapped at its width with
// "is-text-wrapped". "max-text-height" (pixels, scaled) limits a compact text view: the text
// shows and measures only its whole lines that end within it; empty means no limit. A view placed
// with a scroller placement draws only inside its parent, and only the stored lines that fall in
// what is drawn: scrolling a long list lays nothing out again. Colours are text slots of the
// view's role: "text-color" ("Text"), "text-color1" and "text-color2" for [C1] and [C2],
// "paragraph-select-text-color" for the selected paragraph; "paragraph-hover-color" and
// "paragraph-select-color" name the palette roles of the hovered and the selected paragraph's
// background.
//
// A value list as text: "text-source" (a path to a CValueList) shows the titles of its items as
// paragraphs, at most "max-item-count" of them (0: all), and again when the list raises
// values-changed; an empty list shows "no-items-title", or "<no items>" when that is empty.
// The text gives the view its content size, which a "compact" width or height takes.
//
// Lists: with "is-paragraph-hoverable" the paragraph under the pointer is drawn hovered; with
// "is-paragraph-selectable" a press selects it ("selected-paragraph", event
// selected-paragraph-changed with "index"; "is-right-click-selects" lets the right button do it
// too; "is-selected-paragraph-click-cancels" makes a press on the selected one clear it) and a
// double click raises paragraph-dbl-clicked. A selection is written to "result-target" (a path)
// in its attribute "result-target-index-attr" ("value" by default). In a popup, "is-popup-list"
// makes a press on an item (not on "<no items>") the popup's result (popup-result with "index"
// to the view that opened it) and ends the popup.
//
// Editing: "is-editbox-on-click" (or "-on-singleclick") starts on a press, "-on-dblclick" on a
// double click, and a Tab that brings the focus (see CWindow) starts it too. The edit box is a
// child "temp-editbox" made from the template ui:editbox-popup over the view; it takes the keys
// and shows the text as it stands, without mark-up, with the cursor blinking at the window's
// "cursor-fps" and all of it selected first ("is-select-all-on-focus", on by default in the
// template). Keys: characters that "accept-chars" allows (all when empty) up to
// "max-paragraph-length" characters (0: no limit); BackSpace, Delete, Left, Right, Home, End;
// Ctrl+A selects all, Ctrl+C and Ctrl+X copy to the clipboard, Ctrl+V pastes from it. Return
// commits, Escape cancels, Tab commits and moves the focus along "tab-group" (Shift+Tab back),
// a press outside the box or the loss of the keyboard commits. A commit of empty text commits
// "editbox-empty-value". The owner hears it through onEditCommitted (the base takes the text as
// its title) and raises editbox-text-changed with "text", "is-cancelled" and "is-return" (Return
// or Enter ended it, where a form takes it for its default button).
//
// Owned by its parent view; the wrapper is its own; the edit box is its child while it lives.
// [ui thread]
class CTextView : public CView
{
public:
    CTextView();
    ~CTextView() override;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* initChilds() override;
    void detachLinks() override;

    // The text given to the wrapper: the title, or the paragraphs joined by line feeds.
    const CString& getContent() const { return content; }
    // Puts text, or the whole content, on the clipboard of the view's window (nothing without
    // a window). The event "copy-content" copies the content: from a button's command, or from
    // a key-press command that forwards "keycode" and "is-ctrl", on Ctrl+Insert or Ctrl+C.
    void copyToClipboard(const CString& text) const;
    [[nodiscard]] CError* copyContent();
    CTextWrapper& getWrapper() { return wrapper; }
    int getHoveredParagraph() const { return hoveredParagraph; }
    int getSelectedParagraph() const { return selectedParagraph; }

    // ---- the edit box, on the owner's side ----
    [[nodiscard]] CError* startEditing();
    bool isEditing() const { return editBox != nullptr; }
    CTextView* getEditBox() const { return editBox; }

    // ---- the edit box's own state ----
    bool isEditBox() const { return editBoxMode; }
    const CString& getEditText() const { return editText; }
    int getCursor() const { return cursor; }
    // The selected units [start, end); equal when nothing is selected.
    int getSelectionStart() const { return anchor < cursor ? anchor : cursor; }
    int getSelectionEnd() const { return anchor < cursor ? cursor : anchor; }
    bool isCursorShown() const { return cursorShown; }
    // Ends the box: the owner hears the text, or that it was cancelled; the box goes. byReturn:
    // Return or Enter ended it.
    [[nodiscard]] CError* finishEditing(bool cancelled, bool byReturn = false);

protected:
    void draw(CDrawContext& dc) override;
    void onAreaChanged() override;
    [[nodiscard]] CError* onCtlEvent(const CString& eventName, CAttrMap& params) override;
    [[nodiscard]] CError* onMouseMove(CAttrMap& params) override;
    [[nodiscard]] CError* onMouseExit(CAttrMap& params) override;
    [[nodiscard]] CError* onMousePress(CAttrMap& params) override;
    [[nodiscard]] CError* onMousePressR(CAttrMap& params) override;
    [[nodiscard]] CError* onKeyPress(CAttrMap& params) override;
    [[nodiscard]] CError* onFocusLost(CAttrMap& params) override;

    // A committed edit on the owner: the base makes the text its title.
    [[nodiscard]] virtual CError* onEditCommitted(const CString& text);
    // The text an edit starts from; the base gives the title.
    virtual CString getEditStartText();
    // A key that reached this view's edit box, offered to this view before the box takes it;
    // outTaken keeps it from the box. The base takes none.
    [[nodiscard]] virtual CError* onEditBoxKey(const CAttrMap& /*params*/, bool& outTaken)
    {
        outTaken = false;
        return nullptr;
    }
    // Sets the shown text (a title) and lays it out again.
    void setContent(const CString& text);

private:
    [[nodiscard]] CError* attrContent();
    // Shows the titles of the value list at sourcePath as paragraphs.
    [[nodiscard]] CError* showTextSource(const CString& sourcePath);
    // Procedure of the list's values-changed.
    [[nodiscard]] CError* onTextSourceChanged(const CAttrMap& params);
    [[nodiscard]] CError* onCopyContent(const CAttrMap& params);
    void updateContentSize();
    [[nodiscard]] CError* attrFont();
    [[nodiscard]] CError* attrLayout();
    [[nodiscard]] CError* attrColors();
    [[nodiscard]] CError* attrList();

    // The text's top left corner in window pixels.
    void getTextOrigin(int& x, int& y);
    int paragraphAt(int x, int y);
    // Rows of a paragraph in window pixels; false when it has no line.
    bool getParagraphRect(int paragraph, CLinearBitmap::Rect& out);
    void fillPaletteRect(CDrawContext& dc, const CLinearBitmap::Rect& area, const CString& role);
    [[nodiscard]] CError* selectParagraph(int paragraph);

    // ---- edit box ----
    [[nodiscard]] CError* handleEditKey(const CAttrMap& params);
    void replaceSelection(const CString& text);
    void showEditText();
    int cursorPixel();

    CTextWrapper wrapper;
    CString content;
    const CFontObject* fontObject = nullptr; // not owned: the shared tree's
    CString hoverColor;
    CString selectColor;
    bool hoverable = false;
    bool selectable = false;
    int hoveredParagraph = -1;
    int selectedParagraph = -1;
    int verticalAlignment = 0; // 0 top, 1 center, 2 bottom
    int sourceItemCount = -1;  // items shown from the text source; -1 without one
    int maxTextHeight = -1;    // "max-text-height" at scale 1.0; -1: no limit
    CString listenedSource;    // the text source whose values-changed is heard

    CTextView* editBox = nullptr; // a child while editing; cleared in detachLinks
    bool editBoxMode = false;     // this view is an edit box
    CString editText;
    int cursor = 0;
    int anchor = 0;
    bool cursorShown = true;
    bool finishing = false;
};

} // namespace kel
