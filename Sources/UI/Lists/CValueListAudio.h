#pragma once

#include "UI/Lists/CValueList.h"
#include "UI/Params/CUIParamUpdateHandler.h"

namespace kel
{

class CAudioInterfaceClient;
class CAudioParamConverter;
class CAudioParamInfo;
class CParamBridgeAudio;
class CParamGroupSelector;
class CUIParam;

// A value list computed from a parameter or from the audio interface (tag ui:value-list).
//
// Attributes: `mode` (below; "manual" by default), `bridge` (path of a CParamBridgeAudio),
// `group-selector` (path of a CParamGroupSelector whose group is read), `format` (printf pattern
// of computed numbers, "%1.0f"), `format-id` ("none" or "knob-circle": how a consumer places the
// items), `min-value` and `max-value` (range limits in the parameter's text form), `value-count`
// (0), `is-hide-reserve` (true), `routing-label-mode` ("full" or "normal"),
// `routing-label-disable-current` (false), `active-channels` and `active-groups` (counts that
// limit the interface lists; absent or 0: no limit), `interface-client` (path of the client for
// the interface lists when there is no bridge; "ui.interface-client" by default).
//
// Modes:
//   - manual: the items of the tree.
//   - audio-param-values: the present value of each element of the parameter, as its converter
//     writes it; the item's value is the element's normalised value.
//   - audio-enum-value: the states of an enumeration from its minimum to its maximum, by the
//     converter's names; "Reserve" (an unnamed state) is left out with `is-hide-reserve`. Values
//     are the states' normalised positions.
//   - audio-min-max: `value-count` knob scale values. Item i sits at the normalised position
//     lo + (hi - lo) * i / (count - 1), where lo and hi are 0 and 1 or the normalised positions of
//     `min-value` and `max-value`; so the labels fall evenly along the knob's travel whatever the
//     mapping. Its text is `format` applied to the value in display units (the number the
//     converter writes: decibels for a gain, hertz for a frequency, its "k" read as a thousand);
//     without a valid `format` (one conversion of e, f or g), the converter's short text.
//   - audio-routing-labels: one label per output channel from the routing bridges
//     ("ui.in-routing-bridge" and its companions): the name of the input routed there (from
//     in-channel-names, else "IN<n>"), " & " and the next one's for a mid/side pair, ":sc(<name>)"
//     for a side-chain that is not muted, and "[SUP]<group>[/SUP]" for a grouped channel. In mode
//     "full" the label starts with "OUT<n>: ". With `routing-label-disable-current` the channels
//     of the current group are left out.
//   - audio-channels, audio-ins, audio-outs: "1".., "IN1".., "OUT1".. up to the client's internal,
//     input and output channel counts, limited by `active-channels`.
//   - audio-groups: the client's group names (by number where a group has none), limited by
//     `active-groups`; audio-curgroup: the current group's name alone.
// With `is-add-manual-items`, the tree's items follow the computed ones.
//
// The list follows its parameter through the child "ui-param-value" (a ui:ui-param on the bridge,
// created when the tree has none), and the routing parameters through the children named
// "ui-param-in-routing" and so on; it computes again on every update they report and on the
// selector's `group-change`, raising `values-changed` only when the items really change. Setting
// `value-count`, `format`, `min-value` or `max-value` computes again too.
//
// Owned by its parent in the tree; bridge, selector and client are not owned and are forgotten
// in detachLinks. [ui thread]
class CValueListAudio : public CValueList, public CUIParamUpdateHandler
{
public:
    enum class Mode
    {
        kManual,
        kParamValues,
        kEnumValue,
        kMinMax,
        kRoutingLabels,
        kChannels,
        kIns,
        kOuts,
        kGroups,
        kCurGroup,
    };

    static void registerClass(CClassInfo& info);
    // Fails on an unknown `mode` or `routing-label-mode`.
    [[nodiscard]] CError* init() override;
    // Creates the ui-param children the mode needs, then builds the list.
    [[nodiscard]] CError* initChilds() override;
    void detachLinks() override;

    // CUIParamUpdateHandler: a parameter the list reads may have changed.
    [[nodiscard]] CError* onUIParamUpdate(CUIParam& uiParam) override;

    // Computes the items of the mode. An interface list without a client fails ("Unable to
    // locate interface client.").
    [[nodiscard]] CError* updateValues() override;

    Mode getMode() const { return mode; }
    bool isKnobCircle() const { return knobCircle; }
    CParamBridgeAudio* getBridge() const { return bridge; }
    // The group read: the selector's, else 0.
    int getGroup() const;

private:
    // Procedure of the selector's "group-change".
    [[nodiscard]] CError* onGroupChange();
    // Handler of the attributes of the computation.
    [[nodiscard]] CError* attrComputation();
    // Creates the child ui-param named childName on the bridge at bridgePath (relative to this
    // list), following the selector; nothing if the child exists.
    [[nodiscard]] CError* ensureUIParam(const char* childName, const CString& bridgePath);

    void computeParamValues(CArray<CString>& outTexts, CArray<double>& outValues) const;
    void computeEnumValues(CArray<CString>& outTexts, CArray<double>& outValues) const;
    void computeMinMax(CArray<CString>& outTexts, CArray<double>& outValues) const;
    void computeRoutingLabels(CArray<CString>& outTexts) const;
    [[nodiscard]] CError* computeInterface(CArray<CString>& outTexts, CArray<double>& outValues);
    // The text of one scale value: `format` over the display number, or the short text.
    CString formatScaleValue(const CAudioParamConverter& converter, const CAudioParamInfo& info,
                             double value) const;
    // The definition of the bridge's parameter, when the bridge is valid.
    const CAudioParamInfo* getInfo() const;
    // The client: the bridge's, else `interface-client`, else "ui.interface-client".
    CAudioInterfaceClient* findClient() const;
    CString getGroupName(const CAudioInterfaceClient& client, int group) const;

    CParamBridgeAudio* bridge = nullptr;          // not owned; cleared in detachLinks
    CParamGroupSelector* groupSelector = nullptr; // not owned; cleared in detachLinks
    Mode mode = Mode::kManual;
    bool knobCircle = false;
    bool routingFull = true;
};

} // namespace kel
