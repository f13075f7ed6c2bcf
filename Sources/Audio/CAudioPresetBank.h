#pragma once

#include "Audio/CAudioPreset.h"
#include "Core/CArray.h"
#include "Core/CCheckedObject.h"
#include "Core/CError.h"
#include "Core/CString.h"

#include <cstdint>

namespace kel
{

class CInputStream;
class COutputStream;

// A named, ordered array of presets: the factory bank, a registry's session bank, a bank file,
// the routing list. The bank owns its presets and deletes them with itself. A value: copies are
// deep, and copying first sizes the target to the source. Owned by a registry or the caller.
// [any thread; a registry's banks are guarded by the registry lock]
class CAudioPresetBank : public CCheckedObject
{
public:
    // Payload id of a bank block: "abnk" on the wire.
    static constexpr uint32_t kBlockId = 0x6b6e6261;
    // Payload id of a preset list (a flag, then a bank): "alst" on the wire.
    static constexpr uint32_t kListId = 0x74736c61;
    // A stored count beyond this is taken for damage.
    static constexpr int32_t kMaxPresets = 65536;

    CAudioPresetBank() = default;
    explicit CAudioPresetBank(const CString& bankName) : name(bankName) {}
    CAudioPresetBank(const CAudioPresetBank& other);
    CAudioPresetBank& operator=(const CAudioPresetBank& other);
    ~CAudioPresetBank() override;

    const CString& getName() const { return name; }
    void setName(const CString& bankName) { name = bankName; }

    int getCount() const { return presets.getCount(); }
    // Null outside 0 to count - 1.
    CAudioPreset* getPreset(int index);
    const CAudioPreset* getPreset(int index) const;
    // New presets are empty and unnamed; those beyond count are deleted.
    void setCount(int count);
    // Appends a copy; answers it.
    CAudioPreset& addPreset(const CAudioPreset& preset);
    // Deletes all presets; the name stays.
    void clear() { setCount(0); }

    // Name, preset count, the presets in order. The array is sized to the count and each preset
    // read in place; a failed preset fails the read, with the presets before it read.
    [[nodiscard]] CError* load(CInputStream& stream);
    [[nodiscard]] CError* save(COutputStream& stream) const;
    // The same wrapped in a compressed block of id kBlockId.
    [[nodiscard]] CError* readBlock(CInputStream& stream);
    [[nodiscard]] CError* writeBlock(COutputStream& stream) const;
    // Reads a bank block from an embedded resource of that name or from that file. On error the
    // bank is unchanged and the error names the path.
    [[nodiscard]] CError* loadFile(const CString& path);

    // The list form: a 32-bit flag, and a bank when the flag is above 0. outHasBank tells
    // which; without a bank this bank is left as it is.
    [[nodiscard]] CError* loadList(CInputStream& stream, bool& outHasBank);
    [[nodiscard]] CError* saveList(COutputStream& stream) const;

private:
    CString name;
    CArray<CAudioPreset*> presets;
};

} // namespace kel
