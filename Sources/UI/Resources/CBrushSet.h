#pragma once

#include "Core/CArray.h"
#include "Core/CDataSet.h"
#include "Core/CError.h"

namespace kel
{

class CBrush;

// The pens of the interface, in file order; a view names the set with its attribute
// `brush-set`. Stored form: u32 version (1), u32 brush count (at least 1), the brush records.
// A version other than 1 or a count below 1 loads as an empty set.
// Owns its brushes; loaded once during start-up (CDataSet::load), read-only afterwards. [ui thread]
class CBrushSet : public CDataSet
{
public:
    static constexpr int kFormatVersion = 1;

    CBrushSet() = default;
    ~CBrushSet() override;

    // Replaces the contents.
    [[nodiscard]] CError* read(CInputStream& stream) override;
    [[nodiscard]] CError* write(COutputStream& stream) const override;
    void clear();

    int getBrushCount() const { return brushes.getCount(); }
    // Null out of range.
    const CBrush* getBrush(int index) const
    {
        return index >= 0 && index < brushes.getCount() ? brushes[index] : nullptr;
    }
    // Takes ownership.
    void addBrush(CBrush* brush) { brushes.add(brush); }

private:
    CArray<CBrush*, 4> brushes;
};

} // namespace kel
