#include "Audio/CAudioParamRegistry.h"

#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamCollector.h"
#include "Audio/CAudioParamContext.h"
#include "Audio/CAudioParamRecorder.h"
#include "Audio/CAudioParamRegistryNameBridge.h"
#include "Audio/CAudioParamStorage.h"
#include "Core/CByteBuffer.h"
#include "Core/CGlobalData.h"
#include "Core/CInputStream.h"
#include "Core/CLocalData.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/COutputStream.h"
#include "Core/CSystem.h"
#include "Core/CUtf8Path.h"

namespace kel
{

namespace
{

// Presets of older versions kept the oversampling factor among the routing values.
const char* const kOversamplingName = "plugin.modMain.oversampling";
const char* const kOldOversamplingKey = "io-params.oversampling";

bool anyNonZero(const CAudioParamStorage& values)
{
    for (int g = 0; g < values.getGroupCount(); ++g)
    {
        const double* group = values.getGroupValues(g);
        for (int i = 0; i < values.getGroupLength(g); ++i)
        {
            if (group[i] != 0.0)
                return true;
        }
    }
    return false;
}

} // namespace

CAudioParamRegistry::CAudioParamRegistry() = default;

CAudioParamRegistry::~CAudioParamRegistry()
{
    delete nameBridge;
    delete comparePreset;
    delete compareHistory;
    dropSlotHistoriesLocked();
}

void CAudioParamRegistry::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CAudioParamRegistry::init()
{
    KEL_CHECK(CObject::init());
    hierarchy = getAttrString("hierarchy", CString());
    if (!hierarchy.endsWith(CString(".")))
        hierarchy.appendUnit('.');
    master = getAttrBool("is-master", false);
    enumerated = getAttrBool("is-enumerated", false);
    presetId = getAttrString("id", CString());
    const CString collectorPath = getAttrString("param-collector", CString("^param-collector"));
    presetNaming = getAttrString("preset-naming", CString());
    const CString undoPath = getAttrString("param-undo", CString());
    const CString presetNameName = getAttrString("preset-name-param", CString());
    const CString groupNamesName = getAttrString("group-names-param", CString());
    bankFile = getAttrString("file", CString());
    storeName = getAttrString("store-name", CString());

    KEL_CHECK(findObjectChecked(collectorPath, collector));
    if (!undoPath.isEmpty() && !undoSink)
    {
        undoSink = dynamic_cast<CUndoSink*>(findObject(undoPath));
        if (!undoSink)
            KEL_LOG("no undo sink at '%s'; actions make no undo records",
                    CUtf8Path(undoPath).get());
    }
    collector->addClaimer(this);
    if (!presetNameName.isEmpty())
        presetNameParam = collector->getParam(presetNameName);
    if (!groupNamesName.isEmpty())
        groupNamesParam = collector->getParam(groupNamesName);
    if (presetNameParam)
    {
        nameBridge = new CAudioParamRegistryNameBridge(*this);
        CAudioParamContext context(this);
        presetNameParam->addListener(nameBridge, context);
    }

    if (master)
    {
        if (!bankFile.isEmpty())
        {
            if (CError* error = factoryBank.loadFile(bankFile))
            {
                CSystem::showError(error);
                factoryBank.clear();
            }
            else
            {
                sessionBank = factoryBank;
            }
        }
        factoryBank.setName(CString(kFactoryBankName));
        sessionBank.setName(CString(kSessionBankName));
        if (sessionBank.getCount() == 0)
            sessionBank.addPreset(CAudioPreset(CAudioPreset::joinName(presetId, "Default")));
        slotHistories.reserve(sessionBank.getCount());
        while (slotHistories.getCount() < sessionBank.getCount())
            slotHistories.add(nullptr);
        readUserDefaultPreset();
    }
    else if (enumerated && !storeName.isEmpty())
    {
        readStoredBank();
    }
    return nullptr;
}

void CAudioParamRegistry::readUserDefaultPreset()
{
    CByteBuffer payload;
    CError* error =
        CGlobalData::get().read(CString(kDefaultPresetItem), payload, CAudioPreset::kBlockId);
    if (!error && payload.getSize() == 0)
        return;
    CAudioPreset preset;
    if (!error)
    {
        CMemoryReader reader(payload.getData(), payload.getSize());
        error = preset.load(reader);
    }
    if (error)
    {
        CSystem::showError(error);
        return;
    }
    *sessionBank.getPreset(0) = preset;
}

void CAudioParamRegistry::readStoredBank()
{
    // A name with a leading "/" is an item of this product's own store.
    const bool isLocal = storeName.startsWith(CString("/"));
    CApplicationData& store =
        isLocal ? static_cast<CApplicationData&>(CLocalData::get()) : CGlobalData::get();
    CByteBuffer payload;
    CError* error = store.read(isLocal ? storeName.substring(1) : storeName, payload,
                               CAudioPresetBank::kListId);
    if (!error && payload.getSize() == 0)
        return;
    if (!error)
    {
        CMemoryReader reader(payload.getData(), payload.getSize());
        bool hasBank = false;
        CAudioPresetBank loaded;
        error = loaded.loadList(reader, hasBank);
        if (!error && hasBank)
            storedBank = loaded;
    }
    if (error)
        CSystem::showError(error);
}

void CAudioParamRegistry::detachLinks()
{
    CObject::detachLinks();
    if (presetNameParam && nameBridge)
        presetNameParam->removeListener(nameBridge);
    if (collector)
        collector->removeClaimer(this);
    collector = nullptr;
    undoSink = nullptr;
    presetNameParam = nullptr;
    groupNamesParam = nullptr;
    CLockGuard guard(listenerLock);
    listeners.clear();
}

// ---- claimed parameters ----

bool CAudioParamRegistry::claimParam(CAudioParam& param)
{
    const CString& paramName = param.getFullName();
    if (paramName.getLength() <= hierarchy.getLength() || !paramName.startsWith(hierarchy))
        return false;
    // Called under the collector's name lock: queue only.
    CLockGuard guard(claimLock);
    pendingClaims.add(&param);
    return true;
}

void CAudioParamRegistry::onLinkedParamChange(CAudioParam&, const CAudioParamChange&,
                                              CAudioParamContext&)
{
}

void CAudioParamRegistry::foldClaimsLocked()
{
    for (CAudioParam* param : pendingClaims)
        claimed.set(param->getFullName().substring(hierarchy.getLength()), param);
    pendingClaims.clear();
}

CAudioParam* CAudioParamRegistry::findClaimed(const CString& key)
{
    CLockGuard guard(claimLock);
    foldClaimsLocked();
    CAudioParam* const* found = claimed.find(key);
    return found ? *found : nullptr;
}

CAudioParam* CAudioParamRegistry::findOrCreateClaimed(const CString& key)
{
    if (CAudioParam* param = findClaimed(key))
        return param;
    // Creating it offers it to the claimers, this registry among them; the claim lock must not
    // be held across the call.
    if (!collector || !collector->getParam(hierarchy + key))
        return nullptr;
    return findClaimed(key);
}

void CAudioParamRegistry::getClaimed(CArray<CClaimedParam>& out)
{
    CLockGuard guard(claimLock);
    foldClaimsLocked();
    out.clear();
    out.reserve(claimed.getCount());
    for (const auto& [key, param] : claimed)
        out.add(CClaimedParam{key, param});
}

// ---- applying and acquiring ----

CError* CAudioParamRegistry::applyLocked(const CAudioPreset& preset, bool toDefaults,
                                         CAudioParamContext& context, bool isHost, int group,
                                         int item)
{
    if (!collector)
        return nullptr;
    CAudioParamCollector::CBatch batch(*collector);
    CAudioParamSink* const outerQueue = context.queue;
    if (!outerQueue)
        context.queue = &batch;

    CArray<CClaimedParam> leftOver;
    if (!toDefaults)
        getClaimed(leftOver);

    CError* failure = nullptr;
    for (const auto& [key, blob] : preset.getEntries())
    {
        CAudioParam* param = findOrCreateClaimed(key);
        if (!param)
            continue;
        for (int i = 0; i < leftOver.getCount(); ++i)
        {
            if (leftOver[i].param == param)
            {
                leftOver.removeAt(i);
                break;
            }
        }
        CAudioParam::CGuard guard(*param);
        if (param->isBound(&guard))
        {
            const CAudioParamInfo& info = param->getInfo(guard);
            // A persistent value lives in the host's project only: a user's preset file that
            // carries one has no say over it.
            if (!info.isStorable() && !(isHost && info.isPersistent()))
                continue;
        }
        CMemoryReader reader(blob.getData(), blob.getSize());
        failure = param->load(reader, toDefaults, context, group, item, &guard);
        if (failure)
            break;
    }

    if (!failure && !toDefaults)
    {
        for (const CClaimedParam& entry : leftOver)
        {
            CAudioParam& param = *entry.param;
            CAudioParam::CGuard guard(param);
            if (!param.isBound(&guard) || !param.getInfo(guard).isStorable())
                continue;
            const CByteBuffer* older = param.getFullName() == kOversamplingName
                                           ? preset.findEntry(CString(kOldOversamplingKey))
                                           : nullptr;
            if (older)
            {
                CMemoryReader reader(older->getData(), older->getSize());
                failure = param.load(reader, false, context, group, item, &guard);
                if (failure)
                    break;
                continue;
            }
            // A preset that lacks a parameter means its default, never the value before.
            param.resetToDefaults(group, item, context, &guard);
        }
    }

    context.queue = outerQueue;
    collector->commitChanges(batch);
    if (failure)
        KEL_CHECK(failure);
    return nullptr;
}

CError* CAudioParamRegistry::acquireLocked(CAudioPreset& out, bool takeName, bool withPersistent,
                                           int group)
{
    CString presetName = out.getName();
    if (takeName && master)
    {
        const CAudioPreset* current = currentSessionPresetLocked();
        presetName = current ? current->getName() : CString();
    }
    out.clear();
    out.setName(presetName);

    CArray<CClaimedParam> params;
    getClaimed(params);
    CMemoryWriteBuffer blob(256);
    for (const CClaimedParam& entry : params)
    {
        CAudioParam& param = *entry.param;
        CAudioParam::CGuard guard(param);
        if (!param.isBound(&guard))
            continue;
        const CAudioParamInfo& info = param.getInfo(guard);
        if (!info.isStorable() && !(withPersistent && info.isPersistent()))
            continue;
        blob.clear();
        KEL_CHECK(param.save(blob, group, &guard));
        if (!out.setEntry(entry.key, blob.getData(), blob.getSize()))
            return KEL_ERROR("@kelstr_CAudioParamRegistry_acquirePreset_OutOfMemory Out of "
                             "memory.");
    }
    return nullptr;
}

void CAudioParamRegistry::publishLocked(const CString& presetName, bool isRename, bool session,
                                        bool parameter, const void* origin,
                                        CAudioParamRecorder* record, int group, CAfterLock& after)
{
    if (session && master)
    {
        if (CAudioPreset* current = currentSessionPresetLocked())
            current->setName(presetName);
        after.notify = true;
        after.origin = origin;
    }
    if (!parameter || !presetNameParam)
        return;
    CString id;
    CString shortName;
    CAudioPreset::splitName(presetName, id, shortName);
    CAudioParamRecorder* used = record;
    if (isRename && !record && undoSink && !undoSink->isExternalUndo())
    {
        after.renameRecord = createRecord(CString("Program name change"));
        used = after.renameRecord;
    }
    // The registry is the origin, so that the name bridge knows its own echo.
    CAudioParamContext context(this, used);
    presetNameParam->setString(group < 0 ? 0 : group, 0, shortName, context);
}

CAudioPreset* CAudioParamRegistry::currentSessionPresetLocked()
{
    return sessionBank.getPreset(currentIndex);
}

void CAudioParamRegistry::dropSlotHistoriesLocked()
{
    for (CUndoSink::CHistory* history : slotHistories)
        delete history;
    slotHistories.clear();
}

CAudioParamRecorder* CAudioParamRegistry::createRecord(const CString& label)
{
    return undoSink ? undoSink->createUndoRecord(label) : nullptr;
}

void CAudioParamRegistry::finish(CAfterLock& after)
{
    if (undoSink)
    {
        if (after.record)
            undoSink->addUndoRecord(after.record);
        if (after.renameRecord)
            undoSink->addUndoRecord(after.renameRecord);
    }
    after.record = nullptr;
    after.renameRecord = nullptr;
    if (!after.notify)
        return;
    CArray<CListener*, 4> toCall;
    {
        CLockGuard guard(listenerLock);
        toCall = listeners;
    }
    for (CListener* listener : toCall)
        listener->onRegistryChanged(*this, after.origin);
    notify();
}

CString CAudioParamRegistry::makeGroupLabel(int group) const
{
    CString label(presetNaming);
    label.append(" activate");
    if (group < 0)
        return label;
    CString groupName;
    if (groupNamesParam)
        groupNamesParam->getValueText(groupName, 0, group);
    if (groupName.isEmpty())
        groupName = CString::fromInt(group + 1);
    label.append(" (");
    label.append(groupName);
    label.append(")");
    return label;
}

CError* CAudioParamRegistry::checkId(const CAudioPreset& preset, bool isBank) const
{
    CString id;
    CString shortName;
    CAudioPreset::splitName(preset.getName(), id, shortName);
    if (id == presetId)
        return nullptr;
    if (isBank)
        return KEL_ERROR(
            "@kelstr_CAudioParamRegistry_activateBank_IncompatibleBank Incompatible bank.");
    return KEL_ERROR(
        "@kelstr_CAudioParamRegistry_activatePreset_IncompatiblePreset Incompatible preset.");
}

// ---- operations ----

CError* CAudioParamRegistry::activatePreset(CInputStream& stream, bool isHost, int group)
{
    CAudioPreset preset;
    KEL_CHECK(preset.load(stream));
    KEL_CHECK(checkId(preset, false));

    CAfterLock after;
    after.record = createRecord(makeGroupLabel(group));
    CError* failure = nullptr;
    {
        // Declared before the lock: deferred host notifications run once it is released.
        CAudioParamContext context(this, after.record);
        CLockGuard guard(registryLock);
        failure = applyLocked(preset, false, context, isHost, group, -1);
        if (!failure)
            publishLocked(preset.getName(), false, true, true, this, after.record,
                          group < 0 ? 0 : group, after);
    }
    finish(after);
    KEL_CHECK(failure);
    return nullptr;
}

CError* CAudioParamRegistry::activateBank(CInputStream& stream, bool isHost)
{
    CAudioPresetBank bank;
    KEL_CHECK(bank.load(stream));
    if (!master)
        return KEL_ERROR("@kelstr_CAudioParamRegistry_activateBank_NonMasterRegistry Activating "
                         "bank in a non-master registry is an error.");

    CAfterLock after;
    CError* failure = nullptr;
    bool appliedCurrent = false;
    {
        CAudioParamContext context(this);
        CLockGuard guard(registryLock);
        const int count =
            bank.getCount() < sessionBank.getCount() ? bank.getCount() : sessionBank.getCount();
        for (int i = 0; i < count; ++i)
            KEL_CHECK(checkId(*bank.getPreset(i), true));
        for (int i = 0; i < count; ++i)
        {
            *sessionBank.getPreset(i) = *bank.getPreset(i);
            delete slotHistories[i];
            slotHistories[i] = nullptr;
        }
        if (currentIndex < count)
        {
            appliedCurrent = true;
            const CAudioPreset current(*sessionBank.getPreset(currentIndex));
            failure = applyLocked(current, false, context, isHost, -1, -1);
            if (!failure)
                publishLocked(current.getName(), false, true, true, this, nullptr, 0, after);
        }
        else
        {
            after.notify = true;
            after.origin = this;
        }
    }
    // The history of the replaced slot belongs to values that are gone.
    if (appliedCurrent && undoSink)
        undoSink->clearHistory();
    finish(after);
    KEL_CHECK(failure);
    return nullptr;
}

CError* CAudioParamRegistry::acquirePreset(bool fromROM, int index, int group,
                                           COutputStream& stream, bool withPersistent)
{
    CAudioPreset preset;
    if (!master)
    {
        preset.setName(CAudioPreset::joinName(presetId, CString()));
        {
            CLockGuard guard(registryLock);
            KEL_CHECK(acquireLocked(preset, false, withPersistent, group));
        }
        KEL_CHECK(preset.save(stream));
        return nullptr;
    }
    {
        CLockGuard guard(registryLock);
        const CAudioPresetBank& bank = fromROM ? factoryBank : sessionBank;
        const int slot = !fromROM && index == -1 ? currentIndex : index;
        const CAudioPreset* source = bank.getPreset(slot);
        if (!source)
            return KEL_ERROR("@kelstr_CAudioParamRegistry_acquirePreset_PresetIndexError Invalid "
                             "preset index %1 specified.",
                             index);
        if (!fromROM && slot == currentIndex)
        {
            // A group preset of the master registry is made apart: the slot keeps all groups.
            CAudioPreset* target = group < 0 ? sessionBank.getPreset(slot) : &preset;
            KEL_CHECK(acquireLocked(*target, true, withPersistent, group));
            source = target;
        }
        if (source != &preset)
            preset = *source;
    }
    KEL_CHECK(preset.save(stream));
    return nullptr;
}

CError* CAudioParamRegistry::acquirePreset(bool fromROM, COutputStream& stream, bool withPersistent)
{
    if (!master)
        return KEL_ERROR("@kelstr_CAudioParamRegistry_acquirePreset_NonMasterRegistry Acquiring "
                         "bank in a non-master registry is an error.");
    CAudioPresetBank bank;
    {
        CLockGuard guard(registryLock);
        if (fromROM)
        {
            bank = factoryBank;
        }
        else
        {
            CAudioPreset* current = currentSessionPresetLocked();
            if (current)
            {
                KEL_CHECK(acquireLocked(*current, true, withPersistent, -1));
                // Persistent values (the instance name) are the same in every slot that has them.
                CArray<CClaimedParam> params;
                getClaimed(params);
                for (const CClaimedParam& entry : params)
                {
                    const CByteBuffer* fresh = current->findEntry(entry.key);
                    if (!fresh)
                        continue;
                    {
                        CAudioParam::CGuard paramGuard(*entry.param);
                        if (!entry.param->isBound(&paramGuard) ||
                            !entry.param->getInfo(paramGuard).isPersistent())
                            continue;
                    }
                    for (int i = 0; i < sessionBank.getCount(); ++i)
                    {
                        CAudioPreset* other = sessionBank.getPreset(i);
                        if (other != current && other->findEntry(entry.key) &&
                            !other->setEntry(entry.key, fresh->getData(), fresh->getSize()))
                            return KEL_ERROR("@kelstr_CAudioParamRegistry_acquirePreset_"
                                             "OutOfMemory Out of memory.");
                    }
                }
            }
            bank = sessionBank;
        }
    }
    KEL_CHECK(bank.save(stream));
    return nullptr;
}

CError* CAudioParamRegistry::activateROMPreset(int index)
{
    if (!master)
        return nullptr;
    CAfterLock after;
    CError* failure = nullptr;
    {
        CAudioParamContext context(this);
        CLockGuard guard(registryLock);
        const CAudioPreset* source = factoryBank.getPreset(index);
        if (!source)
            return nullptr;
        after.record = createRecord(CString("ROM preset activate"));
        context.undoRecord = after.record;
        const CAudioPreset preset(*source);
        failure = applyLocked(preset, false, context, false, -1, -1);
        if (!failure)
            publishLocked(preset.getName(), false, true, true, this, after.record, 0, after);
    }
    finish(after);
    KEL_CHECK(failure);
    return nullptr;
}

void CAudioParamRegistry::setPresetName(int index, const CString& shortName, const void* origin)
{
    CAfterLock after;
    {
        CLockGuard guard(registryLock);
        const CString presetName = CAudioPreset::joinName(presetId, shortName);
        if (!master || index == currentIndex)
        {
            publishLocked(presetName, true, true, true, origin, nullptr, 0, after);
        }
        else if (CAudioPreset* preset = sessionBank.getPreset(index))
        {
            preset->setName(presetName);
            after.notify = true;
            after.origin = origin;
        }
    }
    finish(after);
}

CError* CAudioParamRegistry::selectPreset(int index, const void* origin)
{
    if (!master)
        return nullptr;
    {
        CLockGuard guard(registryLock);
        if (index == currentIndex || !sessionBank.getPreset(index))
            return nullptr;
        KEL_CHECK(acquireLocked(*currentSessionPresetLocked(), false, false, -1));
    }
    // The undo sink's lock is outside the registry lock: histories move with it released.
    CUndoSink::CHistory* leaving = undoSink ? undoSink->detachHistory() : nullptr;
    CUndoSink::CHistory* arriving = nullptr;
    CAfterLock after;
    CError* failure = nullptr;
    {
        CAudioParamContext context(this);
        CLockGuard guard(registryLock);
        delete slotHistories[currentIndex];
        slotHistories[currentIndex] = leaving;
        arriving = slotHistories[index];
        slotHistories[index] = nullptr;
        currentIndex = index;
        const CAudioPreset preset(*sessionBank.getPreset(index));
        failure = applyLocked(preset, false, context, false, -1, -1);
        publishLocked(preset.getName(), false, true, true, origin, nullptr, 0, after);
    }
    if (undoSink)
        undoSink->attachHistory(arriving);
    else
        delete arriving;
    finish(after);
    KEL_CHECK(failure);
    return nullptr;
}

CString CAudioParamRegistry::getPresetName(int index) const
{
    CLockGuard guard(registryLock);
    const CAudioPreset* preset = sessionBank.getPreset(index);
    CString id;
    CString shortName;
    if (preset)
        CAudioPreset::splitName(preset->getName(), id, shortName);
    return shortName;
}

CString CAudioParamRegistry::getCurrentPresetName() const
{
    return getPresetName(getCurrentIndex());
}

void CAudioParamRegistry::getPresetNames(bool fromROM, CArray<CString>& outList,
                                         int& outCurrent) const
{
    CLockGuard guard(registryLock);
    const CAudioPresetBank& bank = fromROM ? factoryBank : sessionBank;
    outList.clear();
    for (int i = 0; i < bank.getCount(); ++i)
    {
        CString id;
        CString shortName;
        CAudioPreset::splitName(bank.getPreset(i)->getName(), id, shortName);
        outList.add(shortName);
    }
    outCurrent = fromROM ? -1 : currentIndex;
}

int CAudioParamRegistry::getCurrentIndex() const
{
    CLockGuard guard(registryLock);
    return currentIndex;
}

int CAudioParamRegistry::getSessionCount() const
{
    CLockGuard guard(registryLock);
    return sessionBank.getCount();
}

void CAudioParamRegistry::copyBank(bool fromROM, CAudioPresetBank& out) const
{
    CLockGuard guard(registryLock);
    out = fromROM ? factoryBank : sessionBank;
}

void CAudioParamRegistry::resetMaster()
{
    if (!collector)
        return;
    CAfterLock after;
    after.record = createRecord(CString("Master reset"));
    {
        CAudioParamContext context(this, after.record);
        CLockGuard guard(registryLock);
        CAudioParamCollector::CBatch batch(*collector);
        context.queue = &batch;
        CArray<CClaimedParam> params;
        getClaimed(params);
        for (const CClaimedParam& entry : params)
        {
            CAudioParam::CGuard paramGuard(*entry.param);
            if (entry.param->isBound(&paramGuard) && entry.param->getInfo(paramGuard).isStorable())
                entry.param->resetToDefaults(-1, -1, context, &paramGuard);
        }
        if (presetNameParam)
            presetNameParam->resetToDefaults(-1, -1, context);
        collector->commitChanges(batch);
    }
    finish(after);
}

CError* CAudioParamRegistry::swapCompare()
{
    bool isFirstUse = false;
    {
        CLockGuard guard(registryLock);
        if (!comparePreset)
        {
            isFirstUse = true;
            comparePreset = new CAudioPreset();
            KEL_CHECK(acquireLocked(*comparePreset, true, false, -1));
        }
    }
    if (isFirstUse && undoSink)
    {
        CUndoSink::CHistory* copy = undoSink->copyHistory();
        CLockGuard guard(registryLock);
        delete compareHistory;
        compareHistory = copy;
    }

    CAfterLock after;
    CError* failure = nullptr;
    CUndoSink::CHistory* arriving = nullptr;
    {
        CAudioParamContext context(this);
        CLockGuard guard(registryLock);
        CAudioPreset* fresh = new CAudioPreset();
        failure = acquireLocked(*fresh, true, false, -1);
        if (failure)
        {
            delete fresh;
            KEL_CHECK(failure);
        }
        failure = applyLocked(*comparePreset, false, context, false, -1, -1);
        publishLocked(comparePreset->getName(), false, true, true, this, nullptr, 0, after);
        delete comparePreset;
        comparePreset = fresh;
        arriving = compareHistory;
        compareHistory = nullptr;
    }
    if (undoSink)
    {
        CUndoSink::CHistory* leaving = undoSink->detachHistory();
        undoSink->attachHistory(arriving);
        CLockGuard guard(registryLock);
        delete compareHistory;
        compareHistory = leaving;
    }
    else
    {
        delete arriving;
    }
    finish(after);
    KEL_CHECK(failure);
    return nullptr;
}

void CAudioParamRegistry::copyToCompare()
{
    {
        CLockGuard guard(registryLock);
        if (!comparePreset)
            comparePreset = new CAudioPreset();
        if (CError* error = acquireLocked(*comparePreset, true, false, -1))
        {
            CSystem::showError(error);
            return;
        }
    }
    CUndoSink::CHistory* copy = undoSink ? undoSink->copyHistory() : nullptr;
    CLockGuard guard(registryLock);
    delete compareHistory;
    compareHistory = copy;
}

CError* CAudioParamRegistry::loadDefaultPreset(CInputStream& stream)
{
    CAudioPreset preset;
    KEL_CHECK(preset.load(stream));
    CAudioParamContext context(this);
    CLockGuard guard(registryLock);
    KEL_CHECK(applyLocked(preset, true, context, false, -1, -1));
    return nullptr;
}

void CAudioParamRegistry::onPresetNameEdited(const CString& shortName)
{
    CAfterLock after;
    {
        CLockGuard guard(registryLock);
        publishLocked(CAudioPreset::joinName(presetId, shortName), false, true, false, nullptr,
                      nullptr, 0, after);
    }
    finish(after);
}

bool CAudioParamRegistry::usesRoutingFeatures(const CAudioPreset& preset, bool msPairs,
                                              bool sidechain)
{
    CString path;
    CAudioParamStorage values;
    if (msPairs)
    {
        CError* error = preset.readEntryValues(CString("ms-pairs"), path, values);
        const bool used = !error && anyNonZero(values);
        delete error;
        if (used)
            return true;
    }
    if (!sidechain)
        return false;
    CError* error = preset.readEntryValues(CString("sidechain-mute"), path, values);
    bool used = !error && anyNonZero(values);
    delete error;
    if (used)
        return true;
    // The plain map sends side-chain channel n to n; anything else is a side-chain routing.
    error = preset.readEntryValues(CString("sidechain"), path, values);
    if (!error)
    {
        const double* map = values.getGroupValues(0);
        for (int i = 0; i < values.getGroupLength(0) && !used; ++i)
            used = map[i] != static_cast<double>(i);
    }
    delete error;
    return used;
}

void CAudioParamRegistry::addListener(CListener* listener)
{
    CLockGuard guard(listenerLock);
    if (listener && !listeners.contains(listener))
        listeners.add(listener);
}

void CAudioParamRegistry::removeListener(CListener* listener)
{
    CLockGuard guard(listenerLock);
    const int index = listeners.indexOf(listener);
    if (index >= 0)
        listeners.removeAt(index);
}

} // namespace kel
