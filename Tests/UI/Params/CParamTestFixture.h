#pragma once

// An instance tree with its interface base (as the audio interface tests build it) and a window
// tree joined to it: client, settings, group selector, bridges, and a small control that takes a
// ui-param and a ui-param-controller and counts what it hears.
#include "Audio/CAudioInterfaceTestTree.h"
#include "Audio/Converters/CAudioParamConverter.h"
#include "Core/CApplication.h"
#include "Core/CGlobalSettings.h"
#include "UI/CUiCreators.h"
#include "UI/Params/CParamBridgeAudio.h"
#include "UI/Params/CParamGroupSelector.h"
#include "UI/Params/CUIParam.h"
#include "UI/Params/CUIParamController.h"
#include "UI/Params/CUIParamUpdateHandler.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Views/CView.h"
#include "Support/CErrorText.h"
#include "Support/CUtf8.h"

#include <functional>
#include <string>
#include <vector>

namespace kel
{
namespace paramtest
{

// A control with a value: it reads the value back each time it is told.
class CTestParamControl : public CView, public CUIParamUpdateHandler
{
public:
    static void registerClass(CClassInfo& info) { CView::registerClass(info); }

    CError* onUIParamUpdate(CUIParam& uiParam) override
    {
        ++updates;
        shown = uiParam.getNormalisedValue();
        return nullptr;
    }

    int updates = 0;
    double shown = -1.0;
};

// An object that takes the procedures of a switch union and notes them.
class CTestSwitchUnion : public CObject
{
public:
    static void registerClass(CClassInfo& info)
    {
        CObject::registerClass(info);
        info.addEventProc<CTestSwitchUnion>("view-state-switch-register",
                                            &CTestSwitchUnion::onRegister);
        info.addEventProc<CTestSwitchUnion>("view-state-switch-update",
                                            &CTestSwitchUnion::onUpdate);
        info.addEventProc<CTestSwitchUnion>("view-state-switch-unregister",
                                            &CTestSwitchUnion::onUnregister);
    }

    static std::vector<std::string>& log()
    {
        static std::vector<std::string> lines;
        return lines;
    }

private:
    CError* note(const char* what, const CAttrMap& params)
    {
        const CAttrValue* id = params.find(CString("id"));
        const CAttrValue* active = params.find(CString("is-active"));
        log().push_back(std::string(what) + " " + std::to_string(id ? id->getInt() : -1) +
                        (active && active->getBool() ? " on" : " off"));
        return nullptr;
    }
    CError* onRegister(const CAttrMap& params) { return note("register", params); }
    CError* onUpdate(const CAttrMap& params) { return note("update", params); }
    CError* onUnregister(const CAttrMap& params) { return note("unregister", params); }
};

inline CError* registerTestRows()
{
    static const CCreatorRow rows[] = {
        CCreatorRow::of<CTestParamControl>("test:param-control"),
        CCreatorRow::of<CTestSwitchUnion>("test:switch-union"),
    };
    return CObject::registerCreators(rows, 2);
}

class CParamTest : public ifacetest::CInterfaceTest
{
protected:
    void SetUp() override
    {
        CApplication::addCreatorRegistration(&CUiCreators::registerAll);
        CApplication::addCreatorRegistration(&registerTestRows);
        CApplication::init(resources::kResourceTable, "");
        CUiScale::set(1.0);
        ifacetest::CInterfaceTest::SetUp();
        bind("host-offline");
        bind("modZumbelModule.signal");
    }

    void TearDown() override
    {
        if (ui)
            CObject::destroyObject(ui);
        ui = nullptr;
        // The settings record is process-wide: leave the defaults behind.
        CGlobalSettings::CValues& values = CGlobalSettings::values();
        values.dragStep = CGlobalSettings::dragStepOf(0.8);
        values.wheelStep = CGlobalSettings::wheelStepOf(0.5);
        values.shiftFactor = CGlobalSettings::shiftFactorOf(0.5);
        values.tabletMode = false;
        ifacetest::CInterfaceTest::TearDown();
    }

    // The window tree; extra adds nodes under "ui" (after the bridges) and under the knob.
    // Returns the first error of loading, connecting and subscribing.
    std::string makeWindow(const std::function<void(CTreeBlobWriter::Node& ui,
                                                    CTreeBlobWriter::Node& knob)>& extra = nullptr,
                           bool connect = true)
    {
        CTreeBlobWriter::Node top("kel", "");
        // Events between the objects of the window need the bridge of its thread.
        auto& uiNode = top.add("ui:ui-event-bridge", "ui");
        uiNode.add("audio:interface-client-connector-vst", "connector");
        uiNode.add("audio:interface-client", "client").attr("client-connector", "^connector");
        uiNode.add("core:global-settings", "global-settings")
            .attr("drag-precision", "0.8")
            .attr("mouse-wheel-precision", "0.5")
            .attr("shift-key-precision", "0.5")
            .attr("tablet-mode", "false");
        uiNode.add("ui:param-group-selector", "groupsel").attr("group-index", "0");
        const char* const bridges[][2] = {
            {"gain-bridge", "plugin.modMain.modZumbelModule.gain"},
            {"signal-bridge", "plugin.modMain.modZumbelModule.signal"},
            {"offline-bridge", "plugin.modMain.host-offline"},
            {"missing-bridge", "plugin.modMain.no-such-param"},
        };
        for (const auto& row : bridges)
            uiNode.add("ui:param-bridge", row[0])
                .attr("interface-client", "^client")
                .attr("param", row[1]);
        auto& knobNode = uiNode.add("test:param-control", "knob");
        knobNode.attr("is-root-view", "true").attr("width", "70").attr("height", "74");
        knobNode.add("ui:ui-param", "ui-param")
            .attr("bridge", "ui.gain-bridge")
            .attr("group-selector", "ui.groupsel");
        knobNode.add("ui:ui-param-controller", "ui-param-controller");
        if (extra)
            extra(uiNode, knobNode);
        windowBlob = CTreeBlobWriter::write(top);
        ui = new CObject();
        std::string error = test::CErrorText::takeMessage(
            ui->loadFromMemory(windowBlob.data(), windowBlob.size(), true));
        if (!error.empty())
            return error;
        connector = find<CAudioInterfaceClientConnectorVST>("ui.connector");
        client = find<CAudioInterfaceClient>("ui.client");
        gain = find<CParamBridgeAudio>("ui.gain-bridge");
        knob = find<CTestParamControl>("ui.knob");
        uiParam = find<CUIParam>("ui.knob.ui-param");
        controller = find<CUIParamController>("ui.knob.ui-param-controller");
        if (!connect)
            return "";
        connector->connect(*baseConnector);
        error = test::CErrorText::takeMessage(client->subscribeAll());
        if (error.empty())
            error = test::CErrorText::takeMessage(client->requestUndoHistory());
        if (error.empty())
            error = pump();
        return error;
    }

    template <class T> T* find(const char* path) const
    {
        T* found = dynamic_cast<T*>(ui->findObject(CString(path)));
        EXPECT_NE(found, nullptr) << path;
        return found;
    }

    std::string pump() { return test::CErrorText::takeMessage(connector->processBaseData()); }

    // The labels of the undo history as the client knows it (after a pump).
    std::vector<std::string> history()
    {
        EXPECT_EQ(pump(), "");
        CArray<CString> labels;
        int position = 0;
        client->getUndoHistory(labels, position);
        std::vector<std::string> out;
        for (const CString& label : labels)
            out.push_back(test::CUtf8::of(label));
        return out;
    }

    // What the bridge shows for a value of the gain in converter units.
    double gainNormalised(double linear) const
    {
        const CAudioParamInfo* info = client->getParamInfo(gain);
        return info->getConverter(0)->toNormalised(*info, 0, linear);
    }

    static double dragStep() { return CGlobalSettings::dragStepOf(0.8); }

    std::vector<uint8_t> windowBlob;
    CObject* ui = nullptr;
    CAudioInterfaceClientConnectorVST* connector = nullptr;
    CAudioInterfaceClient* client = nullptr;
    CParamBridgeAudio* gain = nullptr;
    CTestParamControl* knob = nullptr;
    CUIParam* uiParam = nullptr;
    CUIParamController* controller = nullptr;
};

} // namespace paramtest
} // namespace kel
