#pragma once

#include <string>

namespace kel
{
class CString;
}

namespace kel::test
{

// A framework string as UTF-8 bytes, for comparing with literals and printing in failures.
class CUtf8
{
public:
    static std::string of(const CString& text);
};

} // namespace kel::test
