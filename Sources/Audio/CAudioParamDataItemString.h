#pragma once

#include "Audio/CAudioParamDataItem.h"
#include "Core/CString.h"

namespace kel
{

// The string item of a parameter's value table. [any thread; guarded by the table's owner]
class CAudioParamDataItemString : public CAudioParamDataItem
{
public:
    CAudioParamDataItemString() : CAudioParamDataItem(kTypeString) {}
    explicit CAudioParamDataItemString(const CString& value)
        : CAudioParamDataItem(kTypeString), text(value)
    {
    }

    CAudioParamDataItem* clone() const override;
    [[nodiscard]] CError* load(CInputStream& stream) override;
    [[nodiscard]] CError* save(COutputStream& stream) const override;

    const CString& getText() const { return text; }

private:
    CString text;
};

} // namespace kel
