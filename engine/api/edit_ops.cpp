#include "engine/api/edit_ops.h"

#include "engine/api/clickbox.h"
#include "engine/api/edit.h"
#include "engine/api/jobs.h"
#include "engine/api/units.h"
#include "engine/edit/compare.h"
#include "engine/edit/reshape.h"
#include "engine/formats/odb/features.h"
#include "engine/formats/odb/symbols.h"
#include "engine/edit/layer_edit.h"
#include "engine/edit/step_repeat.h"
#include "engine/geometry/outline.h"
#include "engine/render/canvas.h"
#include "engine/render/layer_shapes.h"
#include "engine/select/workspace.h"
#include "engine/store/store.h"

#include <cairo.h>
#include <glog/logging.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

namespace KESTO {
namespace API {
namespace {

using kesto::Coord;
using kesto::Feature;
using kesto::Job;
using kesto::Layer;
using kesto::Point;
using kesto::Step;
namespace geom = kesto::geom;

Job* open_job_named(const std::string& name)
{
    Job* job = kesto::store::find_job(name);
    if (!job && name.empty() && kesto::store::job_names().size() == 1)
        job = kesto::store::find_job(kesto::store::job_names().front());
    if (!job) LOG(ERROR) << "job \"" << name << "\" is not open";
    return job;
}

Step* step_named(Job& job, const std::string& name)
{
    Step* step = kesto::store::find_step(job, name);
    if (!step) LOG(ERROR) << "job \"" << job.name << "\" has no step \"" << name << "\"";
    return step;
}

Layer* layer_named(Job& job, Step& step, const std::string& name)
{
    Layer* layer = kesto::store::find_layer(job, step, name);
    if (!layer) LOG(ERROR) << "job \"" << job.name << "\" has no layer \"" << name << "\"";
    return layer;
}

struct Where {
    Job* job = nullptr;
    Step* step = nullptr;
    Layer* layer = nullptr;
};

bool resolve(const std::string& job, const std::string& step, const std::string& layer, Where& out)
{
    out.job = open_job_named(job);
    out.step = out.job ? step_named(*out.job, step) : nullptr;
    out.layer = out.step ? layer_named(*out.job, *out.step, layer) : nullptr;
    return out.layer != nullptr;
}

// The layer's row, made (a MISC signal layer at the end of the matrix) when
// the job lacks it.
Layer* layer_made(Job& job, Step& step, const std::string& name)
{
    if (!kesto::store::find_row(job, name) &&
        !create_new_layer(job.name, "", name, static_cast<int>(job.rows.size()) + 1))
        return nullptr;
    return layer_named(job, step, name);
}

void changed(Job& job, Layer& layer)
{
    kesto::select::forget(layer);
    job.changed = true;
}

// The positions in range, each once, in drawing order.
std::vector<size_t> valid_positions(const Layer& layer, const std::vector<int>& positions)
{
    std::set<size_t> out;
    for (int p : positions)
        if (p >= 0 && static_cast<size_t>(p) < layer.features.size()) out.insert(static_cast<size_t>(p));
    return {out.begin(), out.end()};
}

// Moves every feature of a layer by (dx, dy), for undo as a whole layer.
bool shift_layer(Where& w, const std::string& step, const std::string& layer, Coord dx, Coord dy)
{
    if (w.layer->features.empty() || (dx == 0 && dy == 0)) return true;
    kesto::store::remember(*w.job, step, {layer});
    const kesto::edit::Placement p = kesto::edit::moved(dx, dy);
    for (Feature& f : w.layer->features) kesto::edit::place(*w.layer, f, p);
    changed(*w.job, *w.layer);
    return true;
}

} // namespace

// ---------------------------------------------------------------- features by position

bool copy_specified_features(const std::string& job, const std::string& step, const std::vector<std::string>& src_layers,
                             const std::string& dst_layer, const std::vector<int>& positions, int dx, int dy)
{
    Where dst;
    if (!resolve(job, step, dst_layer, dst)) return false;
    std::vector<std::pair<Layer*, std::vector<size_t>>> sources;
    for (const std::string& name : src_layers) {
        Layer* src = layer_named(*dst.job, *dst.step, name);
        if (!src) return false;
        sources.emplace_back(src, valid_positions(*src, positions));
    }
    kesto::store::remember(*dst.job, step, {dst_layer});
    const kesto::edit::Placement p = kesto::edit::moved(dx, dy);
    for (auto& [src, at] : sources) {
        // The source may be the destination: copy from a snapshot.
        const Layer from = *src;
        for (size_t i : at) {
            const size_t n = kesto::edit::copy_feature(from, from.features[i], *dst.layer);
            kesto::edit::place(*dst.layer, dst.layer->features[n], p);
        }
    }
    changed(*dst.job, *dst.layer);
    return true;
}

bool move_specified_features(const std::string& job, const std::string& step, const std::string& layer,
                             const std::vector<int>& positions, int dx, int dy)
{
    Where w;
    if (!resolve(job, step, layer, w)) return false;
    const std::vector<size_t> at = valid_positions(*w.layer, positions);
    if (at.empty()) return true;
    kesto::store::remember(*w.job, step, {layer});
    const kesto::edit::Placement p = kesto::edit::moved(dx, dy);
    for (size_t i : at) kesto::edit::place(*w.layer, w.layer->features[i], p);
    changed(*w.job, *w.layer);
    return true;
}

bool change_line_ends(const std::string& job, const std::string& step, const std::string& layer, int position,
                      const std::vector<lPoint>& ends)
{
    Where w;
    if (!resolve(job, step, layer, w) || ends.empty()) return false;
    if (position < 0 || static_cast<size_t>(position) >= w.layer->features.size() ||
        w.layer->features[static_cast<size_t>(position)].kind != kesto::FeatureKind::Line) {
        LOG(ERROR) << "change_line: no line at position " << position << " of " << layer;
        return false;
    }
    const Point end = w.layer->features[static_cast<size_t>(position)].b;
    const lPoint to = ends.size() > 1 ? ends[1] : lPoint{to_working_unit(end.x), to_working_unit(end.y)};
    kesto::store::remember(*w.job, step, {layer});
    return change_line(w.job->name, step, layer, position, ends[0].x, ends[0].y, to.x, to.y);
}

// ---------------------------------------------------------------- datum moves

bool move_make_zero(const std::string& job, const std::string& step, const std::string& layer, int x, int y)
{
    Where w;
    return resolve(job, step, layer, w) && shift_layer(w, step, layer, -Coord(x), -Coord(y));
}

bool make_zero(const std::string& job, const std::string& step, const std::string& layer, int type)
{
    Where w;
    if (!resolve(job, step, layer, w)) return false;
    Point zero;
    if (type == 2) {
        zero = w.step->datum;
    } else if (type == 0 || type == 1) {
        const kesto::Box box = geom::layer_box(*w.layer, kesto::select::context_for(*w.job));
        if (box.empty()) return true;
        zero = type == 0 ? Point{box.xmin, box.ymin} : Point{(box.xmin + box.xmax) / 2, (box.ymin + box.ymax) / 2};
    } else {
        LOG(ERROR) << "make_zero: type " << type << " is none of 0 (lower left), 1 (centre), 2 (datum)";
        return false;
    }
    return shift_layer(w, step, layer, -zero.x, -zero.y);
}

// ---------------------------------------------------------------- layers, steps and jobs

bool copy_layer_features(const std::string& src_job, const std::string& src_step, const std::string& dst_job,
                         const std::string& dst_step, int mode, bool invert, const std::string& src_layer,
                         const std::string& dst_layer)
{
    Where src;
    if (!resolve(src_job, src_step, src_layer, src)) return false;
    Job* job = open_job_named(dst_job);
    Step* step = job ? step_named(*job, dst_step) : nullptr;
    if (!step) return false;
    const Layer from = *src.layer; // the destination may be the source
    Layer* to = layer_made(*job, *step, dst_layer);
    if (!to) return false;
    kesto::store::remember(*job, dst_step, {dst_layer});
    if (mode == 1) {
        Layer emptied;
        emptied.attributes = to->attributes;
        emptied.files = to->files;
        emptied.units = from.units;
        emptied.id = to->id;
        *to = std::move(emptied);
    }
    for (const Feature& f : from.features) {
        const size_t n = kesto::edit::copy_feature(from, f, *to);
        if (invert)
            to->features[n].polarity = f.polarity == kesto::Polarity::Positive ? kesto::Polarity::Negative
                                                                              : kesto::Polarity::Positive;
    }
    changed(*job, *to);
    return true;
}

bool move_select_feature_to_other_step(const std::string& job, const std::string& step, const std::string& layer,
                                       const std::string& dst_step, bool delete_org)
{
    Where src;
    if (!resolve(job, step, layer, src)) return false;
    // Moving is the selection edit of the same name; only the copy is of its own.
    if (delete_org)
        return move_other_layer(src.job->name, step, {layer}, src.job->name, dst_step, layer, false, 0, 0, 0, 0, 0, 0, 0);
    Step* to_step = step_named(*src.job, dst_step);
    if (!to_step) return false;
    Layer* to = layer_named(*src.job, *to_step, layer);
    if (!to) return false;
    if (kesto::edit::count_selected(*src.layer) == 0) return true;
    kesto::store::remember(*src.job, dst_step, {layer});
    kesto::edit::copy_selected(*src.layer, *to, kesto::edit::Placement{}, false);
    changed(*src.job, *to);
    return true;
}

bool copy_usersymbol_to_other_job(const std::string& job1, const std::string& job2, const std::string& symbol1,
                                  const std::string& symbol2)
{
    Job* from = open_job_named(job1);
    Job* to = from ? open_job_named(job2) : nullptr;
    if (!to) return false;
    auto it = from->symbols.find(symbol1);
    if (it == from->symbols.end()) {
        LOG(ERROR) << "job \"" << from->name << "\" has no user symbol \"" << symbol1 << "\"";
        return false;
    }
    const std::string name = symbol2.empty() ? symbol1 : symbol2;
    kesto::UserSymbol copy = it->second;
    copy.name = name;
    to->symbols[name] = std::move(copy);
    to->changed = true;
    kesto::select::forget_job(*to); // outlines of its symbols are worked out anew
    return true;
}

bool flatten_step(const std::string& job, const std::string& step, const std::string& flatten_layer,
                  const std::string& dst_layer)
{
    Job* j = open_job_named(job);
    Step* s = j ? step_named(*j, step) : nullptr;
    if (!s) return false;
    if (!kesto::store::find_row(*j, flatten_layer)) {
        LOG(ERROR) << "job \"" << j->name << "\" has no layer \"" << flatten_layer << "\"";
        return false;
    }
    Layer flat;
    std::string error;
    if (!kesto::edit::flattened_layer(*j, *s, flatten_layer, flat, error)) {
        LOG(ERROR) << "flatten_step: " << error;
        return false;
    }
    Layer* to = layer_made(*j, *s, dst_layer);
    if (!to) return false;
    kesto::store::remember(*j, step, {dst_layer});
    flat.attributes = to->attributes;
    flat.files = to->files;
    flat.id = to->id;
    flat.units = s->layers.count(flatten_layer) ? s->layers.at(flatten_layer).units : to->units;
    *to = std::move(flat);
    changed(*j, *to);
    return true;
}

bool get_step_header_infos(const std::string& job, const std::string& step, step_header_info& out)
{
    Job* j = open_job_named(job);
    Step* s = j ? step_named(*j, step) : nullptr;
    if (!s) return false;
    out = step_header_info{};
    out.datum_x = to_working_unit(s->datum.x);
    out.datum_y = to_working_unit(s->datum.y);
    out.has_profile = s->has_profile;
    if (s->has_profile) {
        const kesto::Box box = geom::box_of(geom::surface_outline(s->profile));
        out.profile_xmin = to_working_unit(box.xmin);
        out.profile_ymin = to_working_unit(box.ymin);
        out.profile_xmax = to_working_unit(box.xmax);
        out.profile_ymax = to_working_unit(box.ymax);
    }
    for (const kesto::StepRepeat& r : s->repeats)
        out.repeats.push_back({r.step, to_working_unit(r.origin.x), to_working_unit(r.origin.y), to_working_unit(r.dx),
                               to_working_unit(r.dy), r.nx, r.ny, r.angle, r.mirror, r.flip});
    out.fields = s->header;
    return true;
}

long long layer_feature_count(const std::string& job, const std::string& step, const std::string& layer)
{
    Where w;
    return resolve(job, step, layer, w) ? static_cast<long long>(w.layer->features.size()) : -1;
}

std::string identify_symbol(const std::string& content)
{
    const kesto::Units units = working_unit_is_inch() ? kesto::Units::Inch : kesto::Units::Mm;
    Layer parsed;
    std::istringstream lines(content);
    std::string line, record;
    while (std::getline(lines, line)) {
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        record += record.empty() ? line : "\n" + line;
        if (record[0] == 'S' && line.rfind("SE", 0) != 0) continue; // a surface runs to its SE
        std::string error;
        if (!kesto::odb::parse_feature_record(record, parsed, units, &error)) {
            LOG(ERROR) << "identify_symbol: cannot read \"" << record << "\": " << error;
            return "";
        }
        record.clear();
    }
    if (parsed.features.size() != 1 || parsed.features[0].kind != kesto::FeatureKind::Surface ||
        parsed.features[0].body >= parsed.surfaces.size())
        return "";
    Point centre;
    // Shapes drawn from exact figures depart only by the arcs' chords.
    const kesto::Symbol symbol =
        kesto::edit::matching_symbol(parsed.surfaces[parsed.features[0].body], geom::kMaxChordError, &centre);
    return symbol.family == kesto::SymbolFamily::Unknown ? "" : kesto::odb::standard_symbol_name(symbol, units);
}

bool classify_polyline(const std::string& job, const std::string& step, const std::string& layer,
                       polyline_classes& out)
{
    Where w;
    if (!resolve(job, step, layer, w)) return false;
    out = polyline_classes{};
    const std::vector<Feature>& features = w.layer->features;
    // The ends of the lines and arcs, and which of them meet there.
    std::map<std::pair<Coord, Coord>, std::vector<size_t>> ends;
    std::vector<size_t> strokes;
    for (size_t i = 0; i < features.size(); ++i) {
        const Feature& f = features[i];
        if (f.kind != kesto::FeatureKind::Line && f.kind != kesto::FeatureKind::Arc) continue;
        strokes.push_back(i);
        ends[{f.a.x, f.a.y}].push_back(i);
        ends[{f.b.x, f.b.y}].push_back(i);
    }
    std::set<size_t> placed;
    for (size_t first : strokes) {
        if (placed.count(first)) continue;
        // Walk from the first stroke's end while every joint joins exactly two ends.
        std::vector<size_t> chain{first};
        std::set<size_t> seen{first};
        Point at = features[first].b;
        bool closed = ends[{features[first].a.x, features[first].a.y}].size() == 2;
        while (closed) {
            const std::vector<size_t>& here = ends[{at.x, at.y}];
            if (here.size() != 2) {
                closed = false;
                break;
            }
            const size_t next = here[0] == chain.back() ? here[1] : here[0];
            if (at == features[first].a) {
                // Back at the start: a loop when the joint closes onto the first
                // stroke (one stroke alone only as a full-circle arc).
                closed = next == first && (chain.size() > 1 || features[first].kind == kesto::FeatureKind::Arc);
                break;
            }
            if (seen.count(next)) {
                closed = false;
                break;
            }
            chain.push_back(next);
            seen.insert(next);
            at = features[next].a == at ? features[next].b : features[next].a;
        }
        if (!closed) continue;
        for (size_t i : chain) placed.insert(i);
        out.polygons.emplace_back(chain.begin(), chain.end());
    }
    for (size_t i : strokes)
        if (!placed.count(i)) out.other.push_back(static_cast<int>(i));
    return true;
}

// ---------------------------------------------------------------- layer compare

namespace {

struct Compared {
    std::vector<kesto::edit::Difference> differences;
    std::string job, step; // where they lie
};

// The latest comparison, for layer_compare_result.
Compared& latest()
{
    static Compared kept;
    return kept;
}

// The copper image of a layer: with the steps repeated in it when asked,
// within the step's profile unless `global`.
bool image_of(const std::string& job, const std::string& step, const std::string& layer, bool global, bool nested,
              geom::Paths& out, Where& w)
{
    if (!resolve(job, step, layer, w)) return false;
    const geom::OutlineContext& context = kesto::select::context_for(*w.job);
    if (nested && !w.step->repeats.empty()) {
        Layer flat;
        std::string error;
        if (!kesto::edit::flattened_layer(*w.job, *w.step, kesto::store::find_row(*w.job, layer)->name, flat, error)) {
            LOG(ERROR) << "layer compare: " << error;
            return false;
        }
        out = geom::layer_outline(flat, context);
    } else {
        out = geom::layer_outline(*w.layer, context);
    }
    if (!global && w.step->has_profile) out = geom::intersect(out, geom::surface_outline(w.step->profile));
    return true;
}

bool compare(const compare_request& r, std::vector<kesto::edit::Difference>& out, geom::Paths* first_image = nullptr,
             Where* first = nullptr)
{
    if (r.tolerance < 0) {
        LOG(ERROR) << "layer compare: a negative tolerance";
        return false;
    }
    geom::Paths a, b;
    Where wa, wb;
    if (!image_of(r.job1, r.step1, r.layer1, r.global, r.consider_sr, a, wa) ||
        !image_of(r.job2, r.step2, r.layer2, r.global, r.consider_sr, b, wb))
        return false;
    out = kesto::edit::compare_images(a, b, from_working_unit(r.tolerance));
    latest() = Compared{out, wa.job->name, r.step1};
    if (first_image) *first_image = std::move(a);
    if (first) *first = wa;
    return true;
}

compare_difference record_of(const kesto::edit::Difference& d)
{
    const double unit = to_working_unit(1000000) / 1e6; // working units per nanometre
    return {d.side == kesto::edit::DifferenceSide::OnlyFirst ? 1 : 2,
            to_working_unit(d.inside.x),
            to_working_unit(d.inside.y),
            to_working_unit(d.box.xmin),
            to_working_unit(d.box.ymin),
            to_working_unit(d.box.xmax),
            to_working_unit(d.box.ymax),
            d.area * unit * unit};
}

// Replaces the features of `name` in the job's step by one positive surface per outline.
bool write_map(const std::string& job, const std::string& step, const std::string& name,
               const std::vector<geom::Paths>& outlines)
{
    Job* j = open_job_named(job);
    Step* s = j ? step_named(*j, step) : nullptr;
    Layer* to = s ? layer_made(*j, *s, name) : nullptr;
    if (!to) return false;
    kesto::store::remember(*j, step, {name});
    to->features.clear();
    to->surfaces.clear();
    to->texts.clear();
    for (const geom::Paths& outline : outlines) {
        Feature f;
        f.kind = kesto::FeatureKind::Surface;
        f.body = static_cast<std::uint32_t>(to->surfaces.size());
        to->surfaces.push_back(geom::surface_of(outline));
        to->features.push_back(f);
    }
    changed(*j, *to);
    return true;
}

std::vector<geom::Paths> map_outlines(const std::vector<kesto::edit::Difference>& differences, Coord resolution)
{
    std::vector<geom::Paths> out;
    for (const auto& d : differences)
        if (d.box.xmax - d.box.xmin >= resolution || d.box.ymax - d.box.ymin >= resolution) out.push_back(d.outline);
    return out;
}

bool save_atomically(const std::string& path, const std::string& text)
{
    const std::string temporary = path + ".part";
    {
        std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
        file << text;
        if (!file.flush()) {
            LOG(ERROR) << "cannot write " << temporary;
            std::remove(temporary.c_str());
            return false;
        }
    }
    if (std::rename(temporary.c_str(), path.c_str()) != 0) {
        LOG(ERROR) << "cannot write " << path;
        std::remove(temporary.c_str());
        return false;
    }
    return true;
}

void put_le(std::string& out, std::uint32_t v, int bytes)
{
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<char>((v >> (8 * i)) & 0xff));
}

// The canvas as a 24-bit bottom-up BMP.
std::string bmp_of(const kesto::render::Canvas& canvas)
{
    cairo_surface_t* surface = canvas.surface.get();
    cairo_surface_flush(surface);
    const unsigned char* data = cairo_image_surface_get_data(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    const int row_bytes = (canvas.width * 3 + 3) & ~3;
    std::string out;
    out.reserve(54 + size_t(row_bytes) * size_t(canvas.height));
    out += "BM";
    put_le(out, 54u + std::uint32_t(row_bytes) * std::uint32_t(canvas.height), 4);
    put_le(out, 0, 4);
    put_le(out, 54, 4);
    put_le(out, 40, 4);
    put_le(out, std::uint32_t(canvas.width), 4);
    put_le(out, std::uint32_t(canvas.height), 4);
    put_le(out, 1, 2);
    put_le(out, 24, 2);
    put_le(out, 0, 4);
    put_le(out, std::uint32_t(row_bytes) * std::uint32_t(canvas.height), 4);
    put_le(out, 2835, 4);
    put_le(out, 2835, 4);
    put_le(out, 0, 4);
    put_le(out, 0, 4);
    for (int y = canvas.height - 1; y >= 0; --y) {
        const auto* row = reinterpret_cast<const std::uint32_t*>(data + size_t(y) * size_t(stride));
        for (int x = 0; x < canvas.width; ++x) {
            const std::uint32_t argb = row[x];
            out.push_back(static_cast<char>(argb & 0xff));
            out.push_back(static_cast<char>((argb >> 8) & 0xff));
            out.push_back(static_cast<char>((argb >> 16) & 0xff));
        }
        out.append(size_t(row_bytes - canvas.width * 3), '\0');
    }
    return out;
}

} // namespace

bool layer_compare(const compare_request& request, std::vector<compare_difference>& differences,
                   const std::string& map_layer, double map_resolution)
{
    std::vector<kesto::edit::Difference> found;
    Where first;
    if (!compare(request, found, nullptr, &first)) return false;
    differences.clear();
    for (const auto& d : found) differences.push_back(record_of(d));
    if (map_layer.empty()) return true;
    return write_map(first.job->name, request.step1, map_layer, map_outlines(found, from_working_unit(map_resolution)));
}

bool layer_compare_bmp(const compare_request& request, const std::string& savepath, const std::string& suffix,
                       double grid_size, int height, int width, std::string& written)
{
    if (width <= 0) width = 1000;
    if (height <= 0) height = 1000;
    std::vector<kesto::edit::Difference> found;
    geom::Paths first;
    if (!compare(request, found, &first)) return false;
    kesto::render::Canvas canvas = kesto::render::make_canvas(width, height);
    if (!kesto::render::valid(canvas)) {
        LOG(ERROR) << "layer_compare_bmp: no picture of " << width << " x " << height << " pixels";
        return false;
    }
    kesto::Box box = geom::box_of(first);
    for (const auto& d : found) box.add(d.box);
    if (box.empty()) box = kesto::Box{0, 0, kesto::kNmPerMm, kesto::kNmPerMm};
    kesto::render::zoom_to_box(canvas, box, 0.05);
    kesto::render::draw_layer(canvas, {{first, true, {}}}, {0.45, 0.45, 0.45, 1});
    std::vector<kesto::render::Shape> only_first, only_second;
    for (const auto& d : found)
        (d.side == kesto::edit::DifferenceSide::OnlyFirst ? only_first : only_second).push_back({d.outline, true, {}});
    kesto::render::draw_layer(canvas, only_first, {1, 0, 0, 1});
    kesto::render::draw_layer(canvas, only_second, {0, 1, 0, 1});
    const Coord grid = from_working_unit(grid_size);
    if (grid > 0) {
        const kesto::Box seen = kesto::render::visible_box(canvas);
        if ((seen.xmax - seen.xmin) / grid + (seen.ymax - seen.ymin) / grid < 2000) {
            geom::Paths lines;
            for (Coord x = (seen.xmin / grid) * grid; x <= seen.xmax; x += grid)
                lines.push_back({{x, seen.ymin}, {x, seen.ymax}});
            for (Coord y = (seen.ymin / grid) * grid; y <= seen.ymax; y += grid)
                lines.push_back({{seen.xmin, y}, {seen.xmax, y}});
            kesto::render::draw_outline(canvas, lines, {0.2, 0.2, 0.6, 1});
        }
    }
    written = savepath + "/" + request.layer1 + "_" + request.layer2 + suffix + ".bmp";
    return save_atomically(written, bmp_of(canvas));
}

bool layer_compare_result(const std::string& job, const std::string& step, const std::string& new_layer,
                          bool difference, int columns, point start, double pitch)
{
    const Compared& kept = latest();
    const Coord step_apart = from_working_unit(pitch);
    std::vector<geom::Paths> outlines;
    for (size_t i = 0; i < kept.differences.size(); ++i) {
        const auto& d = kept.differences[i];
        geom::Paths shape = difference ? d.outline
                                       : geom::Paths{geom::rectangle(double(d.box.xmin), double(d.box.ymin),
                                                                     double(d.box.xmax), double(d.box.ymax))};
        if (columns > 0) {
            // The box's centre goes to its cell of the gallery.
            const Coord cx = start.ix + Coord(i % size_t(columns)) * step_apart;
            const Coord cy = start.iy - Coord(i / size_t(columns)) * step_apart;
            const Coord dx = cx - (d.box.xmin + d.box.xmax) / 2, dy = cy - (d.box.ymin + d.box.ymax) / 2;
            for (auto& path : shape)
                for (auto& p : path) {
                    p.X += dx;
                    p.Y += dy;
                }
        }
        outlines.push_back(std::move(shape));
    }
    return write_map(job, step, new_layer, outlines);
}

bool multi_layer_compare(const compare_request& base, const std::vector<std::string>& layers1,
                         const std::vector<std::string>& layers2, const std::string& report_path,
                         const std::string& map_job, const std::string& map_step,
                         const std::vector<std::string>& map_layers, double map_resolution)
{
    if (layers1.size() != layers2.size()) {
        LOG(ERROR) << "multi_layer_compare: " << layers1.size() << " layers against " << layers2.size();
        return false;
    }
    std::string report = "pair\tlayer1\tlayer2\tside\tx\ty\txmin\tymin\txmax\tymax\tarea\n";
    bool all = true;
    for (size_t i = 0; i < layers1.size(); ++i) {
        compare_request r = base;
        r.layer1 = layers1[i];
        r.layer2 = layers2[i];
        std::vector<kesto::edit::Difference> found;
        if (!compare(r, found)) {
            all = false;
            continue;
        }
        for (const auto& d : found) {
            const compare_difference c = record_of(d);
            char line[320];
            std::snprintf(line, sizeof line, "%zu\t%s\t%s\t%d\t%.6f\t%.6f\t%.6f\t%.6f\t%.6f\t%.6f\t%.9g\n", i + 1,
                          r.layer1.c_str(), r.layer2.c_str(), c.side, c.x, c.y, c.xmin, c.ymin, c.xmax, c.ymax, c.area);
            report += line;
        }
        if (i < map_layers.size() && !map_layers[i].empty())
            all = write_map(map_job, map_step, map_layers[i], map_outlines(found, from_working_unit(map_resolution))) &&
                  all;
    }
    if (!report_path.empty()) all = save_atomically(report_path, report) && all;
    return all;
}

} // namespace API
} // namespace KESTO
