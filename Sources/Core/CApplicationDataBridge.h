#pragma once

#include "Core/CApplicationData.h"
#include "Core/COwnedBridge.h"

namespace kel
{

// A bridge of its owner to one item of an application data store: after attach, every write of
// the item, by any instance in the process, calls the owner's handler on the writing thread.
// Detaches itself when destroyed. [attach, detach: the owner's thread; the handler: the writer's]
template <class TOwner> class CApplicationDataBridge : public COwnedBridge<TOwner>
{
public:
    CApplicationDataBridge(TOwner* bridgeOwner, typename COwnedBridge<TOwner>::Handler onChange)
        : COwnedBridge<TOwner>(bridgeOwner, onChange)
    {
    }
    ~CApplicationDataBridge() override { detach(); }

    void attach(CApplicationData* dataStore, const CString& dataName)
    {
        detach();
        store = dataStore;
        store->addBridge(this, dataName);
    }
    // Waits for a notification of this bridge under way on another thread.
    void detach()
    {
        if (store)
            store->removeBridge(this);
        store = nullptr;
    }

private:
    CApplicationData* store = nullptr; // not owned: the stores live as long as the process
};

} // namespace kel
