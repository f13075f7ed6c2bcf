#pragma once

#include "Audio/CAudioInterfaceParamListener.h"
#include "Audio/CAudioParamStorage.h"
#include "UI/Params/CParamBridge.h"

#include <cstdint>

namespace kel
{

class CAudioInterfaceClient;
class CAudioParamConverter;

// The UI side's hold on one parameter of the audio side (tag ui:param-bridge), one per
// parameter in the window tree. Attributes `interface-client` (path of the client) and `param`
// (the parameter's full name, "plugin.modMain.modZumbelModule.period").
//
// It subscribes at the client and keeps the definition and the values the client delivers, so
// that reading, text and the normalised mapping need no round trip. A change it makes goes to the
// client in converter units, limited to the parameter's range (and to whole steps for a discrete
// one); as the audio side does not echo a client's own changes, the bridge stores that value as
// the parameter now holds it and tells its CUIParams at once. Every change notification reaches
// only the CUIParams whose element and group it concerns.
//
// Undo steps are records of the client: "<visual name> change" or "<visual name> reset"; where
// the parameter has several groups in this instance (several elements otherwise), the number of
// the group (element), counted from 1, follows in brackets: "Gain change (2)". A step in which
// no value changed is dropped.
//
// Without a connected client or a known definition (a name the audio side lacks, or after the
// audio side cleared), the bridge is not valid. The window tree owns it; the client is not owned
// and must outlive it (it stands before the bridges in the tree). [ui thread]
class CParamBridgeAudio : public CParamBridge, public CAudioInterfaceParamListener
{
public:
    CParamBridgeAudio();
    ~CParamBridgeAudio() override;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    bool isValid() const override;
    void valueToText(CString& out, double normalised, int element, int group) const override;
    void getValueText(CString& out, int element, int group) const override;
    double textToValue(const CString& text, int element, int group, bool* ok) const override;
    double getNormalisedValue(int element, int group) const override;
    [[nodiscard]] CError* setNormalisedValue(double value, int element, int group) override;
    double getDefaultValue(int element, int group) const override;
    [[nodiscard]] CError* resetToDefault(int element, int group) override;
    [[nodiscard]] CError* beginChange(int element, int group, int32_t mergeId = -1) override;
    [[nodiscard]] CError* endChange() override;
    bool isChangeOpen() const override { return openRecord > 0; }

    // CAudioInterfaceParamListener
    void onParamInfo(const CAudioParamInfo& info) override;
    void onParamChange(const CAudioParamChange& change) override;

    CAudioInterfaceClient* getClient() const { return client; }
    const CString& getParamName() const { return paramName; }
    // The undo label of a change or reset ("Gain change", "Gain reset (2)").
    CString makeLabel(const char* action, int element, int group) const;

private:
    // The definition while the bridge is valid, else null.
    const CAudioParamInfo* getInfo() const;
    // The converter of a valid bridge's element, else null.
    const CAudioParamConverter* getConverter(int element) const;
    // The value in converter units: the stored one, the default of the group, or that of group 0.
    double readValue(const CAudioParamInfo& info, int element, int group) const;
    // What the parameter takes for a normalised value: mapped, limited, stepped.
    double toParamValue(const CAudioParamInfo& info, int element, double normalised) const;
    // Sends item 0 of group with one element replaced, stores it and tells the CUIParams.
    [[nodiscard]] CError* writeItem(const CAudioParamInfo& info, int element, int group,
                                    double value, int32_t recordId);
    void reportError(CError* error) const;

    CAudioInterfaceClient* client = nullptr; // not owned; cleared in detachLinks
    CString paramName;
    bool isSubscribed = false;
    // The values as the audio side last told and this bridge last set.
    CAudioParamStorage values;
    // The open undo record (the client's record id), -1 for none.
    int32_t openRecord = -1;
    CString openLabel;
    bool openHasChanged = false;
};

} // namespace kel
