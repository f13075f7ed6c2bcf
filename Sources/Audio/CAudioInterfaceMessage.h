#pragma once

#include "Core/CArray.h"
#include "Core/CError.h"
#include "Core/CString.h"

#include <cstddef>
#include <cstdint>

namespace kel
{

class CAudioParamStorage;
class CMemoryReader;
class COutputStream;
struct CAudioParamChange;

// The message types of the audio interface and the field forms both of its ends write and read.
// A message is an int32 type and its fields: integers and flags as int32, reals as doubles,
// strings in the stream's string form, lists as an int32 count and the items, byte blobs as an
// int32 length and the bytes. Reads are bounded by the message: a short or bad field is an error.
// Only static helpers. [any thread]
class CAudioInterfaceMessage
{
public:
    enum Type : int32_t
    {
        kOpenRecord = 0,
        kDropRecord = 1,
        kCloseRecord = 2,
        kGetHistory = 3,
        kMoveTo = 4,
        kSubscribeParam = 5,
        kUnsubscribeParam = 6,
        kSetValues = 7,
        kResetParam = 8,
        kSubscribeRegistry = 9,
        kUnsubscribeRegistry = 10,
        kSelectPreset = 11,
        kSetPresetName = 12,
        kActivateROMPreset = 13,
        kActivatePreset = 14,
        kAcquirePreset = 15,
        kAcquireBank = 16,
        kLoadDefaultPreset = 17,
        kResetMaster = 18,
        kSwapCompare = 19,
        kCopyToCompare = 20,
        kSubscribeViz = 21,
        kUnsubscribeViz = 22,
        kGetVizSlots = 23,
        kGetVizInfo = 24,
        kGetInternalChannelCount = 25,
        kGetGroupCount = 26,
        kGetIOChannelCounts = 27,
        kGetSampleRate = 28,
        kInstanceCall = 29,
        kLastFromClient = 29,
        kHistory = 30,
        kParamInfo = 31,
        kParamChange = 32,
        kPresetList = 33,
        kClear = 34,
        kInternalChannelCount = 35,
        kGroupCount = 36,
        kIOChannelCounts = 37,
        kSampleRate = 38,
        kPresetData = 39,
        kVizSlots = 40,
        kVizInfo = 41,
        kLastToClient = 41,
    };

    // Most items a list may declare; more is taken for damage.
    static constexpr int32_t kMaxListCount = 65536;

    // A change with its values: group, first item, item count, replacing flag, then a
    // CAudioParamStorage (its stored form) whose group 0 holds the change's values, with the
    // string table for a string parameter.
    [[nodiscard]] static CError* writeChange(COutputStream& stream, const CAudioParamChange& change,
                                             int32_t elementSize, int32_t dataType);
    // The whole message kParamChange (type, listener id, writeChange's record) of a change of
    // reals, written into out without allocating: for senders on the audio thread. Answers the
    // bytes written, or 0 when the change is of strings, carries no values, or needs more than
    // capacity; the caller then takes writeChange's road.
    static size_t writeParamChange(uint8_t* out, size_t capacity, int32_t listenerId,
                                   const CAudioParamChange& change, int32_t elementSize,
                                   int32_t dataType);
    // Reads such a record into values, whose format (element size, type) must be set and must be
    // the writer's; out points into values and lives as long as they do. An item count that
    // disagrees with the values read is an error.
    [[nodiscard]] static CError* readChange(CMemoryReader& stream, CAudioParamStorage& values,
                                            CAudioParamChange& out);

    [[nodiscard]] static CError* writeStringList(COutputStream& stream,
                                                 const CArray<CString>& list);
    [[nodiscard]] static CError* readStringList(CMemoryReader& stream, CArray<CString>& outList);
    [[nodiscard]] static CError* writeBlob(COutputStream& stream, const void* data, size_t bytes);
    // The blob in place: outData points into the reader's bytes, which it then steps over.
    [[nodiscard]] static CError* readBlob(CMemoryReader& stream, const uint8_t*& outData,
                                          size_t& outBytes);
    // A boolean flag as an int32 (any value other than 0 is true).
    [[nodiscard]] static CError* readFlag(CMemoryReader& stream, bool& out);
};

} // namespace kel
