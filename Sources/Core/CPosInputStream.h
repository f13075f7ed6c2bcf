#pragma once

#include "Core/CInputStream.h"

namespace kel
{

// An input stream with a position and a size, both in bytes from its start.
// Owned by whoever made it; one thread at a time. [any thread]
class CPosInputStream : public CInputStream
{
public:
    [[nodiscard]] virtual CError* getPosition(int64_t& outPosition) = 0;
    [[nodiscard]] virtual CError* setPosition(int64_t position) = 0;
    [[nodiscard]] virtual CError* getSize(int64_t& outSize) = 0;
};

} // namespace kel
