#pragma once

#include "CRoleList.h"
#include "CTextLines.h"

#include "UI/Resources/CColor.h"
#include "UI/Resources/CPalette.h"

#include <map>
#include <string>
#include <vector>

namespace kelpal
{

// Turns one colour scheme source (Resources/Palettes/<Name>.pal.txt) into a palette holding
// exactly the names of the role list. Named in the source:
//
//   palette NAME                  the scheme's name
//   fade COLOR                    where gradients end: step 0 is the role, the last step COLOR
//   colour NAME COLOR [MOD...]    a named colour, written @NAME afterwards
//   state WORD [MOD...]           how a state word changes a colour the source does not give:
//                                 "Button_ActiveHover" is "Button_Active" under the rule "Hover"
//   ROLE SOURCE [MOD...]          a role's colour; SOURCE is one COLOR (flat), stops GREY:COLOR
//                                 (linear between the stops, held beyond the first and last), or
//                                 "like OTHERROLE"
//
// COLOR is #rrggbb or @name. MOD is "lighten F", "darken F", "mix COLOR F" (towards COLOR by
// F), "alpha F". The result depends on nothing but the two files.
class CSchemeCompiler
{
public:
    // False with "file:line: reason" in error.
    bool compile(const CRoleList& roles, const std::string& schemePath, kel::CPalette& out,
                 std::string& error);
    const std::string& getPaletteName() const { return paletteName; }

private:
    struct Rgb
    {
        double r = 0, g = 0, b = 0;
    };
    struct Definition
    {
        int line = 0;
        std::vector<std::string> tokens; // the line, the name first
    };

    bool parseColor(const std::string& token, Rgb& out);
    // Applies the modifiers from tokens[index] on; a single colour when rgbOnly.
    bool applyModifiers(const std::vector<std::string>& tokens, size_t index, kel::CColor& color,
                        bool rgbOnly);
    bool parseDouble(const std::string& token, double& out);
    bool resolve(const std::string& stem, const std::vector<std::string>& states, bool isJoined,
                 kel::CColor& out, int depth);
    bool fromDefinition(const Definition& definition, kel::CColor& out, int depth);
    bool fail(int line, const std::string& reason);

    std::string path;
    std::string paletteName;
    std::string* error = nullptr;
    Rgb fadeTo;
    std::map<std::string, Rgb> colours;
    std::map<std::string, Definition> stateRules;
    std::map<std::string, Definition> roles;
    std::map<std::string, kel::CColor> resolved;
};

} // namespace kelpal
