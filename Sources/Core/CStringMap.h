#pragma once

#include "Core/CString.h"
#include "Core/CTreeMap.h"

namespace kel
{

// Ordered map keyed by string. Keys order by code unit, so a narrow key and a wide key holding the
// same units are the same key. See CTreeMap for the operations.
template <typename V> class CStringMap : public CTreeMap<CString, V>
{
};

} // namespace kel
