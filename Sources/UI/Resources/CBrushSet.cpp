#include "UI/Resources/CBrushSet.h"

#include "Core/CInputStream.h"
#include "Core/COutputStream.h"
#include "UI/Resources/CBrush.h"

namespace kel
{

namespace
{
constexpr uint32_t kMaxBrushes = 256;
} // namespace

CBrushSet::~CBrushSet()
{
    clear();
}

void CBrushSet::clear()
{
    for (CBrush* brush : brushes)
        delete brush;
    brushes.reset();
}

CError* CBrushSet::read(CInputStream& stream)
{
    clear();
    uint32_t version = 0;
    KEL_CHECK(stream.readUInt32(version));
    if (version != kFormatVersion)
        return nullptr;
    uint32_t brushCount = 0;
    KEL_CHECK(stream.readUInt32(brushCount));
    if (brushCount > kMaxBrushes)
        return KEL_ERROR("@kelstr_CBrushSet_read_BrushCount Invalid number of brushes %1.",
                         brushCount);
    for (uint32_t i = 0; i < brushCount; ++i)
    {
        auto* brush = new CBrush();
        brushes.add(brush);
        KEL_CHECK(brush->read(stream));
    }
    return nullptr;
}

CError* CBrushSet::write(COutputStream& stream) const
{
    KEL_CHECK(stream.writeUInt32(kFormatVersion));
    KEL_CHECK(stream.writeUInt32(static_cast<uint32_t>(brushes.getCount())));
    for (const CBrush* brush : brushes)
        KEL_CHECK(brush->write(stream));
    return nullptr;
}

} // namespace kel
