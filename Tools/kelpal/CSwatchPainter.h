#pragma once

#include "UI/Resources/CPalette.h"

#include <string>

typedef struct _cairo cairo_t;
typedef struct _cairo_surface cairo_surface_t;

namespace kelpal
{

// Draws a compiled palette as a PNG for people to judge: a small mock-up of the interface
// (window, panel, buttons in their states, a knob, meters, text, the selector icons), every
// role's grey-to-colour ramp with its state twins side by side, and the gradients step by step.
// The mock-up paints grey pictures and maps them through the roles, as the interface does.
class CSwatchPainter
{
public:
    bool paint(const kel::CPalette& palette, const std::string& title, const std::string& pngPath,
               std::string& error);

private:
    struct Grey; // drawing helpers for the grey pictures

    const kel::CColor* role(const std::string& name, double phase = 0.0) const;
    // Maps a grey picture drawn by draw (in a w x h area at x, y) through color onto the canvas.
    template <typename Draw>
    void layer(const kel::CColor* color, int x, int y, int w, int h, Draw draw);
    void text(const char* roleName, double x, double y, double size, const char* words,
              bool bold = false, double phase = 0.0);
    void ramp(const kel::CColor* color, int x, int y, int w, int h);
    void label(double x, double y, double size, const char* words, unsigned rgb);
    void paintMockup(int x, int y);
    int paintTable(int y);
    int paintGradients(int y);

    const kel::CPalette* palette = nullptr;
    cairo_surface_t* canvas = nullptr;
    cairo_t* cr = nullptr;
};

} // namespace kelpal
