#include "UI/CUiCreators.h"

#include "UI/Resources/CBrushSetObject.h"
#include "UI/Resources/CFontObject.h"
#include "UI/Resources/CImageSetObject.h"
#include "UI/Resources/CPaletteObject.h"

namespace kel
{

CError* CUiCreators::registerAll()
{
    static const CCreatorRow rows[] = {
        CCreatorRow::of<CBrushSetObject>("brushset"),
        CCreatorRow::of<CFontObject>("font"),
        CCreatorRow::of<CImageSetObject>("imageset"),
        CCreatorRow::of<CPaletteObject>("palette"),
    };
    KEL_CHECK(CObject::registerCreators(rows, static_cast<int>(sizeof(rows) / sizeof(rows[0]))));
    return nullptr;
}

} // namespace kel
