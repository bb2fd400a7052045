#include "engine/api/display.h"
#include "engine/edit/step_repeat.h"

#include "engine/model/model.h"
#include "engine/render/canvas.h"
#include "engine/render/layer_shapes.h"
#include "engine/select/workspace.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <algorithm>
#include <functional>
#include <set>

#include <cmath>

namespace KESTO {
namespace API {
namespace {

// Below this many features a walk over the layer is as quick as the index.
constexpr size_t kIndexedDrawing = 1000;

struct Display {
    show_param param;
    color draw_colour{255, 255, 255, 255};
    kesto::render::Canvas canvas;
};

Display& display()
{
    static auto* d = new Display();
    return *d;
}

} // namespace

// The unit switch is the session's working unit, which the job commands set too.
void get_show_para(show_param& out)
{
    out = display().param;
    out.Units = working_unit_is_inch() ? 1 : 0;
}

void set_show_para(const show_param& param)
{
    display().param = param;
    set_working_unit(param.Units == 1 ? kesto::Units::Inch : kesto::Units::Mm);
}


void set_draw_color(int red, int green, int blue, int alpha) { display().draw_colour = color{red, green, blue, alpha}; }
color get_draw_color() { return display().draw_colour; }

bool init_canvas(int width, int height)
{
    display().canvas = kesto::render::make_canvas(width, height);
    return kesto::render::valid(display().canvas);
}

void get_Canvas_Size(int& width, int& height)
{
    width = display().canvas.width;
    height = display().canvas.height;
}

void zoom_to_box(double xmin, double ymin, double xmax, double ymax)
{
    kesto::Box box;
    box.add(kesto::Point{from_working_unit(xmin), from_working_unit(ymin)});
    box.add(kesto::Point{from_working_unit(xmax), from_working_unit(ymax)});
    kesto::render::zoom_to_box(display().canvas, box);
}

void clear_canvas() { kesto::render::clear(display().canvas); }

namespace {

kesto::render::Colour colour_of(const color& c)
{
    auto channel = [](int v) { return std::clamp(v, 0, 255) / 255.0; };
    return {channel(c.red), channel(c.green), channel(c.blue), channel(c.alpha)};
}

kesto::render::Colour drawing_colour() { return colour_of(display().draw_colour); }

// Marks drawn as hairlines, so they keep their size in pixels at any zoom.
double nm_per_pixel(const kesto::render::Canvas& canvas) { return 1.0 / canvas.scale; }

void add_cross(ClipperLib::Paths& lines, kesto::Point at, double half)
{
    const auto h = static_cast<ClipperLib::cInt>(half);
    lines.push_back({{at.x - h, at.y}, {at.x + h, at.y}});
    lines.push_back({{at.x, at.y - h}, {at.x, at.y + h}});
}

// A cross through the centre of every drill hit (and both ends of a slot),
// its arms reaching 4 pixels past the hole so it shows on the filled hole.
kesto::render::Shape drill_marks(const kesto::Layer& layer, const std::function<bool(const kesto::Feature&, size_t)>& pick,
                                 double px)
{
    kesto::render::Shape marks;
    for (size_t i = 0; i < layer.features.size(); ++i) {
        const kesto::Feature& f = layer.features[i];
        if (f.kind == kesto::FeatureKind::Surface || f.kind == kesto::FeatureKind::Text ||
            f.kind == kesto::FeatureKind::Barcode || (pick && !pick(f, i)))
            continue;
        const bool known = f.symbol >= 0 && static_cast<size_t>(f.symbol) < layer.symbols.size();
        const double radius = known ? layer.symbols[static_cast<size_t>(f.symbol)].p[0] / 2 : 0;
        add_cross(marks.hairlines, f.a, radius + 4 * px);
        if (f.kind != kesto::FeatureKind::Pad) add_cross(marks.hairlines, f.b, radius + 4 * px);
    }
    return marks;
}

// Draws the features of a layer that `pick` accepts.
bool draw(const std::string& job_name, const std::string& step_name, const std::string& layer_name,
          const std::function<bool(const kesto::Feature&, size_t)>& pick, const kesto::render::Colour& colour)
{
    kesto::render::Canvas& canvas = display().canvas;
    if (!kesto::render::valid(canvas)) {
        LOG(ERROR) << "draw " << layer_name << ": no canvas (init_canvas first)";
        return false;
    }
    kesto::Job* job = kesto::store::find_job(job_name);
    kesto::Step* step = job ? kesto::store::find_step(*job, step_name) : nullptr;
    kesto::Layer* layer = step ? kesto::store::find_layer(*job, *step, layer_name) : nullptr;
    if (!layer) {
        LOG(ERROR) << "draw: no layer \"" << layer_name << "\" in step \"" << step_name << "\" of an open job \""
                   << job_name << "\"";
        return false;
    }
    const kesto::MatrixRow* row = kesto::store::find_row(*job, layer_name);
    const bool negative = row && row->polarity == "NEGATIVE" && !pick;
    // A panel draws with its boards placed (unless the step-and-repeat switch
    // is off); its own features keep their positions first.
    const show_param& param = display().param;
    kesto::Layer flat;
    if (!step->repeats.empty() && param.SR_features) {
        std::string why;
        if (!kesto::edit::flattened_layer(*job, *step, layer_name, flat, why)) {
            LOG(ERROR) << "draw " << layer_name << ": " << why;
            return false;
        }
        layer = &flat;
    }
    // The display switches: widths, texts, negative data outlined, outline
    // mode and drill markers.
    kesto::render::DrawStyle style;
    style.widths = param.display_widths != 0;
    style.texts = param.display_text != 0;
    const kesto::Box window = kesto::render::visible_box(canvas);
    // A large layer of a step's own is drawn from its spatial index (built
    // once, kept current by the edits): a window of a large board, as the
    // viewer's tiles ask, costs what it shows, not the whole layer.
    kesto::select::LayerView view;
    const bool indexed = layer != &flat && layer->features.size() >= kIndexedDrawing &&
                         kesto::select::view(job->name, step->name, layer_name, view) && view.layer == layer;
    const kesto::geom::OutlineContext& context = indexed ? *view.context : kesto::select::context_for(*job);
    std::vector<size_t> shown;
    if (indexed) shown = view.index->query(window);
    auto shapes_of = [&](const std::function<bool(const kesto::Feature&, size_t)>& which) {
        return indexed ? kesto::render::layer_shapes(*layer, context, shown, which, style)
                       : kesto::render::layer_shapes(*layer, context, window, which, style);
    };
    const auto shapes = shapes_of(pick);
    std::vector<kesto::render::Shape> marked;
    if (param.negative_data)
        marked = shapes_of(
            [&](const kesto::Feature& f, size_t i) { return f.polarity == kesto::Polarity::Negative && (!pick || pick(f, i)); });
    if (param.drill_markers && row && row->type == "DRILL")
        marked.push_back(drill_marks(*layer, pick, nm_per_pixel(canvas)));
    if (param.mode == 1) { // outlines only: every feature's edge one pixel wide, nothing filled
        marked.insert(marked.end(), shapes.begin(), shapes.end());
        kesto::render::draw_layer(canvas, {}, colour, false, marked);
    } else {
        kesto::render::draw_layer(canvas, shapes, colour, negative, marked);
    }
    return true;
}

} // namespace

bool draw_layer(const std::string& job, const std::string& step, const std::string& layer)
{
    return draw(job, step, layer, {}, drawing_colour());
}

bool draw_selected_features(const std::string& job, const std::string& step, const std::string& layer)
{
    return draw(job, step, layer, [](const kesto::Feature& f, size_t) { return f.selected; }, drawing_colour());
}

bool draw_specified_features(const std::string& job, const std::string& step, const std::string& layer,
                             const std::vector<int>& positions)
{
    const std::set<int> wanted(positions.begin(), positions.end());
    return draw(job, step, layer, [&](const kesto::Feature&, size_t i) { return wanted.count(static_cast<int>(i)) > 0; },
                drawing_colour());
}

bool draw_text(const std::string& job, const std::string& step, const std::string& layer, const std::string& text,
               const color& colour)
{
    kesto::Job* open = kesto::store::find_job(job);
    kesto::Step* in = open ? kesto::store::find_step(*open, step) : nullptr;
    const kesto::Layer* texts = in ? kesto::store::find_layer(*open, *in, layer) : nullptr;
    std::size_t found = 0;
    auto wanted = [&](const kesto::Feature& f, size_t) {
        const bool hit = (f.kind == kesto::FeatureKind::Text || f.kind == kesto::FeatureKind::Barcode) &&
                         f.body < texts->texts.size() && (text.empty() || texts->texts[f.body].text == text);
        found += hit;
        return hit;
    };
    if (!draw(job, step, layer, wanted, colour_of(colour))) return false;
    if (!found) LOG(WARNING) << "draw_text: no text \"" << text << "\" on layer " << layer;
    return found > 0;
}

bool draw_profile(const std::string& job_name, const std::string& step_name)
{
    kesto::Job* job = kesto::store::find_job(job_name);
    kesto::Step* step = job ? kesto::store::find_step(*job, step_name) : nullptr;
    if (!step || !kesto::render::valid(display().canvas)) {
        LOG(ERROR) << "draw_profile: no step \"" << step_name << "\" of an open job \"" << job_name << "\", or no canvas";
        return false;
    }
    kesto::render::Canvas& canvas = display().canvas;
    if (display().param.datum_and_origin) {
        // The origin as a cross 8 pixels each way, the datum as a diamond 5 pixels each way.
        const double px = nm_per_pixel(canvas);
        kesto::render::Shape marks;
        add_cross(marks.hairlines, kesto::Point{0, 0}, 8 * px);
        const auto d = static_cast<ClipperLib::cInt>(5 * px);
        const kesto::Point at = step->datum;
        marks.hairlines.push_back({{at.x + d, at.y}, {at.x, at.y + d}, {at.x - d, at.y}, {at.x, at.y - d}, {at.x + d, at.y}});
        kesto::render::draw_layer(canvas, {}, drawing_colour(), false, {marks});
    }
    if (!step->has_profile || !display().param.profile) return true; // the profile switch is off
    kesto::render::draw_outline(canvas, kesto::geom::surface_outline(step->profile), drawing_colour(), 2.0);
    return true;
}

bool save_img(const std::string& path) { return kesto::render::save_png(display().canvas, path); }

bool draw_paths(const ClipperLib::Paths& paths)
{
    if (!kesto::render::valid(display().canvas)) {
        LOG(ERROR) << "draw: no canvas (init_canvas first)";
        return false;
    }
    kesto::render::draw_layer(display().canvas, {kesto::render::Shape{paths, true, {}}}, drawing_colour());
    return true;
}

} // namespace API
} // namespace KESTO
