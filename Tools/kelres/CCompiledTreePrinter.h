#pragma once

#include "CCompiledNode.h"

#include <string>

namespace kel
{

// Shows a compiled tree as indented text, one node a line, two blanks deeper per level:
//
//   (root)
//     audio:param [period] min="1" max="90"
//     template [plugin] of core:object
//       core:object [plugin] version="1"
//
// Names stand in brackets (left out when empty), attributes follow in their stored order as
// key="value", with '"', '\' and control characters escaped. [any thread]
class CCompiledTreePrinter
{
public:
    static std::string print(const CCompiledNode& root);
};

} // namespace kel
