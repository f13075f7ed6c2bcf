#pragma once

#include "CCompiledNode.h"

#include "Core/CError.h"

#include <string>
#include <vector>

namespace kel
{

// The offline compiler of object tree sources: reads a source file (XML rooted in <kel>),
// follows its includes, applies per-tag defaults, expands macros and run-time templates, and
// gives the full tree whose nodes carry every attribute they will have. Resources/README.md
// describes the source language. Errors name the source file and line ("Shared.xml:12: ...").
// One compile at a time per object. [any thread]
class CTreeCompiler
{
public:
    // Folders searched for includes, in order, after the including file's own folder.
    void addIncludeDir(const std::string& dir);

    [[nodiscard]] CError* compile(const std::string& sourcePath, CCompiledNode& outRoot);

    // Absolute paths of every file the last compile read, the source first, each once.
    const std::vector<std::string>& getDependencies() const { return dependencies; }

private:
    std::vector<std::string> includeDirs;
    std::vector<std::string> dependencies;
};

} // namespace kel
