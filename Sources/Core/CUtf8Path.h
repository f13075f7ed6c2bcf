#pragma once

#include "Core/CAllocator.h"
#include "Core/CString.h"

namespace kel
{

// A string turned into a terminated UTF-8 path for the system's file calls; on the stack when it
// is short. Lives for one call. [any thread]
class CUtf8Path
{
public:
    explicit CUtf8Path(const CString& path)
    {
        const int length = path.getUtf8Length();
        if (length + 1 > static_cast<int>(sizeof(local)))
            heap = static_cast<char*>(CAllocator::alloc(static_cast<size_t>(length) + 1));
        char* out = heap ? heap : local;
        path.toUtf8(out, heap ? length + 1 : static_cast<int>(sizeof(local)));
    }
    ~CUtf8Path() { CAllocator::free(heap); }
    CUtf8Path(const CUtf8Path&) = delete;
    CUtf8Path& operator=(const CUtf8Path&) = delete;

    const char* get() const { return heap ? heap : local; }

private:
    char local[256];
    char* heap = nullptr;
};

} // namespace kel
