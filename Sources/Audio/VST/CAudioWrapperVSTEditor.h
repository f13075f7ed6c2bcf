#pragma once

#include "Audio/VST/AEffEditor.h"

namespace kel
{

class CAudioWrapperVST;

// The plug-in's editor as the host sees it: the rectangle the host makes room for and the window
// it embeds. The effect owns the editor and deletes it before anything else; the editor points
// back at the effect without owning it. For now the editor reports its size only; open builds
// no window yet. [ui thread]
class CAudioWrapperVSTEditor : public AEffEditor
{
public:
    static constexpr int kWindowWidth = 446;
    static constexpr int kWindowHeight = 215;

    explicit CAudioWrapperVSTEditor(CAudioWrapperVST* owner);
    ~CAudioWrapperVSTEditor() override;

    bool getRect(ERect** rectOut) override;
    // Answers false: there is no window to show yet, and a window that exists is not made twice.
    bool open(void* parentWindow) override;
    void close() override;
    void idle() override;
    // Passes only the direction on: a positive distance is one step up, anything else down.
    bool onWheel(float distance) override;

    CAudioWrapperVST* getWrapper() const { return wrapper; }
    // The direction of the last wheel event (1 up, 0 down), -1 before any.
    int getLastWheelDirection() const { return lastWheelDirection; }

private:
    CAudioWrapperVST* wrapper;
    ERect rect;
    int lastWheelDirection = -1;
};

} // namespace kel
