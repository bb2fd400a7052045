#include "engine/api/gds.h"

#include "engine/formats/gds/reader.h"
#include "engine/geometry/outline.h"
#include "engine/store/store.h"

#include <fstream>
#include <sstream>

namespace KESTO::API {

bool add_gds(const std::string& job_name, const std::string& step_name, const std::string& layer_name,
             const std::string& path, std::vector<std::string>& notes)
{
    notes.clear();
    kesto::Job* job = kesto::store::find_job(job_name);
    kesto::Step* step = job ? kesto::store::find_step(*job, step_name) : nullptr;
    if (!step || layer_name.empty()) {
        notes.push_back("no step " + step_name + " of an open job " + job_name + ", or no layer named");
        return false;
    }
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    if (!in || !(bytes << in.rdbuf())) {
        notes.push_back("cannot read " + path);
        return false;
    }
    kesto::gds::Drawing drawing;
    std::string error;
    if (!kesto::gds::read(bytes.str(), drawing, error)) {
        notes.push_back(path + ": " + error);
        return false;
    }
    if (!kesto::store::find_row(*job, layer_name)) {
        kesto::MatrixRow row;
        row.name = layer_name;
        for (const auto& r : job->rows) row.row = std::max(row.row, r.row);
        ++row.row;
        row.context = "MISC";
        row.type = "DOCUMENT";
        job->rows.push_back(row);
    }
    kesto::store::remember(*job, step_name, {layer_name});
    kesto::Layer& layer = *kesto::store::find_layer(*job, *step, layer_name);
    for (const kesto::geom::Paths& shape : drawing.shapes) {
        kesto::Feature f;
        f.kind = kesto::FeatureKind::Surface;
        f.symbol = -1;
        f.body = std::uint32_t(layer.surfaces.size());
        layer.surfaces.push_back(kesto::geom::surface_of(shape));
        layer.features.push_back(f);
    }
    job->changed = true;
    notes = std::move(drawing.notes);
    return true;
}

} // namespace KESTO::API
