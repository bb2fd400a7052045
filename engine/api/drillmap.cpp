#include "engine/api/drillmap.h"

#include "engine/api/jobs.h"
#include "engine/edit/layer_edit.h"
#include "engine/formats/odb/symbols.h"
#include "engine/geometry/outline.h"
#include "engine/select/workspace.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <map>

namespace KESTO {
namespace API {
namespace {

using kesto::Coord;
using kesto::Feature;
using kesto::Layer;
using kesto::Point;

// Marker shapes, one per tool in legend order, sizes in microns.
const char* const kMarkers[] = {"donut_r1200x800", "s1000",          "di1300x1300",   "tri1200x1200",
                                "oct1200x1200x350", "hex_l1300x1100x300", "bfr1200", "rect1400x700",
                                "oval1400x700",     "bfs1200",        "el1400x800",    "r1200"};

void add_pad(Layer& layer, const std::string& symbol, Point at)
{
    Feature f;
    f.kind = kesto::FeatureKind::Pad;
    f.symbol = kesto::edit::symbol_index(layer, kesto::odb::parse_symbol_name(symbol, kesto::Units::Mm));
    f.a = at;
    layer.features.push_back(f);
}

void add_text(Layer& layer, const std::string& text, Point at, Coord height)
{
    kesto::Text t;
    t.text = text;
    t.xsize = height * 8 / 10;
    t.ysize = height;
    t.width_factor = 1.0;
    layer.texts.push_back(t);
    Feature f;
    f.kind = kesto::FeatureKind::Text;
    f.body = static_cast<std::uint32_t>(layer.texts.size() - 1);
    f.a = at;
    layer.features.push_back(f);
}

} // namespace

bool create_drill_map(const std::string& job_name, const std::string& step_name, const std::string& drill_layer,
                      const std::string& output_layer, const std::string& outline_layer,
                      const std::vector<drill_map_row>& rows, const std::string& unit)
{
    kesto::Job* job = kesto::store::find_job(job_name);
    kesto::Step* step = job ? kesto::store::find_step(*job, step_name) : nullptr;
    Layer* drill = step ? kesto::store::find_layer(*job, *step, drill_layer) : nullptr;
    if (!drill || output_layer.empty() || output_layer == drill_layer) {
        LOG(ERROR) << "create_drill_map: no drill layer \"" << drill_layer << "\" in " << job_name << "/" << step_name
                   << ", or no other output layer";
        return false;
    }
    if (!kesto::store::find_row(*job, output_layer))
        create_new_layer(job_name, step_name, output_layer, static_cast<int>(job->rows.size()) + 1);
    Layer* out = kesto::store::find_layer(*job, *step, output_layer);
    if (!out) return false;
    kesto::store::remember(*job, step_name, {output_layer});
    *out = Layer{};
    out->units = kesto::Units::Mm;

    // Each tool's marker, by the tool number of the holes' symbols in the table order.
    std::map<int, std::string> marker_of;
    for (size_t i = 0; i < rows.size(); ++i) marker_of[rows[i].tool] = kMarkers[i % (sizeof kMarkers / sizeof *kMarkers)];
    std::map<std::string, int> tool_of_symbol;
    for (const auto& tool : drill->tools) {
        for (size_t s = 0; s < drill->symbols.size(); ++s)
            if (drill->symbols[s].family == kesto::SymbolFamily::Round &&
                static_cast<Coord>(drill->symbols[s].p[0]) == tool.drill_size)
                tool_of_symbol[drill->symbols[s].name] = tool.number;
    }
    const auto& context = kesto::select::context_for(*job);
    kesto::Box board;
    for (const Feature& f : drill->features) {
        board.add(kesto::geom::feature_box(*drill, f, context));
        if (f.symbol < 0 || static_cast<size_t>(f.symbol) >= drill->symbols.size()) continue;
        const auto tool = tool_of_symbol.find(drill->symbols[static_cast<size_t>(f.symbol)].name);
        const auto marker = tool == tool_of_symbol.end() ? marker_of.end() : marker_of.find(tool->second);
        const Point at = f.kind == kesto::FeatureKind::Pad ? f.a : Point{(f.a.x + f.b.x) / 2, (f.a.y + f.b.y) / 2};
        add_pad(*out, marker == marker_of.end() ? "r1200" : marker->second, at);
    }
    if (!outline_layer.empty())
        if (Layer* outline = kesto::store::find_layer(*job, *step, outline_layer)) {
            board = kesto::geom::layer_box(*outline, context);
        }
    if (board.empty()) board.add(Point{0, 0});

    // The legend: a heading, then one line a tool with its marker.
    const Coord line = 2500000, text_height = 1500000;
    const Coord x = board.xmax + 5000000;
    Coord y = board.ymax - text_height;
    const bool inch = unit == "inch" || unit == "INCH";
    add_text(*out, std::string("TOOL  SIZE (") + (inch ? "inch" : "mm") + ")  COUNT  TYPE", Point{x, y}, text_height);
    for (size_t i = 0; i < rows.size(); ++i) {
        y -= line;
        add_pad(*out, marker_of[rows[i].tool], Point{x + 800000, y + text_height / 2});
        char tool[16];
        std::snprintf(tool, sizeof tool, "T%02d", rows[i].tool);
        add_text(*out, std::string(tool) + "  " + rows[i].size + "  " + std::to_string(rows[i].count) + "  " + rows[i].kind,
                 Point{x + 2000000, y}, text_height);
    }
    kesto::select::forget(*out);
    job->changed = true;
    return true;
}

} // namespace API
} // namespace KESTO
