#include "Audio/CAudioPresetBlock.h"

#include "Core/CResourceReader.h"
#include "Core/CString.h"
#include "Core/CUtf8Path.h"

namespace kel
{

CError* CAudioPresetBlock::readFilePayload(const CString& path, uint32_t id,
                                           CByteBuffer& outPayload)
{
    CResourceReader reader;
    if (CError* error = reader.open(path))
        return KEL_FRAME_AT(error, CUtf8Path(path).get());
    if (CError* error = reader.readCompressedData(outPayload, id))
        return KEL_FRAME_AT(error, CUtf8Path(path).get());
    return nullptr;
}

} // namespace kel
