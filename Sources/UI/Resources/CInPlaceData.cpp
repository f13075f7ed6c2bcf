#include "UI/Resources/CInPlaceData.h"

#include "Core/CPosInputStream.h"

namespace kel
{

CError* CInPlaceData::take(CInputStream& stream, size_t size, CByteBuffer& owned,
                           const uint8_t*& outData)
{
    outData = nullptr;
    owned.clear();
    const uint8_t* base = stream.getData();
    auto* positioned = dynamic_cast<CPosInputStream*>(&stream);
    if (base && positioned)
    {
        int64_t position = 0;
        KEL_CHECK(positioned->getPosition(position));
        // consume checks the size against the end of the memory before the pointer is used.
        KEL_CHECK(stream.consume(size));
        outData = base + position;
        return nullptr;
    }
    if (!owned.resize(size))
        return KEL_ERROR("@kelstr_CInPlaceData_take_NoMemory Out of memory for %1 bytes of "
                         "image data.",
                         static_cast<unsigned long long>(size));
    KEL_CHECK(stream.read(owned.getData(), size));
    outData = owned.getData();
    return nullptr;
}

} // namespace kel
