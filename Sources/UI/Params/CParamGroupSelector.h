#pragma once

#include "Core/CObject.h"

namespace kel
{

class CAudioInterfaceClient;

// The channel group that the controls of a window show and change (tag
// ui:param-group-selector), one per window tree. Attributes: `group-index` (the current group,
// 0 the first), `active-groups-list` (blank-separated groups that may be chosen; empty: any),
// `interface-client` (optional path of the client, whose group count then bounds the choice).
// Each change of the group raises `group-change` with the parameter `group`; the CUIParams that
// name this selector follow it and read their values again. Choosing a group changes no value
// and makes no undo step. Owned by the window tree; the client is not owned. [ui thread]
class CParamGroupSelector : public CObject
{
public:
    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    int getGroup() const { return group; }
    // Chooses a group; one that is not active or beyond the instance's groups is refused
    // (nothing happens).
    [[nodiscard]] CError* selectGroup(int newGroup);
    bool isGroupActive(int candidate) const;

private:
    [[nodiscard]] CError* attrGroupIndex();
    [[nodiscard]] CError* attrActiveGroupsList();

    CAudioInterfaceClient* client = nullptr; // not owned; cleared in detachLinks
    CArray<int> activeGroups;
    int group = 0;
};

} // namespace kel
