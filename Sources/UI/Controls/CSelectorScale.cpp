#include "UI/Controls/CSelectorScale.h"

#include "UI/Lists/CValueList.h"

#include <cmath>

namespace kel
{

const char* const CSelectorScale::kScales[kScaleCount] = {"0.8", "1.0", "1.25"};

void CSelectorScale::registerClass(CClassInfo& info)
{
    CSelector::registerClass(info);
}

CError* CSelectorScale::prepareButtons()
{
    KEL_CHECK(setAttr(CString("button-count"), CAttrValue(static_cast<int32_t>(kScaleCount))));
    return nullptr;
}

void CSelectorScale::readTitles(CArray<CString>& out) const
{
    const CString list = getAttrString(CString("button-title-list"), CString("^ui-scale-titles"));
    if (hasAttr(CString("button-title-list")) || dynamic_cast<CValueList*>(findObject(list)))
    {
        readTitleList(list, out);
        return;
    }
    out.clear();
    for (const char* title : {"80%", "100%", "125%"})
        out.add(CString(title));
}

CError* CSelectorScale::onButtonReleased(int index)
{
    KEL_CHECK(CSelector::onButtonReleased(index));
    if (index >= kScaleCount)
        return nullptr;
    KEL_CHECK(setAttr(CString("scale"), CAttrValue(kScales[index])));
    KEL_CHECK(writeShared(CString(kScales[index])));
    return nullptr;
}

CError* CSelectorScale::onSharedValue(const CString& text)
{
    double factor = 0.0;
    int active = -1;
    if (text.parseDouble(factor))
    {
        for (int index = 0; index < kScaleCount; ++index)
        {
            double listed = 0.0;
            if (CString(kScales[index]).parseDouble(listed) && std::fabs(listed - factor) < 1e-9)
                active = index;
        }
    }
    KEL_CHECK(setAttr(CString("scale"), CAttrValue(text)));
    KEL_CHECK(setAttr(CString("active-button"), CAttrValue(static_cast<int32_t>(active))));
    return nullptr;
}

} // namespace kel
