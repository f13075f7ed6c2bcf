#include "Audio/CAudioCCTable.h"

#include "Audio/CAudioExtParam.h"
#include "Core/CByteBuffer.h"
#include "Core/CGlobalData.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"

namespace kel
{

CAudioCCTable::~CAudioCCTable()
{
    release();
}

void CAudioCCTable::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CAudioCCTable::init()
{
    KEL_CHECK(CObject::init());
    store = &CGlobalData::get();
    release();
    bridge = new CAudioCCTableBridge(this, &CAudioCCTable::onStoreChanged);
    bridge->attach(store, CString(kItemName));
    onStoreChanged();
    return nullptr;
}

void CAudioCCTable::detachLinks()
{
    CObject::detachLinks();
    release();
    CLockGuard guard(lock);
    for (CAudioExtParam*& slot : table)
        slot = nullptr;
}

void CAudioCCTable::release()
{
    // Waits for a reload under way on another thread.
    delete bridge;
    bridge = nullptr;
}

CAudioExtParam* CAudioCCTable::getExtParam(int controller) const
{
    if (controller < 0 || controller >= kControllerCount)
        return nullptr;
    CLockGuard guard(lock);
    return table[controller];
}

void CAudioCCTable::setExtParam(int controller, CAudioExtParam* param)
{
    if (controller < 0 || controller >= kControllerCount)
        return;
    CLockGuard guard(lock);
    table[controller] = param;
}

CError* CAudioCCTable::load()
{
    CAudioExtParam* loaded[kControllerCount] = {};
    CError* error = nullptr;
    if (store)
    {
        CByteBuffer data;
        error = store->read(CString(kItemName), data, kItemId);
        CMemoryReader reader(data.getData(), data.getSize());
        uint32_t count = 0;
        if (!error && data.getSize() > 0)
            error = reader.readUInt32(count);
        // A truncated item keeps the entries read before the break.
        for (uint32_t n = 0; n < count && !error; ++n)
        {
            uint32_t controller = 0;
            CString path;
            error = reader.readUInt32(controller);
            if (!error)
                error = reader.readString(path);
            if (error || controller >= kControllerCount)
                continue;
            loaded[controller] = dynamic_cast<CAudioExtParam*>(findObject(path));
        }
    }
    CLockGuard guard(lock);
    for (int controller = 0; controller < kControllerCount; ++controller)
        table[controller] = loaded[controller];
    return KEL_FRAME(error);
}

CError* CAudioCCTable::save()
{
    if (!store)
        return nullptr;
    CAudioExtParam* saved[kControllerCount];
    {
        CLockGuard guard(lock);
        for (int controller = 0; controller < kControllerCount; ++controller)
            saved[controller] = table[controller];
    }
    uint32_t count = 0;
    for (CAudioExtParam* param : saved)
        count += param ? 1 : 0;
    CMemoryWriteBuffer out(256);
    KEL_CHECK(out.writeUInt32(count));
    for (int controller = 0; controller < kControllerCount; ++controller)
    {
        if (!saved[controller])
            continue;
        // Paths from the tree's root, so that every instance resolves them in its own tree.
        CString path = saved[controller]->getFullName();
        if (path.startsWith(CString(".")))
            path.erase(0, 1);
        KEL_CHECK(out.writeUInt32(static_cast<uint32_t>(controller)));
        KEL_CHECK(out.writeString(path));
    }
    // The store's bridges, this table's among them, reload after the write.
    KEL_CHECK(store->write(CString(kItemName), out.getData(), out.getSize(), kItemId));
    return nullptr;
}

void CAudioCCTable::onStoreChanged()
{
    if (CError* error = load())
    {
        // The map is a convenience: a damaged one is as good as none.
        const char* message = error->getMessage();
        KEL_LOG("ccmap unreadable: %s", message ? message : "");
        delete error;
    }
}

} // namespace kel
