// kelimg: the compiler of the interface graphics.
//
//   kelimg --fonts DIR            the ten faces as .fnt files
//   kelimg --brushes FILE         the brush set
//   kelimg --imagesets DIR        the twenty image sets
//   kelimg --contact-sheet OUT.png --from DIR [--scale 0.8|1.0|1.25] [--palette FILE.pal]
//                                 draws every image set and font found in DIR (the folder
//                                 holding Imagesets/ and Fonts/) for people to look at
//
// Output is deterministic: the same sources and libraries give the same bytes.

#include "Compilers.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>

namespace
{

int usage()
{
    std::fprintf(stderr,
                 "usage: kelimg --fonts DIR | --brushes FILE | --imagesets DIR |\n"
                 "       --contact-sheet OUT.png --from DIR [--scale S] [--palette FILE]\n");
    return 2;
}

void makeDir(const std::string& dir)
{
    mkdir(dir.c_str(), 0755);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3)
        return usage();
    const std::string mode = argv[1];
    const std::string target = argv[2];
    if (mode == "--fonts")
    {
        makeDir(target);
        return kelimg::compileFonts(target) ? 0 : 1;
    }
    if (mode == "--brushes")
        return kelimg::compileBrushes(target) ? 0 : 1;
    if (mode == "--imagesets")
    {
        makeDir(target);
        return kelimg::compileImageSets(target) ? 0 : 1;
    }
    if (mode == "--contact-sheet")
    {
        std::string from;
        std::string palette;
        double scale = 1.0;
        for (int i = 3; i + 1 < argc; i += 2)
        {
            if (!std::strcmp(argv[i], "--from"))
                from = argv[i + 1];
            else if (!std::strcmp(argv[i], "--scale"))
                scale = std::atof(argv[i + 1]);
            else if (!std::strcmp(argv[i], "--palette"))
                palette = argv[i + 1];
            else
                return usage();
        }
        if (from.empty())
            return usage();
        return kelimg::drawContactSheet(from, target, scale, palette) ? 0 : 1;
    }
    return usage();
}
