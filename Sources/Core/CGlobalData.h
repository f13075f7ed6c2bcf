#pragma once

#include "Core/CApplicationData.h"

namespace kel
{

// The process's store of data common to every product of the maker: items below
// "Kelmont/Audio Plug-Ins/", resources prefixed "AppDataGlobal_". Made on first use, lives until
// the module is unloaded. [any thread]
class CGlobalData : public CApplicationData
{
public:
    static CGlobalData& get();

private:
    CGlobalData();
};

} // namespace kel
