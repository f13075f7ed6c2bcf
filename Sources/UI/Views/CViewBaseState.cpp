#include "UI/Views/CViewBaseState.h"

#include "Core/Platform/CTickClock.h"
#include "UI/Views/CViewCommand.h"
#include "UI/Views/CViewState.h"
#include "UI/Windows/CWindow.h"

#include <cmath>

namespace kel
{

namespace
{

constexpr double kPi = 3.14159265358979323846;
// The colour change counts as finished from this position of the eased curve on.
constexpr double kColorMorphEnd = 0.95;
const char* const kMorphAttrNames[CViewBaseState::kMorphCount] = {"opacity", "width", "height"};

double tickClock()
{
    return static_cast<double>(CTickClock::tickCountMs()) / 1000.0;
}

CViewBaseState::CClockSource clockSource = nullptr;

// The slow start and slow end of every state change.
double easeCurve(double t)
{
    return 0.5 * (1.0 + std::sin(kPi * t - kPi / 2.0));
}

// Position 0.0 to 1.0 of the clock between start and end.
double timePosition(double now, double start, double end)
{
    const double t = (now - start) / (end - start);
    if (t > 1.0)
        return 1.0;
    return t < 0.0 ? 0.0 : t;
}

int morphIndexOf(const CString& attrName)
{
    for (int i = 0; i < CViewBaseState::kMorphCount; ++i)
    {
        if (attrName == kMorphAttrNames[i])
            return i;
    }
    return -1;
}

// Cuts a trailing "%" or "*" (the relative forms of a size) and reads the number before it.
double readMorphValue(const CString& text, bool& outIsPercent)
{
    CString number = text;
    outIsPercent = text.findUnit('%') >= 0 || text.findUnit('*') >= 0;
    if (outIsPercent)
        number.erase(number.getLength() - 1);
    double value = 0.0;
    number.parseDouble(value);
    return value;
}

bool isBlank(uint16_t unit)
{
    return unit == ' ' || unit == '\t' || unit == '\r' || unit == '\n';
}

} // namespace

void CViewBaseState::splitNames(const CString& names, CArray<CString>& out)
{
    int start = -1;
    for (int i = 0; i <= names.getLength(); ++i)
    {
        const bool blank = i == names.getLength() || isBlank(names.getUnit(i));
        if (!blank && start < 0)
            start = i;
        else if (blank && start >= 0)
        {
            out.add(names.substring(start, i - start));
            start = -1;
        }
    }
}

double CViewBaseState::getClock()
{
    return clockSource ? clockSource() : tickClock();
}

void CViewBaseState::setClockSource(CClockSource source)
{
    clockSource = source;
}

CViewBaseState::CViewBaseState()
{
    for (int i = 0; i < kMorphCount; ++i)
        morphs[i].attrName = kMorphAttrNames[i];
}

CViewBaseState::~CViewBaseState()
{
    // Children still here were not destroyed through the tree: they must not call back.
    for (auto& [stateName, viewState] : declaredStates)
    {
        (void)stateName;
        viewState->forgetView();
    }
    for (auto& [eventName, commands] : commandsByEvent)
    {
        (void)eventName;
        for (CViewCommand* command : commands)
            command->forgetView();
    }
}

void CViewBaseState::registerClass(CClassInfo& info)
{
    CViewBasePlacement::registerClass(info);
    info.addAttrHandler<CViewBaseState>("state", &CViewBaseState::attrState);
    info.addEventProc<CViewBaseState>("set-state", &CViewBaseState::onSetStateEvent);
    info.addEventProc<CViewBaseState>("unset-state", &CViewBaseState::onUnsetStateEvent);
    info.addEventProc<CViewBaseState>("timer", &CViewBaseState::onTimer);
}

CError* CViewBaseState::initChilds()
{
    KEL_CHECK(CViewBasePlacement::initChilds());
    // The states declared by the children are known now: the first evaluation.
    KEL_CHECK(evaluate(false));
    return nullptr;
}

void CViewBaseState::detachLinks()
{
    stopListening();
    CViewBasePlacement::detachLinks();
}

CError* CViewBaseState::attrState()
{
    // "state" names the states that are active from the start, separated by '|'.
    const CString list = getAttrString(CString("state"));
    CString names = list;
    for (int i = 0; i < names.getLength(); ++i)
    {
        if (names.getUnit(i) == '|')
            names.setUnit(i, ' ');
    }
    KEL_CHECK(setState(names));
    return nullptr;
}

CError* CViewBaseState::onSetStateEvent(const CAttrMap& params)
{
    const CAttrValue* names = params.find(CString("state"));
    if (names)
        KEL_CHECK(setState(names->getString()));
    return nullptr;
}

CError* CViewBaseState::onUnsetStateEvent(const CAttrMap& params)
{
    const CAttrValue* names = params.find(CString("state"));
    if (names)
        KEL_CHECK(unsetState(names->getString()));
    return nullptr;
}

CError* CViewBaseState::setState(const CString& names, bool isQuiet)
{
    CArray<CString> list;
    splitNames(names, list);
    bool isChanged = false;
    for (const CString& stateName : list)
    {
        if (activeStates.contains(stateName))
            continue;
        activeStates.add(stateName);
        isChanged = true;
    }
    if (isChanged)
        KEL_CHECK(evaluate(isQuiet));
    return nullptr;
}

CError* CViewBaseState::unsetState(const CString& names, bool isQuiet)
{
    CArray<CString> list;
    splitNames(names, list);
    bool isChanged = false;
    for (const CString& stateName : list)
    {
        const int index = activeStates.indexOf(stateName);
        if (index < 0)
            continue;
        activeStates.removeAt(index);
        isChanged = true;
    }
    if (isChanged)
        KEL_CHECK(evaluate(isQuiet));
    return nullptr;
}

CError* CViewBaseState::toggleState(const CString& names, bool isQuiet)
{
    CArray<CString> list;
    splitNames(names, list);
    if (list.isEmpty())
        return nullptr;
    if (isStateActive(list[0]))
        KEL_CHECK(unsetState(names, isQuiet));
    else
        KEL_CHECK(setState(names, isQuiet));
    return nullptr;
}

bool CViewBaseState::isStateActive(const CString& stateName) const
{
    return activeStates.contains(stateName);
}

void CViewBaseState::addDeclaredState(CViewState* viewState)
{
    declaredStates.set(viewState->getStateName(), viewState);
}

void CViewBaseState::removeDeclaredState(CViewState* viewState)
{
    CViewState** filed = declaredStates.find(viewState->getStateName());
    if (filed && *filed == viewState)
        declaredStates.erase(viewState->getStateName());
}

CViewState* CViewBaseState::findDeclaredState(const CString& stateName) const
{
    CViewState* const* filed = declaredStates.find(stateName);
    return filed ? *filed : nullptr;
}

void CViewBaseState::addCommand(const CString& eventName, CViewCommand* command)
{
    commandsByEvent[eventName].add(command);
}

void CViewBaseState::removeCommand(CViewCommand* command)
{
    for (auto it = commandsByEvent.begin(); it != commandsByEvent.end();)
    {
        const int index = it->second.indexOf(command);
        if (index >= 0)
            it->second.removeAt(index);
        if (it->second.isEmpty())
            it = commandsByEvent.erase(it);
        else
            ++it;
    }
}

CError* CViewBaseState::runCommands(const CString& eventName, const CAttrMap& params)
{
    const CArray<CViewCommand*, 8>* filed = commandsByEvent.find(eventName);
    if (!filed)
        return nullptr;
    // A command may add or remove commands (its state changes run other commands, or destroy
    // views): the walk goes over a copy and skips those that left meanwhile.
    const CArray<CViewCommand*, 8> commands = *filed;
    for (CViewCommand* command : commands)
    {
        const CArray<CViewCommand*, 8>* current = commandsByEvent.find(eventName);
        if (!current || !current->contains(command))
            continue;
        KEL_CHECK(command->run(*this, params));
    }
    return nullptr;
}

CError* CViewBaseState::evaluate(bool isQuiet)
{
    if (getState() < kStateChildsInitDone)
        return nullptr;
    // The first evaluation shows the view as its states make it, without easing into it.
    const bool isFirst = !hasBase;
    if (isFirst)
    {
        baseAttrs = getAttributes();
        hasBase = true;
    }
    double duration = 0.0;
    double morphDuration = 0.0;
    if (const CAttrValue* value = baseAttrs.find(CString("duration")))
        duration = value->getDouble();
    if (const CAttrValue* value = baseAttrs.find(CString("morph-duration")))
        morphDuration = value->getDouble();

    CAttrMap running;
    CString newColorState;
    CString newImageSetRange;
    for (const CString& stateName : activeStates)
    {
        const CViewState* viewState = findDeclaredState(stateName);
        if (!viewState)
            continue;
        for (const auto& [attrName, value] : viewState->getAttributes())
        {
            if (attrName == "duration")
                duration = value.getDouble();
            else if (attrName == "morph-duration")
                morphDuration = value.getDouble();
            else if (attrName == "color-state")
            {
                const CString& suffix = value.getString();
                if (suffix.startsWith("/"))
                    newColorState = suffix.substring(1);
                else
                    newColorState.append(suffix);
            }
            else if (attrName == "image-set-range")
                newImageSetRange = value.getString();
            else if (!CViewState::isOwnAttr(attrName))
                running.set(attrName, value);
        }
    }

    if (isFirst)
        morphDuration = 0.0;
    const double now = getClock();
    bool isLookChanged = false;
    // Whether this change eases anything (even over no time) or lasts: only such a change ends
    // in state-ready, so that a command of state-ready that sets a plain state ends the chain.
    bool isTransition = duration > 0.0;
    if (newColorState != colorState)
    {
        previousColorState = colorState;
        colorState = newColorState;
        colorMorphStart = now;
        colorMorphEnd = now + morphDuration;
        colorMorphPosition = 0.0;
        colorMorphRunning = true;
        isTransition = true;
        tickColorMorph();
        isLookChanged = true;
    }
    if (newImageSetRange != imageSetRange)
    {
        imageSetRange = newImageSetRange;
        isLookChanged = true;
    }
    if (isLookChanged)
        onStateChanged();

    // What the states set now, and what the last evaluation set and no state sets any more,
    // which returns to the view's own value.
    CStringMap<bool> names;
    for (const auto& [attrName, value] : running)
        names.set(attrName, true);
    for (const auto& [attrName, unused] : appliedAttrs)
        names.set(attrName, false);
    appliedAttrs.clear();
    for (const auto& [attrName, unused] : running)
        appliedAttrs.set(attrName, true);
    for (const auto& [attrName, unused] : names)
    {
        const CAttrValue* target = running.find(attrName);
        if (!target)
            target = baseAttrs.find(attrName);
        if (!target)
            continue;
        const int morphIndex = morphIndexOf(attrName);
        if (morphIndex >= 0)
        {
            bool isStarted = false;
            KEL_CHECK(startMorph(morphs[morphIndex], getAttrString(attrName, CString()),
                                 target->getString(), morphDuration, isStarted));
            isTransition = isTransition || isStarted;
            continue;
        }
        const CAttrValue* present = findAttr(attrName);
        if (present && present->getString() == target->getString())
            continue;
        KEL_CHECK(setAttr(attrName, *target));
    }

    if (isTransition)
    {
        readyPending = true;
        readyQuiet = isQuiet;
        readyTime = now + duration;
    }
    bool isRunning = false;
    KEL_CHECK(tickMorphs(isRunning));
    KEL_CHECK(settle());
    return nullptr;
}

CError* CViewBaseState::startMorph(CMorph& morph, const CString& oldText, const CString& newText,
                                   double morphDuration, bool& outIsStarted)
{
    outIsStarted = false;
    bool newIsPercent = false;
    const double to = readMorphValue(newText, newIsPercent);
    // A morph already on its way to this value goes on undisturbed.
    if (!morph.isDone && morph.to == to && morph.targetIsPercent == newIsPercent)
        return nullptr;
    bool oldIsPercent = false;
    const double from = readMorphValue(oldText, oldIsPercent);
    if (morph.isDone && oldIsPercent == newIsPercent && from == to && !oldText.isEmpty())
        return nullptr;
    outIsStarted = true;
    morph.isPercent = oldIsPercent;
    morph.targetIsPercent = newIsPercent;
    morph.from = from;
    morph.to = to;
    morph.current = from;
    morph.isDone = false;
    // A view without the attribute has no value to start from.
    if (oldIsPercent != newIsPercent || oldText.isEmpty())
    {
        // "50%" and "80" can't be compared: the new value is in place at once.
        morph.current = morph.from = to;
        morph.isDone = true;
        morph.isPercent = newIsPercent;
        KEL_CHECK(writeMorph(morph));
        return nullptr;
    }
    morph.startTime = getClock();
    morph.endTime = morph.startTime + morphDuration;
    attrMorphRunning = true;
    return nullptr;
}

CError* CViewBaseState::writeMorph(const CMorph& morph)
{
    if (morph.isPercent)
    {
        CString text = CString::fromDouble(morph.current);
        text.append("%");
        KEL_CHECK(setAttr(CString(morph.attrName), CAttrValue(text)));
    }
    else
        KEL_CHECK(setAttr(CString(morph.attrName), CAttrValue(morph.current)));
    return nullptr;
}

CError* CViewBaseState::tickMorphs(bool& outIsRunning)
{
    outIsRunning = false;
    const double now = getClock();
    for (CMorph& morph : morphs)
    {
        if (morph.isDone)
            continue;
        double value = morph.to;
        if (morph.endTime > morph.startTime)
        {
            const double t = timePosition(now, morph.startTime, morph.endTime);
            value = morph.from + (morph.to - morph.from) * easeCurve(t);
        }
        // Only a rising value eases: a falling one drops to its target at once and then only
        // waits for its end time.
        if (value > morph.to)
            value = morph.to;
        if (now >= morph.endTime)
        {
            morph.current = morph.to;
            morph.isDone = true;
        }
        else
        {
            morph.current = value;
            outIsRunning = true;
        }
        KEL_CHECK(writeMorph(morph));
    }
    attrMorphRunning = outIsRunning;
    return nullptr;
}

void CViewBaseState::tickColorMorph()
{
    if (!colorMorphRunning)
        return;
    const double now = getClock();
    double position = 1.0;
    if (colorMorphEnd > colorMorphStart)
        position = easeCurve(timePosition(now, colorMorphStart, colorMorphEnd));
    if (position >= kColorMorphEnd || now >= colorMorphEnd)
    {
        position = 1.0;
        colorMorphRunning = false;
    }
    colorMorphPosition = position;
}

CError* CViewBaseState::onTimer()
{
    if (colorMorphRunning)
    {
        tickColorMorph();
        onStateChanged();
    }
    bool isRunning = false;
    KEL_CHECK(tickMorphs(isRunning));
    KEL_CHECK(settle());
    return nullptr;
}

CError* CViewBaseState::settle()
{
    const bool isWaiting = readyPending && getClock() < readyTime;
    if (colorMorphRunning || attrMorphRunning || isWaiting)
    {
        KEL_CHECK(startListening());
        return nullptr;
    }
    if (readyPending && isInStateReady)
    {
        // A change made by the commands of state-ready: its own state-ready comes with the
        // next frame rather than inside this one.
        KEL_CHECK(startListening());
        return nullptr;
    }
    stopListening();
    if (!readyPending)
        return nullptr;
    readyPending = false;
    if (readyQuiet)
        return nullptr;
    CAttrMap params;
    isInStateReady = true;
    CError* error = runCommands(CString("state-ready"), params);
    isInStateReady = false;
    KEL_CHECK(error);
    return nullptr;
}

CString CViewBaseState::findWindowPath() const
{
    const CViewBasePlacement* topView = getRootView();
    if (!topView)
        return CString();
    return topView->getAttrString(CString("window"), CString());
}

CError* CViewBaseState::startListening()
{
    if (!listenedWindow.isEmpty())
        return nullptr;
    CEventService* service = getEventService();
    const CClassInfo::EventEntry* proc = getClassInfo().findEventProc(CString("timer"));
    const CString windowPath = findWindowPath();
    // Outside a window nothing drives the timer: the next evaluation picks the morph up.
    if (!service || !proc || windowPath.isEmpty())
        return nullptr;
    KEL_CHECK(service->addListener(this, *proc, CString("timer"), CString("render"), windowPath));
    listenedWindow = windowPath;
    // An idle window has stopped its frames; a listener to "render" starts them again.
    if (CWindow* window = dynamic_cast<CWindow*>(findObject(windowPath)))
        window->wake();
    return nullptr;
}

void CViewBaseState::stopListening()
{
    if (listenedWindow.isEmpty())
        return;
    if (CEventService* service = getEventService())
        service->removeListener(this, listenedWindow, CString("render"));
    listenedWindow.clear();
}

} // namespace kel
