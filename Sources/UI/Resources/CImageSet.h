#pragma once

#include "Core/CArray.h"
#include "Core/CDataSet.h"
#include "Core/CError.h"
#include "Core/CStringMap.h"

#include <cstdint>

namespace kel
{

class CImage;

// A set of images as a view draws them: named ranges of image numbers ("" is the default range)
// and the images by number. Numbers are the authors' ids, not positions, so the array has holes.
// Each layer keeps the stored size nearest to the interface scale at load time (CUiScale).
//
// Stored form: u32 version (1), u32 range count, the ranges ascending by name (string name,
// i32 first, i32 last, both inclusive), u32 image count, the images ascending by number (i32
// number, then the image). A version other than 1 loads as an empty set.
// Owns its images; loaded once during start-up (CDataSet::load), read-only afterwards. [ui thread]
class CImageSet : public CDataSet
{
public:
    static constexpr int kFormatVersion = 1;
    // Highest image number a set may use; fonts go up to code 966.
    static constexpr int kMaxImageNumber = 65535;

    struct Range
    {
        int first = 0;
        int last = -1;
    };

    CImageSet() = default;
    ~CImageSet() override;

    // Replaces the contents. On failure the set holds what was read up to the fault.
    [[nodiscard]] CError* read(CInputStream& stream) override;
    [[nodiscard]] CError* write(COutputStream& stream) const override;
    void clear();

    // False when there is no such range; controls then use the default range.
    bool findRange(const CString& name, Range& outRange) const;
    void setRange(const CString& name, int first, int last);
    const CStringMap<Range>& getRanges() const { return ranges; }

    // Null for a hole or a number beyond the set.
    const CImage* getImage(int number) const
    {
        return number >= 0 && number < images.getCount() ? images[number] : nullptr;
    }
    // One more than the highest image number.
    int getImageLimit() const { return images.getCount(); }
    int getImageCount() const;
    // Takes ownership and replaces an image of the same number.
    void setImage(int number, CImage* image);

private:
    CStringMap<Range> ranges;
    CArray<CImage*, 16> images;
};

} // namespace kel
