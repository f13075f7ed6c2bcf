#pragma once

#include <string>
#include <vector>

namespace kelpal
{

// One colour name the interface looks up, as the role list declares it.
struct CRoleName
{
    std::string name;      // "Button_ActiveHover", "LevelMeterZone1_0Hover", "Alarm_Active"
    std::string stem;      // "Button"
    std::string states;    // "ActiveHover"; empty for the plain role
    bool isJoined = false; // the state follows the stem without '_'
    int gradientSteps = 0; // non-zero: an animated role stored as name|0 .. name|steps-1
};

// The list of every colour name (Resources/Palettes/Roles.txt): roles with their state rows, and
// the gradients. Names keep the order of the file.
class CRoleList
{
public:
    // False with a message "file:line: reason" in error.
    bool load(const std::string& path, std::string& error);

    const std::vector<CRoleName>& getNames() const { return names; }
    const CRoleName* find(const std::string& name) const;
    // Every name a palette stores: the plain names and each gradient's steps, sorted by bytes.
    std::vector<std::string> storedNames() const;

    // "ActiveHoverHover" -> Active, Hover, Hover. Empty when text is not made of capitalised words.
    static std::vector<std::string> splitStates(const std::string& states);

private:
    std::vector<CRoleName> names;
};

} // namespace kelpal
