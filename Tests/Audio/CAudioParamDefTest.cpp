#include "Audio/CAudioParamAllocDef.h"
#include "Audio/CAudioParamDef.h"
#include "Audio/CAudioParamFilterDef.h"
#include "Audio/CAudioParamRemapDef.h"
#include "Audio/CAudioParamScopeDef.h"
#include "Audio/Converters/CAudioParamConverter.h"
#include "Audio/Converters/CParamTestTree.h"
#include "Support/CErrorText.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using kel::CAudioParamDef;
using kel::CAudioParamInfo;
using kel::CAudioParamStorage;
using kel::CString;
using kel::CTreeBlobWriter;
using kel::test::CErrorText;
using kel::test::CUtf8;

namespace
{

class CAudioParamDefTest : public kel::paramtest::CParamTreeTest
{
protected:
    CAudioParamDefTest() { holder = &audio->add("core:object", "test"); }

    // A real parameter named p, one element, converter real, 0..10, default 1.
    CTreeBlobWriter::Node& param() { return addParam(*holder, "p", "real", "0", "10", "1"); }
    const CAudioParamInfo& loadedInfo()
    {
        const CAudioParamDef* def = find<CAudioParamDef>("audio.test.p");
        EXPECT_NE(def, nullptr);
        return def->getInfo();
    }
    // Group g as text "a b c".
    static std::string groupText(const CAudioParamStorage& storage, int group)
    {
        std::string out;
        for (int i = 0; i < storage.getGroupLength(group); ++i)
        {
            CString number;
            kel::CAudioParamConverter::appendFixed(number, storage.getGroupValues(group)[i], 2);
            out += (i ? " " : "") + CUtf8::of(number);
        }
        return out;
    }

    CTreeBlobWriter::Node* holder = nullptr;
};

} // namespace

TEST_F(CAudioParamDefTest, ReadsLayoutNamesFlagsLimitsAndDefaults)
{
    param()
        .attr("converter", "gain")
        .attr("min-values", "-36")
        .attr("max-values", "0")
        .attr("def-values", "-12.0")
        .attr("visual-name", "Signal gain")
        .attr("param-registry", "param-registry-io")
        .attr("is-discrete", "true");
    ASSERT_EQ(load(), "");
    const CAudioParamInfo& info = loadedInfo();
    EXPECT_EQ(info.getElementSize(), 1);
    EXPECT_FALSE(info.isString());
    EXPECT_EQ(CUtf8::of(info.getLeafName()), "p");
    EXPECT_EQ(CUtf8::of(info.getVisualName()), "Signal gain");
    EXPECT_EQ(CUtf8::of(info.getRegistryName()), "param-registry-io");
    EXPECT_TRUE(info.isDiscrete());
    EXPECT_FALSE(info.isSingleGroup());
    EXPECT_EQ(info.getConverter(0), &converter("gain"));
    EXPECT_NEAR(info.getMin(0), 0.015848931924611134, 1e-17);
    EXPECT_EQ(info.getMax(0), 1.0);
    ASSERT_EQ(info.getDefaults().getGroupCount(), 1);
    EXPECT_NEAR(info.getDefaults().getGroupValues(0)[0], 0.251188643150958, 1e-15);
}

TEST_F(CAudioParamDefTest, PersistentIsNeverStorableAndEitherIsAlwaysGlobal)
{
    addParam(*holder, "persistent", "real", "0", "1", "0")
        .attr("is-persistent", "true")
        .attr("is-storable", "true")
        .attr("is-global", "false");
    addParam(*holder, "storable", "real", "0", "1", "0")
        .attr("is-storable", "true")
        .attr("is-global", "false");
    addParam(*holder, "plain", "real", "0", "1", "0")
        .attr("is-storable", "false")
        .attr("is-global", "false");
    ASSERT_EQ(load(), "");
    const CAudioParamInfo& persistent = find<CAudioParamDef>("audio.test.persistent")->getInfo();
    EXPECT_TRUE(persistent.isPersistent());
    EXPECT_FALSE(persistent.isStorable());
    EXPECT_TRUE(persistent.isGlobal());
    const CAudioParamInfo& storable = find<CAudioParamDef>("audio.test.storable")->getInfo();
    EXPECT_TRUE(storable.isStorable());
    EXPECT_TRUE(storable.isGlobal());
    EXPECT_FALSE(find<CAudioParamDef>("audio.test.plain")->getInfo().isGlobal());
}

TEST_F(CAudioParamDefTest, BrokenLayoutsConvertersAndLimitsFailWithWhatIsWrong)
{
    const struct
    {
        std::vector<std::pair<const char*, const char*>> attrs;
        const char* message;
    } cases[] = {
        {{{"element-size", "0"}}, "Invalid element size 0 specified."},
        {{{"element-size", "2"}, {"data-type", "str"}},
         "Invalid element size 2 for non-float data specified."},
        {{{"converter", "nope"}}, "Audio parameter converter 'nope' not found."},
        {{{"element-size", "2"}, {"converter", "gain"}},
         "Not enough converters defined 1 (should be 2)."},
        {{{"min-values", ""}}, "Not enough minimum values defined 0 (should be 1)."},
        {{{"element-size", "2"},
          {"converter", "real real"},
          {"min-values", "0 0"},
          {"max-values", "1"}},
         "Not enough maximum values defined 1 (should be 2)."},
        {{{"element-size", "2"},
          {"converter", "real real"},
          {"min-values", "0 1"},
          {"max-values", "1 1"}},
         "Zero default min-max values difference detected in element 1."},
    };
    for (const auto& c : cases)
    {
        holder->children.clear();
        CTreeBlobWriter::Node& node = param();
        for (const auto& [name, value] : c.attrs)
            node.attr(name, value);
        EXPECT_EQ(load(), c.message);
    }
}

TEST_F(CAudioParamDefTest, ConvertersMayBeSharedTreePathsAndRangesMayDescend)
{
    // A path of the shared tree, and names separated by runs of blanks.
    param()
        .attr("element-size", "2")
        .attr("converter", "  /audio.paramcvt.freq   real ")
        .attr("min-values", "20 0")
        .attr("max-values", "2k 1")
        .attr("def-values", "1k*0.5");
    ASSERT_EQ(load(), "");
    EXPECT_EQ(loadedInfo().getConverter(0), &converter("freq"));
    EXPECT_EQ(loadedInfo().getConverter(1), &converter("real"));
    EXPECT_EQ(loadedInfo().getMax(0), 2000.0);
    EXPECT_EQ(groupText(loadedInfo().getDefaults(), 0), "1000.00 0.50");

    holder->children.clear();
    param().attr("min-values", "10").attr("max-values", "1");
    ASSERT_EQ(load(), "");
    EXPECT_EQ(loadedInfo().getMin(0), 10.0);
    EXPECT_EQ(loadedInfo().getMax(0), 1.0);
}

TEST_F(CAudioParamDefTest, DefaultValuesFollowTheSeparatorGrammar)
{
    struct Case
    {
        const char* size;
        const char* defValues;
        const char* error;
        const char* group0;
        const char* group1;
    };
    const Case cases[] = {
        {"1", "1,2;3", "", "1.00 2.00", "3.00"},
        {"1", "4", "", "4.00", ""},
        // An empty piece is an error wherever it stands, a trailing separator's too.
        {"1", "4;", "Default values parsing error.", "", ""},
        {"1", "1,,2", "Default values parsing error.", "", ""},
        {"2", "1*2,3*4;5*6", "", "1.00 2.00 3.00 4.00", "5.00 6.00"},
        {"1", "1*2", "Default values parsing error.", "", ""},
        {"1", "1,x", "Default values parsing error.", "", ""},
        {"2", "1*2,3", "Not enough default elements at pos 5.", "", ""},
        {"2", "1;3*4", "Not enough default elements at pos 1.", "", ""},
        {"1", "", "No default values specified.", "", ""},
        {"1", ";1", "Default values parsing error.", "", ""},
    };
    for (const Case& c : cases)
    {
        holder->children.clear();
        param()
            .attr("element-size", c.size)
            .attr("converter", "real real")
            .attr("min-values", "0 0")
            .attr("max-values", "10 10")
            .attr("def-values", c.defValues);
        ASSERT_EQ(load(), c.error) << c.defValues;
        if (*c.error)
            continue;
        const CAudioParamStorage& defaults = loadedInfo().getDefaults();
        EXPECT_EQ(groupText(defaults, 0), c.group0) << c.defValues;
        EXPECT_EQ(groupText(defaults, 1), c.group1) << c.defValues;
        EXPECT_EQ(defaults.getGroupCount(), *c.group1 ? 2 : 1) << c.defValues;
    }
}

TEST_F(CAudioParamDefTest, StringParametersTakeTheirTextsIntoTheTable)
{
    param()
        .attr("data-type", "string")
        .attr("converter", "text")
        .attr("min-values", "")
        .attr("max-values", "")
        .attr("def-values", "Default");
    ASSERT_EQ(load(), "");
    const CAudioParamInfo& info = loadedInfo();
    EXPECT_TRUE(info.isString());
    EXPECT_EQ(info.getMin(0), 0.0);
    EXPECT_EQ(info.getMax(0), 8388608.0);
    ASSERT_EQ(info.getDefaults().getGroupCount(), 1);
    EXPECT_EQ(info.getDefaults().getGroupValues(0)[0], 1.0);
    EXPECT_EQ(CUtf8::of(info.getDefaults().getStringOf(1.0)), "Default");

    // No default at all is a valid string parameter (an empty instance name).
    for (const char* type : {"str", "1"})
    {
        holder->children.clear();
        param().attr("data-type", type).attr("converter", "text").attr("def-values", "");
        ASSERT_EQ(load(), "") << type;
        EXPECT_EQ(loadedInfo().getDefaults().getGroupCount(), 0);
    }
}

TEST_F(CAudioParamDefTest, AllocRemapScopeAndFilterCheckTheirNames)
{
    struct Case
    {
        const char* tag;
        std::vector<std::pair<const char*, const char*>> attrs;
        const char* error;
    };
    // Scope and filter have no tag in this product's factory: register them for the test.
    const kel::CCreatorRow rows[] = {
        kel::CCreatorRow::of<kel::CAudioParamScopeDef>("test:param-scope"),
        kel::CCreatorRow::of<kel::CAudioParamFilterDef>("test:param-filter"),
    };
    ASSERT_EQ(CErrorText::takeMessage(kel::CObject::registerCreators(rows, 2)), "");
    const Case cases[] = {
        {"audio:param-alloc",
         {{"param-name", ""}, {"index", "0"}},
         "Invalid parameter name specified."},
        {"audio:param-alloc",
         {{"param-name", "gain"}, {"index", "-1"}},
         "Invalid index value '-1' specified."},
        {"audio:param-alloc",
         {{"param-name", "gain"}, {"index", "one"}},
         "Invalid index value 'one' specified."},
        {"audio:param-alloc", {{"param-name", "gain"}, {"index", "4"}}, ""},
        {"audio:param-remap",
         {{"orig", ""}, {"new", "x"}},
         "Invalid orignal parameter name specified."},
        {"audio:param-remap",
         {{"orig", "x"}, {"new", ""}},
         "Invalid new parameter name specified."},
        {"test:param-scope", {{"param-name", ""}}, "Invalid parameter name specified."},
        {"test:param-filter", {{"src", " , "}, {"dst", "b"}}, "No source parameters defined."},
        {"test:param-filter", {{"src", "a"}, {"dst", ""}}, "No destination parameters defined."},
        {"test:param-filter", {{"src", "a, b"}, {"dst", "c"}}, ""},
    };
    for (const Case& c : cases)
    {
        holder->children.clear();
        CTreeBlobWriter::Node& node = holder->add(c.tag, "def");
        for (const auto& [key, value] : c.attrs)
            node.attr(key, value);
        EXPECT_EQ(load(), c.error) << c.tag;
    }
    const auto* filter = find<kel::CAudioParamFilterDef>("audio.test.def");
    ASSERT_NE(filter, nullptr);
    ASSERT_EQ(filter->getSourceNames().getCount(), 2);
    EXPECT_EQ(CUtf8::of(filter->getSourceNames()[1]), "b");
    unload();
    kel::CObject::unregisterCreator("test:param-scope");
    kel::CObject::unregisterCreator("test:param-filter");
}

TEST_F(CAudioParamDefTest, RemapResolvesRelativeToTheProcessOrItsAncestors)
{
    holder->add("audio:param-remap", "r1").attr("orig", "modZumbel.signal").attr("new", "signal");
    holder->add("audio:param-remap", "r2")
        .attr("orig", "group-solo")
        .attr("new", "^io-params.channel-group-solo");
    holder->add("audio:param-alloc", "a").attr("param-name", "signal").attr("index", "0x3");
    ASSERT_EQ(load(), "");
    const auto* r1 = find<kel::CAudioParamRemapDef>("audio.test.r1");
    const auto* r2 = find<kel::CAudioParamRemapDef>("audio.test.r2");
    ASSERT_TRUE(r1 && r2);
    EXPECT_EQ(CUtf8::of(r1->getOrigName()), "modZumbel.signal");
    EXPECT_EQ(CUtf8::of(r1->resolveNewName(CString("plugin.modMain.modZumbelModule"))),
              "plugin.modMain.modZumbelModule.signal");
    EXPECT_EQ(CUtf8::of(r2->resolveNewName(CString("plugin.modMain.modBypass"))),
              "plugin.modMain.io-params.channel-group-solo");
    EXPECT_EQ(CUtf8::of(r2->resolveNewName(CString("top"))), "io-params.channel-group-solo");
    EXPECT_EQ(find<kel::CAudioParamAllocDef>("audio.test.a")->getIndex(), 3);
}
