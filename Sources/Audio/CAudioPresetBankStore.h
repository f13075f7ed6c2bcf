#pragma once

#include "Audio/CAudioPresetBank.h"
#include "Core/CArray.h"
#include "Core/CCheckedObject.h"
#include "Core/CError.h"
#include "Core/CString.h"

#include <cstdint>

namespace kel
{

class CApplicationData;
class CInputStream;
class COutputStream;

// The user's own banks of presets, beside the factory and session banks: an ordered array of
// named banks kept as one item of an application data store ("shared-banks" of the product's
// store). Every instance in the process reads and writes the same item; the store writes it
// atomically and tells the item's bridges of each write, so the other instances read it again.
// This object is a working copy: read fills it from the store, write puts all of it back.
//
// Payload of the item (block id "abls"): a 32-bit bank count, then each bank as a bank payload.
// A damaged item fails read and leaves the copy as it was. Owns its banks; the data store is not
// owned (the stores live as long as the process). [ui thread]
class CAudioPresetBankStore : public CCheckedObject
{
public:
    // Payload id of the item: "abls" on the wire.
    static constexpr uint32_t kBlockId = 0x736c6261;
    // A stored count beyond this is taken for damage.
    static constexpr int32_t kMaxBanks = 4096;

    CAudioPresetBankStore(CApplicationData& dataStore, const CString& itemName);
    ~CAudioPresetBankStore() override;
    CAudioPresetBankStore(const CAudioPresetBankStore&) = delete;
    CAudioPresetBankStore& operator=(const CAudioPresetBankStore&) = delete;

    CApplicationData& getDataStore() const { return store; }
    const CString& getItemName() const { return item; }

    // Replaces the copy by the stored banks; a missing item gives no banks.
    [[nodiscard]] CError* read();
    // Stores the copy; the bridges of the item hear of it afterwards.
    [[nodiscard]] CError* write();

    int getCount() const { return banks.getCount(); }
    // Null outside 0 to count - 1.
    CAudioPresetBank* getBank(int index);
    const CAudioPresetBank* getBank(int index) const;
    // Inserts a copy at index (clamped to 0 to count); answers it.
    CAudioPresetBank& insertBank(int index, const CAudioPresetBank& bank);
    // False outside 0 to count - 1.
    bool removeBank(int index);
    void clear();

    [[nodiscard]] CError* load(CInputStream& stream);
    [[nodiscard]] CError* save(COutputStream& stream) const;

private:
    CApplicationData& store;
    CString item;
    CArray<CAudioPresetBank*> banks; // owned
};

} // namespace kel
