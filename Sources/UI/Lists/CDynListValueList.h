#pragma once

#include "UI/Lists/CDynListObject.h"

namespace kel
{

class CValueList;

// A dynamic list over a value list (tag ui:dynlist-value-list; attribute `value-list`, the list's
// path): one item per item of the value list, titled as the value list shows it ("---" for an
// empty item), its index the item's position. It builds again on the value list's
// `values-changed`. Owned by its parent in the tree; the value list is not owned and is forgotten
// in detachLinks. [ui thread]
class CDynListValueList : public CDynListObject
{
public:
    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    CValueList* getValueList() const { return valueList; }

protected:
    void fillItems(CArray<CItem>& outItems) const override;

private:
    // Procedure of the value list's "values-changed".
    [[nodiscard]] CError* onValuesChanged();

    CValueList* valueList = nullptr; // not owned; cleared in detachLinks
};

} // namespace kel
