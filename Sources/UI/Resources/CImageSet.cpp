#include "UI/Resources/CImageSet.h"

#include "Core/CInputStream.h"
#include "Core/COutputStream.h"
#include "UI/Resources/CImage.h"

namespace kel
{

CImageSet::~CImageSet()
{
    clear();
}

void CImageSet::clear()
{
    for (CImage* image : images)
        delete image;
    images.reset();
    ranges.clear();
}

CError* CImageSet::read(CInputStream& stream)
{
    clear();
    uint32_t version = 0;
    KEL_CHECK(stream.readUInt32(version));
    if (version != kFormatVersion)
        return nullptr;

    uint32_t rangeCount = 0;
    KEL_CHECK(stream.readUInt32(rangeCount));
    for (uint32_t i = 0; i < rangeCount; ++i)
    {
        CString name;
        Range range;
        KEL_CHECK(stream.readString(name));
        KEL_CHECK(stream.readInt32(range.first));
        KEL_CHECK(stream.readInt32(range.last));
        ranges.set(name, range);
    }

    uint32_t imageCount = 0;
    KEL_CHECK(stream.readUInt32(imageCount));
    for (uint32_t i = 0; i < imageCount; ++i)
    {
        int32_t number = 0;
        KEL_CHECK(stream.readInt32(number));
        if (number < 0 || number > kMaxImageNumber)
            return KEL_ERROR("@kelstr_CImageSet_read_ImageNumber Invalid image number %1.", number);
        auto* image = new CImage();
        setImage(number, image);
        KEL_CHECK(image->read(stream));
    }
    return nullptr;
}

CError* CImageSet::write(COutputStream& stream) const
{
    KEL_CHECK(stream.writeUInt32(kFormatVersion));
    KEL_CHECK(stream.writeUInt32(static_cast<uint32_t>(ranges.getCount())));
    for (const auto& [name, range] : ranges)
    {
        KEL_CHECK(stream.writeString(name));
        KEL_CHECK(stream.writeInt32(range.first));
        KEL_CHECK(stream.writeInt32(range.last));
    }
    KEL_CHECK(stream.writeUInt32(static_cast<uint32_t>(getImageCount())));
    for (int number = 0; number < images.getCount(); ++number)
    {
        if (!images[number])
            continue;
        KEL_CHECK(stream.writeInt32(number));
        KEL_CHECK(images[number]->write(stream));
    }
    return nullptr;
}

bool CImageSet::findRange(const CString& name, Range& outRange) const
{
    const Range* found = ranges.find(name);
    if (!found)
        return false;
    outRange = *found;
    return true;
}

void CImageSet::setRange(const CString& name, int first, int last)
{
    ranges.set(name, Range{first, last});
}

int CImageSet::getImageCount() const
{
    int count = 0;
    for (const CImage* image : images)
        count += image ? 1 : 0;
    return count;
}

void CImageSet::setImage(int number, CImage* image)
{
    if (number >= images.getCount())
    {
        images.reserve(number + 1);
        while (images.getCount() <= number)
            images.add(nullptr);
    }
    delete images[number];
    images[number] = image;
}

} // namespace kel
