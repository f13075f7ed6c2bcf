#include "Core/CEventRecord.h"

#include "Core/CObject.h"

namespace kel
{

namespace
{
const char kSharedPrefix[] = "shared::";
constexpr int kSharedPrefixUnits = 8;

// Where a sender path leads: the object if it exists now, otherwise, for an absolute path, the
// full name it will have. A relative path to nothing cannot be known in advance.
void resolveSender(const CObject* listener, const CString& senderPath, const CObject*& outRoot,
                   CString& outFullName)
{
    if (const CObject* sender = listener->findObject(senderPath))
    {
        outRoot = sender->getRoot();
        outFullName = sender->getFullName();
        return;
    }
    outRoot = nullptr;
    outFullName = senderPath;
    const uint16_t first = senderPath.getUnit(0);
    if (senderPath.isEmpty() || first == '.' || first == '^')
        return;
    CString rest = senderPath;
    if (senderPath.startsWith(CString(kSharedPrefix)))
    {
        outRoot = CObject::getSharedRoot();
        rest = senderPath.substring(kSharedPrefixUnits);
    }
    else
        outRoot = listener->getRoot();
    // Only a path of plain names from the root can be named before it exists.
    const int lastJump = rest.findLastUnit('/');
    if (lastJump >= 0)
        rest = rest.substring(lastJump + 1);
    if (rest.findUnit('^') >= 0)
        outRoot = nullptr;
    outFullName = rest;
}
} // namespace

void CEventRecord::add(CObject* listener, const CClassInfo::EventEntry& proc,
                       const CString& procName, const CString& senderPath)
{
    CEntry entry{proc, procName, senderPath, nullptr, CString()};
    resolveSender(listener, senderPath, entry.senderRoot, entry.senderFullName);
    CArray<CEntry, 1>& entries = listeners[listener];
    for (CEntry& existing : entries)
    {
        if (existing.senderPath == senderPath)
        {
            existing = entry;
            return;
        }
    }
    entries.add(entry);
}

void CEventRecord::remove(CObject* listener, const CString& senderPath)
{
    CArray<CEntry, 1>* entries = listeners.find(listener);
    if (!entries)
        return;
    for (int i = entries->getCount() - 1; i >= 0; --i)
    {
        if ((*entries)[i].senderPath == senderPath)
            entries->removeAt(i);
    }
    if (entries->isEmpty())
        listeners.erase(listener);
}

void CEventRecord::collect(const CObject* sender, CArray<CListener, 16>& out) const
{
    const CObject* senderRoot = sender->getRoot();
    const CString& senderFullName = sender->getFullName();
    for (const auto& [listener, entries] : listeners)
    {
        for (const CEntry& entry : entries)
        {
            if (entry.senderRoot == senderRoot && entry.senderFullName == senderFullName)
                out.add(CListener{listener, entry.proc, entry.procName});
        }
    }
}

} // namespace kel
