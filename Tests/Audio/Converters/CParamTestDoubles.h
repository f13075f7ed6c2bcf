#pragma once

#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamChange.h"
#include "Audio/CAudioParamContext.h"
#include "Audio/CAudioParamListener.h"
#include "Audio/CAudioParamRecorder.h"
#include "Audio/CAudioParamRegistryLink.h"
#include "Audio/CAudioParamSink.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace kel
{
namespace paramtest
{

// One change as a test double saw it, values copied.
struct CSeenChange
{
    std::string who;
    int group = 0;
    int firstItem = 0;
    int itemCount = 0;
    bool isReplacing = false;
    std::vector<double> values;
    uint32_t sequence = 0;
    const void* origin = nullptr;

    CSeenChange() = default;
    CSeenChange(std::string seenBy, const CAudioParam& param, const CAudioParamChange& change,
                const CAudioParam::CGuard& held)
        : who(std::move(seenBy)), group(change.group), firstItem(change.firstItem),
          itemCount(change.itemCount), isReplacing(change.isReplacing)
    {
        const int count = change.itemCount * param.getInfo(held).getElementSize();
        if (change.values)
            values.assign(change.values, change.values + count);
    }
};

// Everything the parameter tells its parties, in one journal, in order.
using CJournal = std::vector<CSeenChange>;

// The collector's side: queue and bridge.
class CRecordingSink : public CAudioParamSink
{
public:
    explicit CRecordingSink(CJournal& target, const char* sinkName = "queue")
        : journal(target), name(sinkName)
    {
    }
    void pushChange(CAudioParam& param, const CAudioParamChange& change, uint32_t sequence) override
    {
        CSeenChange seen;
        seen.who = name;
        seen.group = change.group;
        seen.firstItem = change.firstItem;
        seen.itemCount = change.itemCount;
        seen.isReplacing = change.isReplacing;
        seen.sequence = sequence;
        if (change.values)
            seen.values.assign(change.values, change.values + change.itemCount);
        (void)param;
        journal.push_back(seen);
    }
    void publishChange(CAudioParam&, const CAudioParamChange& change, CAudioParamContext&) override
    {
        CSeenChange seen;
        seen.who = "bridge";
        seen.group = change.group;
        journal.push_back(seen);
    }

private:
    CJournal& journal;
    const char* name;
};

class CRecordingListener : public CAudioParamListener
{
public:
    CRecordingListener(CJournal& target, const char* listenerName)
        : journal(target), name(listenerName)
    {
    }
    void onParamChange(CAudioParam& param, const CAudioParamChange& change,
                       CAudioParamContext& context, const CAudioParam::CGuard& held) override
    {
        CSeenChange seen(name, param, change, held);
        seen.origin = context.origin;
        journal.push_back(seen);
        // Reading through the guard must not take the lock again.
        lastRead = param.getValue(0, 0, &held);
        if (deferTo)
            context.addDeferred(deferTo, lastRead);
    }

    double lastRead = 0.0;
    CAudioParamContext::CDeferredTarget* deferTo = nullptr;

private:
    CJournal& journal;
    const char* name;
};

class CRecordingLink : public CAudioParamRegistryLink
{
public:
    explicit CRecordingLink(CJournal& target) : journal(target) {}
    void onLinkedParamChange(CAudioParam& param, const CAudioParamChange& change,
                             CAudioParamContext&) override
    {
        CSeenChange seen;
        seen.who = "link";
        seen.group = change.group;
        (void)param;
        journal.push_back(seen);
    }

private:
    CJournal& journal;
};

// An undo record: the touched group before and after.
class CRecordingRecorder : public CAudioParamRecorder
{
public:
    void recordBefore(const CAudioParam&, const CAudioParamChange& change,
                      const CAudioParamStorage& values) override
    {
        before.push_back(groupOf(values, change.group));
    }
    void recordAfter(const CAudioParam&, const CAudioParamChange& change,
                     const CAudioParamStorage& values) override
    {
        after.push_back(groupOf(values, change.group));
    }

    std::vector<std::vector<double>> before;
    std::vector<std::vector<double>> after;

private:
    static std::vector<double> groupOf(const CAudioParamStorage& values, int group)
    {
        const double* data = values.getGroupValues(group);
        return data ? std::vector<double>(data, data + values.getGroupLength(group))
                    : std::vector<double>();
    }
};

// A host-side target of deferred notifications: counts calls, keeps the values.
class CRecordingTarget : public CAudioParamContext::CDeferredTarget
{
public:
    void onDeferredValue(double value) override { values.push_back(value); }
    std::vector<double> values;
};

} // namespace paramtest
} // namespace kel
