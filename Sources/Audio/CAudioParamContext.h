#pragma once

#include "Core/CArray.h"

namespace kel
{

class CAudioParamGesture;
class CAudioParamRecorder;
class CAudioParamSink;

// What travels with a change besides its values: who made it, the undo record that collects it,
// the queue that takes it to the audio side, and the notifications that may reach the host.
// Those are collected as pairs of target and value while a parameter's lock is held and delivered
// by runDeferred once it is released; a target already in the list only has its value replaced,
// so a burst of changes gives one call with the last value. Lives on the caller's stack for one
// operation; not shared between threads. [any thread]
class CAudioParamContext
{
public:
    // Receives a deferred value after the lock is released (a host parameter, for instance).
    class CDeferredTarget
    {
    public:
        virtual ~CDeferredTarget() = default;
        virtual void onDeferredValue(double value) = 0;
    };

    CAudioParamContext() = default;
    explicit CAudioParamContext(const void* changeOrigin, CAudioParamRecorder* record = nullptr)
        : origin(changeOrigin), undoRecord(record)
    {
    }
    CAudioParamContext(const CAudioParamContext&) = delete;
    CAudioParamContext& operator=(const CAudioParamContext&) = delete;
    // Whatever is still collected is delivered.
    ~CAudioParamContext() { runDeferred(); }

    // Adds the pair, or replaces the value of a target already listed.
    void addDeferred(CDeferredTarget* target, double value);
    int getDeferredCount() const { return deferred.getCount(); }
    // Delivers the pairs in the order their targets were first added, and empties the list.
    // Call it only with no parameter lock held.
    void runDeferred();

    // Who made the change (a host parameter, a registry, a client); listeners compare it to
    // skip their own echo. Null: nobody in particular.
    const void* origin = nullptr;
    // Collects before and after values for undo; null: the change is not undoable.
    CAudioParamRecorder* undoRecord = nullptr;
    // The user gesture the change belongs to: host parameters it moves open their edit on it
    // before their first value. Null: no gesture (a host's change, a preset, an undo).
    CAudioParamGesture* gesture = nullptr;
    // Takes the change to the audio side instead of the collector's own queue; null: the
    // collector's.
    CAudioParamSink* queue = nullptr;
    // False: the change is stored and queued, but neither published nor sent to listeners.
    bool notify = true;

private:
    struct Deferred
    {
        CDeferredTarget* target;
        double value;
    };

    CArray<Deferred, 8> deferred;
};

} // namespace kel
