#include "CTextLines.h"

#include <fstream>
#include <sstream>

namespace kelpal
{

bool CTextLines::load(const std::string& path, std::string& error)
{
    std::ifstream in(path);
    if (!in)
    {
        error = path + ": cannot open";
        return false;
    }
    lines.clear();
    std::string text;
    int number = 0;
    while (std::getline(in, text))
    {
        ++number;
        const size_t comment = text.find("//");
        if (comment != std::string::npos)
            text.erase(comment);
        std::istringstream words(text);
        CTextLine line;
        line.number = number;
        for (std::string word; words >> word;)
            line.tokens.push_back(word);
        if (!line.tokens.empty())
            lines.push_back(line);
    }
    return true;
}

} // namespace kelpal
