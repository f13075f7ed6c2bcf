#pragma once

#include "Core/CArray.h"
#include "Core/CAttrValue.h"
#include "Core/CCheckedObject.h"
#include "Core/CClassInfo.h"
#include "Core/CDebugChannel.h"
#include "Core/CError.h"
#include "Core/CIntMap.h"
#include "Core/CPtrMap.h"
#include "Core/CString.h"
#include "Core/CStringMap.h"

#include <cstddef>
#include <cstdint>

namespace kel
{

class CObjectEventBridge;
class CTemplateDef;
class CTreeOwner;
class CTreeReader;
class CTreeStringTable;

// Who follows an object's attributes: source attribute name to the follower's attribute name.
// An empty filter follows every attribute under its own name.
using CAttrFilter = CStringMap<CString>;

// The node of the object tree: a tag, a name, typed attributes and an ordered list of children.
// Every parameter, converter, process definition, view and window is a CObject or owns one. Trees
// are built from compiled tree data (loadFromMemory, loadFromResource) or at run time from the
// templates they define (createChild); each node becomes an object through the creators table
// (registerCreator), tags without a row make a plain CObject.
//
// Ownership: a parent owns its children and destroys them in reverse order of creation
// (destroyObject). Links between objects (attribute listeners and sources, event listeners) own
// nothing and are cleared by detachLinks.
//
// Creation order of a node: addChild; attributes; init; createChilds (pending attribute handlers);
// children, each complete; initChilds; state 4. So a node's attributes see the values of its
// ancestors, not those of later siblings.
//
// Derived classes:
//   - call the base first in init, createChilds, initChilds and detachLinks, then do their part;
//   - clear every non-owning pointer they keep in their detachLinks override;
//   - register attribute handlers and event procedures in a static registerClass(CClassInfo&)
//     that calls their base's registerClass first (see CClassInfo), and add a creator row
//     (CCreatorRow::of<T>(tag)) through registerCreators at application start.
// Inside CObject members, KEL_ERROR, KEL_CHECK and KEL_LOG name the object's full-name. Static
// members of derived classes must not use them (the member kelErrorContextName needs an object).
//
// Trees are built and used on the thread that creates them and are not locked; other threads
// reach them through events. The creators and class info are read-only after start-up.
// [set-up thread]
class CObject : public CCheckedObject
{
public:
    enum State
    {
        kStateCreated = 0,
        kStateInitDone = 1,
        kStateChildsCreated = 2,
        kStateChildsInitDone = 3,
        kStateComplete = 4,
    };

    // Reaches the event system (notify server). Until one is installed, listenObject only
    // records its pairs and sendEvent delivers nothing.
    class CEventService
    {
    public:
        virtual ~CEventService() = default;
        // proc is procName as the listener's class resolved it; queued events carry the name.
        [[nodiscard]] virtual CError* addListener(CObject* listener,
                                                  const CClassInfo::EventEntry& proc,
                                                  const CString& procName, const CString& eventName,
                                                  const CString& senderPath) = 0;
        virtual void removeListener(CObject* listener, const CString& senderPath,
                                    const CString& eventName) = 0;
        [[nodiscard]] virtual CError* send(CObject* sender, const CString& eventName,
                                           CAttrMap& params, bool forceQueued) = 0;
    };

    CObject();
    // Destroys children still left (last first); destroyObject is the way to end an object.
    ~CObject() override;
    CObject(const CObject&) = delete;
    CObject& operator=(const CObject&) = delete;

    // ---- classes and creators [set-up thread] ----

    // The base class registration: the event "release-child-bridged".
    static void registerClass(CClassInfo& info);
    // The class info of a plain CObject (made on first use).
    static const CClassInfo& getBaseClassInfo();
    // Files a creator for tag, with a class info made by registration (null: the base's).
    // A tag registered twice: "Creator for '%1' has already been registered.".
    [[nodiscard]] static CError* registerCreator(const char* tagName, CObjectCreator creator,
                                                 CClassRegistration registration);
    // Registers a library's rows in order; stops at the first error. A row whose tag is known
    // with the same creator already (the library registered before) changes nothing; a tag
    // known with another creator is refused as by registerCreator. Each library has one
    // function that calls this with its table, and the program that starts the application
    // names it: nothing registers from a static initialiser, which a static library may drop.
    [[nodiscard]] static CError* registerCreators(const CCreatorRow* rows, int count);
    template <size_t N> [[nodiscard]] static CError* registerCreators(const CCreatorRow (&rows)[N])
    {
        return registerCreators(rows, static_cast<int>(N));
    }
    static bool hasCreator(const CString& tagName);
    // Removes a row (module unload, tests). Objects made by it must be gone.
    static void unregisterCreator(const CString& tagName);

    // The root of the process-wide shared tree ("shared::" paths); null until the application
    // made it. Not owned here.
    static void setSharedRoot(CObject* sharedRoot);
    static CObject* getSharedRoot();

    static void setEventService(CEventService* service);
    static CEventService* getEventService();

    // ---- loading compiled trees ----

    // Reads a compiled tree whose root node stands for this object (the root's tag and name are
    // not used). With initSwitch, every object runs init, createChilds and initChilds. The bytes
    // stay in use for template bodies: they must outlive every template definition read from them
    // (embedded resources always do). Damaged data gives an error, never a read outside it.
    [[nodiscard]] CError* loadFromMemory(const void* data, size_t size, bool initSwitch);
    // The same for a resource (CResourceReader): an embedded blob is read in place, a file is
    // read into a buffer that lives as long as the templates read from it.
    [[nodiscard]] CError* loadFromResource(const CString& resourceName, bool initSwitch);

    // ---- lifecycle (virtual) ----

    // With a template: reads the template body's attributes, then the creation parameters.
    // Sets state 1. Derived classes call it first, then read their attributes.
    [[nodiscard]] virtual CError* init();
    // Runs the pending attribute handlers, sets state 2; with a template, creates the template
    // body's children.
    [[nodiscard]] virtual CError* createChilds();
    // Called once the children exist. Sets isReadOnly exactly when no shared root exists, and
    // state 3.
    [[nodiscard]] virtual CError* initChilds();
    // After addChild has linked a new child (before its init). The base does nothing.
    [[nodiscard]] virtual CError* onChildAdded(CObject* child);
    // Forgets child: children, the name maps, the templates. An emptied name entry goes.
    virtual void onChildRemoved(CObject* child);
    // Removes this object from all event listener lists and from the followers of its sources,
    // and every follower from its own lists.
    virtual void detachLinks();
    // Calls the parent's onChildRemoved(this).
    virtual void detachFromParent();
    // A followed attribute of sender changed: the base stores it under name, with notification.
    [[nodiscard]] virtual CError* onLinkedAttr(CObject* sender, const CString& attrName,
                                               const CAttrValue& value);
    // Procedure of "release-child-bridged": destroys the child whose full-name is "sender".
    [[nodiscard]] virtual CError* onReleaseChildBridged(const CAttrMap& params);

    // ---- the tree ----

    // Creates an object for tag (with allowTemplates, tag may name a run-time template of this
    // object, an ancestor or the shared root) and links it as the last child, without init.
    // The name may end in "#n"; a name already taken takes the next free index.
    [[nodiscard]] CError* addChild(const CString& childTag, const CString& childName,
                                   CObject*& outChild, bool allowTemplates = false);
    // Instantiates the run-time template (or creator tag) templateName as a complete child of
    // class T; params override the template's attributes. On error outChild is null and nothing
    // is left behind.
    template <class T>
    [[nodiscard]] CError* createChild(const CString& templateName, const CString& childName,
                                      T*& outChild, const CAttrMap* params = nullptr)
    {
        outChild = nullptr;
        CObject* made = nullptr;
        KEL_CHECK(beginCreateChild(templateName, childName, made));
        T* typed = dynamic_cast<T*>(made);
        if (!typed)
            return makeInvalidClassError(made);
        KEL_CHECK(finishCreateChild(made, params));
        outChild = typed;
        return nullptr;
    }
    // Detaches the links, destroys the children from the last to the first, detaches from the
    // parent and deletes. Null is ignored.
    static void destroyObject(CObject* object);
    // Asks the parent to destroy this object, so that an object can end itself from its own
    // procedures. Under an event bridge the request is queued (CNotifyServer::postToObject) and
    // the object goes when the bridge delivers it; outside any bridge the parent is called
    // directly and the object is gone when this returns. The caller must not touch it afterwards.
    [[nodiscard]] CError* releaseChildBridged();

    // ---- paths ----

    // "." or "^" or "" start here, "shared::" at the shared root, anything else at this tree's
    // root; '/' jumps to the root, '^' to the parent, '.' separates child names ("name#n").
    CObject* findObject(const CString& path) const;
    template <class T> [[nodiscard]] CError* findObjectChecked(const CString& path, T*& outObject)
    {
        outObject = nullptr;
        CObject* found = findObject(path);
        if (!found)
            return makeFindError(path);
        outObject = dynamic_cast<T*>(found);
        if (!outObject)
            return makeCastError(path);
        return nullptr;
    }
    // The path is the value of the attribute attrName.
    template <class T>
    [[nodiscard]] CError* findObjectByAttr(const CString& attrName, T*& outObject)
    {
        outObject = nullptr;
        CString path;
        CObject* found = nullptr;
        KEL_CHECK(findByAttr(attrName, path, found));
        outObject = dynamic_cast<T*>(found);
        if (!outObject)
            return makeAttrCastError(attrName, path);
        return nullptr;
    }
    // Child by its full name within this object ("item", "item#3"), or null.
    CObject* findChild(const CString& attrName) const;

    // ---- attributes ----

    const CAttrValue* findAttr(const CString& attrName) const;
    bool hasAttr(const CString& attrName) const { return findAttr(attrName) != nullptr; }
    // Without a default, a missing attribute is logged ("attr not found: %s (string)") and gives
    // the empty value. With one, a missing attribute gives the default silently. A present value
    // that does not convert gives the empty value in both.
    CString getAttrString(const CString& attrName) const;
    CString getAttrString(const CString& attrName, const CString& fallback) const;
    bool getAttrBool(const CString& attrName) const;
    bool getAttrBool(const CString& attrName, bool fallback) const;
    int32_t getAttrInt(const CString& attrName) const;
    int32_t getAttrInt(const CString& attrName, int32_t fallback) const;
    double getAttrDouble(const CString& attrName) const;
    double getAttrDouble(const CString& attrName, double fallback) const;
    void* getAttrPointer(const CString& attrName) const;
    void* getAttrPointer(const CString& attrName, void* fallback) const;
    // Iteration over all attributes, in key order.
    const CStringMap<CAttrValue>& getAttributes() const { return attributes; }

    // Stores an attribute. Text values are first expanded: "{...}" expressions are replaced from
    // the innermost on the right ({}, {?default}, {attr}, {/path attr}, {*path attr} which also
    // makes a live link). Then the attribute's handler runs (now with notify, else at
    // createChilds) and the followers are told. A read-only object and an empty name ignore the
    // call. A handler's or follower's error is returned; the value stays.
    [[nodiscard]] CError* setAttr(const CString& attrName, const CAttrValue& value,
                                  bool notify = true);

    // ---- events (the notify server carries them) ----

    // Looks procName up in the class's event procedures and listens for eventName of the object
    // at senderPath. An unknown procedure is logged and ignored.
    [[nodiscard]] CError* listenObject(const CString& senderPath, const CString& eventName,
                                       const CString& procName);
    // Sets "sender" and "event-name" and sends. Without an event service nothing happens.
    [[nodiscard]] CError* sendEvent(const CString& eventName, CAttrMap& params,
                                    bool forceQueued = false);
    // Calls this object's own procedure of eventName at once, without listeners or a queue.
    // Nothing when the class has none (outFound, if given, tells which).
    [[nodiscard]] CError* callEventProc(const CString& eventName, const CAttrMap& params,
                                        bool* outFound = nullptr);
    // Event bridge data: an object that owns a bridge sets it; its descendants inherit it.
    void setEventBridge(uint64_t threadId, CObjectEventBridge* bridge);
    // The nearest object (this or an ancestor) that set a bridge, or null.
    const CObject* findEventBridgeOwner() const;
    uint64_t getBridgeThreadId() const { return bridgeThreadId; }
    CObjectEventBridge* getEventBridge() const { return eventBridge; }
    bool isBridgeInherited() const { return bridgeInherited; }

    // Makes this object follow attributes of source: filter maps the source's attribute names to
    // this object's (empty: all, under their own names). Ignored for source == this.
    void followObject(CObject* source, const CAttrFilter& filter);
    const CPtrMap<CAttrFilter, CObject*>& getAttrListeners() const { return attrListeners; }
    const CPtrMap<bool, CObject*>& getAttrSources() const { return attrSources; }

    // ---- plain fields ----

    const CString& getTag() const { return tag; }
    // The name as filed under the parent ("item#2"), the name attribute.
    const CString& getName() const { return name; }
    const CString& getFullName() const { return fullName; }
    CObject* getParent() const { return parent; }
    CObject* getRoot() const { return root; }
    int getChildCount() const { return children.getCount(); }
    CObject* getChild(int index) const { return children[index]; }
    int getState() const { return state; }
    bool isReadOnly() const { return readOnly; }
    void setReadOnly(bool value) { readOnly = value; }
    int getObjectId() const { return objectId; }
    CTreeOwner* getTreeOwner() const { return treeOwner; }
    // Makes this object a root of an instance tree: sets the owner and takes an objectId.
    void setTreeOwner(CTreeOwner* owner);
    const CClassInfo& getClassInfo() const { return *classInfo; }
    // The template definition this object was instantiated from, or null.
    CObject* getTemplateObject() const { return templateObject; }
    // True on a template definition object.
    bool isTemplateDefinition() const { return templateDef != nullptr; }
    CObject* findNamedTemplate(const CString& templateName) const;

    // The name errors and logs made inside members carry (see CError.h).
    const char* kelErrorContextName() const;

private:
    struct EventSubscription
    {
        CString senderPath;
        CString eventName;
    };

    // Switches of the node reader.
    enum ReadSwitch
    {
        kReadInit = 1,         // call init, createChilds, initChilds
        kReadHeadConsumed = 2, // the caller has read tag and name
        kReadSkipAttrs = 4,
        kReadSkipChilds = 8,
    };
    // Reads the tree of the table and releases the load's reference to it.
    [[nodiscard]] CError* loadTree(CTreeStringTable* table, bool initSwitch);
    // Reads one node (of a compiled tree or a template body) into this object.
    [[nodiscard]] CError* readNode(CTreeReader& reader, int switches);
    [[nodiscard]] CError* readAttributes(CTreeReader& reader, bool skip);
    [[nodiscard]] CError* readChildren(CTreeReader& reader);
    [[nodiscard]] CError* readTemplateDefinition(CTreeReader& reader);
    [[nodiscard]] CError* readTemplateBody(int switches);
    // The value of an inherited "/^default" attribute.
    CString resolveInheritance(const CString& attrName, const CString& value) const;

    // Steps 4 and 5 of setAttr: handler and followers, for a value already expanded.
    [[nodiscard]] CError* storeAttr(const CString& attrName, const CAttrValue& value, bool notify);
    // Stores without handler or notification (the reader's empty and "false" values).
    void storeAttrQuietly(const CString& attrName, const CAttrValue& value);
    [[nodiscard]] CError* expandExpressions(const CString& attrName, const CString& text,
                                            CString& outText);
    [[nodiscard]] CError* evaluateExpression(const CString& attrName, const CString& expression,
                                             CString& outValue);
    [[nodiscard]] CError* evaluateLiveLink(const CString& attrName, const CString& expression,
                                           CString& outValue);
    [[nodiscard]] CError* processSchemeAttribute(const CString& value);
    [[nodiscard]] CError* notifyListeners(const CString& attrName, const CAttrValue& value);
    [[nodiscard]] CError* runPendingHandlers();
    // This object's attribute, or the nearest ancestor's.
    const CAttrValue* findInheritedAttr(const CString& attrName) const;
    // Link targets: a path behind '/', otherwise a child name here or at an ancestor.
    CObject* findLinkSource(const CString& token) const;
    void logMissingAttr(const CString& attrName, const char* typeName) const;
    void removeFollower(CObject* follower);

    [[nodiscard]] CError* beginCreateChild(const CString& templateName, const CString& childName,
                                           CObject*& outChild);
    [[nodiscard]] CError* finishCreateChild(CObject* child, const CAttrMap* params);
    [[nodiscard]] CError* makeInvalidClassError(CObject* child);
    [[nodiscard]] CError* makeFindError(const CString& path) const;
    [[nodiscard]] CError* makeCastError(const CString& path) const;
    [[nodiscard]] CError* findByAttr(const CString& attrName, CString& outPath,
                                     CObject*& outObject) const;
    [[nodiscard]] CError* makeAttrCastError(const CString& attrName, const CString& path) const;

    const CClassInfo* classInfo;
    CStringMap<CAttrValue> attributes;
    // One byte per class handler; non-zero: still to run at createChilds.
    CArray<uint8_t, 16> pendingHandlers;
    CArray<CObject*, 8> children;
    CString fullName;
    int state = kStateCreated;
    bool readOnly = false;
    bool detached = false;
    CTemplateDef* templateDef = nullptr;
    const CAttrMap* createParams = nullptr;
    CObject* templateObject = nullptr;
    CStringMap<int32_t> nameCounters;
    CStringMap<CIntMap<CObject*>> childrenByName;
    CStringMap<CObject*> namedTemplates;
    CTreeOwner* treeOwner = nullptr;
    CObject* parent = nullptr;
    CObject* root;
    CString tag;
    CString name;
    CString nameBase;
    int32_t nameIndex = 0;
    int objectId = -1;
    uint64_t bridgeThreadId = 0;
    CObjectEventBridge* eventBridge = nullptr;
    bool bridgeInherited = true;
    CPtrMap<CAttrFilter, CObject*> attrListeners;
    CPtrMap<bool, CObject*> attrSources;
    CArray<EventSubscription, 4> eventSubscriptions;
};

} // namespace kel
