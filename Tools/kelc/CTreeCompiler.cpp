#include "CTreeCompiler.h"

#include <pugixml.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

namespace fs = std::filesystem;

namespace kel
{

namespace
{

using CAttrList = std::vector<std::pair<std::string, std::string>>;

// An override keeps the place of the attribute it replaces.
void setAttr(CAttrList& list, const std::string& key, const std::string& value)
{
    for (auto& entry : list)
    {
        if (entry.first == key)
        {
            entry.second = value;
            return;
        }
    }
    list.emplace_back(key, value);
}

bool isKeyword(const std::string& name)
{
    return name == "kel" || name == "include" || name == "defaults" || name == "macro" ||
           name == "template";
}

struct CSourceFile
{
    std::string path;     // as messages show it
    std::string identity; // canonical path: tells includes of the same file apart from others
    std::string text;
    pugi::xml_document document;

    int lineOf(ptrdiff_t offset) const
    {
        const auto end = text.begin() + std::clamp<ptrdiff_t>(offset, 0, ptrdiff_t(text.size()));
        return 1 + static_cast<int>(std::count(text.begin(), end, '\n'));
    }
    std::string where(const pugi::xml_node& node) const
    {
        return path + ":" + std::to_string(lineOf(node.offset_debug()));
    }
};

struct CMacro
{
    pugi::xml_node node;
    const CSourceFile* file;
};

// Defaults seen so far in one list of elements. A list's scope lies inside the scope of the
// list around it, and an included file's inside the scope at its include, so defaults reach
// forwards and inwards but never out of the element or file that declares them.
struct CScope
{
    const CScope* outer = nullptr;
    std::map<std::string, CAttrList> defaults;

    CAttrList defaultsFor(const std::string& tag) const
    {
        CAttrList merged = outer ? outer->defaultsFor(tag) : CAttrList();
        const auto found = defaults.find(tag);
        if (found != defaults.end())
            for (const auto& [key, value] : found->second)
                setAttr(merged, key, value);
        return merged;
    }
};

// UTF-8 to 8-bit text in place: false for a malformed sequence or a character above 255.
bool utf8ToLatin1(std::string& text)
{
    std::string out;
    for (size_t i = 0; i < text.size();)
    {
        const unsigned char lead = static_cast<unsigned char>(text[i]);
        if (lead < 0x80)
        {
            out += static_cast<char>(lead);
            ++i;
            continue;
        }
        // Only two-byte forms reach 255: 0xC2 and 0xC3 lead U+0080 to U+00FF.
        if ((lead != 0xC2 && lead != 0xC3) || i + 1 >= text.size() ||
            (static_cast<unsigned char>(text[i + 1]) & 0xC0) != 0x80)
            return false;
        out += static_cast<char>(((lead & 0x1F) << 6) | (text[i + 1] & 0x3F));
        i += 2;
    }
    text = out;
    return true;
}

// The compiled strings are 8-bit text, as the run time reads them; sources are UTF-8. Converts
// every element name, attribute name and value of a file once, after parsing.
CError* toLatin1(CSourceFile& file, pugi::xml_node element)
{
    std::string text = element.name();
    if (!utf8ToLatin1(text))
        return KEL_ERROR("@kelstr_CTreeCompiler_NotLatin1 %1: '%2' has a character beyond 8 bits "
                         "or is no UTF-8.",
                         file.where(element).c_str(), element.name());
    element.set_name(text.c_str());
    for (pugi::xml_attribute attr : element.attributes())
    {
        for (const bool isValue : {false, true})
        {
            text = isValue ? attr.value() : attr.name();
            if (!utf8ToLatin1(text))
                return KEL_ERROR("@kelstr_CTreeCompiler_NotLatin1 %1: '%2' has a character "
                                 "beyond 8 bits or is no UTF-8.",
                                 file.where(element).c_str(), isValue ? attr.value() : attr.name());
            if (isValue)
                attr.set_value(text.c_str());
            else
                attr.set_name(text.c_str());
        }
    }
    for (pugi::xml_node child : element.children())
        if (child.type() == pugi::node_element)
            KEL_CHECK(toLatin1(file, child));
    return nullptr;
}

// One compile: owns the parsed files (macros keep pointing into them) and the macro table.
class CCompileRun
{
public:
    CCompileRun(const std::vector<std::string>& dirs, std::vector<std::string>& deps)
        : includeDirs(dirs), dependencies(deps)
    {
    }

    CError* compile(const std::string& path, CCompiledNode& root);

private:
    CError* load(const std::string& path, const CSourceFile*& outFile);
    CError* expandChildren(const pugi::xml_node& parent, const CSourceFile& file,
                           const CScope& outer, bool isFileTop, std::vector<CCompiledNode>& out);
    CError* expandElement(const pugi::xml_node& element, const CSourceFile& file,
                          const CScope& scope, CCompiledNode& out);
    CError* expandTemplate(const pugi::xml_node& element, const CSourceFile& file,
                           const CScope& scope, CCompiledNode& out);
    CError* include(const pugi::xml_node& element, const CSourceFile& file, const CScope& scope,
                    std::vector<CCompiledNode>& out);
    CError* expandIncluded(const CSourceFile& included, const CScope& scope,
                           std::vector<CCompiledNode>& out);
    CError* addDefaults(const pugi::xml_node& element, const CSourceFile& file, CScope& scope);
    CError* defineMacro(const pugi::xml_node& element, const CSourceFile& file);
    CError* checkAttributes(const pugi::xml_node& element, const CSourceFile& file,
                            std::initializer_list<const char*> allowed);

    const std::vector<std::string>& includeDirs;
    std::vector<std::string>& dependencies;
    std::vector<std::unique_ptr<CSourceFile>> files;
    std::vector<std::string> includeStack; // identities of the files being read
    std::map<std::string, CMacro> macros;
    std::vector<const CMacro*> expanding;            // macros whose children are being expanded
    std::map<std::string, std::string> plainTagUses; // first use of each class tag: "file:line"
};

CError* CCompileRun::load(const std::string& path, const CSourceFile*& outFile)
{
    auto file = std::make_unique<CSourceFile>();
    file->path = path;
    std::error_code ignored;
    file->identity = fs::weakly_canonical(path, ignored).string();
    std::ifstream stream(path, std::ios::binary);
    if (!stream)
        return KEL_ERROR("@kelstr_CTreeCompiler_load_OpenError %1: cannot be opened.",
                         path.c_str());
    std::ostringstream contents;
    contents << stream.rdbuf();
    file->text = contents.str();

    const std::string absolute = fs::absolute(path).lexically_normal().string();
    if (std::find(dependencies.begin(), dependencies.end(), absolute) == dependencies.end())
        dependencies.push_back(absolute);

    const pugi::xml_parse_result parsed = file->document.load_buffer(
        file->text.data(), file->text.size(), pugi::parse_default, pugi::encoding_utf8);
    if (!parsed)
        return KEL_ERROR("@kelstr_CTreeCompiler_load_XmlError %1:%2: %3.", path.c_str(),
                         file->lineOf(parsed.offset), parsed.description());
    const pugi::xml_node root = file->document.document_element();
    if (std::string(root.name()) != "kel")
        return KEL_ERROR("@kelstr_CTreeCompiler_load_NoRoot %1: the root element must be <kel>, "
                         "not <%2>.",
                         file->where(root).c_str(), root.name());
    KEL_CHECK(toLatin1(*file, root));
    outFile = file.get();
    files.push_back(std::move(file));
    return nullptr;
}

CError* CCompileRun::compile(const std::string& path, CCompiledNode& root)
{
    const CSourceFile* file = nullptr;
    KEL_CHECK(load(path, file));
    const pugi::xml_node element = file->document.document_element();
    root = CCompiledNode();
    for (const pugi::xml_attribute& attr : element.attributes())
    {
        if (std::string(attr.name()) == "name")
            return KEL_ERROR("@kelstr_CTreeCompiler_compile_RootName %1: the root has no name.",
                             file->where(element).c_str());
        setAttr(root.attrs, attr.name(), attr.value());
    }
    includeStack.push_back(file->identity);
    const CScope top;
    KEL_CHECK(expandChildren(element, *file, top, true, root.children));
    includeStack.pop_back();
    return nullptr;
}

CError* CCompileRun::checkAttributes(const pugi::xml_node& element, const CSourceFile& file,
                                     std::initializer_list<const char*> allowed)
{
    for (const pugi::xml_attribute& attr : element.attributes())
    {
        const std::string name = attr.name();
        if (std::none_of(allowed.begin(), allowed.end(), [&](const char* a) { return name == a; }))
            return KEL_ERROR("@kelstr_CTreeCompiler_UnknownAttribute %1: <%2> takes no attribute "
                             "'%3'.",
                             file.where(element).c_str(), element.name(), attr.name());
    }
    return nullptr;
}

CError* CCompileRun::expandChildren(const pugi::xml_node& parent, const CSourceFile& file,
                                    const CScope& outer, bool isFileTop,
                                    std::vector<CCompiledNode>& out)
{
    CScope scope;
    scope.outer = &outer;
    for (const pugi::xml_node& child : parent.children())
    {
        if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata)
            return KEL_ERROR("@kelstr_CTreeCompiler_Text %1: text is not allowed inside <%2>.",
                             file.where(child).c_str(), parent.name());
        if (child.type() != pugi::node_element)
            continue;
        const std::string name = child.name();
        if (name == "kel")
            return KEL_ERROR("@kelstr_CTreeCompiler_NestedRoot %1: <kel> is only the root of a "
                             "file.",
                             file.where(child).c_str());
        if (name == "include")
            KEL_CHECK(include(child, file, scope, out));
        else if (name == "defaults")
            KEL_CHECK(addDefaults(child, file, scope));
        else if (name == "macro")
        {
            if (!isFileTop)
                return KEL_ERROR("@kelstr_CTreeCompiler_MacroPlace %1: macros are defined at the "
                                 "top level of a file.",
                                 file.where(child).c_str());
            KEL_CHECK(defineMacro(child, file));
        }
        else
        {
            out.emplace_back();
            if (name == "template")
                KEL_CHECK(expandTemplate(child, file, scope, out.back()));
            else
                KEL_CHECK(expandElement(child, file, scope, out.back()));
        }
    }
    return nullptr;
}

CError* CCompileRun::expandElement(const pugi::xml_node& element, const CSourceFile& file,
                                   const CScope& scope, CCompiledNode& out)
{
    // A macro may name another macro as its tag: the chain runs from the element's own macro to
    // the one whose tag is a class.
    std::vector<const CMacro*> chain;
    std::string tag = element.name();
    for (auto found = macros.find(tag); found != macros.end(); found = macros.find(tag))
    {
        if (std::find(chain.begin(), chain.end(), &found->second) != chain.end() ||
            std::find(expanding.begin(), expanding.end(), &found->second) != expanding.end())
            return KEL_ERROR("@kelstr_CTreeCompiler_MacroCycle %1: macro '%2' expands to "
                             "itself.",
                             file.where(element).c_str(), tag.c_str());
        chain.push_back(&found->second);
        tag = found->second.node.attribute("tag").value();
    }
    plainTagUses.emplace(tag, file.where(element).c_str());

    out.tag = tag;
    out.name = element.attribute("name").value();
    out.attrs = scope.defaultsFor(tag);
    for (auto macro = chain.rbegin(); macro != chain.rend(); ++macro)
        for (const pugi::xml_attribute& attr : (*macro)->node.attributes())
        {
            const std::string key = attr.name();
            if (key != "name" && key != "tag")
                setAttr(out.attrs, key, attr.value());
        }
    std::vector<std::string> own;
    for (const pugi::xml_attribute& attr : element.attributes())
    {
        const std::string key = attr.name();
        if (std::find(own.begin(), own.end(), key) != own.end())
            return KEL_ERROR("@kelstr_CTreeCompiler_DuplicateAttribute %1: attribute '%2' is "
                             "given twice.",
                             file.where(element).c_str(), key.c_str());
        own.push_back(key);
        if (key != "name")
            setAttr(out.attrs, key, attr.value());
    }

    for (auto macro = chain.rbegin(); macro != chain.rend(); ++macro)
    {
        expanding.push_back(*macro);
        CError* error = expandChildren((*macro)->node, *(*macro)->file, scope, false, out.children);
        expanding.pop_back();
        KEL_CHECK(error);
    }
    KEL_CHECK(expandChildren(element, file, scope, false, out.children));
    return nullptr;
}

CError* CCompileRun::expandTemplate(const pugi::xml_node& element, const CSourceFile& file,
                                    const CScope& scope, CCompiledNode& out)
{
    KEL_CHECK(checkAttributes(element, file, {"name", "class"}));
    const std::string name = element.attribute("name").value();
    const std::string classTag = element.attribute("class").value();
    if (name.empty() || classTag.empty())
        return KEL_ERROR("@kelstr_CTreeCompiler_TemplateHead %1: a template needs a name and a "
                         "class.",
                         file.where(element).c_str());
    pugi::xml_node body;
    int elementCount = 0;
    for (const pugi::xml_node& child : element.children())
    {
        if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata)
            return KEL_ERROR("@kelstr_CTreeCompiler_Text %1: text is not allowed inside <%2>.",
                             file.where(child).c_str(), element.name());
        if (child.type() == pugi::node_element && elementCount++ == 0)
            body = child;
    }
    if (elementCount != 1)
        return KEL_ERROR("@kelstr_CTreeCompiler_TemplateBody %1: template '%2' must have exactly "
                         "one body element, not %3.",
                         file.where(element).c_str(), name.c_str(), elementCount);
    if (isKeyword(body.name()))
        return KEL_ERROR("@kelstr_CTreeCompiler_TemplateBodyKind %1: the body of template '%2' "
                         "must be an object, not <%3>.",
                         file.where(body).c_str(), name.c_str(), body.name());

    out.tag = "template";
    out.name = name;
    out.isTemplate = true;
    out.classTag = classTag;
    out.children.emplace_back();
    KEL_CHECK(expandElement(body, file, scope, out.children.back()));
    if (out.children.back().tag != classTag)
        return KEL_ERROR("@kelstr_CTreeCompiler_TemplateClass %1: the body of template '%2' is "
                         "'%3', but its class is '%4'.",
                         file.where(body).c_str(), name.c_str(), out.children.back().tag.c_str(),
                         classTag.c_str());
    return nullptr;
}

CError* CCompileRun::include(const pugi::xml_node& element, const CSourceFile& file,
                             const CScope& scope, std::vector<CCompiledNode>& out)
{
    KEL_CHECK(checkAttributes(element, file, {"file"}));
    const std::string name = element.attribute("file").value();
    if (name.empty())
        return KEL_ERROR("@kelstr_CTreeCompiler_IncludeName %1: <include> needs a file.",
                         file.where(element).c_str());
    std::vector<fs::path> candidates;
    if (fs::path(name).is_absolute())
        candidates.emplace_back(name);
    else
    {
        candidates.push_back(fs::path(file.path).parent_path() / name);
        for (const std::string& dir : includeDirs)
            candidates.push_back(fs::path(dir) / name);
    }
    std::string path;
    for (const fs::path& candidate : candidates)
    {
        std::error_code ignored;
        if (fs::is_regular_file(candidate, ignored))
        {
            path = candidate.lexically_normal().string();
            break;
        }
    }
    if (path.empty())
        return KEL_ERROR("@kelstr_CTreeCompiler_IncludeNotFound %1: include file '%2' not found.",
                         file.where(element).c_str(), name.c_str());
    std::error_code ignored;
    if (std::find(includeStack.begin(), includeStack.end(),
                  fs::weakly_canonical(path, ignored).string()) != includeStack.end())
        return KEL_ERROR("@kelstr_CTreeCompiler_IncludeCycle %1: '%2' includes itself.",
                         file.where(element).c_str(), name.c_str());

    const CSourceFile* included = nullptr;
    CError* error = load(path, included);
    if (!error)
    {
        includeStack.push_back(included->identity);
        error = expandIncluded(*included, scope, out);
        includeStack.pop_back();
    }
    if (error)
    {
        // The message keeps the place in the included file first; where it was included from
        // follows, once per level of includes.
        CError* wrapped = KEL_ERROR("@kelstr_CTreeCompiler_IncludedFrom %1 (included from %2)",
                                    error->getMessage(), file.where(element).c_str());
        delete error;
        return wrapped;
    }
    return nullptr;
}

CError* CCompileRun::expandIncluded(const CSourceFile& included, const CScope& scope,
                                    std::vector<CCompiledNode>& out)
{
    const pugi::xml_node root = included.document.document_element();
    if (root.first_attribute())
        return KEL_ERROR("@kelstr_CTreeCompiler_IncludeRootAttr %1: the root of an included file "
                         "has no attributes.",
                         included.where(root).c_str());
    KEL_CHECK(expandChildren(root, included, scope, true, out));
    return nullptr;
}

CError* CCompileRun::addDefaults(const pugi::xml_node& element, const CSourceFile& file,
                                 CScope& scope)
{
    const std::string tag = element.attribute("tag").value();
    if (tag.empty())
        return KEL_ERROR("@kelstr_CTreeCompiler_DefaultsTag %1: <defaults> needs a tag.",
                         file.where(element).c_str());
    if (macros.count(tag))
        return KEL_ERROR("@kelstr_CTreeCompiler_DefaultsMacro %1: defaults apply to class tags; "
                         "'%2' is a macro.",
                         file.where(element).c_str(), tag.c_str());
    if (element.first_child())
        return KEL_ERROR("@kelstr_CTreeCompiler_DefaultsContent %1: <defaults> has no content.",
                         file.where(element).c_str());
    CAttrList& list = scope.defaults[tag];
    for (const pugi::xml_attribute& attr : element.attributes())
    {
        const std::string key = attr.name();
        if (key == "name")
            return KEL_ERROR("@kelstr_CTreeCompiler_DefaultsName %1: defaults give no name.",
                             file.where(element).c_str());
        if (key != "tag")
            setAttr(list, key, attr.value());
    }
    return nullptr;
}

CError* CCompileRun::defineMacro(const pugi::xml_node& element, const CSourceFile& file)
{
    const std::string name = element.attribute("name").value();
    const std::string tag = element.attribute("tag").value();
    if (name.empty() || tag.empty())
        return KEL_ERROR("@kelstr_CTreeCompiler_MacroHead %1: a macro needs a name and a tag.",
                         file.where(element).c_str());
    if (isKeyword(name) || isKeyword(tag))
        return KEL_ERROR("@kelstr_CTreeCompiler_MacroKeyword %1: macro '%2' may neither be nor "
                         "make a <%3>.",
                         file.where(element).c_str(), name.c_str(),
                         (isKeyword(name) ? name : tag).c_str());
    const auto existing = macros.find(name);
    if (existing != macros.end())
    {
        // The same definition met again (a file of macros included twice) is no conflict.
        if (existing->second.file->identity == file.identity &&
            existing->second.node.offset_debug() == element.offset_debug())
            return nullptr;
        return KEL_ERROR("@kelstr_CTreeCompiler_MacroDuplicate %1: macro '%2' is already defined "
                         "at %3.",
                         file.where(element).c_str(), name.c_str(),
                         existing->second.file->where(existing->second.node).c_str());
    }
    // Without this a use before the definition would silently compile as a class of that name.
    const auto used = plainTagUses.find(name);
    if (used != plainTagUses.end())
        return KEL_ERROR("@kelstr_CTreeCompiler_MacroAfterUse %1: macro '%2' is defined after "
                         "its use at %3.",
                         file.where(element).c_str(), name.c_str(), used->second.c_str());
    macros.emplace(name, CMacro{element, &file});
    return nullptr;
}

} // namespace

void CTreeCompiler::addIncludeDir(const std::string& dir)
{
    includeDirs.push_back(dir);
}

CError* CTreeCompiler::compile(const std::string& sourcePath, CCompiledNode& outRoot)
{
    dependencies.clear();
    CCompileRun run(includeDirs, dependencies);
    KEL_CHECK(run.compile(sourcePath, outRoot));
    return nullptr;
}

} // namespace kel
