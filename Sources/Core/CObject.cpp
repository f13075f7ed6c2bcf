#include "Core/CObject.h"

#include "Core/CDebugChannel.h"
#include "Core/CNotifyServer.h"
#include "Core/CResourceReader.h"
#include "Core/CTemplateDef.h"
#include "Core/CTreeOwner.h"
#include "Core/CTreeReader.h"
#include "Core/CTreeStringTable.h"
#include "Core/CUtf8Path.h"

namespace kel
{

namespace
{

struct CreatorEntry
{
    CObjectCreator creator;
    CClassInfo* info;
};

// The table owns the class infos: they go with it when the library is unloaded.
struct CCreatorTable
{
    CStringMap<CreatorEntry> map;
    ~CCreatorTable()
    {
        for (auto& entry : map)
            delete entry.second.info;
    }
};

CStringMap<CreatorEntry>& creators()
{
    static CCreatorTable table;
    CStringMap<CreatorEntry>& map = table.map;
    return map;
}

CObject* sharedRootObject = nullptr;
CObject::CEventService* eventServiceInstance = nullptr;

// Substitutions that keep producing new braces would otherwise never end.
constexpr int kMaxExpansions = 1024;

// Static members have no object to name, so their errors are made here.
CError* makeDuplicateCreatorError(const char* tag)
{
    return KEL_ERROR(
        "@kelstr_CObject_registerCreator Creator for '%1' has already been registered.", tag);
}

// "item#3" -> "item", 3; no '#' is index 0; an index that does not parse is 0.
void splitName(const CString& text, CString& outBase, int32_t& outIndex)
{
    outIndex = 0;
    const int hash = text.findUnit('#');
    if (hash < 0)
    {
        outBase = text;
        return;
    }
    outBase = text.substring(0, hash);
    text.substring(hash + 1).parseInt(outIndex);
}

// Blank-separated tokens; runs of blanks separate once.
int splitTokens(const CString& text, CArray<CString, 8>& outTokens)
{
    int start = -1;
    const int length = text.getLength();
    for (int i = 0; i <= length; ++i)
    {
        const bool blank = i == length || text.getUnit(i) == ' ';
        if (blank && start >= 0)
        {
            outTokens.add(text.substring(start, i - start));
            start = -1;
        }
        else if (!blank && start < 0)
            start = i;
    }
    return outTokens.getCount();
}

bool beginsWithInheritance(const CString& value)
{
    return value.getUnit(0) == '/' && value.getUnit(1) == '^';
}

} // namespace

// ---- classes and creators ----

void CObject::registerClass(CClassInfo& info)
{
    info.addEventProc<CObject>("release-child-bridged", &CObject::onReleaseChildBridged);
}

const CClassInfo& CObject::getBaseClassInfo()
{
    static const struct CBaseInfo
    {
        CClassInfo info;
        CBaseInfo() { registerClass(info); }
    } base;
    return base.info;
}

CError* CObject::registerCreator(const char* tag, CObjectCreator creator,
                                 CClassRegistration registration)
{
    // The base class info is made with the creators at start-up, not by the first object.
    (void)getBaseClassInfo();
    const CString key(tag);
    if (creators().contains(key))
        return makeDuplicateCreatorError(tag);
    CClassInfo* info = new CClassInfo();
    (registration ? registration : &CObject::registerClass)(*info);
    creators().set(key, CreatorEntry{creator, info});
    return nullptr;
}

CError* CObject::registerCreators(const CCreatorRow* rows, int count)
{
    for (int i = 0; i < count; ++i)
    {
        const CreatorEntry* known = creators().find(CString(rows[i].tag));
        if (known && known->creator == rows[i].creator)
            continue;
        if (CError* error = registerCreator(rows[i].tag, rows[i].creator, rows[i].registration))
            return error;
    }
    return nullptr;
}

bool CObject::hasCreator(const CString& tag)
{
    return creators().contains(tag);
}

void CObject::unregisterCreator(const CString& tag)
{
    if (CreatorEntry* entry = creators().find(tag))
    {
        delete entry->info;
        creators().erase(tag);
    }
}

void CObject::setSharedRoot(CObject* sharedRoot)
{
    sharedRootObject = sharedRoot;
}

CObject* CObject::getSharedRoot()
{
    return sharedRootObject;
}

void CObject::setEventService(CEventService* service)
{
    eventServiceInstance = service;
}

CObject::CEventService* CObject::getEventService()
{
    return eventServiceInstance;
}

// ---- construction and destruction ----

CObject::CObject() : classInfo(&getBaseClassInfo()), root(this) {}

CObject::~CObject()
{
    // Only an object deleted without destroyObject still has children or links here.
    while (!children.isEmpty())
    {
        CObject* child = children.getLast();
        destroyObject(child);
        if (!children.isEmpty() && children.getLast() == child)
            children.removeLast();
    }
    CObject::detachLinks();
    if (!detached && parent)
        parent->onChildRemoved(this);
    delete templateDef;
}

void CObject::destroyObject(CObject* object)
{
    if (!object)
        return;
    object->detachLinks();
    // Children remove themselves from the list as they go, so walk a copy.
    const CArray<CObject*, 8> doomed(object->children);
    for (int i = doomed.getCount() - 1; i >= 0; --i)
        destroyObject(doomed[i]);
    object->detachFromParent();
    object->detached = true;
    delete object;
}

CError* CObject::releaseChildBridged()
{
    if (!parent)
        return nullptr;
    CAttrMap params;
    params.set(CString("sender"), CAttrValue(fullName));
    params.set(CString("event-name"), CAttrValue("release-child-bridged"));
    CObject* owner = parent;
    bool isQueued = false;
    KEL_CHECK(
        CNotifyServer::postToObject(owner, CString("release-child-bridged"), params, isQueued));
    if (isQueued)
        return nullptr;
    // No bridge to carry it: the parent acts now, and nothing of this object is touched after.
    return owner->onReleaseChildBridged(params);
}

// ---- lifecycle ----

CError* CObject::init()
{
    if (templateObject)
        KEL_CHECK(readTemplateBody(kReadSkipChilds));
    if (createParams)
    {
        for (auto& [key, value] : *createParams)
            KEL_CHECK(setAttr(key, value, false));
    }
    state = kStateInitDone;
    return nullptr;
}

CError* CObject::createChilds()
{
    KEL_CHECK(runPendingHandlers());
    state = kStateChildsCreated;
    if (templateObject)
        KEL_CHECK(readTemplateBody(kReadSkipAttrs));
    return nullptr;
}

CError* CObject::initChilds()
{
    readOnly = sharedRootObject == nullptr;
    state = kStateChildsInitDone;
    return nullptr;
}

CError* CObject::onChildAdded(CObject*)
{
    return nullptr;
}

void CObject::onChildRemoved(CObject* child)
{
    const int position = children.indexOf(child);
    if (position >= 0)
        children.removeAt(position);
    if (CIntMap<CObject*>* byIndex = childrenByName.find(child->nameBase))
    {
        CObject** filed = byIndex->find(child->nameIndex);
        if (filed && *filed == child)
            byIndex->erase(child->nameIndex);
        if (byIndex->isEmpty())
        {
            childrenByName.erase(child->nameBase);
            nameCounters.erase(child->nameBase);
        }
    }
    CObject** filedTemplate = namedTemplates.find(child->name);
    if (filedTemplate && *filedTemplate == child)
        namedTemplates.erase(child->name);
}

void CObject::detachLinks()
{
    if (eventServiceInstance)
    {
        for (const EventSubscription& subscription : eventSubscriptions)
            eventServiceInstance->removeListener(this, subscription.senderPath,
                                                 subscription.eventName);
    }
    eventSubscriptions.clear();
    for (auto& [source, unused] : attrSources)
    {
        (void)unused;
        source->attrListeners.erase(this);
    }
    attrSources.clear();
    for (auto& [follower, unused] : attrListeners)
    {
        (void)unused;
        follower->attrSources.erase(this);
    }
    attrListeners.clear();
}

void CObject::detachFromParent()
{
    if (parent)
        parent->onChildRemoved(this);
}

CError* CObject::onLinkedAttr(CObject*, const CString& attrName, const CAttrValue& value)
{
    // The value was expanded where it was set; it is not expanded a second time.
    if (readOnly || attrName.isEmpty())
        return nullptr;
    return storeAttr(attrName, value, true);
}

CError* CObject::onReleaseChildBridged(const CAttrMap& params)
{
    const CAttrValue* sender = params.find(CString("sender"));
    if (!sender)
        return nullptr;
    const CString& senderName = sender->getString();
    for (int i = children.getCount() - 1; i >= 0; --i)
    {
        if (children[i]->fullName == senderName)
        {
            destroyObject(children[i]);
            break;
        }
    }
    return nullptr;
}

// ---- the tree ----

CObject* CObject::findNamedTemplate(const CString& templateName) const
{
    for (const CObject* level = this; level; level = level->parent)
    {
        if (CObject* const* found = level->namedTemplates.find(templateName))
            return *found;
    }
    if (sharedRootObject)
    {
        if (CObject* const* found = sharedRootObject->namedTemplates.find(templateName))
            return *found;
    }
    return nullptr;
}

CError* CObject::addChild(const CString& childTag, const CString& childName, CObject*& outChild,
                          bool allowTemplates)
{
    outChild = nullptr;
    if (readOnly)
        return KEL_ERROR("@kelstr_CObject_addChild_ReadOnly Error adding child to read-only "
                         "object.");
    CObject* templateFound = allowTemplates ? findNamedTemplate(childTag) : nullptr;
    const CString& creatorTag = templateFound ? templateFound->templateDef->classTag : childTag;

    CObject* child = nullptr;
    if (const CreatorEntry* entry = creators().find(creatorTag))
    {
        child = entry->creator();
        child->classInfo = entry->info;
    }
    else
    {
        child = new CObject();
        if (childTag != "template" && childTag != "content")
        {
            const CUtf8Path nameText(childName);
            const CUtf8Path tagText(childTag);
            KEL_LOG("Creating CObject \"%s\" (tag \"%s\")", nameText.get(), tagText.get());
        }
    }

    child->parent = this;
    child->treeOwner = treeOwner;
    child->objectId = treeOwner ? treeOwner->takeObjectId() : -1;
    child->root = root;
    child->tag = childTag;
    child->templateObject = templateFound;
    child->createParams = nullptr;

    // A name already taken moves on to the next free index of its base name.
    CString base;
    int32_t index = 0;
    splitName(childName, base, index);
    CIntMap<CObject*>& byIndex = childrenByName[base];
    if (int32_t* counter = nameCounters.find(base))
    {
        while (byIndex.contains(index))
            index = ++*counter;
    }
    else
        nameCounters.set(base, index);
    byIndex.set(index, child);
    child->nameBase = base;
    child->nameIndex = index;
    child->name = base;
    if (index != 0)
    {
        child->name.append("#");
        child->name.append(CString::fromInt(index));
    }
    if (parent)
    {
        child->fullName = fullName;
        child->fullName.append(".");
        child->fullName.append(child->name);
    }
    else
        child->fullName = child->name;
    child->attributes.set(CString("name"), CAttrValue(child->name));
    child->attributes.set(CString("full-name"), CAttrValue(child->fullName));

    children.add(child);
    KEL_CHECK(onChildAdded(child), destroyObject(child));
    outChild = child;
    return nullptr;
}

CError* CObject::beginCreateChild(const CString& templateName, const CString& childName,
                                  CObject*& outChild)
{
    outChild = nullptr;
    if (!findNamedTemplate(templateName) && !hasCreator(templateName))
        return KEL_ERROR("@kelstr_CObject_createChild_NoTemplate Run-time template '%1' does not "
                         "exist.",
                         templateName);
    KEL_CHECK(addChild(templateName, childName, outChild, true));
    return nullptr;
}

CError* CObject::finishCreateChild(CObject* child, const CAttrMap* params)
{
    child->createParams = params;
    CError* error = child->init();
    child->createParams = nullptr;
    if (!error)
        error = child->createChilds();
    if (!error)
        error = child->initChilds();
    KEL_CHECK(error, destroyObject(child));
    child->state = kStateComplete;
    return nullptr;
}

CError* CObject::makeInvalidClassError(CObject* child)
{
    CError* error = KEL_ERROR("@kelstr_CObject_createChild_InvalidObjectClass Object of invalid "
                              "class created (child tag '%1', child name '%2').",
                              child->tag, child->name);
    destroyObject(child);
    return error;
}

// ---- paths ----

CObject* CObject::findChild(const CString& childName) const
{
    CString base;
    int32_t index = 0;
    splitName(childName, base, index);
    const CIntMap<CObject*>* byIndex = childrenByName.find(base);
    if (!byIndex)
        return nullptr;
    return byIndex->get(index, nullptr);
}

CObject* CObject::findObject(const CString& path) const
{
    const int length = path.getLength();
    const uint16_t first = path.getUnit(0);
    CObject* current = const_cast<CObject*>(this);
    int position = 0;
    if (length == 0 || first == '.' || first == '^')
        current = const_cast<CObject*>(this);
    else if (path.startsWith(CString("shared::")))
    {
        current = sharedRootObject;
        if (!current)
            return nullptr;
        position = 8;
    }
    else
        current = root;

    int segmentStart = position;
    for (; position < length; ++position)
    {
        const uint16_t unit = path.getUnit(position);
        const bool atEnd = position == length - 1;
        if (unit == '/')
        {
            current = root;
            segmentStart = position + 1;
        }
        else if (unit == '^')
        {
            current = current->parent;
            if (!current)
                return nullptr;
            segmentStart = position + 1;
            if (atEnd)
                return current;
        }
        else if (unit == '.')
        {
            if (position > segmentStart)
            {
                current = current->findChild(path.substring(segmentStart, position - segmentStart));
                if (!current)
                    return nullptr;
            }
            segmentStart = position + 1;
            if (atEnd)
                return current;
        }
    }
    if (segmentStart >= length)
        return nullptr;
    return current->findChild(path.substring(segmentStart));
}

CError* CObject::makeFindError(const CString& path) const
{
    return KEL_ERROR("@kelstr_CView_findObjectChecked_FindError Unable to find object '%1' ('%2')",
                     path, fullName);
}

CError* CObject::makeCastError(const CString& path) const
{
    return KEL_ERROR("@kelstr_CView_findObjectChecked_CastError Incompatible type of object '%1' "
                     "('%2')",
                     path, fullName);
}

CError* CObject::findByAttr(const CString& attrName, CString& outPath, CObject*& outObject) const
{
    outObject = nullptr;
    const CAttrValue* value = findAttr(attrName);
    outPath = value ? value->getString() : CString();
    if (outPath.isEmpty())
        return KEL_ERROR("@kelstr_CView_findObjectByAttr_AttrEmpty Object name attribute '%1' "
                         "cannot be empty.",
                         attrName);
    outObject = findObject(outPath);
    if (!outObject)
        return KEL_ERROR("@kelstr_CView_findObjectByAttr_FindError Name attribute '%1' refers to "
                         "a non-existent object '%2' ('%3')",
                         attrName, outPath, fullName);
    return nullptr;
}

CError* CObject::makeAttrCastError(const CString& attrName, const CString& path) const
{
    return KEL_ERROR("@kelstr_CView_findObjectByAttr_CastError Name attribute '%1' refers to "
                     "object '%2' ('%3') of incompatible type.",
                     attrName, path, fullName);
}

// ---- attributes ----

const CAttrValue* CObject::findAttr(const CString& attrName) const
{
    return attributes.find(attrName);
}

const CAttrValue* CObject::findInheritedAttr(const CString& attrName) const
{
    for (const CObject* level = this; level; level = level->parent)
    {
        if (const CAttrValue* value = level->attributes.find(attrName))
            return value;
    }
    return nullptr;
}

void CObject::logMissingAttr(const CString& attrName, const char* typeName) const
{
    if (!CDebugChannel::isCompiledIn())
        return;
    const CUtf8Path nameText(attrName);
    KEL_LOG("attr not found: %s (%s)", nameText.get(), typeName);
}

CString CObject::getAttrString(const CString& attrName) const
{
    if (const CAttrValue* value = findAttr(attrName))
        return value->getString();
    logMissingAttr(attrName, "string");
    return CString();
}

CString CObject::getAttrString(const CString& attrName, const CString& fallback) const
{
    const CAttrValue* value = findAttr(attrName);
    return value ? value->getString() : fallback;
}

bool CObject::getAttrBool(const CString& attrName) const
{
    if (const CAttrValue* value = findAttr(attrName))
        return value->getBool();
    logMissingAttr(attrName, "bool");
    return false;
}

bool CObject::getAttrBool(const CString& attrName, bool fallback) const
{
    const CAttrValue* value = findAttr(attrName);
    return value ? value->getBool() : fallback;
}

int32_t CObject::getAttrInt(const CString& attrName) const
{
    if (const CAttrValue* value = findAttr(attrName))
        return value->getInt();
    logMissingAttr(attrName, "int");
    return 0;
}

int32_t CObject::getAttrInt(const CString& attrName, int32_t fallback) const
{
    const CAttrValue* value = findAttr(attrName);
    return value ? value->getInt() : fallback;
}

double CObject::getAttrDouble(const CString& attrName) const
{
    if (const CAttrValue* value = findAttr(attrName))
        return value->getDouble();
    logMissingAttr(attrName, "double");
    return 0.0;
}

double CObject::getAttrDouble(const CString& attrName, double fallback) const
{
    const CAttrValue* value = findAttr(attrName);
    return value ? value->getDouble() : fallback;
}

void* CObject::getAttrPointer(const CString& attrName) const
{
    if (const CAttrValue* value = findAttr(attrName))
        return value->getPointer();
    logMissingAttr(attrName, "pointer");
    return nullptr;
}

void* CObject::getAttrPointer(const CString& attrName, void* fallback) const
{
    const CAttrValue* value = findAttr(attrName);
    return value ? value->getPointer() : fallback;
}

CError* CObject::setAttr(const CString& attrName, const CAttrValue& value, bool notify)
{
    if (readOnly || attrName.isEmpty())
        return nullptr;
    if (value.isString() && value.getString().findUnit('{') >= 0)
    {
        CString expanded;
        KEL_CHECK(expandExpressions(attrName, value.getString(), expanded));
        KEL_CHECK(storeAttr(attrName, CAttrValue(expanded), notify));
    }
    else
        KEL_CHECK(storeAttr(attrName, value, notify));
    if (attrName == "scheme")
        KEL_CHECK(processSchemeAttribute(getAttrString(attrName)));
    return nullptr;
}

void CObject::storeAttrQuietly(const CString& attrName, const CAttrValue& value)
{
    if (readOnly || attrName.isEmpty())
        return;
    attributes.set(attrName, value);
}

CError* CObject::storeAttr(const CString& attrName, const CAttrValue& value, bool notify)
{
    const CAttrValue* old = attributes.find(attrName);
    const bool changed = !old || !old->isSameAs(value);
    attributes.set(attrName, value);

    const int handler = classInfo->findAttrHandler(attrName);
    if (handler >= 0)
    {
        if (notify)
            KEL_CHECK((this->*classInfo->getHandler(handler))());
        else
        {
            while (pendingHandlers.getCount() <= handler)
                pendingHandlers.add(0);
            pendingHandlers[handler] = 1;
        }
    }
    // An unchanged value tells nobody, so that objects following each other come to rest.
    if (changed && !attrListeners.isEmpty())
        KEL_CHECK(notifyListeners(attrName, value));
    return nullptr;
}

CError* CObject::runPendingHandlers()
{
    for (int i = 0; i < pendingHandlers.getCount(); ++i)
    {
        if (pendingHandlers[i] && i < classInfo->getHandlerCount())
        {
            pendingHandlers[i] = 0;
            KEL_CHECK((this->*classInfo->getHandler(i))());
        }
    }
    return nullptr;
}

CError* CObject::notifyListeners(const CString& attrName, const CAttrValue& value)
{
    // A follower may link or unlink while it is told: walk a copy, and skip those gone meanwhile.
    CArray<CObject*, 16> followers;
    for (auto& [follower, filter] : attrListeners)
    {
        (void)filter;
        followers.add(follower);
    }
    for (CObject* follower : followers)
    {
        const CAttrFilter* filter = attrListeners.find(follower);
        if (!filter)
            continue;
        if (filter->isEmpty())
            KEL_CHECK(follower->onLinkedAttr(this, attrName, value));
        else if (const CString* localName = filter->find(attrName))
        {
            const CString target(*localName);
            KEL_CHECK(follower->onLinkedAttr(this, target, value));
        }
    }
    return nullptr;
}

CError* CObject::expandExpressions(const CString& attrName, const CString& text, CString& outText)
{
    outText = text;
    int open = outText.findLastUnit('{');
    int close = open >= 0 ? outText.findUnit('}', open + 1) : -1;
    for (int round = 0; open >= 0 && close >= 0; ++round)
    {
        if (round == kMaxExpansions)
        {
            const CUtf8Path nameText(attrName);
            KEL_LOG("attribute %s does not settle; kept as it is", nameText.get());
            return nullptr;
        }
        CString result;
        KEL_CHECK(
            evaluateExpression(attrName, outText.substring(open + 1, close - open - 1), result));
        outText.erase(open, close - open + 1);
        outText.insert(open, result);
        open = outText.findLastUnit('{');
        close = open >= 0 ? outText.findUnit('}', open + 1) : -1;
    }
    return nullptr;
}

CError* CObject::evaluateExpression(const CString& attrName, const CString& expression,
                                    CString& outValue)
{
    outValue.clear();
    const uint16_t first = expression.getUnit(0);
    if (expression.isEmpty() || first == '?')
    {
        if (const CAttrValue* value = findInheritedAttr(attrName))
            outValue = value->getString();
        else if (first == '?')
            outValue = expression.substring(1);
        return nullptr;
    }
    if (first == '*')
        return evaluateLiveLink(attrName, expression.substring(1), outValue);
    if (first == '/')
    {
        const int blank = expression.findUnit(' ');
        if (blank < 0)
            return nullptr;
        const CObject* source = findObject(expression.substring(1, blank - 1));
        const CAttrValue* value =
            source ? source->findAttr(expression.substring(blank + 1)) : nullptr;
        if (value)
            outValue = value->getString();
        return nullptr;
    }
    if (const CAttrValue* value = findInheritedAttr(expression))
        outValue = value->getString();
    return nullptr;
}

CObject* CObject::findLinkSource(const CString& token) const
{
    if (token.getUnit(0) == '/')
        return findObject(token.substring(1));
    for (const CObject* level = this; level; level = level->parent)
    {
        if (CObject* child = level->findChild(token))
            return child;
    }
    return nullptr;
}

CError* CObject::evaluateLiveLink(const CString& attrName, const CString& expression,
                                  CString& outValue)
{
    outValue.clear();
    CArray<CString, 8> tokens;
    if (splitTokens(expression, tokens) < 2)
        return nullptr;
    CObject* source = findLinkSource(tokens[0]);
    if (!source || source->readOnly || source == this)
        return nullptr;
    if (attrName != "scheme")
    {
        CAttrFilter filter;
        filter.set(tokens[1], attrName);
        followObject(source, filter);
    }
    if (const CAttrValue* value = source->findAttr(tokens[1]))
        outValue = value->getString();
    return nullptr;
}

void CObject::followObject(CObject* source, const CAttrFilter& filter)
{
    if (!source || source == this)
        return;
    CAttrFilter& entries = source->attrListeners[this];
    for (auto& [sourceName, localName] : filter)
        entries.set(sourceName, localName);
    attrSources.set(source, true);
}

CError* CObject::processSchemeAttribute(const CString& value)
{
    CArray<CString, 8> tokens;
    if (splitTokens(value, tokens) == 0)
        return nullptr;
    CObject* scheme = findLinkSource(tokens[0]);
    if (scheme == this)
        return KEL_ERROR("@kelstr_CObject_processSchemeAttribute_CircularSchemeRef Circular "
                         "scheme '%1' reference.",
                         tokens[0]);
    if (!scheme)
    {
        const CUtf8Path pathText(tokens[0]);
        KEL_LOG("scheme not found: %s", pathText.get());
        return nullptr;
    }
    if (scheme->readOnly)
        return KEL_ERROR("@kelstr_CObject_processSchemeAttribute_ReadOnlyScheme Attaching to "
                         "read-only scheme '%1' is an error.",
                         tokens[0]);
    CAttrFilter filter;
    if (tokens.getCount() > 1)
    {
        for (int i = 1; i < tokens.getCount(); ++i)
        {
            const int equals = tokens[i].findUnit('=');
            if (equals <= 0)
                continue;
            filter.set(tokens[i].substring(0, equals), tokens[i].substring(equals + 1));
        }
        for (auto& [sourceName, localName] : filter)
        {
            if (const CAttrValue* copied = scheme->findAttr(sourceName))
                KEL_CHECK(storeAttr(localName, CAttrValue(*copied), true));
        }
    }
    else
    {
        // The scheme's identity stays its own: its name and full-name are not taken over.
        const CStringMap<CAttrValue> copied(scheme->attributes);
        for (auto& [sourceName, copiedValue] : copied)
        {
            if (sourceName == "scheme" || sourceName == "name" || sourceName == "full-name")
                continue;
            KEL_CHECK(storeAttr(sourceName, copiedValue, true));
        }
    }
    followObject(scheme, filter);
    return nullptr;
}

CString CObject::resolveInheritance(const CString& attrName, const CString& value) const
{
    for (const CObject* level = parent; level; level = level->parent)
    {
        const CAttrValue* inherited = level->attributes.find(attrName);
        if (!inherited)
            continue;
        const CString& text = inherited->getString();
        if (!beginsWithInheritance(text))
            return text;
    }
    return value.substring(2);
}

// ---- events ----

CError* CObject::listenObject(const CString& senderPath, const CString& eventName,
                              const CString& procName)
{
    const CClassInfo::EventEntry* proc = classInfo->findEventProc(procName);
    if (!proc)
    {
        const CUtf8Path procText(procName);
        KEL_LOG("Event handler '%s' not found in listenObject().", procText.get());
        return nullptr;
    }
    eventSubscriptions.add(EventSubscription{senderPath, eventName});
    if (eventServiceInstance)
        KEL_CHECK(eventServiceInstance->addListener(this, *proc, procName, eventName, senderPath));
    return nullptr;
}

CError* CObject::sendEvent(const CString& eventName, CAttrMap& params, bool forceQueued)
{
    params.set(CString("sender"), CAttrValue(fullName));
    params.set(CString("event-name"), CAttrValue(eventName));
    if (eventServiceInstance)
        KEL_CHECK(eventServiceInstance->send(this, eventName, params, forceQueued));
    return nullptr;
}

CError* CObject::callEventProc(const CString& eventName, const CAttrMap& params, bool* outFound)
{
    const CClassInfo::EventEntry* proc = getClassInfo().findEventProc(eventName);
    if (outFound)
        *outFound = proc != nullptr;
    if (!proc)
        return nullptr;
    if (proc->hasParams())
        KEL_CHECK((this->*proc->procWithParams)(params));
    else if (proc->proc)
        KEL_CHECK((this->*proc->proc)());
    return nullptr;
}

void CObject::setEventBridge(uint64_t threadId, CObjectEventBridge* bridge)
{
    bridgeThreadId = threadId;
    eventBridge = bridge;
    bridgeInherited = false;
}

const CObject* CObject::findEventBridgeOwner() const
{
    for (const CObject* level = this; level; level = level->parent)
    {
        if (!level->bridgeInherited)
            return level;
    }
    return nullptr;
}

// ---- plain fields ----

void CObject::setTreeOwner(CTreeOwner* owner)
{
    treeOwner = owner;
    objectId = owner ? owner->takeObjectId() : -1;
}

const char* CObject::kelErrorContextName() const
{
    const char* narrow = fullName.getNarrow();
    return narrow ? narrow : "";
}

// ---- the node reader ----

CError* CObject::loadFromMemory(const void* data, size_t size, bool initSwitch)
{
    KEL_CHECK(loadTree(new CTreeStringTable(static_cast<const uint8_t*>(data), size), initSwitch));
    return nullptr;
}

CError* CObject::loadFromResource(const CString& resourceName, bool initSwitch)
{
    CResourceReader resource;
    KEL_CHECK(resource.open(resourceName));
    int64_t size = 0;
    int64_t position = 0;
    KEL_CHECK(resource.getSize(size));
    KEL_CHECK(resource.getPosition(position));
    const size_t remaining = size > position ? static_cast<size_t>(size - position) : 0;
    if (const uint8_t* data = resource.getData())
    {
        KEL_CHECK(loadFromMemory(data + position, remaining, initSwitch));
        return nullptr;
    }
    // A file has no bytes to point into: the table keeps a copy for the template bodies.
    uint8_t* copy = static_cast<uint8_t*>(CAllocator::alloc(remaining ? remaining : 1));
    if (!copy)
        return KEL_ERROR("@kelstr_CObject_loadFromResource_NoMemory No memory for the %1 bytes of "
                         "resource '%2'.",
                         static_cast<unsigned long long>(remaining), resourceName);
    KEL_CHECK(resource.read(copy, remaining), CAllocator::free(copy));
    KEL_CHECK(loadTree(CTreeStringTable::adoptBytes(copy, remaining), initSwitch));
    return nullptr;
}

CError* CObject::loadTree(CTreeStringTable* table, bool initSwitch)
{
    size_t treeStart = 0;
    CError* error = table->decode(treeStart);
    if (!error)
    {
        CTreeReader reader(table, table->getData() + treeStart,
                           table->getData() + table->getSize());
        error = readNode(reader, initSwitch ? kReadInit : 0);
    }
    // Template definitions read from the tree keep the table alive on their own references.
    table->release();
    return KEL_FRAME(error);
}

CError* CObject::readNode(CTreeReader& reader, int switches)
{
    KEL_CHECK(reader.enterNode());
    struct DepthGuard
    {
        CTreeReader& guarded;
        ~DepthGuard() { guarded.leaveNode(); }
    } depthGuard{reader};

    if (!(switches & kReadHeadConsumed))
        KEL_CHECK(reader.skip(4));
    uint8_t kind = 0;
    KEL_CHECK(reader.readUInt8(kind));
    if (kind != 0)
    {
        if (switches & (kReadSkipAttrs | kReadSkipChilds))
            return KEL_ERROR("@kelstr_CObject_readNode_TemplateBody The body of run-time template "
                             "'%1' is itself a template definition.",
                             tag);
        KEL_CHECK(readTemplateDefinition(reader));
        return nullptr;
    }
    KEL_CHECK(readAttributes(reader, (switches & kReadSkipAttrs) != 0));
    if (switches & kReadInit)
    {
        KEL_CHECK(init());
        KEL_CHECK(createChilds());
    }
    if (!(switches & kReadSkipChilds))
        KEL_CHECK(readChildren(reader));
    if (switches & kReadInit)
    {
        KEL_CHECK(initChilds());
        state = kStateComplete;
    }
    return nullptr;
}

CError* CObject::readAttributes(CTreeReader& reader, bool skip)
{
    uint16_t count = 0;
    KEL_CHECK(reader.readUInt16(count));
    if (skip)
    {
        KEL_CHECK(reader.skip(4 * static_cast<size_t>(count)));
        return nullptr;
    }
    for (int i = 0; i < count; ++i)
    {
        const CString* key = nullptr;
        const CString* value = nullptr;
        KEL_CHECK(reader.readString(key));
        KEL_CHECK(reader.readString(value));
        CString inherited;
        if (beginsWithInheritance(*value))
        {
            inherited = resolveInheritance(*key, *value);
            value = &inherited;
        }
        // Empty and "false" values are taken as they stand: no handler, nobody told. "false" is
        // an int 0, so that it reads "0" as text and false as bool.
        if (value->isEmpty())
            storeAttrQuietly(*key, CAttrValue());
        else if (*value == "false")
            storeAttrQuietly(*key, CAttrValue(static_cast<int32_t>(0)));
        else
            KEL_CHECK(setAttr(*key, CAttrValue(*value), false));
    }
    return nullptr;
}

CError* CObject::readChildren(CTreeReader& reader)
{
    uint16_t count = 0;
    KEL_CHECK(reader.readUInt16(count));
    for (int i = 0; i < count; ++i)
    {
        const CString* childTag = nullptr;
        const CString* childName = nullptr;
        KEL_CHECK(reader.readString(childTag));
        KEL_CHECK(reader.readString(childName));
        CObject* child = nullptr;
        KEL_CHECK(addChild(*childTag, *childName, child, false));
        KEL_CHECK(child->readNode(reader, kReadInit | kReadHeadConsumed), destroyObject(child));
        if (child->templateDef)
            namedTemplates.set(child->name, child);
    }
    return nullptr;
}

CError* CObject::readTemplateDefinition(CTreeReader& reader)
{
    const CString* classTag = nullptr;
    uint32_t bodySize = 0;
    KEL_CHECK(reader.readString(classTag));
    KEL_CHECK(reader.readUInt32(bodySize));
    const uint8_t* body = reader.getCursor();
    // The body stays unread until the template is instantiated.
    KEL_CHECK(reader.skip(bodySize));
    delete templateDef;
    templateDef = new CTemplateDef(reader.getStrings(), *classTag, body, bodySize);
    KEL_CHECK(createChilds());
    KEL_CHECK(initChilds());
    state = kStateComplete;
    return nullptr;
}

CError* CObject::readTemplateBody(int switches)
{
    const CTemplateDef* definition = templateObject->templateDef;
    if (!definition)
        return nullptr;
    CTreeReader reader(definition->strings, definition->body,
                       definition->body + definition->bodySize);
    KEL_CHECK(readNode(reader, switches));
    return nullptr;
}

} // namespace kel
