#include "UI/Resources/CBrushSetObject.h"

#include "Core/CResourceReader.h"

namespace kel
{

CBrushSetObject::CBrushSetObject() = default;

CBrushSetObject::~CBrushSetObject() = default;

void CBrushSetObject::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CBrushSetObject::init()
{
    KEL_CHECK(CObject::init());
    KEL_CHECK(loadNow());
    return nullptr;
}

CError* CBrushSetObject::loadNow()
{
    isLoaded = false;
    CResourceReader reader;
    KEL_CHECK(reader.open(getAttrString("file")));
    KEL_CHECK(brushSet.read(reader));
    isLoaded = true;
    return nullptr;
}

} // namespace kel
