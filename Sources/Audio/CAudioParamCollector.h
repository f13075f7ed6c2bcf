#pragma once

#include "Audio/CAudioParamSink.h"
#include "Core/CArray.h"
#include "Core/CBridgeBase.h"
#include "Core/CBoundedQueue.h"
#include "Core/CObject.h"
#include "Core/CStringMap.h"
#include "Core/Platform/CLock.h"

#include <atomic>
#include <cstdint>

namespace kel
{

class CAudioEnv;
class CAudioParam;
class CAudioParamClaimer;
struct CAudioParamChange;

// All parameters of one plug-in instance by full dotted name ("plugin.modMain.modZumbelModule.
// gain"), and the road of their changes to the audio side. The collector creates and owns the
// parameters (getParam) and is the sink each of them pushes its changes into; it offers every
// new name to the claimers (the registries) that were added to it.
//
// Changes travel in packets. A setter's change goes straight into the pending packet (addChange);
// a change made inside a batch (a preset being applied, an undo step) collects in the batch and
// joins the pending packet at commitChanges, so that the audio side sees the batch whole. The
// audio side takes the pending packet at the start of a block (takeChanges) and gives it back
// when done (releaseChanges): both are lock-free and never allocate, and a packet that the audio
// side has not taken yet keeps collecting. Packets come from a pool; they grow on the changing
// side only.
//
// A setter's change of a few reals (a host's automation, a knob) takes the fast lane instead: a
// queue of fixed records, sized at construction, filled without a lock, so that a setter called
// on the audio thread takes no lock but its parameter's. Only the audio side takes from the lane,
// and it moves the lane's records behind the packet it takes. The two roads may deliver a
// parameter's changes out of order (a lane record taken in one block, an older packet entry in
// the next): the audio side drops every change older than the newest it took of that parameter,
// by the setter's sequence numbers.
//
// The instance's tree owns the collector (tag audio:param-collector; attribute `env` names the
// audio environment). Lock order: registry, collector name table, parameter; the packet lock is
// innermost and held for list work only. [any thread, except where marked]
class CAudioParamCollector : public CObject, public CBridgeBase, public CAudioParamSink
{
public:
    // One change as the audio side sees it: a run of items of one group of one parameter, with
    // its values copied into the packet. [read on the audio thread]
    struct CEntry
    {
        CAudioParam* param = nullptr;
        uint32_t sequence = 0;
        int group = 0;
        int firstItem = 0;
        int itemCount = 0;
        bool isReplacing = false;
        // Reals of the change in the packet's value array (itemCount * element size).
        int valueOffset = 0;
        int valueCount = 0;
    };

    // A set of changes in order of arrival. Filled on the changing side, read on the audio
    // side while it holds it; never both at once. [see above]
    class CPacket : public CCheckedObject
    {
    public:
        CPacket() = default;
        CPacket(const CPacket&) = delete;
        CPacket& operator=(const CPacket&) = delete;

        bool isEmpty() const { return entries.isEmpty(); }
        int getEntryCount() const { return entries.getCount(); }
        const CEntry& getEntry(int index) const { return entries[index]; }
        // The entry's first real; the entry's values lie behind it.
        const double* getValues(const CEntry& entry) const
        {
            return values.getData() + entry.valueOffset;
        }
        // Groups of param this packet touches: bit g for group g (groups from 31 on share bit
        // 31); 0 when the packet has no change of it.
        uint32_t getGroupMask(const CAudioParam* param) const;
        // Bit mask of a group number, as getGroupMask forms it.
        static uint32_t groupBit(int group)
        {
            return 1u << (group < 31 ? (group < 0 ? 0 : group) : 31);
        }

        // ---- the changing side ----

        // Appends a copy of the change (itemCount * elementSize reals). With dropSuperseded the
        // entries it covers go first (see merge). False when out of memory (the change is lost).
        bool addChange(CAudioParam& param, const CAudioParamChange& change, uint32_t sequence,
                       int elementSize, bool dropSuperseded);
        // Appends the entries of later. With dropSuperseded, an entry of this packet that a
        // later entry of the same parameter and group covers (a replacing change from the same
        // first item or before, or one of the same items) goes first.
        bool merge(const CPacket& later, bool dropSuperseded);
        void clear();

    private:
        friend class CAudioParamCollector;

        bool appendEntry(const CEntry& entry, const double* entryValues);
        void dropCovered(const CEntry& later);
        void compactValues();

        CArray<CEntry, 16> entries;
        CArray<double, 64> values;
        // Reals of dropped entries still in values; compacted when they outweigh the rest.
        int deadValues = 0;
        // Link of the pool's return stack.
        CPacket* nextReturned = nullptr;
    };

    // A packet being built by one operation: make one on the stack, set it as the context's
    // queue (CAudioParamContext::queue) for every change of the operation, then commitChanges.
    // What is left uncommitted at destruction is committed then. [the thread that made it]
    class CBatch : public CAudioParamSink
    {
    public:
        explicit CBatch(CAudioParamCollector& owner) : collector(owner) {}
        ~CBatch() override;
        CBatch(const CBatch&) = delete;
        CBatch& operator=(const CBatch&) = delete;

        void pushChange(CAudioParam& param, const CAudioParamChange& change,
                        uint32_t sequence) override;
        // Publishing is the collector's, in the order of the setters.
        void publishChange(CAudioParam& param, const CAudioParamChange& change,
                           CAudioParamContext& context) override;

        const CPacket& getPacket() const { return packet; }
        CAudioParamCollector& getCollector() const { return collector; }

    private:
        friend class CAudioParamCollector;

        CAudioParamCollector& collector;
        CPacket packet;
    };

    CAudioParamCollector();
    ~CAudioParamCollector() override;

    static void registerClass(CClassInfo& info);
    // Resolves `env` (may be absent: no environment).
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    // Not owned; for a collector made outside a tree.
    void setEnv(CAudioEnv* audioEnv) { env = audioEnv; }

    // ---- parameters ----

    // The parameter of that full name, created unbound and offered to the claimers when it does
    // not exist yet. Null only when out of memory. [any thread; takes the name-table lock]
    CAudioParam* getParam(const CString& paramName);
    // The parameter of that full name, or null; creates nothing.
    CAudioParam* findParam(const CString& paramName) const;
    int getParamCount() const;
    // Every parameter in name order. [any thread; takes the name-table lock]
    void getParams(CArray<CAudioParam*>& out) const;
    // The number of groups a change may address, for the parameters there are and those to
    // come (the instance's group count).
    void setGroupLimit(int count);
    // Reals per item of a parameter's changes (its element size), 1 until noted. Whoever binds a
    // parameter whose changes the audio side reads notes it here; a change only carries its
    // item count. [any thread]
    void noteElementSize(CAudioParam& param, int elementSize);

    // ---- claimers ----

    // Not owned. Offers the parameters that exist already, as for a new one.
    void addClaimer(CAudioParamClaimer* claimer);
    void removeClaimer(CAudioParamClaimer* claimer);

    // ---- changes, changing side ----

    // Takes a change into the fast lane, or, when it is too large or the lane is full, into the
    // pending packet. [any thread; the packet lock only for the pending packet]
    void addChange(CAudioParam& param, const CAudioParamChange& change, uint32_t sequence);
    // Closes a batch: its changes join the pending packet at once, and the batch is empty again.
    // Superseded entries are dropped unless a bulk update is on.
    void commitChanges(CBatch& batch);
    // While on, commitChanges keeps every entry (the audio side sees each step of a bulk load).
    void setBulkUpdate(bool isBulk) { bulkUpdate.store(isBulk); }
    bool isBulkUpdate() const { return bulkUpdate.load(); }

    // CAudioParamSink: the setter's direct road (addChange), and the bridge (notify by the
    // parameter's full name as topic, then all bridges without topic).
    void pushChange(CAudioParam& param, const CAudioParamChange& change,
                    uint32_t sequence) override;
    void publishChange(CAudioParam& param, const CAudioParamChange& change,
                       CAudioParamContext& context) override;

    // ---- changes, audio side ----

    // The changes since the last take, or null when there are none. The caller owns the packet
    // until releaseChanges. Lock-free, allocates nothing. [audio thread]
    // The lane's records join the taken packet, or the collector's own packet when none was
    // pending; records that find no room wait for the next take.
    const CPacket* takeChanges();
    // Gives a taken packet back to the pool. Lock-free, allocates nothing. [audio thread]
    void releaseChanges(const CPacket* packet);
    // Changes waiting for the audio side (a test and diagnostic aid). [any thread]
    bool hasPendingChanges() const;

    // Records the fast lane holds, and the reals one record carries.
    static constexpr int kLaneCapacity = 256;
    static constexpr int kLaneValues = 4;

private:
    // One change in the fast lane: an entry with its values in place.
    struct CLaneRecord
    {
        CEntry entry;
        // Made during a bulk update: it drops no earlier entry.
        bool isBulk = false;
        double values[kLaneValues];
    };

    struct CNameEntry
    {
        CAudioParam* param = nullptr;
        bool claimedByEnumerated = false;
    };

    void offerLocked(CNameEntry& entry, CAudioParamClaimer* onlyTo);
    // Under the packet lock: the packet the audio side takes next, taken back from the mailbox
    // or fresh from the pool (null when out of memory); publishLocked puts it back.
    CPacket* openPendingLocked();
    void publishLocked(CPacket* pending);
    // Moves records into target while it has room for one more without growing. [audio side]
    void drainLane(CPacket& target);
    // Drops the entries older than the newest change the audio side took of their parameter,
    // and notes the others as taken. [audio side]
    static void dropStale(CPacket& taken);
    static void freePacketChain(CPacket* chain);

    CAudioEnv* env = nullptr;

    // Guards the spare packets and the changing side's use of the mailbox.
    mutable CLock packetLock;
    // The packet the audio side takes next; swapped atomically by both sides.
    std::atomic<CPacket*> mailbox{nullptr};
    // Packets the audio side gave back (a stack pushed by the audio side, emptied whole by the
    // changing side), and those ready for reuse.
    std::atomic<CPacket*> returned{nullptr};
    CPacket* spare = nullptr;
    std::atomic<bool> bulkUpdate{false};
    CBoundedQueue<CLaneRecord> lane;
    // The audio side's packet for lane records when no packet was pending, reserved at
    // construction; out between takeChanges and releaseChanges. [audio thread]
    CPacket lanePacket;
    bool isLanePacketOut = false;

    mutable CLock nameLock;
    CStringMap<CNameEntry> names;
    CArray<CAudioParamClaimer*, 4> claimers;
    int groupLimit;
};

} // namespace kel
