#include "Core/CCoreCreators.h"

#include "Core/CObject.h"

namespace kel
{

namespace
{

const CCreatorRow coreRows[] = {
    CCreatorRow::of<CObject>("core:object"),
};

} // namespace

const CCreatorRow* CCoreCreators::getRows()
{
    return coreRows;
}

int CCoreCreators::getRowCount()
{
    return static_cast<int>(sizeof(coreRows) / sizeof(coreRows[0]));
}

CError* CCoreCreators::registerAll()
{
    return CObject::registerCreators(coreRows, getRowCount());
}

} // namespace kel
