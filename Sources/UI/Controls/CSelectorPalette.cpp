#include "UI/Controls/CSelectorPalette.h"

namespace kel
{

void CSelectorPalette::registerClass(CClassInfo& info)
{
    CSelector::registerClass(info);
}

CError* CSelectorPalette::prepareButtons()
{
    const CObject* palettes = findObject(CString("shared::pal"));
    if (!palettes)
        return KEL_ERROR("@kelstr_CSelectorPalette_init_NoPalettes Unable to locate palette "
                         "object 'shared::pal'.");
    paletteNames.clear();
    for (int i = 0; i < palettes->getChildCount(); ++i)
        paletteNames.add(palettes->getChild(i)->getName());
    KEL_CHECK(setAttr(CString("button-count"),
                      CAttrValue(static_cast<int32_t>(paletteNames.getCount()))));
    return nullptr;
}

void CSelectorPalette::readTitles(CArray<CString>& out) const
{
    // The icons show the colours; the buttons carry no text.
    out.clear();
}

void CSelectorPalette::describeButton(int index, CAttrMap& params) const
{
    if (index >= paletteNames.getCount())
        return;
    params.set(CString("color"), CAttrValue(CString("PalIcon") + paletteNames[index]));
    params.set(CString("color-slots"), CAttrValue(".|Outer|Inner|Text"));
}

CError* CSelectorPalette::onButtonReleased(int index)
{
    KEL_CHECK(CSelector::onButtonReleased(index));
    if (index >= paletteNames.getCount())
        return nullptr;
    KEL_CHECK(setAttr(CString("palette-name"), CAttrValue(paletteNames[index])));
    KEL_CHECK(writeShared(paletteNames[index]));
    return nullptr;
}

CError* CSelectorPalette::onSharedValue(const CString& text)
{
    KEL_CHECK(setAttr(CString("palette-name"), CAttrValue(text)));
    KEL_CHECK(setAttr(CString("active-button"),
                      CAttrValue(static_cast<int32_t>(paletteNames.indexOf(text)))));
    return nullptr;
}

} // namespace kel
