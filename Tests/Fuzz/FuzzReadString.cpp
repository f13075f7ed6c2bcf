// readString over arbitrary bytes: no crash, no read beyond the data, no leaked block; every
// string read comes back unit for unit after writeString.
#include "FuzzCheck.h"

#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/CString.h"

#include <cstdint>

using namespace kel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const int64_t liveBefore = CAllocator::liveBlocks();
    {
        CMemoryReader in(data, size);
        for (int i = 0; i < 64; ++i)
        {
            CString text;
            if (CError* error = in.readString(text))
            {
                delete error;
                break;
            }
            CMemoryWriteBuffer out(128);
            KEL_FUZZ_CHECK(out.writeString(text) == nullptr);
            CMemoryReader again(out.getData(), out.getSize());
            CString back;
            KEL_FUZZ_CHECK(again.readString(back) == nullptr);
            KEL_FUZZ_CHECK(back == text);
            KEL_FUZZ_CHECK(again.getPosition() == static_cast<int64_t>(out.getSize()));
        }
    }
    KEL_FUZZ_CHECK(CAllocator::liveBlocks() == liveBefore);
    return 0;
}
