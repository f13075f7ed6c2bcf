#pragma once

#include "Core/CApplicationDataBridge.h"
#include "Core/CObject.h"

namespace kel
{

class CSharedAttribute;
using CSharedAttributeBridge = CApplicationDataBridge<CSharedAttribute>;

// Mirrors one item of an application data store as an attribute (tag core:shared-attribute).
// Attributes: "attribute" (the mirrored attribute's name, mandatory), "is-global" (true: the
// maker's store, false: the product's; true when absent), "data-name" (the item; empty: the
// object's name), "def-value" (the value while the item is empty). Others link to the mirrored
// attribute ({*/ui.global-data.tablet-mode tablet-mode}); setting it writes the item, and every
// instance in the process then reads it anew on its own thread (event "update") and sets it with
// notification. Lives on the thread of its tree, under an event bridge for other instances'
// changes to reach it. [set-up thread; the store's bridge runs on the writer's thread]
class CSharedAttribute : public CObject
{
public:
    CSharedAttribute() = default;
    ~CSharedAttribute() override;

    static void registerClass(CClassInfo& info);

    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    const CString& getAttributeName() const { return attributeName; }

private:
    class CMirrorWatch;

    // Procedure of "update": the item changed somewhere in the process.
    [[nodiscard]] CError* onUpdate();
    // The store's bridge, on the writing thread.
    void onStoreChanged();
    // The mirrored attribute was set on this object.
    [[nodiscard]] CError* onMirroredChanged(const CAttrValue& value);
    void release();

    CApplicationData* store = nullptr; // not owned: process-wide
    CString attributeName;
    CString dataName;
    // The value last read from or written to the store: setting it again writes nothing.
    CString lastValue;
    CSharedAttributeBridge* bridge = nullptr; // owned
    CObject* watch = nullptr;                 // owned, outside the tree
};

} // namespace kel
