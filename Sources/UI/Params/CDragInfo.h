#pragma once

#include "Core/CCheckedObject.h"

namespace kel
{

// The record of one drag of a CUIParamController: the pointer position at the start and at the
// last event, the motion accumulated since the start on each axis without and with the limits,
// and the limits themselves (a lower and an upper bound per axis, each with its "set" flag).
// Motion is added in pointer pixels times a factor (the Shift precision while it is held), so
// that motion made before a change of the factor keeps its size. A limit stops the limited
// motion at the bound: motion beyond it does not count, and turning back moves at once.
// Owned by its controller (a member). [ui thread]
class CDragInfo : public CCheckedObject
{
public:
    static constexpr int kAxisX = 0;
    static constexpr int kAxisY = 1;

    // A new drag from (x, y): no motion, no limits.
    void start(int x, int y);
    // The pointer is at (x, y): the motion since the last position, times factor, is added.
    void move(int x, int y, double factor);
    // The pointer was put at (x, y) (an endless drag): the next motion counts from there; the
    // accumulated motion stays.
    void restartAt(int x, int y);

    int getStartX() const { return startX; }
    int getStartY() const { return startY; }
    int getLastX() const { return lastX; }
    int getLastY() const { return lastY; }
    // Distance of the last position from the start, in pixels.
    double getDistanceFromStart() const;

    double getMotion(int axis) const { return motion[axis]; }
    double getRawMotion(int axis) const { return rawMotion[axis]; }

    void setLowerLimit(int axis, double value);
    void setUpperLimit(int axis, double value);
    bool hasLowerLimit(int axis) const { return hasLower[axis]; }
    bool hasUpperLimit(int axis) const { return hasUpper[axis]; }
    double getLowerLimit(int axis) const { return lower[axis]; }
    double getUpperLimit(int axis) const { return upper[axis]; }

private:
    void applyLimits(int axis);

    int startX = 0;
    int startY = 0;
    int lastX = 0;
    int lastY = 0;
    double motion[2] = {0.0, 0.0};
    double rawMotion[2] = {0.0, 0.0};
    double lower[2] = {0.0, 0.0};
    double upper[2] = {0.0, 0.0};
    bool hasLower[2] = {false, false};
    bool hasUpper[2] = {false, false};
};

} // namespace kel
