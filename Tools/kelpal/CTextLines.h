#pragma once

#include <string>
#include <vector>

namespace kelpal
{

struct CTextLine
{
    int number = 0;                  // 1-based line number in the file
    std::vector<std::string> tokens; // blank-separated words; never empty
};

// The lines of a source file that say something: "//" starts a comment, blank lines are
// skipped, the rest is split at blanks and tabs.
class CTextLines
{
public:
    bool load(const std::string& path, std::string& error);
    const std::vector<CTextLine>& getLines() const { return lines; }

private:
    std::vector<CTextLine> lines;
};

} // namespace kelpal
