#include "Compilers.h"
#include "ImgWriter.h"

#include <cairo-ft.h>
#include <cairo.h>
#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>

// The interface's pictures, drawn with cairo in neutral greys: a palette colours every grey level
// at draw time, so light greys are the lit faces, dark greys the edges and shadows. Sizes are
// given at scale 1.0; each picture is drawn anew at every scale, never resampled.
//
// Frames are eight pieces sliced from one 100 by 100 panel: the edges top, right, bottom, left
// (60 by 20 or 20 by 60) and the corners top-left, top-right, bottom-right, bottom-left (20 by 20).
// Edges are uniform along their length so that they can be stretched or tiled.

namespace kelimg
{

namespace
{

constexpr double kPi = 3.14159265358979323846;
using Draw = std::function<void(cairo_t*)>;

double grey(int level)
{
    return level / 255.0;
}

void setGrey(cairo_t* cr, int level, double alpha = 1.0)
{
    cairo_set_source_rgba(cr, grey(level), grey(level), grey(level), alpha);
}

void roundedRect(cairo_t* cr, double x, double y, double w, double h, double r)
{
    cairo_new_sub_path(cr);
    cairo_arc(cr, x + w - r, y + r, r, -kPi / 2, 0);
    cairo_arc(cr, x + w - r, y + h - r, r, 0, kPi / 2);
    cairo_arc(cr, x + r, y + h - r, r, kPi / 2, kPi);
    cairo_arc(cr, x + r, y + r, r, kPi, 3 * kPi / 2);
    cairo_close_path(cr);
}

// The cairo picture in straight grey + alpha (or alpha alone), trimmed.
Picture toPicture(cairo_surface_t* surface, int format)
{
    cairo_surface_flush(surface);
    Picture p;
    p.format = format;
    p.pixelsWide = cairo_image_surface_get_width(surface);
    p.pixelsHigh = cairo_image_surface_get_height(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    const unsigned char* data = cairo_image_surface_get_data(surface);
    p.pixels.resize(static_cast<size_t>(p.pixelsWide) * p.pixelsHigh * format);
    for (int y = 0; y < p.pixelsHigh; ++y)
        for (int x = 0; x < p.pixelsWide; ++x)
        {
            uint32_t argb = 0;
            std::memcpy(&argb, data + y * stride + x * 4, 4);
            const int a = static_cast<int>(argb >> 24);
            const int r = static_cast<int>((argb >> 16) & 0xFF);
            uint8_t* out = &p.pixels[(static_cast<size_t>(y) * p.pixelsWide + x) * format];
            if (format == 2)
                out[0] = static_cast<uint8_t>(a ? std::min(255, (r * 255 + a / 2) / a) : 0);
            out[format - 1] = static_cast<uint8_t>(a);
        }
    return p;
}

// Draws at each scale into a canvas of the nominal size plus margin on every side (for shadows
// and glows); the origin is the nominal box's top-left corner.
// pixelSizes, when given, fixes the square pixel size at each scale instead of rounding.
Layer drawLayer(int slot, double w, double h, double margin, const Draw& draw, int format = 2,
                const int* pixelSizes = nullptr)
{
    Layer layer;
    layer.colorSlot = slot;
    layer.format = format;
    for (int v = 0; v < 3; ++v)
    {
        const double s = kScales[v];
        const int pw = pixelSizes ? pixelSizes[v] : static_cast<int>(std::lround(w * s));
        const int ph = pixelSizes ? pixelSizes[v] : static_cast<int>(std::lround(h * s));
        const int m = static_cast<int>(std::ceil(margin * s));
        cairo_surface_t* surface =
            cairo_image_surface_create(CAIRO_FORMAT_ARGB32, pw + 2 * m, ph + 2 * m);
        cairo_t* cr = cairo_create(surface);
        cairo_translate(cr, m, m);
        cairo_scale(cr, pw / w, ph / h);
        draw(cr);
        cairo_destroy(cr);
        Picture p = toPicture(surface, format);
        cairo_surface_destroy(surface);
        p.width = pw;
        p.height = ph;
        p.left = -m;
        p.top = -m;
        p.trim();
        layer.variants[v] = std::move(p);
    }
    return layer;
}

Image single(const Layer& layer)
{
    Image image;
    image.layers.push_back(layer);
    return image;
}

Image icon(double w, double h, const Draw& draw, double margin = 1.0)
{
    return single(drawLayer(0, w, h, margin, draw));
}

// ---- text ----------------------------------------------------------------------------------

FT_Library ftLibrary = nullptr;
cairo_font_face_t* boldFace = nullptr;
cairo_font_face_t* regularFace = nullptr;

cairo_font_face_t* loadFace(const char* file)
{
    FT_Face face = nullptr;
    const std::string path = std::string(KEL_DEJAVU_DIR) + "/" + file;
    if (FT_New_Face(ftLibrary, path.c_str(), 0, &face))
    {
        std::fprintf(stderr, "kelimg: cannot open %s\n", path.c_str());
        return nullptr;
    }
    return cairo_ft_font_face_create_for_ft_face(face, 0);
}

// Text centred on (cx, cy), the height of capitals centred.
void centredText(cairo_t* cr, const char* text, double cx, double cy, double size, bool bold,
                 double letterSpacing = 0.0)
{
    cairo_set_font_face(cr, bold ? boldFace : regularFace);
    cairo_set_font_size(cr, size);
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_SLIGHT);
    cairo_set_font_options(cr, options);
    cairo_font_options_destroy(options);
    cairo_text_extents_t capital;
    cairo_text_extents(cr, "H", &capital);
    double total = 0.0;
    const size_t n = std::strlen(text);
    for (size_t i = 0; i < n; ++i)
    {
        const char one[2] = {text[i], 0};
        cairo_text_extents_t e;
        cairo_text_extents(cr, one, &e);
        total += e.x_advance + (i + 1 < n ? letterSpacing : 0.0);
    }
    double x = cx - total / 2.0;
    const double baseline = cy + capital.height / 2.0;
    for (size_t i = 0; i < n; ++i)
    {
        const char one[2] = {text[i], 0};
        cairo_text_extents_t e;
        cairo_text_extents(cr, one, &e);
        cairo_move_to(cr, x, baseline);
        cairo_show_text(cr, one);
        x += e.x_advance + letterSpacing;
    }
}

// ---- frames --------------------------------------------------------------------------------

struct FrameStyle
{
    double radius = 4.0;
    int face = 190;
    double faceAlpha = 1.0;
    int border = 70;
    double borderAlpha = 1.0;
    int highlight = -1;   // inner line along the top, -1 none
    int shade = -1;       // inner line along the bottom
    int innerShadow = -1; // an inset field: a soft dark band along the top
    bool topOnly = false; // rounded on top, square below (tabs)
};

void drawPanel(cairo_t* cr, const FrameStyle& st)
{
    const double r = st.radius;
    auto outline = [&](double inset)
    {
        const double x = 0.5 + inset;
        const double w = 100.0 - 1.0 - 2 * inset;
        if (st.topOnly)
        {
            cairo_new_sub_path(cr);
            cairo_move_to(cr, x, 100.0 + 1.0);
            cairo_arc(cr, x + r, x + r, r, kPi, 3 * kPi / 2);
            cairo_arc(cr, x + w - r, x + r, r, -kPi / 2, 0);
            cairo_line_to(cr, x + w, 100.0 + 1.0);
            cairo_close_path(cr);
        }
        else
            roundedRect(cr, x, x, w, w, std::max(0.5, r - inset));
    };
    outline(0.0);
    setGrey(cr, st.face, st.faceAlpha);
    cairo_fill_preserve(cr);
    setGrey(cr, st.border, st.borderAlpha);
    cairo_set_line_width(cr, 1.0);
    cairo_stroke(cr);
    cairo_save(cr);
    outline(0.5);
    cairo_clip(cr);
    cairo_set_line_width(cr, 1.0);
    if (st.highlight >= 0)
    {
        outline(1.0);
        cairo_save(cr);
        cairo_rectangle(cr, 0, 0, 100, 0.5 + r);
        cairo_clip(cr);
        setGrey(cr, st.highlight, 0.9);
        cairo_stroke(cr);
        cairo_restore(cr);
        cairo_new_path(cr);
    }
    if (st.shade >= 0)
    {
        outline(1.0);
        cairo_save(cr);
        cairo_rectangle(cr, 0, 100 - 0.5 - r, 100, 0.5 + r);
        cairo_clip(cr);
        setGrey(cr, st.shade, 0.8);
        cairo_stroke(cr);
        cairo_restore(cr);
        cairo_new_path(cr);
    }
    if (st.innerShadow >= 0)
    {
        for (int i = 0; i < 3; ++i)
        {
            cairo_rectangle(cr, 0, 1.0 + i, 100, 1.0);
            setGrey(cr, st.innerShadow, 0.35 - 0.1 * i);
            cairo_fill(cr);
        }
    }
    cairo_restore(cr);
}

// The eight pieces of a panel at one scale, in the frame order.
void slicePanel(const FrameStyle& st, int v, Picture pieces[8])
{
    const double s = kScales[v];
    const int size = static_cast<int>(std::lround(100 * s));
    const int c = static_cast<int>(std::lround(20 * s));
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, size, size);
    cairo_t* cr = cairo_create(surface);
    cairo_scale(cr, size / 100.0, size / 100.0);
    drawPanel(cr, st);
    cairo_destroy(cr);
    const Picture whole = toPicture(surface, 2);
    cairo_surface_destroy(surface);
    const int e = size - 2 * c;
    const int rects[8][4] = {
        {c, 0, e, c}, {size - c, c, c, e}, {c, size - c, e, c},        {0, c, c, e},
        {0, 0, c, c}, {size - c, 0, c, c}, {size - c, size - c, c, c}, {0, size - c, c, c}};
    for (int i = 0; i < 8; ++i)
    {
        const int* r = rects[i];
        Picture& p = pieces[i];
        p.format = 2;
        p.width = p.pixelsWide = r[2];
        p.height = p.pixelsHigh = r[3];
        p.pixels.clear();
        for (int y = 0; y < r[3]; ++y)
            p.pixels.insert(p.pixels.end(), whole.pixels.begin() + ((r[1] + y) * size + r[0]) * 2,
                            whole.pixels.begin() + ((r[1] + y) * size + r[0] + r[2]) * 2);
        p.trim();
    }
}

void addFrame(ImageSet& set, int first, const FrameStyle& st)
{
    Picture pieces[3][8];
    for (int v = 0; v < 3; ++v)
        slicePanel(st, v, pieces[v]);
    for (int i = 0; i < 8; ++i)
    {
        Layer layer;
        for (int v = 0; v < 3; ++v)
            layer.variants[v] = pieces[v][i];
        set.images[first + i] = single(layer);
    }
}

FrameStyle raisedButton()
{
    FrameStyle st;
    st.radius = 4.0;
    st.face = 196;
    st.border = 64;
    st.highlight = 240;
    st.shade = 150;
    return st;
}

FrameStyle field()
{
    FrameStyle st;
    st.radius = 3.0;
    st.face = 236;
    st.border = 110;
    st.innerShadow = 120;
    return st;
}

// ---- small shapes --------------------------------------------------------------------------

void triangle(cairo_t* cr, double x0, double y0, double x1, double y1, double x2, double y2)
{
    cairo_move_to(cr, x0, y0);
    cairo_line_to(cr, x1, y1);
    cairo_line_to(cr, x2, y2);
    cairo_close_path(cr);
    cairo_fill(cr);
}

Image arrow(double w, double h, int direction) // 0 down, 1 up, 2 right, 3 left
{
    return icon(w, h,
                [=](cairo_t* cr)
                {
                    setGrey(cr, 255);
                    switch (direction)
                    {
                    case 0:
                        triangle(cr, 0, 0, w, 0, w / 2, h);
                        break;
                    case 1:
                        triangle(cr, 0, h, w, h, w / 2, 0);
                        break;
                    case 2:
                        triangle(cr, 0, 0, w, h / 2, 0, h);
                        break;
                    default:
                        triangle(cr, w, 0, 0, h / 2, w, h);
                        break;
                    }
                });
}

// A mouse seen from above; button 0 left, 1 right, 2 wheel; doubled shows two click marks.
Image mouse(int button, bool doubled)
{
    return icon(14, 18,
                [=](cairo_t* cr)
                {
                    roundedRect(cr, 2.5, 1.5, 9, 15, 4.5);
                    setGrey(cr, 255);
                    cairo_set_line_width(cr, 1.2);
                    cairo_stroke(cr);
                    cairo_move_to(cr, 2.5, 7.5);
                    cairo_line_to(cr, 11.5, 7.5);
                    cairo_move_to(cr, 7, 1.5);
                    cairo_line_to(cr, 7, 7.5);
                    cairo_stroke(cr);
                    if (button == 2)
                    {
                        roundedRect(cr, 6, 3, 2, 3.5, 1);
                        cairo_fill(cr);
                    }
                    else
                    {
                        cairo_save(cr);
                        roundedRect(cr, 2.5, 1.5, 9, 15, 4.5);
                        cairo_clip(cr);
                        cairo_rectangle(cr, button == 0 ? 2.5 : 7, 1.5, 4.5, 6);
                        cairo_fill(cr);
                        cairo_restore(cr);
                    }
                    if (doubled)
                    {
                        const double x = button == 0 ? 0.5 : 13.5;
                        cairo_move_to(cr, x, 2);
                        cairo_line_to(cr, x, 4);
                        cairo_move_to(cr, x, 5.5);
                        cairo_line_to(cr, x, 7.5);
                        cairo_stroke(cr);
                    }
                });
}

Image keyCap(const char* text)
{
    return icon(26, 14,
                [=](cairo_t* cr)
                {
                    roundedRect(cr, 0.5, 0.5, 25, 13, 3);
                    setGrey(cr, 255);
                    cairo_set_line_width(cr, 1.0);
                    cairo_stroke(cr);
                    centredText(cr, text, 13, 7, 8.0, true);
                });
}

ImageSet buttonSet()
{
    ImageSet set;
    set.ranges = {{"", {1, 8}},
                  {"Pushed", {11, 18}},
                  {"Active", {21, 28}},
                  {"Lamp", {30, 30}},
                  {"LampOff", {31, 31}},
                  {"Arrow", {32, 32}},
                  {"ArrowSm", {33, 33}},
                  {"ArrowUp", {34, 34}},
                  {"ArrowUpDn", {35, 35}},
                  {"ArrowRight", {36, 36}},
                  {"ArrowLeft", {37, 37}},
                  {"IconLMB", {40, 40}},
                  {"IconLMBD", {41, 41}},
                  {"IconRMB", {42, 42}},
                  {"IconRMBD", {43, 43}},
                  {"IconWheel", {44, 44}},
                  {"IconCTRL", {50, 50}},
                  {"IconCMD", {51, 51}},
                  {"HR", {60, 60}},
                  {"DynListArrow", {70, 70}},
                  {"Color", {80, 80}}};
    addFrame(set, 1, raisedButton());
    FrameStyle pushed = raisedButton();
    pushed.face = 168;
    pushed.highlight = -1;
    pushed.shade = -1;
    pushed.innerShadow = 90;
    addFrame(set, 11, pushed);
    FrameStyle active = raisedButton();
    active.face = 222;
    active.highlight = 252;
    addFrame(set, 21, active);

    set.images[30] = icon(12, 12,
                          [](cairo_t* cr)
                          {
                              cairo_pattern_t* glow = cairo_pattern_create_radial(6, 6, 0, 6, 6, 6);
                              cairo_pattern_add_color_stop_rgba(glow, 0.0, 1, 1, 1, 1);
                              cairo_pattern_add_color_stop_rgba(glow, 0.55, 1, 1, 1, 1);
                              cairo_pattern_add_color_stop_rgba(glow, 1.0, 1, 1, 1, 0);
                              cairo_set_source(cr, glow);
                              cairo_arc(cr, 6, 6, 6, 0, 2 * kPi);
                              cairo_fill(cr);
                              cairo_pattern_destroy(glow);
                          });
    set.images[31] = icon(12, 12,
                          [](cairo_t* cr)
                          {
                              cairo_arc(cr, 6, 6, 3.6, 0, 2 * kPi);
                              setGrey(cr, 96);
                              cairo_fill_preserve(cr);
                              setGrey(cr, 40, 0.8);
                              cairo_set_line_width(cr, 0.8);
                              cairo_stroke(cr);
                          });
    set.images[32] = arrow(8, 4.5, 0);
    set.images[33] = arrow(6, 3.5, 0);
    set.images[34] = arrow(8, 4.5, 1);
    set.images[35] = icon(7, 11,
                          [](cairo_t* cr)
                          {
                              setGrey(cr, 255);
                              triangle(cr, 0, 4, 7, 4, 3.5, 0);
                              triangle(cr, 0, 7, 7, 7, 3.5, 11);
                          });
    set.images[36] = arrow(4.5, 8, 2);
    set.images[37] = arrow(4.5, 8, 3);
    set.images[40] = mouse(0, false);
    set.images[41] = mouse(0, true);
    set.images[42] = mouse(1, false);
    set.images[43] = mouse(1, true);
    set.images[44] = mouse(2, false);
    set.images[50] = keyCap("Ctrl");
    set.images[51] = keyCap("Cmd");
    set.images[60] = icon(
        60, 2,
        [](cairo_t* cr)
        {
            cairo_rectangle(cr, 0, 0, 60, 1);
            setGrey(cr, 90, 0.7);
            cairo_fill(cr);
            cairo_rectangle(cr, 0, 1, 60, 1);
            setGrey(cr, 245, 0.7);
            cairo_fill(cr);
        },
        0.0);
    set.images[70] = icon(6, 9,
                          [](cairo_t* cr)
                          {
                              cairo_move_to(cr, 1.5, 1);
                              cairo_line_to(cr, 4.5, 4.5);
                              cairo_line_to(cr, 1.5, 8);
                              setGrey(cr, 255);
                              cairo_set_line_width(cr, 1.4);
                              cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
                              cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
                              cairo_stroke(cr);
                          });
    set.images[80] = icon(14, 14,
                          [](cairo_t* cr)
                          {
                              roundedRect(cr, 0.5, 0.5, 13, 13, 2);
                              setGrey(cr, 255);
                              cairo_fill_preserve(cr);
                              setGrey(cr, 0, 0.5);
                              cairo_set_line_width(cr, 1.0);
                              cairo_stroke(cr);
                          });
    return set;
}

// ---- knob ----------------------------------------------------------------------------------

constexpr double kKnobSize = 74.0;
constexpr double kKnobCentre = kKnobSize / 2.0;
constexpr double kTrackRadius = 33.0;
constexpr double kBodyRadius = 26.5;
constexpr double kCapRadius = 15.0;
const int kKnobPixels[3] = {60, 74, 93};
constexpr double kStartAngle = 0.75 * kPi; // lower left, clockwise to lower right
constexpr double kSweep = 1.5 * kPi;

void knobBody(cairo_t* cr)
{
    const double c = kKnobCentre;
    // Soft drop shadow below the body.
    for (int i = 6; i >= 1; --i)
    {
        cairo_arc(cr, c, c + 2.0, kBodyRadius + i * 0.6, 0, 2 * kPi);
        setGrey(cr, 0, 0.05);
        cairo_fill(cr);
    }
    // The unlit track of the value arc.
    cairo_arc(cr, c, c, kTrackRadius, kStartAngle, kStartAngle + kSweep);
    cairo_set_line_width(cr, 3.0);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    setGrey(cr, 60, 0.35);
    cairo_stroke(cr);
    // The body: lit from above.
    cairo_pattern_t* shade = cairo_pattern_create_linear(0, c - kBodyRadius, 0, c + kBodyRadius);
    cairo_pattern_add_color_stop_rgb(shade, 0.0, grey(205), grey(205), grey(205));
    cairo_pattern_add_color_stop_rgb(shade, 1.0, grey(120), grey(120), grey(120));
    cairo_arc(cr, c, c, kBodyRadius, 0, 2 * kPi);
    cairo_set_source(cr, shade);
    cairo_fill_preserve(cr);
    cairo_pattern_destroy(shade);
    setGrey(cr, 45);
    cairo_set_line_width(cr, 1.0);
    cairo_stroke(cr);
    // Fine grip ridges on the skirt between body edge and cap.
    cairo_set_line_width(cr, 0.8);
    for (int i = 0; i < 36; ++i)
    {
        const double a = i * 2 * kPi / 36;
        cairo_move_to(cr, c + std::cos(a) * (kCapRadius + 3.0),
                      c + std::sin(a) * (kCapRadius + 3.0));
        cairo_line_to(cr, c + std::cos(a) * (kBodyRadius - 1.5),
                      c + std::sin(a) * (kBodyRadius - 1.5));
    }
    setGrey(cr, 70, 0.22);
    cairo_stroke(cr);
}

void knobIndicator(cairo_t* cr, double angle)
{
    const double c = kKnobCentre;
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    setGrey(cr, 255);
    if (angle > kStartAngle + 1e-6)
    {
        cairo_arc(cr, c, c, kTrackRadius, kStartAngle, angle);
        cairo_set_line_width(cr, 3.0);
        cairo_stroke(cr);
    }
    cairo_move_to(cr, c + std::cos(angle) * (kCapRadius - 2.0),
                  c + std::sin(angle) * (kCapRadius - 2.0));
    cairo_line_to(cr, c + std::cos(angle) * (kBodyRadius - 2.0),
                  c + std::sin(angle) * (kBodyRadius - 2.0));
    cairo_set_line_width(cr, 3.0);
    cairo_stroke(cr);
}

void knobCap(cairo_t* cr, double angle)
{
    const double c = kKnobCentre;
    cairo_arc(cr, c, c + 0.8, kCapRadius + 0.8, 0, 2 * kPi);
    setGrey(cr, 0, 0.25);
    cairo_fill(cr);
    cairo_pattern_t* shade = cairo_pattern_create_linear(0, c - kCapRadius, 0, c + kCapRadius);
    cairo_pattern_add_color_stop_rgb(shade, 0.0, grey(238), grey(238), grey(238));
    cairo_pattern_add_color_stop_rgb(shade, 1.0, grey(170), grey(170), grey(170));
    cairo_arc(cr, c, c, kCapRadius, 0, 2 * kPi);
    cairo_set_source(cr, shade);
    cairo_fill(cr);
    cairo_pattern_destroy(shade);
    // A small dimple marks the value on the cap as well.
    cairo_arc(cr, c + std::cos(angle) * (kCapRadius - 5.0),
              c + std::sin(angle) * (kCapRadius - 5.0), 1.6, 0, 2 * kPi);
    setGrey(cr, 90, 0.8);
    cairo_fill(cr);
}

ImageSet knobSet()
{
    ImageSet set;
    set.ranges = {{"", {0, 84}}, {"LabelBG", {100, 100}}};
    const Layer body = drawLayer(0, kKnobSize, kKnobSize, 0.0, knobBody, 2, kKnobPixels);
    for (int i = 0; i <= 84; ++i)
    {
        const double angle = kStartAngle + kSweep * i / 84.0;
        Image image;
        image.layers.push_back(body);
        image.layers.push_back(drawLayer(
            1, kKnobSize, kKnobSize, 0.0, [=](cairo_t* cr) { knobIndicator(cr, angle); }, 2,
            kKnobPixels));
        image.layers.push_back(drawLayer(
            2, kKnobSize, kKnobSize, 0.0, [=](cairo_t* cr) { knobCap(cr, angle); }, 2,
            kKnobPixels));
        set.images[i] = std::move(image);
    }
    // Behind the scale labels: a dark disc over the knob's body, as wide as the circle the
    // labels stand on.
    set.images[100] = icon(
        56, 56,
        [](cairo_t* cr)
        {
            cairo_arc(cr, 28, 28, 28, 0, 2 * kPi);
            setGrey(cr, 24, 0.8);
            cairo_fill(cr);
        },
        0.0);
    return set;
}

// ---- scroller ------------------------------------------------------------------------------

// Vertical pieces; the horizontal ones are the same drawings turned a quarter.
Draw turned(bool horizontal, double w, const Draw& draw)
{
    if (!horizontal)
        return draw;
    return [=](cairo_t* cr)
    {
        cairo_translate(cr, 0, w);
        cairo_rotate(cr, -kPi / 2);
        draw(cr);
    };
}

ImageSet scrollerSet()
{
    ImageSet set;
    set.ranges = {{"VBase", {0, 0}},
                  {"VBar", {1, 5}},
                  {"VButtonNext", {6, 6}},
                  {"VButtonPrev", {7, 7}},
                  {"VButtonNextPushed", {8, 8}},
                  {"VButtonPrevPushed", {9, 9}},
                  {"HBase", {10, 10}},
                  {"HBar", {11, 15}},
                  {"HButtonNext", {16, 16}},
                  {"HButtonPrev", {17, 17}},
                  {"HButtonNextPushed", {18, 18}},
                  {"HButtonPrevPushed", {19, 19}},
                  {"Pan", {20, 20}},
                  {"PanPushed", {21, 21}}};
    constexpr double kW = 12.0;
    for (int h = 0; h < 2; ++h)
    {
        const bool horizontal = h == 1;
        const int base = h * 10;
        auto piece = [&](double length, const Draw& draw)
        {
            const double w = horizontal ? length : kW;
            const double ht = horizontal ? kW : length;
            return icon(w, ht, turned(horizontal, kW, draw), 0.0);
        };
        set.images[base + 0] = piece(40,
                                     [](cairo_t* cr)
                                     {
                                         roundedRect(cr, 3.5, 0.5, 5, 39, 2.5);
                                         setGrey(cr, 70, 0.45);
                                         cairo_fill(cr);
                                     });
        // Bar: top cap, middle (tiles), bottom cap, grip, and a whole short bar.
        auto bar = [](cairo_t* cr, double y, double len, bool capTop, bool capBottom)
        {
            const double r = 4.0;
            cairo_save(cr);
            cairo_rectangle(cr, 0, y, kW, len);
            cairo_clip(cr);
            roundedRect(cr, 2.0, capTop ? y + 0.5 : y - 10, 8,
                        len + (capTop ? -0.5 : 10) + (capBottom ? -0.5 : 10), r);
            setGrey(cr, 200);
            cairo_fill_preserve(cr);
            setGrey(cr, 80, 0.9);
            cairo_set_line_width(cr, 1.0);
            cairo_stroke(cr);
            cairo_restore(cr);
        };
        set.images[base + 1] = piece(6, [=](cairo_t* cr) { bar(cr, 0, 6, true, false); });
        set.images[base + 2] = piece(20, [=](cairo_t* cr) { bar(cr, 0, 20, false, false); });
        set.images[base + 3] = piece(6, [=](cairo_t* cr) { bar(cr, 0, 6, false, true); });
        set.images[base + 4] = piece(8,
                                     [=](cairo_t* cr)
                                     {
                                         bar(cr, 0, 8, false, false);
                                         setGrey(cr, 110);
                                         for (int i = 0; i < 3; ++i)
                                         {
                                             cairo_rectangle(cr, 4, 1.5 + i * 2, 4, 1);
                                             cairo_fill(cr);
                                         }
                                     });
        set.images[base + 5] = piece(24, [=](cairo_t* cr) { bar(cr, 0, 24, true, true); });
        for (int b = 0; b < 4; ++b)
        {
            const bool next = b % 2 == 0;
            const bool pushed = b >= 2;
            set.images[base + 6 + b] = piece(12,
                                             [=](cairo_t* cr)
                                             {
                                                 roundedRect(cr, 1.5, 1.5, 9, 9, 2.5);
                                                 setGrey(cr, pushed ? 160 : 205);
                                                 cairo_fill_preserve(cr);
                                                 setGrey(cr, 80, 0.9);
                                                 cairo_set_line_width(cr, 1.0);
                                                 cairo_stroke(cr);
                                                 setGrey(cr, 60);
                                                 if (next)
                                                     triangle(cr, 3.5, 4.5, 8.5, 4.5, 6, 7.5);
                                                 else
                                                     triangle(cr, 3.5, 7.5, 8.5, 7.5, 6, 4.5);
                                             });
        }
    }
    for (int p = 0; p < 2; ++p)
        set.images[20 + p] = icon(10, 14,
                                  [=](cairo_t* cr)
                                  {
                                      cairo_move_to(cr, 0.5, 0.5);
                                      cairo_line_to(cr, 9.5, 0.5);
                                      cairo_line_to(cr, 9.5, 9);
                                      cairo_line_to(cr, 5, 13.5);
                                      cairo_line_to(cr, 0.5, 9);
                                      cairo_close_path(cr);
                                      setGrey(cr, p ? 165 : 210);
                                      cairo_fill_preserve(cr);
                                      setGrey(cr, 60);
                                      cairo_set_line_width(cr, 1.0);
                                      cairo_stroke(cr);
                                  });
    return set;
}

// ---- the rest ------------------------------------------------------------------------------

ImageSet checkboxSet()
{
    ImageSet set;
    set.ranges = {{"", {1, 1}}, {"Active", {1, 1}}, {"Tick", {2, 2}}, {"Pushed", {3, 3}}};
    auto box = [](int face)
    {
        return [=](cairo_t* cr)
        {
            // A soft shadow around the box reaches into the margin.
            for (int i = 6; i >= 1; --i)
            {
                roundedRect(cr, 4 - i * 0.7, 5 - i * 0.7, 16 + i * 1.4, 16 + i * 1.4, 3 + i * 0.7);
                setGrey(cr, 0, 0.035);
                cairo_fill(cr);
            }
            roundedRect(cr, 4.5, 4.5, 15, 15, 3);
            setGrey(cr, face);
            cairo_fill_preserve(cr);
            setGrey(cr, 70);
            cairo_set_line_width(cr, 1.0);
            cairo_stroke(cr);
        };
    };
    set.images[1] = icon(24, 24, box(236), 8.0);
    set.images[2] = icon(
        24, 24,
        [](cairo_t* cr)
        {
            cairo_move_to(cr, 7.5, 12.5);
            cairo_line_to(cr, 10.8, 15.8);
            cairo_line_to(cr, 16.8, 8.2);
            setGrey(cr, 255);
            cairo_set_line_width(cr, 2.2);
            cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
            cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
            cairo_stroke(cr);
        },
        8.0);
    set.images[3] = icon(24, 24, box(190), 8.0);
    return set;
}

ImageSet closeSet()
{
    ImageSet set;
    set.ranges = {{"", {1, 1}}, {"Pushed", {2, 2}}};
    for (int p = 0; p < 2; ++p)
        set.images[1 + p] = icon(16, 16,
                                 [=](cairo_t* cr)
                                 {
                                     cairo_arc(cr, 8, 8, 7, 0, 2 * kPi);
                                     setGrey(cr, p ? 150 : 200);
                                     cairo_fill_preserve(cr);
                                     setGrey(cr, 60);
                                     cairo_set_line_width(cr, 1.0);
                                     cairo_stroke(cr);
                                     cairo_move_to(cr, 5.5, 5.5);
                                     cairo_line_to(cr, 10.5, 10.5);
                                     cairo_move_to(cr, 10.5, 5.5);
                                     cairo_line_to(cr, 5.5, 10.5);
                                     cairo_set_line_width(cr, 1.6);
                                     cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
                                     setGrey(cr, 40);
                                     cairo_stroke(cr);
                                 });
    return set;
}

ImageSet historySet()
{
    ImageSet set;
    set.ranges = {{"", {1, 3}}, {"Active", {4, 6}}, {"Pushed", {4, 6}}};
    for (int a = 0; a < 2; ++a)
    {
        const int level = a ? 255 : 200;
        for (int kind = 0; kind < 2; ++kind)
            set.images[1 + kind + 3 * a] = icon(20, 16,
                                                [=](cairo_t* cr)
                                                {
                                                    if (kind == 1) // redo mirrors undo
                                                    {
                                                        cairo_translate(cr, 20, 0);
                                                        cairo_scale(cr, -1, 1);
                                                    }
                                                    // An open arc over the top with its head
                                                    // pointing down at the left end.
                                                    setGrey(cr, level);
                                                    cairo_set_line_width(cr, 1.8);
                                                    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
                                                    cairo_arc(cr, 11, 10, 5, kPi, 2 * kPi);
                                                    cairo_stroke(cr);
                                                    triangle(cr, 2.5, 9, 9.5, 9, 6, 13.5);
                                                });
        set.images[3 + 3 * a] = icon(20, 16,
                                     [=](cairo_t* cr)
                                     {
                                         setGrey(cr, level);
                                         for (int i = 0; i < 3; ++i)
                                         {
                                             cairo_arc(cr, 5, 4.5 + i * 3.5, 1.1, 0, 2 * kPi);
                                             cairo_fill(cr);
                                             cairo_rectangle(cr, 8, 3.8 + i * 3.5, 8, 1.4);
                                             cairo_fill(cr);
                                         }
                                     });
    }
    return set;
}

ImageSet buttonAbSet()
{
    ImageSet set;
    set.ranges = {{"", {1, 1}}, {"B", {2, 2}}, {"Active", {3, 3}}, {"Pushed", {3, 3}}};
    const char* letters[2] = {"A", "B"};
    for (int i = 0; i < 2; ++i)
    {
        const char* letter = letters[i];
        set.images[1 + i] = icon(22, 16,
                                 [=](cairo_t* cr)
                                 {
                                     setGrey(cr, 255);
                                     centredText(cr, letter, 11, 8, 11.0, true);
                                 });
    }
    set.images[3] = icon(22, 16,
                         [](cairo_t* cr)
                         {
                             roundedRect(cr, 0.5, 0.5, 21, 15, 4);
                             setGrey(cr, 255, 0.85);
                             cairo_fill(cr);
                         });
    return set;
}

ImageSet palIconSet()
{
    ImageSet set;
    set.ranges = {{"", {0, 0}}, {"Active", {1, 1}}, {"Pushed", {1, 1}}};
    for (int a = 0; a < 2; ++a)
    {
        Image image;
        image.layers.push_back(drawLayer(0, 20, 20, 2.0,
                                         [=](cairo_t* cr)
                                         {
                                             cairo_arc(cr, 10, 10.6, 9.5, 0, 2 * kPi);
                                             setGrey(cr, a ? 255 : 0, a ? 0.9 : 0.3);
                                             cairo_set_line_width(cr, a ? 1.5 : 1.0);
                                             cairo_stroke(cr);
                                         }));
        image.layers.push_back(drawLayer(1, 20, 20, 0.0,
                                         [](cairo_t* cr)
                                         {
                                             cairo_arc(cr, 10, 10, 8, 0, 2 * kPi);
                                             setGrey(cr, 200);
                                             cairo_fill(cr);
                                         }));
        image.layers.push_back(drawLayer(2, 20, 20, 0.0,
                                         [](cairo_t* cr)
                                         {
                                             cairo_pattern_t* shade =
                                                 cairo_pattern_create_linear(0, 5, 0, 15);
                                             cairo_pattern_add_color_stop_rgb(shade, 0.0, 1, 1, 1);
                                             cairo_pattern_add_color_stop_rgb(shade, 1.0, grey(190),
                                                                              grey(190), grey(190));
                                             cairo_arc(cr, 10, 10, 4.5, 0, 2 * kPi);
                                             cairo_set_source(cr, shade);
                                             cairo_fill(cr);
                                             cairo_pattern_destroy(shade);
                                         }));
        set.images[a] = std::move(image);
    }
    return set;
}

ImageSet frameSet(const FrameStyle& st, const char* pushedRange = nullptr,
                  const FrameStyle* pushed = nullptr)
{
    ImageSet set;
    set.ranges[""] = {1, 8};
    addFrame(set, 1, st);
    if (pushedRange)
    {
        set.ranges[pushedRange] = pushed ? std::make_pair(11, 18) : std::make_pair(1, 8);
        if (pushed)
            addFrame(set, 11, *pushed);
    }
    return set;
}

ImageSet rulerSet()
{
    // Ticks of a scale: 0-11 vertical marks of growing length, 12-23 horizontal ones.
    ImageSet set;
    set.ranges[""] = {0, 23};
    for (int i = 0; i < 24; ++i)
    {
        const double length = 2.0 + (i % 12) * 0.75;
        const bool horizontal = i >= 12;
        set.images[i] = icon(
            horizontal ? length : 1.0, horizontal ? 1.0 : length,
            [=](cairo_t* cr)
            {
                cairo_rectangle(cr, 0, 0, horizontal ? length : 1.0, horizontal ? 1.0 : length);
                setGrey(cr, 255, 0.85);
                cairo_fill(cr);
            },
            0.0);
    }
    return set;
}

ImageSet textureSet()
{
    // Fine horizontal grain, a seamless 128 by 128 tile; the palette's translucent role keeps it
    // faint.
    ImageSet set;
    set.images[0] = icon(
        128, 128,
        [](cairo_t* cr)
        {
            uint32_t seed = 12345;
            auto next = [&seed]()
            {
                seed = seed * 1664525u + 1013904223u;
                return (seed >> 8) / 16777216.0;
            };
            setGrey(cr, 128);
            cairo_paint(cr);
            for (int y = 0; y < 128; ++y)
            {
                double x = 0.0;
                while (x < 128.0)
                {
                    const double len = 4.0 + next() * 28.0;
                    const int level = 128 + static_cast<int>((next() - 0.5) * 36.0);
                    cairo_rectangle(cr, x, y, std::min(len, 128.0 - x), 1.0);
                    setGrey(cr, level, 0.7);
                    cairo_fill(cr);
                    x += len;
                }
            }
        },
        0.0);
    return set;
}

ImageSet surfaceSet()
{
    ImageSet set;
    set.images[0] = icon(
        40, 40,
        [](cairo_t* cr)
        {
            roundedRect(cr, 0.5, 0.5, 39, 39, 4);
            setGrey(cr, 120, 0.5);
            cairo_fill_preserve(cr);
            setGrey(cr, 40, 0.8);
            cairo_set_line_width(cr, 1.0);
            cairo_stroke(cr);
        },
        0.0);
    return set;
}

ImageSet logoSet()
{
    ImageSet set;
    set.images[0] = icon(
        96, 22,
        [](cairo_t* cr)
        {
            setGrey(cr, 255);
            centredText(cr, "Kelmont", 48, 11, 17.0, true, 0.6);
        },
        0.0);
    return set;
}

bool save(const std::string& dir, const char* name, const ImageSet& set)
{
    ByteWriter out;
    writeImageSet(out, set);
    return saveFile(dir + "/" + name, out.bytes);
}

} // namespace

bool compileImageSets(const std::string& outDir)
{
    if (FT_Init_FreeType(&ftLibrary))
        return false;
    boldFace = loadFace("DejaVuSans-Bold.ttf");
    regularFace = loadFace("DejaVuSans.ttf");
    if (!boldFace || !regularFace)
        return false;

    FrameStyle plainFrame;
    plainFrame.radius = 6.0;
    plainFrame.face = 255;
    plainFrame.faceAlpha = 0.06;
    plainFrame.border = 20;
    plainFrame.borderAlpha = 0.35;
    FrameStyle popup = raisedButton();
    popup.radius = 3.0;
    FrameStyle popup2 = popup;
    popup2.face = 210;
    popup2.border = 110;
    popup2.highlight = -1;
    popup2.shade = -1;
    FrameStyle status;
    status.radius = 2.0;
    status.face = 150;
    status.border = 90;
    status.highlight = 175;
    FrameStyle caption;
    caption.radius = 5.0;
    caption.face = 176;
    caption.border = 80;
    caption.highlight = 215;
    caption.topOnly = true;
    FrameStyle outline = field();
    outline.innerShadow = -1;
    outline.face = 244;
    FrameStyle name = field();
    name.face = 225;

    ImageSet list = frameSet(outline);
    list.ranges["Arrow"] = {10, 10};
    list.images[10] = arrow(7, 4, 0);

    bool ok = true;
    ok = save(outDir, "button.is", buttonSet()) && ok;
    ok = save(outDir, "buttonab.is", buttonAbSet()) && ok;
    ok = save(outDir, "checkbox.is", checkboxSet()) && ok;
    ok = save(outDir, "close.is", closeSet()) && ok;
    ok = save(outDir, "csurface.is", surfaceSet()) && ok;
    ok = save(outDir, "editbox.is", frameSet(field())) && ok;
    ok = save(outDir, "frame.is", frameSet(plainFrame)) && ok;
    ok = save(outDir, "groupcaption.is", frameSet(caption, "Pushed")) && ok;
    ok = save(outDir, "history.is", historySet()) && ok;
    ok = save(outDir, "instancename.is", frameSet(name)) && ok;
    ok = save(outDir, "knob.is", knobSet()) && ok;
    ok = save(outDir, "listoutline.is", list) && ok;
    ok = save(outDir, "palicon.is", palIconSet()) && ok;
    ok = save(outDir, "popup.is", frameSet(popup)) && ok;
    ok = save(outDir, "popup2.is", frameSet(popup2)) && ok;
    ok = save(outDir, "ruler.is", rulerSet()) && ok;
    ok = save(outDir, "scroller.is", scrollerSet()) && ok;
    ok = save(outDir, "statusbar.is", frameSet(status)) && ok;
    ok = save(outDir, "texture.is", textureSet()) && ok;
    ok = save(outDir, "kelmont.is", logoSet()) && ok;
    return ok;
}

} // namespace kelimg
