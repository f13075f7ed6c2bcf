#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamContext.h"
#include "Audio/CAudioParamDef.h"
#include "Audio/CAudioProcessBase.h"
#include "Audio/CAudioProcessDefBase.h"
#include "Audio/CAudioProcessTestTree.h"
#include "Audio/Converters/CAudioParamConverter.h"
#include "Audio/Converters/CAudioParamConverterEnum.h"
#include "Audio/Converters/CAudioParamConverterTime.h"
#include "Audio/Modules/CModDecimatorDef.h"
#include "Audio/Modules/CModInterpolatorDef.h"
#include "Support/CErrorText.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

using kel::CAudioParam;
using kel::CAudioParamContext;
using kel::CAudioParamConverter;
using kel::CAudioParamConverterEnum;
using kel::CAudioParamDef;
using kel::CAudioParamInfo;
using kel::CAudioProcessBase;
using kel::CAudioProcessDefBase;
using kel::CObject;
using kel::CString;
using kel::test::CErrorText;
using kel::test::CUtf8;

namespace
{

// The product's shared tree, read from the embedded resource as the application reads it.
class CAudioParamSharedTreeTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(shared.loadProduct(), "");
        tree = shared.get();
    }

    const CAudioParamConverter* converter(const char* name) const
    {
        return dynamic_cast<const CAudioParamConverter*>(
            tree->findObject(CString("audio.paramcvt.") + CString(name)));
    }

    // A user's text through the named converter over the range min..max, then back to text.
    std::string echo(const char* name, const char* input, double minValue, double maxValue,
                     int mode = 0)
    {
        CAudioParamInfo info;
        const CAudioParamConverter* c = converter(name);
        EXPECT_NE(c, nullptr) << name;
        if (!c)
            return "";
        info.setElement(0, const_cast<CAudioParamConverter*>(c), minValue, maxValue);
        CString out;
        c->format(out, info, 0, c->parseClamped(info, 0, CString(input), nullptr), 0, mode);
        return CUtf8::of(out);
    }

    kel::processtest::CSharedTree shared;
    CObject* tree = nullptr;
};

} // namespace

TEST_F(CAudioParamSharedTreeTest, EveryConverterInstanceCarriesItsSettings)
{
    struct Case
    {
        const char* name;
        const char* label;
        const char* input;
        const char* shown;
    };
    const Case cases[] = {
        {"gain", "dB", "-12", "-12.0"},         {"freq", "Hz", "2.5k", "2.50k"},
        {"percent", "%", "25", "25.0"},         {"real", "", "1.234", "1.23"},
        {"phase", "", "1.26", "1.3"},           {"real-threshold", "", "0.44", "0.4"},
        {"ratio", "", "1:4", "1:4.0"},          {"ratio2", "", "1:4", "1:4.00"},
        {"bw", "Oct", "0.5", "0.50"},           {"time", "ms", "250", "250"},
        {"timelog", "ms", "5", "5.00"},         {"time-sec", "ms", "30", "30.0"},
        {"time-exact", "ms", "250", "250.000"},
    };
    for (const Case& c : cases)
    {
        const CAudioParamConverter* found = converter(c.name);
        ASSERT_NE(found, nullptr) << c.name;
        EXPECT_EQ(CUtf8::of(found->getLabel()), c.label) << c.name;
        EXPECT_EQ(echo(c.name, c.input, 0.001, 10000.0), c.shown) << c.name;
    }
    // The mappings of the time converters follow the settings that SharedDataSourceTest reads
    // and the converter tests try.
    EXPECT_NE(dynamic_cast<const kel::CAudioParamConverterTime*>(converter("time-sec")), nullptr);
}

TEST_F(CAudioParamSharedTreeTest, EveryEnumerationHasItsStates)
{
    struct Case
    {
        const char* name;
        int count;
        const char* first;
        const char* last;
    };
    const Case cases[] = {
        {"enum", 0, "", ""},
        {"enum-dec", 10, "0", "9"},
        {"enum-mode", 2, "Mode 0", "Mode 1"},
        {"enum-delay-time-mode", 3, "Msec", "Foot"},
        {"enum-enable", 2, "Off", "On"},
        {"enum-leveler-mode", 2, "Maximum", "Minimum"},
        {"enum-noisegen", 3, "Off", "Gaussian"},
        {"enum-sensefunc", 5, "V.High", "V.Low"},
        {"enum-blocksize", 10, "64", "32768"},
        {"enum-dither-bits", 17, "8", "24"},
        {"enum-dither-noise", 2, "TPDF", "Gauss"},
        {"enum-dither-shaping", 3, "Off", "Classic"},
        {"enum-satlfm", 2, "Precise", "Pumping"},
        {"enum-msmod", 3, "Encode", "Inline"},
        {"enum-zumbel", 3, "Beep", "Mute"},
        {"enum-kelgate", 3, "Fall", "Cutoff B"},
        {"enum-glissenv", 2, "Hard", "Soft"},
        {"enum-glissenvsus", 2, "Linear", "Squared"},
        {"enum-filters-std", 6, "Off", "Hi-pass"},
        {"enum-filters-lp1", 5, "Off", "LP-24dB"},
        {"enum-filters-hp1", 5, "Off", "HP-24dB"},
        {"enum-filters-hbf-steep1", 6, "-139/0.01", "-51/0.01"},
        {"enum-filters-hbf-steep2", 6, "-164/0.02", "-61/0.02"},
        {"enum-filters-hbf-steep3", 6, "-182/0.03", "-68/0.03"},
        {"enum-filters-hbf-steep5", 7, "-212/0.05", "-53/0.05"},
        {"enum-filters-hbf-soft", 4, "-225/0.25", "-62/0.25"},
        {"enum-mscoder", 2, "Encoder", "Decoder"},
        {"enum-mspairs", 5, "---", "MS4"},
        {"enum-sat", 2, "Direct", "Multipl"},
        {"enum-crunch-attack", 3, "Type 1", "Type 3"},
        {"enum-dcfilter", 11, "-6 dB/oct", "-36 steep"},
        {"enum-xover", 3, "-6", "-24"},
        {"enum-polycomp-ops", 8, "MVar", "QRes"},
        {"enum-polycomp-opd", 20, "<1>", "19"},
        {"enum-polycomp-opcount", 21, "0", "20"},
        {"enum-polycomp-vouts", 14, "<G>", "13"},
        {"enum-metercorr", 4, "Left", "S Right"},
        {"enum-paramfltmb", 8, "1/3 oct", "2.5 oct"},
    };
    for (const Case& c : cases)
    {
        const auto* e = dynamic_cast<const CAudioParamConverterEnum*>(converter(c.name));
        ASSERT_NE(e, nullptr) << c.name;
        EXPECT_EQ(CUtf8::of(e->getLabel()), "") << c.name;
        ASSERT_EQ(e->getStateCount(), c.count) << c.name;
        if (c.count == 0)
            continue;
        EXPECT_EQ(CUtf8::of(e->getLongName(0)), c.first) << c.name;
        EXPECT_EQ(CUtf8::of(e->getLongName(c.count - 1)), c.last) << c.name;
    }
    const auto* dc = dynamic_cast<const CAudioParamConverterEnum*>(converter("enum-dcfilter"));
    EXPECT_EQ(CUtf8::of(dc->getShortName(0)), "-6");
    EXPECT_EQ(CUtf8::of(dc->getShortName(10)), "-36stp");
}

TEST_F(CAudioParamSharedTreeTest, UserParametersHaveTheProductsRangesAndDefaults)
{
    struct Case
    {
        const char* leaf;
        const char* converterName;
        double minValue;
        double maxValue;
        double defValue;
        const char* minText;
        const char* maxText;
        const char* defaultText;
        const char* visualName;
    };
    const double dB = std::log(10.0) / 20.0;
    const Case cases[] = {
        {"signal", "enum-zumbel", 0, 2, 0, "Beep", "Mute", "Beep", "Signal type"},
        {"period", "time-sec", 1, 90, 30, "1.00", "90.0", "30.0", "Signal period"},
        {"duration", "time-sec", 0.1, 1.5, 0.5, "0.10", "1.50", "0.50", "Signal duration"},
        {"freq", "freq", 60, 2000, 440, "60.0", "2.00k", "440", "Frequency"},
        {"gain", "gain", std::exp(-36 * dB), 1, std::exp(-12 * dB), "-36.0", "0.0", "-12.0",
         "Signal gain"},
        {"variation", "percent", 0, 0.5, 0.25, "0.0", "50.0", "25.0", "Parameter variation"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.leaf);
        const auto* def = dynamic_cast<const CAudioParamDef*>(
            tree->findObject(CString("audio.modMain.modZumbelModule.") + CString(c.leaf)));
        ASSERT_NE(def, nullptr);
        CAudioParam param(CString("plugin.modMain.modZumbelModule.") + CString(c.leaf), nullptr);
        CAudioParamContext context;
        ASSERT_TRUE(param.bind(*def, context));
        CAudioParam::CGuard held(param);
        const CAudioParamInfo& info = param.getInfo(held);
        EXPECT_TRUE(info.isStorable());
        EXPECT_EQ(CUtf8::of(info.getVisualName()), c.visualName);
        EXPECT_EQ(info.getConverter(0), converter(c.converterName));
        EXPECT_NEAR(info.getMin(0), c.minValue, 1e-12);
        EXPECT_NEAR(info.getMax(0), c.maxValue, 1e-12);
        EXPECT_NEAR(param.getValue(0, 0, &held), c.defValue, 1e-12);
        CString shown;
        info.getConverter(0)->format(shown, info, 0, info.getMin(0), 0, 0);
        EXPECT_EQ(CUtf8::of(shown), c.minText);
        info.getConverter(0)->format(shown, info, 0, info.getMax(0), 0, 0);
        EXPECT_EQ(CUtf8::of(shown), c.maxText);
        param.getValueText(shown, 0, 0, 0, 0, &held);
        EXPECT_EQ(CUtf8::of(shown), c.defaultText);
        // Any group reads the default while nothing is stored there.
        param.getValueText(shown, 7, 0, 0, 0, &held);
        EXPECT_EQ(CUtf8::of(shown), c.defaultText);
    }
}

TEST_F(CAudioParamSharedTreeTest, OversamplingStagesAreDefinedBesideTheGraphButNeverMade)
{
    struct Case
    {
        const char* path;
        const CAudioProcessDefBase* def;
    };
    const Case cases[] = {
        {"audio.modInterpolator", dynamic_cast<const kel::CModInterpolatorDef*>(
                                      tree->findObject(CString("audio.modInterpolator")))},
        {"audio.modDecimator", dynamic_cast<const kel::CModDecimatorDef*>(
                                   tree->findObject(CString("audio.modDecimator")))},
    };
    for (const Case& c : cases)
    {
        ASSERT_NE(c.def, nullptr) << c.path;
        // Loaded for trees that use them; this build makes no such process.
        CAudioProcessBase* made = nullptr;
        EXPECT_EQ(CErrorText::takeMessage(c.def->createProcess(made)),
                  std::string("Audio process '") + c.path + "' is not available.");
        EXPECT_EQ(made, nullptr) << c.path;
    }

    // The instance's graph holds no definition of a process that this build cannot make.
    std::string unavailable;
    auto walk = [&](const CObject& node, const auto& self) -> void
    {
        for (int i = 0; i < node.getChildCount(); ++i)
        {
            const CObject* child = node.getChild(i);
            if (const auto* def = dynamic_cast<const CAudioProcessDefBase*>(child))
            {
                CAudioProcessBase* made = nullptr;
                const std::string message = CErrorText::takeMessage(def->createProcess(made));
                delete made;
                if (!message.empty())
                    unavailable += CUtf8::of(def->getFullName()) + " ";
            }
            self(*child, self);
        }
    };
    const CObject* main = tree->findObject(CString("audio.modMain"));
    ASSERT_NE(dynamic_cast<const CAudioProcessDefBase*>(main), nullptr);
    walk(*main, walk);
    EXPECT_EQ(unavailable, "");
}
