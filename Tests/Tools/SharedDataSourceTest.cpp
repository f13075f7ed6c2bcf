// The real source of the shared object tree, compiled as the build compiles it: the facts the
// instance, the host and saved projects depend on, and the cross references between its parts
// (converter names, parameter names, remaps) that nothing else checks before run time.
#include "CTreeCompiler.h"
#include "CCompiledTreeReader.h"
#include "CCompiledTreeWriter.h"
#include "Support/CErrorText.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

using namespace kel;

namespace
{

const std::string kSourceDir = KEL_SOURCE_DIR;

const CCompiledNode* findChild(const CCompiledNode& parent, const std::string& name)
{
    for (const CCompiledNode& child : parent.children)
        if (!child.isTemplate && child.name == name)
            return &child;
    return nullptr;
}

// A dotted path of child names, as the run time walks it.
const CCompiledNode* findPath(const CCompiledNode& root, const std::string& path)
{
    const CCompiledNode* node = &root;
    size_t begin = 0;
    while (node && begin <= path.size())
    {
        const size_t end = std::min(path.find('.', begin), path.size());
        node = findChild(*node, path.substr(begin, end - begin));
        begin = end + 1;
    }
    return node;
}

const CCompiledNode* findTemplate(const CCompiledNode& root, const std::string& name)
{
    for (const CCompiledNode& child : root.children)
        if (child.isTemplate && child.name == name)
            return &child;
    return nullptr;
}

bool hasAttr(const CCompiledNode& node, const std::string& key)
{
    for (const auto& [k, v] : node.attrs)
        if (k == key)
            return true;
    return false;
}

std::string attr(const CCompiledNode& node, const std::string& key)
{
    for (const auto& [k, v] : node.attrs)
        if (k == key)
            return v;
    ADD_FAILURE() << node.name << " has no attribute " << key;
    return std::string();
}

using CAttrExpectations = std::initializer_list<std::pair<const char*, const char*>>;

void expectAttrs(const CCompiledNode& node, CAttrExpectations expected)
{
    for (const auto& [key, value] : expected)
        EXPECT_EQ(attr(node, key), value) << node.name << " " << key;
}

void collectByTag(const CCompiledNode& node, const std::string& tag,
                  std::vector<const CCompiledNode*>& out)
{
    if (node.tag == tag)
        out.push_back(&node);
    for (const CCompiledNode& child : node.children)
        collectByTag(child, tag, out);
}

bool isProcessTag(const std::string& tag)
{
    return tag == "audio:process-def" || tag == "audio:modZumbel" || tag == "audio:modBypass" ||
           tag == "audio:modMute" || tag == "audio:modNode" || tag == "audio:modOutput" ||
           tag == "audio:modInterpolator" || tag == "audio:modDecimator";
}

void collectProcesses(const CCompiledNode& node, std::vector<const CCompiledNode*>& out)
{
    if (isProcessTag(node.tag))
        out.push_back(&node);
    for (const CCompiledNode& child : node.children)
        collectProcesses(child, out);
}

class SharedDataSourceTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        CTreeCompiler compiler;
        compileMessage = test::CErrorText::takeMessage(
            compiler.compile(kSourceDir + "/Resources/SharedData.xml", tree));
    }

    void SetUp() override { ASSERT_EQ(compileMessage, "") << "the source does not compile"; }

    static CCompiledNode tree;
    static std::string compileMessage;
};

CCompiledNode SharedDataSourceTest::tree;
std::string SharedDataSourceTest::compileMessage;

} // namespace

TEST_F(SharedDataSourceTest, CompiledFormReadsBackAsTheSameTree)
{
    std::vector<uint8_t> bytes;
    CError* error = CCompiledTreeWriter::write(tree, bytes);
    ASSERT_EQ(error, nullptr) << error->getMessage();

    CCompiledTreeReader reader;
    CCompiledNode readBack;
    error = reader.read(bytes.data(), bytes.size(), readBack);
    ASSERT_EQ(error, nullptr) << error->getMessage();
    EXPECT_EQ(readBack, tree);
    EXPECT_LT(reader.getStrings().size(), 65536u);
}

TEST_F(SharedDataSourceTest, ProjectCarriesTheProductIdentity)
{
    const CCompiledNode* project = findPath(tree, "project");
    ASSERT_NE(project, nullptr);
    expectAttrs(*project, {{"app-name", "Zumbel"},
                           {"app-vendor", "Kelmont"},
                           {"app-desc", "Signal insertion module."},
                           {"plugin-category-vst", "kPlugCategEffect"},
                           {"window-width", "446"},
                           {"window-height", "215"}});

    // Hosts key saved projects by this code: it must stay 'KZmb' forever.
    const std::string code = attr(*project, "plugin-code");
    ASSERT_EQ(code.size(), 4u);
    uint32_t packed = 0;
    for (char c : code)
        packed = packed << 8 | static_cast<uint8_t>(c);
    EXPECT_EQ(packed, 0x4B5A6D62u);

    // The instance refuses anything but two or three dot-separated numbers.
    const std::string version = attr(*project, "app-version");
    int dots = 0;
    bool digitsOnly = !version.empty() && version.front() != '.' && version.back() != '.';
    for (char c : version)
    {
        dots += c == '.';
        digitsOnly = digitsOnly && ((c >= '0' && c <= '9') || c == '.');
    }
    EXPECT_TRUE(digitsOnly && (dots == 1 || dots == 2)) << version;
}

TEST_F(SharedDataSourceTest, UserParametersHaveTheirRangesDefaultsAndNames)
{
    // Ranges, defaults, names and converters as the instance reads them:
    // CAudioParamSharedTreeTest.UserParametersHaveTheProductsRangesAndDefaults.
    const CCompiledNode* module = findPath(tree, "audio.modMain.modZumbelModule");
    ASSERT_NE(module, nullptr);
    for (const char* name : {"signal", "period", "duration", "freq", "gain", "variation"})
    {
        SCOPED_TRACE(name);
        const CCompiledNode* param = findChild(*module, name);
        ASSERT_NE(param, nullptr);
        EXPECT_EQ(param->tag, "audio:param");
        expectAttrs(*param, {{"is-storable", "true"}, {"is-global", "false"}});
    }

    // The node's own fallbacks differ on purpose; the outer definitions above win.
    const CCompiledNode* node = findChild(*module, "modZumbel");
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(attr(*findChild(*node, "period"), "def-values"), "20");
    EXPECT_EQ(attr(*findChild(*node, "gain"), "def-values"), "-6");
    EXPECT_EQ(attr(*findChild(*node, "variation"), "def-values"), "5");
}

TEST_F(SharedDataSourceTest, OnlyTheSixInsertionValuesGoIntoMasterPresets)
{
    std::vector<const CCompiledNode*> params;
    collectByTag(*findPath(tree, "audio.modMain"), "audio:param", params);
    std::vector<std::string> stored;
    for (const CCompiledNode* param : params)
        if (attr(*param, "is-storable") == "true" && attr(*param, "is-persistent") != "true")
            stored.push_back(param->name);
    EXPECT_EQ(stored, (std::vector<std::string>{"signal", "period", "duration", "freq", "gain",
                                                "variation"}));
}

TEST_F(SharedDataSourceTest, ConvertersHaveTheirSettingsAndStates)
{
    const CCompiledNode* converters = findPath(tree, "audio.paramcvt");
    ASSERT_NE(converters, nullptr);
    const CCompiledNode* zumbel = findChild(*converters, "enum-zumbel");
    ASSERT_NE(zumbel, nullptr);
    EXPECT_EQ(zumbel->tag, "audio:cvt-enum");
    EXPECT_EQ(attr(*zumbel, "state-names"), "Beep;Noise;Mute");
    EXPECT_EQ(attr(*findChild(*converters, "enum-enable"), "state-names"), "Off;On");
    EXPECT_EQ(attr(*findChild(*converters, "gain"), "label"), "dB");
    EXPECT_EQ(attr(*findChild(*converters, "gain"), "decimals"), "1");

    const CCompiledNode* timeSec = findChild(*converters, "time-sec");
    ASSERT_NE(timeSec, nullptr);
    expectAttrs(*timeSec, {{"scale", "1.0"}, {"is-log", "false"}, {"label", "ms"}});
    EXPECT_EQ(attr(*findChild(*converters, "timelog"), "is-log"), "true");
    EXPECT_EQ(attr(*findChild(*converters, "time-exact"), "is-precise"), "true");

    // Every converter reads its label; decimals must be there where the class reads them.
    for (const CCompiledNode& converter : converters->children)
    {
        SCOPED_TRACE(converter.name);
        EXPECT_EQ(converter.tag.rfind("audio:cvt-", 0), 0u);
        EXPECT_TRUE(hasAttr(converter, "label"));
        if (converter.tag == "audio:cvt-gain" || converter.tag == "audio:cvt-real" ||
            converter.tag == "audio:cvt-ratio")
        {
            EXPECT_TRUE(hasAttr(converter, "decimals"));
        }
        if (converter.tag == "audio:cvt-enum")
        {
            EXPECT_TRUE(hasAttr(converter, "state-names"));
        }
    }
}

TEST_F(SharedDataSourceTest, EveryParameterIsCompleteAndNamesAnExistingConverter)
{
    static const char* const kParamAttrs[] = {
        "element-size", "data-type",       "is-persistent", "is-storable",    "is-global",
        "is-discrete",  "is-single-group", "visual-name",   "param-registry", "converter",
        "min-values",   "max-values",      "def-values"};
    const CCompiledNode* converters = findPath(tree, "audio.paramcvt");
    ASSERT_NE(converters, nullptr);
    std::vector<const CCompiledNode*> params;
    collectByTag(tree, "audio:param", params);
    ASSERT_FALSE(params.empty());
    for (const CCompiledNode* param : params)
    {
        SCOPED_TRACE(param->name);
        for (const char* key : kParamAttrs)
            EXPECT_TRUE(hasAttr(*param, key)) << key;
        const std::string converter = attr(*param, "converter");
        EXPECT_NE(findChild(*converters, converter), nullptr) << converter;
        if (attr(*param, "data-type") != "string")
        {
            EXPECT_NE(attr(*param, "min-values"), attr(*param, "max-values"));
        }
    }
}

TEST_F(SharedDataSourceTest, EveryProcessDefinitionCarriesAllGraphFlags)
{
    static const char* const kFlags[] = {
        "is-smooth-update",  "is-multiband",      "multiband-freq-param", "multiband-count-param",
        "multiband-pre",     "multiband-lp",      "multiband-hp",         "is-stacked",
        "stack-param",       "stack-index-shift", "is-grouped",           "is-whole",
        "is-terminal-whole", "is-prototype",      "is-outoforder",        "is-group0",
        "is-element0",       "bypass-state-id",   "use-all-param-groups", "use-all-param-elements",
        "is-weighted-input", "use-time-shift"};
    std::vector<const CCompiledNode*> processes;
    collectProcesses(tree, processes);
    EXPECT_EQ(processes.size(), 9u); // modMain, modMainPre, modZumbelModule, modZumbel,
                                     // modBypass, modOutput, modMute, modInterpolator,
                                     // modDecimator
    for (const CCompiledNode* process : processes)
    {
        SCOPED_TRACE(process->name);
        for (const char* flag : kFlags)
            EXPECT_TRUE(hasAttr(*process, flag)) << flag;
        if (process->tag == "audio:process-def" || process->tag == "audio:modZumbel")
        {
            EXPECT_TRUE(hasAttr(*process, "is-auto-links"));
        }
    }

    const CCompiledNode* node = findPath(tree, "audio.modMain.modZumbelModule.modZumbel");
    ASSERT_NE(node, nullptr);
    expectAttrs(*node, {{"xfade-length", "0.015"},
                        {"is-smooth-update", "true"},
                        {"is-terminal-whole", "true"},
                        {"use-time-shift", "true"},
                        {"use-clear", "true"}});
}

TEST_F(SharedDataSourceTest, GraphIsChainedWithTheBypassDryLink)
{
    const CCompiledNode* main = findPath(tree, "audio.modMain");
    ASSERT_NE(main, nullptr);
    EXPECT_EQ(attr(*main, "is-auto-links"), "true");
    std::vector<std::string> order;
    for (const CCompiledNode& child : main->children)
        if (isProcessTag(child.tag))
            order.push_back(child.name);
    EXPECT_EQ(order, (std::vector<std::string>{"modMainPre", "modZumbelModule", "modBypass"}));

    std::vector<const CCompiledNode*> links;
    collectByTag(*main, "audio:process-link", links);
    ASSERT_EQ(links.size(), 1u);
    EXPECT_EQ(attr(*links[0], "src"), "modMainPre");
    EXPECT_EQ(attr(*links[0], "dst"), "modBypass/1");

    ASSERT_NE(findPath(tree, "audio.modOutput"), nullptr);
    EXPECT_EQ(findPath(tree, "audio.modOutput")->tag, "audio:modOutput");
    EXPECT_EQ(findPath(tree, "audio.modMain.modMainPre")->tag, "audio:modNode");
}

TEST_F(SharedDataSourceTest, AllocsAndRemapsReachDeclaredParameters)
{
    const CCompiledNode* module = findPath(tree, "audio.modMain.modZumbelModule");
    ASSERT_NE(module, nullptr);
    const CCompiledNode* node = findChild(*module, "modZumbel");
    ASSERT_NE(node, nullptr);

    // The module binds its snapshot by slot index: the order is part of the contract.
    const std::vector<std::string> slots = {"signal", "period", "duration",
                                            "freq",   "gain",   "variation"};
    std::vector<const CCompiledNode*> allocs;
    collectByTag(*node, "audio:param-alloc", allocs);
    ASSERT_EQ(allocs.size(), slots.size());
    for (size_t i = 0; i < slots.size(); ++i)
    {
        EXPECT_EQ(attr(*allocs[i], "param-name"), slots[i]);
        EXPECT_EQ(attr(*allocs[i], "index"), std::to_string(i));
        EXPECT_NE(findChild(*node, slots[i]), nullptr) << slots[i];
    }

    std::vector<const CCompiledNode*> remaps;
    collectByTag(*module, "audio:param-remap", remaps);
    ASSERT_EQ(remaps.size(), slots.size());
    for (const CCompiledNode* remap : remaps)
    {
        const std::string orig = attr(*remap, "orig");
        const std::string target = attr(*remap, "new");
        EXPECT_NE(findPath(*module, orig), nullptr) << orig;
        ASSERT_NE(findChild(*module, target), nullptr) << target;
        EXPECT_EQ(findChild(*module, target)->tag, "audio:param");
    }

    const CCompiledNode* bypass = findPath(tree, "audio.modMain.modBypass");
    ASSERT_NE(bypass, nullptr);
    std::vector<const CCompiledNode*> bypassAllocs;
    collectByTag(*bypass, "audio:param-alloc", bypassAllocs);
    ASSERT_EQ(bypassAllocs.size(), 2u);
    EXPECT_EQ(attr(*bypassAllocs[0], "param-name"), "enable");
    EXPECT_EQ(attr(*bypassAllocs[1], "param-name"), "group-solo");
    EXPECT_EQ(attr(*bypassAllocs[1], "index"), "1");
}

TEST_F(SharedDataSourceTest, PluginTemplateHoldsWhatTheInstanceLooksUp)
{
    const CCompiledNode* plugin = findTemplate(tree, "plugin");
    ASSERT_NE(plugin, nullptr);
    EXPECT_EQ(plugin->classTag, "core:object");
    ASSERT_EQ(plugin->children.size(), 1u);
    const CCompiledNode& body = plugin->children[0];
    EXPECT_EQ(body.tag, "core:object");
    EXPECT_EQ(attr(body, "plugin-intchannel-count"), "8");
    EXPECT_EQ(attr(body, "plugin-group-count"), "8");
    EXPECT_TRUE(hasAttr(body, "sidechain"));
    EXPECT_TRUE(hasAttr(body, "use-host-bpm"));

    const std::pair<const char*, const char*> parts[] = {
        {"dcdaw-context", "audio:dcdaw-context"},
        {"audio-env", "audio:audio-env"},
        {"param-collector", "audio:param-collector"},
        {"viz-collector", "audio:viz-collector"},
        {"interface-base-connector", "audio:interface-base-connector-vst"},
        {"interface-base", "audio:interface-base"},
        {"param-registry", "audio:param-registry"},
        {"param-registry-io", "audio:param-registry"},
        {"ext-param-list", "audio:ext-param-list"},
        {"cctable", "audio:cctable"},
    };
    for (const auto& [name, tag] : parts)
    {
        const CCompiledNode* part = findChild(body, name);
        ASSERT_NE(part, nullptr) << name;
        EXPECT_EQ(part->tag, tag) << name;
    }
    EXPECT_EQ(attr(*findChild(body, "interface-base"), "undo-count-max"), "32");
    EXPECT_EQ(attr(*findChild(body, "audio-env"), "viz-fps"), "30.0");

    const CCompiledNode& master = *findChild(body, "param-registry");
    expectAttrs(master, {{"hierarchy", "plugin.modMain"},
                         {"is-master", "true"},
                         {"id", "z4m1"},
                         {"file", "FactoryROM.cbf"}});
    const CCompiledNode& routing = *findChild(body, "param-registry-io");
    expectAttrs(routing, {{"hierarchy", "plugin.modMain.io-params"},
                          {"is-master", "false"},
                          {"id", "KLIO"},
                          {"preset-name-param", ""}});
}

TEST_F(SharedDataSourceTest, HostParametersAreTheSixInHostOrderOnDefinedParameters)
{
    // Their names, order and parameters as the instance reads them:
    // CAudioExtParamTest.ProductListsSixHostParametersInOrder.
    const CCompiledNode* plugin = findTemplate(tree, "plugin");
    ASSERT_NE(plugin, nullptr);
    const CCompiledNode* list = findChild(plugin->children.at(0), "ext-param-list");
    ASSERT_NE(list, nullptr);
    ASSERT_EQ(list->children.size(), 6u);
    for (const CCompiledNode& ext : list->children)
    {
        SCOPED_TRACE(ext.name);
        EXPECT_EQ(ext.tag, "audio:ext-param");
        EXPECT_LE(attr(ext, "ext-name").size(), 7u);
        EXPECT_EQ(attr(ext, "group"), "0");
        EXPECT_EQ(attr(ext, "element-index"), "0");
        // The instance path plugin.modMain.X is defined at audio.modMain.X.
        const CCompiledNode* definition =
            findPath(tree, "audio" + attr(ext, "param-name").substr(6));
        ASSERT_NE(definition, nullptr);
        EXPECT_EQ(definition->tag, "audio:param");
    }
}

TEST_F(SharedDataSourceTest, BrushesStandInTheSharedTreeAndLoadOnFirstUse)
{
    const CCompiledNode* brushes = findPath(tree, "bs.brushes");
    ASSERT_NE(brushes, nullptr);
    EXPECT_EQ(brushes->tag, "brushset");
    EXPECT_EQ(attr(*brushes, "file"), "../../../Gfx/Brushes/brushes.bs");
    EXPECT_EQ(attr(*brushes, "is-load-deferred"), "true");
}
