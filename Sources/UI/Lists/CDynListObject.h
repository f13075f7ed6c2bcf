#pragma once

#include "Core/CObject.h"
#include "UI/Lists/CDynList.h"

namespace kel
{

// The tree node base of dynamic lists. Its top list holds the items of its own source
// (fillItems), then one item per child that is a CDynListObject, titled by the child's `title`,
// which opens a sub-list with that child's lists in turn. Children nest at most
// CDynList::kMaxDepth deep below the node that builds; deeper nesting fails with "Too many
// recursions".
//
// The lists are built at initChilds and by rebuild, which raises `dynamic-list-updated` (with the
// parameter `count`, the number of lists) and builds a parent dynamic list again, so that a
// change deep down reaches the popup at the top. Owned by its parent in the tree; the sub-list
// nodes are its children. [ui thread]
class CDynListObject : public CObject, public CDynList
{
public:
    [[nodiscard]] CError* initChilds() override;

    int getListCount() const override { return lists.getCount(); }
    int getItemCount(int listId) const override;
    const CItem& getItem(int listId, int position) const override;

    // Builds every list again from the sources and raises `dynamic-list-updated`.
    [[nodiscard]] CError* rebuild();

protected:
    // The items of this node's own source, in order; listId and subListId are set by the caller.
    virtual void fillItems(CArray<CItem>& outItems) const = 0;

private:
    // Adds this node's items (and its children's, as sub-lists) to the list listId of lists,
    // depth levels below the node that builds.
    [[nodiscard]] CError* buildInto(CArray<CArray<CItem>>& into, int listId, int depth) const;

    CArray<CArray<CItem>> lists;
};

} // namespace kel
