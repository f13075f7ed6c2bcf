#pragma once

#include "Core/CObject.h"
#include "Core/CString.h"

namespace kel
{

class CAudioParamInfo;

// A value converter: turns a parameter's internal value (converter units: seconds, hertz, a
// linear factor, a fraction, a state index) into display text and back, and maps it to and from
// the normalised range 0..1 of knobs and hosts. The limits are not held here: every call takes
// the parameter's CAudioParamInfo and the element index, so that one instance serves every
// range. Instances are tree objects under audio.paramcvt of the shared tree, owned by it, shared
// by any number of parameters.
//
// The base reads `label`, the unit word shown beside a value. Kinds override what differs; the
// base gives the plain number, the linear or the chosen mapping, and the range limit.
//
// Immutable after init: every thread uses a converter without a lock, the audio thread included
// (the mapping operations neither allocate nor lock; parse and format build strings).
// [any thread after init; init on the shared tree's thread]
class CAudioParamConverter : public CObject
{
public:
    // Modes of format.
    static constexpr int kFormatNormal = 0;
    static constexpr int kFormatShort = 1;
    static constexpr int kFormatShortName = 2;

    CAudioParamConverter() = default;

    [[nodiscard]] CError* init() override;

    // A user's text to an internal value, limited to the element's range in either direction
    // (the maximum may lie below the minimum). ok, when given, tells whether the text was valid;
    // an invalid text gives the limited fallback of the kind.
    virtual double parseClamped(const CAudioParamInfo& info, int element, const CString& text,
                                bool* ok) const;
    // Without the limit: what min-values, max-values and def-values go through.
    virtual double parse(const CAudioParamInfo& info, int element, const CString& text,
                         bool* ok) const = 0;
    // Display text of value into out (replacing it). Mode kFormatShort is the short form of small
    // read-outs, kFormatShortName the short state name. group is the value's group.
    virtual void format(CString& out, const CAudioParamInfo& info, int element, double value,
                        int group, int mode) const = 0;
    // Normalised 0..1 to an internal value, and back. Values outside the range map outside 0..1.
    virtual double toValue(const CAudioParamInfo& info, int element, double normalised) const;
    virtual double toNormalised(const CAudioParamInfo& info, int element, double value) const;

    const CString& getLabel() const { return label; }

    // ---- shared arithmetic ----

    // The number form of every kind but the enumeration and text: an optional '-' first,
    // digits, one '.' or ',' and digits, nothing else (no exponent, no blanks). The empty text
    // and "-" alone are 0. False on anything else; out is then 0.
    static bool parseNumber(const CString& text, double& out);
    // Nearest integer, halves away from zero.
    static double roundHalfAway(double value);
    // value with a fixed count of decimals, '.' whatever the C locale, appended to out.
    static void appendFixed(CString& out, double value, int decimals);
    // Limits value to [min, max], or [max, min] for a descending range.
    static double clampToRange(double value, double minValue, double maxValue);

    static double linearToNormalised(double value, double minValue, double maxValue);
    static double linearToValue(double normalised, double minValue, double maxValue);
    // Logarithmic: both limits must be above 0.
    static double logToNormalised(double value, double minValue, double maxValue);
    static double logToValue(double normalised, double minValue, double maxValue);
    // Square law: finer steps near the minimum.
    static double squareToNormalised(double value, double minValue, double maxValue);
    static double squareToValue(double normalised, double minValue, double maxValue);

protected:
    enum class Mapping
    {
        kLinear,
        kLog,
        kSquare,
    };

    // Reads `decimals`: an integer of 0 or more, otherwise message (with the attribute's text).
    // A missing attribute is logged and gives 0.
    [[nodiscard]] CError* readDecimals(const char* message, int& out);
    // The result of a text that failed to parse: fallback, with ok cleared.
    static double failed(bool* ok, double fallback);
    static double succeeded(bool* ok, double value);

    Mapping mapping = Mapping::kLinear;

private:
    CString label;
};

} // namespace kel
