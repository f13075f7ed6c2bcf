// CTextReader over arbitrary bytes: tokens until the first error or the end; no crash, no read
// beyond the data, no leaked block. Every quoted string read comes back the same through
// CTextWriter::writeQuoted.
#include "FuzzCheck.h"

#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/CString.h"
#include "Core/CTextReader.h"
#include "Core/CTextWriter.h"

#include <cstdint>

using namespace kel;

namespace
{
// False when the reader reported an error (disposed of) or the text ended.
bool nextToken(CTextReader& reader)
{
    bool atEnd = false;
    CError* error = reader.isAtEnd(atEnd);
    if (error || atEnd)
    {
        delete error;
        return false;
    }
    uint32_t c = 0;
    error = reader.peekChar(c, atEnd);
    KEL_FUZZ_CHECK(error == nullptr && !atEnd);
    CString token;
    if (c == '"')
    {
        error = reader.parseStr(token);
        if (!error)
        {
            CMemoryWriteBuffer out(128);
            CTextWriter writer(&out);
            KEL_FUZZ_CHECK(writer.writeQuoted(token) == nullptr);
            CMemoryReader again(out.getData(), out.getSize());
            CTextReader check(&again, "again");
            CString back;
            KEL_FUZZ_CHECK(check.parseStr(back) == nullptr);
            KEL_FUZZ_CHECK(back == token);
        }
    }
    else if (CTextReader::isIdChar(c))
    {
        error = reader.parseId(token);
        KEL_FUZZ_CHECK(error != nullptr || token.getLength() > 0);
    }
    else
        error = reader.readChar(c);
    delete error;
    return error == nullptr;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const int64_t liveBefore = CAllocator::liveBlocks();
    {
        CMemoryReader in(data, size);
        CTextReader reader(&in, "fuzz.txt");
        for (int i = 0; i < 4096 && nextToken(reader); ++i)
            KEL_FUZZ_CHECK(reader.getLine() >= 1 && reader.getPos() >= 0);
    }
    KEL_FUZZ_CHECK(CAllocator::liveBlocks() == liveBefore);
    return 0;
}
