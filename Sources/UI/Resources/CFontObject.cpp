#include "UI/Resources/CFontObject.h"

#include "UI/Resources/CFont.h"

namespace kel
{

namespace
{
// In the order of CFontObject::Style.
const char* const kStyleNames[CFontObject::kStyleCount] = {"bold", "bold-italic", "italic",
                                                           "regular", "superscript"};
} // namespace

CFontObject::CFontObject() = default;

CFontObject::~CFontObject()
{
    for (CFont*& face : faces)
    {
        delete face;
        face = nullptr;
    }
}

void CFontObject::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

int CFontObject::styleOf(const CString& styleName)
{
    for (int i = 0; i < kStyleCount; ++i)
    {
        if (styleName == kStyleNames[i])
            return i;
    }
    return -1;
}

CError* CFontObject::initChilds()
{
    KEL_CHECK(CObject::initChilds());
    if (getAttrBool("is-load-deferred", false))
        return walkStyles(false);
    return loadNow();
}

CError* CFontObject::loadNow()
{
    loaded = false;
    KEL_CHECK(walkStyles(true));
    loaded = true;
    return nullptr;
}

CError* CFontObject::walkStyles(bool load)
{
    for (int i = 0; i < getChildCount(); ++i)
    {
        const CObject* child = getChild(i);
        if (!child->getAttrBool("is-font-style", false))
            continue;
        const int style = styleOf(child->getName());
        if (style < 0)
            return KEL_ERROR("@kelstr_CFontObject_initChilds_UnknownFontStyle Unknown font style "
                             "'%1'.",
                             child->getName());
        if (!load)
            continue;
        if (!faces[style])
            faces[style] = new CFont();
        KEL_CHECK(faces[style]->load(child->getAttrString("file")));
    }
    return nullptr;
}

const CFont* CFontObject::getFont(Style style) const
{
    if (!loaded)
        return nullptr;
    if (style >= 0 && style < kStyleCount && faces[style])
        return faces[style];
    return faces[kRegular];
}

} // namespace kel
