// The engine operations of data exchange: translating files into layers of
// open jobs, exporting layers, and the drill tool table.
#include "engine/api/exchange.h"
#include "engine/api/progress.h"
#include "engine/edit/step_repeat.h"
#include "engine/model/text.h"
#include "engine/formats/gerber/layer_build.h"
#include "engine/formats/identify.h"
#include "engine/geometry/outline.h"
#include "engine/store/store.h"

#include <cmath>
#include <ctime>
#include <fstream>
#include <sstream>

namespace KESTO::API {

namespace {

using kesto::Job;
using kesto::Layer;
using kesto::Step;

time now()
{
    const std::time_t t = std::time(nullptr);
    std::tm local{};
    localtime_r(&t, &local);
    return {local.tm_hour, local.tm_min, local.tm_sec};
}

bool slurp(const std::string& path, std::string& text)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream s;
    s << in.rdbuf();
    text = s.str();
    return bool(in) || in.eof();
}

// The matrix row a translated file lands in when the job has none of its name.
kesto::MatrixRow new_row(const Job& job, const std::string& name, const file_Parameters& p, const Layer& read)
{
    kesto::MatrixRow row;
    row.name = kesto::store::layer_name(name);
    for (const auto& r : job.rows) row.row = std::max(row.row, r.row);
    ++row.row;
    row.context = "BOARD";
    std::string function;
    if (auto f = read.attributes.find(".FileFunction"); f != read.attributes.end()) function = f->second;
    auto is = [&function](const char* kind) { return function.rfind(kind, 0) == 0; };
    if (p.format == "Excellon") row.type = p.data_type == "rout" ? "ROUT" : "DRILL";
    else if (is("Copper")) {
        // Our own exports name the kind of copper last.
        const auto ends = [&function](const std::string& tail) {
            return function.size() >= tail.size() && function.compare(function.size() - tail.size(), tail.size(), tail) == 0;
        };
        row.type = ends(",Plane") ? "POWER_GROUND" : ends(",Mixed") ? "MIXED" : "SIGNAL";
    }
    else if (is("Soldermask")) row.type = "SOLDER_MASK";
    else if (is("Legend")) row.type = "SILK_SCREEN";
    else if (is("Paste")) row.type = "SOLDER_PASTE";
    else if (is("Plated") || is("NonPlated")) row.type = "DRILL";
    else {
        row.context = "MISC";
        row.type = "DOCUMENT";
    }
    if (auto f = read.attributes.find(".FilePolarity"); f != read.attributes.end() && f->second == "Negative")
        row.polarity = "NEGATIVE";
    return row;
}

std::string aperture_list_beside(const std::string& path)
{
    const std::size_t slash = path.find_last_of('/');
    const std::size_t dot = path.find_last_of('.');
    const std::string stem = dot != std::string::npos && (slash == std::string::npos || dot > slash) ? path.substr(0, dot) : path;
    for (const char* extension : {".apr", ".apt", ".lst", ".rep", ".txt", ".APR", ".APT", ".LST", ".REP", ".TXT"}) {
        std::string text;
        if (stem + extension != path && slurp(stem + extension, text)) return text;
    }
    return {};
}

struct Target {
    Job* job = nullptr;
    Step* step = nullptr;
    Layer* layer = nullptr;
};

Target find(const std::string& job, const std::string& step, const std::string& layer, std::vector<translate_report>* reports)
{
    Target t;
    auto say = [&](const std::string& what) {
        if (reports) reports->push_back({"", 0, what, true});
    };
    t.job = kesto::store::find_job(job);
    if (!t.job) return say("job " + job + " is not open"), t;
    t.step = kesto::store::find_step(*t.job, step);
    if (!t.step) return say("job " + job + " has no step " + step), t;
    t.layer = kesto::store::find_layer(*t.job, *t.step, layer);
    if (!t.layer) say("job " + job + " has no layer " + layer);
    return t;
}

std::string plating_of(const Layer& layer, const kesto::Feature& f)
{
    if (f.attributes && f.attributes <= layer.attribute_sets.size())
        for (const auto& v : layer.attribute_sets[f.attributes - 1])
            if (v.name < layer.attribute_names.size() && layer.attribute_names[v.name] == ".drill") return v.value;
    return "plated";
}

using kesto::lower;

int symbol_of(const Layer& layer, kesto::Coord diameter)
{
    for (std::size_t i = 0; i < layer.symbols.size(); ++i) {
        const kesto::Symbol& s = layer.symbols[i];
        if ((s.family == kesto::SymbolFamily::Round || s.family == kesto::SymbolFamily::Hole) && std::llround(s.p[0]) == diameter)
            return int(i);
    }
    return -1;
}

bool drills(const Layer& layer, const kesto::Feature& f, int symbol, const std::string& type)
{
    return f.symbol == symbol && f.kind != kesto::FeatureKind::Surface && plating_of(layer, f) == lower(type);
}

} // namespace

bool file_translate_init(const std::string& job) { return kesto::store::find_job(job) != nullptr; }

bool file_translate(const std::string& path, const std::string& job, const std::string& step, const std::string& layer,
                    const file_Parameters& given, time& start_time, time& end_time, std::map<int, int>& dcodes,
                    std::vector<translate_report>& reports)
{
    start_time = now();
    auto finish = [&](bool ok) {
        end_time = now();
        return ok;
    };
    Job* j = kesto::store::find_job(job);
    Step* s = j ? kesto::store::find_step(*j, step) : nullptr;
    if (!s) {
        reports.push_back({path, 0, j ? "job " + job + " has no step " + step : "job " + job + " is not open", true});
        return finish(false);
    }
    file_Parameters p = given.format.empty() || given.format == "None" ? kesto::formats::identify_path(path) : given;
    if (p.format == "ODB++" || p.format == "None") {
        reports.push_back({path, 0, p.format == "ODB++" ? "an ODB++ job is opened as a job, not translated into a layer"
                                                        : "not a Gerber or Excellon file",
                           true});
        return finish(false);
    }
    std::string text;
    if (!slurp(path, text)) {
        reports.push_back({path, 0, "cannot read the file", true});
        return finish(false);
    }
    const std::size_t slash = path.find_last_of('/');
    const std::string file_name = slash == std::string::npos ? path : path.substr(slash + 1);
    Layer read;
    read.units = p.units == "mm" ? kesto::Units::Mm : kesto::Units::Inch;
    kesto::UserSymbols symbols;
    COMMON::progress_value<long long> progress; // the host's bar follows the bytes read
    progress.total = static_cast<long long>(text.size());
    bool ok;
    if (p.format == "Excellon") {
        kesto::excellon::ReadOptions options;
        options.file_name = file_name;
        options.defaults = p;
        ok = kesto::excellon::read(text, options, read, reports);
    } else {
        kesto::gerber::ReadOptions options;
        options.file_name = file_name;
        options.defaults = p;
        options.read = &progress.done;
        if (p.format == "Gerber274D") {
            options.aperture_list = aperture_list_beside(path);
            if (options.aperture_list.empty())
                reports.push_back({file_name, 0, "no aperture list beside this RS-274-D file (.apr, .apt, .lst, .rep, .txt)", true});
        }
        ok = kesto::gerber::read(text, options, read, symbols, reports);
    }
    if (!kesto::store::find_row(*j, layer)) j->rows.push_back(new_row(*j, layer, p, read));
    for (auto& [name, symbol] : symbols) j->symbols.emplace(name, std::move(symbol));
    dcodes.clear();
    for (const kesto::Feature& f : read.features)
        if (f.dcode >= 0 && f.symbol >= 0) dcodes.emplace(f.dcode, f.symbol);
    *kesto::store::find_layer(*j, *s, layer) = std::move(read);
    j->changed = true;
    return finish(ok);
}

bool get_drill_info(const std::string& job, const std::string& step, const std::string& layer,
                    std::vector<drill_tools_info>& tools, int)
{
    tools.clear();
    Target t = find(job, step, layer, nullptr);
    if (!t.layer) return false;
    const Layer& l = *t.layer;
    for (const kesto::DrillTool& tool : l.tools) {
        drill_tools_info row;
        row.iToolIdx = tool.number;
        const std::string type = lower(tool.type);
        row.eToolType = type == "non_plated" ? 1 : type == "via" ? 2 : 0;
        const std::string type2 = lower(tool.type2);
        row.eViaType = type2 == "photo" ? 1 : type2 == "laser" ? 2 : type2 == "press_fit" ? 3 : 0;
        row.iMinTor = std::int32_t(tool.min_tol);
        row.iMaxTor = std::int32_t(tool.max_tol);
        row.iFinishSize = std::int32_t(tool.finish_size);
        row.iHoleSize = std::int32_t(tool.drill_size);
        row.iSymbolId = symbol_of(l, tool.drill_size);
        for (const kesto::Feature& f : l.features) {
            if (!drills(l, f, row.iSymbolId, tool.type.empty() ? "plated" : tool.type)) continue;
            ++row.iToolCount;
            if (f.kind == kesto::FeatureKind::Line)
                row.iSlotLength = std::max<std::int32_t>(row.iSlotLength, std::int32_t(std::llround(std::hypot(double(f.b.x - f.a.x), double(f.b.y - f.a.y)) + double(tool.drill_size))));
        }
        tools.push_back(row);
    }
    return true;
}

bool set_drill_info(const std::string& job, const std::string& step, const std::string& layer,
                    const std::vector<drill_tools_info>& rows)
{
    Target t = find(job, step, layer, nullptr);
    if (!t.layer) return false;
    // A bad row refuses the whole table before anything changes.
    for (const drill_tools_info& row : rows)
        if (row.eToolType < 0 || row.eToolType > 2 || row.iHoleSize < 0 || row.iFinishSize < 0) return false;
    kesto::store::Edit record(*t.job, step, {layer});
    Layer& l = *t.layer;
    kesto::formats::LayerBuilder builder(l);
    const char* types[] = {"PLATED", "NON_PLATED", "VIA"};
    std::vector<kesto::DrillTool> updated;
    for (const drill_tools_info& row : rows) {
        kesto::DrillTool tool;
        for (const kesto::DrillTool& old : l.tools)
            if (old.number == row.iToolIdx) tool = old;
        const kesto::DrillTool before = tool;
        tool.number = row.iToolIdx;
        tool.type = types[row.eToolType];
        if (tool.type2.empty()) tool.type2 = "STANDARD";
        tool.min_tol = row.iMinTor;
        tool.max_tol = row.iMaxTor;
        tool.finish_size = row.iFinishSize;
        tool.drill_size = row.iHoleSize;
        const int old_symbol = before.drill_size > 0 ? symbol_of(l, before.drill_size) : -1;
        const bool resized = before.drill_size != tool.drill_size, retyped = lower(before.type) != lower(tool.type);
        if (old_symbol >= 0 && (resized || retyped)) {
            const int new_symbol = builder.symbol(kesto::formats::round_symbol(double(tool.drill_size)));
            const std::uint32_t attributes = builder.attribute_set({{".drill", lower(tool.type)}});
            for (kesto::Feature& f : l.features)
                if (drills(l, f, old_symbol, before.type.empty() ? "plated" : before.type)) {
                    f.symbol = new_symbol;
                    f.attributes = attributes;
                }
        }
        updated.push_back(tool);
    }
    l.tools = std::move(updated);
    record.finish(1);
    return true;
}

namespace {

// The target layer shaped into `out`; the findings go to the reports.
bool shaped_copy(const Target& t, const kesto::Layer& source, const kesto::edit::OutputShaping& shaping,
                 kesto::Layer& out, std::vector<translate_report>& reports)
{
    std::vector<std::string> notes;
    std::string problem;
    const bool done = kesto::edit::shape_for_output(*t.step, source, shaping, kesto::geom::context_of(*t.job), out, notes, problem);
    if (!done) reports.push_back({"", 0, problem, true});
    for (const std::string& note : notes) reports.push_back({"", 0, note, false});
    return done;
}

// Finds the layer, shapes a copy when asked, has `write` turn it into text
// and saves that atomically. False when any step fails; what `write` could
// not put in the file is in the reports.
template <class Write>
bool export_layer(const std::string& job, const std::string& step, const std::string& layer, const std::string& path,
                  const kesto::edit::OutputShaping& shaping, std::vector<translate_report>& reports, Write write)
{
    Target t = find(job, step, layer, &reports);
    if (!t.layer) return false;
    const kesto::Layer* source = t.layer;
    // A panel exports with its boards placed.
    kesto::Layer flat;
    if (!t.step->repeats.empty()) {
        std::string why;
        if (!kesto::edit::flattened_layer(*t.job, *t.step, layer, flat, why)) {
            reports.push_back({"", 0, why, true});
            return false;
        }
        source = &flat;
    }
    kesto::Layer shaped;
    if (!shaping.none()) {
        if (!shaped_copy(t, *source, shaping, shaped, reports)) return false;
        source = &shaped;
    }
    // The host's bar follows the features as they are written.
    COMMON::progress_value<long long> progress;
    progress.total = static_cast<long long>(source->features.size()) + 1;
    std::string text;
    const bool written = write(*t.job, *source, text, &progress.done);
    progress.done = progress.total - 1;
    if (text.empty()) return false;
    return kesto::save_text(path, text, reports) && written;
}

} // namespace

bool shape_layer(const std::string& job, const std::string& step, const std::string& layer,
                 const kesto::edit::OutputShaping& shaping, std::vector<translate_report>& reports)
{
    Target t = find(job, step, layer, &reports);
    if (!t.layer) return false;
    if (shaping.none()) return true;
    kesto::Layer shaped;
    if (!shaped_copy(t, *t.layer, shaping, shaped, reports)) return false;
    kesto::store::remember(*t.job, step, {layer});
    *t.layer = std::move(shaped);
    t.job->changed = true;
    return true;
}

bool export_gerber(const std::string& job, const std::string& step, const std::string& layer, const std::string& path,
                   const kesto::gerber::WriteOptions& given, std::vector<translate_report>& reports,
                   const kesto::edit::OutputShaping& shaping)
{
    return export_layer(job, step, layer, path, shaping, reports,
                        [&](const kesto::Job& j, const kesto::Layer& l, std::string& text, std::atomic<long long>* written) {
        kesto::gerber::WriteOptions options = given;
        options.written = written;
        if (options.fonts.empty()) options.fonts = kesto::geom::context_of(j).fonts;
        if (options.file_attributes.empty()) options.file_attributes = kesto::gerber::file_attributes(j, layer);
        return kesto::gerber::write(l, j.symbols, options, text, reports);
    });
}

bool export_excellon(const std::string& job, const std::string& step, const std::string& layer, const std::string& path,
                     const kesto::excellon::WriteOptions& options, std::vector<translate_report>& reports,
                     const kesto::edit::OutputShaping& shaping)
{
    return export_layer(job, step, layer, path, shaping, reports,
                        [&](const kesto::Job&, const kesto::Layer& l, std::string& text, std::atomic<long long>* written) {
        kesto::excellon::WriteOptions counted = options;
        counted.written = written;
        return kesto::excellon::write(l, counted, text, reports);
    });
}

} // namespace KESTO::API
