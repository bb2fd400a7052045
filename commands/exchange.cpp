// Drill maps, pictures and format transforms.
#include "adaptor/handler.h"
#include "engine/api/display.h"
#include "engine/api/drillmap.h"
#include "engine/api/exchange.h"
#include "engine/api/jobs.h"
#include "engine/api/units.h"

#include <boost/filesystem.hpp>

#include <algorithm>
#include <cctype>
#include <cmath>

using namespace kesto::adaptor;

namespace {

// A switch sent as a boolean or as a number.
bool on(const Json::Value& v) { return v.isBool() ? v.asBool() : !v.isNull() && v.asDouble() != 0; }

kesto::Coord nm(const Json::Value& working)
{
    return KESTO::API::from_working_unit(working.isNull() ? 0.0 : working.asDouble());
}

// A transform's shaping: resized (micrometres, or mils in inch), mirrored in
// x about the mirror point and turned clockwise about the scale point, the
// transform's anchor.
kesto::edit::OutputShaping shaping_of(const Json::Value& resize, const Json::Value& mirror, const Json::Value& mx,
                                      const Json::Value& my, const Json::Value& sx, const Json::Value& sy,
                                      const Json::Value& angle, const Json::Value& electrodes)
{
    if (on(electrodes)) throw std::invalid_argument("electrode surfaces are not made by transforms");
    kesto::edit::OutputShaping how;
    if (!resize.isNull() && !resize.isBool())
        how.resize = double(KESTO::API::from_working_unit(resize.asDouble() / 1000)); // micrometres, or mils in inch
    how.mirror = on(mirror);
    how.mirror_point = {nm(mx), nm(my)};
    if (!angle.isNull() && !angle.isBool()) how.angle = angle.asDouble();
    how.rotate_point = {nm(sx), nm(sy)};
    return how;
}

void log_reports(const char* command, const std::vector<KESTO::API::translate_report>& reports)
{
    for (const auto& r : reports)
        (r.error ? LOG(ERROR) : LOG(WARNING)) << command << ": " << r.file << ": " << r.message;
}

} // namespace

// One layer of a job on disk written to targetDir/<job>_<layer>_transform:
// Gerber X2 for "type" 0, Excellon for 1, shaped on the way out.
KESTO_HANDLER(odb2other_transform)
{
    std::string path, job, dir, step, layer;
    int type = 0, order = 0;
    Json::Value gerber, resize, electrodes, mirror, mx, my, sx, sy, angle;
    return handle(__func__, request, Form::Elements,
                  {{"path", path}, {"job", job}, {"type", type}, {"gerber", gerber}, {"resize", resize},
                   {"electrodesSurface", electrodes}, {"mirror", mirror}, {"mirrorpointX", mx},
                   {"mirrorpointY", my}, {"scalepointX", sx}, {"scalepointY", sy}, {"angle", angle},
                   {"targetDir", dir}, {"step", step}, {"layer", layer}, {"orderNum", order}},
                  [&] {
                      const kesto::edit::OutputShaping how = shaping_of(resize, mirror, mx, my, sx, sy, angle, electrodes);
                      if (!KESTO::API::open_job(path, job)) throw std::invalid_argument("cannot open job " + job);
                      const std::string out = (dir.empty() ? "" : dir + "/") + job + "_" + layer + "_transform";
                      std::vector<KESTO::API::translate_report> reports;
                      bool ok;
                      if (type == 1)
                          ok = KESTO::API::export_excellon(job, step, layer, out, {}, reports, how);
                      else if (type == 0)
                          ok = KESTO::API::export_gerber(job, step, layer, out, {}, reports, how);
                      else
                          throw std::invalid_argument("transform type " + std::to_string(type) + " is not 0 or 1");
                      log_reports(__func__, reports);
                      return ok ? pass() : error();
                  });
}

// Every Gerber and Excellon file of the folder "path" becomes a layer (named
// as the file, lower case, and shaped as the transform asks) of step "orig"
// in a new job <job>_transform, which is saved. Files of no known format are
// passed over; "output_layers", when
// given, names the only files to take. Any file that does not read cleanly
// makes the answer the error text; the job keeps what was read.
KESTO_HANDLER(gbr2odb_transform)
{
    std::string path, job, dir;
    int type = 0, order = 0;
    std::vector<std::string> wanted;
    Json::Value resize, electrodes, mirror, mx, my, sx, sy, angle;
    return handle(__func__, request, Form::Elements,
                  {{"path", path}, {"job", job}, {"type", type}, {"resize", resize}, {"electrodesSurface", electrodes},
                   {"mirror", mirror}, {"mirrorpointX", mx}, {"mirrorpointY", my}, {"scalepointX", sx},
                   {"scalepointY", sy}, {"angle", angle}, {"targetDir", dir}, {"orderNum", order},
                   {"output_layers", wanted}},
                  [&] {
                      const kesto::edit::OutputShaping how = shaping_of(resize, mirror, mx, my, sx, sy, angle, electrodes);
                      namespace fs = boost::filesystem;
                      std::vector<fs::path> files;
                      for (fs::directory_iterator it(path), end; it != end; ++it)
                          if (fs::is_regular_file(it->status())) files.push_back(it->path());
                      std::sort(files.begin(), files.end());
                      const std::string name = job + "_transform";
                      if (!(dir.empty() ? KESTO::API::create_job(name) : KESTO::API::create_job(dir, name)))
                          throw std::invalid_argument("cannot create job " + name);
                      KESTO::API::create_step(name, "orig", 1);
                      bool clean = true;
                      for (const fs::path& file : files) {
                          std::string layer = file.filename().string();
                          std::transform(layer.begin(), layer.end(), layer.begin(),
                                         [](unsigned char c) { return char(std::tolower(c)); });
                          if (!wanted.empty() && std::find(wanted.begin(), wanted.end(), layer) == wanted.end())
                              continue;
                          std::string base, format;
                          KESTO::API::file_Parameters parameters;
                          KESTO::API::file_identify(file.string(), base, parameters, format);
                          if (parameters.format == "None" || parameters.format == "ODB++") continue;
                          KESTO::API::time start, finish;
                          std::map<int, int> dcodes;
                          std::vector<KESTO::API::translate_report> reports;
                          clean &= KESTO::API::file_translate(file.string(), name, "orig", layer, parameters, start,
                                                              finish, dcodes, reports) &&
                                   KESTO::API::shape_layer(name, "orig", layer, how, reports);
                          log_reports(__func__, reports);
                      }
                      clean &= KESTO::API::Save_Job(name);
                      return clean ? pass() : error();
                  });
}

namespace {

// Several layers in one picture each take a colour of their own, as a viewer
// shows a stack; the later ones are see-through so that what lies under them
// still shows.
constexpr KESTO::API::color kStackColours[] = {
    {70, 110, 230, 255}, {230, 70, 50, 170}, {245, 215, 70, 255},
    {235, 235, 235, 255}, {60, 200, 90, 170}, {200, 80, 220, 170},
};

} // namespace

// A picture of the listed layers of a step: a square canvas of "size"
// pixels showing the box (working unit), saved as PNG to picpath/picname.
// One layer is drawn in the drawing colour, several in the stack colours.
KESTO_HANDLER(output_picture)
{
    int size = 0;
    std::string job, step, path, name;
    double xmin = 0, ymin = 0, xmax = 0, ymax = 0;
    std::vector<std::string> layers;
    return handle(__func__, request, Form::Elements,
                  {{"size", size}, {"job", job}, {"step", step}, {"xmin", xmin}, {"ymin", ymin}, {"xmax", xmax},
                   {"ymax", ymax}, {"picpath", path}, {"picname", name}, {"layers", layers}},
                  [&] {
                      KESTO::API::init_canvas(size, size);
                      KESTO::API::zoom_to_box(xmin, ymin, xmax, ymax);
                      KESTO::API::clear_canvas();
                      const KESTO::API::color own = KESTO::API::get_draw_color();
                      for (size_t i = 0; i < layers.size(); ++i) {
                          if (layers.size() > 1) {
                              const auto& c = kStackColours[i % std::size(kStackColours)];
                              KESTO::API::set_draw_color(c.red, c.green, c.blue, c.alpha);
                          }
                          KESTO::API::draw_layer(job, step, layers[i]);
                      }
                      KESTO::API::set_draw_color(own.red, own.green, own.blue, own.alpha);
                      KESTO::API::save_img(path.empty() ? name : path + "/" + name);
                      KESTO::API::clear_canvas();
                      return pass();
                  });
}

namespace {

// The legend's kind of a tool, as drill maps name it.
std::string tool_kind(const KESTO::API::drill_tools_info& t)
{
    if (t.eToolType == 1) return "NPlated";
    if (t.eToolType == 2) return "Via";
    if (t.eToolType == 0) return t.eViaType == 2 ? "Laser" : "Plated";
    return "-";
}

char g_drillinfo_empty[] = "drillinfo empty";

} // namespace

// A drill map of a drill layer into an output layer; "unit" ("mm"/"MM",
// "inch"/"INCH") is the unit of the legend's sizes.
KESTO_HANDLER(drillmap_output)
{
    std::string job, step, drill, output, unit, outline;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"drilllayer", drill}, {"outputlayer", output}, {"unit", unit},
                   {"outlinelayer", outline}},
                  [&]() -> char* {
                      std::vector<KESTO::API::drill_tools_info> tools;
                      KESTO::API::get_drill_info(job, step, drill, tools, 2);
                      if (tools.empty()) {
                          LOG(INFO) << "drillinfo empty";
                          return g_drillinfo_empty;
                      }
                      const bool inch = unit == "inch" || unit == "INCH";
                      std::vector<KESTO::API::drill_map_row> rows;
                      for (const auto& t : tools) {
                          char size[32];
                          std::snprintf(size, sizeof size, inch ? "%.4f" : "%.3f",
                                        t.iHoleSize / (inch ? 25400000.0 : 1000000.0));
                          rows.push_back({t.iToolIdx, t.iHoleSize > 0 ? size : "-", t.iToolCount, tool_kind(t)});
                      }
                      KESTO::API::create_drill_map(job, step, drill, output, outline, rows, unit);
                      return pass();
                  });
}
