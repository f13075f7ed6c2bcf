#pragma once

#include "Core/CAttrValue.h"
#include "Core/CError.h"
#include "Core/CString.h"

namespace kel
{

class CNotifyServer;
class CObject;
struct CResourceEntry;

// The process-wide side of the framework. init runs once per process, before the first instance
// needs it: it registers the creators (the core's, then those of every registration hook that
// upper libraries added), installs the embedded resources and the notify server, and builds the
// shared tree. Then it hands out one root object per plug-in instance, each with a CTreeOwner
// record that numbers the objects below it; destroyRootObject ends a tree with its record.
// The application owns the shared tree, the notify server and the owner records.
// [any thread; init and the root records take the application lock; a tree is built on the
// calling thread]
class CApplication
{
public:
    // Registers the creator rows of a library (CObject::registerCreators). [start-up]
    using CreatorRegistration = CError* (*)();

    // Hooks run by init after the core's rows, in the order added; one added after init runs at
    // once. Adding the same hook twice adds it once.
    static void addCreatorRegistration(CreatorRegistration registration);

    // Runs once; later calls return at once. resources (null: keep the installed table) become
    // the resource table; sharedResourceName is the shared tree's resource (empty: an empty
    // shared tree). Failures go to the error window and the framework goes on without a shared
    // tree: init itself never fails.
    static void init(const CResourceEntry* resources = nullptr,
                     const char* sharedResourceName = "SharedData.xml");
    static bool isInitialised();

    // Builds the shared tree: "Shared object already exists." the second time.
    [[nodiscard]] static CError* initSharedObject(const CString& resourceName);
    static CObject* getSharedObject();
    // Builds an instance's tree from a resource (empty: an empty root). "No shared object
    // created." without a shared tree. On error nothing is left behind. rootAttributes, when
    // given, are set on the root before the tree is read, so that the tree's nodes see them.
    [[nodiscard]] static CError* initRootObject(CObject*& outRoot, const CString& resourceName,
                                                const CAttrMap* rootAttributes = nullptr);
    // Destroys the tree and removes its owner record. [set-up thread]
    static void destroyRootObject(CObject* root);
    static int getRootCount();

    static CNotifyServer& getNotifyServer();

    // Destroys the shared tree, so that init may build it again; the creators stay registered.
    // Instance trees must be gone. [tests, module unload]
    static void shutdown();

private:
    [[nodiscard]] static CError* registerCreatorsOnce();
    [[nodiscard]] static CError* loadTree(CObject* root, const CString& resourceName);
};

} // namespace kel
