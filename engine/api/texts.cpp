#include "engine/api/texts.h"

#include "engine/api/board_layers.h"
#include "engine/api/units.h"
#include "engine/geometry/stroke_font.h"
#include "engine/select/workspace.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <boost/filesystem.hpp>

#include <fstream>
#include <set>
#include <sstream>

namespace KESTO {
namespace API {

using namespace kesto;

namespace {

constexpr const char* kFontFolder = "fonts/";

Job* open_job(const std::string& name, const char* op)
{
    Job* job = store::find_job(name);
    if (!job) LOG(ERROR) << op << ": job \"" << name << "\" is not open";
    return job;
}

} // namespace

bool get_fonts(const std::string& job_name, std::vector<std::string>& names)
{
    const Job* job = open_job(job_name, "get_fonts");
    if (!job) return false;
    std::set<std::string> fonts{"standard"};
    for (const auto& [path, bytes] : job->files)
        if (path.rfind(kFontFolder, 0) == 0 && geom::parse_stroke_font(bytes)) fonts.insert(path.substr(6));
    names.assign(fonts.begin(), fonts.end());
    return true;
}

bool has_font(const std::string& job, const std::string& font, bool& has)
{
    std::vector<std::string> names;
    if (!get_fonts(job, names)) return false;
    has = false;
    for (const std::string& n : names) has = has || n == font;
    return true;
}

bool load_one_font(const std::string& job_name, const std::string& path, const std::string& name)
{
    const char* op = "load_one_font";
    Job* job = open_job(job_name, op);
    if (!job) return false;
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        LOG(ERROR) << op << ": cannot read \"" << path << "\"";
        return false;
    }
    std::ostringstream bytes;
    bytes << in.rdbuf();
    std::string error;
    if (!geom::parse_stroke_font(bytes.str(), &error)) {
        LOG(ERROR) << op << ": \"" << path << "\": " << error;
        return false;
    }
    const std::string font = name.empty() ? boost::filesystem::path(path).filename().string() : name;
    if (font.empty() || font.find('/') != std::string::npos) {
        LOG(ERROR) << op << ": \"" << font << "\" is not a font name";
        return false;
    }
    job->files[kFontFolder + font] = bytes.str();
    job->changed = true;
    select::forget_job(*job); // texts now draw with the new font
    return true;
}

bool get_text_list(const std::string& job, const std::string& step, const std::string& layer_name, bool selected_only,
                   std::vector<text_entry>& out)
{
    const char* op = "get_text_list";
    board::StepRef at;
    if (!board::find(job, step, op, at)) return false;
    const Layer* layer = board::layer(at, layer_name, op);
    if (!layer) return false;
    out.clear();
    for (size_t i = 0; i < layer->features.size(); ++i) {
        const Feature& f = layer->features[i];
        if (f.kind != FeatureKind::Text && f.kind != FeatureKind::Barcode) continue;
        if (selected_only && !f.selected) continue;
        if (f.body >= layer->texts.size()) continue;
        const Text& t = layer->texts[f.body];
        text_entry e;
        e.index = int(i);
        e.text = t.text;
        e.font = t.font;
        e.x = to_working_unit(f.a.x);
        e.y = to_working_unit(f.a.y);
        e.xsize = to_working_unit(t.xsize);
        e.ysize = to_working_unit(t.ysize);
        e.angle = f.angle;
        e.mirror = f.mirror;
        e.barcode = f.kind == FeatureKind::Barcode;
        e.selected = f.selected;
        out.push_back(std::move(e));
    }
    return true;
}

} // namespace API
} // namespace KESTO
