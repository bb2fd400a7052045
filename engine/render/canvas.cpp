#include "engine/render/canvas.h"
#include "engine/render/png_file.h"

#include <cairo.h>
#include <glog/logging.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <thread>

namespace kesto::render {
namespace {

constexpr int kMaxSide = 32768;

std::shared_ptr<cairo_surface_t> image(int width, int height, cairo_format_t format)
{
    cairo_surface_t* s = cairo_image_surface_create(format, width, height);
    if (cairo_surface_status(s) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(s);
        return nullptr;
    }
    return std::shared_ptr<cairo_surface_t>(s, cairo_surface_destroy);
}

using Context = std::unique_ptr<cairo_t, decltype(&cairo_destroy)>;

Context context(const std::shared_ptr<cairo_surface_t>& surface) { return Context(cairo_create(surface.get()), cairo_destroy); }

void set_world(cairo_t* cr, const Canvas& canvas)
{
    // Pixel rows grow downwards; the world's y grows upwards.
    cairo_translate(cr, 0, canvas.height);
    cairo_scale(cr, canvas.scale, -canvas.scale);
    cairo_translate(cr, -canvas.origin_x, -canvas.origin_y);
}

void add_paths(cairo_t* cr, const ClipperLib::Paths& paths)
{
    for (const auto& path : paths) {
        if (path.size() < 2) continue;
        cairo_move_to(cr, static_cast<double>(path[0].X), static_cast<double>(path[0].Y));
        for (size_t i = 1; i < path.size(); ++i)
            cairo_line_to(cr, static_cast<double>(path[i].X), static_cast<double>(path[i].Y));
        cairo_close_path(cr);
    }
}

// Open paths in world units, stroked one device pixel wide with round ends,
// so a path of one point still lights a pixel.
void stroke_hairlines(cairo_t* cr, const ClipperLib::Paths& lines)
{
    cairo_new_path(cr);
    for (const auto& line : lines) {
        if (line.empty()) continue;
        cairo_move_to(cr, static_cast<double>(line[0].X), static_cast<double>(line[0].Y));
        if (line.size() == 1)
            cairo_line_to(cr, static_cast<double>(line[0].X), static_cast<double>(line[0].Y));
        for (size_t i = 1; i < line.size(); ++i)
            cairo_line_to(cr, static_cast<double>(line[i].X), static_cast<double>(line[i].Y));
    }
    cairo_save(cr);
    cairo_identity_matrix(cr);
    cairo_set_line_width(cr, 1.0);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
    cairo_stroke(cr);
    cairo_restore(cr);
}

} // namespace

Canvas make_canvas(int width, int height, Colour background)
{
    Canvas canvas;
    canvas.background = background;
    if (width <= 0 || height <= 0 || width > kMaxSide || height > kMaxSide) {
        LOG(ERROR) << "canvas of " << width << " x " << height << " pixels refused (1 to " << kMaxSide << " a side)";
        return canvas;
    }
    canvas.surface = image(width, height, CAIRO_FORMAT_ARGB32);
    if (!canvas.surface) {
        LOG(ERROR) << "no memory for a canvas of " << width << " x " << height << " pixels";
        return canvas;
    }
    canvas.width = width;
    canvas.height = height;
    clear(canvas);
    return canvas;
}

bool valid(const Canvas& canvas) { return canvas.surface != nullptr; }

void zoom_to_box(Canvas& canvas, const Box& box, double margin)
{
    if (!valid(canvas) || box.empty()) return;
    const double w = std::max<double>(1, box.xmax - box.xmin) * (1 + 2 * margin);
    const double h = std::max<double>(1, box.ymax - box.ymin) * (1 + 2 * margin);
    canvas.scale = std::min(canvas.width / w, canvas.height / h);
    const double cx = (box.xmin + box.xmax) / 2.0, cy = (box.ymin + box.ymax) / 2.0;
    canvas.origin_x = cx - canvas.width / (2 * canvas.scale);
    canvas.origin_y = cy - canvas.height / (2 * canvas.scale);
}

void zoom_to_resolution(Canvas& canvas, Point origin, double pixels_per_inch)
{
    canvas.scale = pixels_per_inch / kNmPerInch;
    canvas.origin_x = static_cast<double>(origin.x);
    canvas.origin_y = static_cast<double>(origin.y);
}

void clear(Canvas& canvas)
{
    if (!valid(canvas)) return;
    Context cr = context(canvas.surface);
    cairo_set_operator(cr.get(), CAIRO_OPERATOR_SOURCE);
    const Colour& c = canvas.background;
    cairo_set_source_rgba(cr.get(), c.r, c.g, c.b, c.a);
    cairo_paint(cr.get());
}

namespace {

// Draws the exposures into rows [top, top + rows) of the layer's mask, a
// surface over those rows of its memory: bands share no pixels, so each
// thread draws into its own.
void draw_band(const Canvas& canvas, unsigned char* mask_data, int stride, int top, int rows,
               const std::vector<Shape>& shapes, bool negative_layer, const std::vector<Shape>& marked)
{
    std::shared_ptr<cairo_surface_t> band(
        cairo_image_surface_create_for_data(mask_data + std::ptrdiff_t(top) * stride, CAIRO_FORMAT_A8, canvas.width, rows,
                                            stride),
        cairo_surface_destroy);
    Context cr = context(band);
    cairo_set_antialias(cr.get(), canvas.antialias ? CAIRO_ANTIALIAS_DEFAULT : CAIRO_ANTIALIAS_NONE);
    cairo_set_fill_rule(cr.get(), CAIRO_FILL_RULE_WINDING);
    if (negative_layer) {
        cairo_set_source_rgba(cr.get(), 0, 0, 0, 1);
        cairo_paint(cr.get());
    }
    cairo_translate(cr.get(), 0, -top);
    set_world(cr.get(), canvas);
    cairo_set_source_rgba(cr.get(), 0, 0, 0, 1);
    // Runs of the same polarity are filled as one path with the non-zero
    // rule: far fewer rasterisations on real layers, and the same picture
    // as long as every shape keeps outers counter-clockwise.
    size_t i = 0;
    while (i < shapes.size()) {
        const bool expose = shapes[i].dark != negative_layer;
        cairo_new_path(cr.get());
        size_t j = i;
        bool hairlines = false;
        for (; j < shapes.size() && (shapes[j].dark != negative_layer) == expose; ++j) {
            add_paths(cr.get(), shapes[j].paths);
            hairlines = hairlines || !shapes[j].hairlines.empty();
        }
        cairo_set_operator(cr.get(), expose ? CAIRO_OPERATOR_OVER : CAIRO_OPERATOR_CLEAR);
        cairo_fill(cr.get());
        if (hairlines) {
            ClipperLib::Paths lines;
            for (size_t k = i; k < j; ++k) lines.insert(lines.end(), shapes[k].hairlines.begin(), shapes[k].hairlines.end());
            stroke_hairlines(cr.get(), lines);
        }
        i = j;
    }
    if (!marked.empty()) {
        cairo_set_operator(cr.get(), CAIRO_OPERATOR_OVER);
        ClipperLib::Paths lines;
        for (const Shape& s : marked) {
            for (auto path : s.paths) {
                if (!path.empty()) path.push_back(path.front()); // closed
                lines.push_back(std::move(path));
            }
            lines.insert(lines.end(), s.hairlines.begin(), s.hairlines.end());
        }
        stroke_hairlines(cr.get(), lines);
    }
    cairo_surface_flush(band.get());
}

} // namespace

int drawing_threads(const Canvas& canvas)
{
    if (canvas.threads > 0) return canvas.threads;
    // Small pictures (the viewer's tiles) are not worth a thread.
    if (double(canvas.width) * canvas.height < 1024.0 * 1024.0) return 1;
    return int(std::clamp(std::thread::hardware_concurrency(), 1u, 16u));
}

void draw_layer(Canvas& canvas, const std::vector<Shape>& shapes, Colour colour, bool negative_layer,
                const std::vector<Shape>& marked)
{
    if (!valid(canvas)) return;
    auto mask = image(canvas.width, canvas.height, CAIRO_FORMAT_A8);
    if (!mask) {
        LOG(ERROR) << "no memory for a layer mask";
        return;
    }
    cairo_surface_flush(mask.get());
    unsigned char* data = cairo_image_surface_get_data(mask.get());
    const int stride = cairo_image_surface_get_stride(mask.get());
    // Horizontal bands, one a thread, each drawing every exposure clipped to its rows.
    const int bands = std::clamp(drawing_threads(canvas), 1, canvas.height);
    std::vector<std::thread> workers;
    for (int b = 1; b < bands; ++b) {
        const int top = int(std::int64_t(canvas.height) * b / bands), bottom = int(std::int64_t(canvas.height) * (b + 1) / bands);
        workers.emplace_back(draw_band, std::cref(canvas), data, stride, top, bottom - top, std::cref(shapes),
                             negative_layer, std::cref(marked));
    }
    draw_band(canvas, data, stride, 0, int(canvas.height / bands), shapes, negative_layer, marked);
    for (auto& w : workers) w.join();
    cairo_surface_mark_dirty(mask.get());
    Context cr = context(canvas.surface);
    cairo_set_source_rgba(cr.get(), colour.r, colour.g, colour.b, colour.a);
    cairo_mask_surface(cr.get(), mask.get(), 0, 0);
}

void draw_outline(Canvas& canvas, const ClipperLib::Paths& paths, Colour colour, double width_px)
{
    if (!valid(canvas)) return;
    Context cr = context(canvas.surface);
    set_world(cr.get(), canvas);
    add_paths(cr.get(), paths);
    cairo_identity_matrix(cr.get());
    cairo_set_line_width(cr.get(), width_px);
    cairo_set_source_rgba(cr.get(), colour.r, colour.g, colour.b, colour.a);
    cairo_stroke(cr.get());
}

bool save_png(const Canvas& canvas, const std::string& path)
{
    if (!valid(canvas)) return false;
    cairo_surface_flush(canvas.surface.get());
    return write_png(cairo_image_surface_get_data(canvas.surface.get()), canvas.width, canvas.height,
                     cairo_image_surface_get_stride(canvas.surface.get()), path);
}

std::uint32_t pixel(const Canvas& canvas, int x, int y)
{
    if (!valid(canvas) || x < 0 || y < 0 || x >= canvas.width || y >= canvas.height) return 0;
    cairo_surface_flush(canvas.surface.get());
    const unsigned char* data = cairo_image_surface_get_data(canvas.surface.get());
    const int stride = cairo_image_surface_get_stride(canvas.surface.get());
    return *reinterpret_cast<const std::uint32_t*>(data + y * stride + x * 4);
}

} // namespace kesto::render
