// The canvas: a raster picture of part of a step, drawn with cairo.
//
// A layer is drawn as a photoplotter exposes it: its shapes in feature order,
// each one either exposing (dark, positive features) or erasing (clear,
// negative features) what came before, into a mask of its own; the mask is
// then laid onto the picture in the layer's colour. Layers stack in the order
// they are drawn.
#pragma once
#include "engine/model/model.h"

#include <polyclipping/clipper.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

typedef struct _cairo_surface cairo_surface_t;

namespace kesto::render {

struct Colour {
    double r = 0, g = 0, b = 0, a = 1; // 0..1
};

// One exposure: closed paths in nanometres, outers counter-clockwise and
// holes clockwise (as Clipper returns them), filled with the non-zero rule;
// and open hairlines, stroked one pixel wide whatever the zoom (what has no
// width of its own but must still be seen). A hairline of one point is a dot.
struct Shape {
    ClipperLib::Paths paths;
    bool dark = true;
    ClipperLib::Paths hairlines;
};

struct Canvas {
    int width = 0;
    int height = 0;
    Colour background{0, 0, 0, 1};
    bool antialias = true;
    // The world window: x_px = (x - origin_x) * scale, y grows upwards.
    double origin_x = 0, origin_y = 0, scale = 1e-6;
    // Threads drawing a layer, each a band of rows; 0: one a core for large
    // pictures, one for small ones. Every count gives the same pixels.
    int threads = 0;
    std::shared_ptr<cairo_surface_t> surface;
};

// The threads draw_layer uses on this canvas.
int drawing_threads(const Canvas& canvas);

// A canvas of the given size in pixels, cleared to its background. Sizes are
// limited to 32768 pixels a side; false (an empty canvas) beyond that.
Canvas make_canvas(int width, int height, Colour background = {0, 0, 0, 1});
bool valid(const Canvas& canvas);

// Shows `box` (nanometres) centred on the canvas, as large as fits with the
// aspect ratio kept and `margin` (a fraction of the box) around it.
void zoom_to_box(Canvas& canvas, const Box& box, double margin = 0.0);
// Shows the window whose lower left corner is at `origin` with `pixels_per_inch`.
void zoom_to_resolution(Canvas& canvas, Point origin, double pixels_per_inch);

void clear(Canvas& canvas);

// Draws one layer's exposures, in order, in `colour`. A negative layer
// inverts the exposure (dark where nothing was drawn). `marked` shapes are
// outlined one pixel wide on top, whatever they exposed.
void draw_layer(Canvas& canvas, const std::vector<Shape>& shapes, Colour colour, bool negative_layer = false,
                const std::vector<Shape>& marked = {});

// Outlines only, one pixel wide, e.g. a step profile or a selection.
void draw_outline(Canvas& canvas, const ClipperLib::Paths& paths, Colour colour, double width_px = 1.0);

bool save_png(const Canvas& canvas, const std::string& path);

// The pixel at (x, y) from the top left, as 0xAARRGGBB.
std::uint32_t pixel(const Canvas& canvas, int x, int y);

} // namespace kesto::render
