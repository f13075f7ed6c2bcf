#pragma once

#include "Core/CObject.h"

namespace kel
{

class CFont;

// The tree node "font": a font family. Its children that carry "is-font-style" true each name a
// style ("bold", "bold-italic", "italic", "regular", "superscript") and a "file", the resource
// of that face. A style without a face falls back to "regular" at use.
//
// The faces are read when the family's children are initialised, or, with "is-load-deferred"
// true (the shared tree's families), only when the first user calls loadNow: a face costs tens
// of KiB, which an instance that never shows its editor should not pay. A child with a style
// name that is none of the five fails the initialisation in both cases.
// Owns its faces, which live as long as the node. [ui thread]
class CFontObject : public CObject
{
public:
    enum Style
    {
        kBold = 0,
        kBoldItalic,
        kItalic,
        kRegular,
        kSuperscript,
        kStyleCount
    };

    CFontObject();
    ~CFontObject() override;

    static void registerClass(CClassInfo& info);

    [[nodiscard]] CError* initChilds() override;
    // Reads the faces of the style children now; a second call reads them again into the same
    // CFont objects, so pointers to the faces stay valid (their glyphs do not).
    [[nodiscard]] CError* loadNow();
    bool isLoaded() const { return loaded; }

    // The face of a style, or of "regular" when the family has none; null when neither exists
    // or the faces have not been read.
    const CFont* getFont(Style style) const;
    // The style of a name, or -1 for none of the five.
    static int styleOf(const CString& styleName);

private:
    // Checks the style names of the children; with load, reads each face.
    [[nodiscard]] CError* walkStyles(bool load);

    CFont* faces[kStyleCount] = {};
    bool loaded = false;
};

} // namespace kel
