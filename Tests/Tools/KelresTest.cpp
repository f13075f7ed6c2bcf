// The checking reader and printer of kelres, and a resource table built at build time by kelc
// and kelembed, read back through CResourceReader.
#include "CCompiledTreePrinter.h"
#include "CCompiledTreeReader.h"
#include "CCompiledTreeWriter.h"
#include "CTreeCompiler.h"

#include "Core/CResourceReader.h"
#include "Core/CResourceTable.h"
#include "Support/CErrorText.h"
#include "kel_test_resources.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

using namespace kel;

namespace
{

// The table under test is installed for each test and the previous one put back afterwards.
class KelresTest : public testing::Test
{
protected:
    void SetUp() override
    {
        previous = CResourceTable::getInstalled();
        CResourceTable::install(testres::kResourceTable);
    }
    void TearDown() override { CResourceTable::install(previous); }

    const CResourceEntry* previous = nullptr;
};

// A small tree with a template as last child, in its compiled form.
std::vector<uint8_t> sampleTree()
{
    CCompiledNode root;
    root.children.resize(2);
    root.children[0].tag = "a:p";
    root.children[0].name = "x#1";
    root.children[0].attrs = {{"k", "v \"q\"\\"}, {"e", ""}};
    CCompiledNode& definition = root.children[1];
    definition.tag = "template";
    definition.name = "t";
    definition.isTemplate = true;
    definition.classTag = "c:o";
    definition.children.resize(1);
    definition.children[0].tag = "c:o";
    definition.children[0].children.resize(1);
    definition.children[0].children[0].tag = "d";
    std::vector<uint8_t> bytes;
    EXPECT_EQ(CCompiledTreeWriter::write(root, bytes), nullptr);
    return bytes;
}

std::string readError(const std::vector<uint8_t>& bytes)
{
    CCompiledTreeReader reader;
    CCompiledNode root;
    return test::CErrorText::takeKey(reader.read(bytes.data(), bytes.size(), root));
}

TEST_F(KelresTest, EmbeddedTreeIsTheCompiledSourceInPlace)
{
    CResourceReader resource;
    ASSERT_EQ(resource.open("SharedData.xml"), nullptr);
    ASSERT_TRUE(resource.isEmbedded());
    int64_t size = 0;
    ASSERT_EQ(resource.getSize(size), nullptr);
    const uint8_t* data = resource.getData();
    ASSERT_NE(data, nullptr);

    CTreeCompiler compiler;
    compiler.addIncludeDir(KEL_TOOL_DATA "/Lib");
    CCompiledNode source;
    CError* error = compiler.compile(KEL_TOOL_DATA "/SharedData.xml", source);
    ASSERT_EQ(error, nullptr) << error->getMessage();
    std::vector<uint8_t> expected;
    ASSERT_EQ(CCompiledTreeWriter::write(source, expected), nullptr);
    EXPECT_EQ(std::vector<uint8_t>(data, data + size), expected);

    CCompiledTreeReader reader;
    CCompiledNode embedded;
    ASSERT_EQ(reader.read(data, static_cast<size_t>(size), embedded), nullptr);
    EXPECT_EQ(embedded, source);
    EXPECT_EQ(
        embedded.children[0].children[0].attrs,
        (std::vector<std::pair<std::string, std::string>>{
            {"is-storable", "false"}, {"converter", "time-sec"}, {"min", "0"}, {"max", "90"}}));
}

TEST_F(KelresTest, OtherFilesAreEmbeddedAsTheyAreUnderTheirLiteralName)
{
    std::ifstream file(KEL_TOOL_DATA "/Test.pal", std::ios::binary);
    const std::vector<uint8_t> contents((std::istreambuf_iterator<char>(file)),
                                        std::istreambuf_iterator<char>());
    const uint8_t* data = nullptr;
    size_t size = 0;
    ASSERT_TRUE(CResourceTable::find("../../../Gfx/Palettes/Test.pal", data, size));
    EXPECT_EQ(std::vector<uint8_t>(data, data + size), contents);
    EXPECT_FALSE(CResourceTable::find("Test.pal", data, size));
    EXPECT_EQ(CResourceTable::getCount(), 2);
}

TEST_F(KelresTest, ReaderRefusesEveryCutOfAValidTree)
{
    const std::vector<uint8_t> bytes = sampleTree();
    EXPECT_EQ(readError(bytes), "");
    for (size_t length = 0; length < bytes.size(); ++length)
        EXPECT_NE(readError(std::vector<uint8_t>(bytes.begin(), bytes.begin() + length)), "")
            << "cut at " << length;
    std::vector<uint8_t> longer = bytes;
    longer.push_back(0);
    EXPECT_EQ(readError(longer), "kelstr_CCompiledTreeReader_read_Trailing");
}

TEST_F(KelresTest, ReaderChecksIndicesAndTemplateBodies)
{
    const std::vector<uint8_t> bytes = sampleTree();
    CCompiledTreeReader reader;
    CCompiledNode root;
    ASSERT_EQ(reader.read(bytes.data(), bytes.size(), root), nullptr);
    const size_t treeStart = 8 + bytes[4];
    const size_t stringCount = reader.getStrings().size();

    std::vector<uint8_t> corrupt = bytes;
    corrupt[treeStart] = static_cast<uint8_t>(stringCount); // the root's tag
    EXPECT_EQ(readError(corrupt), "kelstr_CCompiledTreeReader_read_BadIndex");

    // The template is the last 29 bytes: tag, name, kind, class tag, body size (11 bytes),
    // then the body c:o (9) with its child d (9).
    const size_t templateAt = bytes.size() - 11 - 18;
    ASSERT_EQ(bytes[templateAt + 4], 1);
    corrupt = bytes;
    corrupt[templateAt + 7] -= 1;
    EXPECT_EQ(readError(corrupt), "kelstr_CCompiledTreeReader_read_Truncated");
    corrupt = bytes;
    corrupt[templateAt + 5] = corrupt[templateAt]; // class "template", body "c:o"
    EXPECT_EQ(readError(corrupt), "kelstr_CCompiledTreeReader_read_BodyClass");
}

TEST_F(KelresTest, PrinterShowsTagsNamesAttributesAndTemplateBodies)
{
    CCompiledTreeReader reader;
    CCompiledNode root;
    const std::vector<uint8_t> bytes = sampleTree();
    ASSERT_EQ(reader.read(bytes.data(), bytes.size(), root), nullptr);
    root.attrs = {{"ctl", "\x01"}};
    EXPECT_EQ(CCompiledTreePrinter::print(root), "(root) ctl=\"\\x01\"\n"
                                                 "  a:p [x#1] k=\"v \\\"q\\\"\\\\\" e=\"\"\n"
                                                 "  template [t] of c:o\n"
                                                 "    c:o\n"
                                                 "      d\n");
}

} // namespace
