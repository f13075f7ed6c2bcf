#pragma once

namespace kel
{

class CAudioParam;

// A party that takes parameters of the collector under its care by name (a parameter registry
// claims the names below its hierarchy). The collector offers each parameter once, when it
// creates it, and offers those it already has when the claimer is added: first to the
// enumerated claimers in order of addition until one claims, and to all the others only if none
// of those did. The claimer does not own the parameter; it must not call the collector back
// and should only queue the name (it is called under the collector's name-table lock).
// [any thread; under the collector's name-table lock]
class CAudioParamClaimer
{
public:
    virtual ~CAudioParamClaimer() = default;

    // Enumerated claimers are asked first and the first that claims takes the parameter alone.
    virtual bool isEnumeratedClaimer() const = 0;
    // True: the claimer takes the parameter.
    virtual bool claimParam(CAudioParam& param) = 0;
};

} // namespace kel
