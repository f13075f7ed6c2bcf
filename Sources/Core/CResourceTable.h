#pragma once

#include <cstddef>
#include <cstdint>

namespace kel
{

// One row of an embedded resource table. data addresses the blob: a little-endian u32 length
// followed by that many bytes. A table is a static array of rows ending in a row whose data is
// null; names are kept exactly as the build gave them ("../../../Gfx/Fonts/base.fnt").
struct CResourceEntry
{
    const uint8_t* data;
    const char* name;
};

// The process's embedded resources by name. The application installs its table once at start,
// before anything looks a resource up; the rows are copied into a name-ordered map then and never
// change afterwards, so lookups take no lock. Names compare byte by byte, case-sensitive; the
// blobs are used in place and never copied or freed.
// install: [set-up thread, before any lookup]; the rest: [any thread; no lock]
class CResourceTable
{
public:
    // Replaces whatever was installed with the rows of table (null installs nothing). The array
    // must outlive every lookup. A name that appears twice keeps its first row.
    static void install(const CResourceEntry* table);
    // The array last given to install, null before.
    static const CResourceEntry* getInstalled();

    // Finds a blob by its exact name: outData is its first byte behind the length, outSize that
    // length. Answers false, leaving the outputs untouched, when there is no such resource.
    static bool find(const char* name, const uint8_t*& outData, size_t& outSize);
    static int getCount();
    // Calls visit for every resource in name order.
    static void forEach(void (*visit)(const char* name, const uint8_t* data, size_t size,
                                      void* context),
                        void* context);

    // The length stored in front of a blob.
    static uint32_t blobSize(const uint8_t* blob);
};

} // namespace kel
