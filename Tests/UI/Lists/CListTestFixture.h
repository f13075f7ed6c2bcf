#pragma once

// The window tree of the parameter tests with the lists' creators and a listener that counts the
// events of one list.
#include "UI/Lists/CDynListValueList.h"
#include "UI/Lists/CValueList.h"
#include "UI/Lists/CValueListAudio.h"
#include "UI/Params/CParamTestFixture.h"

#include <string>
#include <vector>

namespace kel
{
namespace listtest
{

// Listens to the list at `target` and counts its `values-changed` and `dynamic-list-updated`.
class CTestListListener : public CObject
{
public:
    static void registerClass(CClassInfo& info)
    {
        CObject::registerClass(info);
        info.addEventProc<CTestListListener>("values-changed", &CTestListListener::onValues);
        info.addEventProc<CTestListListener>("dynamic-list-updated", &CTestListListener::onDyn);
    }

    CError* init() override
    {
        KEL_CHECK(CObject::init());
        const CString target = getAttrString(CString("target"));
        KEL_CHECK(listenObject(target, CString("values-changed"), CString("values-changed")));
        KEL_CHECK(
            listenObject(target, CString("dynamic-list-updated"), CString("dynamic-list-updated")));
        return nullptr;
    }

    int valuesChanged = 0;
    int dynUpdated = 0;

private:
    CError* onValues()
    {
        ++valuesChanged;
        return nullptr;
    }
    CError* onDyn()
    {
        ++dynUpdated;
        return nullptr;
    }
};

inline CError* registerListTestRows()
{
    static const CCreatorRow rows[] = {
        CCreatorRow::of<CTestListListener>("test:list-listener"),
    };
    return CObject::registerCreators(rows, 1);
}

class CListTest : public paramtest::CParamTest
{
protected:
    void SetUp() override
    {
        CApplication::addCreatorRegistration(&registerListTestRows);
        paramtest::CParamTest::SetUp();
    }

    // The items of a value list as shown ("---" for an empty one).
    static std::vector<std::string> titles(const CValueList& list)
    {
        std::vector<std::string> out;
        for (int i = 0; i < list.getCount(); ++i)
            out.push_back(test::CUtf8::of(list.getTitle(i)));
        return out;
    }

    // The titles of one list of a dynamic list.
    static std::vector<std::string> titles(const CDynList& list, int listId)
    {
        std::vector<std::string> out;
        for (int i = 0; i < list.getItemCount(listId); ++i)
            out.push_back(test::CUtf8::of(list.getItem(listId, i).title));
        return out;
    }

    // A paragraph item with one content per value.
    static void addParagraph(CTreeBlobWriter::Node& list, const std::vector<std::string>& values)
    {
        auto& paragraph = list.add("ui:textview-p");
        for (const std::string& value : values)
            paragraph.add("content").attr("value", value);
    }

    std::string set(CObject* object, const char* attrName, const char* value)
    {
        return test::CErrorText::takeMessage(
            object->setAttr(CString(attrName), CAttrValue(CString(value))));
    }
};

} // namespace listtest
} // namespace kel
