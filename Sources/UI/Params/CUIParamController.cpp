#include "UI/Params/CUIParamController.h"

#include "Core/CGlobalSettings.h"
#include "Core/CTimer.h"
#include "UI/Params/CUIParam.h"
#include "UI/Platform/CNativeWindow.h"
#include "UI/Windows/CWindow.h"

#include <chrono>
#include <cmath>

namespace kel
{

namespace
{

// The merge id of the drag started last; linked drags join it.
int32_t gestureId = 0;

double clampUnit(double value)
{
    return value < 0.0 ? 0.0 : (value > 1.0 ? 1.0 : value);
}

} // namespace

CUIParamController::CUIParamController() = default;

CUIParamController::~CUIParamController() = default;

void CUIParamController::registerClass(CClassInfo& info)
{
    CView::registerClass(info);
    info.addEventProc<CUIParamController>("update-tick", &CUIParamController::onUpdateTick);
    info.addEventProc<CUIParamController>("wheel-tick", &CUIParamController::onWheelTick);
}

CError* CUIParamController::init()
{
    KEL_CHECK(CView::init());
    axisZero = getAttrBool(CString("is-axis-zero"), false);
    return nullptr;
}

CError* CUIParamController::initChilds()
{
    KEL_CHECK(CView::initChilds());
    const double fps = getAttrDouble(CString("update-fps"), 0.0);
    if (fps == 0.0)
        return nullptr;
    CAttrMap params;
    params.set(CString("fps"), CAttrValue(fps));
    KEL_CHECK(
        createChild<CTimer>(CString("core:timer"), CString("update-timer"), updateTimer, &params));
    KEL_CHECK(listenObject(CString(".update-timer"), CString("tick"), CString("update-tick")));
    return nullptr;
}

void CUIParamController::detachLinks()
{
    // A tree that goes ends the gesture; what cannot be sent any more needs no undoing.
    if (dragOpen || wheelOpen)
        delete closeChanges();
    dragOpen = wheelOpen = false;
    selection.clear();
    openChanges.clear();
    lastUIParam = nullptr;
    updateTimer = wheelTimer = nullptr;
    CView::detachLinks();
}

double CUIParamController::nowSec()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

// ---- selection and changes ----

CError* CUIParamController::findUIParam(CUIParam*& out)
{
    const CString path = getAttrString(CString("ui-param"), CString("^ui-param"));
    KEL_CHECK(findObjectChecked(path, out));
    lastUIParam = out;
    return nullptr;
}

CError* CUIParamController::select(int element, int count)
{
    selection.clear();
    CUIParam* uiParam = nullptr;
    KEL_CHECK(findUIParam(uiParam));
    const int all = getAttrInt(CString("ui-param-count"), 1);
    if (element < 0 || count < 0)
    {
        element = 0;
        count = all;
    }
    for (int i = 0; i < count; ++i)
        selection.add(CSelected{uiParam, element + i});
    return nullptr;
}

CError* CUIParamController::openChangesOfSelection(int32_t mergeId)
{
    openChanges.clear();
    CArray<CParamBridge*> bridges;
    for (const CSelected& entry : selection)
    {
        CParamBridge* bridge = entry.uiParam->getBridge();
        // One change per bridge: a second begin would end the first.
        if (!bridge || bridges.contains(bridge))
            continue;
        bridges.add(bridge);
        KEL_CHECK(entry.uiParam->beginChange(entry.element, mergeId));
        openChanges.add(entry.uiParam);
    }
    return nullptr;
}

CError* CUIParamController::closeChanges()
{
    const CArray<CUIParam*> closing(openChanges);
    openChanges.clear();
    for (CUIParam* uiParam : closing)
        KEL_CHECK(uiParam->endChange());
    return nullptr;
}

// ---- a drag ----

CError* CUIParamController::startScale(int newMode, int element, int count, bool link, int x, int y)
{
    if (dragOpen)
        KEL_CHECK(finishScale());
    if (wheelOpen)
        KEL_CHECK(finishWheel());
    KEL_CHECK(select(element, count));
    mode = newMode;
    startValues.clear();
    for (const CSelected& entry : selection)
        startValues.add(entry.uiParam->getNormalisedValue(entry.element));
    // All elements scale by one factor, which keeps their proportions.
    center = 0.0;
    precision = CGlobalSettings::values().dragStep.load(std::memory_order_relaxed);
    if (!link)
        ++gestureId;
    dragInfo.start(x, y);
    dragOpen = true;
    KEL_CHECK(openChangesOfSelection(gestureId));
    return nullptr;
}

double CUIParamController::valueAt(int index, double d) const
{
    const double start = startValues[index];
    if (mode == kModeScale)
        return (start - center) * (1.0 - d * precision) + center;
    return start - d * precision;
}

double CUIParamController::motionToReach(int index, double bound) const
{
    const double start = startValues[index];
    if (mode == kModeScale)
        return (1.0 - (bound - center) / (start - center)) / precision;
    return (start - bound) / precision;
}

CError* CUIParamController::advanceScale(int x, int y, bool isPrecise, bool inverted,
                                         bool clipCheck, double& outValue)
{
    outValue = 0.0;
    if (!dragOpen || mode == kModeRadial || selection.isEmpty())
        return nullptr;
    const CGlobalSettings::CValues& settings = CGlobalSettings::values();
    const double factor = isPrecise ? settings.shiftFactor.load(std::memory_order_relaxed) : 1.0;
    dragInfo.move(x, y, factor);
    if (hidesPointer && !settings.tabletMode.load(std::memory_order_relaxed) &&
        dragInfo.getDistanceFromStart() > kEndlessDragRadius)
    {
        warpPointer(dragInfo.getStartX(), dragInfo.getStartY());
        dragInfo.restartAt(dragInfo.getStartX(), dragInfo.getStartY());
    }

    const int axis = axisZero ? CDragInfo::kAxisX : CDragInfo::kAxisY;
    const double sign = inverted ? -1.0 : 1.0;
    double d = dragInfo.getMotion(axis) * sign;
    if (clipCheck && precision > 0.0)
    {
        // The motion at which the first element reaches its end becomes the limit.
        bool isBeyond = false;
        double reach = 0.0;
        for (int i = 0; i < selection.getCount(); ++i)
        {
            const double v = valueAt(i, d);
            if (v >= -kClipMargin && v <= 1.0 + kClipMargin)
                continue;
            if (mode == kModeScale && startValues[i] == center)
                continue;
            const double at = motionToReach(i, v > 1.0 ? 1.0 : 0.0);
            if (!isBeyond || std::fabs(at) < std::fabs(reach))
                reach = at;
            isBeyond = true;
        }
        if (isBeyond)
        {
            const double limit = reach * sign;
            if (dragInfo.getMotion(axis) > limit)
                dragInfo.setUpperLimit(axis, limit);
            else
                dragInfo.setLowerLimit(axis, limit);
            d = dragInfo.getMotion(axis) * sign;
        }
    }
    for (int i = 0; i < selection.getCount(); ++i)
    {
        const double v = clampUnit(valueAt(i, d));
        KEL_CHECK(selection[i].uiParam->setNormalisedValue(v, selection[i].element));
        if (i == 0)
            outValue = v;
    }
    return nullptr;
}

CError* CUIParamController::setValue(double value)
{
    if (!dragOpen)
        return nullptr;
    for (const CSelected& entry : selection)
        KEL_CHECK(entry.uiParam->setNormalisedValue(clampUnit(value), entry.element));
    return nullptr;
}

CError* CUIParamController::finishScale()
{
    if (!dragOpen)
        return nullptr;
    dragOpen = false;
    selection.clear();
    startValues.clear();
    KEL_CHECK(closeChanges());
    return nullptr;
}

void CUIParamController::warpPointer(int x, int y)
{
    ++warpCount;
    lastWarpX = x;
    lastWarpY = y;
    CViewBasePlacement* windowRoot = getRootView();
    if (!windowRoot)
        return;
    auto* window =
        dynamic_cast<CWindow*>(findObject(windowRoot->getAttrString(CString("window"), CString())));
    if (window && window->getNativeWindow())
        window->getNativeWindow()->warpPointer(x, y);
}

// ---- wheel and reset ----

CError* CUIParamController::runWheelTimer(double intervalSec)
{
    if (!wheelTimer)
    {
        CAttrMap params;
        params.set(CString("interval"), CAttrValue(intervalSec));
        KEL_CHECK(createChild<CTimer>(CString("core:timer"), CString("wheel-timer"), wheelTimer,
                                      &params));
        KEL_CHECK(listenObject(CString(".wheel-timer"), CString("tick"), CString("wheel-tick")));
        return nullptr;
    }
    KEL_CHECK(wheelTimer->setAttr(CString("interval"), CAttrValue(intervalSec)));
    return nullptr;
}

CError* CUIParamController::addWheelDelta(double delta, int element, int count, bool shift)
{
    const CGlobalSettings::CValues& settings = CGlobalSettings::values();
    const double step = delta *
                        (shift ? settings.shiftFactor.load(std::memory_order_relaxed) : 1.0) *
                        settings.wheelStep.load(std::memory_order_relaxed);
    if (dragOpen)
    {
        // Inside a drag the step joins the drag's change.
        for (const CSelected& entry : selection)
            KEL_CHECK(entry.uiParam->setNormalisedValue(
                clampUnit(entry.uiParam->getNormalisedValue(entry.element) + step), entry.element));
        return nullptr;
    }
    CArray<CSelected> previous(selection);
    KEL_CHECK(select(element, count));
    bool isSame = wheelOpen && previous.getCount() == selection.getCount();
    for (int i = 0; isSame && i < selection.getCount(); ++i)
        isSame = previous[i].uiParam == selection[i].uiParam &&
                 previous[i].element == selection[i].element;
    if (!isSame)
    {
        if (wheelOpen)
            KEL_CHECK(closeChanges());
        if (!wheelOpen)
            KEL_CHECK(runWheelTimer(kWheelCheckSec));
        wheelOpen = true;
        KEL_CHECK(openChangesOfSelection(++gestureId));
    }
    lastWheelSec = nowSec();
    for (const CSelected& entry : selection)
        KEL_CHECK(entry.uiParam->setNormalisedValue(
            clampUnit(entry.uiParam->getNormalisedValue(entry.element) + step), entry.element));
    return nullptr;
}

CError* CUIParamController::finishWheel()
{
    if (!wheelOpen)
        return nullptr;
    wheelOpen = false;
    selection.clear();
    if (wheelTimer)
        KEL_CHECK(wheelTimer->setAttr(CString("interval"), CAttrValue(0.0)));
    KEL_CHECK(closeChanges());
    return nullptr;
}

CError* CUIParamController::onWheelTick()
{
    if (wheelOpen && nowSec() - lastWheelSec >= kWheelRestSec)
        KEL_CHECK(finishWheel());
    return nullptr;
}

CError* CUIParamController::resetToDefault(int element, int count)
{
    if (dragOpen)
        KEL_CHECK(finishScale());
    if (wheelOpen)
        KEL_CHECK(finishWheel());
    KEL_CHECK(select(element, count));
    const CArray<CSelected> resetting(selection);
    selection.clear();
    for (const CSelected& entry : resetting)
        KEL_CHECK(entry.uiParam->resetToDefault(entry.element));
    return nullptr;
}

CError* CUIParamController::onUpdateTick()
{
    CUIParam* uiParam = nullptr;
    KEL_CHECK(findUIParam(uiParam));
    KEL_CHECK(uiParam->notifyHandler());
    return nullptr;
}

} // namespace kel
