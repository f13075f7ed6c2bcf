#include "UI/Controls/CTextView.h"

#include "Core/CDebugChannel.h"
#include "Core/CUtf8Path.h"
#include "UI/Lists/CValueList.h"
#include "UI/Resources/CColor.h"
#include "UI/Resources/CFontObject.h"
#include "UI/Resources/CPalette.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Windows/CWindow.h"

#include <cmath>
#include <cstring>

namespace kel
{

namespace
{
// Keys by their X11 keysym numbers, which every backend uses.
constexpr int32_t kKeyBackSpace = 0xff08;
constexpr int32_t kKeyTab = 0xff09;
constexpr int32_t kKeyReturn = 0xff0d;
constexpr int32_t kKeyInsert = 0xff63;
constexpr int32_t kKeyEscape = 0xff1b;
constexpr int32_t kKeyHome = 0xff50;
constexpr int32_t kKeyLeft = 0xff51;
constexpr int32_t kKeyRight = 0xff53;
constexpr int32_t kKeyEnd = 0xff57;
constexpr int32_t kKeyPadEnter = 0xff8d;
constexpr int32_t kKeyPadHome = 0xff95;
constexpr int32_t kKeyPadLeft = 0xff96;
constexpr int32_t kKeyPadRight = 0xff98;
constexpr int32_t kKeyPadEnd = 0xff9c;
constexpr int32_t kKeyPadDelete = 0xff9f;
constexpr int32_t kKeyDelete = 0xffff;
constexpr int32_t kKeyLeftTab = 0xfe20;

const char* const kDefaultFont = "shared::fnt.base";

// The path of the font family: the view's own, or its nearest ancestor's.
CString fontPathOf(const CObject* view)
{
    for (const CObject* node = view; node; node = node->getParent())
    {
        const CString path = node->getAttrString(CString("font-name"), CString());
        if (!path.isEmpty() && path != CString("/^"))
            return path;
    }
    return CString(kDefaultFont);
}

// The height of the whole lines that end within limitMetric (at scale 1.0; below 0: no limit).
int heightWithin(CTextWrapper& wrapper, int limitMetric)
{
    const int whole = wrapper.getTextHeight();
    const int limit = limitMetric < 0 ? whole : CUiScale::scaleMetric(limitMetric);
    if (whole <= limit)
        return whole;
    int shown = 0;
    for (int i = 0; i < wrapper.getLineCount(); ++i)
    {
        const int bottom = wrapper.getLine(i).top + wrapper.getLineHeight();
        if (bottom > limit)
            break;
        shown = bottom;
    }
    return shown;
}

// A view that its parent scrolls shows only what lies in the parent's inner box.
void clipToScrollingParent(const CViewBasePlacement& view, CViewBase::CDrawContext& dc)
{
    const CViewArea* area = view.getArea();
    const CViewBasePlacement* parent = view.getParentView();
    if (!area || !parent || !parent->getArea())
        return;
    const CViewArea::Placement placement = area->getRules().placement;
    if (placement != CViewArea::kScrollerH && placement != CViewArea::kScrollerV &&
        placement != CViewArea::kScrollerP)
        return;
    const CViewArea* box = parent->getArea();
    auto edge = [box](CViewArea::Var var, CViewArea::Var inner, int sign)
    { return static_cast<int>(std::lround(box->getValue(var) + sign * box->getValue(inner))); };
    const int left = edge(CViewArea::kLeft, CViewArea::kInnerLeft, 1) - dc.originX;
    const int top = edge(CViewArea::kTop, CViewArea::kInnerTop, 1) - dc.originY;
    const int right = edge(CViewArea::kRight, CViewArea::kInnerRight, -1) - dc.originX;
    const int bottom = edge(CViewArea::kBottom, CViewArea::kInnerBottom, -1) - dc.originY;
    dc.clip.left = left > dc.clip.left ? left : dc.clip.left;
    dc.clip.top = top > dc.clip.top ? top : dc.clip.top;
    dc.clip.right = right < dc.clip.right ? right : dc.clip.right;
    dc.clip.bottom = bottom < dc.clip.bottom ? bottom : dc.clip.bottom;
}
} // namespace

CTextView::CTextView() = default;
CTextView::~CTextView() = default;

void CTextView::registerClass(CClassInfo& info)
{
    CView::registerClass(info);
    for (const char* attrName : {"title", "text-source", "max-item-count", "no-items-title"})
        info.addAttrHandler<CTextView>(attrName, &CTextView::attrContent);
    info.addEventProc<CTextView>("text-source-changed", &CTextView::onTextSourceChanged);
    info.addEventProc<CTextView>("copy-content", &CTextView::onCopyContent);
    info.addAttrHandler<CTextView>("font-name", &CTextView::attrFont);
    for (const char* attrName : {"is-text-wrapped", "paragraph-spacing", "text-alignment",
                                 "text-alignment-v", "max-text-height"})
        info.addAttrHandler<CTextView>(attrName, &CTextView::attrLayout);
    for (const char* attrName :
         {"text-color", "text-color1", "text-color2", "paragraph-hover-color",
          "paragraph-select-color", "paragraph-select-text-color"})
        info.addAttrHandler<CTextView>(attrName, &CTextView::attrColors);
    for (const char* attrName :
         {"is-paragraph-hoverable", "is-paragraph-selectable", "selected-paragraph"})
        info.addAttrHandler<CTextView>(attrName, &CTextView::attrList);
}

CError* CTextView::initChilds()
{
    KEL_CHECK(CView::initChilds());
    KEL_CHECK(attrFont());
    KEL_CHECK(attrContent());
    KEL_CHECK(attrLayout());
    KEL_CHECK(attrColors());
    KEL_CHECK(attrList());
    return nullptr;
}

void CTextView::detachLinks()
{
    listenedSource.clear();
    editBox = nullptr;
    fontObject = nullptr;
    CView::detachLinks();
}

CError* CTextView::attrContent()
{
    if (editBoxMode)
        return nullptr;
    const CString sourcePath = getAttrString(CString("text-source"), CString());
    if (!sourcePath.isEmpty())
        return showTextSource(sourcePath);
    sourceItemCount = -1;
    // Paragraphs as children, else the title.
    CString text;
    bool hasParagraphs = false;
    for (int i = 0; i < getChildCount(); ++i)
    {
        const CObject* child = getChild(i);
        if (child->getTag() == CString("ui:textview-br"))
        {
            if (hasParagraphs)
                text.appendUnit('\n');
            hasParagraphs = true;
            continue;
        }
        if (child->getTag() != CString("ui:textview-p"))
            continue;
        if (hasParagraphs)
            text.appendUnit('\n');
        hasParagraphs = true;
        bool first = true;
        for (int k = 0; k < child->getChildCount(); ++k)
        {
            const CObject* part = child->getChild(k);
            if (part->getTag() != CString("content"))
                continue;
            if (!first)
                text.append("[BR]");
            first = false;
            text.append(part->getAttrString(CString("value"), CString()));
        }
    }
    setContent(hasParagraphs ? text : getAttrString(CString("title"), CString()));
    return nullptr;
}

CError* CTextView::showTextSource(const CString& sourcePath)
{
    auto* list = dynamic_cast<CValueList*>(findObject(sourcePath));
    if (!list)
    {
        const CUtf8Path text(sourcePath);
        KEL_LOG("Target not found: '%s'", text.get());
    }
    else if (sourcePath != listenedSource)
    {
        KEL_CHECK(
            listenObject(sourcePath, CString("values-changed"), CString("text-source-changed")));
        listenedSource = sourcePath;
    }
    const int limit = getAttrInt(CString("max-item-count"), 0);
    sourceItemCount = list ? list->getCount() : 0;
    if (limit > 0 && sourceItemCount > limit)
        sourceItemCount = limit;
    CString text;
    for (int i = 0; i < sourceItemCount; ++i)
    {
        if (i > 0)
            text.appendUnit('\n');
        text.append(list->getTitle(i));
    }
    if (sourceItemCount == 0)
    {
        text = getAttrString(CString("no-items-title"), CString());
        if (text.isEmpty())
            text = CString("<no items>");
    }
    setContent(text);
    return nullptr;
}

CError* CTextView::onTextSourceChanged(const CAttrMap& /*params*/)
{
    return attrContent();
}

void CTextView::setContent(const CString& text)
{
    content = text;
    wrapper.setText(content);
    hoveredParagraph = -1;
    updateContentSize();
    invalidate();
}

void CTextView::updateContentSize()
{
    // The text's own extent at the present width: what a "compact" size takes.
    if (!fontObject || !getArea())
        return;
    getArea()->setContentSize(wrapper.getTextWidth(), heightWithin(wrapper, maxTextHeight));
}

CError* CTextView::attrFont()
{
    const CString path = fontPathOf(this);
    auto* family = dynamic_cast<CFontObject*>(findObject(path));
    if (!family)
        return KEL_ERROR("@kelstr_CTextView_handleFontUpdate_NoFont Font '%1' not found.", path);
    if (!family->isLoaded())
        KEL_CHECK(family->loadNow());
    fontObject = family;
    KEL_CHECK(wrapper.setFontObject(family));
    updateContentSize();
    invalidate();
    return nullptr;
}

CError* CTextView::attrLayout()
{
    const CString alignment = getAttrString(CString("text-alignment"), CString("left"));
    wrapper.setAlignment(alignment == CString("center")    ? CTextWrapper::kAlignCenter
                         : alignment == CString("right")   ? CTextWrapper::kAlignRight
                         : alignment == CString("justify") ? CTextWrapper::kAlignJustify
                                                           : CTextWrapper::kAlignLeft);
    const CString vertical = getAttrString(CString("text-alignment-v"), CString("top"));
    verticalAlignment = vertical == CString("center") ? 1 : vertical == CString("bottom") ? 2 : 0;
    wrapper.setWrapped(getAttrBool(CString("is-text-wrapped"), false));
    wrapper.setParagraphSpacing(getAttrInt(CString("paragraph-spacing"), 10));
    const CString limit = getAttrString(CString("max-text-height"), CString());
    maxTextHeight = limit.isEmpty() ? -1 : getAttrInt(CString("max-text-height"), -1);
    const CLinearBitmap::Rect area = getViewRect();
    wrapper.setWidth(area.right - area.left);
    updateContentSize();
    invalidate();
    return nullptr;
}

CError* CTextView::attrColors()
{
    CViewColors& viewColors = getColors();
    viewColors.setTextSlotName(0, getAttrString(CString("text-color"), CString("Text")));
    viewColors.setTextSlotName(1, getAttrString(CString("text-color1"), CString("Text")));
    viewColors.setTextSlotName(2, getAttrString(CString("text-color2"), CString("Text")));
    viewColors.setTextSlotName(
        3, getAttrString(CString("paragraph-select-text-color"), CString("/SelectionText")));
    hoverColor = getAttrString(CString("paragraph-hover-color"), CString("HoveredParagraph"));
    selectColor = getAttrString(CString("paragraph-select-color"), CString("Selection"));
    invalidate();
    return nullptr;
}

CError* CTextView::attrList()
{
    hoverable = getAttrBool(CString("is-paragraph-hoverable"), false);
    selectable = getAttrBool(CString("is-paragraph-selectable"), false);
    selectedParagraph = getAttrInt(CString("selected-paragraph"), -1);
    if (!hoverable)
        hoveredParagraph = -1;
    invalidate();
    return nullptr;
}

void CTextView::onAreaChanged()
{
    CView::onAreaChanged();
    const CLinearBitmap::Rect area = getViewRect();
    wrapper.setWidth(area.right - area.left);
}

void CTextView::getTextOrigin(int& x, int& y)
{
    const CLinearBitmap::Rect area = getViewRect();
    x = area.left;
    y = area.top;
    const int free = (area.bottom - area.top) - heightWithin(wrapper, maxTextHeight);
    if (verticalAlignment == 1)
        y += free / 2;
    else if (verticalAlignment == 2)
        y += free;
}

bool CTextView::getParagraphRect(int paragraph, CLinearBitmap::Rect& out)
{
    wrapper.layout();
    int originX = 0;
    int originY = 0;
    getTextOrigin(originX, originY);
    bool found = false;
    for (int i = 0; i < wrapper.getLineCount(); ++i)
    {
        const CTextWrapper::Line& line = wrapper.getLine(i);
        if (line.paragraph > paragraph)
            break;
        if (line.paragraph != paragraph)
            continue;
        const int top = originY + line.top;
        const int bottom = top + wrapper.getLineHeight();
        if (!found)
            out.top = top;
        out.bottom = bottom;
        found = true;
    }
    const CLinearBitmap::Rect area = getViewRect();
    out.left = area.left;
    out.right = area.right;
    return found;
}

int CTextView::paragraphAt(int x, int y)
{
    int originX = 0;
    int originY = 0;
    getTextOrigin(originX, originY);
    return wrapper.hitTest(x - originX, y - originY).paragraph;
}

void CTextView::fillPaletteRect(CDrawContext& dc, const CLinearBitmap::Rect& area,
                                const CString& role)
{
    const CViewColors* rootColors = getColors().getRootColors();
    const CPalette* palette = rootColors ? rootColors->getPalette() : nullptr;
    if (!palette || role.isEmpty())
        return;
    const CColor* color = palette->findColor(role);
    if (!color)
    {
        const CUtf8Path text(role);
        KEL_LOG("Color not found: '%s'", text.get());
        return;
    }
    drawFilledRect(dc, area, color->getSolidRGB());
}

void CTextView::draw(CDrawContext& dc)
{
    clipToScrollingParent(*this, dc);
    if (dc.clip.isEmpty())
        return;
    CView::draw(dc);
    CViewColors& viewColors = getColors();
    const CViewColors* rootColors = viewColors.getRootColors();
    wrapper.setPalette(rootColors ? rootColors->getPalette() : nullptr);
    wrapper.layout();
    int originX = 0;
    int originY = 0;
    getTextOrigin(originX, originY);
    if (maxTextHeight >= 0)
    {
        // The lines beyond the limit are cut whole.
        const int end = originY + heightWithin(wrapper, maxTextHeight) - dc.originY;
        dc.clip.bottom = end < dc.clip.bottom ? end : dc.clip.bottom;
        if (dc.clip.isEmpty())
            return;
    }

    CLinearBitmap::Rect hovered;
    CLinearBitmap::Rect selected;
    const bool hasHover = hoverable && hoveredParagraph >= 0 &&
                          hoveredParagraph != selectedParagraph &&
                          getParagraphRect(hoveredParagraph, hovered);
    const bool hasSelection =
        selectable && selectedParagraph >= 0 && getParagraphRect(selectedParagraph, selected);
    if (hasHover)
        fillPaletteRect(dc, hovered, hoverColor);
    if (hasSelection)
        fillPaletteRect(dc, selected, selectColor);

    // The edit box's selection lies under its text.
    if (editBoxMode && getSelectionStart() != getSelectionEnd())
    {
        const int start = getSelectionStart();
        const int end = getSelectionEnd();
        int left = -1;
        int right = -1;
        for (int i = 0; i < wrapper.getLineCount(); ++i)
        {
            const CTextWrapper::Line& line = wrapper.getLine(i);
            for (int r = line.firstRun; r < line.firstRun + line.runCount; ++r)
            {
                const CTextWrapper::Run& run = wrapper.getRun(r);
                for (int g = run.firstGlyph; g < run.firstGlyph + run.glyphCount; ++g)
                {
                    const CTextWrapper::Glyph& glyph = wrapper.getGlyph(g);
                    if (glyph.source == start)
                        left = line.left + glyph.x;
                    if (glyph.source == end)
                        right = line.left + glyph.x;
                }
            }
            if (right < 0 && end >= line.sourceEnd)
                right = line.left + line.width;
        }
        if (left >= 0 && right > left)
            fillPaletteRect(
                dc, {originX + left, originY, originX + right, originY + wrapper.getLineHeight()},
                CString("Selection"));
    }

    const CColor* normal = viewColors.getTextColor(0);
    const CColor* color1 = viewColors.getTextColor(1);
    const CColor* color2 = viewColors.getTextColor(2);
    if (!hasSelection)
    {
        wrapper.draw(dc.target, originX - dc.originX, originY - dc.originY, dc.clip, normal, color1,
                     color2);
    }
    else
    {
        // Above, inside and below the selected paragraph, the inside in its own colour.
        const CColor* selectedText = viewColors.getTextColor(3);
        const int bands[4] = {dc.originY + dc.clip.top, selected.top, selected.bottom,
                              dc.originY + dc.clip.bottom};
        for (int band = 0; band < 3; ++band)
        {
            CLinearBitmap::Rect clip = dc.clip;
            const int top = bands[band] > bands[0] ? bands[band] : bands[0];
            const int bottom = bands[band + 1] < bands[3] ? bands[band + 1] : bands[3];
            clip.top = top - dc.originY;
            clip.bottom = bottom - dc.originY;
            if (clip.isEmpty())
                continue;
            const CColor* text = band == 1 ? selectedText : normal;
            wrapper.draw(dc.target, originX - dc.originX, originY - dc.originY, clip, text,
                         band == 1 ? selectedText : color1, band == 1 ? selectedText : color2);
        }
    }

    if (editBoxMode && cursorShown)
    {
        const int x = originX + cursorPixel();
        drawFilledRect(dc, {x, originY, x + 1, originY + wrapper.getLineHeight()},
                       normal ? normal->getSolidRGB() : 0);
    }
}

CError* CTextView::onCtlEvent(const CString& eventName, CAttrMap& params)
{
    if (eventName == CString("focus"))
    {
        // Tab brought the keys to a text field: it starts editing.
        if (!editBoxMode && getParamBool(params, "is-tab") && !isEditing())
            KEL_CHECK(startEditing());
    }
    else if (eventName == CString("blur"))
    {
        if (editBoxMode && !finishing)
            return finishEditing(false);
    }
    else if (eventName == CString("cursor-blink"))
    {
        if (editBoxMode)
        {
            cursorShown = !cursorShown;
            invalidate();
        }
    }
    else if (eventName == CString("clipboard-text"))
    {
        if (editBoxMode)
        {
            const CAttrValue* text = params.find(CString("text"));
            if (text)
            {
                // One line of the clipboard's text.
                CString pasted = text->getString();
                const int feed = pasted.findUnit('\n');
                if (feed >= 0)
                    pasted.erase(feed);
                replaceSelection(pasted);
            }
        }
    }
    return CView::onCtlEvent(eventName, params);
}

CError* CTextView::onMouseMove(CAttrMap& params)
{
    KEL_CHECK(CView::onMouseMove(params));
    if (!hoverable)
        return nullptr;
    const int paragraph = paragraphAt(getParamInt(params, "x"), getParamInt(params, "y"));
    if (paragraph != hoveredParagraph)
    {
        hoveredParagraph = paragraph;
        invalidate();
    }
    return nullptr;
}

CError* CTextView::onMouseExit(CAttrMap& params)
{
    KEL_CHECK(CView::onMouseExit(params));
    if (hoveredParagraph >= 0)
    {
        hoveredParagraph = -1;
        invalidate();
    }
    return nullptr;
}

CError* CTextView::selectParagraph(int paragraph)
{
    if (paragraph == selectedParagraph)
        return nullptr;
    selectedParagraph = paragraph;
    invalidate();
    CAttrMap event;
    event.set(CString("index"), CAttrValue(static_cast<int32_t>(paragraph)));
    KEL_CHECK(sendEvent(CString("selected-paragraph-changed"), event));
    const CString targetPath = getAttrString(CString("result-target"), CString());
    if (targetPath.isEmpty())
        return nullptr;
    CObject* target = findObject(targetPath);
    if (!target)
    {
        const CUtf8Path text(targetPath);
        KEL_LOG("Target not found: '%s'", text.get());
        return nullptr;
    }
    const CString attrName = getAttrString(CString("result-target-index-attr"), CString("value"));
    return target->setAttr(attrName, CAttrValue(static_cast<int32_t>(paragraph)));
}

CError* CTextView::onMousePress(CAttrMap& params)
{
    KEL_CHECK(CView::onMousePress(params));
    if (editBoxMode)
    {
        // A press inside the box puts the cursor there.
        int originX = 0;
        int originY = 0;
        getTextOrigin(originX, originY);
        const CTextWrapper::Hit hit =
            wrapper.hitTest(getParamInt(params, "x") - originX, getParamInt(params, "y") - originY);
        cursor = anchor = hit.textIndex >= 0 ? hit.textIndex : editText.getLength();
        cursorShown = true;
        invalidate();
        return nullptr;
    }
    const bool isDouble = getParamBool(params, "is-double-click");
    if (selectable)
    {
        const int paragraph = paragraphAt(getParamInt(params, "x"), getParamInt(params, "y"));
        if (paragraph >= 0)
        {
            const bool cancels = paragraph == selectedParagraph && !isDouble &&
                                 getAttrBool(CString("is-selected-paragraph-click-cancels"), false);
            KEL_CHECK(selectParagraph(cancels ? -1 : paragraph));
            // An item of a popup's list is its result, and the popup ends.
            if (getAttrBool(CString("is-popup-list"), false) &&
                (sourceItemCount < 0 || paragraph < sourceItemCount))
                return sendPopupResult(paragraph);
            if (isDouble)
            {
                CAttrMap event;
                event.set(CString("index"), CAttrValue(static_cast<int32_t>(paragraph)));
                KEL_CHECK(sendEvent(CString("paragraph-dbl-clicked"), event));
            }
        }
    }
    const bool onClick = getAttrBool(CString("is-editbox-on-click"), false) ||
                         getAttrBool(CString("is-editbox-on-singleclick"), false);
    const bool onDouble = getAttrBool(CString("is-editbox-on-dblclick"), false);
    if ((onClick && !isDouble) || (onDouble && isDouble))
        KEL_CHECK(startEditing());
    return nullptr;
}

CError* CTextView::onMousePressR(CAttrMap& params)
{
    KEL_CHECK(CView::onMousePressR(params));
    if (selectable && getAttrBool(CString("is-right-click-selects"), false))
    {
        const int paragraph = paragraphAt(getParamInt(params, "x"), getParamInt(params, "y"));
        if (paragraph >= 0)
            KEL_CHECK(selectParagraph(paragraph));
    }
    return nullptr;
}

// ---- editing ----

CString CTextView::getEditStartText()
{
    return getAttrString(CString("title"), CString());
}

CError* CTextView::onEditCommitted(const CString& text)
{
    return setAttr(CString("title"), CAttrValue(text));
}

CError* CTextView::startEditing()
{
    if (editBox || editBoxMode)
        return nullptr;
    CWindow* window = findWindow();
    if (!window)
        return nullptr;
    CTextView* box = nullptr;
    KEL_CHECK(createChild(CString("ui:editbox-popup"), CString("temp-editbox"), box));
    editBox = box;
    box->editBoxMode = true;
    box->editText = getEditStartText();
    box->cursor = box->editText.getLength();
    box->anchor = getAttrBool(CString("is-select-all-on-focus"),
                              box->getAttrBool(CString("is-select-all-on-focus"), true))
                      ? 0
                      : box->cursor;
    box->showEditText();
    CAttrMap focus;
    focus.set(CString("key-focus-view"), CAttrValue(static_cast<void*>(box)));
    return window->callEventProc(CString("change-key-focus"), focus);
}

void CTextView::showEditText()
{
    wrapper.setMarkup(false);
    wrapper.setText(editText);
    cursorShown = true;
    invalidate();
}

int CTextView::cursorPixel()
{
    wrapper.layout();
    if (wrapper.getLineCount() == 0)
        return 0;
    const CTextWrapper::Line& line = wrapper.getLine(0);
    for (int r = line.firstRun; r < line.firstRun + line.runCount; ++r)
    {
        const CTextWrapper::Run& run = wrapper.getRun(r);
        for (int g = run.firstGlyph; g < run.firstGlyph + run.glyphCount; ++g)
        {
            const CTextWrapper::Glyph& glyph = wrapper.getGlyph(g);
            if (glyph.source >= cursor)
                return line.left + glyph.x;
        }
    }
    return line.left + line.width;
}

void CTextView::replaceSelection(const CString& text)
{
    const int start = getSelectionStart();
    const int end = getSelectionEnd();
    // Characters the field takes, up to its length limit.
    const CString accepted =
        getParent() ? getParent()->getAttrString(CString("accept-chars"), CString()) : CString();
    const int limit = getParent() ? getParent()->getAttrInt(CString("max-paragraph-length"), 0) : 0;
    CString kept;
    const int room = limit > 0 ? limit - (editText.getLength() - (end - start)) : 1 << 30;
    for (int i = 0; i < text.getLength() && kept.getLength() < room; ++i)
    {
        const uint16_t unit = text.getUnit(i);
        if (unit < 0x20 || (!accepted.isEmpty() && accepted.findUnit(unit) < 0))
            continue;
        kept.appendUnit(unit);
    }
    if (kept.isEmpty() && start == end)
        return;
    editText.erase(start, end - start);
    editText.insert(start, kept);
    cursor = anchor = start + kept.getLength();
    showEditText();
}

CError* CTextView::handleEditKey(const CAttrMap& params)
{
    if (CTextView* owner = dynamic_cast<CTextView*>(getParent()))
    {
        bool taken = false;
        KEL_CHECK(owner->onEditBoxKey(params, taken));
        if (taken)
            return nullptr;
    }
    const int32_t key = getParamInt(params, "keycode");
    int32_t character = getParamInt(params, "char");
    // A key that comes as text (an on-screen key) types its character when it has one.
    const CAttrValue* keyText = params.find(CString("key"));
    if (!params.contains(CString("char")) && keyText && keyText->getString().getLength() == 1)
        character = keyText->getString().getUnit(0);
    const bool ctrl = getParamBool(params, "is-ctrl");
    const bool shift = getParamBool(params, "is-shift");
    const int length = editText.getLength();
    switch (key)
    {
    case kKeyReturn:
    case kKeyPadEnter:
        return finishEditing(false, true);
    case kKeyEscape:
        return finishEditing(true);
    case kKeyTab:
    case kKeyLeftTab:
    {
        // The next field of the group takes the keys once this one has committed.
        CTextView* owner = dynamic_cast<CTextView*>(getParent());
        CWindow* window = findWindow();
        KEL_CHECK(finishEditing(false));
        if (owner && window)
        {
            CAttrMap focus;
            focus.set(CString("key-focus-view"), CAttrValue(static_cast<void*>(owner)));
            focus.set(CString("is-tab"), CAttrValue(true));
            focus.set(CString("is-shift"), CAttrValue(shift || key == kKeyLeftTab));
            KEL_CHECK(window->callEventProc(CString("change-key-focus"), focus));
        }
        return nullptr;
    }
    case kKeyBackSpace:
        if (anchor == cursor && cursor > 0)
            anchor = cursor - 1;
        replaceSelection(CString());
        return nullptr;
    case kKeyDelete:
    case kKeyPadDelete:
        if (anchor == cursor && cursor < length)
            anchor = cursor + 1;
        replaceSelection(CString());
        return nullptr;
    case kKeyLeft:
    case kKeyPadLeft:
        cursor = cursor > 0 ? cursor - 1 : 0;
        break;
    case kKeyRight:
    case kKeyPadRight:
        cursor = cursor < length ? cursor + 1 : length;
        break;
    case kKeyHome:
    case kKeyPadHome:
        cursor = 0;
        break;
    case kKeyEnd:
    case kKeyPadEnd:
        cursor = length;
        break;
    default:
        if (ctrl)
        {
            CWindow* window = findWindow();
            CNativeWindow* native = window ? window->getNativeWindow() : nullptr;
            const int32_t letter = character | 0x20;
            if (letter == 'a')
            {
                anchor = 0;
                cursor = length;
                invalidate();
            }
            else if ((letter == 'c' || letter == 'x') && native &&
                     getSelectionStart() != getSelectionEnd())
            {
                copyToClipboard(editText.substring(getSelectionStart(),
                                                   getSelectionEnd() - getSelectionStart()));
                if (letter == 'x')
                    replaceSelection(CString());
            }
            else if (letter == 'v' && native)
                native->requestClipboardText();
            return nullptr;
        }
        if (character >= 0x20)
        {
            CString typed;
            typed.appendCodePoint(static_cast<uint32_t>(character));
            replaceSelection(typed);
        }
        return nullptr;
    }
    // A move of the cursor; Shift keeps the other end of the selection where it was.
    if (!shift)
        anchor = cursor;
    cursorShown = true;
    invalidate();
    return nullptr;
}

CError* CTextView::onKeyPress(CAttrMap& params)
{
    KEL_CHECK(CView::onKeyPress(params));
    if (editBoxMode)
        return handleEditKey(params);
    return nullptr;
}

void CTextView::copyToClipboard(const CString& text) const
{
    CWindow* window = findWindow();
    CNativeWindow* native = window ? window->getNativeWindow() : nullptr;
    if (!native)
        return;
    const CUtf8Path bytes(text);
    native->copyToClipboard(bytes.get(), static_cast<int>(std::strlen(bytes.get())));
}

CError* CTextView::copyContent()
{
    copyToClipboard(content);
    return nullptr;
}

CError* CTextView::onCopyContent(const CAttrMap& params)
{
    // Forwarded from a key: Ctrl+Insert or Ctrl+C alone.
    if (params.contains(CString("keycode")))
    {
        const int32_t key = getParamInt(params, "keycode");
        if (!getParamBool(params, "is-ctrl") || (key != kKeyInsert && (key | 0x20) != 'c'))
            return nullptr;
    }
    return copyContent();
}

CError* CTextView::onFocusLost(CAttrMap& params)
{
    // The host or another client took the keyboard: the edit ends as a commit.
    if (editBoxMode && !finishing)
        KEL_CHECK(finishEditing(false));
    return CView::onFocusLost(params);
}

CError* CTextView::finishEditing(bool cancelled, bool byReturn)
{
    if (!editBoxMode || finishing)
        return nullptr;
    finishing = true;
    CTextView* owner = dynamic_cast<CTextView*>(getParent());
    CString text = editText;
    if (!cancelled && text.isEmpty() && owner)
        text = owner->getAttrString(CString("editbox-empty-value"), CString());
    // The keys go back before the box goes: the window forgets it and the host gets them again.
    if (CWindow* window = findWindow())
    {
        if (window->getKeyFocusView() == this)
        {
            CAttrMap none;
            none.set(CString("key-focus-view"), CAttrValue(static_cast<void*>(nullptr)));
            KEL_CHECK(window->callEventProc(CString("change-key-focus"), none));
        }
    }
    // Hidden at once: until it is released it takes no pointer and shows nothing.
    KEL_CHECK(setAttr(CString("is-hidden"), CAttrValue(true)));
    if (!owner)
        return releaseChildBridged();
    owner->editBox = nullptr;
    CError* error = cancelled ? nullptr : owner->onEditCommitted(text);
    CAttrMap event;
    event.set(CString("text"), CAttrValue(text));
    event.set(CString("is-cancelled"), CAttrValue(cancelled));
    event.set(CString("is-return"), CAttrValue(!cancelled && byReturn));
    if (!error)
        error = owner->sendEvent(CString("editbox-text-changed"), event);
    if (CError* releaseError = releaseChildBridged())
    {
        if (!error)
            return releaseError;
        delete releaseError;
    }
    return error;
}

} // namespace kel
