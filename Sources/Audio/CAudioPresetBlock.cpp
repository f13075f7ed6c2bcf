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
        return addPathFrame(error, path, __FILE__, __LINE__);
    if (CError* error = reader.readCompressedData(outPayload, id))
        return addPathFrame(error, path, __FILE__, __LINE__);
    return nullptr;
}

CError* CAudioPresetBlock::addPathFrame(CError* error, const CString& path, const char* file,
                                        int line)
{
    if (error)
        error->addFrame(file, line, CUtf8Path(path).get());
    return error;
}

} // namespace kel
