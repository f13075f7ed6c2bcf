#include "Core/CApplication.h"

#include "Core/CArray.h"
#include "Core/CCoreCreators.h"
#include "Core/CDebugChannel.h"
#include "Core/CIntMap.h"
#include "Core/CNotifyServer.h"
#include "Core/CObject.h"
#include "Core/CResourceTable.h"
#include "Core/CSystem.h"
#include "Core/CTreeOwner.h"
#include "Core/CUtf8Path.h"

namespace kel
{

namespace
{
struct ApplicationState
{
    CLock lock{4000};
    bool isInitialised = false;
    bool hasCreators = false;
    CArray<CApplication::CreatorRegistration, 8> registrations;
    CObject* sharedObject = nullptr;
    int rootCounter = 0;
    CIntMap<CTreeOwner*> owners;
    CNotifyServer notifyServer;
};

ApplicationState& state()
{
    static ApplicationState* application = new ApplicationState();
    return *application;
}
} // namespace

void CApplication::addCreatorRegistration(CreatorRegistration registration)
{
    ApplicationState& application = state();
    bool isLate = false;
    {
        CLockGuard guard(application.lock);
        if (application.registrations.contains(registration))
            return;
        application.registrations.add(registration);
        isLate = application.hasCreators;
    }
    if (isLate)
        CSystem::showError(registration());
}

void CApplication::init(const CResourceEntry* resources, const char* sharedResourceName)
{
    ApplicationState& application = state();
    CLockGuard guard(application.lock);
    if (application.isInitialised)
        return;
    application.isInitialised = true;
    KEL_LOG("Initializing application...");
    application.notifyServer.install();
    CSystem::showError(registerCreatorsOnce());
    if (resources)
        CResourceTable::install(resources);
    CSystem::showError(initSharedObject(CString(sharedResourceName)));
}

bool CApplication::isInitialised()
{
    ApplicationState& application = state();
    CLockGuard guard(application.lock);
    return application.isInitialised;
}

CError* CApplication::registerCreatorsOnce()
{
    ApplicationState& application = state();
    if (application.hasCreators)
        return nullptr;
    application.hasCreators = true;
    KEL_CHECK(CCoreCreators::registerAll());
    for (CreatorRegistration registration : application.registrations)
        KEL_CHECK(registration());
    return nullptr;
}

CError* CApplication::loadTree(CObject* root, const CString& resourceName)
{
    if (resourceName.isEmpty())
    {
        KEL_CHECK(root->init());
        KEL_CHECK(root->createChilds());
        KEL_CHECK(root->initChilds());
        return nullptr;
    }
    // Through the resource reader: an embedded resource, else the file of that name, and the
    // reader's own message when neither is there.
    KEL_CHECK(root->loadFromResource(resourceName, true));
    return nullptr;
}

CError* CApplication::initSharedObject(const CString& resourceName)
{
    if (CObject::getSharedRoot())
        return KEL_ERROR("@kelstr_CApplication_initSharedObject Shared object already exists.");
    auto* shared = new CObject();
    // Set before the tree is read, so that "shared::" paths work inside it.
    CObject::setSharedRoot(shared);
    KEL_CHECK(loadTree(shared, resourceName), CObject::setSharedRoot(nullptr),
              CObject::destroyObject(shared));
    state().sharedObject = shared;
    return nullptr;
}

CObject* CApplication::getSharedObject()
{
    return CObject::getSharedRoot();
}

CError* CApplication::initRootObject(CObject*& outRoot, const CString& resourceName,
                                     const CAttrMap* rootAttributes)
{
    outRoot = nullptr;
    if (!CObject::getSharedRoot())
        return KEL_ERROR("@kelstr_CApplication_initRootObject No shared object created.");
    ApplicationState& application = state();
    auto* root = new CObject();
    {
        CLockGuard guard(application.lock);
        auto* owner = new CTreeOwner(++application.rootCounter);
        application.owners.set(owner->getRootId(), owner);
        root->setTreeOwner(owner);
    }
    CError* error = nullptr;
    if (rootAttributes)
    {
        for (auto& [attrName, value] : *rootAttributes)
        {
            error = root->setAttr(attrName, value, false);
            if (error)
                break;
        }
    }
    if (!error)
        error = loadTree(root, resourceName);
    if (error)
    {
        destroyRootObject(root);
        KEL_CHECK(error);
    }
    outRoot = root;
    return nullptr;
}

void CApplication::destroyRootObject(CObject* root)
{
    if (!root)
        return;
    CTreeOwner* owner = root->getTreeOwner();
    CObject::destroyObject(root);
    if (!owner)
        return;
    ApplicationState& application = state();
    CLockGuard guard(application.lock);
    application.owners.erase(owner->getRootId());
    delete owner;
}

int CApplication::getRootCount()
{
    ApplicationState& application = state();
    CLockGuard guard(application.lock);
    return application.owners.getCount();
}

CNotifyServer& CApplication::getNotifyServer()
{
    return state().notifyServer;
}

void CApplication::shutdown()
{
    ApplicationState& application = state();
    CObject* shared = nullptr;
    {
        CLockGuard guard(application.lock);
        application.isInitialised = false;
        shared = application.sharedObject;
        application.sharedObject = nullptr;
    }
    if (shared)
    {
        CObject::destroyObject(shared);
        CObject::setSharedRoot(nullptr);
    }
}

} // namespace kel
