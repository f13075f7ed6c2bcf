#include "UI/Params/CDragInfo.h"

#include <cmath>

namespace kel
{

void CDragInfo::start(int x, int y)
{
    startX = lastX = x;
    startY = lastY = y;
    for (int axis = 0; axis < 2; ++axis)
    {
        motion[axis] = rawMotion[axis] = 0.0;
        lower[axis] = upper[axis] = 0.0;
        hasLower[axis] = hasUpper[axis] = false;
    }
}

void CDragInfo::move(int x, int y, double factor)
{
    const double delta[2] = {(x - lastX) * factor, (y - lastY) * factor};
    for (int axis = 0; axis < 2; ++axis)
    {
        rawMotion[axis] += delta[axis];
        motion[axis] += delta[axis];
        applyLimits(axis);
    }
    lastX = x;
    lastY = y;
}

void CDragInfo::restartAt(int x, int y)
{
    lastX = x;
    lastY = y;
}

double CDragInfo::getDistanceFromStart() const
{
    const double dx = lastX - startX;
    const double dy = lastY - startY;
    return std::sqrt(dx * dx + dy * dy);
}

void CDragInfo::setLowerLimit(int axis, double value)
{
    lower[axis] = value;
    hasLower[axis] = true;
    applyLimits(axis);
}

void CDragInfo::setUpperLimit(int axis, double value)
{
    upper[axis] = value;
    hasUpper[axis] = true;
    applyLimits(axis);
}

void CDragInfo::applyLimits(int axis)
{
    if (hasUpper[axis] && motion[axis] > upper[axis])
        motion[axis] = upper[axis];
    if (hasLower[axis] && motion[axis] < lower[axis])
        motion[axis] = lower[axis];
}

} // namespace kel
