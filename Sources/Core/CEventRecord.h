#pragma once

#include "Core/CArray.h"
#include "Core/CCheckedObject.h"
#include "Core/CClassInfo.h"
#include "Core/CPtrMap.h"
#include "Core/CString.h"
#include "Core/Platform/CLock.h"

namespace kel
{

class CObject;

// The listeners of one event name: for each listening object (in the order of the pointers) the
// procedures it gave, each with the sender it waits for. A listener names its sender by a path
// relative to itself; the record keeps the sender's tree and full name, so that the same path in
// another plug-in instance's tree is another sender. Owned by the notify server, which drops a
// record when its last listener leaves.
// [any thread; every operation under the record's lock, which the caller holds]
class CEventRecord : public CCheckedObject
{
public:
    struct CListener
    {
        CObject* object;
        CClassInfo::EventEntry proc;
        // The name the listener gave, for events that reach it through its bridge.
        CString procName;
    };

    CLock& getLock() { return lock; }

    // [the listener's thread] Replaces an earlier registration of the same listener and path.
    void add(CObject* listener, const CClassInfo::EventEntry& proc, const CString& procName,
             const CString& senderPath);
    void remove(CObject* listener, const CString& senderPath);
    bool isEmpty() const { return listeners.isEmpty(); }
    // Appends every listener that waits for sender, in the record's order.
    void collect(const CObject* sender, CArray<CListener, 16>& out) const;

private:
    struct CEntry
    {
        CClassInfo::EventEntry proc;
        CString procName;
        // As the listener gave it, for removal.
        CString senderPath;
        // Where the sender is or will be: its tree's root and full name. A root of null never
        // matches (a relative path to nothing, "shared::" before the shared tree).
        const CObject* senderRoot;
        CString senderFullName;
    };

    CLock lock{4000};
    CPtrMap<CArray<CEntry, 1>, CObject*> listeners;
};

} // namespace kel
