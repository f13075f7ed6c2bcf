#include "UI/Rendering/CTextWrapper.h"

#include "Core/CDebugChannel.h"
#include "Core/CObject.h"
#include "UI/Resources/CFont.h"
#include "UI/Resources/CImage.h"
#include "UI/Resources/CImageLayer.h"
#include "UI/Resources/CImageSet.h"
#include "UI/Resources/CImageSetObject.h"
#include "UI/Resources/CPalette.h"
#include "UI/Resources/CUiScale.h"

namespace kel
{

namespace
{

// A "[" further than this from its "]" begins no tag; it keeps a text full of "[" linear.
constexpr int kMaxTagLength = 128;

enum TagEffect
{
    kTagStyle = 0,
    kTagBreak,
    kTagRule,
    kTagImage
};

// Pen positions are never negative: rounding half up is rounding half away from zero.
int roundPen(double pen)
{
    return static_cast<int>(pen + 0.5);
}

bool unitsEqual(const CString& text, int start, int count, const char* literal)
{
    int i = 0;
    for (; i < count && literal[i] != 0; ++i)
    {
        if (text.getUnit(start + i) != static_cast<unsigned char>(literal[i]))
            return false;
    }
    return i == count && literal[i] == 0;
}

// Index of the first unit between from and end (exclusive), or -1.
int findBefore(const CString& text, uint16_t unit, int from, int end)
{
    for (int i = from; i < end; ++i)
    {
        if (text.getUnit(i) == unit)
            return i;
    }
    return -1;
}

int imageWidth(const CImage* image)
{
    int widest = 0;
    for (int i = 0; i < image->getLayerCount(); ++i)
    {
        const int layerWidth = image->getLayer(i)->getWidth();
        widest = layerWidth > widest ? layerWidth : widest;
    }
    return widest;
}

int imageHeight(const CImage* image)
{
    int highest = 0;
    for (int i = 0; i < image->getLayerCount(); ++i)
    {
        const int layerHeight = image->getLayer(i)->getHeight();
        highest = layerHeight > highest ? layerHeight : highest;
    }
    return highest;
}

void drawImage(CLinearBitmap& bitmap, const CImage* image, int x, int y,
               const CLinearBitmap::Rect& clip, const CColor* color, double opacity)
{
    for (int i = 0; i < image->getLayerCount(); ++i)
        bitmap.drawLayer(*image->getLayer(i), x, y, clip, color, opacity);
}

// A name for the log, cut to 127 bytes.
struct LogName
{
    explicit LogName(const CString& name) { name.toUtf8(text, sizeof text); }
    char text[128];
};

} // namespace

CTextWrapper::CTextWrapper() = default;

CTextWrapper::~CTextWrapper() = default;

CError* CTextWrapper::setFontObject(const CFontObject* fontObject)
{
    if (!fontObject)
        return KEL_ERROR("@kelstr_CTextWrapper_setFontObject_NoFontObject Font object is empty.");
    for (int i = 0; i < CFontObject::kStyleCount; ++i)
    {
        const CFont* face = fontObject->getFont(static_cast<CFontObject::Style>(i));
        if (fonts[i] != face)
        {
            fonts[i] = face;
            dirty = true;
        }
    }
    return nullptr;
}

void CTextWrapper::setPalette(const CPalette* newPalette)
{
    if (palette != newPalette)
    {
        palette = newPalette;
        dirty = true;
    }
}

void CTextWrapper::setText(const CString& newText)
{
    if (text != newText)
    {
        text = newText;
        dirty = true;
    }
}

void CTextWrapper::setMarkup(bool isMarkup)
{
    if (markup != isMarkup)
    {
        markup = isMarkup;
        dirty = true;
    }
}

void CTextWrapper::setWidth(int pixels)
{
    if (width != pixels)
    {
        width = pixels;
        dirty = true;
    }
}

void CTextWrapper::setWrapped(bool isWrapped)
{
    if (wrapped != isWrapped)
    {
        wrapped = isWrapped;
        dirty = true;
    }
}

void CTextWrapper::setAlignment(Alignment newAlignment)
{
    if (alignment != newAlignment)
    {
        alignment = newAlignment;
        dirty = true;
    }
}

void CTextWrapper::setParagraphSpacing(int pixels)
{
    if (paragraphSpacing != pixels)
    {
        paragraphSpacing = pixels;
        dirty = true;
    }
}

int CTextWrapper::getTextHeight()
{
    layout();
    return lines.isEmpty() ? 0 : lines.getLast().top + lineHeight;
}

int CTextWrapper::getTextWidth()
{
    layout();
    return textWidth;
}

int CTextWrapper::getLineCount()
{
    layout();
    return lines.getCount();
}

int CTextWrapper::getParagraphCount()
{
    layout();
    return paragraphCount;
}

CFontObject::Style CTextWrapper::styleOf(const State& state) const
{
    if (state.superscript)
        return CFontObject::kSuperscript;
    if (state.bold)
        return state.italic ? CFontObject::kBoldItalic : CFontObject::kBold;
    return state.italic ? CFontObject::kItalic : CFontObject::kRegular;
}

void CTextWrapper::computeMetrics()
{
    lineHeight = 0;
    lineAbove = 0;
    lineBelow = 0;
    for (const CFont* face : fonts)
    {
        if (!face)
            continue;
        const int height = face->getLineHeight();
        const int above = face->getLineAbove();
        const int below = face->getLineBelow();
        lineHeight = height > lineHeight ? height : lineHeight;
        lineAbove = above > lineAbove ? above : lineAbove;
        lineBelow = below > lineBelow ? below : lineBelow;
    }
}

int CTextWrapper::readTag(int index, State& state, int& outEffect, int& outImageStart)
{
    const int length = text.getLength();
    int close = -1;
    for (int i = index + 1; i < length && i <= index + kMaxTagLength; ++i)
    {
        if (text.getUnit(i) == ']')
        {
            close = i;
            break;
        }
    }
    if (close < 0)
        return -1;
    const int start = index + 1;
    const int count = close - start;
    outEffect = kTagStyle;
    if (unitsEqual(text, start, count, "B"))
        state.bold = true;
    else if (unitsEqual(text, start, count, "/B"))
        state.bold = false;
    else if (unitsEqual(text, start, count, "I"))
        state.italic = true;
    else if (unitsEqual(text, start, count, "/I"))
        state.italic = false;
    else if (unitsEqual(text, start, count, "C1"))
        state.color = kColor1;
    else if (unitsEqual(text, start, count, "C2"))
        state.color = kColor2;
    else if (unitsEqual(text, start, count, "/C1") || unitsEqual(text, start, count, "/C2"))
        state.color = kColorNormal;
    else if (unitsEqual(text, start, count, "SUP"))
        state.superscript = true;
    else if (unitsEqual(text, start, count, "/SUP"))
        state.superscript = false;
    else if (unitsEqual(text, start, count, "BR"))
        outEffect = kTagBreak;
    else if (unitsEqual(text, start, count, "HR"))
        outEffect = kTagRule;
    else if (count > 4 && unitsEqual(text, start, 4, "IMG="))
    {
        // set#range:role, with a set name.
        const int hash = findBefore(text, '#', start + 4, close);
        if (hash <= start + 4 || findBefore(text, ':', hash + 1, close) < 0)
            return -1;
        outEffect = kTagImage;
        outImageStart = start + 4;
    }
    else
        return -1;
    return close + 1;
}

void CTextWrapper::parseImage(int start, int end, const CImage*& outImage, const CColor*& outColor)
{
    // start..end holds "set#range:role"; readTag made sure of both separators.
    const int hash = findBefore(text, '#', start, end);
    const int colon = findBefore(text, ':', hash + 1, end);
    const CString role = text.substring(colon + 1, end - colon - 1);
    outColor = palette ? palette->findColor(role) : nullptr;
    if (!outColor)
        KEL_LOG("Color not found: '%s'", LogName(role).text);
    outImage =
        findImage(text.substring(start, hash - start), text.substring(hash + 1, colon - hash - 1));
}

const CImage* CTextWrapper::findImage(const CString& setPath, const CString& rangeName)
{
    CObject* sharedRoot = CObject::getSharedRoot();
    auto* object =
        sharedRoot ? dynamic_cast<CImageSetObject*>(sharedRoot->findObject(setPath)) : nullptr;
    if (!object)
    {
        KEL_LOG("Image set not found: %s", LogName(setPath).text);
        return nullptr;
    }
    if (!object->isLoaded())
    {
        if (CError* error = object->loadNow())
        {
            KEL_LOG("%s", error->getMessage());
            delete error;
            return nullptr;
        }
    }
    CImageSet::Range range;
    if (!object->getImageSet()->findRange(rangeName, range))
        return nullptr;
    return object->getImageSet()->getImage(range.first);
}

void CTextWrapper::beginLine(int source)
{
    Line& line = lines.add(Line());
    line.firstRun = runs.getCount();
    line.top = lineTop;
    line.paragraph = paragraph;
    line.sourceStart = source;
    pen = 0.0;
    contentRight = 0;
}

void CTextWrapper::endLine(int sourceEnd, bool isWrapped)
{
    Line& line = lines.getLast();
    line.runCount = runs.getCount() - line.firstRun;
    line.sourceEnd = sourceEnd;
    line.isWrapped = isWrapped;
    line.width = contentRight;
    lineTop += lineHeight;
}

void CTextWrapper::addImageRun(RunKind kind, const CImage* image, const CColor* color, int source)
{
    Run& run = runs.add(Run());
    run.kind = kind;
    run.image = image;
    run.imageColor = color;
    run.x = roundPen(pen);
    run.y = (lineHeight - imageHeight(image)) / 2;
    run.width = imageWidth(image);
    run.source = source;
}

void CTextWrapper::layout()
{
    if (!dirty)
        return;
    dirty = false;
    ++layoutCount;
    computeMetrics();
    lines.clear();
    runs.clear();
    glyphs.clear();
    textWidth = 0;
    paragraphCount = 0;
    lineTop = 0;
    paragraph = 0;
    const int length = text.getLength();
    if (length == 0)
        return;

    const int spacing = CUiScale::scaleMetric(paragraphSpacing);
    const bool canWrap = wrapped && width > 0;
    State state;
    bool lineOpen = false;

    // The last space of the line: where the line ends when a later item passes the width.
    struct BreakPoint
    {
        int source = -1;
        int glyphCount = 0;
        int runCount = 0;
        int contentRight = 0;
        State state;
    } breakPoint;

    int i = 0;
    while (i < length)
    {
        if (!lineOpen)
        {
            beginLine(i);
            lineOpen = true;
            breakPoint.source = -1;
        }
        bool wrapHere = false;
        const uint16_t unit = text.getUnit(i);
        if (unit == '\n')
        {
            endLine(i, false);
            lineOpen = false;
            ++paragraph;
            lineTop += spacing;
            ++i;
            continue;
        }
        State next = state;
        int effect = kTagStyle;
        int imageStart = 0;
        const int behind = markup && unit == '[' ? readTag(i, next, effect, imageStart) : -1;
        if (behind >= 0 && effect == kTagBreak)
        {
            endLine(i, false);
            beginLine(behind);
            breakPoint.source = -1;
            i = behind;
            continue;
        }
        if (behind >= 0 && effect == kTagRule)
        {
            if (runs.getCount() > lines.getLast().firstRun)
            {
                endLine(i, false);
                beginLine(i);
            }
            if (const CImage* rule = findImage(CString("is.button"), CString("HR")))
                addImageRun(kRunRule, rule, nullptr, i);
            endLine(behind, false);
            lineOpen = false;
            i = behind;
            continue;
        }
        if (behind >= 0 && effect == kTagImage)
        {
            const CImage* image = nullptr;
            const CColor* color = nullptr;
            parseImage(imageStart, behind - 1, image, color);
            if (image)
            {
                const int right = roundPen(pen) + imageWidth(image);
                wrapHere = canWrap && right > width && breakPoint.source >= 0;
                if (!wrapHere)
                {
                    addImageRun(kRunImage, image, color, i);
                    pen = right;
                    contentRight = right;
                }
            }
            if (!wrapHere)
            {
                i = behind;
                continue;
            }
        }
        else if (behind >= 0)
        {
            state = next;
            i = behind;
            continue;
        }
        if (!wrapHere)
        {
            // A character: a code point of one unit or of a surrogate pair.
            uint32_t code = unit;
            int units = 1;
            if (unit >= 0xD800 && unit < 0xDC00 && i + 1 < length)
            {
                const uint16_t low = text.getUnit(i + 1);
                if (low >= 0xDC00 && low < 0xE000)
                {
                    code = 0x10000 + ((unit - 0xD800u) << 10) + (low - 0xDC00u);
                    units = 2;
                }
            }
            const CFontObject::Style style = styleOf(state);
            const CFont* face = fonts[style];
            const CImage* glyph =
                face && code <= 0xFFFF ? face->getGlyph(static_cast<int>(code)) : nullptr;
            if (!glyph || glyph->getLayerCount() == 0)
            {
                i += units;
                continue;
            }
            const bool isSpace = code == ' ';
            const double advance = glyph->getLayer(0)->getAdvance();
            if (isSpace && runs.getCount() > lines.getLast().firstRun)
            {
                breakPoint.source = i;
                breakPoint.glyphCount = glyphs.getCount();
                breakPoint.runCount = runs.getCount();
                breakPoint.contentRight = contentRight;
                breakPoint.state = state;
            }
            wrapHere =
                !isSpace && canWrap && breakPoint.source >= 0 && roundPen(pen + advance) > width;
            if (!wrapHere)
            {
                addGlyph(glyph, style, state.color, isSpace, i);
                pen += advance;
                if (!isSpace)
                    contentRight = roundPen(pen);
                i += units;
                continue;
            }
        }

        // Back to the last space: what followed it is laid out again on a new line, in the
        // style in force at the space, which is dropped.
        runs.removeAt(breakPoint.runCount, runs.getCount() - breakPoint.runCount);
        glyphs.removeAt(breakPoint.glyphCount, glyphs.getCount() - breakPoint.glyphCount);
        if (runs.getCount() > lines.getLast().firstRun && runs.getLast().kind == kRunText)
            runs.getLast().glyphCount = breakPoint.glyphCount - runs.getLast().firstGlyph;
        contentRight = breakPoint.contentRight;
        state = breakPoint.state;
        endLine(breakPoint.source, true);
        i = breakPoint.source + 1;
        beginLine(i);
        breakPoint.source = -1;
    }
    if (lineOpen)
        endLine(length, false);
    finishLines();
}

void CTextWrapper::addGlyph(const CImage* glyph, CFontObject::Style style, TextColor color,
                            bool isSpace, int source)
{
    const bool sameRun = runs.getCount() > lines.getLast().firstRun &&
                         runs.getLast().kind == kRunText && runs.getLast().style == style &&
                         runs.getLast().color == color;
    if (!sameRun)
    {
        Run& run = runs.add(Run());
        run.style = style;
        run.color = color;
        run.firstGlyph = glyphs.getCount();
        run.source = source;
    }
    ++runs.getLast().glyphCount;
    Glyph& added = glyphs.add(Glyph());
    added.image = glyph;
    added.x = roundPen(pen);
    added.source = source;
    added.isSpace = isSpace;
}

void CTextWrapper::finishLines()
{
    for (const Line& line : lines)
        textWidth = line.width > textWidth ? line.width : textWidth;
    const int box = width > 0 ? width : textWidth;
    for (Line& line : lines)
    {
        const int free = box - line.width;
        if (alignment == kAlignJustify && line.isWrapped && free > 0)
            spreadSpaces(line, free);
        if (alignment == kAlignCenter)
            line.left = (box - line.width) / 2;
        else if (alignment == kAlignRight)
            line.left = box - line.width;
        for (int r = line.firstRun; r < line.firstRun + line.runCount; ++r)
        {
            if (runs[r].kind == kRunRule)
            {
                runs[r].x = -line.left;
                runs[r].width = box;
            }
        }
    }
    // Justified lines have grown to the width.
    for (const Line& line : lines)
        textWidth = line.width > textWidth ? line.width : textWidth;
    paragraphCount = lines.isEmpty() ? 0 : lines.getLast().paragraph + 1;
}

void CTextWrapper::spreadSpaces(Line& line, int free)
{
    // Spaces behind the content (several in a row before the break) take nothing.
    int spaces = 0;
    for (int r = line.firstRun; r < line.firstRun + line.runCount; ++r)
    {
        const Run& run = runs[r];
        for (int g = run.firstGlyph; g < run.firstGlyph + run.glyphCount; ++g)
            spaces += glyphs[g].isSpace && glyphs[g].x < line.width ? 1 : 0;
    }
    if (spaces == 0)
        return;
    // Each space widens by free / spaces pixels, the first free % spaces by one more.
    const int each = free / spaces;
    const int extra = free % spaces;
    int shift = 0;
    int seen = 0;
    for (int r = line.firstRun; r < line.firstRun + line.runCount; ++r)
    {
        Run& run = runs[r];
        run.x += shift;
        for (int g = run.firstGlyph; g < run.firstGlyph + run.glyphCount; ++g)
        {
            const bool stretches = glyphs[g].isSpace && glyphs[g].x < line.width;
            glyphs[g].x += shift;
            if (stretches)
            {
                shift += each + (seen < extra ? 1 : 0);
                ++seen;
            }
        }
    }
    line.width += free;
}

void CTextWrapper::draw(CLinearBitmap& bitmap, int originX, int originY,
                        const CLinearBitmap::Rect& clip, const CColor* normal, const CColor* color1,
                        const CColor* color2, double opacity)
{
    layout();
    if (clip.isEmpty())
        return;
    const CColor* textColors[3] = {normal, color1, color2};
    const int raise = lineHeight / 3;
    // Glyphs may reach beyond their line (accents, descenders): a line's margin is a line. The
    // lines go down the text, so the first one that reaches the clip is found by halving and
    // the walk stops at the first one below it: a long list costs what its visible lines cost.
    int first = 0;
    int past = lines.getCount();
    while (first < past)
    {
        const int middle = first + (past - first) / 2;
        if (originY + lines[middle].top + 2 * lineHeight <= clip.top)
            first = middle + 1;
        else
            past = middle;
    }
    for (int l = first; l < lines.getCount(); ++l)
    {
        const Line& line = lines[l];
        const int top = originY + line.top;
        if (top - lineHeight >= clip.bottom)
            break;
        const int left = originX + line.left;
        const int baseline = top + lineHeight - lineBelow;
        for (int r = line.firstRun; r < line.firstRun + line.runCount; ++r)
        {
            const Run& run = runs[r];
            if (run.kind == kRunImage)
            {
                if (run.imageColor)
                    drawImage(bitmap, run.image, left + run.x, top + run.y, clip, run.imageColor,
                              opacity);
                continue;
            }
            if (run.kind == kRunRule)
            {
                const int step = imageWidth(run.image);
                if (!normal || step <= 0)
                    continue;
                CLinearBitmap::Rect ruleClip = clip;
                const int ruleLeft = left + run.x;
                const int ruleRight = ruleLeft + run.width;
                ruleClip.left = ruleLeft > ruleClip.left ? ruleLeft : ruleClip.left;
                ruleClip.right = ruleRight < ruleClip.right ? ruleRight : ruleClip.right;
                if (ruleClip.isEmpty())
                    continue;
                for (int x = ruleLeft; x < ruleRight; x += step)
                    drawImage(bitmap, run.image, x, top + run.y, ruleClip, normal, opacity);
                continue;
            }
            const CColor* color = textColors[run.color];
            if (!color)
                continue;
            const int y = run.style == CFontObject::kSuperscript ? baseline - raise : baseline;
            for (int g = run.firstGlyph; g < run.firstGlyph + run.glyphCount; ++g)
            {
                if (!glyphs[g].isSpace)
                    drawImage(bitmap, glyphs[g].image, left + glyphs[g].x, y, clip, color, opacity);
            }
        }
    }
}

CTextWrapper::Hit CTextWrapper::hitTest(int x, int y)
{
    layout();
    Hit hit;
    for (int l = 0; l < lines.getCount(); ++l)
    {
        const Line& line = lines[l];
        if (y < line.top || y >= line.top + lineHeight)
            continue;
        hit.line = l;
        hit.paragraph = line.paragraph;
        const int lineX = x - line.left;
        if (lineX >= line.width)
        {
            hit.textIndex = line.sourceEnd;
            return hit;
        }
        hit.textIndex = line.sourceStart;
        for (int r = line.firstRun; r < line.firstRun + line.runCount; ++r)
        {
            const Run& run = runs[r];
            if (run.kind != kRunText)
            {
                if (run.x <= lineX)
                    hit.textIndex = run.source;
                continue;
            }
            for (int g = run.firstGlyph; g < run.firstGlyph + run.glyphCount; ++g)
            {
                if (glyphs[g].x <= lineX)
                    hit.textIndex = glyphs[g].source;
            }
        }
        return hit;
    }
    return hit;
}

} // namespace kel
