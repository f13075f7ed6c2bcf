#pragma once

#include "Audio/CAudioParamContext.h"
#include "Audio/CAudioParamListener.h"
#include "Core/CObject.h"
#include "Core/CString.h"

#include <atomic>

namespace kel
{

class CAudioExtParamHostBridge;
class CAudioParam;
class CAudioParamCollector;

// One parameter as the host sees it: a value from 0 to 1 on one element (item `element-index` of
// group `group`) of the instance's parameter `param-name`, under a name of at most 7 characters
// (`ext-name`: the host's name field holds 8 bytes with the terminator). Tag audio:ext-param; a
// child of the instance's CAudioExtParamList, whose order gives the host index.
//
// A change from the host (setValue) goes through the parameter's setter like any other, with this
// object as origin and no undo record. Every other change of the element is mapped to 0..1 and, if
// it differs from the last value the host knows, queued on the change's context; the context
// delivers it to the host bridge after the parameter's lock is released, so a burst of changes
// under one lock gives one host call with the last value, and nothing of the host runs under the
// lock. The host's own changes are not echoed back. A change made in a user gesture (the context
// carries one) first opens the host's edit of this parameter, once per gesture; the gesture
// closes it.
//
// The tree owns it; the parameter belongs to the collector (the instance's tree). Reads and writes
// take the parameter's lock only. [any thread, the audio thread included, once init has run]
class CAudioExtParam : public CObject,
                       public CAudioParamListener,
                       public CAudioParamContext::CDeferredTarget
{
public:
    static constexpr int kMaxNameLength = 7;

    CAudioExtParam() = default;

    static void registerClass(CClassInfo& info);
    // Resolves the collector, checks the name, takes the parameter (perhaps still unbound: its
    // definition may come later) and starts following it.
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    // The element's value mapped to 0..1; 0.5 with no bound parameter.
    double getValue() const;
    // A value from the host. Sends nothing back to the host.
    void setValue(double valueNorm);
    const CString& getExtName() const { return extName; }
    // The converter's unit word; empty when unbound.
    CString getLabel() const;
    // The current value as the converter writes it (normal form).
    CString getDisplay() const;
    // Any value from 0 to 1 as the converter writes it, for the host's own read-outs.
    CString formatValue(double valueNorm) const;

    // Sets the road to the host and this parameter's index there. [set-up thread]
    void attachHost(CAudioExtParamHostBridge* hostBridge, int index);
    int getHostIndex() const { return hostIndex.load(std::memory_order_relaxed); }
    CAudioParam* getParam() const { return param; }
    int getGroup() const { return group; }

    // CAudioParamListener: a change of the parameter, under its lock.
    void onParamChange(CAudioParam& changed, const CAudioParamChange& change,
                       CAudioParamContext& context, const CAudioParam::CGuard& held) override;
    // CAudioParamContext::CDeferredTarget: the queued value, after the lock.
    void onDeferredValue(double value) override;

private:
    // Delivers the opening of a user gesture to the host, ahead of the gesture's first value.
    class CGestureOpening : public CAudioParamContext::CDeferredTarget
    {
    public:
        explicit CGestureOpening(CAudioExtParam& param) : owner(param) {}
        void onDeferredValue(double value) override;

    private:
        CAudioExtParam& owner;
    };

    // Under the parameter's lock.
    double readNormalised(const CAudioParam::CGuard& held) const;

    // Not owned: both belong to the instance's tree; cleared in detachLinks.
    CAudioParamCollector* collector = nullptr;
    CAudioParam* param = nullptr;
    std::atomic<CAudioExtParamHostBridge*> bridge{nullptr};

    CString extName;
    CString paramName;
    int elementIndex = 0;
    int group = 0;
    std::atomic<int> hostIndex{-1};
    // The value the host knows, under the parameter's lock.
    double sentNorm = 0.5;
    CGestureOpening gestureOpening{*this};
};

} // namespace kel
