#pragma once

#include "Audio/CAudioParamChange.h"
#include "Audio/CAudioParamInfo.h"
#include "Audio/CAudioParamStorage.h"
#include "Core/CArray.h"
#include "Core/CCheckedObject.h"
#include "Core/CError.h"
#include "Core/CString.h"
#include "Core/Platform/CLock.h"

#include <atomic>
#include <cstdint>

namespace kel
{

class CAudioParamContext;
class CAudioParamDef;
class CAudioParamListener;
class CAudioParamRegistryLink;
class CAudioParamSink;
class CInputStream;
class COutputStream;

// The run-time holder of one parameter: its values as groups of items of elements (reals, or
// string ids for a string parameter), in converter units, with the definition's info, the
// default values, and the parties a change goes to. One per full dotted name; the collector
// creates and owns it and passes itself as the sink. A parameter starts unbound, with its name
// only, and is bound once, by the first definition found for it.
//
// Every change, from any origin, goes through one setter (setValues; setValue, setString,
// resetToDefaults and load are forms of it): under the parameter's lock it drops a change out of
// bounds, lets the context's undo record see the group before and after, applies the change,
// pushes it to the audio side with a sequence number, tells the registry link, publishes it on
// the collector's bridge and calls the listeners in order. After the lock, the context's deferred
// notifications run, so nothing of the host is called under the lock.
//
// Every operation takes the lock itself, or uses the caller's: pass a CGuard of this parameter to
// make several operations one critical section (listeners get the setter's guard). Lock order:
// registry, collector, parameter. The audio thread never calls in here; it takes the queued
// changes. [any thread; takes the parameter lock unless a guard is given]
class CAudioParam : public CCheckedObject
{
public:
    static constexpr int kDefaultGroupLimit = 8;

    // Holds a parameter's lock for a scope. With a context, its deferred notifications run once
    // the lock is released; declare that context before the guard, so that it outlives it (a
    // context delivers what is left when it ends). [any thread]
    class CGuard
    {
    public:
        explicit CGuard(const CAudioParam& param, CAudioParamContext* contextToRun = nullptr);
        ~CGuard();
        CGuard(const CGuard&) = delete;
        CGuard& operator=(const CGuard&) = delete;

        const CAudioParam& getParam() const { return held; }

    private:
        const CAudioParam& held;
        CAudioParamContext* context;
    };

    CAudioParam(const CString& paramFullName, CAudioParamSink* ownerSink);
    ~CAudioParam() override;
    CAudioParam(const CAudioParam&) = delete;
    CAudioParam& operator=(const CAudioParam&) = delete;

    const CString& getFullName() const { return fullName; }
    CAudioParamSink* getCollector() const { return collector; }

    // ---- binding ----

    // Binds to the definition: copies its info, fills current and default values from the
    // parsed defaults, announces the definition (group kDefinitionGroup) and sends one change per
    // group as any setter does (without undo). A bound parameter stays as it is: false.
    bool bind(const CAudioParamDef& definition, CAudioParamContext& context,
              const CGuard* guard = nullptr);
    bool bind(const CAudioParamInfo& definitionInfo, const CString& path,
              CAudioParamContext& context, const CGuard* guard = nullptr);
    bool isBound(const CGuard* guard = nullptr) const;
    // The info of the definition; the default one while unbound. Valid while the guard lives.
    const CAudioParamInfo& getInfo(const CGuard& guard) const;
    // Path of the definition in the shared tree ("audio.modMain.modZumbelModule.gain").
    CString getDefinitionPath(const CGuard* guard = nullptr) const;

    // ---- settings of the owner ----

    // While disabled every setter returns at once.
    void setDisabled(bool isDisabled, const CGuard* guard = nullptr);
    bool isDisabled(const CGuard* guard = nullptr) const;
    // Number of groups a change may address (the instance's group count); a single-group
    // parameter has one whatever this says.
    void setGroupLimit(int count, const CGuard* guard = nullptr);
    // Not owned; null removes the link.
    void setRegistryLink(CAudioParamRegistryLink* link, const CGuard* guard = nullptr);

    // ---- the setter ----

    // Sets change.itemCount items of change.group from change.firstItem. A group at or beyond the
    // limit, a negative one, or a first item beyond the group's item count (equal appends; a
    // group not yet stored takes item 0 only) drops the change silently, as does an unbound or
    // disabled parameter. A single-group parameter takes every change as group 0.
    void setValues(const CAudioParamChange& change, CAudioParamContext& context,
                   const CGuard* guard = nullptr);
    // One item of element size 1 (the common case), or element 0 of it.
    void setValue(int group, int item, double value, CAudioParamContext& context,
                  const CGuard* guard = nullptr);
    // One item of a string parameter.
    void setString(int group, int item, const CString& text, CAudioParamContext& context,
                   const CGuard* guard = nullptr);
    // Back to the defaults: all groups with group -1, one group with item -1, else one item. A
    // group the defaults lack takes the defaults of group 0.
    void resetToDefaults(int group, int item, CAudioParamContext& context,
                         const CGuard* guard = nullptr);

    // ---- reading ----

    // Value at flat index (item * element size + element) of group; beyond the stored values the
    // default there, beyond that the first default; 0 when there is none.
    double getValue(int group, int index, const CGuard* guard = nullptr) const;
    // Display text of one element by its converter (a string parameter: the string itself);
    // values missing as for getValue. Empty while unbound.
    void getValueText(CString& out, int group, int item, int element = 0, int mode = 0,
                      const CGuard* guard = nullptr) const;
    void copyValues(CAudioParamStorage& out, const CGuard* guard = nullptr) const;
    void copyDefaults(CAudioParamStorage& out, const CGuard* guard = nullptr) const;

    // ---- stored form ----

    // The definition path, then the current values (one group alone with group >= 0; a
    // single-group parameter always saves its one group, stored or not).
    [[nodiscard]] CError* save(COutputStream& stream, int group = -1,
                               const CGuard* guard = nullptr) const;
    // Reads such a blob. An unbound parameter binds to the definition the path names in the
    // shared tree; a path that names none, or a parameter neither storable nor persistent, is
    // read over without effect. toDefaults loads the default values and sends nothing; group -1
    // replaces all groups, leaving exactly the blob's (up to the group limit; one for a
    // single-group parameter); a group number takes the blob's group 0 (or group `item`, if not
    // -1) into that group.
    [[nodiscard]] CError* load(CInputStream& stream, bool toDefaults, CAudioParamContext& context,
                               int group = -1, int item = -1, const CGuard* guard = nullptr);

    // ---- listeners ----

    // Not owned. A new listener is sent one change per existing group at once, so that it starts
    // in step.
    void addListener(CAudioParamListener* listener, CAudioParamContext& context,
                     const CGuard* guard = nullptr);
    void removeListener(CAudioParamListener* listener, const CGuard* guard = nullptr);

    // Reals per item of the changes the audio side reads, as the collector was told
    // (CAudioParamCollector::noteElementSize); 1 until then. [any thread, lock-free]
    int getQueuedElementSize() const { return queuedElementSize.load(std::memory_order_relaxed); }
    void setQueuedElementSize(int size)
    {
        queuedElementSize.store(size, std::memory_order_relaxed);
    }
    // The sequence number of the newest change the audio side has taken; changes that reach it
    // later with an older number are stale. [the audio side only]
    uint32_t getTakenSequence() const { return takenSequence; }
    void setTakenSequence(uint32_t taken) { takenSequence = taken; }

private:
    // All of these expect the lock held through `held`.
    void applyChange(const CAudioParamChange& change, CAudioParamContext& context,
                     const CGuard& held);
    // Steps after the store: queue, registry link, bridge, listeners.
    void distribute(const CAudioParamChange& applied, CAudioParamContext& context,
                    const CGuard& held);
    // The whole of a stored group as a replacing change.
    CAudioParamChange makeGroupChange(int group) const;
    bool bindLocked(const CAudioParamInfo& definitionInfo, const CString& path,
                    CAudioParamContext& context, const CGuard& held);
    void resetLocked(int group, int item, CAudioParamContext& context, const CGuard& held);
    // The real at (group, index) and the storage it comes from (for its string table).
    double readValue(int group, int index, const CAudioParamStorage*& from) const;
    int effectiveGroup(int group) const;
    void checkGuard(const CGuard* guard) const;

    mutable CLock lock;
    CAudioParamSink* collector;
    CAudioParamInfo info;
    bool disabled = false;
    const CString fullName;
    CString definitionPath;
    CAudioParamStorage current;
    CAudioParamStorage defaults;
    CArray<CAudioParamListener*> listeners;
    // Not owned; set by a registry whose preset or group names this parameter holds.
    CAudioParamRegistryLink* registryLink = nullptr;
    int groupLimit = kDefaultGroupLimit;
    uint32_t sequence = 0;
    std::atomic<int> queuedElementSize{1};
    uint32_t takenSequence = 0;
};

} // namespace kel
