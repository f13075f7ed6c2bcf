#include "Core/CResourceReader.h"

#include "Core/CResourceTable.h"
#include "Core/CString.h"
#include "Core/CUtf8Path.h"

namespace kel
{

CError* CResourceReader::open(const char* name)
{
    source = nullptr;
    KEL_CHECK(file.close());
    const uint8_t* data = nullptr;
    size_t size = 0;
    if (CResourceTable::find(name, data, size))
    {
        memory.setData(data, size);
        source = &memory;
        return nullptr;
    }
    KEL_CHECK(file.open(name ? name : "", 0));
    source = &file;
    return nullptr;
}

CError* CResourceReader::open(const CString& name)
{
    const CUtf8Path utf8(name);
    KEL_CHECK(open(utf8.get()));
    return nullptr;
}

CError* CResourceReader::notOpen() const
{
    return KEL_ERROR("@kelstr_CResourceReader_NotOpen Resource reader used before open.");
}

const uint8_t* CResourceReader::getData()
{
    return source ? source->getData() : nullptr;
}

CError* CResourceReader::consume(size_t count)
{
    if (!source)
        return notOpen();
    KEL_CHECK(source->consume(count));
    return nullptr;
}

CError* CResourceReader::read(void* buffer, size_t count)
{
    if (!source)
        return notOpen();
    KEL_CHECK(source->read(buffer, count));
    return nullptr;
}

CError* CResourceReader::readStreamed(void* buffer, size_t count, size_t& outRead)
{
    if (!source)
        return notOpen();
    KEL_CHECK(source->readStreamed(buffer, count, outRead));
    return nullptr;
}

CError* CResourceReader::getPosition(int64_t& outPosition)
{
    if (!source)
        return notOpen();
    KEL_CHECK(source->getPosition(outPosition));
    return nullptr;
}

CError* CResourceReader::setPosition(int64_t position)
{
    if (!source)
        return notOpen();
    KEL_CHECK(source->setPosition(position));
    return nullptr;
}

CError* CResourceReader::getSize(int64_t& outSize)
{
    if (!source)
        return notOpen();
    KEL_CHECK(source->getSize(outSize));
    return nullptr;
}

} // namespace kel
