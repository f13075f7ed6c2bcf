#include "Compilers.h"
#include "ImgWriter.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <cmath>
#include <cstdio>

namespace kelimg
{

namespace
{

struct FaceSpec
{
    const char* fileName;
    const char* fontFile;
    double pixelSize;  // at scale 1.0
    double widthScale; // below 1.0 narrows the face for the small labels
    int lineHeight;
    int lineAbove;
    int lineBelow;
};

// The faces of the interface and the line metrics the text wrapper works with.
const FaceSpec kFaces[] = {
    {"base.fnt", "DejaVuSans.ttf", 11.0, 1.0, 14, 3, 3},
    {"base_b.fnt", "DejaVuSans-Bold.ttf", 11.0, 1.0, 14, 3, 3},
    {"micro.fnt", "DejaVuSans.ttf", 10.0, 0.88, 14, 3, 2},
    {"micro_b.fnt", "DejaVuSans-Bold.ttf", 10.0, 0.88, 14, 3, 2},
    {"micro-sm.fnt", "DejaVuSans.ttf", 8.5, 0.9, 11, 3, 2},
    {"micro-sm_b.fnt", "DejaVuSans-Bold.ttf", 8.5, 0.9, 11, 3, 2},
    {"small.fnt", "DejaVuSans.ttf", 8.0, 1.0, 10, 3, 3},
    {"small_b.fnt", "DejaVuSans-Bold.ttf", 8.0, 1.0, 10, 3, 3},
    {"title.fnt", "DejaVuSans.ttf", 13.0, 1.0, 16, 5, 4},
    {"title_b.fnt", "DejaVuSans-Bold.ttf", 13.5, 1.0, 17, 5, 5},
};

bool isWanted(int code)
{
    if (code >= 32 && code <= 126)
        return true;
    if (code >= 192 && code <= 255)
        return code != 215 &&
               code != 247; // letters only, not the multiplication and division signs
    return (code >= 913 && code <= 937 && code != 930) || (code >= 945 && code <= 969);
}

bool renderGlyph(FT_Face face, int code, Picture& out)
{
    if (FT_Get_Char_Index(face, static_cast<FT_ULong>(code)) == 0)
        return false;
    if (FT_Load_Char(face, static_cast<FT_ULong>(code), FT_LOAD_RENDER | FT_LOAD_TARGET_LIGHT))
        return false;
    const FT_GlyphSlot slot = face->glyph;
    const FT_Bitmap& bitmap = slot->bitmap;
    out.format = 1;
    out.advance = slot->advance.x / 64.0;
    out.width = static_cast<int>(std::lround(out.advance));
    out.height = static_cast<int>(std::lround(face->size->metrics.height / 64.0));
    out.left = slot->bitmap_left;
    out.top = -slot->bitmap_top;
    out.pixelsWide = static_cast<int>(bitmap.width);
    out.pixelsHigh = static_cast<int>(bitmap.rows);
    out.pixels.assign(static_cast<size_t>(out.pixelsWide) * out.pixelsHigh, 0);
    for (int y = 0; y < out.pixelsHigh; ++y)
        for (int x = 0; x < out.pixelsWide; ++x)
            out.pixels[y * out.pixelsWide + x] = bitmap.buffer[y * bitmap.pitch + x];
    out.trim();
    if (out.pixelsWide == 0) // the space keeps its place
        out.left = out.top = 0;
    return true;
}

} // namespace

bool compileFonts(const std::string& outDir)
{
    FT_Library library = nullptr;
    if (FT_Init_FreeType(&library))
        return false;
    bool ok = true;
    for (const FaceSpec& faceDef : kFaces)
    {
        const std::string path = std::string(KEL_DEJAVU_DIR) + "/" + faceDef.fontFile;
        FT_Face face = nullptr;
        if (FT_New_Face(library, path.c_str(), 0, &face))
        {
            std::fprintf(stderr, "kelimg: cannot open %s\n", path.c_str());
            ok = false;
            continue;
        }
        ImageSet set;
        for (int v = 0; v < 3; ++v)
        {
            FT_Set_Char_Size(
                face, 0,
                static_cast<FT_F26Dot6>(std::lround(faceDef.pixelSize * kScales[v] * 64.0)), 72,
                72);
            FT_Matrix narrow = {static_cast<FT_Fixed>(std::lround(faceDef.widthScale * 65536.0)), 0,
                                0, 0x10000};
            FT_Set_Transform(face, &narrow, nullptr);
            for (int code = 32; code <= 969; ++code)
            {
                if (!isWanted(code))
                    continue;
                Picture glyph;
                if (!renderGlyph(face, code, glyph))
                    continue;
                Image& image = set.images[code];
                if (image.layers.empty())
                {
                    image.layers.resize(1);
                    image.layers[0].format = 1;
                }
                image.layers[0].variants[v] = glyph;
            }
        }
        FT_Done_Face(face);

        ByteWriter out;
        out.u32(1);
        writeImageSet(out, set);
        out.i32(faceDef.lineHeight);
        out.i32(faceDef.lineAbove);
        out.i32(faceDef.lineBelow);
        ok = saveFile(outDir + "/" + faceDef.fileName, out.bytes) && ok;
    }
    FT_Done_FreeType(library);
    return ok;
}

} // namespace kelimg
