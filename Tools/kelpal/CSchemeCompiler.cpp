#include "CSchemeCompiler.h"

#include <cmath>
#include <cstdlib>

namespace kelpal
{

namespace
{

uint8_t toByte(double value)
{
    value = std::floor(value + 0.5);
    return static_cast<uint8_t>(value < 0 ? 0 : (value > 255 ? 255 : value));
}

// Applies f(channel value, channel index 0..2) to every level of the colour.
template <typename F> void mapLevels(kel::CColor& color, F f)
{
    for (int i = 0; i < kel::CColor::kLevels; ++i)
    {
        color.red[i] = toByte(f(color.red[i], 0));
        color.green[i] = toByte(f(color.green[i], 1));
        color.blue[i] = toByte(f(color.blue[i], 2));
    }
}

} // namespace

bool CSchemeCompiler::fail(int line, const std::string& reason)
{
    // Line 0: a fault of the whole file (a role it does not give), not of one line.
    *error = path + (line > 0 ? ":" + std::to_string(line) : std::string()) + ": " + reason;
    return false;
}

bool CSchemeCompiler::parseDouble(const std::string& token, double& out)
{
    char* end = nullptr;
    out = std::strtod(token.c_str(), &end);
    return !token.empty() && *end == 0;
}

bool CSchemeCompiler::parseColor(const std::string& token, Rgb& out)
{
    if (token.size() == 7 && token[0] == '#')
    {
        char* end = nullptr;
        const unsigned long value = std::strtoul(token.c_str() + 1, &end, 16);
        if (*end != 0)
            return false;
        out = Rgb{double((value >> 16) & 255), double((value >> 8) & 255), double(value & 255)};
        return true;
    }
    if (token.size() > 1 && token[0] == '@')
    {
        auto found = colours.find(token.substr(1));
        if (found == colours.end())
            return false;
        out = found->second;
        return true;
    }
    return false;
}

bool CSchemeCompiler::applyModifiers(const std::vector<std::string>& tokens, size_t index,
                                     kel::CColor& color, bool rgbOnly)
{
    while (index < tokens.size())
    {
        const std::string& op = tokens[index];
        double amount = 0;
        Rgb target;
        if ((op == "lighten" || op == "darken" || op == "alpha") && index + 1 < tokens.size() &&
            parseDouble(tokens[index + 1], amount))
        {
            if (op == "lighten")
                mapLevels(color, [&](double c, int) { return c + (255.0 - c) * amount; });
            else if (op == "darken")
                mapLevels(color, [&](double c, int) { return c * (1.0 - amount); });
            else if (rgbOnly)
                return false;
            else
                color.alpha = amount;
            index += 2;
        }
        else if (op == "mix" && index + 2 < tokens.size() &&
                 parseColor(tokens[index + 1], target) && parseDouble(tokens[index + 2], amount))
        {
            const double to[3] = {target.r, target.g, target.b};
            mapLevels(color, [&](double c, int channel) { return c + (to[channel] - c) * amount; });
            index += 3;
        }
        else if (op == "same")
        {
            index += 1;
        }
        else
        {
            return false;
        }
    }
    return true;
}

bool CSchemeCompiler::fromDefinition(const Definition& definition, kel::CColor& out, int depth)
{
    const std::vector<std::string>& t = definition.tokens;
    size_t index = 1;
    Rgb flat;
    if (t.size() < 2)
        return fail(definition.line, "'" + t[0] + "' has no colour");
    if (t[1] == "like")
    {
        if (t.size() < 3)
            return fail(definition.line, "'like' needs a role");
        const std::string& other = t[2];
        // The other role is resolved by name: explicit, or made from its states.
        const size_t underscore = other.rfind('_');
        std::vector<std::string> states;
        std::string stem = other;
        if (underscore != std::string::npos &&
            !(states = CRoleList::splitStates(other.substr(underscore + 1))).empty())
            stem = other.substr(0, underscore);
        else
            states.clear();
        if (!resolve(stem, states, false, out, depth + 1))
            return false;
        index = 3;
    }
    else if (parseColor(t[1], flat))
    {
        out = kel::CColor();
        out.setFlat(toByte(flat.r), toByte(flat.g), toByte(flat.b));
        index = 2;
    }
    else
    {
        // Stops "grey:colour" in ascending order of grey.
        std::vector<std::pair<int, Rgb>> stops;
        while (index < t.size() && t[index].find(':') != std::string::npos)
        {
            const std::string& stop = t[index];
            const size_t colon = stop.find(':');
            double grey = 0;
            Rgb rgb;
            if (!parseDouble(stop.substr(0, colon), grey) || grey < 0 || grey > 255 ||
                !parseColor(stop.substr(colon + 1), rgb))
                return fail(definition.line, "bad stop '" + stop + "'");
            if (!stops.empty() && grey <= stops.back().first)
                return fail(definition.line, "stops must ascend: '" + stop + "'");
            stops.emplace_back(int(grey), rgb);
            ++index;
        }
        if (stops.empty())
            return fail(definition.line, "bad colour '" + t[1] + "'");
        out = kel::CColor();
        size_t next = 0;
        for (int level = 0; level < kel::CColor::kLevels; ++level)
        {
            while (next < stops.size() && stops[next].first < level)
                ++next;
            Rgb c;
            if (next == 0)
                c = stops.front().second;
            else if (next == stops.size())
                c = stops.back().second;
            else
            {
                const auto& a = stops[next - 1];
                const auto& b = stops[next];
                const double f = double(level - a.first) / double(b.first - a.first);
                c = Rgb{a.second.r + (b.second.r - a.second.r) * f,
                        a.second.g + (b.second.g - a.second.g) * f,
                        a.second.b + (b.second.b - a.second.b) * f};
            }
            out.setLevel(level, toByte(c.r), toByte(c.g), toByte(c.b));
        }
    }
    if (!applyModifiers(t, index, out, false))
        return fail(definition.line,
                    "bad modifier near '" + t[std::min(index, t.size() - 1)] + "'");
    return true;
}

bool CSchemeCompiler::resolve(const std::string& stem, const std::vector<std::string>& states,
                              bool isJoined, kel::CColor& out, int depth)
{
    std::string name = stem;
    std::string parentStates;
    for (size_t i = 0; i < states.size(); ++i)
    {
        if (i + 1 < states.size())
            parentStates += states[i];
        name += (i == 0 && !isJoined ? "_" : "") + states[i];
    }
    auto known = resolved.find(name);
    if (known != resolved.end())
    {
        out = known->second;
        return true;
    }
    if (depth > 64)
        return fail(0, "'" + name + "' refers to itself");

    auto definition = roles.find(name);
    if (definition != roles.end())
    {
        if (!fromDefinition(definition->second, out, depth))
            return false;
    }
    else if (states.empty())
    {
        return fail(0, "no colour for role '" + name + "'");
    }
    else
    {
        auto rule = stateRules.find(states.back());
        if (rule == stateRules.end())
            return fail(0, "no rule for state '" + states.back() + "' (needed by '" + name + "')");
        std::vector<std::string> parent(states.begin(), states.end() - 1);
        if (!resolve(stem, parent, isJoined, out, depth + 1))
            return false;
        if (!applyModifiers(rule->second.tokens, 2, out, false))
            return fail(rule->second.line, "bad modifier in state rule");
    }
    resolved[name] = out;
    return true;
}

bool CSchemeCompiler::compile(const CRoleList& roleList, const std::string& schemePath,
                              kel::CPalette& out, std::string& outError)
{
    path = schemePath;
    error = &outError;
    colours.clear();
    stateRules.clear();
    roles.clear();
    resolved.clear();
    paletteName.clear();
    fadeTo = Rgb{};

    CTextLines lines;
    if (!lines.load(schemePath, outError))
        return false;
    for (const CTextLine& line : lines.getLines())
    {
        const std::vector<std::string>& t = line.tokens;
        if (t[0] == "palette" && t.size() == 2)
        {
            paletteName = t[1];
        }
        else if (t[0] == "fade" && t.size() == 2)
        {
            if (!parseColor(t[1], fadeTo))
                return fail(line.number, "bad colour '" + t[1] + "'");
        }
        else if (t[0] == "colour" && t.size() >= 3)
        {
            Rgb rgb;
            if (!parseColor(t[2], rgb))
                return fail(line.number, "bad colour '" + t[2] + "'");
            kel::CColor probe;
            probe.setFlat(toByte(rgb.r), toByte(rgb.g), toByte(rgb.b));
            if (!applyModifiers(t, 3, probe, true))
                return fail(line.number, "bad modifier");
            colours[t[1]] =
                Rgb{double(probe.red[0]), double(probe.green[0]), double(probe.blue[0])};
        }
        else if (t[0] == "state" && t.size() >= 3)
        {
            stateRules[t[1]] = Definition{line.number, t};
        }
        else
        {
            if (!roleList.find(t[0]))
                return fail(line.number, "'" + t[0] + "' is not in the role list");
            if (roles.count(t[0]))
                return fail(line.number, "'" + t[0] + "' given twice");
            roles[t[0]] = Definition{line.number, t};
        }
    }
    if (paletteName.empty())
        return fail(1, "no 'palette NAME' line");

    out.clear();
    for (const CRoleName& entry : roleList.getNames())
    {
        kel::CColor color;
        if (!resolve(entry.stem, CRoleList::splitStates(entry.states), entry.isJoined, color, 0))
            return false;
        if (entry.gradientSteps == 0)
        {
            out.setColor(entry.name.c_str(), color);
            continue;
        }
        out.setGradient(entry.name.c_str(), entry.gradientSteps);
        for (int step = 0; step < entry.gradientSteps; ++step)
        {
            kel::CColor faded(color);
            const double f = entry.gradientSteps > 1 ? double(step) / (entry.gradientSteps - 1) : 0;
            const double to[3] = {fadeTo.r, fadeTo.g, fadeTo.b};
            mapLevels(faded, [&](double c, int channel) { return c + (to[channel] - c) * f; });
            out.setColor(kel::CPalette::gradientStepName(entry.name.c_str(), step), faded);
        }
    }
    out.refreshDefaultColor();
    return true;
}

} // namespace kelpal
