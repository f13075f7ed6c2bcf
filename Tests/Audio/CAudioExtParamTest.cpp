#include "Audio/CAudioCreators.h"
#include "Audio/CAudioExtParam.h"
#include "Audio/CAudioExtParamHostBridge.h"
#include "Audio/CAudioParamGesture.h"
#include "Audio/CAudioExtParamList.h"
#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamCollector.h"
#include "Audio/CAudioParamContext.h"
#include "Audio/CAudioWrapper.h"
#include "Core/CApplication.h"
#include "Core/CGlobalData.h"
#include "ProductResources.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <future>
#include <memory>
#include <string>
#include <vector>

using kel::test::CUtf8;

namespace kel
{
namespace
{

double dbToLin(double db)
{
    return std::pow(10.0, db / 20.0);
}

// Records what reaches the host, and whether the changed parameter's lock was free by then.
class CRecordingBridge : public CAudioExtParamHostBridge
{
public:
    struct Call
    {
        int index;
        double valueNorm;
    };

    void onExtParamGesture(int index, bool isBegin) override
    {
        events.push_back((isBegin ? "begin " : "end ") + std::to_string(index));
    }
    void onExtParamChange(int index, double valueNorm) override
    {
        events.push_back("automate " + std::to_string(index));
        calls.push_back(Call{index, valueNorm});
        if (watched)
        {
            // Another thread must get the lock at once; if the setter still held it, it waits.
            auto reader =
                std::async(std::launch::async, [this] { return watched->getValue(0, 0); });
            lockWasFree.push_back(reader.wait_for(std::chrono::seconds(2)) ==
                                  std::future_status::ready);
        }
    }

    std::vector<Call> calls;
    // Gestures and changes in the order the host hears them.
    std::vector<std::string> events;
    const CAudioParam* watched = nullptr;
    std::vector<bool> lockWasFree;
};

// One instance on the product's shared tree, with its host parameters attached to a recorder.
class CAudioExtParamTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // No user folder: the controller map reads as empty and nothing is written.
        CGlobalData::get().useFolders(CString(), CString());
        CApplication::addCreatorRegistration(&CAudioCreators::registerAll);
        CApplication::init(resources::kResourceTable, "SharedData.xml");
        ASSERT_NE(CApplication::getSharedObject(), nullptr);
        wrapper = std::make_unique<CAudioWrapper>();
        wrapper->setChannelCount(2);
        CError* error = wrapper->init();
        ASSERT_EQ(error, nullptr) << error->getMessage();
        list = dynamic_cast<CAudioExtParamList*>(
            wrapper->getPluginObject()->findObject(CString(".ext-param-list")));
        ASSERT_NE(list, nullptr);
        list->attachHost(&host);
    }
    void TearDown() override
    {
        wrapper.reset();
        CApplication::shutdown();
        CGlobalData::get().reset();
    }

    CAudioParam* param(const char* shortName) const
    {
        return wrapper->getParamCollector()->findParam(CString("plugin.modMain.modZumbelModule.") +
                                                       CString(shortName));
    }
    // A change as the UI makes it: no origin of a host parameter.
    void uiSet(CAudioParam* target, double value, int group = 0)
    {
        CAudioParamContext context;
        target->setValue(group, 0, value, context);
    }

    static constexpr int kGain = 4;

    std::unique_ptr<CAudioWrapper> wrapper;
    CAudioExtParamList* list = nullptr;
    CRecordingBridge host;
};

TEST_F(CAudioExtParamTest, ProductListsSixHostParametersInOrder)
{
    const char* names[] = {"Bypass", "Period", "Duratn", "Freq", "Gain", "Variatn"};
    const char* params[] = {
        "plugin.modMain.modBypass.enable",         "plugin.modMain.modZumbelModule.period",
        "plugin.modMain.modZumbelModule.duration", "plugin.modMain.modZumbelModule.freq",
        "plugin.modMain.modZumbelModule.gain",     "plugin.modMain.modZumbelModule.variation"};
    ASSERT_EQ(list->getCount(), 6);
    for (int index = 0; index < 6; ++index)
    {
        CAudioExtParam* ext = list->getParam(index);
        ASSERT_NE(ext, nullptr);
        EXPECT_EQ(CUtf8::of(ext->getExtName()), names[index]);
        EXPECT_EQ(ext->getHostIndex(), index);
        ASSERT_NE(ext->getParam(), nullptr);
        EXPECT_EQ(CUtf8::of(ext->getParam()->getFullName()), params[index]);
    }
    EXPECT_EQ(list->getParam(6), nullptr);
    EXPECT_EQ(list->getParam(-1), nullptr);
}

TEST_F(CAudioExtParamTest, ValuesMapThroughTheConverter)
{
    // Gain by default -12 dB on -36..0 dB, logarithmic in the linear factor: two thirds.
    CAudioExtParam* gain = list->getParam(kGain);
    EXPECT_NEAR(gain->getValue(), 2.0 / 3.0, 1e-9);
    EXPECT_EQ(CUtf8::of(gain->getLabel()), "dB");
    EXPECT_EQ(CUtf8::of(gain->getDisplay()), "-12.0");
    EXPECT_EQ(CUtf8::of(gain->formatValue(1.0)), "0.0");

    CAudioExtParam* bypass = list->getParam(0);
    EXPECT_DOUBLE_EQ(bypass->getValue(), 0.0);
    uiSet(wrapper->getParamCollector()->findParam(CString("plugin.modMain.modBypass.enable")), 1.0);
    EXPECT_DOUBLE_EQ(bypass->getValue(), 1.0);

    // From the host: 0.5 of -36..0 dB is -18 dB at the parameter.
    gain->setValue(0.5);
    EXPECT_NEAR(param("gain")->getValue(0, 0), dbToLin(-18.0), 1e-12);
    EXPECT_NEAR(gain->getValue(), 0.5, 1e-12);
}

TEST_F(CAudioExtParamTest, HostValueIsNotSentBackToTheHost)
{
    host.calls.clear();
    list->getParam(kGain)->setValue(0.25);
    list->getParam(0)->setValue(1.0);
    EXPECT_TRUE(host.calls.empty());
}

TEST_F(CAudioExtParamTest, UserChangeReachesHostOnceAfterTheLock)
{
    CAudioParam* gain = param("gain");
    host.watched = gain;
    uiSet(gain, dbToLin(-18.0));
    ASSERT_EQ(host.calls.size(), 1u);
    EXPECT_EQ(host.calls[0].index, kGain);
    EXPECT_NEAR(host.calls[0].valueNorm, 0.5, 1e-12);
    ASSERT_EQ(host.lockWasFree.size(), 1u);
    EXPECT_TRUE(host.lockWasFree[0]);

    // The same value again, and changes of another group, are not the host's business.
    uiSet(gain, dbToLin(-18.0));
    uiSet(gain, dbToLin(-3.0), 1);
    EXPECT_EQ(host.calls.size(), 1u);
}

TEST_F(CAudioExtParamTest, BurstUnderOneLockGivesOneCallWithTheLaterValue)
{
    CAudioParam* gain = param("gain");
    {
        CAudioParamContext context;
        CAudioParam::CGuard guard(*gain, &context);
        gain->setValue(0, 0, dbToLin(-30.0), context, &guard);
        gain->setValue(0, 0, dbToLin(-6.0), context, &guard);
        EXPECT_TRUE(host.calls.empty()) << "host called under the parameter's lock";
    }
    ASSERT_EQ(host.calls.size(), 1u);
    EXPECT_EQ(host.calls[0].index, kGain);
    EXPECT_NEAR(host.calls[0].valueNorm, 30.0 / 36.0, 1e-12);
}

TEST_F(CAudioExtParamTest, GestureOpensBeforeItsFirstRealChangeAndEndsOnce)
{
    CAudioParam* gain = param("gain");
    CAudioParamGesture gesture;
    const auto gestureSet = [&](double value, int group = 0)
    {
        CAudioParamContext context;
        context.gesture = &gesture;
        gain->setValue(group, 0, value, context);
    };
    // The current value again moves nothing: the host hears nothing, not even an opening.
    gestureSet(dbToLin(-12.0));
    EXPECT_TRUE(host.events.empty());
    gesture.end();
    EXPECT_TRUE(host.events.empty());

    gestureSet(dbToLin(-18.0));
    gestureSet(dbToLin(-3.0), 1); // another group: not this host parameter
    gestureSet(dbToLin(-6.0));
    {
        // A burst under one lock: one opening, one value.
        CAudioParamContext context;
        context.gesture = &gesture;
        CAudioParam::CGuard guard(*gain, &context);
        gain->setValue(0, 0, dbToLin(-30.0), context, &guard);
        gain->setValue(0, 0, dbToLin(-24.0), context, &guard);
    }
    gesture.end();
    const std::vector<std::string> expected = {"begin 4", "automate 4", "automate 4", "automate 4",
                                               "end 4"};
    EXPECT_EQ(host.events, expected);
    EXPECT_EQ(gesture.getCount(), 0);

    // A host's own change inside nobody's gesture opens nothing.
    host.events.clear();
    list->getParam(kGain)->setValue(0.1);
    uiSet(gain, dbToLin(-9.0));
    EXPECT_EQ(host.events, std::vector<std::string>{"automate 4"});
}

TEST_F(CAudioExtParamTest, NameOfSevenCharactersPassesAndEightFails)
{
    CObject* plugin = wrapper->getPluginObject();
    auto make = [plugin](const char* extName, CAudioExtParam*& out)
    {
        CAttrMap params;
        params.set(CString("param-collector"), CAttrValue(CString("^param-collector")));
        params.set(CString("ext-name"), CAttrValue(CString(extName)));
        params.set(CString("param-name"),
                   CAttrValue(CString("plugin.modMain.modZumbelModule.variation")));
        return plugin->createChild(CString("audio:ext-param"), CString("probe"), out, &params);
    };
    CAudioExtParam* made = nullptr;
    ASSERT_EQ(make("Variatn", made), nullptr);
    EXPECT_NEAR(made->getValue(), 0.5, 1e-12); // 25 % of 0..50 %
    CObject::destroyObject(made);

    CError* error = make("Variation", made);
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->getMessage(), "Externalized parameter name 'Variation' is too long");
    EXPECT_EQ(made, nullptr);
    delete error;
    error = make("", made);
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->getKey(), "kelstr_CAudioExtParam_attrExtName_LongName");
    delete error;
}

} // namespace
} // namespace kel
