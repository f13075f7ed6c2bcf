#include "Core/CSharedAttribute.h"

#include "Core/CGlobalData.h"
#include "Core/CLocalData.h"

namespace kel
{

// Follows the mirrored attribute of its owner: an object outside the tree, so that the tree's
// own link machinery tells the owner of every change, whoever sets the attribute.
class CSharedAttribute::CMirrorWatch : public CObject
{
public:
    explicit CMirrorWatch(CSharedAttribute* watched) : owner(watched) {}

    CError* onLinkedAttr(CObject*, const CString&, const CAttrValue& value) override
    {
        KEL_CHECK(owner->onMirroredChanged(value));
        return nullptr;
    }

private:
    CSharedAttribute* owner;
};

CSharedAttribute::~CSharedAttribute()
{
    release();
}

void CSharedAttribute::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
    info.addEventProc<CSharedAttribute>("update", &CSharedAttribute::onUpdate);
}

CError* CSharedAttribute::init()
{
    KEL_CHECK(CObject::init());
    attributeName = getAttrString(CString("attribute"), CString());
    if (attributeName.isEmpty())
        return KEL_ERROR("@kelstr_CSharedAttribute_init_NoAttribute No attached attribute name "
                         "specified.");
    store = getAttrBool(CString("is-global"), true)
                ? static_cast<CApplicationData*>(&CGlobalData::get())
                : static_cast<CApplicationData*>(&CLocalData::get());
    dataName = getAttrString(CString("data-name"), CString());
    if (dataName.isEmpty())
        dataName = getName();

    release();
    bridge = new CSharedAttributeBridge(this, &CSharedAttribute::onStoreChanged);
    bridge->attach(store, dataName);

    CString value;
    if (CError* error = store->readString(dataName, value))
    {
        // A damaged item is as good as none: the default stands in.
        const char* message = error->getMessage();
        KEL_LOG("shared item unreadable: %s", message ? message : "");
        delete error;
        value.clear();
    }
    if (value.isEmpty())
        value = getAttrString(CString("def-value"), CString());
    lastValue = value;
    KEL_CHECK(setAttr(attributeName, CAttrValue(value), false));

    KEL_CHECK(listenObject(CString("."), CString("update"), CString("update")));
    watch = new CMirrorWatch(this);
    CAttrFilter filter;
    filter.set(attributeName, attributeName);
    watch->followObject(this, filter);
    return nullptr;
}

void CSharedAttribute::detachLinks()
{
    CObject::detachLinks();
    release();
}

void CSharedAttribute::release()
{
    // The bridge first: after detach no writer on another thread reaches this object.
    delete bridge;
    bridge = nullptr;
    if (watch)
        CObject::destroyObject(watch);
    watch = nullptr;
}

void CSharedAttribute::onStoreChanged()
{
    CAttrMap params;
    if (CError* error = sendEvent(CString("update"), params))
    {
        const char* message = error->getMessage();
        KEL_LOG("shared item update failed: %s", message ? message : "");
        delete error;
    }
}

CError* CSharedAttribute::onUpdate()
{
    if (!store)
        return nullptr;
    CString value;
    KEL_CHECK(store->readString(dataName, value));
    if (value.isEmpty())
        value = getAttrString(CString("def-value"), CString());
    if (value == lastValue)
        return nullptr;
    lastValue = value;
    KEL_CHECK(setAttr(attributeName, CAttrValue(value), true));
    return nullptr;
}

CError* CSharedAttribute::onMirroredChanged(const CAttrValue& value)
{
    const CString& text = value.getString();
    if (!store || text == lastValue)
        return nullptr;
    lastValue = text;
    KEL_CHECK(store->writeString(dataName, text));
    return nullptr;
}

} // namespace kel
