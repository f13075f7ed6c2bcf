#pragma once

#include "Core/CObject.h"

namespace kel
{

// A renaming rule of a process (tag audio:param-remap): a parameter named `orig` in the process's
// subtree is the parameter named `new` instead, so that an inner node's parameter and the outer
// process's one are a single parameter, with the outer definition in force. `new` is relative
// to the process; each leading '^' starts one level further up ("^io-params.channel-group-solo"
// from plugin.modMain.modBypass is plugin.modMain.io-params.channel-group-solo). Owned by the
// tree. [set-up thread]
class CAudioParamRemapDef : public CObject
{
public:
    CAudioParamRemapDef() = default;

    [[nodiscard]] CError* init() override;

    const CString& getOrigName() const { return origName; }
    // Full name of the parameter to use, for the process whose full name is processPath.
    CString resolveNewName(const CString& processPath) const;

private:
    CString origName;
    CString newName;
};

} // namespace kel
