// readCompressedData over arbitrary bytes: no crash, no read beyond the data, no leaked block,
// memory in proportion to what really inflates; a block read is written and read back the same.
#include "FuzzCheck.h"

#include "Core/CByteBuffer.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"

#include <cstdint>
#include <cstring>

using namespace kel;

namespace
{
constexpr uint32_t kFuzzId = 0x7a7a7566; // "fuzz" on the wire
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const int64_t liveBefore = CAllocator::liveBlocks();
    {
        CMemoryReader in(data, size);
        for (int i = 0; i < 8; ++i)
        {
            CByteBuffer block;
            if (CError* error = in.readCompressedData(block, kFuzzId))
            {
                delete error;
                break;
            }
            CMemoryWriteBuffer out(128);
            KEL_FUZZ_CHECK(out.writeCompressedData(block, kFuzzId) == nullptr);
            CMemoryReader again(out.getData(), out.getSize());
            CByteBuffer back;
            KEL_FUZZ_CHECK(again.readCompressedData(back, kFuzzId) == nullptr);
            KEL_FUZZ_CHECK(back.getSize() == block.getSize());
            KEL_FUZZ_CHECK(block.getSize() == 0 ||
                           std::memcmp(back.getData(), block.getData(), block.getSize()) == 0);
        }
    }
    KEL_FUZZ_CHECK(CAllocator::liveBlocks() == liveBefore);
    return 0;
}
