#include "Core/CGlobalData.h"

namespace kel
{

CGlobalData::CGlobalData() : CApplicationData("Kelmont/Audio Plug-Ins/", "AppDataGlobal_") {}

CGlobalData& CGlobalData::get()
{
    static CGlobalData store;
    return store;
}

} // namespace kel
