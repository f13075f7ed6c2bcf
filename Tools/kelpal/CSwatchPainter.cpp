#include "CSwatchPainter.h"

#include <cairo.h>

#include <cmath>
#include <map>
#include <set>
#include <vector>

namespace kelpal
{

namespace
{

constexpr int kWidth = 1440;
constexpr int kMockHeight = 300;
constexpr int kRowHeight = 15;
constexpr int kNameWidth = 150;
constexpr int kCellWidth = 36;
constexpr double kPi = 3.14159265358979323846;

// Column order of the state twins in the table, and the column heads.
const char* const kStates[] = {
    "",           "Hover",       "Active",           "ActiveHover", "Error",
    "ErrorHover", "ActiveError", "ActiveErrorHover", "HoverHover",  "ActiveHoverHover",
    "Hilite",     "HiliteHover"};
const char* const kStateHeads[] = {"plain", "H",   "A",  "AH",  "E",  "EH",
                                   "AE",    "AEH", "HH", "AHH", "Hi", "HiH"};
constexpr int kStateCount = sizeof kStates / sizeof kStates[0];

bool isStateWords(const std::string& text)
{
    if (text.empty() || text[0] < 'A' || text[0] > 'Z')
        return false;
    std::string rest = text;
    while (!rest.empty())
    {
        bool matched = false;
        for (const char* word : {"Active", "Hover", "Error", "Hilite"})
        {
            const std::string w(word);
            if (rest.compare(0, w.size(), w) == 0)
            {
                rest.erase(0, w.size());
                matched = true;
                break;
            }
        }
        if (!matched)
            return false;
    }
    return true;
}

void greyFill(cairo_t* cr, double grey)
{
    cairo_set_source_rgb(cr, grey / 255.0, grey / 255.0, grey / 255.0);
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

// A raised surface: a vertical grey gradient, a dark rim and a light top edge.
void bevel(cairo_t* cr, double w, double h, double r, double top, double bottom)
{
    roundedRect(cr, 0.5, 0.5, w - 1, h - 1, r);
    greyFill(cr, 45);
    cairo_fill(cr);
    cairo_pattern_t* fill = cairo_pattern_create_linear(0, 1, 0, h - 1);
    cairo_pattern_add_color_stop_rgb(fill, 0, top / 255, top / 255, top / 255);
    cairo_pattern_add_color_stop_rgb(fill, 1, bottom / 255, bottom / 255, bottom / 255);
    roundedRect(cr, 1.5, 1.5, w - 3, h - 3, r > 1 ? r - 1 : r);
    cairo_set_source(cr, fill);
    cairo_fill(cr);
    cairo_pattern_destroy(fill);
    cairo_move_to(cr, r + 1, 2);
    cairo_line_to(cr, w - r - 1, 2);
    greyFill(cr, 245);
    cairo_set_line_width(cr, 1);
    cairo_stroke(cr);
}

} // namespace

const kel::CColor* CSwatchPainter::role(const std::string& name, double phase) const
{
    return palette->getColor(kel::CString(name.c_str()), phase);
}

template <typename Draw>
void CSwatchPainter::layer(const kel::CColor* color, int x, int y, int w, int h, Draw draw)
{
    cairo_surface_t* grey = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
    cairo_t* g = cairo_create(grey);
    draw(g);
    cairo_destroy(g);
    cairo_surface_flush(grey);
    cairo_surface_flush(canvas);
    const uint8_t* src = cairo_image_surface_get_data(grey);
    const int srcStride = cairo_image_surface_get_stride(grey);
    uint8_t* dst = cairo_image_surface_get_data(canvas);
    const int dstStride = cairo_image_surface_get_stride(canvas);
    const int canvasW = cairo_image_surface_get_width(canvas);
    const int canvasH = cairo_image_surface_get_height(canvas);
    for (int row = 0; row < h; ++row)
    {
        if (y + row < 0 || y + row >= canvasH)
            continue;
        for (int col = 0; col < w; ++col)
        {
            if (x + col < 0 || x + col >= canvasW)
                continue;
            const uint32_t s = *reinterpret_cast<const uint32_t*>(src + row * srcStride + col * 4);
            const int a = s >> 24;
            if (a == 0)
                continue;
            // Cairo stores premultiplied values: the grey level is red over coverage.
            const int level = std::min(255, int((s >> 16) & 255) * 255 / a);
            const double weight = color->alpha * a / 255.0;
            uint32_t* d = reinterpret_cast<uint32_t*>(dst + (y + row) * dstStride + (x + col) * 4);
            const int dr = (*d >> 16) & 255, dg = (*d >> 8) & 255, db = *d & 255;
            const int nr = int(std::lround(dr + (color->red[level] - dr) * weight));
            const int ng = int(std::lround(dg + (color->green[level] - dg) * weight));
            const int nb = int(std::lround(db + (color->blue[level] - db) * weight));
            *d = 0xFF000000u | (uint32_t(nr) << 16) | (uint32_t(ng) << 8) | uint32_t(nb);
        }
    }
    cairo_surface_mark_dirty(canvas);
    cairo_surface_destroy(grey);
}

void CSwatchPainter::text(const char* roleName, double x, double y, double size, const char* words,
                          bool bold, double phase)
{
    cairo_select_font_face(cr, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL,
                           bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, size);
    cairo_text_extents_t extents;
    cairo_text_extents(cr, words, &extents);
    const int w = int(extents.x_advance + 4), h = int(size * 1.6);
    layer(role(roleName, phase), int(x), int(y - size * 1.2), w, h,
          [&](cairo_t* g)
          {
              cairo_select_font_face(g, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL,
                                     bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
              cairo_set_font_size(g, size);
              greyFill(g, 255);
              cairo_move_to(g, 0, size * 1.2);
              cairo_show_text(g, words);
          });
}

void CSwatchPainter::label(double x, double y, double size, const char* words, unsigned rgb)
{
    cairo_select_font_face(cr, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, size);
    cairo_set_source_rgb(cr, ((rgb >> 16) & 255) / 255.0, ((rgb >> 8) & 255) / 255.0,
                         (rgb & 255) / 255.0);
    cairo_move_to(cr, x, y);
    cairo_show_text(cr, words);
}

void CSwatchPainter::ramp(const kel::CColor* color, int x, int y, int w, int h)
{
    // A checkerboard behind shows the role's opacity.
    for (int cy = 0; cy < h; cy += 4)
    {
        for (int cx = 0; cx < w; cx += 4)
        {
            const double v = ((cx / 4 + cy / 4) % 2) ? 0.55 : 0.8;
            cairo_set_source_rgb(cr, v, v, v);
            cairo_rectangle(cr, x + cx, y + cy, std::min(4, w - cx), std::min(4, h - cy));
            cairo_fill(cr);
        }
    }
    layer(color, x, y, w, h,
          [&](cairo_t* g)
          {
              for (int cx = 0; cx < w; ++cx)
              {
                  greyFill(g, std::floor(255.0 * cx / (w - 1) + 0.5));
                  cairo_rectangle(g, cx, 0, 1, h);
                  cairo_fill(g);
              }
          });
}

void CSwatchPainter::paintMockup(int x0, int y0)
{
    const int w = kWidth - 2 * x0, h = kMockHeight;
    // Window background with a faint texture-like gradient, and the title bar.
    layer(role("Background"), x0, y0, w, h,
          [&](cairo_t* g)
          {
              cairo_pattern_t* p = cairo_pattern_create_linear(0, 0, 0, h);
              cairo_pattern_add_color_stop_rgb(p, 0, 0.56, 0.56, 0.56);
              cairo_pattern_add_color_stop_rgb(p, 1, 0.44, 0.44, 0.44);
              cairo_rectangle(g, 0, 0, w, h);
              cairo_set_source(g, p);
              cairo_fill(g);
              cairo_pattern_destroy(p);
          });
    layer(role("WindowTitle"), x0, y0, w, 26, [&](cairo_t* g) { bevel(g, w, 26, 0, 200, 140); });
    text("WindowTitleText", x0 + 10, y0 + 18, 12, "Signal insertion", true);
    text("BackgroundText", x0 + w - 190, y0 + 18, 11, "Kelmont  |  1.0.0");

    // Two panels.
    const int py = y0 + 38;
    for (int i = 0; i < 2; ++i)
    {
        const int px = x0 + 12 + i * 470, pw = 458, ph = h - 50;
        layer(role("Panel"), px, py, pw, ph, [&](cairo_t* g) { bevel(g, pw, ph, 5, 150, 112); });
        layer(role("PanelGradient"), px + 2, py + 2, pw - 4, 40,
              [&](cairo_t* g)
              {
                  cairo_pattern_t* p = cairo_pattern_create_linear(0, 0, 0, 40);
                  cairo_pattern_add_color_stop_rgba(p, 0, 1, 1, 1, 0.6);
                  cairo_pattern_add_color_stop_rgba(p, 1, 1, 1, 1, 0.0);
                  cairo_rectangle(g, 0, 0, pw - 4, 40);
                  cairo_set_source(g, p);
                  cairo_fill(g);
                  cairo_pattern_destroy(p);
              });
        text(i == 0 ? "PanelText" : "PanelText_Hilite", px + 12, py + 20, 12,
             i == 0 ? "INSERTION" : "LEVEL", true);
    }

    // Buttons in four states, with their labels.
    const char* const states[] = {"", "_Hover", "_Active", "_ActiveHover", "_Error"};
    const char* const titles[] = {"Tone", "Hover", "Active", "Act+Hover", "Error"};
    for (int i = 0; i < 5; ++i)
    {
        const int bx = x0 + 24 + i * 86, by = py + 36;
        layer(role(std::string("Button") + states[i] + ""), bx, by, 80, 24,
              [&](cairo_t* g) { bevel(g, 80, 24, 3, 205, 125); });
        text((std::string("ButtonText") + states[i]).c_str(), bx + 10, by + 17, 11, titles[i]);
    }
    // Knobs.
    for (int i = 0; i < 3; ++i)
    {
        const int kx = x0 + 40 + i * 110, ky = py + 80, ks = 64;
        const std::string suffix = i == 1 ? "_Hover" : (i == 2 ? "_Active" : "");
        layer(role("Knob" + suffix), kx, ky, ks, ks,
              [&](cairo_t* g)
              {
                  cairo_arc(g, ks / 2.0, ks / 2.0, ks / 2.0 - 1, 0, 2 * kPi);
                  greyFill(g, 40);
                  cairo_fill(g);
                  cairo_pattern_t* p = cairo_pattern_create_radial(ks * 0.4, ks * 0.35, 2, ks / 2.0,
                                                                   ks / 2.0, ks / 2.0);
                  cairo_pattern_add_color_stop_rgb(p, 0, 0.92, 0.92, 0.92);
                  cairo_pattern_add_color_stop_rgb(p, 1, 0.38, 0.38, 0.38);
                  cairo_arc(g, ks / 2.0, ks / 2.0, ks / 2.0 - 3, 0, 2 * kPi);
                  cairo_set_source(g, p);
                  cairo_fill(g);
                  cairo_pattern_destroy(p);
              });
        layer(role("KnobIndicator" + suffix), kx, ky, ks, ks,
              [&](cairo_t* g)
              {
                  const double a = 0.75 * kPi + (0.2 + 0.3 * i) * 1.5 * kPi;
                  cairo_set_line_width(g, 3);
                  cairo_set_line_cap(g, CAIRO_LINE_CAP_ROUND);
                  cairo_move_to(g, ks / 2.0 + std::cos(a) * 10, ks / 2.0 + std::sin(a) * 10);
                  cairo_line_to(g, ks / 2.0 + std::cos(a) * 26, ks / 2.0 + std::sin(a) * 26);
                  greyFill(g, 255);
                  cairo_stroke(g);
              });
        text("KnobCaption", kx + 8, ky + ks + 16, 11,
             i == 0 ? "Period" : (i == 1 ? "Gain" : "Freq"));
        text(("KnobText" + suffix).c_str(), kx + 4, ky + ks + 32, 11,
             i == 0 ? "4.0 s" : (i == 1 ? "-6.0 dB" : "1.00 kHz"));
    }
    // Checkbox, alarm and bypass indicators.
    const int cx = x0 + 370, cy = py + 90;
    layer(role("Checkbox_Active"), cx, cy, 18, 18,
          [&](cairo_t* g) { bevel(g, 18, 18, 2, 200, 120); });
    layer(role("CheckboxTick_Active"), cx, cy, 18, 18,
          [&](cairo_t* g)
          {
              cairo_move_to(g, 4, 9);
              cairo_line_to(g, 8, 13);
              cairo_line_to(g, 14, 4);
              cairo_set_line_width(g, 2.5);
              greyFill(g, 255);
              cairo_stroke(g);
          });
    text("PanelText", cx + 24, cy + 14, 11, "Sync");
    const char* const lamps[] = {"Alarm", "Alarm_Active", "Bypass", "Bypass_Active"};
    for (int i = 0; i < 4; ++i)
    {
        const int lx = cx + (i % 2) * 40, ly = cy + 30 + (i / 2) * 26;
        layer(role(lamps[i], 0.0), lx, ly, 32, 18,
              [&](cairo_t* g) { bevel(g, 32, 18, 3, 235, 150); });
    }

    // Right panel: meter, list with selection, disabled text, selector icons.
    const int rx = x0 + 12 + 470 + 16;
    const char* const zones[] = {"LevelMeterZone1_0", "LevelMeterZone1_1", "LevelMeterZone1_2",
                                 "LevelMeterZone1_3"};
    for (int bar = 0; bar < 2; ++bar)
    {
        layer(role("LevelMeter"), rx + bar * 16, py + 34, 12, 170,
              [&](cairo_t* g) { bevel(g, 12, 170, 1, 70, 50); });
        for (int seg = 0; seg < 24 - bar * 5; ++seg)
        {
            const int zone = seg < 14 ? 0 : (seg < 19 ? 1 : (seg < 22 ? 2 : 3));
            layer(role(zones[zone]), rx + bar * 16 + 2, py + 34 + 170 - 7 - seg * 7, 8, 5,
                  [&](cairo_t* g)
                  {
                      greyFill(g, 255);
                      cairo_paint(g);
                  });
        }
    }
    layer(role("LevelMeterPeak"), rx + 2, py + 34 + 4, 8, 3,
          [&](cairo_t* g)
          {
              greyFill(g, 255);
              cairo_paint(g);
          });
    const int lx = rx + 50, ly = py + 34;
    const char* const items[] = {"Sine burst", "Pink noise", "Level dip", "Square tone"};
    for (int i = 0; i < 4; ++i)
    {
        const char* fill = i == 1 ? "Selection" : (i == 2 ? "HoveredParagraph" : nullptr);
        if (fill)
            layer(role(fill), lx, ly + i * 20, 170, 19,
                  [&](cairo_t* g)
                  {
                      greyFill(g, 255);
                      cairo_paint(g);
                  });
        text(i == 1 ? "SelectionText" : "PanelText", lx + 6, ly + i * 20 + 14, 11, items[i]);
    }
    text("DisabledText", lx + 6, ly + 100, 11, "Disabled entry");
    layer(role("Disabled"), lx, ly + 112, 80, 22,
          [&](cairo_t* g) { bevel(g, 80, 22, 3, 205, 125); });
    text("DisabledText", lx + 14, ly + 128, 11, "Apply");
    const char* const schemes[] = {"Default", "Military", "Red", "Blue", "Green"};
    for (int i = 0; i < 5; ++i)
    {
        const std::string base = std::string("PalIcon") + schemes[i];
        const int ix = lx + i * 34, iy = ly + 150;
        layer(role(base + "Outer"), ix, iy, 28, 28,
              [&](cairo_t* g) { bevel(g, 28, 28, 4, 220, 130); });
        layer(role(base + "Inner"), ix + 6, iy + 6, 16, 16,
              [&](cairo_t* g) { bevel(g, 16, 16, 3, 235, 150); });
    }
    // Graph lines and the scroller.
    const int gx = lx + 190, gy = ly;
    layer(role("LevelMeterBGLines"), gx, gy, 200, 120,
          [&](cairo_t* g)
          {
              greyFill(g, 255);
              cairo_set_line_width(g, 1);
              for (int i = 0; i <= 4; ++i)
              {
                  cairo_move_to(g, 0, 0.5 + i * 29.5);
                  cairo_line_to(g, 200, 0.5 + i * 29.5);
              }
              cairo_stroke(g);
          });
    const char* const curves[] = {"LevelMeterWaveform", "LevelMeterGraph", "GraphLines"};
    for (int c = 0; c < 3; ++c)
        layer(role(curves[c]), gx, gy, 200, 120,
              [&](cairo_t* g)
              {
                  greyFill(g, 255);
                  cairo_set_line_width(g, 1.5);
                  for (int px = 0; px < 200; ++px)
                  {
                      const double v = 60 + 40 * std::sin(px * (0.05 + 0.02 * c) + c) *
                                                std::exp(-px / (150.0 + 100 * c));
                      px == 0 ? cairo_move_to(g, px, v) : cairo_line_to(g, px, v);
                  }
                  cairo_stroke(g);
              });
    layer(role("ScrollerBar"), gx, gy + 140, 200, 12,
          [&](cairo_t* g) { bevel(g, 200, 12, 5, 90, 70); });
    layer(role("ScrollerBar_Hover"), gx + 40, gy + 141, 80, 10,
          [&](cairo_t* g) { bevel(g, 80, 10, 4, 220, 150); });
}

int CSwatchPainter::paintTable(int y)
{
    // Group the names into stems and their state twins.
    std::map<std::string, std::map<std::string, const kel::CColor*>> stems;
    std::set<std::string> names;
    for (const auto& entry : palette->getColors())
    {
        char utf8[256];
        entry.first.toUtf8(utf8, sizeof utf8);
        names.insert(utf8);
    }
    for (const auto& entry : palette->getColors())
    {
        char utf8[256];
        entry.first.toUtf8(utf8, sizeof utf8);
        std::string name = utf8, stem = utf8, state;
        if (name.find('|') != std::string::npos)
            continue;
        const size_t underscore = name.rfind('_');
        if (underscore != std::string::npos && isStateWords(name.substr(underscore + 1)))
        {
            stem = name.substr(0, underscore);
            state = name.substr(underscore + 1);
        }
        else if (name.size() > 5 && name.compare(name.size() - 5, 5, "Hover") == 0 &&
                 names.count(name.substr(0, name.size() - 5)))
        {
            stem = name.substr(0, name.size() - 5);
            state = "Hover";
        }
        stems[stem][state] = &entry.second;
    }
    const int columnWidth = kNameWidth + kStateCount * (kCellWidth + 2) + 20;
    for (int column = 0; column < 2; ++column)
    {
        const int x = 16 + column * columnWidth;
        for (int s = 0; s < kStateCount; ++s)
            label(x + kNameWidth + s * (kCellWidth + 2), y + 10, 8, kStateHeads[s], 0xB0B0B0);
    }
    const int rows = int(stems.size() + 1) / 2;
    int index = 0;
    for (const auto& [stem, states] : stems)
    {
        const int column = index / rows, row = index % rows;
        const int x = 16 + column * columnWidth, ry = y + 16 + row * kRowHeight;
        label(x, ry + 10, 10, stem.c_str(), 0xE0E0E0);
        for (int s = 0; s < kStateCount; ++s)
        {
            auto found = states.find(kStates[s]);
            if (found != states.end())
                ramp(found->second, x + kNameWidth + s * (kCellWidth + 2), ry + 1, kCellWidth,
                     kRowHeight - 3);
        }
        ++index;
    }
    return y + 16 + rows * kRowHeight + 16;
}

int CSwatchPainter::paintGradients(int y)
{
    int row = 0;
    for (const auto& entry : palette->getGradients())
    {
        char utf8[256];
        entry.first.toUtf8(utf8, sizeof utf8);
        const int ry = y + row * 24;
        label(16, ry + 14, 10, utf8, 0xE0E0E0);
        for (int step = 0; step < entry.second; ++step)
        {
            const double phase = entry.second > 1 ? double(step) / (entry.second - 1) : 0.0;
            ramp(palette->getColor(entry.first, phase), kNameWidth + 16 + step * 38, ry + 2, 36,
                 18);
        }
        ++row;
    }
    return y + row * 24 + 10;
}

bool CSwatchPainter::paint(const kel::CPalette& source, const std::string& title,
                           const std::string& pngPath, std::string& error)
{
    palette = &source;
    // Painted on a tall canvas first; the picture is then cut to what was used.
    canvas = cairo_image_surface_create(CAIRO_FORMAT_RGB24, kWidth, 6000);
    cr = cairo_create(canvas);
    cairo_set_source_rgb(cr, 0.13, 0.13, 0.14);
    cairo_paint(cr);
    label(16, 26, 16, title.c_str(), 0xF0F0F0);
    label(200, 26, 10,
          "Table columns: the plain role and its twins, H Hover, A Active, E Error, Hi Hilite "
          "(AEH = _ActiveErrorHover). Each cell is the ramp from grey 0 to 255.",
          0xA0A0A0);
    paintMockup(16, 40);
    int y = paintTable(40 + kMockHeight + 20);
    y = paintGradients(y);
    cairo_destroy(cr);
    cr = nullptr;

    cairo_surface_t* picture = cairo_image_surface_create(CAIRO_FORMAT_RGB24, kWidth, y);
    cairo_t* copy = cairo_create(picture);
    cairo_set_source_surface(copy, canvas, 0, 0);
    cairo_paint(copy);
    cairo_destroy(copy);
    const cairo_status_t status = cairo_surface_write_to_png(picture, pngPath.c_str());
    cairo_surface_destroy(picture);
    cairo_surface_destroy(canvas);
    canvas = nullptr;
    if (status != CAIRO_STATUS_SUCCESS)
    {
        error = pngPath + ": " + cairo_status_to_string(status);
        return false;
    }
    return true;
}

} // namespace kelpal
