#include "Audio/CAudioPresetBankStore.h"

#include "Core/CApplicationData.h"
#include "Core/CByteBuffer.h"
#include "Core/CInputStream.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/COutputStream.h"

namespace kel
{

CAudioPresetBankStore::CAudioPresetBankStore(CApplicationData& dataStore, const CString& itemName)
    : store(dataStore), item(itemName)
{
}

CAudioPresetBankStore::~CAudioPresetBankStore()
{
    clear();
}

CError* CAudioPresetBankStore::read()
{
    CByteBuffer payload;
    KEL_CHECK(store.read(item, payload, kBlockId));
    CMemoryReader reader(payload.getData(), payload.getSize());
    CAudioPresetBankStore loaded(store, item);
    if (payload.getSize() > 0)
        KEL_CHECK(loaded.load(reader));
    clear();
    for (CAudioPresetBank* bank : loaded.banks)
        banks.add(bank);
    loaded.banks.clear();
    return nullptr;
}

CError* CAudioPresetBankStore::write()
{
    CMemoryWriteBuffer payload(4096);
    KEL_CHECK(save(payload));
    KEL_CHECK(store.write(item, payload.getData(), payload.getSize(), kBlockId));
    return nullptr;
}

CAudioPresetBank* CAudioPresetBankStore::getBank(int index)
{
    return index >= 0 && index < banks.getCount() ? banks[index] : nullptr;
}

const CAudioPresetBank* CAudioPresetBankStore::getBank(int index) const
{
    return index >= 0 && index < banks.getCount() ? banks[index] : nullptr;
}

CAudioPresetBank& CAudioPresetBankStore::insertBank(int index, const CAudioPresetBank& bank)
{
    if (index < 0)
        index = 0;
    if (index > banks.getCount())
        index = banks.getCount();
    auto* copy = new CAudioPresetBank(bank);
    banks.insertAt(index, copy);
    return *copy;
}

bool CAudioPresetBankStore::removeBank(int index)
{
    if (index < 0 || index >= banks.getCount())
        return false;
    delete banks[index];
    banks.removeAt(index);
    return true;
}

void CAudioPresetBankStore::clear()
{
    for (CAudioPresetBank* bank : banks)
        delete bank;
    banks.clear();
}

CError* CAudioPresetBankStore::load(CInputStream& stream)
{
    clear();
    int32_t count = 0;
    KEL_CHECK(stream.readInt32(count));
    if (count < 0 || count > kMaxBanks)
        return KEL_ERROR("@kelstr_CAudioPresetBankStore_load_CountError Invalid bank count %1.",
                         count);
    for (int32_t i = 0; i < count; ++i)
    {
        auto* bank = new CAudioPresetBank();
        banks.add(bank);
        KEL_CHECK(bank->load(stream));
    }
    return nullptr;
}

CError* CAudioPresetBankStore::save(COutputStream& stream) const
{
    KEL_CHECK(stream.writeInt32(banks.getCount()));
    for (const CAudioPresetBank* bank : banks)
        KEL_CHECK(bank->save(stream));
    return nullptr;
}

} // namespace kel
