#pragma once

#include "Core/CCheckedObject.h"
#include "Core/CError.h"

#include <cstdint>

namespace kel
{

class CInputStream;
class COutputStream;

// One entry of a parameter's value table (CAudioParamData): a typed item whose type word is
// written in front of it. Strings are the only kind there is (CAudioParamDataItemString); the
// base keeps the type so that a stored table can say what follows. Owned by its table.
// [any thread; guarded by the owner of the table]
class CAudioParamDataItem : public CCheckedObject
{
public:
    static constexpr int32_t kTypeString = 1;

    explicit CAudioParamDataItem(int32_t itemType) : type(itemType) {}
    ~CAudioParamDataItem() override = default;
    CAudioParamDataItem(const CAudioParamDataItem&) = delete;
    CAudioParamDataItem& operator=(const CAudioParamDataItem&) = delete;

    virtual CAudioParamDataItem* clone() const = 0;
    // The item's own bytes, without the type word.
    [[nodiscard]] virtual CError* load(CInputStream& stream) = 0;
    [[nodiscard]] virtual CError* save(COutputStream& stream) const = 0;

    int32_t getType() const { return type; }

private:
    int32_t type;
};

} // namespace kel
