#include "Core/CObject.h"
#include "Core/CTreeOwner.h"
#include "CObjectTestFixture.h"
#include "Support/CErrorText.h"
#include "Support/CUtf8.h"

using kel::test::CErrorText;
using kel::test::CUtf8;

namespace kel
{
namespace objecttest
{
namespace
{

using Node = CTreeBlobWriter::Node;

CObject* addTo(CObject* parent, const char* tag, const char* name)
{
    CObject* child = nullptr;
    CError* error = parent->addChild(tag, name, child);
    EXPECT_EQ(CErrorText::takeMessage(error), "");
    return child;
}

// Sets the attribute's text and answers the text it then reads as.
std::string setAndRead(CObject* object, const char* name, const char* value)
{
    EXPECT_EQ(CErrorText::takeMessage(object->setAttr(name, value)), "") << name;
    return CUtf8::of(object->getAttrString(name));
}

TEST_F(CObjectTest, TakenNamesMoveToTheNextFreeIndex)
{
    root = new CObject();
    CObject* first = addTo(root, "core:object", "ext-param");
    CObject* second = addTo(root, "core:object", "ext-param");
    CObject* third = addTo(root, "core:object", "ext-param");
    EXPECT_EQ(CUtf8::of(first->getName()), "ext-param");
    EXPECT_EQ(CUtf8::of(second->getName()), "ext-param#1");
    EXPECT_EQ(CUtf8::of(third->getName()), "ext-param#2");

    CObject* seventh = addTo(root, "core:object", "item#7");
    CObject* again = addTo(root, "core:object", "item#7");
    EXPECT_EQ(CUtf8::of(seventh->getName()), "item#7");
    EXPECT_EQ(CUtf8::of(again->getName()), "item#8");
    EXPECT_EQ(root->findChild("item#8"), again);
    EXPECT_EQ(root->findChild("item"), nullptr);

    // A removed child frees its name.
    CObject::destroyObject(second);
    EXPECT_EQ(root->findChild("ext-param#1"), nullptr);
    EXPECT_EQ(root->getChildCount(), 4);
}

TEST_F(CObjectTest, FullNameIsTheDotPathFromTheRoot)
{
    root = new CObject();
    CObject* a = addTo(root, "core:object", "a");
    CObject* b = addTo(a, "core:object", "b");
    CObject* c = addTo(b, "core:object", "c#2");
    EXPECT_EQ(CUtf8::of(a->getFullName()), "a");
    EXPECT_EQ(CUtf8::of(c->getFullName()), "a.b.c#2");
    EXPECT_EQ(CUtf8::of(c->getAttrString("full-name")), "a.b.c#2");
    EXPECT_EQ(CUtf8::of(c->getAttrString("name")), "c#2");
    EXPECT_STREQ(c->kelErrorContextName(), "a.b.c#2");
    EXPECT_EQ(c->getRoot(), root);
    EXPECT_EQ(CUtf8::of(c->getTag()), "core:object");
}

TEST_F(CObjectTest, ErrorsMadeInsideMembersCarryTheFullName)
{
    root = new CObject();
    CObject* a = addTo(root, "core:object", "a");
    CObject* child = addTo(a, "test:counting", "knob");
    CError* error = child->setAttr("mode", "fail");
    ASSERT_NE(error, nullptr);
    ASSERT_GE(error->getFrameCount(), 1);
    EXPECT_STREQ(error->getFrameName(0), "a.knob");
    EXPECT_STREQ(error->getKey(), "kelstr_Test_attrMode");
    delete error;
    // The value stays although the handler refused it.
    EXPECT_EQ(CUtf8::of(child->getAttrString("mode")), "fail");
}

TEST_F(CObjectTest, ObjectIdsComeFromTheTreeOwner)
{
    CTreeOwner owner(3);
    root = new CObject();
    root->setTreeOwner(&owner);
    CObject* a = addTo(root, "core:object", "a");
    CObject* b = addTo(a, "core:object", "b");
    EXPECT_EQ(root->getObjectId(), 0);
    EXPECT_EQ(a->getObjectId(), 1);
    EXPECT_EQ(b->getObjectId(), 2);
    EXPECT_EQ(b->getTreeOwner(), &owner);
    EXPECT_EQ(addTo(shared, "core:object", "s")->getObjectId(), -1);
}

TEST_F(CObjectTest, UnknownTagsMakePlainObjectsAndSayIt)
{
    root = new CObject();
    CObject* a = addTo(root, "core:object", "a");
    CObject* unknown = addTo(a, "ui:nothing", "thing");
    EXPECT_EQ(dynamic_cast<CCountingObject*>(unknown), nullptr);
    addTo(a, "template", "t");
    addTo(a, "content", "c");
    if (CDebugChannel::isCompiledIn())
    {
        EXPECT_TRUE(logged("Creating CObject \"thing\" (tag \"ui:nothing\") // a"));
        EXPECT_EQ(logLines.size(), 1u);
    }
    CObject* counted = addTo(a, "test:counting", "n");
    EXPECT_NE(dynamic_cast<CCountingObject*>(counted), nullptr);
    EXPECT_GE(counted->getClassInfo().findAttrHandler("mode"), 0);
    EXPECT_NE(counted->getClassInfo().findEventProc("release-child-bridged"), nullptr);
}

TEST_F(CObjectTest, SecondCreatorForATagIsRefused)
{
    EXPECT_EQ(CErrorText::takeMessage(
                  CObject::registerCreator("test:counting", &CCreatorRow::create<CCountingObject>,
                                           &CCountingObject::registerClass)),
              "Creator for 'test:counting' has already been registered.");
}

TEST_F(CObjectTest, ReadOnlyObjectsRefuseChildrenAndIgnoreAttributes)
{
    root = new CObject();
    root->setReadOnly(true);
    CObject* child = nullptr;
    EXPECT_EQ(CErrorText::takeMessage(root->addChild("core:object", "a", child)),
              "Error adding child to read-only object.");
    EXPECT_EQ(child, nullptr);
    EXPECT_EQ(root->setAttr("x", "1"), nullptr);
    EXPECT_FALSE(root->hasAttr("x"));
}

TEST_F(CObjectTest, InitChildsMakesObjectsReadOnlyOnlyWithoutASharedRoot)
{
    root = new CObject();
    ASSERT_EQ(root->initChilds(), nullptr);
    EXPECT_FALSE(root->isReadOnly());
    CObject::setSharedRoot(nullptr);
    ASSERT_EQ(root->initChilds(), nullptr);
    EXPECT_TRUE(root->isReadOnly());
    EXPECT_EQ(root->getState(), CObject::kStateChildsInitDone);
    CObject::setSharedRoot(shared);
}

TEST_F(CObjectTest, MissingAttributesAreLoggedAndGiveDefaults)
{
    root = new CObject();
    CObject* a = addTo(root, "core:object", "a");
    EXPECT_TRUE(a->getAttrString("nope").isEmpty());
    EXPECT_EQ(a->getAttrInt("count"), 0);
    EXPECT_FALSE(a->getAttrBool("flag"));
    EXPECT_EQ(a->getAttrDouble("gain"), 0.0);
    EXPECT_EQ(a->getAttrPointer("ptr"), nullptr);
    EXPECT_EQ(a->getAttrInt("count", 5), 5);
    EXPECT_EQ(CUtf8::of(a->getAttrString("nope", "dflt")), "dflt");
    EXPECT_EQ(a->getAttrDouble("gain", 0.5), 0.5);
    if (CDebugChannel::isCompiledIn())
    {
        EXPECT_TRUE(logged("attr not found: nope (string) // a"));
        EXPECT_TRUE(logged("attr not found: count (int) // a"));
        EXPECT_TRUE(logged("attr not found: flag (bool) // a"));
        EXPECT_TRUE(logged("attr not found: gain (double) // a"));
        EXPECT_TRUE(logged("attr not found: ptr (pointer) // a"));
        EXPECT_EQ(logLines.size(), 5u); // the versions with a default stay silent
    }
}

TEST_F(CObjectTest, TypedValuesKeepTheirType)
{
    root = new CObject();
    ASSERT_EQ(root->setAttr("n", static_cast<int32_t>(12)), nullptr);
    ASSERT_EQ(root->setAttr("g", 0.5), nullptr);
    ASSERT_EQ(root->setAttr("b", true), nullptr);
    int target = 0;
    ASSERT_EQ(root->setAttr("p", static_cast<void*>(&target)), nullptr);
    EXPECT_EQ(root->findAttr("n")->getType(), CAttrValue::kTypeInt);
    EXPECT_EQ(CUtf8::of(root->getAttrString("g")), "0.5000");
    EXPECT_EQ(CUtf8::of(root->getAttrString("b")), "true");
    EXPECT_EQ(root->getAttrPointer("p"), &target);
    // Braces in typed values are not expressions: only text is expanded.
    EXPECT_EQ(setAndRead(root, "t", "{n}"), "12");
}

TEST_F(CObjectTest, ExpressionsResolveFromTheRightAndMayBuildEachOther)
{
    root = new CObject();
    CObject* a = addTo(root, "core:object", "a");
    CObject* b = addTo(a, "core:object", "b");
    ASSERT_EQ(root->setAttr("colour", "red"), nullptr);
    ASSERT_EQ(a->setAttr("size", "10"), nullptr);
    ASSERT_EQ(a->setAttr("which", "size"), nullptr);

    EXPECT_EQ(setAndRead(b, "x", "{colour}-{size}"), "red-10");
    EXPECT_EQ(setAndRead(b, "y", "{{which}}"), "10");
    EXPECT_EQ(setAndRead(b, "z", "a{b"), "a{b");
    EXPECT_EQ(setAndRead(b, "w", "x}{"), "x}{");
    EXPECT_EQ(setAndRead(b, "n", "{full-name}.settings"), "a.b.settings");
    EXPECT_EQ(setAndRead(b, "m", "{missing}!"), "!");
}

TEST_F(CObjectTest, EmptyAndDefaultExpressionsInheritTheSameName)
{
    root = new CObject();
    CObject* a = addTo(root, "core:object", "a");
    ASSERT_EQ(root->setAttr("font-name", "Sans"), nullptr);
    EXPECT_EQ(setAndRead(a, "font-name", "{}"), "Sans");
    EXPECT_EQ(setAndRead(a, "font-size", "{?12}"), "12");
    EXPECT_EQ(setAndRead(a, "font-name", "{?Mono}"), "Sans");
}

TEST_F(CObjectTest, PathExpressionsReadOtherObjects)
{
    root = new CObject();
    CObject* a = addTo(root, "core:object", "a");
    CObject* b = addTo(a, "core:object", "b");
    CObject* project = addTo(shared, "core:object", "project");
    ASSERT_EQ(project->setAttr("app-version", "1.2"), nullptr);
    ASSERT_EQ(a->setAttr("placement", "left"), nullptr);
    EXPECT_EQ(setAndRead(b, "v", "{/shared::project app-version}"), "1.2");
    EXPECT_EQ(setAndRead(b, "p", "{/^ placement}"), "left");
    EXPECT_EQ(setAndRead(b, "q", "<{/nowhere placement}>"), "<>");
    EXPECT_EQ(setAndRead(b, "r", "<{/^}>"), "<>");
}

TEST_F(CObjectTest, PathsWalkParentsChildrenAndRoots)
{
    root = new CObject();
    CObject* plugin = addTo(root, "core:object", "plugin");
    CObject* collector = addTo(plugin, "core:object", "param-collector");
    CObject* item = addTo(collector, "core:object", "item");
    CObject* item2 = addTo(collector, "core:object", "item");
    CObject* project = addTo(shared, "core:object", "project");

    EXPECT_EQ(item->findObject("."), item);
    EXPECT_EQ(item->findObject("^"), collector);
    EXPECT_EQ(item->findObject("^^"), plugin);
    EXPECT_EQ(item->findObject("^^^^"), nullptr);
    EXPECT_EQ(item->findObject("plugin.param-collector"), collector);
    EXPECT_EQ(item->findObject("plugin.param-collector.item#1"), item2);
    EXPECT_EQ(item->findObject("plugin..param-collector"), collector);
    EXPECT_EQ(item->findObject("plugin.param-collector."), collector);
    EXPECT_EQ(plugin->findObject(".param-collector.item"), item);
    EXPECT_EQ(item->findObject("^.item#1"), item2);
    EXPECT_EQ(item->findObject("^^/plugin"), plugin);
    EXPECT_EQ(item->findObject("shared::project"), project);
    EXPECT_EQ(item->findObject("shared::"), nullptr);
    EXPECT_EQ(item->findObject(""), nullptr);
    EXPECT_EQ(item->findObject("/"), nullptr);
    EXPECT_EQ(item->findObject("plugin.nothing"), nullptr);
    CObject::setSharedRoot(nullptr);
    EXPECT_EQ(item->findObject("shared::project"), nullptr);
    CObject::setSharedRoot(shared);
}

TEST_F(CObjectTest, CheckedLookupsNameTheObjectAndTheAsker)
{
    root = new CObject();
    CObject* a = addTo(root, "core:object", "a");
    addTo(a, "test:other", "other");
    CCountingObject* counting = nullptr;
    EXPECT_EQ(CErrorText::takeMessage(a->findObjectChecked(".missing", counting)),
              "Unable to find object '.missing' ('a')");
    EXPECT_EQ(CErrorText::takeMessage(a->findObjectChecked(".other", counting)),
              "Incompatible type of object '.other' ('a')");
    COtherObject* other = nullptr;
    EXPECT_EQ(a->findObjectChecked(".other", other), nullptr);
    EXPECT_NE(other, nullptr);

    EXPECT_EQ(CErrorText::takeMessage(a->findObjectByAttr("target", other)),
              "Object name attribute 'target' cannot be empty.");
    ASSERT_EQ(a->setAttr("target", ".gone"), nullptr);
    EXPECT_EQ(CErrorText::takeMessage(a->findObjectByAttr("target", other)),
              "Name attribute 'target' refers to a non-existent object '.gone' ('a')");
    ASSERT_EQ(a->setAttr("target", ".other"), nullptr);
    EXPECT_EQ(CErrorText::takeMessage(a->findObjectByAttr("target", counting)),
              "Name attribute 'target' refers to object '.other' ('a') of incompatible type.");
    EXPECT_EQ(a->findObjectByAttr("target", other), nullptr);
}

TEST_F(CObjectTest, LiveLinksFollowTheSourceAndRunHandlers)
{
    root = new CObject();
    CObject* settings = addTo(root, "core:object", "settings");
    ASSERT_EQ(settings->setAttr("tablet-mode", "false"), nullptr);
    CObject* knob = addTo(root, "test:counting", "knob");
    EXPECT_EQ(setAndRead(knob, "mode", "{*/settings tablet-mode}"), "false");
    ASSERT_EQ(knob->getAttrSources().getCount(), 1);
    EXPECT_EQ(settings->getAttrListeners().getCount(), 1);

    journal().clear();
    ASSERT_EQ(settings->setAttr("tablet-mode", "true"), nullptr);
    EXPECT_EQ(CUtf8::of(knob->getAttrString("mode")), "true");
    ASSERT_EQ(journal().size(), 1u);
    EXPECT_EQ(journal()[0], "mode=true state 0");
    // Unfollowed attributes and unchanged values tell nobody.
    ASSERT_EQ(settings->setAttr("other", "1"), nullptr);
    ASSERT_EQ(settings->setAttr("tablet-mode", "true"), nullptr);
    EXPECT_EQ(journal().size(), 1u);

    // A child name is sought here and at the ancestors.
    CObject* deep = addTo(knob, "core:object", "deep");
    EXPECT_EQ(setAndRead(deep, "t", "{*settings tablet-mode}"), "true");
}

TEST_F(CObjectTest, LinksThatCannotBeMadeGiveEmptyValues)
{
    root = new CObject();
    CObject* a = addTo(root, "core:object", "a");
    CObject* locked = addTo(root, "core:object", "locked");
    ASSERT_EQ(locked->setAttr("v", "1"), nullptr);
    ASSERT_EQ(a->setAttr("v", "2"), nullptr);
    locked->setReadOnly(true);

    EXPECT_EQ(setAndRead(a, "x", "<{*^}>"), "<>");
    EXPECT_EQ(setAndRead(a, "y", "<{*/locked v}>"), "<>");
    EXPECT_EQ(setAndRead(a, "z", "<{*/a v}>"), "<>");
    EXPECT_EQ(setAndRead(a, "u", "<{*/nowhere v}>"), "<>");
    EXPECT_TRUE(a->getAttrSources().isEmpty());
    EXPECT_TRUE(locked->getAttrListeners().isEmpty());
}

TEST_F(CObjectTest, RemovedObjectsLeaveNoLinksBehind)
{
    root = new CObject();
    CObject* source = addTo(root, "core:object", "source");
    CObject* follower = addTo(root, "test:counting", "follower");
    CObject* other = addTo(root, "test:counting", "other");
    ASSERT_EQ(source->setAttr("v", "1"), nullptr);
    ASSERT_EQ(follower->setAttr("mode", "{*/source v}"), nullptr);
    ASSERT_EQ(other->setAttr("mode", "{*/source v}"), nullptr);
    ASSERT_EQ(source->getAttrListeners().getCount(), 2);

    CObject::destroyObject(follower);
    EXPECT_EQ(source->getAttrListeners().getCount(), 1);

    // A former source that detached tells nobody.
    source->detachLinks();
    EXPECT_TRUE(other->getAttrSources().isEmpty());
    journal().clear();
    ASSERT_EQ(source->setAttr("v", "2"), nullptr);
    EXPECT_TRUE(journal().empty());
    EXPECT_EQ(CUtf8::of(other->getAttrString("mode")), "1");

    ASSERT_EQ(other->setAttr("mode", "{*/source v}"), nullptr);
    CObject::destroyObject(source);
    EXPECT_TRUE(other->getAttrSources().isEmpty());
}

TEST_F(CObjectTest, ObjectsFollowingEachOtherComeToRest)
{
    root = new CObject();
    CObject* a = addTo(root, "core:object", "a");
    CObject* b = addTo(root, "core:object", "b");
    ASSERT_EQ(a->setAttr("v", "1"), nullptr);
    ASSERT_EQ(b->setAttr("v", "{*/a v}"), nullptr);
    ASSERT_EQ(a->setAttr("v", "{*/b v}"), nullptr);
    ASSERT_EQ(b->setAttr("v", "7"), nullptr);
    EXPECT_EQ(CUtf8::of(a->getAttrString("v")), "7");
    ASSERT_EQ(a->setAttr("v", "8"), nullptr);
    EXPECT_EQ(CUtf8::of(b->getAttrString("v")), "8");
}

TEST_F(CObjectTest, SchemesCopyAndFollowAttributes)
{
    root = new CObject();
    CObject* scheme = addTo(root, "core:object", "scheme");
    ASSERT_EQ(scheme->setAttr("colour", "red"), nullptr);
    ASSERT_EQ(scheme->setAttr("size", "3"), nullptr);
    CObject* all = addTo(root, "core:object", "all");
    CObject* some = addTo(root, "core:object", "some");
    ASSERT_EQ(all->setAttr("scheme", "/scheme"), nullptr);
    ASSERT_EQ(some->setAttr("scheme", "/scheme colour=tint"), nullptr);
    EXPECT_EQ(CUtf8::of(all->getAttrString("colour")), "red");
    EXPECT_EQ(CUtf8::of(all->getAttrString("name")), "all");
    EXPECT_EQ(CUtf8::of(some->getAttrString("tint")), "red");
    EXPECT_FALSE(some->hasAttr("size"));

    ASSERT_EQ(scheme->setAttr("colour", "blue"), nullptr);
    ASSERT_EQ(scheme->setAttr("size", "4"), nullptr);
    EXPECT_EQ(CUtf8::of(all->getAttrString("colour")), "blue");
    EXPECT_EQ(CUtf8::of(all->getAttrString("size")), "4");
    EXPECT_EQ(CUtf8::of(some->getAttrString("tint")), "blue");
    EXPECT_FALSE(some->hasAttr("size"));

    EXPECT_EQ(CErrorText::takeMessage(scheme->setAttr("scheme", "/scheme")),
              "Circular scheme '/scheme' reference.");
    scheme->setReadOnly(true);
    CObject* late = addTo(root, "core:object", "late");
    EXPECT_EQ(CErrorText::takeMessage(late->setAttr("scheme", "/scheme")),
              "Attaching to read-only scheme '/scheme' is an error.");
}

TEST_F(CObjectTest, DestructionDetachesThenDestroysChildrenLastFirst)
{
    root = new CObject();
    CObject* parent = addTo(root, "test:counting", "p");
    addTo(parent, "test:counting", "c1");
    CObject* c2 = addTo(parent, "test:counting", "c2");
    addTo(c2, "test:counting", "g");
    addTo(parent, "test:counting", "c3");
    journal().clear();
    CObject::destroyObject(parent);
    const std::vector<std::string> expected = {
        "detach p", "detach c3", "delete c3", "detach c2", "detach g",
        "delete g", "delete c2", "detach c1", "delete c1", "delete p",
    };
    EXPECT_EQ(journal(), expected);
    EXPECT_EQ(root->getChildCount(), 0);
    EXPECT_EQ(root->findChild("p"), nullptr);
}

TEST_F(CObjectTest, ReleaseChildBridgedEndsTheChild)
{
    root = new CObject();
    CObject* a = addTo(root, "core:object", "a");
    CObject* keep = addTo(a, "core:object", "keep");
    CObject* doomed = addTo(a, "test:counting", "doomed");
    addTo(doomed, "core:object", "inner");
    ASSERT_EQ(doomed->releaseChildBridged(), nullptr);
    ASSERT_EQ(a->getChildCount(), 1);
    EXPECT_EQ(a->getChild(0), keep);
    EXPECT_EQ(journal().back(), "delete doomed");
}

class CRecordingEventService : public CObject::CEventService
{
public:
    CError* addListener(CObject*, const CClassInfo::EventEntry& proc, const CString& procName,
                        const CString& eventName, const CString& senderPath) override
    {
        calls.push_back("add " + CUtf8::of(senderPath) + " " + CUtf8::of(eventName) + " " +
                        CUtf8::of(procName) + (proc.proc ? " plain" : " params"));
        return nullptr;
    }
    void removeListener(CObject*, const CString& senderPath, const CString& eventName) override
    {
        calls.push_back("remove " + CUtf8::of(senderPath) + " " + CUtf8::of(eventName));
    }
    CError* send(CObject*, const CString& eventName, CAttrMap& params, bool) override
    {
        calls.push_back("send " + CUtf8::of(eventName) + " from " +
                        CUtf8::of(params.find("sender")->getString()));
        return nullptr;
    }
    std::vector<std::string> calls;
};

TEST_F(CObjectTest, ListenersAreRecordedAndTakenOutOnDetach)
{
    CRecordingEventService service;
    CObject::setEventService(&service);
    root = new CObject();
    CObject* knob = addTo(root, "test:counting", "knob");
    ASSERT_EQ(knob->listenObject("/timer", "tick", "ping"), nullptr);
    ASSERT_EQ(knob->listenObject("/timer", "tick", "nonexistent"), nullptr);
    ASSERT_EQ(knob->listenObject("^", "bye", "release-child-bridged"), nullptr);
    CAttrMap params;
    ASSERT_EQ(knob->sendEvent("update", params), nullptr);
    CObject::destroyObject(knob);
    CObject::setEventService(nullptr);
    const std::vector<std::string> expected = {
        "add /timer tick ping plain",
        "add ^ bye release-child-bridged params",
        "send update from knob",
        "remove /timer tick",
        "remove ^ bye",
    };
    EXPECT_EQ(service.calls, expected);
    if (CDebugChannel::isCompiledIn())
    {
        EXPECT_TRUE(logged("Event handler 'nonexistent' not found in listenObject(). // knob"));
    }
}

TEST_F(CObjectTest, EventBridgeIsInheritedFromTheNearestOwner)
{
    root = new CObject();
    CObject* window = addTo(root, "core:object", "window");
    CObject* view = addTo(window, "core:object", "view");
    EXPECT_EQ(view->findEventBridgeOwner(), nullptr);
    window->setEventBridge(77, nullptr);
    EXPECT_EQ(view->findEventBridgeOwner(), window);
    EXPECT_TRUE(view->isBridgeInherited());
    EXPECT_EQ(window->getBridgeThreadId(), 77u);
}

} // namespace
} // namespace objecttest
} // namespace kel
