#pragma once

#include "Core/COutputStream.h"

namespace kel
{

// An output stream with a position and a size, both in bytes from its start.
// Owned by whoever made it; one thread at a time. [any thread]
class CPosOutputStream : public COutputStream
{
public:
    [[nodiscard]] virtual CError* getPosition(int64_t& outPosition) = 0;
    [[nodiscard]] virtual CError* setPosition(int64_t position) = 0;
    [[nodiscard]] virtual CError* getSize(int64_t& outSize) = 0;
};

} // namespace kel
