#include "engine/api/features.h"

#include "engine/api/display.h"
#include "engine/api/symbol_names.h"
#include "engine/api/units.h"
#include "engine/edit/layer_edit.h"
#include "engine/formats/odb/features.h"
#include "engine/formats/odb/symbols.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <cmath>
#include <sstream>

namespace KESTO {
namespace API {
namespace {

using kesto::Units;

Units working_units() { return working_unit_is_inch() ? Units::Inch : Units::Mm; }

// The symbols of each job by the numbers the builders use.
kesto::Layer& symbol_numbers(const std::string& job)
{
    static auto* tables = new std::map<std::string, kesto::Layer>();
    return (*tables)[job];
}

std::string number(double value)
{
    std::ostringstream out;
    out.precision(9);
    out << value;
    return out.str();
}

// A coordinate or size in the working unit, refused beyond what the engine
// holds before it becomes text.
std::string length(double value)
{
    from_working_unit(value); // throws beyond the limit
    return number(value);
}

const char* polarity_letter(int polarity) { return polarity == 0 ? "P" : "N"; }

// The ODB++ orientation field: 0..7, or 8/9 with an angle.
std::string orientation(int orient, double angle)
{
    if (angle == 0 && orient >= 0 && orient <= 7) return std::to_string(orient);
    return (orient >= 4 ? "9 " : "8 ") + number(angle);
}

} // namespace

bool create_new_symbol(const std::string& job_name, const std::string& step_name, const std::string& symbol,
                       const std::string& layer_name, int& number_out)
{
    kesto::Job* job = kesto::store::find_job(job_name);
    if (!job) {
        LOG(ERROR) << "create_new_symbol: job \"" << job_name << "\" is not open";
        return false;
    }
    kesto::Symbol parsed = symbol_from_working_name(symbol);
    if (parsed.family == kesto::SymbolFamily::Unknown) {
        if (!job->symbols.count(symbol)) {
            LOG(ERROR) << "create_new_symbol: \"" << symbol << "\" is neither a standard symbol nor a symbol of the job";
            return false;
        }
        parsed.family = kesto::SymbolFamily::User;
    }
    number_out = kesto::edit::symbol_index(symbol_numbers(job_name), parsed);
    if (!layer_name.empty()) {
        kesto::Step* step = kesto::store::find_step(*job, step_name);
        kesto::Layer* layer = step ? kesto::store::find_layer(*job, *step, layer_name) : nullptr;
        if (!layer) {
            LOG(ERROR) << "create_new_symbol: no layer \"" << layer_name << "\" in step \"" << step_name << "\"";
            return false;
        }
        kesto::edit::symbol_index(*layer, parsed);
    }
    return true;
}

std::string GreateLineString(double start_x, double start_y, double end_x, double end_y, int symbol, int polarity,
                             int dcode)
{
    return "L " + length(start_x) + " " + length(start_y) + " " + length(end_x) + " " + length(end_y) + " " +
           std::to_string(symbol) + " " + polarity_letter(polarity) + " " + std::to_string(std::max(dcode, 0));
}

std::string GreatePadString(double x, double y, int symbol, int polarity, int dcode, int orient, double angle)
{
    return "P " + length(x) + " " + length(y) + " " + std::to_string(symbol) + " " + polarity_letter(polarity) + " " +
           std::to_string(std::max(dcode, 0)) + " " + orientation(orient, angle);
}

std::string GreateArcString(double start_x, double start_y, double end_x, double end_y, double centre_x,
                            double centre_y, int symbol, int polarity, int dcode, bool clockwise)
{
    return "A " + length(start_x) + " " + length(start_y) + " " + length(end_x) + " " + length(end_y) + " " +
           length(centre_x) + " " + length(centre_y) + " " + std::to_string(symbol) + " " + polarity_letter(polarity) +
           " " + std::to_string(std::max(dcode, 0)) + " " + (clockwise ? "Y" : "N");
}

std::string GreateSurfaceString(const std::vector<lPoint>& points, int polarity, int dcode, bool round)
{
    std::string text = std::string("S ") + polarity_letter(polarity) + " " + std::to_string(std::max(dcode, 0)) + "\n";
    if (round && points.size() >= 2) {
        const lPoint& c = points[0];
        const lPoint& on = points[1];
        text += "OB " + length(on.x) + " " + length(on.y) + " I\n";
        text += "OC " + length(on.x) + " " + length(on.y) + " " + length(c.x) + " " + length(c.y) + " Y\n";
    } else {
        for (size_t i = 0; i < points.size(); ++i)
            text += (i == 0 ? "OB " : "OS ") + length(points[i].x) + " " + length(points[i].y) + (i == 0 ? " I\n" : "\n");
        if (!points.empty()) text += "OS " + length(points[0].x) + " " + length(points[0].y) + "\n";
    }
    return text + "OE\nSE";
}

std::string GreateTextString(double x, double y, const std::string& font, int polarity, int orient, double xsize,
                             double ysize, double line_width, const std::string& text, int version, double angle)
{
    // The record's width factor is in units of 12 mils.
    const double mils = line_width * (working_unit_is_inch() ? 1000.0 : 1000.0 / 25.4);
    return "T " + length(x) + " " + length(y) + " " + (font.empty() ? "standard" : font) + " " +
           polarity_letter(polarity) + " " + orientation(orient, angle) + " " + length(xsize) + " " + length(ysize) +
           " " + number(mils / 12.0) + " '" + text + "' " + std::to_string(version);
}

bool AddFeature(const std::string& job_name, const std::string& step_name, const std::vector<std::string>& layers,
                const std::map<std::string, std::string>& attributes, const std::string& description, bool select)
{
    kesto::Job* job = kesto::store::find_job(job_name);
    kesto::Step* step = job ? kesto::store::find_step(*job, step_name) : nullptr;
    if (!step) {
        LOG(ERROR) << "AddFeature: no step \"" << step_name << "\" in an open job \"" << job_name << "\"";
        return false;
    }
    std::vector<kesto::Layer*> targets;
    for (const auto& name : layers) {
        kesto::Layer* layer = kesto::store::find_layer(*job, *step, name);
        if (!layer) {
            LOG(ERROR) << "AddFeature: job \"" << job_name << "\" has no layer \"" << name << "\"";
            return false;
        }
        targets.push_back(layer);
    }
    // Parse once against the job's numbered symbols, then copy to each layer.
    kesto::Layer parsed;
    parsed.symbols = symbol_numbers(job_name).symbols;
    std::string error;
    std::istringstream lines(description);
    std::string line, record;
    while (std::getline(lines, line)) {
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        record += record.empty() ? line : "\n" + line;
        const bool surface_open = record[0] == 'S' && line.rfind("SE", 0) != 0;
        if (surface_open) continue;
        if (!kesto::odb::parse_feature_record(record, parsed, working_units(), &error)) {
            LOG(ERROR) << "AddFeature: cannot read \"" << record << "\": " << error;
            return false;
        }
        record.clear();
    }
    if (!record.empty()) {
        LOG(ERROR) << "AddFeature: a surface is not closed by SE";
        return false;
    }
    if (!parsed.features.empty()) kesto::store::remember(*job, step_name, layers);
    for (kesto::Layer* layer : targets)
        for (const kesto::Feature& f : parsed.features) {
            const size_t at = kesto::edit::copy_feature(parsed, f, *layer);
            kesto::Feature& added = layer->features[at];
            if (!attributes.empty()) {
                auto all = kesto::edit::attributes_of(*layer, added);
                for (const auto& a : attributes) all[a.first] = a.second;
                kesto::edit::set_attributes(*layer, added, all);
            }
            added.selected = select;
        }
    if (!targets.empty() && !parsed.features.empty()) job->changed = true;
    return true;
}

} // namespace API
} // namespace KESTO
