#pragma once

#include "Core/CBridgeBase.h"
#include "Core/CByteBuffer.h"
#include "Core/CCheckedObject.h"
#include "Core/CError.h"
#include "Core/CString.h"
#include "Core/CStringMap.h"
#include "Core/Platform/CLock.h"

#include <cstdint>

namespace kel
{

// A persistent store of small named data items, each a compressed block with a 4-character id,
// kept in a folder of the user's application data, with a machine-wide folder and embedded
// resources to fall back on when reading. The process has two (CGlobalData for all products of
// the maker, CLocalData for this product); every plug-in instance in the process shares them.
//
// The folders are fetched on first use: the user's data folder and the common one, each with the
// store's sub-path ("Kelmont/Audio Plug-Ins/" ...) behind it. Without a user folder the store
// stays closed: reads give nothing, writes are dropped. Items read or written are cached for the
// life of the process. A write goes to a temporary file beside the item, which is then renamed
// over it, so that a crash never leaves half an item; afterwards the bridges filed under the
// item's name are notified (see CApplicationDataBridge).
// [any thread; takes the store's lock for the cache and the disk, bridges run after it is left]
class CApplicationData : public CCheckedObject, public CBridgeBase
{
public:
    // The payload id of items that hold one string (readString, writeString).
    static constexpr uint32_t kStringItemId = 0x72747361; // "astr" on the wire

    // subPath ends in '/'; resourcePrefix goes before item names in the resource table.
    CApplicationData(const char* subPath, const char* resourcePrefix);
    ~CApplicationData() override = default;

    // The item's payload, or an empty out when no folder nor resource has it (no error). A
    // damaged item gives an error and an empty out.
    [[nodiscard]] CError* read(const CString& itemName, CByteBuffer& out, uint32_t id);
    // A closed store drops the write without an error.
    [[nodiscard]] CError* write(const CString& itemName, const CByteBuffer& data, uint32_t id);
    [[nodiscard]] CError* write(const CString& itemName, const void* data, size_t bytes,
                                uint32_t id);

    // An item that holds one string (a u32 byte length and UTF-8): empty when the item is.
    [[nodiscard]] CError* readString(const CString& itemName, CString& out);
    [[nodiscard]] CError* writeString(const CString& itemName, const CString& text);

    bool isOpen();
    // The folders with the sub-path and a trailing '/'; empty while unknown or closed.
    CString getUserFolder();
    CString getCommonFolder();

    // Forgets folders and cache; the next use fetches the folders again. With folders given
    // (tests, tools), those are used instead of the system's: base folders without the sub-path,
    // an empty user folder closes the store. [tests]
    void reset();
    void useFolders(const CString& userBase, const CString& commonBase);

private:
    struct CCachedItem
    {
        uint32_t id;
        CByteBuffer data;
    };

    // Under the lock.
    void ensureFolders();
    // Drops folders and cache, under the lock.
    void forget();
    [[nodiscard]] CError* readFromDisk(const CString& itemName, CByteBuffer& out, uint32_t id);
    [[nodiscard]] CError* writeToDisk(const CString& itemName, const void* data, size_t bytes,
                                      uint32_t id);

    CLock lock{4000};
    const char* subPath;
    const char* resourcePrefix;
    CString userFolder;
    CString commonFolder;
    CStringMap<CCachedItem> cache;
    bool isInitialised = false;
    bool hasFolders = false;
    bool hasGivenFolders = false;
    CString givenUserBase;
    CString givenCommonBase;
};

} // namespace kel
