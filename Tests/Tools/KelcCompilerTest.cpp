// The tree compiler and the binary writer: exact bytes for tiny trees, the expansion of
// defaults, macros, includes and templates, and the file:line of every error.
#include "CCompiledTreeReader.h"
#include "CCompiledTreeWriter.h"
#include "CTreeCompiler.h"
#include "Support/CErrorText.h"
#include "Support/CTempFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using namespace kel;

namespace
{

using CAttrs = std::vector<std::pair<std::string, std::string>>;

// Each test writes its sources into a fresh folder and compiles them there.
class KelcCompilerTest : public testing::Test
{
protected:
    std::string write(const std::string& name, const std::string& text)
    {
        return temp.write(name, text);
    }

    // Compiles main.xml written from text; fails the test on an error.
    CCompiledNode compile(const std::string& text)
    {
        CCompiledNode root;
        CError* error = compiler.compile(write("main.xml", text), root);
        EXPECT_EQ(error, nullptr) << test::CErrorText::takeChain(error);
        return root;
    }

    std::vector<uint8_t> bytesOf(const std::string& text)
    {
        std::vector<uint8_t> bytes;
        CError* error = CCompiledTreeWriter::write(compile(text), bytes);
        EXPECT_EQ(error, nullptr);
        delete error;
        return bytes;
    }

    // The message of the error compiling main.xml gives, "" when it compiles.
    std::string errorOf(const std::string& text)
    {
        CCompiledNode root;
        return test::CErrorText::takeMessage(compiler.compile(write("main.xml", text), root));
    }

    test::CTempFolder temp{"kel-kelc"};
    const std::string folder = temp.path();
    CTreeCompiler compiler;
};

TEST_F(KelcCompilerTest, TinyTreeCompilesToExactBytes)
{
    // clang-format off
    const std::vector<uint8_t> expected = {
        5, 0, 0, 0,    // strings: "", "a:b", "x", "k", "v"
        31, 0, 0, 0,   // the tree starts at 8 + 31
        20, 0, 0, 0, 21, 0, 0, 0, 25, 0, 0, 0, 27, 0, 0, 0, 29, 0, 0, 0,
        0, 'a', ':', 'b', 0, 'x', 0, 'k', 0, 'v', 0,
        0, 0, 0, 0, 0, // root: empty tag and name, ordinary
        0, 0, 1, 0,    // no attributes, one child
        1, 0, 2, 0, 0, 1, 0, 3, 0, 4, 0, 0, 0};
    // clang-format on
    EXPECT_EQ(bytesOf("<kel>\n  <a:b name=\"x\" k=\"v\"/>\n</kel>\n"), expected);
}

TEST_F(KelcCompilerTest, TemplateAsLastChildEndsExactlyBehindItsBody)
{
    const std::vector<uint8_t> bytes = bytesOf(
        "<kel><template name=\"t\" class=\"c:o\"><c:o name=\"b\" k=\"\"/></template></kel>");
    // "", "template", "t", "c:o", "b", "k": 6 strings, 24 table bytes, 20 string bytes.
    // clang-format off
    const std::vector<uint8_t> tree = {
        0, 0, 0, 0, 0, 0, 0, 1, 0,      // root with one child
        1, 0, 2, 0, 1, 3, 0, 13, 0, 0, 0, // template "t" of "c:o", 13 body bytes
        3, 0, 4, 0, 0, 1, 0, 5, 0, 0, 0, 0, 0}; // body: k="" is string 0; no child count after
    // clang-format on
    ASSERT_EQ(bytes.size(), 8 + 24 + 20 + tree.size());
    EXPECT_EQ(std::vector<uint8_t>(bytes.end() - tree.size(), bytes.end()), tree);
    EXPECT_EQ(bytes[4], 24 + 20);

    CCompiledTreeReader reader;
    CCompiledNode root;
    CError* error = reader.read(bytes.data(), bytes.size(), root);
    EXPECT_EQ(error, nullptr) << test::CErrorText::takeChain(error);
    ASSERT_EQ(root.children.size(), 1u);
    EXPECT_TRUE(root.children[0].isTemplate);
    EXPECT_EQ(root.children[0].children[0].attrs, (CAttrs{{"k", ""}}));
}

TEST_F(KelcCompilerTest, StringsAreStoredOnceWithTheEmptyStringFirst)
{
    const CCompiledNode root = compile(R"(<kel>
        <p name="p" p="p"/><p name="" q="p"/><q name="x#3" p=""/>
    </kel>)");
    EXPECT_EQ(CCompiledTreeWriter::collectStrings(root),
              (std::vector<std::string>{"", "p", "q", "x#3"}));
    EXPECT_EQ(root.children[2].name, "x#3");
}

TEST_F(KelcCompilerTest, SameSourceGivesSameBytesWhereverItLies)
{
    const std::string text = R"(<kel>
        <macro name="m" tag="a:m" x="1"><c/></macro>
        <defaults tag="a:m" d="0"/>
        <m name="one" y="2"/><template name="t" class="a:m"><m z="3"/></template>
    </kel>)";
    const std::vector<uint8_t> first = bytesOf(text);
    EXPECT_EQ(bytesOf(text), first);
    CCompiledNode moved;
    CError* error = compiler.compile(write("elsewhere/deeper/other.xml", text), moved);
    ASSERT_EQ(error, nullptr);
    std::vector<uint8_t> again;
    ASSERT_EQ(CCompiledTreeWriter::write(moved, again), nullptr);
    EXPECT_EQ(again, first);
}

TEST_F(KelcCompilerTest, DefaultsReachForwardAndInwardButNotOut)
{
    const CCompiledNode root = compile(R"(<kel>
        <p name="before"/>
        <defaults tag="p" a="1" b="2"/>
        <p name="x" b="3" c="4"/>
        <q/>
        <o>
            <defaults tag="p" a="9"/>
            <defaults tag="p" e="5"/>
            <p name="inner"/>
        </o>
        <p name="after"/>
    </kel>)");
    ASSERT_EQ(root.children.size(), 5u);
    EXPECT_TRUE(root.children[0].attrs.empty());
    EXPECT_EQ(root.children[1].attrs, (CAttrs{{"a", "1"}, {"b", "3"}, {"c", "4"}}));
    EXPECT_TRUE(root.children[2].attrs.empty());
    EXPECT_EQ(root.children[3].children[0].attrs, (CAttrs{{"a", "9"}, {"b", "2"}, {"e", "5"}}));
    EXPECT_EQ(root.children[4].attrs, (CAttrs{{"a", "1"}, {"b", "2"}}));
}

TEST_F(KelcCompilerTest, NestedMacrosMergeAttributesAndPutTheirChildrenFirst)
{
    const CCompiledNode root = compile(R"(<kel>
        <macro name="base" tag="p" a="1" unit="s"><k name="m1"/></macro>
        <macro name="time" tag="base" a="2" max="9"><k name="m2"/></macro>
        <macro name="group" tag="g"><time name="inner"/></macro>
        <defaults tag="p" z="0" a="d"/>
        <time name="t" max="5" own="y"><k name="own"/></time>
        <group name="gr"/>
    </kel>)");
    ASSERT_EQ(root.children.size(), 2u);
    const CCompiledNode& t = root.children[0];
    EXPECT_EQ(t.tag, "p");
    EXPECT_EQ(t.name, "t");
    EXPECT_EQ(t.attrs, (CAttrs{{"z", "0"}, {"a", "2"}, {"unit", "s"}, {"max", "5"}, {"own", "y"}}));
    ASSERT_EQ(t.children.size(), 3u);
    EXPECT_EQ(t.children[0].name, "m1");
    EXPECT_EQ(t.children[1].name, "m2");
    EXPECT_EQ(t.children[2].name, "own");
    const CCompiledNode& group = root.children[1];
    EXPECT_EQ(group.tag, "g");
    ASSERT_EQ(group.children.size(), 1u);
    EXPECT_EQ(group.children[0].tag, "p");
    EXPECT_EQ(group.children[0].name, "inner");
    EXPECT_EQ(group.children[0].attrs.size(), 4u);
}

TEST_F(KelcCompilerTest, IncludesStandInPlaceAndFindFilesBesideThemOrOnTheSearchPath)
{
    write("sub/inc.xml", R"(<kel>
        <p name="from-inc"/>
        <include file="leaf.xml"/>
        <defaults tag="p" local="1"/>
        <macro name="m" tag="p" via="macro"/>
    </kel>)");
    write("sub/leaf.xml", "<kel><p name=\"leaf\"/></kel>");
    write("lib/shared.xml", "<kel><p name=\"searched\"/></kel>");
    compiler.addIncludeDir(folder + "/lib");
    const CCompiledNode root = compile(R"(<kel>
        <defaults tag="p" outer="1"/>
        <o><include file="sub/inc.xml"/></o>
        <include file="shared.xml"/>
        <m name="after"/>
    </kel>)");
    ASSERT_EQ(root.children.size(), 3u);
    const CCompiledNode& o = root.children[0];
    ASSERT_EQ(o.children.size(), 2u);
    EXPECT_EQ(o.children[0].name, "from-inc");
    EXPECT_EQ(o.children[0].attrs, (CAttrs{{"outer", "1"}}));
    EXPECT_EQ(o.children[1].name, "leaf");
    EXPECT_EQ(root.children[1].name, "searched");
    // The macro of the included file is known after it; its defaults are not.
    EXPECT_EQ(root.children[2].attrs, (CAttrs{{"outer", "1"}, {"via", "macro"}}));

    const std::vector<std::string>& deps = compiler.getDependencies();
    ASSERT_EQ(deps.size(), 4u);
    EXPECT_EQ(deps[0], folder + "/main.xml");
    EXPECT_EQ(deps[1], folder + "/sub/inc.xml");
    EXPECT_EQ(deps[2], folder + "/sub/leaf.xml");
    EXPECT_EQ(deps[3], folder + "/lib/shared.xml");
}

TEST_F(KelcCompilerTest, AFileOfMacrosMayBeIncludedTwice)
{
    write("macros.xml", "<kel><macro name=\"m\" tag=\"p\" a=\"1\"/></kel>");
    const CCompiledNode root =
        compile("<kel><include file=\"macros.xml\"/><include file=\"macros.xml\"/><m/></kel>");
    ASSERT_EQ(root.children.size(), 1u);
    EXPECT_EQ(root.children[0].tag, "p");
}

TEST_F(KelcCompilerTest, TemplatesKeepTheirBodyWithDefaultsAndMacrosExpanded)
{
    const CCompiledNode root = compile(R"(<kel>
        <defaults tag="core:object" d="1"/>
        <macro name="obj" tag="core:object" m="2"><c/></macro>
        <template name="plugin" class="core:object">
            <obj name="body" own="3"><c name="own"/></obj>
        </template>
    </kel>)");
    ASSERT_EQ(root.children.size(), 1u);
    const CCompiledNode& definition = root.children[0];
    EXPECT_TRUE(definition.isTemplate);
    EXPECT_EQ(definition.tag, "template");
    EXPECT_EQ(definition.name, "plugin");
    EXPECT_EQ(definition.classTag, "core:object");
    EXPECT_TRUE(definition.attrs.empty());
    ASSERT_EQ(definition.children.size(), 1u);
    const CCompiledNode& body = definition.children[0];
    EXPECT_EQ(body.tag, "core:object");
    EXPECT_EQ(body.attrs, (CAttrs{{"d", "1"}, {"m", "2"}, {"own", "3"}}));
    EXPECT_EQ(body.children.size(), 2u);
}

TEST_F(KelcCompilerTest, ValuesStayAsWritten)
{
    const CCompiledNode root = compile(
        R"(<kel a="root"><p v="{/shared::project app-version}" w="/^default" x="a &amp; b"/></kel>)");
    EXPECT_EQ(root.attrs, (CAttrs{{"a", "root"}}));
    EXPECT_EQ(
        root.children[0].attrs,
        (CAttrs{{"v", "{/shared::project app-version}"}, {"w", "/^default"}, {"x", "a & b"}}));
}

TEST_F(KelcCompilerTest, TextIsStoredAsEightBitCharacters)
{
    const CCompiledNode root =
        compile("<kel><p label=\"\xC2\xB5s &#176;C\" \xC3\xA9t\xC3\xA9=\"\"/></kel>");
    EXPECT_EQ(root.children[0].attrs, (CAttrs{{"label", "\xB5s \xB0"
                                                        "C"},
                                              {"\xE9t\xE9", ""}}));
    EXPECT_EQ(errorOf("<kel>\n<p arrow=\"&#x2192;\"/></kel>").find(folder + "/main.xml:2: '"), 0u);
    EXPECT_EQ(errorOf("<kel>\n<p bad=\"\xC3(\"/></kel>").find(folder + "/main.xml:2: '"), 0u);
}

TEST_F(KelcCompilerTest, ErrorsNameFileAndLine)
{
    struct CCase
    {
        const char* source;
        const char* expected;
    };
    const CCase cases[] = {
        {"<kel>\n<p/>\n<macro name=\"p\" tag=\"q\"/>\n</kel>",
         "main.xml:3: macro 'p' is defined after its use at "},
        {"<kel>\n\n<include file=\"nowhere.xml\"/></kel>",
         "main.xml:3: include file 'nowhere.xml' not found."},
        {"<kel>\n<template name=\"t\" class=\"c\"/>\n</kel>",
         "main.xml:2: template 't' must have exactly one body element, not 0."},
        {"<kel>\n<template name=\"t\" class=\"c\">\n<c/><c/></template></kel>",
         "main.xml:2: template 't' must have exactly one body element, not 2."},
        {"<kel>\n<template name=\"t\" class=\"c\">\n<d/></template></kel>",
         "main.xml:3: the body of template 't' is 'd', but its class is 'c'."},
        {"<kel>\n<macro name=\"m\" tag=\"a\"/>\n<macro name=\"m\" tag=\"b\"/></kel>",
         "main.xml:3: macro 'm' is already defined at "},
        {"<kel>\n<o>\n<defaults a=\"1\"/></o></kel>", "main.xml:3: <defaults> needs a tag."},
        {"<kel>\n<macro name=\"a\" tag=\"b\"/>\n<macro name=\"b\" tag=\"a\"/>\n<a/></kel>",
         "main.xml:4: macro 'a' expands to itself."},
        {"<kel>\n<macro name=\"a\" tag=\"g\"><a/></macro>\n<a/></kel>",
         "main.xml:2: macro 'a' expands to itself."},
        {"<kel>\n<p>text</p></kel>", "main.xml:2: text is not allowed inside <p>."},
        {"<kel>\n<p a=\"1\" a=\"2\"/></kel>", "main.xml:2: "},
        {"<kel>\n<p>\n</kel>", "main.xml:3: "},
        {"<root/>", "main.xml:1: the root element must be <kel>, not <root>."},
        {"<kel>\n<o><macro name=\"m\" tag=\"p\"/></o></kel>",
         "main.xml:2: macros are defined at the top level of a file."},
    };
    for (const CCase& test : cases)
    {
        const std::string message = errorOf(test.source);
        EXPECT_EQ(message.find(folder + "/" + test.expected), 0u)
            << "source: " << test.source << "\nmessage: " << message;
    }
}

TEST_F(KelcCompilerTest, ErrorsInIncludedFilesNameThatFileAndTheIncludeSite)
{
    write("inc.xml", "<kel>\n\n<template name=\"t\" class=\"c\"/>\n</kel>");
    write("self.xml", "<kel>\n<include file=\"self.xml\"/></kel>");
    std::string message = errorOf("<kel>\n<include file=\"inc.xml\"/></kel>");
    EXPECT_EQ(message.find(folder + "/inc.xml:3: template 't'"), 0u) << message;
    EXPECT_NE(message.find("(included from " + folder + "/main.xml:2)"), std::string::npos)
        << message;
    message = errorOf("<kel>\n<include file=\"self.xml\"/></kel>");
    EXPECT_EQ(message.find(folder + "/self.xml:2: 'self.xml' includes itself."), 0u) << message;
}

TEST_F(KelcCompilerTest, WriterRefusesTreesBeyondTheFormat)
{
    CCompiledNode root;
    root.children.resize(70000);
    for (size_t i = 0; i < root.children.size(); ++i)
        root.children[i].tag = "t" + std::to_string(i);
    std::vector<uint8_t> bytes;
    CError* error = CCompiledTreeWriter::write(root, bytes);
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->getKey(), "kelstr_CCompiledTreeWriter_write_TooManyStrings");
    delete error;

    root.children.resize(65536);
    for (CCompiledNode& child : root.children)
        child.tag = "same";
    error = CCompiledTreeWriter::write(root, bytes);
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->getKey(), "kelstr_CCompiledTreeWriter_write_TooMany");
    delete error;

    root.children.pop_back();
    error = CCompiledTreeWriter::write(root, bytes);
    EXPECT_EQ(error, nullptr);
    delete error;
}

} // namespace
