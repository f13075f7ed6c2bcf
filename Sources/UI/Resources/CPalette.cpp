#include "UI/Resources/CPalette.h"

#include "Core/CDebugChannel.h"
#include "Core/CInputStream.h"
#include "Core/COutputStream.h"

#include <cmath>

namespace kel
{

CPalette::CPalette() = default;

CPalette::~CPalette() = default;

void CPalette::clear()
{
    colors.clear();
    gradients.clear();
    defaultColor = CColor();
}

CError* CPalette::read(CInputStream& stream)
{
    clear();
    uint32_t version = 0;
    KEL_CHECK(stream.readUInt32(version));
    // Palettes of another version are skipped rather than refused: the views then draw in the
    // fall-back colour instead of the plug-in failing to open.
    if (version != kVersion)
        return nullptr;

    uint32_t colorCount = 0;
    KEL_CHECK(stream.readUInt32(colorCount));
    CString name;
    CColor color;
    for (uint32_t i = 0; i < colorCount; ++i)
    {
        KEL_CHECK(stream.readString(name));
        KEL_CHECK(color.read(stream));
        colors.set(name, color);
    }
    refreshDefaultColor();

    uint32_t gradientCount = 0;
    KEL_CHECK(stream.readUInt32(gradientCount));
    for (uint32_t i = 0; i < gradientCount; ++i)
    {
        int32_t steps = 0;
        KEL_CHECK(stream.readString(name));
        KEL_CHECK(stream.readInt32(steps));
        gradients.set(name, steps);
    }
    return nullptr;
}

CError* CPalette::write(COutputStream& stream) const
{
    KEL_CHECK(stream.writeUInt32(kVersion));
    KEL_CHECK(stream.writeUInt32(static_cast<uint32_t>(colors.getCount())));
    for (const auto& [name, color] : colors)
    {
        KEL_CHECK(stream.writeString(name));
        KEL_CHECK(color.write(stream));
    }
    KEL_CHECK(stream.writeUInt32(static_cast<uint32_t>(gradients.getCount())));
    for (const auto& [name, steps] : gradients)
    {
        KEL_CHECK(stream.writeString(name));
        KEL_CHECK(stream.writeInt32(steps));
    }
    return nullptr;
}

void CPalette::setColor(const CString& name, const CColor& color)
{
    colors.set(name, color);
}

void CPalette::setGradient(const CString& name, int32_t steps)
{
    gradients.set(name, steps);
}

void CPalette::refreshDefaultColor()
{
    defaultColor = *getColor("Default", 0.0);
}

int CPalette::gradientStep(int32_t steps, double phase)
{
    const double v = (steps - 1) * phase;
    return static_cast<int>(v >= 0.0 ? std::floor(v + 0.5) : -std::floor(-v + 0.5));
}

CString CPalette::gradientStepName(const CString& name, int step)
{
    CString stepName(name);
    stepName.appendFormat("|%d", step);
    return stepName;
}

const CColor* CPalette::getColor(const CString& name, double phase) const
{
    if (const int32_t* steps = gradients.find(name))
        return getColor(gradientStepName(name, gradientStep(*steps, phase)), 0.0);
    if (const CColor* color = colors.find(name))
        return color;
    char utf8[256];
    name.toUtf8(utf8, sizeof utf8);
    KEL_LOG("Color not found: '%s'", utf8);
    return &defaultColor;
}

const CColor* CPalette::findColor(const CString& name) const
{
    return colors.find(name);
}

int32_t CPalette::getGradientSteps(const CString& name) const
{
    return gradients.get(name, 0);
}

} // namespace kel
