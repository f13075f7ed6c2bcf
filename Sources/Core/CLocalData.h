#pragma once

#include "Core/CApplicationData.h"

namespace kel
{

// The process's store of this product's own data: items below
// "Kelmont/Audio Plug-Ins/Zumbel/", resources prefixed "AppDataLocal_". Made on first use, lives
// until the module is unloaded. [any thread]
class CLocalData : public CApplicationData
{
public:
    static CLocalData& get();

private:
    CLocalData();
};

} // namespace kel
