#pragma once

#include "Core/CObject.h"

namespace kel
{

class CFont;

// The tree node "font": a font family. Its children that carry "is-font-style" true each name a
// style ("bold", "bold-italic", "italic", "regular", "superscript") and a "file", the resource
// of that face, read when the family's children are initialised. A style without a face falls
// back to "regular" at use. Owns its faces, which live as long as the node. [ui thread]
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

    // The face of a style, or of "regular" when the family has none; null when neither exists.
    const CFont* getFont(Style style) const;
    // The style of a name, or -1 for none of the five.
    static int styleOf(const CString& styleName);

private:
    CFont* faces[kStyleCount] = {};
};

} // namespace kel
