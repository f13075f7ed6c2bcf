#include "Support/CErrorText.h"

#include "Core/CError.h"

#include <memory>
#include <vector>

namespace kel::test
{

std::string CErrorText::takeMessage(CError* error)
{
    std::unique_ptr<CError> owned(error);
    return owned ? owned->getMessage() : "";
}

std::string CErrorText::takeKey(CError* error)
{
    std::unique_ptr<CError> owned(error);
    return owned ? owned->getKey() : "";
}

std::string CErrorText::takeChain(CError* error)
{
    std::unique_ptr<CError> owned(error);
    if (!owned)
        return "";
    std::vector<char> text(static_cast<size_t>(owned->formatChain(nullptr, 0)) + 1);
    owned->formatChain(text.data(), static_cast<int>(text.size()));
    return text.data();
}

} // namespace kel::test
