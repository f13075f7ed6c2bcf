#include "CRoleList.h"

#include "CTextLines.h"

#include <algorithm>
#include <map>
#include <set>

namespace kelpal
{

std::vector<std::string> CRoleList::splitStates(const std::string& states)
{
    std::vector<std::string> words;
    for (char c : states)
    {
        if (c >= 'A' && c <= 'Z')
            words.emplace_back(1, c);
        else if (c >= 'a' && c <= 'z' && !words.empty())
            words.back() += c;
        else
            return {};
    }
    return words;
}

bool CRoleList::load(const std::string& path, std::string& error)
{
    CTextLines lines;
    if (!lines.load(path, error))
        return false;
    std::map<std::string, std::vector<std::string>> sets;
    std::set<std::string> seen;
    names.clear();

    // Expands set names recursively into plain state tokens.
    auto expand =
        [&](const std::vector<std::string>& tokens, size_t from, std::vector<std::string>& out)
    {
        std::vector<std::string> pending(tokens.rbegin(), tokens.rend() - from);
        while (!pending.empty())
        {
            std::string token = pending.back();
            pending.pop_back();
            auto set = sets.find(token);
            if (set != sets.end())
                pending.insert(pending.end(), set->second.rbegin(), set->second.rend());
            else
                out.push_back(token);
        }
    };

    for (const CTextLine& line : lines.getLines())
    {
        const std::vector<std::string>& t = line.tokens;
        const std::string where = path + ":" + std::to_string(line.number) + ": ";
        if (t[0] == "set" && t.size() >= 3)
        {
            std::vector<std::string> states;
            expand(t, 2, states);
            sets[t[1]] = states;
            continue;
        }
        const bool isGradient = t[0] == "gradient";
        if ((t[0] != "role" && !isGradient) || t.size() < (isGradient ? 4u : 3u))
        {
            error = where + "expected 'set', 'role' or 'gradient' with its states";
            return false;
        }
        int steps = 0;
        if (isGradient)
        {
            steps = std::atoi(t[2].c_str());
            if (steps < 1 || steps > 1024)
            {
                error = where + "bad step count '" + t[2] + "'";
                return false;
            }
        }
        std::vector<std::string> states;
        expand(t, isGradient ? 3 : 2, states);
        for (const std::string& token : states)
        {
            CRoleName entry;
            entry.stem = t[1];
            entry.gradientSteps = steps;
            entry.isJoined = token[0] == '+';
            entry.states = token == "." ? "" : (entry.isJoined ? token.substr(1) : token);
            if (!entry.states.empty() && splitStates(entry.states).empty())
            {
                error = where + "bad state '" + token + "'";
                return false;
            }
            entry.name = entry.stem;
            if (!entry.states.empty())
                entry.name += (entry.isJoined ? "" : "_") + entry.states;
            if (!seen.insert(entry.name).second)
            {
                error = where + "name '" + entry.name + "' listed twice";
                return false;
            }
            names.push_back(entry);
        }
    }
    return true;
}

const CRoleName* CRoleList::find(const std::string& name) const
{
    for (const CRoleName& entry : names)
    {
        if (entry.name == name)
            return &entry;
    }
    return nullptr;
}

std::vector<std::string> CRoleList::storedNames() const
{
    std::vector<std::string> out;
    for (const CRoleName& entry : names)
    {
        if (entry.gradientSteps == 0)
            out.push_back(entry.name);
        for (int i = 0; i < entry.gradientSteps; ++i)
            out.push_back(entry.name + "|" + std::to_string(i));
    }
    std::sort(out.begin(), out.end());
    return out;
}

} // namespace kelpal
