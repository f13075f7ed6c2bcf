#pragma once

#include "Core/CTreeMap.h"

#include <type_traits>

namespace kel
{

// Ordered map keyed by a pointer (K, by default const void*), in address order. It neither owns
// nor follows what the keys point to: whoever stores an object's address removes it before the
// object goes. A set of pointers is a CPtrMap with a bool value. See CTreeMap.
template <typename V, typename K = const void*> class CPtrMap : public CTreeMap<K, V>
{
    static_assert(std::is_pointer<K>::value, "CPtrMap is keyed by a pointer type");
};

} // namespace kel
