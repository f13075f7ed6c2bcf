#pragma once

#include <string>

namespace kelimg
{

// Each writes its files and answers false after reporting a failure on stderr.
bool compileFonts(const std::string& outDir);
bool compileBrushes(const std::string& outFile);
bool compileImageSets(const std::string& outDir);
// Draws every image set and font of dir, as the plug-in would, into one PNG.
bool drawContactSheet(const std::string& resourceDir, const std::string& outFile, double scale,
                      const std::string& paletteFile);

} // namespace kelimg
