#include "Audio/VST/CAudioWrapperVSTEditor.h"

#include "Audio/VST/CAudioWrapperVST.h"

namespace kel
{

CAudioWrapperVSTEditor::CAudioWrapperVSTEditor(CAudioWrapperVST* owner)
    : AEffEditor(owner), wrapper(owner)
{
    rect.top = 0;
    rect.left = 0;
    rect.bottom = static_cast<int16_t>(kWindowHeight);
    rect.right = static_cast<int16_t>(kWindowWidth);
}

CAudioWrapperVSTEditor::~CAudioWrapperVSTEditor()
{
    close();
}

bool CAudioWrapperVSTEditor::getRect(ERect** rectOut)
{
    *rectOut = &rect;
    return true;
}

bool CAudioWrapperVSTEditor::open(void* parentWindow)
{
    if (systemWindow)
        return false;
    systemWindow = parentWindow;
    return false;
}

void CAudioWrapperVSTEditor::close()
{
    systemWindow = nullptr;
}

void CAudioWrapperVSTEditor::idle()
{
    // Hosts pump this with or without an open window; with no window there is nothing to do.
}

bool CAudioWrapperVSTEditor::onWheel(float distance)
{
    lastWheelDirection = distance > 0.0f ? 1 : 0;
    // No window takes wheel steps yet, so the host keeps the event.
    return false;
}

} // namespace kel
