#include "UI/Resources/CImageSetObject.h"

#include "Core/CResourceReader.h"

namespace kel
{

CImageSetObject::CImageSetObject() = default;

CImageSetObject::~CImageSetObject() = default;

void CImageSetObject::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CImageSetObject::init()
{
    KEL_CHECK(CObject::init());
    KEL_CHECK(loadNow());
    return nullptr;
}

CError* CImageSetObject::loadNow()
{
    isLoaded = false;
    CResourceReader reader;
    KEL_CHECK(reader.open(getAttrString("file")));
    KEL_CHECK(imageSet.read(reader));
    isLoaded = true;
    return nullptr;
}

} // namespace kel
