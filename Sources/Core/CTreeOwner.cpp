#include "Core/CTreeOwner.h"

namespace kel
{

int CTreeOwner::takeObjectId()
{
    CLockGuard guard(lock);
    return nextObjectId++;
}

} // namespace kel
