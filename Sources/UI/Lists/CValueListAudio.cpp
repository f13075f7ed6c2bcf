#include "UI/Lists/CValueListAudio.h"

#include "Audio/CAudioInterfaceClient.h"
#include "Audio/CAudioParamInfo.h"
#include "Audio/Converters/CAudioParamConverter.h"
#include "UI/Params/CParamBridgeAudio.h"
#include "UI/Params/CParamGroupSelector.h"
#include "UI/Params/CUIParam.h"
#include "Core/CUtf8Path.h"

#include <cmath>

namespace kel
{

namespace
{

struct CModeName
{
    const char* name;
    CValueListAudio::Mode mode;
};

const CModeName kModes[] = {
    {"manual", CValueListAudio::Mode::kManual},
    {"audio-param-values", CValueListAudio::Mode::kParamValues},
    {"audio-enum-value", CValueListAudio::Mode::kEnumValue},
    {"audio-min-max", CValueListAudio::Mode::kMinMax},
    {"audio-routing-labels", CValueListAudio::Mode::kRoutingLabels},
    {"audio-channels", CValueListAudio::Mode::kChannels},
    {"audio-ins", CValueListAudio::Mode::kIns},
    {"audio-outs", CValueListAudio::Mode::kOuts},
    {"audio-groups", CValueListAudio::Mode::kGroups},
    {"audio-curgroup", CValueListAudio::Mode::kCurGroup},
};

// The routing parameters: the bridge in the window tree and the ui-param child that follows it.
enum RoutingPart
{
    kInRouting,
    kInChannelNames,
    kSidechain,
    kSidechainMute,
    kMsPairs,
    kGrouping,
    kGroupNames,
    kRoutingPartCount,
};

const char* const kRoutingBridges[kRoutingPartCount][2] = {
    {"ui.in-routing-bridge", "ui-param-in-routing"},
    {"ui.in-channel-names-bridge", "ui-param-in-channel-names"},
    {"ui.sidechain-bridge", "ui-param-sidechain"},
    {"ui.sidechain-mute-bridge", "ui-param-channel-mute"},
    {"ui.ms-pairs-bridge", "ui-param-ms-pairs"},
    {"ui.grouping-bridge", "ui-param-grouping"},
    {"ui.group-names-bridge", "ui-param-group-names"},
};

const char* const kValueParamName = "ui-param-value";
const char* const kDefaultClientPath = "ui.interface-client";
const char* const kReserveName = "Reserve";

// True when pattern holds exactly one conversion, of a double (e, f or g, with flags, width and
// precision), and otherwise only "%%": a pattern from the tree must not reach printf otherwise.
bool isDoubleFormat(const CString& pattern)
{
    int conversions = 0;
    const int length = pattern.getLength();
    for (int i = 0; i < length; ++i)
    {
        if (pattern.getUnit(i) != '%')
            continue;
        ++i;
        if (i < length && pattern.getUnit(i) == '%')
            continue;
        while (i < length && CString("-+ #0").findUnit(pattern.getUnit(i)) >= 0)
            ++i;
        while (i < length && pattern.getUnit(i) >= '0' && pattern.getUnit(i) <= '9')
            ++i;
        if (i < length && pattern.getUnit(i) == '.')
        {
            ++i;
            while (i < length && pattern.getUnit(i) >= '0' && pattern.getUnit(i) <= '9')
                ++i;
        }
        if (i >= length || CString("eEfFgG").findUnit(pattern.getUnit(i)) < 0)
            return false;
        ++conversions;
    }
    return conversions == 1;
}

// The number at the start of a converter's text ("-36.0", "1.20k" as 1200); false when there is
// none.
bool parseDisplayNumber(const CString& text, double& out)
{
    int end = 0;
    while (end < text.getLength() && CString("-0123456789.,").findUnit(text.getUnit(end)) >= 0)
        ++end;
    if (end == 0 || !CAudioParamConverter::parseNumber(text.substring(0, end), out))
        return false;
    if (end < text.getLength() && (text.getUnit(end) == 'k' || text.getUnit(end) == 'K'))
        out *= 1000.0;
    return true;
}

// A routing parameter's element in converter units, and its text; absent parts read as unset.
struct CRoutingReader
{
    CParamBridgeAudio* bridges[kRoutingPartCount] = {};
    CAudioInterfaceClient* client = nullptr;
    int group = 0;

    bool readReal(int part, int element, double& out) const
    {
        const CParamBridgeAudio* bridge = bridges[part];
        if (!bridge || !bridge->isValid() || !client)
            return false;
        const CAudioParamInfo* info = client->getParamInfo(bridge);
        const CAudioParamConverter* converter = info ? info->getConverter(element) : nullptr;
        if (!converter)
            return false;
        out = converter->toValue(*info, element, bridge->getNormalisedValue(element, group));
        return true;
    }
    CString readText(int part, int element) const
    {
        CString text;
        if (bridges[part] && bridges[part]->isValid())
            bridges[part]->getValueText(text, element, group);
        return text;
    }
    int readIndex(int part, int element) const
    {
        double value = 0.0;
        return readReal(part, element, value) ? static_cast<int>(std::lround(value)) : -1;
    }
    CString inputName(int input) const
    {
        CString name = readText(kInChannelNames, input);
        return name.isEmpty() ? CString::format("IN%d", input + 1) : name;
    }
};

} // namespace

void CValueListAudio::registerClass(CClassInfo& info)
{
    CValueList::registerClass(info);
    info.addEventProc<CValueListAudio>("group-change", &CValueListAudio::onGroupChange);
    info.addAttrHandler<CValueListAudio>("format", &CValueListAudio::attrComputation);
    info.addAttrHandler<CValueListAudio>("min-value", &CValueListAudio::attrComputation);
    info.addAttrHandler<CValueListAudio>("max-value", &CValueListAudio::attrComputation);
    info.addAttrHandler<CValueListAudio>("value-count", &CValueListAudio::attrComputation);
}

CError* CValueListAudio::init()
{
    KEL_CHECK(CValueList::init());
    const CString modeText = getAttrString(CString("mode"), CString("manual"));
    bool isKnown = false;
    for (const CModeName& row : kModes)
    {
        if (modeText == CString(row.name))
        {
            mode = row.mode;
            isKnown = true;
        }
    }
    if (!isKnown)
        return KEL_ERROR("@kelstr_CValueListAudio_init_InvalidMode Invalid value list mode "
                         "specified: %1",
                         modeText);

    const CString routingText = getAttrString(CString("routing-label-mode"), CString("full"));
    if (routingText == CString("full"))
        routingFull = true;
    else if (routingText == CString("normal"))
        routingFull = false;
    else
        return KEL_ERROR("@kelstr_CValueListAudio_init_InvalidRoutingLabelMode Invalid routing "
                         "label mode specified: %1",
                         routingText);

    const CString formatId = getAttrString(CString("format-id"), CString("none"));
    knobCircle = formatId == CString("knob-circle");
    if (!knobCircle && formatId != CString("none"))
        KEL_LOG("Unknown format-id '%s', taken as none", CUtf8Path(formatId).get());

    if (!getAttrString(CString("bridge"), CString()).isEmpty())
        KEL_CHECK(findObjectByAttr("bridge", bridge));
    const CString selectorPath = getAttrString(CString("group-selector"), CString());
    if (!selectorPath.isEmpty())
    {
        KEL_CHECK(findObjectByAttr("group-selector", groupSelector));
        KEL_CHECK(listenObject(selectorPath, CString("group-change"), CString("group-change")));
    }
    return nullptr;
}

CError* CValueListAudio::initChilds()
{
    KEL_CHECK(CValueList::initChilds());
    if (bridge)
        KEL_CHECK(ensureUIParam(kValueParamName, getAttrString(CString("bridge"))));
    if (mode == Mode::kRoutingLabels)
    {
        for (const auto& row : kRoutingBridges)
        {
            if (findObject(CString(row[0])))
                KEL_CHECK(ensureUIParam(row[1], CString(row[0])));
        }
        // The list was built before its parameters were followed.
        KEL_CHECK(updateValues());
    }
    return nullptr;
}

void CValueListAudio::detachLinks()
{
    bridge = nullptr;
    groupSelector = nullptr;
    CValueList::detachLinks();
}

CError* CValueListAudio::ensureUIParam(const char* childName, const CString& bridgePath)
{
    if (findChild(CString(childName)))
        return nullptr;
    // Paths that start at this list start one level further up at the child.
    CAttrMap params;
    const uint16_t first = bridgePath.getUnit(0);
    params.set(CString("bridge"),
               CAttrValue(first == '.' || first == '^' ? CString("^") + bridgePath : bridgePath));
    const CString selectorPath = getAttrString(CString("group-selector"), CString());
    if (!selectorPath.isEmpty())
    {
        const uint16_t selectorFirst = selectorPath.getUnit(0);
        params.set(CString("group-selector"),
                   CAttrValue(selectorFirst == '.' || selectorFirst == '^'
                                  ? CString("^") + selectorPath
                                  : selectorPath));
    }
    CUIParam* made = nullptr;
    KEL_CHECK(createChild(CString("ui:ui-param"), CString(childName), made, &params));
    return nullptr;
}

CError* CValueListAudio::onUIParamUpdate(CUIParam&)
{
    KEL_CHECK(updateValues());
    return nullptr;
}

CError* CValueListAudio::onGroupChange()
{
    KEL_CHECK(updateValues());
    return nullptr;
}

CError* CValueListAudio::attrComputation()
{
    if (getState() < kStateChildsInitDone)
        return nullptr;
    KEL_CHECK(updateValues());
    return nullptr;
}

int CValueListAudio::getGroup() const
{
    return groupSelector ? groupSelector->getGroup() : 0;
}

const CAudioParamInfo* CValueListAudio::getInfo() const
{
    if (!bridge || !bridge->isValid() || !bridge->getClient())
        return nullptr;
    const CAudioParamInfo* info = bridge->getClient()->getParamInfo(bridge);
    return info && info->isValid() ? info : nullptr;
}

CError* CValueListAudio::updateValues()
{
    CArray<CString> computedTexts;
    CArray<double> computedValues;
    switch (mode)
    {
    case Mode::kManual:
        KEL_CHECK(setItems(computedTexts, computedValues, true));
        return nullptr;
    case Mode::kParamValues:
        computeParamValues(computedTexts, computedValues);
        break;
    case Mode::kEnumValue:
        computeEnumValues(computedTexts, computedValues);
        break;
    case Mode::kMinMax:
        computeMinMax(computedTexts, computedValues);
        break;
    case Mode::kRoutingLabels:
        computeRoutingLabels(computedTexts);
        break;
    case Mode::kChannels:
    case Mode::kIns:
    case Mode::kOuts:
    case Mode::kGroups:
    case Mode::kCurGroup:
        KEL_CHECK(computeInterface(computedTexts, computedValues));
        break;
    }
    KEL_CHECK(setItems(computedTexts, computedValues, isAddManualItems()));
    return nullptr;
}

void CValueListAudio::computeParamValues(CArray<CString>& outTexts, CArray<double>& outValues) const
{
    const CAudioParamInfo* info = getInfo();
    if (!info)
        return;
    const int group = getGroup();
    for (int element = 0; element < info->getElementSize(); ++element)
    {
        CString text;
        bridge->getValueText(text, element, group);
        outTexts.add(text);
        outValues.add(bridge->getNormalisedValue(element, group));
    }
}

void CValueListAudio::computeEnumValues(CArray<CString>& outTexts, CArray<double>& outValues) const
{
    const CAudioParamInfo* info = getInfo();
    const CAudioParamConverter* converter = info ? info->getConverter(0) : nullptr;
    if (!converter)
        return;
    const bool hideReserve = getAttrBool(CString("is-hide-reserve"), true);
    const double low = std::fmin(info->getMin(0), info->getMax(0));
    const double high = std::fmax(info->getMin(0), info->getMax(0));
    const CString reserve(kReserveName);
    for (double stateIndex = low; stateIndex <= high + 1e-9; stateIndex += 1.0)
    {
        CString text;
        converter->format(text, *info, 0, stateIndex, getGroup(),
                          CAudioParamConverter::kFormatNormal);
        if (hideReserve && text == reserve)
            continue;
        outTexts.add(text);
        outValues.add(converter->toNormalised(*info, 0, stateIndex));
    }
}

void CValueListAudio::computeMinMax(CArray<CString>& outTexts, CArray<double>& outValues) const
{
    const CAudioParamInfo* info = getInfo();
    const CAudioParamConverter* converter = info ? info->getConverter(0) : nullptr;
    const int count = getAttrInt(CString("value-count"), 0);
    if (!converter || count <= 0)
        return;
    double low = 0.0;
    double high = 1.0;
    const CString minText = getAttrString(CString("min-value"), CString());
    const CString maxText = getAttrString(CString("max-value"), CString());
    bool ok = false;
    if (!minText.isEmpty())
    {
        const double limit = converter->parse(*info, 0, minText, &ok);
        if (ok)
            low = converter->toNormalised(*info, 0, limit);
    }
    if (!maxText.isEmpty())
    {
        const double limit = converter->parse(*info, 0, maxText, &ok);
        if (ok)
            high = converter->toNormalised(*info, 0, limit);
    }
    for (int i = 0; i < count; ++i)
    {
        const double position = count > 1 ? low + (high - low) * i / (count - 1) : low;
        outTexts.add(formatScaleValue(*converter, *info, converter->toValue(*info, 0, position)));
        outValues.add(position);
    }
}

CString CValueListAudio::formatScaleValue(const CAudioParamConverter& converter,
                                          const CAudioParamInfo& info, double value) const
{
    const CString pattern = getAttrString(CString("format"), CString());
    CString text;
    if (!isDoubleFormat(pattern))
    {
        converter.format(text, info, 0, value, getGroup(), CAudioParamConverter::kFormatShort);
        return text;
    }
    converter.format(text, info, 0, value, getGroup(), CAudioParamConverter::kFormatNormal);
    double shown = value;
    if (!parseDisplayNumber(text, shown))
        shown = value;
    const CUtf8Path narrow(pattern);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    // The pattern was checked to hold one conversion of a double.
    return CString::format(narrow.get(), shown);
#pragma GCC diagnostic pop
}

void CValueListAudio::computeRoutingLabels(CArray<CString>& outTexts) const
{
    CRoutingReader reader;
    reader.group = getGroup();
    for (int part = 0; part < kRoutingPartCount; ++part)
        reader.bridges[part] =
            dynamic_cast<CParamBridgeAudio*>(findObject(CString(kRoutingBridges[part][0])));
    CAudioInterfaceClient* client = findClient();
    reader.client = client;
    if (!client)
        return;
    int inputs = 0;
    int outputs = 0;
    int sideChain = 0;
    client->getIOChannelCounts(inputs, outputs, sideChain);
    const bool disableCurrent = getAttrBool(CString("routing-label-disable-current"), false);
    const bool isGrouped = client->getGroupCount() > 1;
    for (int out = 0; out < outputs; ++out)
    {
        const int channelGroup = reader.readIndex(kGrouping, out);
        if (disableCurrent && isGrouped && channelGroup == getGroup())
            continue;
        CString label;
        if (routingFull)
            label = CString::format("OUT%d: ", out + 1);
        const int input = reader.readIndex(kInRouting, out);
        label.append(reader.inputName(input >= 0 ? input : out));
        if (reader.readIndex(kMsPairs, out) > 0 && out + 1 < outputs)
        {
            const int pairInput = reader.readIndex(kInRouting, out + 1);
            label.append(" & ");
            label.append(reader.inputName(pairInput >= 0 ? pairInput : out + 1));
        }
        const int sideChainInput = reader.readIndex(kSidechain, out);
        if (sideChainInput >= 0 && sideChainInput < sideChain &&
            reader.readIndex(kSidechainMute, out) <= 0)
        {
            label.append(":sc(");
            label.append(CString::format("SC%d", sideChainInput + 1));
            label.append(")");
        }
        if (isGrouped && channelGroup >= 0)
        {
            CString groupName = reader.readText(kGroupNames, channelGroup);
            if (groupName.isEmpty())
                groupName = getGroupName(*client, channelGroup);
            label.append("[SUP]");
            label.append(groupName);
            label.append("[/SUP]");
        }
        outTexts.add(label);
    }
}

CAudioInterfaceClient* CValueListAudio::findClient() const
{
    if (bridge && bridge->getClient())
        return bridge->getClient();
    const CString path = getAttrString(CString("interface-client"), CString(kDefaultClientPath));
    return dynamic_cast<CAudioInterfaceClient*>(findObject(path));
}

CString CValueListAudio::getGroupName(const CAudioInterfaceClient& client, int group) const
{
    CArray<CAudioInterfaceParamListener*> listeners;
    client.getParamListeners(listeners);
    for (CAudioInterfaceParamListener* listener : listeners)
    {
        const auto* names =
            dynamic_cast<CAudioInterfaceClient::CGroupNamesParamListener*>(listener);
        if (names && !names->getName(group).isEmpty())
            return names->getName(group);
    }
    return CString::fromInt(group + 1);
}

CError* CValueListAudio::computeInterface(CArray<CString>& outTexts, CArray<double>& outValues)
{
    CAudioInterfaceClient* client = findClient();
    if (!client)
        return KEL_ERROR("@kelstr_CValueListAudio_updateValues_NoInterfaceClient Unable to locate "
                         "interface client.");
    int inputs = 0;
    int outputs = 0;
    int sideChain = 0;
    client->getIOChannelCounts(inputs, outputs, sideChain);
    const int activeChannels = getAttrInt(CString("active-channels"), 0);
    const int activeGroups = getAttrInt(CString("active-groups"), 0);
    const char* prefix = "";
    int count = 0;
    switch (mode)
    {
    case Mode::kChannels:
        count = client->getInternalChannelCount();
        break;
    case Mode::kIns:
        prefix = "IN";
        count = inputs;
        break;
    case Mode::kOuts:
        prefix = "OUT";
        count = outputs;
        break;
    case Mode::kGroups:
        count = client->getGroupCount();
        if (activeGroups > 0 && activeGroups < count)
            count = activeGroups;
        for (int group = 0; group < count; ++group)
        {
            outTexts.add(getGroupName(*client, group));
            outValues.add(static_cast<double>(group));
        }
        return nullptr;
    case Mode::kCurGroup:
        outTexts.add(getGroupName(*client, getGroup()));
        outValues.add(static_cast<double>(getGroup()));
        return nullptr;
    default:
        return nullptr;
    }
    if (activeChannels > 0 && activeChannels < count)
        count = activeChannels;
    for (int channel = 0; channel < count; ++channel)
    {
        outTexts.add(CString::format("%s%d", prefix, channel + 1));
        outValues.add(static_cast<double>(channel));
    }
    return nullptr;
}

} // namespace kel
