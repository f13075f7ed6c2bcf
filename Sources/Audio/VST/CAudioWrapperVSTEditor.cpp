#include "Audio/VST/CAudioWrapperVSTEditor.h"

#include "Audio/CAudioInterfaceBaseConnectorVST.h"
#include "Audio/CAudioInterfaceClient.h"
#include "Audio/CAudioInterfaceClientConnectorVST.h"
#include "Audio/VST/CAudioWrapperVST.h"
#include "Core/CApplication.h"
#include "Core/CSystem.h"
#include "Core/Platform/CRunLoop.h"
#include "UI/Platform/CNativeDisplay.h"
#include "UI/Platform/X11/CX11Display.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Windows/CEditorPump.h"
#include "UI/Windows/CWindow.h"
#include "UI/Windows/CWindowSharedData.h"

#include <cmath>

namespace kel
{

namespace
{

constexpr int kFallbackWidth = 446;
constexpr int kFallbackHeight = 215;

CNativeDisplay* makeX11Display()
{
    return new CX11Display();
}

CAudioWrapperVSTEditor::DisplayMaker displayMaker = &makeX11Display;

} // namespace

void CAudioWrapperVSTEditor::setDisplayMaker(DisplayMaker maker)
{
    displayMaker = maker ? maker : &makeX11Display;
}

CAudioWrapperVSTEditor::CAudioWrapperVSTEditor(CAudioWrapperVST* owner)
    : AEffEditor(owner), wrapper(owner)
{
    readRect();
}

CAudioWrapperVSTEditor::~CAudioWrapperVSTEditor()
{
    close();
}

void CAudioWrapperVSTEditor::readRect()
{
    // Hosts ask while scanning, before open and without a display: the shared tree answers.
    int width = kFallbackWidth;
    int height = kFallbackHeight;
    if (CObject* shared = CObject::getSharedRoot())
    {
        if (CObject* project = shared->findObject(CString("shared::project")))
        {
            width = project->getAttrInt(CString("window-width"), kFallbackWidth);
            height = project->getAttrInt(CString("window-height"), kFallbackHeight);
        }
    }
    const double scale = CUiScale::get();
    rect.top = 0;
    rect.left = 0;
    rect.bottom = static_cast<int16_t>(std::lround(height * scale));
    rect.right = static_cast<int16_t>(std::lround(width * scale));
}

bool CAudioWrapperVSTEditor::getRect(ERect** rectOut)
{
    readRect();
    *rectOut = &rect;
    return true;
}

bool CAudioWrapperVSTEditor::open(void* parentWindow)
{
    if (uiRoot)
        return false;
    // Everything of the editor runs on the thread that opens it, until it closes.
    uiContract.claim();
    // Other editors' stand-in threads may pump this thread's loop: none does while this one is
    // being made (or taken down again).
    CRunLoop::CHold hold(CRunLoop::forThisThread());
    if (CError* error = openEditor(parentWindow))
    {
        closeEditor();
        CSystem::showError(error);
        return false;
    }
    systemWindow = parentWindow;
    return true;
}

CError* CAudioWrapperVSTEditor::openEditor(void* parentWindow)
{
    display = displayMaker();
    KEL_CHECK(display->open());

    CAttrMap rootAttributes;
    rootAttributes.set(CString("PluginRootPtrVar"),
                       CAttrValue(static_cast<void*>(wrapper->getPluginObject())));
    rootAttributes.set(CString("ParentWindow"), CAttrValue(parentWindow));
    rootAttributes.set(CString("plugin-tech"), CAttrValue("VST PlugIn Technology by Steinberg"));
    KEL_CHECK(CApplication::initRootObject(uiRoot, CString("UserInterface.xml"), &rootAttributes));
    KEL_CHECK(uiRoot->findObjectChecked(CString("ui.main-window.window-renderer"), renderer));
    CWindowSharedData* sharedData = nullptr;
    KEL_CHECK(uiRoot->findObjectChecked(CString("ui.window-shared-data"), sharedData));
    sharedData->setDisplay(display);

    // The editor is a client of the instance's audio interface while it is open.
    CAudioInterfaceClientConnectorVST* clientConnector = nullptr;
    KEL_CHECK(uiRoot->findObjectChecked(CString("ui.interface-client-connector"), clientConnector));
    CAudioInterfaceBaseConnectorVST* baseConnector = nullptr;
    if (CObject* plugin = wrapper->getPluginObject())
        KEL_CHECK(plugin->findObjectChecked(CString(".interface-base-connector"), baseConnector));
    if (baseConnector)
    {
        clientConnector->connect(*baseConnector);
        if (CAudioInterfaceClient* client = clientConnector->getClient())
            KEL_CHECK(client->subscribeAll());
        // The answers are queued already: taken now, the first frame shows the values.
        KEL_CHECK(clientConnector->processBaseData());
    }

    KEL_CHECK(renderer->createWindow());
    pump = new CEditorPump();
    KEL_CHECK(pump->start(CRunLoop::forThisThread(), display));
    return nullptr;
}

void CAudioWrapperVSTEditor::close()
{
    uiContract.check("effEditClose");
    // The loop the editor was made on, if any: a close without an editor makes none.
    CRunLoop::CHold hold(uiRoot ? CRunLoop::getCurrent() : nullptr);
    closeEditor();
    systemWindow = nullptr;
}

void CAudioWrapperVSTEditor::closeEditor()
{
    // Nothing of the editor may run while it goes: the fallback thread ends first.
    if (pump)
    {
        pump->stop();
        delete pump;
        pump = nullptr;
    }
    if (renderer)
        renderer->closeWindow();
    renderer = nullptr;
    if (uiRoot)
    {
        CApplication::destroyRootObject(uiRoot);
        uiRoot = nullptr;
    }
    if (display)
    {
        display->close();
        delete display;
        display = nullptr;
    }
    uiContract.release();
}

void CAudioWrapperVSTEditor::idle()
{
    // Hosts pump this with or without an open window (offline renders too).
    uiContract.check("effEditIdle");
    // The audio thread only notes a switch to or from offline rendering; it is shown from here.
    wrapper->publishOffline();
    if (pump)
        pump->idle();
}

bool CAudioWrapperVSTEditor::onWheel(float distance)
{
    if (!renderer || !renderer->getNativeWindow())
        return false;
    return renderer->onHostWheel(distance > 0.0f ? 1 : 0);
}

} // namespace kel
