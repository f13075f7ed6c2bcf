#include "Core/CApplicationData.h"

#include "Core/CFileReader.h"
#include "Core/CFileWriter.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/CResourceTable.h"
#include "Core/CUtf8Path.h"
#include "Core/Platform/CFolder.h"

namespace kel
{

CApplicationData::CApplicationData(const char* storeSubPath, const char* storeResourcePrefix)
    : subPath(storeSubPath), resourcePrefix(storeResourcePrefix)
{
}

void CApplicationData::ensureFolders()
{
    if (isInitialised)
        return;
    isInitialised = true;
    CString userBase = givenUserBase;
    CString commonBase = givenCommonBase;
    if (!hasGivenFolders)
    {
        if (CFolder::getUserDataFolder(userBase) != 0)
            userBase.clear();
        if (CFolder::getCommonDataFolder(commonBase) != 0)
            commonBase.clear();
    }
    hasFolders = !userBase.isEmpty();
    userFolder.clear();
    commonFolder.clear();
    if (hasFolders)
    {
        userFolder = userBase;
        userFolder.append("/");
        userFolder.append(CString::fromUtf8(subPath));
    }
    if (!commonBase.isEmpty())
    {
        commonFolder = commonBase;
        commonFolder.append("/");
        commonFolder.append(CString::fromUtf8(subPath));
    }
}

CError* CApplicationData::read(const CString& itemName, CByteBuffer& out, uint32_t id)
{
    out.clear();
    CLockGuard guard(lock);
    ensureFolders();
    if (!hasFolders)
        return nullptr;
    if (const CCachedItem* cached = cache.find(itemName))
    {
        if (cached->id == id)
        {
            out = cached->data;
            return nullptr;
        }
    }
    if (CError* error = readFromDisk(itemName, out, id))
    {
        out.clear();
        KEL_CHECK(error);
    }
    // Absent items are remembered too: only a write of this process can make them appear.
    cache.set(itemName, CCachedItem{id, out});
    return nullptr;
}

CError* CApplicationData::readFromDisk(const CString& itemName, CByteBuffer& out, uint32_t id)
{
    const CString* folders[] = {&userFolder, &commonFolder};
    for (const CString* folder : folders)
    {
        if (folder->isEmpty())
            continue;
        const CUtf8Path path(*folder + itemName);
        if (!CFolder::exists(path.get()))
            continue;
        CFileReader reader;
        if (CError* error = reader.open(path.get()))
        {
            // Present but unreadable (rights): the next place may have it.
            delete error;
            continue;
        }
        KEL_CHECK(reader.readCompressedData(out, id));
        return nullptr;
    }
    const CUtf8Path resourceName(CString::fromUtf8(resourcePrefix) + itemName);
    const uint8_t* blob = nullptr;
    size_t size = 0;
    if (!CResourceTable::find(resourceName.get(), blob, size))
        return nullptr;
    CMemoryReader reader(blob, size);
    KEL_CHECK(reader.readCompressedData(out, id));
    return nullptr;
}

CError* CApplicationData::write(const CString& itemName, const CByteBuffer& data, uint32_t id)
{
    KEL_CHECK(write(itemName, data.getData(), data.getSize(), id));
    return nullptr;
}

CError* CApplicationData::write(const CString& itemName, const void* data, size_t bytes,
                                uint32_t id)
{
    {
        CLockGuard guard(lock);
        ensureFolders();
        if (!hasFolders)
            return nullptr;
        KEL_CHECK(writeToDisk(itemName, data, bytes, id));
        CCachedItem& cached = cache[itemName];
        cached.id = id;
        if (!cached.data.assign(data, bytes))
            cache.erase(itemName);
    }
    // Every instance in the process that follows the item learns of it, after the lock.
    notify(itemName);
    return nullptr;
}

CError* CApplicationData::writeToDisk(const CString& itemName, const void* data, size_t bytes,
                                      uint32_t id)
{
    const CString fullPath = userFolder + itemName;
    const CString folder = fullPath.substring(0, fullPath.findLastUnit('/'));
    const CUtf8Path folderText(folder);
    if (const int error = CFolder::createWithParents(folderText.get()))
        return KEL_ERROR("@kelstr_CApplicationData_write_CreateFolder Unable to create folder "
                         "'%1' (error %2).",
                         folder, error);
    CFileWriter writer;
    KEL_CHECK(writer.openReplacing(fullPath));
    KEL_CHECK(writer.writeCompressedData(data, bytes, id));
    KEL_CHECK(writer.commit());
    return nullptr;
}

CError* CApplicationData::readString(const CString& itemName, CString& out)
{
    out.clear();
    CByteBuffer bytes;
    KEL_CHECK(read(itemName, bytes, kStringItemId));
    if (bytes.getSize() == 0)
        return nullptr;
    CMemoryReader reader(bytes.getData(), bytes.getSize());
    KEL_CHECK(reader.readString(out));
    return nullptr;
}

CError* CApplicationData::writeString(const CString& itemName, const CString& text)
{
    CMemoryWriteBuffer buffer(128);
    KEL_CHECK(buffer.writeString(text));
    KEL_CHECK(write(itemName, buffer.getData(), buffer.getSize(), kStringItemId));
    return nullptr;
}

bool CApplicationData::isOpen()
{
    CLockGuard guard(lock);
    ensureFolders();
    return hasFolders;
}

CString CApplicationData::getUserFolder()
{
    CLockGuard guard(lock);
    ensureFolders();
    return userFolder;
}

CString CApplicationData::getCommonFolder()
{
    CLockGuard guard(lock);
    ensureFolders();
    return commonFolder;
}

void CApplicationData::forget()
{
    cache.clear();
    userFolder.clear();
    commonFolder.clear();
    isInitialised = false;
}

void CApplicationData::reset()
{
    CLockGuard guard(lock);
    forget();
    hasGivenFolders = false;
    givenUserBase.clear();
    givenCommonBase.clear();
}

void CApplicationData::useFolders(const CString& userBase, const CString& commonBase)
{
    CLockGuard guard(lock);
    forget();
    hasGivenFolders = true;
    givenUserBase = userBase;
    givenCommonBase = commonBase;
}

} // namespace kel
