#pragma once

#include "Core/CArray.h"
#include "Core/CCheckedObject.h"
#include "Core/CError.h"
#include "Core/CString.h"
#include "UI/CLinearBitmap.h"
#include "UI/Resources/CFontObject.h"

namespace kel
{

class CColor;
class CFont;
class CImage;
class CImageSet;
class CPalette;

// Lays out text with mark-up in the faces of one font family and draws it into a bitmap. A text
// view owns one; it is no tree node.
//
// Mark-up (tags match exactly, upper case; a "[" that begins no tag below is text, and so is an
// unknown or unfinished tag):
//     [B] [/B]          bold on, off            [I] [/I]      italic; with bold, bold-italic
//     [C1] [/C1]        colour 1 on, off        [C2] [/C2]    colour 2 on, off
//     [SUP] [/SUP]      superscript face        [BR]          line break
//     [HR]              a line of its own: the image of range "HR" of "is.button", in the
//                       normal text colour, repeated over the width
//     [IMG=set#range:role]  the first image of range in the image set at "shared::" + set
//                       ("is.button"), coloured by the palette role; one unbreakable item.
//                       A set or range that is not there adds nothing; a role that is not
//                       there (logged) leaves the image's place empty.
// A colour tag switches colour 1 or 2 on; any closing colour tag goes back to the normal colour
// (there is no nesting). A line feed (U+000A) ends a paragraph; paragraphs are set apart by the
// paragraph spacing. A character without a glyph in the face (controls, lone surrogates, codes
// beyond the font) adds nothing and breaks nothing.
//
// Lines: all have the pitch lineHeight, the largest of the slots' line heights at the interface
// scale (as lineAbove and lineBelow). A line's baseline lies lineBelow above its bottom: that is
// the descenders' room, and the capitals and accents rise from it into the rest of the line
// (glyph bearings are relative to the baseline). Superscript glyphs sit a third of the line
// height higher. An image is centred on its line.
//
// Wrapping (when on and a width is set): a line ends at its last space once the next glyph or
// image would pass the width; that space is dropped and the next line starts behind it in the
// style in force there. A word wider than the whole line is never split: it stands alone on its
// line and runs past the width, where the clip cuts it. Pen positions are real numbers; a glyph
// is drawn at its pen position rounded to the nearest pixel.
//
// Alignment places each line in the width (or, without one, in the widest line). Justify spreads
// the free pixels over the spaces of every line that ended by wrapping; the last line of a
// paragraph and lines ended by [BR] or [HR] stay left.
//
// Layout is lazy: any change of the faces, text, mark-up switch, width, wrapping, alignment,
// spacing or palette marks the wrapper dirty, and the next layout or draw lays it out again, into
// the arrays of the previous layout (no allocation once they are large enough). Drawing an
// unchanged wrapper reads only the stored lines and runs. [ui thread]
class CTextWrapper : public CCheckedObject
{
public:
    enum Alignment
    {
        kAlignLeft = 0,
        kAlignCenter,
        kAlignRight,
        kAlignJustify
    };
    enum RunKind
    {
        kRunText = 0,
        kRunImage,
        kRunRule
    };
    enum TextColor
    {
        kColorNormal = 0,
        kColor1,
        kColor2
    };

    // One glyph: where it is drawn relative to the line's left end, and the text unit it stands
    // for.
    struct Glyph
    {
        const CImage* image = nullptr;
        int x = 0;
        int source = 0;
        bool isSpace = false;
    };
    // Glyphs of one face and colour, or one image.
    struct Run
    {
        RunKind kind = kRunText;
        CFontObject::Style style = CFontObject::kRegular;
        TextColor color = kColorNormal;
        int firstGlyph = 0;
        int glyphCount = 0;
        // Images and rules: the picture, its colour (null: not drawn), and its box relative to
        // the line's left end and top.
        const CImage* image = nullptr;
        const CColor* imageColor = nullptr;
        int x = 0;
        int y = 0;
        int width = 0;
        int source = 0;
    };
    struct Line
    {
        int firstRun = 0;
        int runCount = 0;
        int top = 0;
        // Left end relative to the text's left edge (alignment), and the width of its content.
        int left = 0;
        int width = 0;
        int paragraph = 0;
        // The text units it covers, [sourceStart, sourceEnd).
        int sourceStart = 0;
        int sourceEnd = 0;
        bool isWrapped = false;
    };
    // Answer of a hit test; -1 where the point lies outside.
    struct Hit
    {
        int line = -1;
        int paragraph = -1;
        // The text unit under the point; on a line but beyond its glyphs, the end of the line.
        int textIndex = -1;
    };

    CTextWrapper();
    ~CTextWrapper() override;
    CTextWrapper(const CTextWrapper&) = delete;
    CTextWrapper& operator=(const CTextWrapper&) = delete;

    // Takes the five faces of the family (its "regular" where it lacks one). The family must
    // have been read (CFontObject::loadNow). Null fails with "Font object is empty.".
    [[nodiscard]] CError* setFontObject(const CFontObject* fontObject);
    const CFont* getFont(CFontObject::Style style) const { return fonts[style]; }
    // The palette that colours the images of [IMG=...] (the window's).
    void setPalette(const CPalette* newPalette);
    void setText(const CString& newText);
    const CString& getText() const { return text; }
    // Off: every character is text, tags included (an edit box shows what is typed). On by
    // default.
    void setMarkup(bool isMarkup);
    // The width in pixels that lines wrap at and align in; 0 for none.
    void setWidth(int pixels);
    void setWrapped(bool isWrapped);
    void setAlignment(Alignment newAlignment);
    // Gap between paragraphs in pixels at scale 1.0.
    void setParagraphSpacing(int pixels);
    // Forces the next layout (faces read again, interface scale changed).
    void invalidate() { dirty = true; }
    bool isDirty() const { return dirty; }

    // Lays the text out when something changed since the last layout.
    void layout();
    // Number of layouts so far (diagnostics: an unchanged wrapper draws without one).
    int getLayoutCount() const { return layoutCount; }

    // Draws with the text's top left corner at originX, originY, inside clip. normal, color1 and
    // color2 are the text colours (a null colour leaves its text out); opacity as for
    // CLinearBitmap::drawLayer. Lays out first when dirty.
    void draw(CLinearBitmap& bitmap, int originX, int originY, const CLinearBitmap::Rect& clip,
              const CColor* normal, const CColor* color1, const CColor* color2,
              double opacity = 1.0);

    // Metrics of the faces at the interface scale (after a layout).
    int getLineHeight() const { return lineHeight; }
    int getLineAbove() const { return lineAbove; }
    int getLineBelow() const { return lineBelow; }
    // From the top of the first line to the bottom of the last; 0 for no text.
    int getTextHeight();
    // The widest line.
    int getTextWidth();
    int getLineCount();
    int getParagraphCount();

    // The laid out lines and runs (after layout()).
    const Line& getLine(int index) const { return lines[index]; }
    const Run& getRun(int index) const { return runs[index]; }
    const Glyph& getGlyph(int index) const { return glyphs[index]; }

    // Where the point (relative to the text's top left corner) falls.
    Hit hitTest(int x, int y);

private:
    struct State
    {
        bool bold = false;
        bool italic = false;
        bool superscript = false;
        TextColor color = kColorNormal;
    };

    CFontObject::Style styleOf(const State& state) const;
    void computeMetrics();
    // Reads the tag whose "[" stands at index; answers the index behind its "]", or -1 when no
    // tag begins there.
    int readTag(int index, State& state, int& outBreak, int& outImageStart);
    // "set#range:role" between start and end: the image (null when there is none) and its
    // colour (null when the palette has no such role: the image keeps its place undrawn).
    void parseImage(int start, int end, const CImage*& outImage, const CColor*& outColor);
    // The first image of a range of an image set below the shared root; reads a deferred set.
    const CImage* findImage(const CString& setPath, const CString& rangeName);
    void addGlyph(const CImage* glyph, CFontObject::Style style, TextColor color, bool isSpace,
                  int source);
    void spreadSpaces(Line& line, int free);
    void beginLine(int source);
    void endLine(int sourceEnd, bool wrapped);
    void addImageRun(RunKind kind, const CImage* image, const CColor* color, int source);
    void finishLines();

    const CFont* fonts[CFontObject::kStyleCount] = {};
    const CPalette* palette = nullptr;
    CString text;
    int width = 0;
    bool wrapped = false;
    bool markup = true;
    Alignment alignment = kAlignLeft;
    int paragraphSpacing = 10;

    bool dirty = true;
    int layoutCount = 0;
    int lineHeight = 0;
    int lineAbove = 0;
    int lineBelow = 0;
    int textWidth = 0;
    int paragraphCount = 0;

    CArray<Line, 4> lines;
    CArray<Run, 8> runs;
    CArray<Glyph, 32> glyphs;

    // Layout in progress.
    double pen = 0.0;
    int contentRight = 0; // right end of the line's last item that is not a space
    int lineTop = 0;
    int paragraph = 0;
};

} // namespace kel
