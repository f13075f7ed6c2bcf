#include "UI/Controls/CReadOut.h"

#include "Core/CDebugChannel.h"
#include "Core/CGlobalSettings.h"
#include "Core/CUtf8Path.h"
#include "UI/Params/CUIParam.h"
#include "UI/Params/CUIParamController.h"
#include "UI/Windows/CWindow.h"

#include <cstring>

namespace kel
{

namespace
{
// Keys by their X11 keysym numbers, as the window gives them.
constexpr int32_t kKeyTab = 0xff09;
constexpr int32_t kKeyReturn = 0xff0d;
constexpr int32_t kKeyEscape = 0xff1b;
constexpr int32_t kKeyPadEnter = 0xff8d;
constexpr int32_t kKeyLeftTab = 0xfe20;
constexpr int32_t kKeyCapsLock = 0xffe5;

bool isLetter(uint16_t unit)
{
    return (unit >= 'a' && unit <= 'z') || (unit >= 'A' && unit <= 'Z');
}

// Gives the letter keys below node (views with a one-letter "vk-key") the title of their case.
CError* retitleLetterKeys(CObject* node, bool upper)
{
    const CString key = node->getAttrString(CString("vk-key"), CString());
    if (key.getLength() == 1 && isLetter(key.getUnit(0)))
    {
        CString title = key;
        if (upper)
            title.toUpperCase();
        else
            title.toLowerCase();
        KEL_CHECK(node->setAttr(CString("title"), CAttrValue(title)));
    }
    for (int i = 0; i < node->getChildCount(); ++i)
        KEL_CHECK(retitleLetterKeys(node->getChild(i), upper));
    return nullptr;
}

CAttrMap focusParams(CObject* view)
{
    CAttrMap params;
    params.set(CString("key-focus-view"), CAttrValue(static_cast<void*>(view)));
    return params;
}
} // namespace

void CReadOut::registerClass(CClassInfo& info)
{
    CTextView::registerClass(info);
    info.addEventProc<CReadOut>("key-press", &CReadOut::onKeyPressEvent);
    info.addEventProc<CReadOut>("virtual-keyboard-closed", &CReadOut::onVirtualKeyboardClosed);
}

CError* CReadOut::initChilds()
{
    KEL_CHECK(CTextView::initChilds());
    keyboardField = getAttrBool(CString("is-virtual-keyboard-field"), false);
    if (!getAttrString(CString("bridge"), CString()).isEmpty() ||
        !getAttrString(CString("shared-attribute"), CString()).isEmpty())
        KEL_CHECK(makeChild("ui:ui-param", "ui-param",
                            {"bridge", "group-selector", "element", "shared-attribute",
                             "shared-attribute-value", "value-list"}));
    if (getAttrBool(CString("needs-ui-param-controller"), false))
        KEL_CHECK(makeChild("ui:ui-param-controller", "ui-param-controller",
                            {"ui-param-count", "update-fps"}));
    uiParam = dynamic_cast<CUIParam*>(findObject(CString(".ui-param")));
    controller = dynamic_cast<CUIParamController*>(findObject(CString(".ui-param-controller")));
    showValue();
    return nullptr;
}

CError* CReadOut::makeChild(const char* templateName, const char* childName,
                            std::initializer_list<const char*> attrNames)
{
    if (findObject(CString(".") + CString(childName)))
        return nullptr;
    CAttrMap params;
    for (const char* attrName : attrNames)
    {
        const CString value = getAttrString(CString(attrName), CString());
        if (!value.isEmpty())
            params.set(CString(attrName), CAttrValue(value));
    }
    CObject* made = nullptr;
    KEL_CHECK(createChild(CString(templateName), CString(childName), made, &params));
    return nullptr;
}

void CReadOut::detachLinks()
{
    uiParam = nullptr;
    controller = nullptr;
    keyboardFieldPath.clear();
    CTextView::detachLinks();
}

CError* CReadOut::onUIParamUpdate(CUIParam& /*changed*/)
{
    showValue();
    return nullptr;
}

void CReadOut::showValue()
{
    if (!uiParam)
        return;
    CString text;
    if (uiParam->isValid())
        uiParam->getText(text);
    if (text != getContent())
        setContent(text);
}

CString CReadOut::getEditStartText()
{
    if (keyboardField)
        return fieldText;
    CString text;
    if (uiParam && uiParam->isValid())
        uiParam->getText(text);
    return text;
}

CError* CReadOut::onEditCommitted(const CString& text)
{
    if (keyboardField)
    {
        // Enter, Tab, a press outside the keyboard, or its window losing the keys (a press on one
        // of its own keys leaves them with the field): what was typed goes to the read-out that
        // opened the keyboard, as a typed value.
        fieldText = text;
        CReadOut* opener = findOpener();
        return opener ? opener->commitTypedText(text, false) : nullptr;
    }
    if (uiParam && uiParam->isValid())
    {
        KEL_CHECK(uiParam->beginChange());
        KEL_CHECK(uiParam->setFromText(text), delete uiParam->endChange());
        KEL_CHECK(uiParam->endChange());
    }
    // A text that was not taken leaves the value's own text on show.
    showValue();
    return nullptr;
}

CError* CReadOut::commitTypedText(const CString& text, bool cancelled)
{
    if (!cancelled)
        KEL_CHECK(onEditCommitted(text));
    CAttrMap event;
    event.set(CString("text"), CAttrValue(text));
    event.set(CString("is-cancelled"), CAttrValue(cancelled));
    return sendEvent(CString("editbox-text-changed"), event);
}

CError* CReadOut::onCtlEvent(const CString& eventName, CAttrMap& params)
{
    if (pasteAwaited && eventName == CString("clipboard-text"))
    {
        pasteAwaited = false;
        // The first line of the clipboard, as a typed text; the keys go back first.
        const CAttrValue* given = params.find(CString("text"));
        CString text = given ? given->getString() : CString();
        const int feed = text.findUnit('\n');
        if (feed >= 0)
            text.erase(feed);
        if (text.getLength() > 0 && text.getUnit(text.getLength() - 1) == '\r')
            text.erase(text.getLength() - 1);
        CWindow* window = findWindow();
        if (window && window->getKeyFocusView() == this)
            KEL_CHECK(window->callEventProc(CString("change-key-focus"), focusParams(nullptr)));
        KEL_CHECK(commitTypedText(text, false));
    }
    else if (eventName == CString("blur"))
        pasteAwaited = false;
    return CTextView::onCtlEvent(eventName, params);
}

CError* CReadOut::onMouseWheel(CAttrMap& params)
{
    KEL_CHECK(CTextView::onMouseWheel(params));
    if (controller)
        KEL_CHECK(controller->addWheelDelta(getParamInt(params, "delta"), 0, 1,
                                            getParamBool(params, "is-shift")));
    return nullptr;
}

// ---- the virtual keyboard, on the read-out's side ----

bool CReadOut::isVirtualKeyboardOn() const
{
    return !keyboardField && getAttrBool(CString("is-virtual-keyboard-allowed"), false) &&
           CGlobalSettings::values().showVirtualKeyboard.load(std::memory_order_relaxed);
}

CError* CReadOut::onMousePress(CAttrMap& params)
{
    const bool isDouble = getParamBool(params, "is-double-click");
    const bool onClick = getAttrBool(CString("is-editbox-on-click"), false) ||
                         getAttrBool(CString("is-editbox-on-singleclick"), false);
    const bool onDouble = getAttrBool(CString("is-editbox-on-dblclick"), false);
    if (!isVirtualKeyboardOn() || isEditing() ||
        !((onClick && !isDouble) || (onDouble && isDouble)))
        return CTextView::onMousePress(params);
    // The keyboard in place of the bare edit box.
    KEL_CHECK(CView::onMousePress(params));
    return openVirtualKeyboard();
}

CError* CReadOut::openVirtualKeyboard()
{
    copyPasteMenuOpen = false;
    if (!findObject(CString(".virtual-keyboard-closed")))
    {
        CAttrMap commandAttrs;
        commandAttrs.set(CString("on-event"), CAttrValue("popup-closed"));
        commandAttrs.set(CString("run-event"), CAttrValue("virtual-keyboard-closed"));
        CObject* command = nullptr;
        KEL_CHECK(createChild(CString("ui:view-command"), CString("virtual-keyboard-closed"),
                              command, &commandAttrs));
    }
    CAttrMap toggle;
    toggle.set(CString("popup-tag"), CAttrValue(getAttrString(CString("virtual-keyboard-tag"),
                                                              CString("ui:virtual-keyboard"))));
    toggle.set(CString("window-alignment"), CAttrValue("bottom"));
    KEL_CHECK(callEventProc(CString("popup-toggle"), toggle));
    // No popup: the toggle closed the keyboard that was up.
    CViewBaseCtlEvents* popup = getOpenPopup();
    if (!popup)
        return nullptr;
    auto* field = dynamic_cast<CReadOut*>(popup->findObject(CString(".field")));
    if (!field)
    {
        KEL_LOG("Virtual keyboard without a field");
        return nullptr;
    }
    keyboardFieldPath = field->getFullName();
    // The field edits as this read-out's own edit box would.
    for (const char* attrName : {"accept-chars", "max-paragraph-length", "editbox-empty-value"})
    {
        if (const CAttrValue* value = findAttr(CString(attrName)))
            KEL_CHECK(field->setAttr(CString(attrName), *value));
    }
    field->keyboardField = true;
    field->fieldText = getEditStartText();
    return field->startFieldEdit();
}

CError* CReadOut::onVirtualKeyboardClosed(const CAttrMap& /*params*/)
{
    if (keyboardFieldPath.isEmpty())
        return nullptr;
    auto* field = dynamic_cast<CReadOut*>(findObject(keyboardFieldPath));
    keyboardFieldPath.clear();
    // Closed by a press elsewhere (or a second click here): what stands in the field commits.
    if (field && field->keyboardField && field->findOpener() == this && field->isEditing())
        return field->endFieldEdit(false, false, false);
    return nullptr;
}

// ---- copy and paste ----

CError* CReadOut::onMousePressR(CAttrMap& params)
{
    KEL_CHECK(CTextView::onMousePressR(params));
    if (keyboardField || !getAttrBool(CString("is-copy-paste"), false))
        return nullptr;
    CAttrMap toggle;
    toggle.set(CString("popup-tag"), CAttrValue("ui:label-copy-paste"));
    toggle.set(CString("window-alignment"), CAttrValue("bottom"));
    KEL_CHECK(callEventProc(CString("popup-toggle"), toggle));
    copyPasteMenuOpen = getOpenPopup() != nullptr;
    return nullptr;
}

CError* CReadOut::onPopupResult(CAttrMap& params)
{
    KEL_CHECK(CTextView::onPopupResult(params));
    if (!copyPasteMenuOpen)
        return nullptr;
    copyPasteMenuOpen = false;
    const int32_t index = getParamInt(params, "index", -1);
    if (index == 0)
        return copyContent();
    if (index == 1)
        return requestPaste();
    return nullptr;
}

CError* CReadOut::requestPaste()
{
    CWindow* window = findWindow();
    CNativeWindow* native = window ? window->getNativeWindow() : nullptr;
    if (!native)
        return nullptr;
    // The answer comes to the view that has the keys.
    KEL_CHECK(window->callEventProc(CString("change-key-focus"), focusParams(this)));
    pasteAwaited = window->getKeyFocusView() == this;
    native->requestClipboardText();
    return nullptr;
}

// ---- the keyboard's field ----

CReadOut* CReadOut::findOpener() const
{
    const CViewBasePlacement* keyboard = getRootView();
    const CString openerPath =
        keyboard ? keyboard->getAttrString(CString("opener"), CString()) : CString();
    return openerPath.isEmpty() ? nullptr : dynamic_cast<CReadOut*>(findObject(openerPath));
}

CError* CReadOut::startFieldEdit()
{
    // All of it selected at first, so that typing replaces it.
    KEL_CHECK(setAttr(CString("is-select-all-on-focus"), CAttrValue(true)));
    setContent(fieldText);
    return startEditing();
}

CError* CReadOut::onKeyPressEvent(const CAttrMap& params)
{
    if (!keyboardField)
        return runCommands(CString("key-press"), params);
    bool taken = false;
    KEL_CHECK(takeKeyboardKey(params, taken));
    CTextView* box = getEditBox();
    if (taken || !box)
        return nullptr;
    const CAttrValue* keyText = params.find(CString("key"));
    if (keyText && keyText->getString().getLength() > 1 && getParamInt(params, "keycode") == 0)
    {
        // A key of several characters ("Hz") types them one by one.
        const CString text = keyText->getString();
        for (int i = 0; i < text.getLength(); ++i)
        {
            CAttrMap one = params;
            one.set(CString("key"), CAttrValue(text.substring(i, 1)));
            KEL_CHECK(onKeyPressEvent(one));
        }
        return nullptr;
    }
    // A letter key types in the case CAPS (or Shift held on the click) asks for.
    CAttrMap key = params;
    if (keyText && keyText->getString().getLength() == 1 &&
        isLetter(keyText->getString().getUnit(0)))
    {
        CString letter = keyText->getString();
        if (capsOn != getParamBool(params, "is-shift"))
            letter.toUpperCase();
        else
            letter.toLowerCase();
        key.set(CString("key"), CAttrValue(letter));
        key.set(CString("keycode"), CAttrValue(static_cast<int32_t>(letter.getUnit(0))));
    }
    return box->deliverCtlEvent(CString("key-press"), key);
}

CError* CReadOut::onEditBoxKey(const CAttrMap& params, bool& outTaken)
{
    outTaken = false;
    if (!keyboardField)
        return nullptr;
    return takeKeyboardKey(params, outTaken);
}

CError* CReadOut::takeKeyboardKey(const CAttrMap& params, bool& outTaken)
{
    outTaken = true;
    const int32_t keycode = getParamInt(params, "keycode");
    const CAttrValue* keyText = params.find(CString("key"));
    if ((keyText && keyText->getString() == CString("CAPS")) || keycode == kKeyCapsLock)
    {
        const CAttrValue* sender = params.find(CString("sender"));
        return toggleCaps(sender ? sender->getString() : CString());
    }
    if (keycode == kKeyReturn || keycode == kKeyPadEnter)
        return endFieldEdit(false, false, false);
    if (keycode == kKeyEscape)
        return endFieldEdit(true, false, false);
    if (keycode == kKeyTab || keycode == kKeyLeftTab)
        return endFieldEdit(false, true,
                            keycode == kKeyLeftTab || getParamBool(params, "is-shift"));
    outTaken = false;
    return nullptr;
}

CError* CReadOut::toggleCaps(const CString& senderPath)
{
    capsOn = !capsOn;
    if (CObject* keyboard = getRootView())
        KEL_CHECK(retitleLetterKeys(keyboard, capsOn));
    // The CAPS button shows the state.
    CObject* sender = senderPath.isEmpty() ? nullptr : findObject(senderPath);
    if (sender && sender != this)
        KEL_CHECK(sender->setAttr(CString("is-active"), CAttrValue(capsOn)));
    return nullptr;
}

CError* CReadOut::endFieldEdit(bool cancelled, bool tab, bool backwards)
{
    CReadOut* opener = findOpener();
    CTextView* box = getEditBox();
    const CString text = box ? box->getEditText() : fieldText;
    if (box)
        KEL_CHECK(box->finishEditing(cancelled));
    if (cancelled && opener)
        KEL_CHECK(opener->commitTypedText(text, true));
    if (CWindow* window = findWindow())
        KEL_CHECK(window->callEventProc(CString("popup-close"), CAttrMap()));
    CWindow* openerWindow = opener ? opener->findWindow() : nullptr;
    if (tab && openerWindow)
    {
        // As the Tab key of the read-out's own edit box: the next of its group takes the keys.
        CAttrMap focus = focusParams(opener);
        focus.set(CString("is-tab"), CAttrValue(true));
        focus.set(CString("is-shift"), CAttrValue(backwards));
        KEL_CHECK(openerWindow->callEventProc(CString("change-key-focus"), focus));
    }
    return nullptr;
}

} // namespace kel
