#pragma once

#include "Core/CByteBuffer.h"
#include "Core/CCheckedObject.h"
#include "Core/CError.h"
#include "Core/CString.h"
#include "Core/CStringMap.h"

#include <cstddef>
#include <cstdint>

namespace kel
{

class CAudioParamStorage;
class CInputStream;
class COutputStream;

// One preset: a name of the form "id:name" and, per parameter key ("modZumbelModule.gain"), the
// parameter's value blob (definition path and stored values) as bytes. Values stay serialised, so
// that selecting, copying or saving a preset never touches a parameter and an entry of a parameter
// this version does not know survives a load and save. Entries are kept in key order (code unit
// by code unit, shorter first); a blob of up to 32 bytes lives inside its entry. A value: copies
// are deep. Owned by a bank, a registry or the caller's stack.
// [any thread; a registry's presets are guarded by the registry lock]
class CAudioPreset : public CCheckedObject
{
public:
    // Payload id of a preset block: "aprs" on the wire.
    static constexpr uint32_t kBlockId = 0x73727061;
    // A stored blob longer than this is taken for damage, not a value.
    static constexpr int32_t kMaxBlobBytes = 1 << 24;

    CAudioPreset() = default;
    explicit CAudioPreset(const CString& presetName) : name(presetName) {}
    CAudioPreset(const CAudioPreset& other);
    CAudioPreset& operator=(const CAudioPreset& other);
    ~CAudioPreset() override = default;

    const CString& getName() const { return name; }
    void setName(const CString& presetName) { name = presetName; }
    // Splits "id:name" at the first ':'. Without one, the id is empty and all is the name.
    static void splitName(const CString& fullName, CString& outId, CString& outName);
    static CString joinName(const CString& id, const CString& shortName);

    int getEntryCount() const { return entries.getCount(); }
    const CStringMap<CByteBuffer>& getEntries() const { return entries; }
    // The blob of key, or null.
    const CByteBuffer* findEntry(const CString& key) const { return entries.find(key); }
    // Adds or replaces the blob of key. False when out of memory; the entry is then absent.
    [[nodiscard]] bool setEntry(const CString& key, const void* data, size_t bytes);
    bool removeEntry(const CString& key) { return entries.erase(key); }
    // Removes the entries and the name.
    void clear();
    // Decodes the blob of key with the layout it declares (element size and type): its
    // definition path and values. An absent key reads as an empty path and no groups.
    [[nodiscard]] CError* readEntryValues(const CString& key, CString& outPath,
                                          CAudioParamStorage& outValues) const;

    // Name, entry count, then per entry key, blob length and blob. Entries may come in any
    // order; a repeated key takes the last blob. A count below 1 gives an empty preset. A failed
    // read leaves what was read so far.
    [[nodiscard]] CError* load(CInputStream& stream);
    [[nodiscard]] CError* save(COutputStream& stream) const;
    // The same wrapped in a compressed block of id kBlockId.
    [[nodiscard]] CError* readBlock(CInputStream& stream);
    [[nodiscard]] CError* writeBlock(COutputStream& stream) const;
    // Reads a preset block from an embedded resource of that name or from that file. On error
    // the preset is unchanged and the error names the path.
    [[nodiscard]] CError* loadFile(const CString& path);

private:
    CString name;
    CStringMap<CByteBuffer> entries;
};

} // namespace kel
