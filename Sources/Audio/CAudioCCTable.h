#pragma once

#include "Core/CApplicationDataBridge.h"
#include "Core/CObject.h"
#include "Core/Platform/CLock.h"

#include <cstdint>

namespace kel
{

class CApplicationData;
class CAudioExtParam;
class CAudioCCTable;
using CAudioCCTableBridge = CApplicationDataBridge<CAudioCCTable>;

// MIDI controller number (0 to 127) to host parameter, for one instance (tag audio:cctable). The
// table is the user's, common to every instance in the process: the item "ccmap" of the maker's
// application data store, a compressed block "adat" holding a u32 entry count and, per entry, a
// u32 controller number and the object path of a host parameter in the instance tree
// ("plugin.ext-param-list.ext-param#4", the fifth). Read at init; when any instance saves it, every
// instance reads it again. A path that does not lead to a host parameter, and a controller beyond
// 127, leave the slot empty.
//
// The instance's tree owns it. The table has its own lock; the reload after another instance's
// save runs on the saving thread and only reads the (complete) instance tree.
// [any thread; takes the table lock]
class CAudioCCTable : public CObject
{
public:
    static constexpr int kControllerCount = 128;
    static constexpr uint32_t kItemId = 0x74616461; // "adat" on the wire
    static constexpr const char* kItemName = "ccmap";

    CAudioCCTable() = default;
    ~CAudioCCTable() override;

    static void registerClass(CClassInfo& info);
    // Reads the table; a damaged item is logged and leaves it empty.
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    // The host parameter of a controller; null for none or a number outside 0..127.
    CAudioExtParam* getExtParam(int controller) const;
    // Null clears the slot. A number outside 0..127 is ignored. Not stored until save.
    void setExtParam(int controller, CAudioExtParam* param);

    // Writes the table as the item; every instance in the process then reloads it.
    [[nodiscard]] CError* save();
    // Clears the table and reads the item again.
    [[nodiscard]] CError* load();

private:
    // The store's bridge, on the writing thread.
    void onStoreChanged();
    void release();

    mutable CLock lock{4000};
    // Not owned: host parameters of this instance's tree.
    CAudioExtParam* table[kControllerCount] = {};
    // Not owned: process-wide.
    CApplicationData* store = nullptr;
    CAudioCCTableBridge* bridge = nullptr; // owned
};

} // namespace kel
