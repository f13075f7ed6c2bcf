#include "UI/Lists/CValueList.h"

#include <cmath>

namespace kel
{

namespace
{

const char* const kParagraphTag = "ui:textview-p";
const char* const kContentTag = "content";
const char* const kLineBreak = "[BR]";
const char* const kEmptyTitle = "---";

} // namespace

void CValueList::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
    info.addAttrHandler<CValueList>("add-empty-value", &CValueList::attrShape);
    info.addAttrHandler<CValueList>("is-add-manual-items", &CValueList::attrShape);
    info.addAttrHandler<CValueList>("max-capacity", &CValueList::attrShape);
    info.addAttrHandler<CValueList>("separator-char", &CValueList::attrShape);
}

CError* CValueList::init()
{
    KEL_CHECK(CObject::init());
    readAttributes();
    return nullptr;
}

CError* CValueList::initChilds()
{
    KEL_CHECK(CObject::initChilds());
    readManualItems();
    KEL_CHECK(updateValues());
    return nullptr;
}

void CValueList::readAttributes()
{
    addEmptyValue = getAttrBool(CString("add-empty-value"), false);
    addManualItems = getAttrBool(CString("is-add-manual-items"), false);
    maxCapacity = getAttrInt(CString("max-capacity"), 0);
    if (maxCapacity < 0)
        maxCapacity = 0;
    const CString separatorText = getAttrString(CString("separator-char"), CString());
    separator = separatorText.isEmpty() ? 0 : separatorText.getUnit(0);
}

CError* CValueList::attrShape()
{
    readAttributes();
    // Before initChilds the tree's items are not read yet; initChilds builds the list.
    if (getState() < kStateChildsInitDone)
        return nullptr;
    readManualItems();
    KEL_CHECK(updateValues());
    return nullptr;
}

CError* CValueList::reloadManualItems()
{
    readManualItems();
    KEL_CHECK(updateValues());
    return nullptr;
}

void CValueList::readManualItems()
{
    manualItems.clear();
    const CString paragraphTag(kParagraphTag);
    const CString contentTag(kContentTag);
    for (int i = 0; i < getChildCount(); ++i)
    {
        const CObject* paragraph = getChild(i);
        if (paragraph->getTag() != paragraphTag)
            continue;
        CString text;
        bool first = true;
        for (int c = 0; c < paragraph->getChildCount(); ++c)
        {
            const CObject* content = paragraph->getChild(c);
            if (content->getTag() != contentTag)
                continue;
            if (!first)
                text.append(kLineBreak);
            text.append(content->getAttrString(CString("value"), CString()));
            first = false;
        }
        addManualText(text);
    }
}

void CValueList::addManualText(const CString& text)
{
    if (!separator)
    {
        manualItems.add(text);
        return;
    }
    int start = 0;
    for (;;)
    {
        const int end = text.findUnit(separator, start);
        if (end < 0)
        {
            manualItems.add(text.substring(start));
            return;
        }
        manualItems.add(text.substring(start, end - start));
        start = end + 1;
    }
}

CError* CValueList::updateValues()
{
    KEL_CHECK(setItems(CArray<CString>(), CArray<double>(), true));
    return nullptr;
}

CError* CValueList::setItems(const CArray<CString>& newTexts, const CArray<double>& newValues,
                             bool withManual)
{
    CArray<CString> builtTexts;
    CArray<double> builtValues;
    if (addEmptyValue)
    {
        builtTexts.add(CString());
        builtValues.add(-1.0);
    }
    for (int i = 0; i < newTexts.getCount(); ++i)
    {
        builtTexts.add(newTexts[i]);
        builtValues.add(i < newValues.getCount() ? newValues[i] : static_cast<double>(i));
    }
    if (withManual)
    {
        for (int i = 0; i < manualItems.getCount(); ++i)
        {
            builtTexts.add(manualItems[i]);
            builtValues.add(static_cast<double>(i));
        }
    }
    if (maxCapacity > 0 && builtTexts.getCount() > maxCapacity)
    {
        builtTexts.removeAt(maxCapacity, builtTexts.getCount() - maxCapacity);
        builtValues.removeAt(maxCapacity, builtValues.getCount() - maxCapacity);
    }

    bool isSame = builtTexts.getCount() == texts.getCount();
    for (int i = 0; isSame && i < texts.getCount(); ++i)
        isSame = builtTexts[i] == texts[i] && builtValues[i] == values[i];
    if (isSame)
        return nullptr;
    texts = std::move(builtTexts);
    values = std::move(builtValues);
    CAttrMap params;
    params.set(CString("count"), CAttrValue(static_cast<int32_t>(texts.getCount())));
    KEL_CHECK(sendEvent(CString("values-changed"), params));
    return nullptr;
}

CString CValueList::getTitle(int index) const
{
    return texts[index].isEmpty() ? CString(kEmptyTitle) : texts[index];
}

int CValueList::findValue(double value) const
{
    for (int i = 0; i < values.getCount(); ++i)
    {
        if (std::fabs(values[i] - value) < 1e-9)
            return i;
    }
    return -1;
}

} // namespace kel
