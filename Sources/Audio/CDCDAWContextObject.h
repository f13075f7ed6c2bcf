#pragma once

#include "Audio/CDCDAWContext.h"
#include "Core/CCheckedObject.h"
#include "Core/CError.h"

namespace kel
{

// The object that owns an instance's kernel context (the tree element audio:dcdaw-context,
// object plugin.dcdaw-context). It creates the context in init and destroys it with itself;
// processes borrow the context through getContext and never keep it past the object's life.
//
// Until the object tree exists this derives from CCheckedObject; it becomes a tree object with
// the tag audio:dcdaw-context, keeping init and getContext as they are.
// [set-up thread for init and destruction; the context's own contract afterwards]
class CDCDAWContextObject : public CCheckedObject
{
public:
    CDCDAWContextObject() = default;
    ~CDCDAWContextObject() override;
    CDCDAWContextObject(const CDCDAWContextObject&) = delete;
    CDCDAWContextObject& operator=(const CDCDAWContextObject&) = delete;

    // Creates the context with its standard kernels. A second call keeps the first context.
    [[nodiscard]] CError* init();

    // Null before a successful init.
    CDCDAWContext* getContext() const { return context; }

private:
    CDCDAWContext* context = nullptr;
};

} // namespace kel
