#include "UI/Params/CParamBridgeAudio.h"

#include "Audio/CAudioInterfaceClient.h"
#include "Audio/CAudioInterfaceClientConnectorVST.h"
#include "Audio/CAudioParamChange.h"
#include "Audio/CAudioParamInfo.h"
#include "Audio/Converters/CAudioParamConverter.h"
#include "Core/CSystem.h"
#include "Core/CUtf8Path.h"

namespace kel
{

namespace
{

double clampUnit(double value)
{
    return value < 0.0 ? 0.0 : (value > 1.0 ? 1.0 : value);
}

} // namespace

CParamBridgeAudio::CParamBridgeAudio() = default;

CParamBridgeAudio::~CParamBridgeAudio() = default;

void CParamBridgeAudio::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CParamBridgeAudio::init()
{
    KEL_CHECK(CParamBridge::init());
    KEL_CHECK(findObjectByAttr("interface-client", client));
    paramName = getAttrString(CString("param"), CString());
    if (paramName.isEmpty())
        return nullptr;
    isSubscribed = true;
    // A client that is not connected yet keeps the subscription and sends it when it connects
    // (subscribeAll); until then the bridge is not valid.
    CError* error = client->addParamListener(this, paramName);
    if (error)
    {
        KEL_LOG("Parameter '%s' not subscribed: %s", CUtf8Path(paramName).get(),
                error->getMessage());
        delete error;
    }
    return nullptr;
}

void CParamBridgeAudio::detachLinks()
{
    if (client)
    {
        // The audio side may be gone already: nothing of this needs undoing.
        if (openRecord > 0)
            delete endChange();
        if (isSubscribed)
            delete client->removeParamListener(this);
        client = nullptr;
    }
    isSubscribed = false;
    CParamBridge::detachLinks();
}

void CParamBridgeAudio::reportError(CError* error) const
{
    if (error)
        CSystem::showError(KEL_FRAME(error));
}

// ---- reading ----

const CAudioParamInfo* CParamBridgeAudio::getInfo() const
{
    if (!client || !isSubscribed || !client->getConnector())
        return nullptr;
    const auto* vst =
        dynamic_cast<const CAudioInterfaceClientConnectorVST*>(client->getConnector());
    if (vst && !vst->isConnected())
        return nullptr;
    const CAudioParamInfo* info = client->getParamInfo(this);
    return info && info->isValid() ? info : nullptr;
}

bool CParamBridgeAudio::isValid() const
{
    return getInfo() != nullptr;
}

const CAudioParamConverter* CParamBridgeAudio::getConverter(int element) const
{
    const CAudioParamInfo* info = getInfo();
    if (!info || element < 0 || element >= info->getElementSize())
        return nullptr;
    return info->getConverter(element);
}

double CParamBridgeAudio::readValue(const CAudioParamInfo& info, int element, int group) const
{
    if (group >= 0 && values.getElementSize() == info.getElementSize() &&
        values.getGroupLength(group) > element)
        return values.getGroupValues(group)[element];
    const CAudioParamStorage& defaults = info.getDefaults();
    if (group >= 0 && defaults.getGroupLength(group) > element)
        return defaults.getGroupValues(group)[element];
    if (defaults.getGroupLength(0) > element)
        return defaults.getGroupValues(0)[element];
    return 0.0;
}

double CParamBridgeAudio::toParamValue(const CAudioParamInfo& info, int element,
                                       double normalised) const
{
    const CAudioParamConverter* converter = info.getConverter(element);
    double value = converter->toValue(info, element, clampUnit(normalised));
    value = CAudioParamConverter::clampToRange(value, info.getMin(element), info.getMax(element));
    if (info.isDiscrete())
        value = CAudioParamConverter::roundHalfAway(value);
    return value;
}

void CParamBridgeAudio::valueToText(CString& out, double normalised, int element, int group) const
{
    out.clear();
    const CAudioParamConverter* converter = getConverter(element);
    if (!converter)
        return;
    const CAudioParamInfo& info = *getInfo();
    converter->format(out, info, element, toParamValue(info, element, normalised), group,
                      CAudioParamConverter::kFormatNormal);
}

void CParamBridgeAudio::getValueText(CString& out, int element, int group) const
{
    out.clear();
    const CAudioParamConverter* converter = getConverter(element);
    if (!converter)
        return;
    const CAudioParamInfo& info = *getInfo();
    const double value = readValue(info, element, group);
    if (info.isString())
    {
        const CAudioParamStorage& from =
            values.getGroupLength(group) > element ? values : info.getDefaults();
        out = from.getStringOf(value);
        return;
    }
    converter->format(out, info, element, value, group, CAudioParamConverter::kFormatNormal);
}

double CParamBridgeAudio::textToValue(const CString& text, int element, int, bool* ok) const
{
    if (ok)
        *ok = false;
    const CAudioParamConverter* converter = getConverter(element);
    if (!converter || getInfo()->isString())
        return 0.0;
    const CAudioParamInfo& info = *getInfo();
    const double value = converter->parseClamped(info, element, text, ok);
    return clampUnit(converter->toNormalised(info, element, value));
}

double CParamBridgeAudio::getNormalisedValue(int element, int group) const
{
    const CAudioParamConverter* converter = getConverter(element);
    if (!converter || group < 0)
        return 0.0;
    const CAudioParamInfo& info = *getInfo();
    return clampUnit(converter->toNormalised(info, element, readValue(info, element, group)));
}

double CParamBridgeAudio::getDefaultValue(int element, int group) const
{
    const CAudioParamConverter* converter = getConverter(element);
    if (!converter || group < 0)
        return 0.0;
    const CAudioParamInfo& info = *getInfo();
    const CAudioParamStorage& defaults = info.getDefaults();
    double value = 0.0;
    if (defaults.getGroupLength(group) > element)
        value = defaults.getGroupValues(group)[element];
    else if (defaults.getGroupLength(0) > element)
        value = defaults.getGroupValues(0)[element];
    return clampUnit(converter->toNormalised(info, element, value));
}

// ---- changing ----

CError* CParamBridgeAudio::writeItem(const CAudioParamInfo& info, int element, int group,
                                     double value, int32_t recordId)
{
    const int size = info.getElementSize();
    CArray<double> item;
    for (int i = 0; i < size; ++i)
        item.add(i == element ? value : readValue(info, i, group));
    CAudioParamChange change;
    change.group = group;
    change.firstItem = 0;
    change.itemCount = 1;
    change.values = item.getData();
    KEL_CHECK(client->setParamValues(this, change, recordId));
    if (values.getElementSize() != size || values.getDataType() != info.getDataType())
        values.setFormat(size, info.getDataType());
    if (!values.applyChange(change))
        return KEL_ERROR("@kelstr_CParamBridgeAudio_setNormalisedValue_NoMemory Out of memory.");
    KEL_CHECK(notifyUIParams(0, size, group, false));
    return nullptr;
}

CError* CParamBridgeAudio::setNormalisedValue(double value, int element, int group)
{
    const CAudioParamConverter* converter = getConverter(element);
    if (!converter || group < 0 || getInfo()->isString())
        return nullptr;
    const CAudioParamInfo& info = *getInfo();
    const double target = toParamValue(info, element, value);
    // The parameter drops a value equal to its own: so does the bridge.
    if (target == readValue(info, element, group))
        return nullptr;
    KEL_CHECK(writeItem(info, element, group, target, openRecord > 0 ? openRecord : 0));
    if (openRecord > 0)
        openHasChanged = true;
    return nullptr;
}

CError* CParamBridgeAudio::resetToDefault(int element, int group)
{
    const CAudioParamConverter* converter = getConverter(element);
    if (!converter || group < 0)
        return nullptr;
    if (openRecord > 0)
        KEL_CHECK(endChange());
    const CAudioParamInfo& info = *getInfo();
    const CString label = makeLabel(" reset", element, group);
    int32_t recordId = 0;
    KEL_CHECK(client->openUndoRecord(label, false, -1, recordId));
    KEL_CHECK(client->resetParam(this, group, 0, recordId));
    // The audio side does not echo this client's own reset: store the defaults of the item.
    const CAudioParamStorage& defaults = info.getDefaults();
    const int size = info.getElementSize();
    const int from = defaults.getGroupLength(group) >= size ? group : 0;
    CArray<double> item;
    bool isChanged = false;
    for (int i = 0; i < size; ++i)
    {
        item.add(defaults.getGroupLength(from) > i ? defaults.getGroupValues(from)[i]
                                                   : readValue(info, i, group));
        isChanged = isChanged || item[i] != readValue(info, i, group);
    }
    if (!isChanged)
    {
        KEL_CHECK(client->dropUndoRecord(recordId));
        return nullptr;
    }
    KEL_CHECK(client->closeUndoRecord(recordId, label));
    CAudioParamChange change;
    change.group = group;
    change.itemCount = 1;
    change.values = item.getData();
    if (values.getElementSize() != size || values.getDataType() != info.getDataType())
        values.setFormat(size, info.getDataType());
    if (!values.applyChange(change))
        return KEL_ERROR("@kelstr_CParamBridgeAudio_setNormalisedValue_NoMemory Out of memory.");
    KEL_CHECK(notifyUIParams(0, size, group, false));
    return nullptr;
}

CError* CParamBridgeAudio::beginChange(int element, int group, int32_t mergeId)
{
    if (!isValid())
        return nullptr;
    if (openRecord > 0)
        KEL_CHECK(endChange());
    openLabel = makeLabel(" change", element, group);
    openHasChanged = false;
    int32_t recordId = 0;
    KEL_CHECK(client->openUndoRecord(openLabel, mergeId >= 0, mergeId, recordId));
    openRecord = recordId;
    return nullptr;
}

CError* CParamBridgeAudio::endChange()
{
    if (openRecord <= 0)
        return nullptr;
    const int32_t recordId = openRecord;
    openRecord = -1;
    if (!client)
        return nullptr;
    if (openHasChanged)
        KEL_CHECK(client->closeUndoRecord(recordId, openLabel));
    else
        KEL_CHECK(client->dropUndoRecord(recordId));
    openHasChanged = false;
    return nullptr;
}

CString CParamBridgeAudio::makeLabel(const char* action, int element, int group) const
{
    const CAudioParamInfo* info = getInfo();
    CString label;
    if (info)
        label = info->getVisualName().isEmpty() ? info->getLeafName() : info->getVisualName();
    label.append(action);
    int number = -1;
    if (info && !info->isSingleGroup() && client->getGroupCount() > 1)
        number = group + 1;
    else if (info && info->getElementSize() > 1)
        number = element + 1;
    if (number > 0)
        label.appendFormat(" (%d)", number);
    return label;
}

// ---- from the client ----

void CParamBridgeAudio::onParamInfo(const CAudioParamInfo& info)
{
    // The values follow, one change per group.
    values.setFormat(info.getElementSize(), info.getDataType());
    reportError(notifyUIParams(0, info.getElementSize(), -1, true));
}

void CParamBridgeAudio::onParamChange(const CAudioParamChange& change)
{
    if (change.group == CAudioParamChange::kDefinitionGroup || change.group < 0)
        return;
    const int size = values.getElementSize();
    if (!values.applyChange(change))
    {
        reportError(
            KEL_ERROR("@kelstr_CParamBridgeAudio_setNormalisedValue_NoMemory Out of memory."));
        return;
    }
    reportError(notifyUIParams(change.firstItem * size, change.itemCount * size, change.group,
                               change.isReplacing));
}

} // namespace kel
