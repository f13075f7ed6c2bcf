#pragma once

#include "Core/CClassInfo.h"
#include "Core/CError.h"

namespace kel
{

// The creator rows of the object core: the tags whose classes live in kel_core. The application
// registers them first at start-up; the audio and user-interface libraries add their own rows
// through CObject::registerCreators afterwards. [set-up thread]
class CCoreCreators
{
public:
    static const CCreatorRow* getRows();
    static int getRowCount();
    [[nodiscard]] static CError* registerAll();
};

} // namespace kel
