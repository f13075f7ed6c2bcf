#include "Core/CObject.h"
#include "Core/CResourceTable.h"
#include "CObjectTestFixture.h"
#include "Support/CErrorText.h"
#include "Support/CUtf8.h"

#include <cstring>

using kel::test::CErrorText;
using kel::test::CUtf8;

namespace kel
{
namespace objecttest
{
namespace
{

using Node = CTreeBlobWriter::Node;

TEST_F(CObjectTest, ReaderBuildsTheTreeWithNamesAttributesAndStates)
{
    Node tree;
    tree.attr("title", "Zumbel");
    Node& plugin = tree.add("core:object", "plugin");
    plugin.attr("count", "3");
    plugin.add("test:counting", "knob").attr("level", "7");
    plugin.add("core:object", "item");
    plugin.add("core:object", "item");
    ASSERT_EQ(CErrorText::takeMessage(load(tree)), "");

    EXPECT_EQ(CUtf8::of(root->getAttrString("title")), "Zumbel");
    EXPECT_EQ(root->getState(), CObject::kStateComplete);
    CObject* knob = root->findObject("plugin.knob");
    ASSERT_NE(knob, nullptr);
    EXPECT_NE(dynamic_cast<CCountingObject*>(knob), nullptr);
    EXPECT_EQ(knob->getState(), CObject::kStateComplete);
    EXPECT_EQ(knob->getAttrInt("level"), 7);
    EXPECT_NE(root->findObject("plugin.item#1"), nullptr);
    EXPECT_EQ(root->findObject("plugin")->getAttrInt("count"), 3);
}

TEST_F(CObjectTest, ReaderStoresEmptyAndFalseValuesWithoutHandlers)
{
    Node tree;
    tree.add("test:counting", "a").attr("mode", "").attr("level", "false").attr("flag", "false");
    ASSERT_EQ(CErrorText::takeMessage(load(tree)), "");
    CObject* a = root->findObject("a");
    ASSERT_NE(a, nullptr);
    ASSERT_TRUE(a->hasAttr("mode"));
    EXPECT_TRUE(a->getAttrString("mode").isEmpty());
    EXPECT_EQ(CUtf8::of(a->getAttrString("flag")), "0");
    EXPECT_FALSE(a->getAttrBool("flag"));
    EXPECT_EQ(a->findAttr("flag")->getType(), CAttrValue::kTypeInt);
    EXPECT_TRUE(journal().empty()) << journal()[0];
}

TEST_F(CObjectTest, PendingHandlersRunAtCreateChildsBeforeTheChildren)
{
    Node tree;
    Node& a = tree.add("test:counting", "a");
    a.attr("level", "2").attr("mode", "on");
    a.add("test:counting", "child").attr("mode", "inner");
    ASSERT_EQ(CErrorText::takeMessage(load(tree)), "");
    // Handlers run in the order the class added them, once init is done.
    const std::vector<std::string> expected = {"mode=on state 1", "level=2", "mode=inner state 1"};
    EXPECT_EQ(journal(), expected);
}

TEST_F(CObjectTest, HandlerErrorsDestroyTheChildAndNameTheChain)
{
    Node tree;
    Node& a = tree.add("core:object", "a");
    a.add("core:object", "fine");
    a.add("test:counting", "bad").attr("mode", "fail");
    CObject* target = nullptr;
    root = new CObject();
    ASSERT_EQ(root->addChild("core:object", "target", target), nullptr);
    CError* error = load(tree, target);
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->getMessage(), "Mode refused.");
    bool namesChild = false;
    bool namesTarget = false;
    for (int i = 0; i < error->getFrameCount(); ++i)
    {
        namesChild |= std::strcmp(error->getFrameName(i), "target.a.bad") == 0;
        namesTarget |= std::strcmp(error->getFrameName(i), "target") == 0;
    }
    EXPECT_TRUE(namesChild);
    EXPECT_TRUE(namesTarget);
    delete error;
    // Each level destroys the child that failed and passes the error on.
    EXPECT_EQ(target->findObject(".a"), nullptr);
    EXPECT_EQ(target->getChildCount(), 0);
    EXPECT_EQ(journal().back(), "delete bad");
}

TEST_F(CObjectTest, InheritedValuesWalkUpPastOtherInheritedValues)
{
    Node tree;
    tree.attr("font-name", "Sans");
    Node& a = tree.add("core:object", "a");
    a.attr("font-name", "/^").attr("is-debug", "/^false");
    Node& b = a.add("core:object", "b");
    b.attr("font-name", "/^Mono").attr("is-debug", "/^false").attr("size", "/^9");
    ASSERT_EQ(CErrorText::takeMessage(load(tree)), "");
    CObject* a1 = root->findObject("a");
    CObject* b1 = root->findObject("a.b");
    ASSERT_NE(b1, nullptr);
    EXPECT_EQ(CUtf8::of(a1->getAttrString("font-name")), "Sans");
    EXPECT_EQ(CUtf8::of(b1->getAttrString("font-name")), "Sans");
    // The parent's "false" is an int 0; the child inherits its string form.
    EXPECT_EQ(a1->findAttr("is-debug")->getType(), CAttrValue::kTypeInt);
    EXPECT_EQ(CUtf8::of(b1->getAttrString("is-debug")), "0");
    EXPECT_FALSE(b1->getAttrBool("is-debug"));
    EXPECT_EQ(b1->getAttrInt("size"), 9);
    // A root has no parent: it takes the default at once.
    Node lone;
    lone.attr("font-name", "/^Serif");
    ASSERT_EQ(CErrorText::takeMessage(load(lone)), "");
    EXPECT_EQ(CUtf8::of(root->getAttrString("font-name")), "Serif");
}

TEST_F(CObjectTest, TemplateBodiesAreReadOnlyWhenInstantiated)
{
    Node tree;
    Node& body = tree.addTemplate("ui:thing", "test:counting");
    body.attr("level", "5").attr("colour", "red");
    body.add("test:counting", "part").attr("mode", "p");
    tree.add("core:object", "after");
    ASSERT_EQ(CErrorText::takeMessage(load(tree)), "");
    EXPECT_EQ(CCountingObject::constructed(), 0);
    CObject* definition = root->findNamedTemplate("ui:thing");
    ASSERT_NE(definition, nullptr);
    EXPECT_TRUE(definition->isTemplateDefinition());
    EXPECT_EQ(definition->getState(), CObject::kStateComplete);
    EXPECT_EQ(definition->getChildCount(), 0);
    ASSERT_NE(root->findObject("after"), nullptr);

    // Instantiated after the load has ended: the body's bytes and strings are still there.
    CObject* holder = root->findObject("after");
    CAttrMap params;
    params.set("colour", CAttrValue("blue"));
    CCountingObject* made = nullptr;
    ASSERT_EQ(CErrorText::takeMessage(holder->createChild("ui:thing", "made", made, &params)), "");
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(CCountingObject::constructed(), 2);
    EXPECT_EQ(made->getTemplateObject(), definition);
    EXPECT_EQ(made->getAttrInt("level"), 5);
    EXPECT_EQ(CUtf8::of(made->getAttrString("colour")), "blue");
    EXPECT_EQ(CUtf8::of(made->getAttrString("name")), "made");
    EXPECT_EQ(made->getState(), CObject::kStateComplete);
    CObject* part = made->findObject(".part");
    ASSERT_NE(part, nullptr);
    EXPECT_EQ(CUtf8::of(part->getFullName()), "after.made.part");
    const std::vector<std::string> expected = {"level=5", "mode=p state 1"};
    EXPECT_EQ(journal(), expected);
}

TEST_F(CObjectTest, TemplateDefinitionAsLastChildEndsTheNode)
{
    Node tree;
    Node& first = tree.add("core:object", "first");
    first.add("core:object", "x");
    first.addTemplate("t1", "core:object").attr("k", "1");
    Node& second = tree.add("core:object", "second");
    second.addTemplate("t2", "core:object").add("core:object", "inner");
    second.add("core:object", "y");
    tree.add("core:object", "third");
    ASSERT_EQ(CErrorText::takeMessage(load(tree)), "");
    EXPECT_NE(root->findObject("first.x"), nullptr);
    EXPECT_NE(root->findObject("second.y"), nullptr);
    EXPECT_NE(root->findObject("third"), nullptr);
    EXPECT_EQ(root->getChildCount(), 3);
    EXPECT_EQ(root->findObject("first")->findNamedTemplate("t2"), nullptr);
    EXPECT_NE(root->findObject("second.y")->findNamedTemplate("t2"), nullptr);
}

TEST_F(CObjectTest, TemplatesAreFoundAtAncestorsAndTheSharedRoot)
{
    Node sharedTree;
    sharedTree.addTemplate("plugin", "core:object").add("core:object", "param-collector");
    ASSERT_EQ(CErrorText::takeMessage(load(sharedTree, shared)), "");
    root = new CObject();
    CObject* deep = nullptr;
    ASSERT_EQ(root->addChild("core:object", "deep", deep), nullptr);
    CObject* plugin = nullptr;
    ASSERT_EQ(CErrorText::takeMessage(deep->createChild("plugin", "plugin", plugin)), "");
    EXPECT_NE(root->findObject("deep.plugin.param-collector"), nullptr);
    // The object keeps the tag it was asked for.
    EXPECT_EQ(CUtf8::of(plugin->getTag()), "plugin");
}

TEST_F(CObjectTest, CreateChildRefusesUnknownTemplatesAndWrongClasses)
{
    Node tree;
    tree.addTemplate("ui:thing", "test:other");
    ASSERT_EQ(CErrorText::takeMessage(load(tree)), "");
    CCountingObject* made = nullptr;
    EXPECT_EQ(CErrorText::takeMessage(root->createChild("ui:nothing", "x", made)),
              "Run-time template 'ui:nothing' does not exist.");
    EXPECT_EQ(CErrorText::takeMessage(root->createChild("ui:thing", "x", made)),
              "Object of invalid class created (child tag 'ui:thing', child name 'x').");
    EXPECT_EQ(made, nullptr);
    EXPECT_EQ(root->getChildCount(), 1);
    // A creator tag without a template works as well.
    ASSERT_EQ(CErrorText::takeMessage(root->createChild("test:counting", "y", made)), "");
    EXPECT_EQ(made->getState(), CObject::kStateComplete);
}

TEST_F(CObjectTest, FailingTemplateInstanceLeavesNothing)
{
    Node tree;
    tree.addTemplate("ui:bad", "test:counting").attr("mode", "fail");
    ASSERT_EQ(CErrorText::takeMessage(load(tree)), "");
    CCountingObject* made = nullptr;
    EXPECT_EQ(CErrorText::takeMessage(root->createChild("ui:bad", "b", made)), "Mode refused.");
    EXPECT_EQ(made, nullptr);
    EXPECT_EQ(root->getChildCount(), 1);
}

TEST_F(CObjectTest, LoadsFromTheResourceTable)
{
    Node tree;
    tree.add("core:object", "a").attr("v", "1");
    tree.addTemplate("t", "core:object").attr("w", "2");
    std::vector<uint8_t> blob = CTreeBlobWriter::writeResource(tree);
    const CResourceEntry table[] = {{blob.data(), "Tree.xml"}, {nullptr, nullptr}};
    const CResourceEntry* previous = CResourceTable::getInstalled();
    CResourceTable::install(table);
    root = new CObject();
    EXPECT_EQ(CErrorText::takeMessage(root->loadFromResource("Tree.xml", true)), "");
    EXPECT_EQ(root->findObject("a")->getAttrInt("v"), 1);
    CObject* made = nullptr;
    EXPECT_EQ(CErrorText::takeMessage(root->createChild("t", "m", made)), "");
    EXPECT_EQ(made->getAttrInt("w"), 2);
    CError* missing = root->loadFromResource("tree.xml", true);
    EXPECT_NE(missing, nullptr);
    delete missing;
    CObject::destroyObject(root);
    root = nullptr;
    CResourceTable::install(previous);
}

// Every prefix of a valid tree, and every single-byte change of it, must give an error or a tree,
// never a read outside the bytes (the sanitizer build checks the reads).
TEST_F(CObjectTest, DamagedTreesGiveErrorsNotCrashes)
{
    Node tree;
    tree.attr("a", "1");
    Node& child = tree.add("core:object", "child");
    child.attr("b", "{x}");
    child.addTemplate("t", "core:object").add("core:object", "in");
    tree.add("core:object", "last");
    const std::vector<uint8_t> good = CTreeBlobWriter::write(tree);
    int errors = 0;
    for (size_t length = 0; length < good.size(); ++length)
    {
        std::vector<uint8_t> cut(good.begin(), good.begin() + static_cast<long>(length));
        CObject* target = new CObject();
        CError* error = target->loadFromMemory(cut.data(), cut.size(), true);
        errors += error != nullptr;
        delete error;
        CObject::destroyObject(target);
    }
    EXPECT_EQ(errors, static_cast<int>(good.size()));
    for (size_t at = 0; at < good.size(); ++at)
    {
        std::vector<uint8_t> bent = good;
        bent[at] ^= 0xA5;
        CObject* target = new CObject();
        delete target->loadFromMemory(bent.data(), bent.size(), true);
        CObject::destroyObject(target);
    }
}

TEST_F(CObjectTest, DamagedTreesSayWhatIsWrong)
{
    Node tree;
    tree.add("core:object", "a");
    std::vector<uint8_t> good = CTreeBlobWriter::write(tree);
    root = new CObject();

    std::vector<uint8_t> huge = good;
    huge[3] = 0x7F; // string count far beyond the data
    EXPECT_NE(CErrorText::takeMessage(root->loadFromMemory(huge.data(), huge.size(), true))
                  .find("string count"),
              std::string::npos);

    std::vector<uint8_t> index = good;
    index[index.size() - 7] = 0x40; // the child's tag index
    EXPECT_NE(CErrorText::takeMessage(root->loadFromMemory(index.data(), index.size(), true))
                  .find("String index"),
              std::string::npos);

    EXPECT_NE(CErrorText::takeMessage(root->loadFromMemory(good.data(), good.size() - 1, true))
                  .find("ends at offset"),
              std::string::npos);
    EXPECT_NE(CErrorText::takeMessage(root->loadFromMemory(nullptr, 0, true)).find("too short"),
              std::string::npos);
}

TEST_F(CObjectTest, DeepNestingIsRefused)
{
    Node tree;
    Node* level = &tree;
    for (int i = 0; i < 300; ++i)
        level = &level->add("core:object", "n");
    const std::string message = CErrorText::takeMessage(load(tree));
    EXPECT_NE(message.find("nest deeper"), std::string::npos) << message;
}

} // namespace
} // namespace objecttest
} // namespace kel
