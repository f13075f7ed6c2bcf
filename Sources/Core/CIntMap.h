#pragma once

#include "Core/CTreeMap.h"

#include <cstdint>

namespace kel
{

// Ordered map keyed by a signed 32-bit integer: negative keys come first. See CTreeMap.
template <typename V> class CIntMap : public CTreeMap<int32_t, V>
{
};

} // namespace kel
