#pragma once

#include "Core/CError.h"

namespace kel
{

class CUIParam;

// What an object implements to take `ui:ui-param` children: a CUIParam accepts only a parent that
// is a CUIParamUpdateHandler, and calls it whenever the value it stands for has changed or must
// be read again (a new definition, another group). The handler reads the value from the CUIParam
// and redraws; it never receives the value itself, so that it always shows what the parameter
// holds. Implemented by the controls with values and by CViewStateSwitch; not owned by anyone.
// [ui thread]
class CUIParamUpdateHandler
{
public:
    virtual ~CUIParamUpdateHandler() = default;

    [[nodiscard]] virtual CError* onUIParamUpdate(CUIParam& uiParam) = 0;
};

} // namespace kel
