#include "Compilers.h"

#include "Core/CMemoryReader.h"
#include "UI/CLinearBitmap.h"
#include "UI/Resources/CColor.h"
#include "UI/Resources/CFont.h"
#include "UI/Resources/CImage.h"
#include "UI/Resources/CImageLayer.h"
#include "UI/Resources/CImageSet.h"
#include "UI/Resources/CPalette.h"
#include "UI/Resources/CUiScale.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

// The contact sheet draws with the plug-in's own code (CImageSet, CFont, CLinearBitmap), so what
// it shows is what the interface will show.

namespace kelimg
{

namespace
{

const char* const kImageSets[] = {
    "button",       "buttonab", "checkbox",     "close",     "csurface",    "editbox", "frame",
    "groupcaption", "history",  "instancename", "knob",      "listoutline", "palicon", "popup",
    "popup2",       "ruler",    "scroller",     "statusbar", "texture",     "kelmont"};
const char* const kFonts[] = {"base",       "base_b", "micro",   "micro_b", "micro-sm",
                              "micro-sm_b", "small",  "small_b", "title",   "title_b"};

bool loadBytes(const std::string& path, std::vector<uint8_t>& out)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
    {
        std::fprintf(stderr, "kelimg: cannot read %s\n", path.c_str());
        return false;
    }
    out.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    return true;
}

bool report(kel::CError* error)
{
    if (!error)
        return true;
    char text[2048];
    error->formatChain(text, sizeof(text));
    std::fprintf(stderr, "kelimg: %s\n", text);
    delete error;
    return false;
}

kel::CColor ramp(double r, double g, double b, double alpha = 1.0)
{
    kel::CColor color;
    for (int i = 0; i < 256; ++i)
        color.setLevel(i, static_cast<uint8_t>(std::lround(i * r)),
                       static_cast<uint8_t>(std::lround(i * g)),
                       static_cast<uint8_t>(std::lround(i * b)));
    color.alpha = alpha;
    return color;
}

class CSheet
{
public:
    CSheet(double scale, const kel::CPalette* palette) : s(scale), pal(palette)
    {
        neutral = ramp(1.0, 1.0, 1.0);
        accent = ramp(1.0, 0.6, 0.2);
        text = ramp(0.12, 0.12, 0.13);
        faint = ramp(1.0, 1.0, 1.0, 0.5);
    }

    const kel::CColor* color(const std::string& set, int slot, int number) const
    {
        if (!pal)
        {
            if (set == "knob" && slot == 1)
                return &accent;
            if (set == "texture")
                return &faint;
            if (set == "palicon" && slot == 1)
                return &accent;
            return &neutral;
        }
        std::string role = "Panel";
        if (set == "button" || set == "popup" || set == "popup2" || set == "close")
            role = "Button";
        else if (set == "knob")
            role = slot == 1 ? "KnobIndicator" : (number == 100 ? "KnobLabels" : "Knob");
        else if (set == "checkbox")
            role = number == 2 ? "CheckboxTick" : "Checkbox";
        else if (set == "scroller")
            role = "ScrollerBar";
        else if (set == "palicon")
            role = slot == 0 ? "PalIconDefault"
                             : (slot == 1 ? "PalIconDefaultOuter" : "PalIconDefaultInner");
        else if (set == "texture")
            role = "PanelTexture";
        else if (set == "buttonab")
            role = "ButtonAB";
        else if (set == "font" || set == "kelmont")
            role = "PanelText";
        return pal->getColor(kel::CString(role.c_str()));
    }

    int px(double v) const { return static_cast<int>(std::lround(v * s)); }

    void drawImage(const std::string& set, const kel::CImage& image, int number, int x, int y)
    {
        for (int l = 0; l < image.getLayerCount(); ++l)
        {
            const kel::CImageLayer& layer = *image.getLayer(l);
            bitmap.drawLayer(layer, x, y, all(), color(set, layer.getColorSlot(), number), 1.0);
        }
    }

    // Text through a compiled font, baseline at y; answers the pen position after it.
    int drawText(const kel::CFont& font, const std::string& str, int x, int y,
                 const kel::CColor* ink)
    {
        double pen = x;
        for (unsigned char c : str)
        {
            const kel::CImage* glyph = font.getGlyph(c);
            if (!glyph)
                continue;
            const kel::CImageLayer& layer = *glyph->getLayer(0);
            bitmap.drawLayer(layer, static_cast<int>(std::lround(pen)), y, all(), ink, 1.0);
            pen += layer.getAdvance();
        }
        return static_cast<int>(std::lround(pen));
    }

    // A frame of eight pieces assembled at w by h: corners, tiled edges, the face filled from
    // the inner half of the top edge.
    void drawFrame(const std::string& set, const kel::CImageSet& images, int first, int x, int y,
                   int w, int h)
    {
        const kel::CImage* piece[8];
        for (int i = 0; i < 8; ++i)
            if (!(piece[i] = images.getImage(first + i)))
                return;
        auto size = [&](int i, bool wide)
        {
            const kel::CImageLayer* l = piece[i]->getLayer(0);
            return wide ? l->getWidth() : l->getHeight();
        };
        const int cw = size(4, true);
        const int ch = size(4, false);
        const kel::CColor* ink = color(set, 0, first);
        auto tile = [&](int i, int x0, int y0, int x1, int y1)
        {
            const kel::CImageLayer& l = *piece[i]->getLayer(0);
            const kel::CLinearBitmap::Rect clip{x0, y0, x1, y1};
            const int stepX = std::max(1, l.getWidth());
            const int stepY = std::max(1, l.getHeight());
            for (int ty = y0; ty < y1; ty += stepY)
                for (int tx = x0; tx < x1; tx += stepX)
                    bitmap.drawLayer(l, tx, ty, clip, ink, 1.0);
        };
        // The face: the lower half of the top edge, repeated.
        const kel::CImageLayer& top = *piece[0]->getLayer(0);
        for (int ty = y + ch; ty < y + h - ch; ty += std::max(1, top.getHeight() / 2))
            for (int tx = x + cw; tx < x + w - cw; tx += std::max(1, top.getWidth()))
                bitmap.drawLayer(
                    top, tx, ty - top.getHeight() / 2,
                    kel::CLinearBitmap::Rect{x + cw, ty, x + w - cw,
                                             std::min(ty + top.getHeight() / 2, y + h - ch)},
                    ink, 1.0);
        tile(0, x + cw, y, x + w - cw, y + ch);
        tile(2, x + cw, y + h - ch, x + w - cw, y + h);
        tile(3, x, y + ch, x + cw, y + h - ch);
        tile(1, x + w - cw, y + ch, x + w, y + h - ch);
        tile(4, x, y, x + cw, y + ch);
        tile(5, x + w - cw, y, x + w, y + ch);
        tile(6, x + w - cw, y + h - ch, x + w, y + h);
        tile(7, x, y + h - ch, x + cw, y + h);
    }

    kel::CLinearBitmap::Rect all() const { return {0, 0, bitmap.getWidth(), bitmap.getHeight()}; }

    double s;
    const kel::CPalette* pal;
    kel::CColor neutral, accent, text, faint;
    kel::CLinearBitmap bitmap;
};

} // namespace

bool drawContactSheet(const std::string& resourceDir, const std::string& outFile, double scale,
                      const std::string& paletteFile)
{
    kel::CUiScale::set(scale);
    std::vector<std::vector<uint8_t>> blobs; // the sets point into these
    blobs.reserve(64);
    auto open = [&](const std::string& path, auto& into)
    {
        blobs.emplace_back();
        if (!loadBytes(path, blobs.back()))
            return false;
        kel::CMemoryReader reader(blobs.back().data(), blobs.back().size());
        return report(into.read(reader));
    };

    std::unique_ptr<kel::CPalette> palette;
    if (!paletteFile.empty())
    {
        palette = std::make_unique<kel::CPalette>();
        if (!open(paletteFile, *palette))
            return false;
    }
    CSheet sheet(scale, palette.get());
    std::vector<std::unique_ptr<kel::CImageSet>> sets;
    for (const char* name : kImageSets)
    {
        sets.push_back(std::make_unique<kel::CImageSet>());
        if (!open(resourceDir + "/Imagesets/" + name + ".is", *sets.back()))
            return false;
    }
    std::vector<std::unique_ptr<kel::CFont>> fonts;
    for (const char* name : kFonts)
    {
        fonts.push_back(std::make_unique<kel::CFont>());
        if (!open(resourceDir + "/Fonts/" + name + ".fnt", *fonts.back()))
            return false;
    }

    const int width = sheet.px(1100);
    const int height = sheet.px(1600);
    if (!report(sheet.bitmap.resize(width, height)))
        return false;
    const kel::CColor* background =
        palette ? palette->getColor(kel::CString("Background")) : &sheet.neutral;
    sheet.bitmap.fill(kel::CLinearBitmap::makePixel(background->red[150], background->green[150],
                                                    background->blue[150]));
    const kel::CColor* ink = palette ? palette->getColor(kel::CString("PanelText")) : &sheet.text;
    const kel::CFont& label = *fonts[0];

    int y = sheet.px(10);
    const int margin = sheet.px(12);
    for (size_t i = 0; i < sets.size(); ++i)
    {
        const std::string name = kImageSets[i];
        const kel::CImageSet& set = *sets[i];
        y += label.getLineHeight();
        std::string caption = name + ".is";
        for (const auto& [rangeName, range] : set.getRanges())
        {
            caption += "  ";
            caption += rangeName.isEmpty() ? "\"\"" : std::string(rangeName.getNarrow());
            caption += " " + std::to_string(range.first);
            if (range.last != range.first)
                caption += "-" + std::to_string(range.last);
        }
        sheet.drawText(label, caption, margin, y, ink);
        y += sheet.px(6);

        int x = margin;
        int rowHeight = 0;
        // Frames: whole panels from each run of eight pieces.
        const bool frames = set.getImage(1) && set.getImage(8) && name != "ruler" &&
                            name != "knob" && name != "history" && name != "scroller";
        for (int number = 0; number < set.getImageLimit(); ++number)
        {
            const kel::CImage* image = set.getImage(number);
            // Every seventh knob position is enough to judge the travel.
            if (!image || (name == "knob" && number < 84 && number % 7 != 0))
                continue;
            if (frames && number % 10 == 1 && set.getImage(number + 7))
            {
                const int w = sheet.px(150);
                const int h = sheet.px(48);
                sheet.drawFrame(name, set, number, x, y, w, h);
                x += w + sheet.px(10);
                rowHeight = std::max(rowHeight, h);
                number += 7;
                continue;
            }
            const kel::CImageLayer& first = *image->getLayer(0);
            int w = first.getWidth();
            int h = first.getHeight();
            for (int l = 0; l < image->getLayerCount(); ++l)
            {
                w = std::max(w, image->getLayer(l)->getX() + image->getLayer(l)->getDrawWidth());
                h = std::max(h, image->getLayer(l)->getY() + image->getLayer(l)->getDrawHeight());
            }
            if (x + w > width - margin)
            {
                x = margin;
                y += rowHeight + sheet.px(8);
                rowHeight = 0;
            }
            sheet.drawImage(name, *image, number, x, y);
            x += w + sheet.px(8);
            rowHeight = std::max(rowHeight, h);
        }
        y += rowHeight + sheet.px(12);
    }

    std::string sample;
    for (int c = 32; c < 127; ++c)
        sample += static_cast<char>(c);
    std::string latin;
    for (int c = 192; c < 256; ++c)
        latin += static_cast<char>(c);
    for (size_t i = 0; i < fonts.size(); ++i)
    {
        const kel::CFont& font = *fonts[i];
        y += font.getLineHeight() + font.getLineAbove();
        const int x = sheet.drawText(label, std::string(kFonts[i]) + ".fnt", margin, y, ink);
        const int after =
            sheet.drawText(font, sample, std::max(x + sheet.px(10), sheet.px(110)), y, ink);
        (void)after;
        y += font.getLineHeight() + font.getLineBelow();
        sheet.drawText(font, latin, sheet.px(110), y, ink);
    }
    // Greek through the same array as the Latin letters.
    y += fonts[8]->getLineHeight() * 2;
    double pen = margin;
    for (int c = 913; c <= 969; ++c)
    {
        const kel::CImage* glyph = fonts[8]->getGlyph(c);
        if (!glyph)
            continue;
        sheet.bitmap.drawLayer(*glyph->getLayer(0), static_cast<int>(std::lround(pen)), y,
                               sheet.all(), ink, 1.0);
        pen += glyph->getLayer(0)->getAdvance();
    }

    const int used = std::min(height, y + sheet.px(20));
    cairo_surface_t* surface = cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char*>(sheet.bitmap.getPixels()), CAIRO_FORMAT_RGB24, width, used,
        width * 4);
    const bool ok = cairo_surface_write_to_png(surface, outFile.c_str()) == CAIRO_STATUS_SUCCESS;
    cairo_surface_destroy(surface);
    if (!ok)
        std::fprintf(stderr, "kelimg: cannot write %s\n", outFile.c_str());
    return ok;
}

} // namespace kelimg
