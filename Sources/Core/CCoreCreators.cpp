#include "Core/CCoreCreators.h"

#include "Core/CAttrDoubler.h"
#include "Core/CGlobalSettings.h"
#include "Core/CObject.h"
#include "Core/CSharedAttribute.h"
#include "Core/CStdEventBridge.h"
#include "Core/CTimer.h"

namespace kel
{

namespace
{

// The event bridge is a core class although its tag belongs to the interface family.
const CCreatorRow coreRows[] = {
    CCreatorRow::of<CAttrDoubler>("core:attr-doubler"),
    CCreatorRow::of<CGlobalSettings>("core:global-settings"),
    CCreatorRow::of<CObject>("core:object"),
    CCreatorRow::of<CSharedAttribute>("core:shared-attribute"),
    CCreatorRow::of<CTimer>("core:timer"),
    CCreatorRow::of<CStdEventBridge>("ui:ui-event-bridge"),
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
    return CObject::registerCreators(coreRows);
}

} // namespace kel
