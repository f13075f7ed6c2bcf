#pragma once

#include "Core/CStringMap.h"
#include "UI/Views/CViewBasePlacement.h"

namespace kel
{

class CViewCommand;
class CViewState;

// The layer of a view that holds its states and commands. Children of the view declare named
// states (CViewState), reactions to events (CViewCommand) and colour slots; this layer keeps the
// declared states, the active ones in the order of their activation, and the commands by event.
//
// Evaluation: after every change of the active list (and once at the end of initChilds) the
// view's own attribute values, saved at that first evaluation, are overlaid with the attributes
// of each active declared state in activation order. "color-state" values add up to the colour
// row suffix ("Active" + "Hover" gives "ActiveHover"; a value with a leading "/" replaces what
// came before), "image-set-range" replaces, "opacity", "width" and "height" ease to their new
// value over "morph-duration" seconds, and every other attribute is set at once. A state that is
// active but not declared contributes nothing. "duration" and "morph-duration" are those of the
// last active state that has them, else the view's own (0.0 without). The first evaluation puts
// everything in place at once: a view does not ease into the look it is created with.
//
// Morphs and the colour change run on the view's "timer" procedure, which listens to the
// "render" event of the view's window only while something runs, so that an idle window can
// sleep. An evaluation that started a morph or a colour change (even one over no time) or has a
// "duration" ends in the commands of "state-ready": once all morphs are over and "duration"
// seconds have passed since the evaluation, at once when both are nothing. An evaluation that
// changes none of these runs no "state-ready", and one made by the commands of "state-ready"
// has its own "state-ready" at the next frame, so that such commands can't chain without end.
// With no window to drive it, a morph that needs time waits for the next evaluation.
//
// The colour change: the previous and the new colour row are both kept; getColorMorphPosition
// goes from 0.0 (previous row) to 1.0 (new row) along the eased curve 0.5 * (1 + sin(pi t -
// pi / 2)), and a position of 0.95 or more counts as finished (1.0). The drawing layer blends
// each channel of the two rows' colours as previous + (new - previous) * position, alpha alike.
//
// The attribute "state" names states active from the start, separated by '|'; the events
// "set-state" and "unset-state" (parameter "state") reach setState and unsetState.
//
// Owned by its parent view; the states and commands are its children, filed here without
// ownership. [ui thread]
class CViewBaseState : public CViewBasePlacement
{
public:
    // One eased attribute (opacity, width, height).
    struct CMorph
    {
        const char* attrName = "";
        double current = 0.0;
        bool isDone = true;
        bool isPercent = false;
        bool targetIsPercent = false;
        double from = 0.0;
        double to = 0.0;
        double startTime = 0.0;
        double endTime = 0.0;
    };

    // The clock of the morphs, in seconds; the monotonic tick clock unless a test sets another.
    using CClockSource = double (*)();
    static double getClock();
    // Null returns to the tick clock.
    static void setClockSource(CClockSource source);

    CViewBaseState();
    ~CViewBaseState() override;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* initChilds() override;
    void detachLinks() override;

    // Blank-separated names. setState appends the names not yet active and, if any was new,
    // evaluates the states; unsetState removes them likewise. isQuiet skips the commands of
    // "state-ready" that the change would run.
    [[nodiscard]] CError* setState(const CString& names, bool isQuiet = false);
    [[nodiscard]] CError* unsetState(const CString& names, bool isQuiet = false);
    // unsetState when the first name is active, else setState.
    [[nodiscard]] CError* toggleState(const CString& names, bool isQuiet = false);
    bool isStateActive(const CString& stateName) const;
    const CArray<CString>& getActiveStates() const { return activeStates; }

    // The names of a list separated by blanks ("hover active"), as states and commands write
    // them; empty names are dropped.
    static void splitNames(const CString& names, CArray<CString>& out);

    // Runs the commands filed under eventName, in the order of their creation, with the event's
    // parameters. The first error ends the walk.
    [[nodiscard]] CError* runCommands(const CString& eventName, const CAttrMap& params);

    // The colour row suffix of the active states ("ActiveHover"), and the one before the last
    // change while the colour eases from it.
    const CString& getColorState() const { return colorState; }
    const CString& getPreviousColorState() const { return previousColorState; }
    double getColorMorphPosition() const { return colorMorphPosition; }
    bool isColorMorphRunning() const { return colorMorphRunning; }
    bool isAttrMorphRunning() const { return attrMorphRunning; }
    // The image set range the active states ask for; empty: the view's own.
    const CString& getImageSetRange() const { return imageSetRange; }
    const CMorph& getMorph(int index) const { return morphs[index]; }
    static constexpr int kMorphCount = 3;

    // Filing of the children that declare states and commands (they call these in init).
    void addDeclaredState(CViewState* viewState);
    void removeDeclaredState(CViewState* viewState);
    void addCommand(const CString& eventName, CViewCommand* command);
    void removeCommand(CViewCommand* command);
    CViewState* findDeclaredState(const CString& stateName) const;

protected:
    // The colour row or the image set range changed, or the colour change moved on: the view
    // redraws.
    virtual void onStateChanged() {}

private:
    [[nodiscard]] CError* attrState();
    // Procedures of the events "set-state", "unset-state" (parameter "state") and "render".
    [[nodiscard]] CError* onSetStateEvent(const CAttrMap& params);
    [[nodiscard]] CError* onUnsetStateEvent(const CAttrMap& params);
    [[nodiscard]] CError* onTimer();

    [[nodiscard]] CError* evaluate(bool isQuiet);
    [[nodiscard]] CError* startMorph(CMorph& morph, const CString& oldText, const CString& newText,
                                     double morphDuration, bool& outIsStarted);
    [[nodiscard]] CError* writeMorph(const CMorph& morph);
    // Ticks every running morph; outIsRunning tells whether one runs on.
    [[nodiscard]] CError* tickMorphs(bool& outIsRunning);
    void tickColorMorph();
    // After a change or a tick: runs "state-ready" when nothing runs on any more, else makes
    // sure that the timer is called.
    [[nodiscard]] CError* settle();
    [[nodiscard]] CError* startListening();
    void stopListening();
    // The path of the window the root view names in "window"; empty outside a window.
    CString findWindowPath() const;

    CStringMap<CViewState*> declaredStates;               // not owned: children
    CStringMap<CArray<CViewCommand*, 8>> commandsByEvent; // not owned: children
    CArray<CString> activeStates;
    CAttrMap baseAttrs;
    CStringMap<bool> appliedAttrs; // attributes the last evaluation set from states
    bool hasBase = false;
    CMorph morphs[kMorphCount];
    bool colorMorphRunning = false;
    bool attrMorphRunning = false;
    bool readyPending = false;
    bool readyQuiet = false;
    bool isInStateReady = false;
    double readyTime = 0.0;
    CString colorState;
    CString previousColorState;
    double colorMorphPosition = 1.0;
    double colorMorphStart = 0.0;
    double colorMorphEnd = 0.0;
    CString imageSetRange;
    CString listenedWindow; // the window path "timer" listens to; empty when not listening
};

} // namespace kel
