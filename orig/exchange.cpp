// File identification, translation and export.
#include "adaptor/handler.h"
#include "adaptor/open_job.h"
#include "engine/model/text.h"
#include "adaptor/records_json.h"
#include "engine/api/display.h"
#include "engine/api/eps.h"
#include "engine/api/exchange.h"
#include "engine/api/gds.h"
#include "engine/api/jobs.h"
#include "engine/api/units.h"
#include "engine/store/store.h"

#include <cctype>
#include <cmath>

using namespace kesto::adaptor;

namespace KESTO::API {

void read_value(const Json::Value& v, file_Parameters& p)
{
    if (!v.isObject()) {
        if (!v.isNull()) throw std::invalid_argument("parameters is not an object");
        return;
    }
    auto take = [&v](const char* key, auto& target) {
        if (v.isMember(key)) ::kesto::adaptor::read_value(v[key], target);
    };
    take("file_size", p.file_size);
    take("format", p.format);
    take("data_type", p.data_type);
    take("units", p.units);
    take("Coordinates", p.Coordinates);
    take("zeroes_omitted", p.zeroes_omitted);
    take("Decimal_numbers", p.Decimal_numbers);
    take("Number_format_integer", p.Number_format_integer);
    take("Number_format_decimal", p.Number_format_decimal);
    take("separator_char", p.separator_char);
    take("tool_units", p.tool_units);
    take("text_line_width", p.text_line_width);
}

// Nine of the ten keys: the via type of a tool is not taken from a host.
void read_value(const Json::Value& v, drill_tools_info& row)
{
    row.iToolIdx = v["iToolIdx"].asInt();
    row.iToolCount = v["iToolCount"].asInt();
    row.eToolType = v["eToolType"].asInt();
    row.iMinTor = v["iMinTor"].asInt();
    row.iMaxTor = v["iMaxTor"].asInt();
    row.iFinishSize = v["iFinishSize"].asInt();
    row.iHoleSize = v["iHoleSize"].asInt();
    row.iSlotLength = v["iSlotLength"].asInt();
    row.iSymbolId = v["iSymbolId"].asInt();
}

void read_value(const Json::Value& v, time& t)
{
    t.iHour = v["iHour"].asInt();
    t.iMinute = v["iMinute"].asInt();
    t.iSecond = v["iSecond"].asInt();
}

} // namespace KESTO::API

namespace {

using KESTO::API::translate_report;

// jsoncpp's objects sort their keys; this reply keeps the order hosts expect.
class OrderedObject {
public:
    template <class T>
    OrderedObject& add(const char* key, const T& value)
    {
        text_ += (text_.size() > 1 ? "," : "") + Json::valueToQuotedString(key) + ":" + value_text(value);
        return *this;
    }
    OrderedObject& add_raw(const char* key, const std::string& json)
    {
        text_ += (text_.size() > 1 ? "," : "") + Json::valueToQuotedString(key) + ":" + json;
        return *this;
    }
    std::string str() const { return text_ + "}"; }

private:
    static std::string value_text(const std::string& v) { return Json::valueToQuotedString(v.c_str()); }
    template <class T>
    static std::string value_text(const T& v)
    {
        std::string s = compact(Json::Value(v));
        s.pop_back(); // the fast writer's newline
        return s;
    }
    std::string text_ = "{";
};

std::string parameters_json(const KESTO::API::file_Parameters& p)
{
    return OrderedObject()
        .add("format", p.format)
        .add("data_type", p.data_type)
        .add("units", p.units)
        .add("Coordinates", p.Coordinates)
        .add("Decimal_numbers", p.Decimal_numbers)
        .add("zeroes_omitted", p.zeroes_omitted)
        .add("Number_format_integer", p.Number_format_integer)
        .add("Number_format_decimal", p.Number_format_decimal)
        .add("separator_char", p.separator_char)
        .add("tool_units", p.tool_units)
        .add("text_line_width", p.text_line_width)
        .str();
}

Json::Value time_json(const KESTO::API::time& t)
{
    Json::Value v(Json::objectValue);
    v["iHour"] = t.iHour;
    v["iMinute"] = t.iMinute;
    v["iSecond"] = t.iSecond;
    return v;
}

Json::Value reports_json(const std::vector<translate_report>& reports)
{
    Json::Value list(Json::arrayValue);
    for (const translate_report& r : reports) {
        Json::Value v(Json::objectValue);
        v["file"] = r.file;
        v["line"] = r.line;
        v["message"] = r.message;
        v["error"] = r.error;
        list.append(v);
    }
    return list;
}

void log_reports(const char* command, const std::vector<translate_report>& reports)
{
    for (const translate_report& r : reports)
        (r.error ? LOG(ERROR) : LOG(WARNING))
            << command << ": " << r.file << (r.line ? ":" + std::to_string(r.line) : "") << ": " << r.message;
}

using kesto::lower;

// Hosts send a unit as a name ("mm", "inch") or a number (0 mm, 1 inch).
bool inch_of(const Json::Value& v, bool otherwise)
{
    if (v.isString()) {
        const std::string s = lower(v.asString());
        if (s == "inch" || s == "in") return true;
        if (s == "mm" || s == "metric") return false;
        throw std::invalid_argument("unit \"" + v.asString() + "\" is neither inch nor mm");
    }
    if (v.isNull()) return otherwise;
    return v.asInt() == 1;
}

// Zero omission as a name, or 0 leading, 1 trailing, 2 none.
std::string zeroes_of(const Json::Value& v, const std::string& otherwise)
{
    if (v.isNull() || (v.isString() && v.asString().empty())) return otherwise;
    if (v.isString()) {
        std::string s = lower(v.asString());
        if (s == "leading" || s == "trailing" || s == "none") return s;
        throw std::invalid_argument("zero omission \"" + v.asString() + "\" is not leading, trailing or none");
    }
    switch (v.asInt()) {
    case 0: return "leading";
    case 1: return "trailing";
    case 2: return "none";
    }
    throw std::invalid_argument("zero omission " + v.asString() + " is not 0, 1 or 2");
}

// The drilling sequence: tool numbers in order, or "ascending"/"descending" by size.
void tool_order_of(const Json::Value& v, kesto::excellon::WriteOptions& options)
{
    if (v.isNull() || (v.isString() && v.asString().empty())) return;
    if (v.isString()) {
        const std::string s = lower(v.asString());
        if (s != "ascending" && s != "descending")
            throw std::invalid_argument("tool order \"" + v.asString() + "\" is not ascending, descending or a list of tool numbers");
        options.descending = s == "descending";
        return;
    }
    if (!v.isArray()) throw std::invalid_argument("tool order is not a list of tool numbers");
    for (const Json::Value& number : v) {
        if (!number.isInt()) throw std::invalid_argument("tool order holds " + number.toStyledString() + ", not a tool number");
        options.tool_order.push_back(number.asInt());
    }
}


kesto::Coord to_engine(double working) { return KESTO::API::from_working_unit(working); }

} // namespace

KESTO_HANDLER(file_identify)
{
    std::string pathname;
    return handle(__func__, request, Form::MembersParse, {{"pathname", pathname}}, [&] {
        std::string name, format;
        KESTO::API::file_Parameters parameters;
        KESTO::API::file_identify(pathname, name, parameters, format);
        const std::string text = OrderedObject()
                                     .add("format", format)
                                     .add("name", name)
                                     .add("file_size", parameters.file_size)
                                     .add_raw("parameters", parameters_json(parameters))
                                     .str();
        return keep(OrderedObject().add("func", std::string("FILE_IDENTIFY")).add_raw("paras", text).str() + "\n");
    });
}

KESTO_HANDLER(file_translate_init)
{
    std::string job;
    return handle(__func__, request, Form::MembersParse, {{"jobname", job}}, [&] {
        if (!KESTO::API::file_translate_init(job)) LOG(WARNING) << "file_translate_init: job " << job << " is not open";
        return pass();
    });
}

// The reply carries, beside "result", the times, the D codes found (code to
// symbol index, keys as texts) and every finding of the reader.
KESTO_HANDLER(file_translate)
{
    std::string path, job, step, layer;
    KESTO::API::file_Parameters parameters;
    KESTO::API::time start_time, end_time;
    Json::Value assigned;
    return handle(__func__, request, Form::MembersParse,
                  {{"path", path}, {"job", job}, {"step", step}, {"layer", layer}, {"parameters", parameters},
                   {"start_time", start_time}, {"end_time", end_time}, {"assigned_dcodes", assigned}},
                  [&] {
                      std::map<int, int> dcodes;
                      std::vector<translate_report> reports;
                      const bool ok = KESTO::API::file_translate(path, job, step, layer, parameters, start_time,
                                                                 end_time, dcodes, reports);
                      log_reports("file_translate", reports);
                      Json::Value paras(Json::objectValue);
                      paras["result"] = ok;
                      paras["start_time"] = time_json(start_time);
                      paras["end_time"] = time_json(end_time);
                      Json::Value codes(Json::objectValue);
                      for (const auto& [code, symbol] : dcodes) codes[std::to_string(code)] = symbol;
                      paras["assigned_dcodes"] = codes;
                      paras["reports"] = reports_json(reports);
                      return reply_json("FILE_TRANSLATE", paras);
                  });
}

KESTO_HANDLER(get_drill_info)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::MembersParse,
                  {{"jobname", job}, {"stepname", step}, {"layername", layer}}, [&] {
                      std::vector<KESTO::API::drill_tools_info> tools;
                      if (!KESTO::API::get_drill_info(job, step, layer, tools, 2))
                          LOG(WARNING) << "get_drill_info: no layer " << layer << " in " << job << "/" << step;
                      Json::Value list(Json::arrayValue);
                      for (const auto& t : tools) {
                          Json::Value v(Json::objectValue);
                          v["iToolIdx"] = t.iToolIdx;
                          v["iToolCount"] = t.iToolCount;
                          v["eToolType"] = t.eToolType;
                          v["eViaType"] = t.eViaType;
                          v["iMinTor"] = t.iMinTor;
                          v["iMaxTor"] = t.iMaxTor;
                          v["iFinishSize"] = t.iFinishSize;
                          v["iHoleSize"] = t.iHoleSize;
                          v["iSlotLength"] = t.iSlotLength;
                          v["iSymbolId"] = t.iSymbolId;
                          list.append(v);
                      }
                      Json::Value paras(Json::objectValue);
                      paras["vecDrillTools"] = list;
                      return reply_json("GET_DRILL_INFO", paras);
                  });
}

KESTO_HANDLER(set_drill_info)
{
    std::string job, step, layer;
    std::vector<KESTO::API::drill_tools_info> tools;
    return handle(__func__, request, Form::MembersParse,
                  {{"jobname", job}, {"stepname", step}, {"layername", layer}, {"vecDrillTools", tools}}, [&] {
                      if (!KESTO::API::set_drill_info(job, step, layer, tools)) {
                          LOG(ERROR) << "set_drill_info: no layer " << layer << " in " << job << "/" << step
                                     << ", or a tool with a negative size or an unknown type";
                          return error();
                      }
                      return pass();
                  });
}

// Every tool row is always shown; the command answers whether the layer is there.
KESTO_HANDLER(get_drill_showtype)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::MembersParse,
                  {{"jobname", job}, {"stepname", step}, {"layername", layer}}, [&] {
                      std::vector<KESTO::API::drill_tools_info> tools;
                      if (!KESTO::API::get_drill_info(job, step, layer, tools, 2)) {
                          LOG(ERROR) << "get_drill_showtype: no layer " << layer << " in " << job << "/" << step;
                          return error();
                      }
                      return pass();
                  });
}

KESTO_HANDLER(drill2file)
{
    std::string job, step, layer, path;
    bool metric = false;
    Json::Value unit, zeroes, order;
    int left = 0, right = 0;
    double x_scale = 0, y_scale = 0, x_anchor = 0, y_anchor = 0;
    return handle(__func__, request, Form::MembersParse,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"path", path}, {"isMetric", metric},
                   {"unit", unit}, {"zeroes", zeroes}, {"number_format_l", left}, {"number_format_r", right},
                   {"x_scale", x_scale}, {"y_scale", y_scale}, {"x_anchor", x_anchor}, {"y_anchor", y_anchor},
                   {"tools_order", order}},
                  [&] {
                      kesto::excellon::WriteOptions options;
                      options.inch = !metric;
                      // No number format given: the usual one of the unit; no
                      // scale given: no film compensation.
                      if (left != 0 || right != 0) {
                          options.integer_digits = left;
                          options.decimal_digits = right;
                      } else if (options.inch) {
                          options.integer_digits = 2;
                          options.decimal_digits = 4;
                      }
                      options.zeroes_omitted = zeroes_of(zeroes, options.zeroes_omitted);
                      options.x_scale = x_scale == 0 ? 1 : x_scale;
                      options.y_scale = y_scale == 0 ? 1 : y_scale;
                      options.anchor = kesto::Point{to_engine(x_anchor), to_engine(y_anchor)};
                      tool_order_of(order, options);
                      std::vector<translate_report> reports;
                      const bool ok = KESTO::API::export_excellon(job, step, layer, path, options, reports);
                      log_reports("drill2file", reports);
                      Json::Value paras(Json::objectValue);
                      paras["result"] = ok;
                      return reply_json("DRILL2FILE", paras);
                  });
}

// "type" 0 writes Gerber X2, 1 Excellon. What neither writer does (mirror,
// rotate, resize, cutting to the profile or polygons, reversing polarity)
// is refused rather than silently left out.
KESTO_HANDLER(layer_export)
{
    std::string job, step, layer, filename;
    int type = 0, left = 0, right = 0, num1 = 0, num2 = 0, mirror_direction = 0, gds_dbu = 0;
    bool reverse = false, mirror = false, rotate = false, scale = false, profile_top = false, cut_profile = false;
    double resize = 0, angle = 0, scaling_x = 0, scaling_y = 0, mirror_x = 0, mirror_y = 0, rotate_x = 0,
           rotate_y = 0, scale_x = 0, scale_y = 0;
    Json::Value zeros, unit, coordinates, zeros_omitted;
    std::vector<std::vector<KESTO::API::lPoint>> cut_polygon;
    return handle(
        __func__, request, Form::MembersParse,
        {{"job", job}, {"step", step}, {"layer", layer}, {"filename", filename},
         {"mirrordirection", mirror_direction}, {"type", type}, {"gdsdbu", gds_dbu}, {"resize", resize},
         {"angle", angle}, {"scalingX", scaling_x}, {"scalingY", scaling_y}, {"isReverse", reverse},
         {"mirror", mirror}, {"rotate", rotate}, {"scale", scale}, {"profiletop", profile_top},
         {"cutprofile", cut_profile}, {"mirrorpointX", mirror_x}, {"mirrorpointY", mirror_y},
         {"rotatepointX", rotate_x}, {"rotatepointY", rotate_y}, {"scalepointX", scale_x},
         {"scalepointY", scale_y}, {"numberFormatL", left}, {"numberFormatR", right}, {"zeros", zeros},
         {"unit", unit}, {"coordinates", coordinates}, {"zeros_omitted", zeros_omitted}, {"num_format1", num1},
         {"num_format2", num2}, {"cut_polygon", cut_polygon}},
        [&] {
            if (job.empty()) job = the_open_job();
            if (type != 0 && type != 1) throw std::invalid_argument("export type " + std::to_string(type) + " is not 0 (Gerber) or 1 (Excellon)");
            if (profile_top) throw std::invalid_argument("\"profiletop\" is not done on export");
            if (coordinates.isString() && lower(coordinates.asString()) == "incremental")
                throw std::invalid_argument("incremental coordinates are not written");
            kesto::edit::OutputShaping shaping;
            shaping.resize = double(to_engine(resize / 1000)); // micrometres, or mils in inch
            shaping.reverse = reverse;
            shaping.cut_profile = cut_profile;
            for (const auto& polygon : cut_polygon) {
                kesto::geom::Path ring;
                for (const KESTO::API::lPoint& p : polygon) ring.push_back({to_engine(p.x), to_engine(p.y)});
                if (ring.size() >= 3) shaping.cut_polygons.push_back(ring);
            }
            shaping.mirror = mirror;
            shaping.mirror_in_y = mirror_direction == 1;
            shaping.mirror_point = kesto::Point{to_engine(mirror_x), to_engine(mirror_y)};
            if (rotate) shaping.angle = angle;
            shaping.rotate_point = kesto::Point{to_engine(rotate_x), to_engine(rotate_y)};
            if (scale) {
                shaping.scale_x = scaling_x;
                shaping.scale_y = scaling_y;
            }
            shaping.scale_point = kesto::Point{to_engine(scale_x), to_engine(scale_y)};
            std::vector<translate_report> reports;
            bool ok;
            if (type == 0) {
                kesto::gerber::WriteOptions options;
                options.inch = inch_of(unit, false);
                if (left > 0) options.integer_digits = left;
                if (right > 0) options.decimal_digits = right;
                ok = KESTO::API::export_gerber(job, step, layer, filename, options, reports, shaping);
            } else {
                kesto::excellon::WriteOptions options;
                options.inch = inch_of(unit, false);
                if (num1 > 0 || left > 0) options.integer_digits = num1 > 0 ? num1 : left;
                if (num2 > 0 || right > 0) options.decimal_digits = num2 > 0 ? num2 : right;
                options.zeroes_omitted = zeroes_of(zeros_omitted.isNull() ? zeros : zeros_omitted, options.zeroes_omitted);
                ok = KESTO::API::export_excellon(job, step, layer, filename, options, reports, shaping);
            }
            log_reports("layer_export", reports);
            if (!ok) LOG(ERROR) << "layer_export: " << layer << " was not written whole to " << filename;
            return ok ? pass() : error();
        });
}


// The file's polygons join the layer; what could not be read is the error text.
KESTO_HANDLER(add_gds)
{
    std::string job, step, layer, path;
    return handle(__func__, request, Form::MembersParse,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"filepath", path}}, [&] {
                      std::vector<std::string> notes;
                      const bool ok = KESTO::API::add_gds(job, step, layer, path, notes);
                      for (const std::string& note : notes) {
                          if (ok)
                              LOG(WARNING) << "add_gds: " << note;
                          else
                              LOG(ERROR) << "add_gds: " << note;
                      }
                      return ok ? pass() : error();
                  });
}

namespace {

Json::Value eps_reply(bool result, const KESTO::API::EPS_INFO& info)
{
    Json::Value paras(Json::objectValue);
    paras["result"] = result;
    paras["rules"] = Json::Value(Json::arrayValue);
    for (const std::string& rule : info.rules) paras["rules"].append(rule);
    paras["name"] = info.name;
    if (!result) paras["reason"] = info.reason;
    return paras;
}

// The job the file goes into is made first; a name that cannot be made is
// the error text.
void create_eps_job(const std::string& job)
{
    if (!KESTO::API::create_job(job)) {
        LOG(ERROR) << "Create_job failed";
        throw std::invalid_argument("job " + job + " cannot be created");
    }
}

} // namespace

KESTO_HANDLER(open_eps)
{
    std::string job, path;
    return handle(__func__, request, Form::MembersParse, {{"job", job}, {"path", path}}, [&] {
        create_eps_job(job);
        KESTO::API::EPS_INFO info;
        const bool ok = KESTO::API::open_eps(job, path, info);
        return reply_json("OPEN_EPS", eps_reply(ok, info));
    });
}

// "matrix" names the layers the artwork would go to; nothing is read to use it.
KESTO_HANDLER(open_eps_matrix)
{
    std::string job, path;
    Json::Value matrix;
    return handle(__func__, request, Form::MembersParse, {{"job", job}, {"path", path}, {"matrix", matrix}}, [&] {
        create_eps_job(job);
        KESTO::API::EPS_INFO info;
        const bool ok = KESTO::API::open_eps(job, path, info);
        if (!ok) LOG(ERROR) << "Open_eps API failed";
        return reply_json("OPEN_EPS_MATRIX", eps_reply(ok, info));
    });
}

KESTO_HANDLER(identify_eps)
{
    std::string job, path;
    return handle(__func__, request, Form::MembersParse, {{"job", job}, {"path", path}}, [&] {
        create_eps_job(job);
        KESTO::API::EPS_INFO info;
        KESTO::API::eps_steps steps;
        const bool ok = KESTO::API::identify_eps(job, path, info, steps);
        Json::Value paras = eps_reply(ok, info);
        paras["step_info"] = Json::Value(Json::arrayValue);
        for (const auto& [step, layers] : steps) {
            Json::Value entry(Json::objectValue);
            entry["step"] = step;
            entry["layer_info"] = Json::Value(Json::arrayValue);
            for (const auto& [layer, count] : layers) {
                Json::Value l(Json::objectValue);
                l["layer"] = layer;
                l["features"] = count;
                entry["layer_info"].append(l);
            }
            paras["step_info"].append(entry);
        }
        return reply_json("IDENTIFY_EPS", paras);
    });
}
KESTO_HANDLER(save_eps)
{
    return handle(__func__, request, Form::MembersParse, {}, [&] {
        LOG(ERROR) << "Save_eps failed: EPS files are not written by this engine";
        return error();
    });
}

KESTO_HANDLER(save_img)
{
    std::string path;
    return handle(__func__, request, Form::Members, {{"savepath", path}}, [&] {
        KESTO::API::save_img(path);
        return pass();
    });
}
