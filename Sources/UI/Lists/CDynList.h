#pragma once

#include "Core/CError.h"
#include "Core/CString.h"

namespace kel
{

class CObject;
class CValueList;

// What popups show: a list whose items may open sub-lists. The lists are numbered from 0 (the top
// list); each item has a title, the `index` it stands for (what choosing it selects; -1 for an
// item that only opens a sub-list), the `list-id` of the list that holds it, and the id of the
// sub-list it opens (-1 for none). An implementation raises `dynamic-list-updated` each time its
// lists are built again. Not owned through this interface. [ui thread]
class CDynList
{
public:
    struct CItem
    {
        CString title;
        int index = -1;
        int listId = 0;
        int subListId = -1;
    };

    // Sub-lists nest at most this deep below the top list; deeper nesting fails to build with
    // "Too many recursions".
    static constexpr int kMaxDepth = 16;

    virtual ~CDynList() = default;

    virtual int getListCount() const = 0;
    // 0 for a list id that does not exist.
    virtual int getItemCount(int listId) const = 0;
    // position must be below getItemCount(listId).
    virtual const CItem& getItem(int listId, int position) const = 0;

    // What a control given a list's path uses: resolves path from `from` to a value list or a
    // dynamic list (exactly one of the outs is set on success). Anything else fails with the
    // message of kelstr_CControlArray_init_NoTag.
    [[nodiscard]] static CError* findList(const CObject& from, const CString& path,
                                          CValueList*& outValueList, CDynList*& outDynList);
};

} // namespace kel
