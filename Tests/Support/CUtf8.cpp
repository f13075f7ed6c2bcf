#include "Support/CUtf8.h"

#include "Core/CString.h"

namespace kel::test
{

std::string CUtf8::of(const CString& text)
{
    // Room for the terminator toUtf8 writes, which is not part of the answer.
    std::string out(static_cast<size_t>(text.getUtf8Length()) + 1, '\0');
    text.toUtf8(&out[0], static_cast<int>(out.size()));
    out.pop_back();
    return out;
}

} // namespace kel::test
