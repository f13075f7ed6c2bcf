#include "Core/CFileReader.h"

#include "Core/CDebugChannel.h"
#include "Core/CString.h"
#include "Core/CUtf8Path.h"

#include <cstring>

namespace kel
{

CFileReader::~CFileReader()
{
    if (CError* error = close())
    {
        KEL_LOG("%s", error->getMessage());
        delete error;
    }
    CAllocator::free(name);
}

void CFileReader::setName(const char* utf8Path)
{
    CAllocator::free(name);
    const size_t length = std::strlen(utf8Path);
    name = static_cast<char*>(CAllocator::alloc(length + 1));
    if (name)
        std::memcpy(name, utf8Path, length + 1);
}

CError* CFileReader::open(const char* utf8Path, int flags)
{
    KEL_CHECK(close());
    setName(utf8Path ? utf8Path : "");
    if (const int code = file.openForReading(getName()))
        return KEL_ERROR("@kelstr_CFileReader_open_OpenError Unable to open file '%1' for reading "
                         "(error %2, flags %3).",
                         getName(), code, flags);
    return nullptr;
}

CError* CFileReader::open(const CString& path, int flags)
{
    const CUtf8Path utf8(path);
    KEL_CHECK(open(utf8.get(), flags));
    return nullptr;
}

CError* CFileReader::close()
{
    if (const int code = file.close())
        return KEL_ERROR("@kelstr_CFileReader_close_CloseError Unable to close file '%1' after "
                         "reading (error %2).",
                         getName(), code);
    return nullptr;
}

CError* CFileReader::consume(size_t count)
{
    if (const int code = file.movePosition(static_cast<int64_t>(count)))
        return KEL_ERROR("@kelstr_CFileReader_consume_PosError Unable to set file's '%1' consume "
                         "position (error %2).",
                         getName(), code);
    return nullptr;
}

CError* CFileReader::read(void* buffer, size_t count)
{
    auto* bytes = static_cast<uint8_t*>(buffer);
    size_t total = 0;
    while (total < count)
    {
        size_t got = 0;
        if (const int code = file.read(bytes + total, count - total, got))
            return KEL_ERROR("@kelstr_CFileReader_read_ReadError Unable to read from file '%1' "
                             "(error %2).",
                             getName(), code);
        if (got == 0)
            return KEL_ERROR("@kelstr_CFileReader_read_ReadBeyondEnd Unable to read from file "
                             "'%1' (required %2 bytes, read %3 bytes).",
                             getName(), static_cast<unsigned long long>(count),
                             static_cast<unsigned long long>(total));
        total += got;
    }
    return nullptr;
}

CError* CFileReader::readStreamed(void* buffer, size_t count, size_t& outRead)
{
    if (const int code = file.read(buffer, count, outRead))
        return KEL_ERROR("@kelstr_CFileReader_readStreamed_ReadError Unable to read from file "
                         "'%1' (error %2).",
                         getName(), code);
    return nullptr;
}

CError* CFileReader::getPosition(int64_t& outPosition)
{
    if (const int code = file.getPosition(outPosition))
        return KEL_ERROR("@kelstr_CFileReader_getPosition_PosError Unable to get file's '%1' "
                         "reading position (error %2).",
                         getName(), code);
    return nullptr;
}

CError* CFileReader::setPosition(int64_t position)
{
    if (const int code = file.setPosition(position))
        return KEL_ERROR("@kelstr_CFileReader_setPosition_PosError Unable to set file's '%1' "
                         "reading position (error %2).",
                         getName(), code);
    return nullptr;
}

CError* CFileReader::getSize(int64_t& outSize)
{
    if (const int code = file.getSize(outSize))
        return KEL_ERROR("@kelstr_CFileReader_getSize_FileSizeError Unable to get file's '%1' size "
                         "(error %2).",
                         getName(), code);
    return nullptr;
}

} // namespace kel
