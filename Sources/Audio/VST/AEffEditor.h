#pragma once

#include "Audio/VST/VstInterface.h"
#include "Core/CCheckedObject.h"

#include <cstdint>

namespace kel
{

class AudioEffect;

// Base of a VST 2 editor: the window a host embeds in its own. The effect owns its editor and
// deletes it first when it goes; the editor keeps a non-owning pointer back. Every operation
// runs on the host's interface thread. [ui thread]
class AEffEditor : public CCheckedObject
{
public:
    explicit AEffEditor(AudioEffect* owner) : effect(owner) {}
    ~AEffEditor() override;
    AEffEditor(const AEffEditor&) = delete;
    AEffEditor& operator=(const AEffEditor&) = delete;

    // Points *rect at the editor's rectangle, which stays owned by the editor. False if unknown.
    virtual bool getRect(ERect** rect)
    {
        *rect = nullptr;
        return false;
    }
    // Builds the window under the host's parent window.
    virtual bool open(void* parentWindow)
    {
        systemWindow = parentWindow;
        return false;
    }
    virtual void close() { systemWindow = nullptr; }
    virtual bool isOpen() const { return systemWindow != nullptr; }
    // The host's periodic call, 15 to 60 times a second or never.
    virtual void idle() {}
    // Key hooks: answer true if the key was used.
    virtual bool onKeyDown(int32_t /*character*/, int32_t /*virtualKey*/, int32_t /*modifiers*/)
    {
        return false;
    }
    virtual bool onKeyUp(int32_t /*character*/, int32_t /*virtualKey*/, int32_t /*modifiers*/)
    {
        return false;
    }
    // Mouse wheel over the window, as some hosts forward it.
    virtual bool onWheel(float /*distance*/) { return false; }
    virtual bool setKnobMode(int32_t /*mode*/) { return false; }

    AudioEffect* getEffect() const { return effect; }

protected:
    AudioEffect* effect;
    void* systemWindow = nullptr;
};

} // namespace kel
