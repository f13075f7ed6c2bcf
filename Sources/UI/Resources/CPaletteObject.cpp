#include "UI/Resources/CPaletteObject.h"

#include "Core/CResourceReader.h"

namespace kel
{

CPaletteObject::CPaletteObject() = default;

CPaletteObject::~CPaletteObject() = default;

void CPaletteObject::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CPaletteObject::init()
{
    KEL_CHECK(CObject::init());
    KEL_CHECK(loadNow());
    return nullptr;
}

CError* CPaletteObject::loadNow()
{
    isLoaded = false;
    CResourceReader reader;
    KEL_CHECK(reader.open(getAttrString("file")));
    KEL_CHECK(palette.read(reader));
    isLoaded = true;
    return nullptr;
}

} // namespace kel
