#pragma once

#include "Audio/CDCDAWContext.h"
#include "Core/CError.h"
#include "Core/CObject.h"

namespace kel
{

// The object that owns an instance's kernel context (the tree element audio:dcdaw-context,
// object plugin.dcdaw-context). It creates the context in init and destroys it with itself;
// processes borrow the context through getContext and never keep it past the object's life.
// [set-up thread for init and destruction; the context's own contract afterwards]
class CDCDAWContextObject : public CObject
{
public:
    CDCDAWContextObject() = default;
    ~CDCDAWContextObject() override;

    static void registerClass(CClassInfo& info);
    // Creates the context with its standard kernels. A second call keeps the first context.
    [[nodiscard]] CError* init() override;

    // Null before a successful init.
    CDCDAWContext* getContext() const { return context; }

private:
    CDCDAWContext* context = nullptr;
};

} // namespace kel
