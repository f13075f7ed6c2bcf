#include "Core/CLocalData.h"

namespace kel
{

CLocalData::CLocalData() : CApplicationData("Kelmont/Audio Plug-Ins/Zumbel/", "AppDataLocal_") {}

CLocalData& CLocalData::get()
{
    static CLocalData store;
    return store;
}

} // namespace kel
