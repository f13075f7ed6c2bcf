#pragma once

#include "Core/CByteBuffer.h"
#include "Core/CError.h"
#include "Core/CInputStream.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/COutputStream.h"
#include "Core/CUtf8Path.h"

#include <cstdint>

namespace kel
{

class CString;

// The compressed-block wrapping of presets and banks: a payload written by the object's save
// behind a block id, read back through its load, and files or embedded resources of that form.
// T is CAudioPreset or CAudioPresetBank (load, save, copy). Stateless. [any thread]
class CAudioPresetBlock
{
public:
    template <class T>
    [[nodiscard]] static CError* read(CInputStream& stream, uint32_t id, T& target)
    {
        CByteBuffer payload;
        KEL_CHECK(stream.readCompressedData(payload, id));
        CMemoryReader reader(payload.getData(), payload.getSize());
        KEL_CHECK(target.load(reader));
        return nullptr;
    }

    template <class T>
    [[nodiscard]] static CError* write(COutputStream& stream, uint32_t id, const T& source)
    {
        CMemoryWriteBuffer payload(4096);
        KEL_CHECK(source.save(payload));
        KEL_CHECK(stream.writeCompressedData(payload.getData(), payload.getSize(), id));
        return nullptr;
    }

    // Reads the block from the embedded resource of that name or from that file into a copy,
    // so that target changes only on success. An error names the path.
    template <class T>
    [[nodiscard]] static CError* loadFile(const CString& path, uint32_t id, T& target)
    {
        CByteBuffer payload;
        KEL_CHECK(readFilePayload(path, id, payload));
        CMemoryReader reader(payload.getData(), payload.getSize());
        T loaded;
        if (CError* error = loaded.load(reader))
            return KEL_FRAME_AT(error, CUtf8Path(path).get());
        target = loaded;
        return nullptr;
    }

    // The payload of the block of id in the resource or file of path; an error names the path.
    // [any thread; blocking I/O for a file]
    [[nodiscard]] static CError* readFilePayload(const CString& path, uint32_t id,
                                                 CByteBuffer& outPayload);
};

} // namespace kel
