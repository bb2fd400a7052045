// Step-and-repeat tables, panel set-up, automatic panelisation and coupon
// planning.
#include "adaptor/handler.h"
#include "engine/api/panel.h"

#include <stdexcept>

namespace KESTO::API {

// A table row as hosts write it: {"step","x","y","dx","dy","nx","ny","angle","mirror","flip"};
// absent members keep their defaults (one copy, no turn).
inline void read_value(const Json::Value& v, step_repeat_row& out)
{
    if (!v.isObject()) throw std::invalid_argument("a step-and-repeat row is not an object");
    out = step_repeat_row{};
    out.step = v.get("step", "").asString();
    out.x = v.get("x", 0.0).asDouble();
    out.y = v.get("y", 0.0).asDouble();
    out.dx = v.get("dx", 0.0).asDouble();
    out.dy = v.get("dy", 0.0).asDouble();
    out.nx = v.get("nx", 1).asInt();
    out.ny = v.get("ny", 1).asInt();
    out.angle = v.get("angle", 0.0).asDouble();
    out.mirror = v.get("mirror", false).asBool();
    out.flip = v.get("flip", false).asBool();
}

} // namespace KESTO::API

namespace {

using namespace kesto::adaptor;
namespace api = KESTO::API;

// An engine refusal: logged at ERROR by the handler frame, answered with the error text.
[[noreturn]] void refuse(const std::string& why) { throw std::runtime_error(why); }

Json::Value row_json(const api::step_repeat_row& r)
{
    Json::Value v(Json::objectValue);
    v["step"] = r.step;
    v["x"] = r.x, v["y"] = r.y, v["dx"] = r.dx, v["dy"] = r.dy;
    v["nx"] = r.nx, v["ny"] = r.ny;
    v["angle"] = r.angle, v["mirror"] = r.mirror, v["flip"] = r.flip;
    return v;
}

Json::Value plan_json(const api::panel_plan& p)
{
    Json::Value v(Json::objectValue);
    v["count"] = p.count;
    v["used_width"] = p.used_width, v["used_height"] = p.used_height;
    v["utilisation"] = p.utilisation, v["used_utilisation"] = p.used_utilisation;
    Json::Value boards(Json::arrayValue);
    for (const auto& b : p.boards) {
        Json::Value one(Json::objectValue);
        one["x"] = b.x, one["y"] = b.y, one["width"] = b.width, one["height"] = b.height, one["angle"] = b.angle;
        boards.append(one);
    }
    v["boards"] = boards;
    return v;
}

Json::Value margins_json(const api::panel_margins& m)
{
    Json::Value v(Json::objectValue);
    v["left"] = m.left, v["right"] = m.right, v["bottom"] = m.bottom, v["top"] = m.top;
    return v;
}

} // namespace

KESTO_HANDLER(do_step_and_repeat)
{
    std::string job, step;
    std::vector<std::string> layers;
    int nx = 1, ny = 1;
    double dx = 0, dy = 0;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"nx", nx}, {"ny", ny}, {"dx", dx}, {"dy", dy}}, [&] {
                      std::string why;
                      const int made = api::do_step_and_repeat(job, step, layers, nx, ny, dx, dy, why);
                      if (made < 0) refuse(why);
                      Json::Value paras(Json::objectValue);
                      paras["copies"] = made;
                      return reply_json("DO_STEP_AND_REPEAT", paras);
                  });
}

KESTO_HANDLER(step_repeat)
{
    std::string job, step;
    std::vector<api::step_repeat_row> repeats;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"repeats", repeats}}, [&] {
        std::string why;
        if (!api::set_step_repeat(job, step, repeats, why)) refuse(why);
        return pass();
    });
}

KESTO_HANDLER(get_step_repeat)
{
    std::string job, step;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}}, [&] {
        std::string why;
        std::vector<api::step_repeat_row> rows;
        if (!api::get_step_repeat(job, step, rows, why)) refuse(why);
        Json::Value list(Json::arrayValue);
        for (const auto& r : rows) list.append(row_json(r));
        Json::Value paras(Json::objectValue);
        paras["repeats"] = list;
        return reply_json("GET_STEP_REPEAT", paras);
    });
}

KESTO_HANDLER(get_all_step_repeat_steps)
{
    std::string job, step;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}}, [&] {
        std::string why;
        std::vector<api::step_instance_info> all;
        if (!api::get_all_step_repeat_steps(job, step, all, why)) refuse(why);
        Json::Value list(Json::arrayValue);
        for (const auto& i : all) {
            Json::Value v(Json::objectValue);
            v["index"] = i.index, v["step"] = i.step, v["row"] = i.row, v["depth"] = i.depth;
            v["x"] = i.x, v["y"] = i.y, v["angle"] = i.angle, v["mirror"] = i.mirror, v["flip"] = i.flip;
            v["xmin"] = i.xmin, v["ymin"] = i.ymin, v["xmax"] = i.xmax, v["ymax"] = i.ymax;
            list.append(v);
        }
        Json::Value paras(Json::objectValue);
        paras["steps"] = list;
        return reply_json("GET_ALL_STEP_REPEAT_STEPS", paras);
    });
}

KESTO_HANDLER(set_datum_point)
{
    std::string job, step;
    double x = 0, y = 0;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"x", x}, {"y", y}}, [&] {
        std::string why;
        if (!api::set_datum_point(job, step, x, y, why)) refuse(why);
        return pass();
    });
}

KESTO_HANDLER(set_step_profile)
{
    std::string job, step;
    double xmin = 0, ymin = 0, xmax = 0, ymax = 0;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"xmin", xmin}, {"ymin", ymin}, {"xmax", xmax}, {"ymax", ymax}}, [&] {
                      std::string why;
                      if (!api::set_step_profile(job, step, xmin, ymin, xmax, ymax, why)) refuse(why);
                      return pass();
                  });
}

KESTO_HANDLER(set_panel_margin)
{
    std::string job, step;
    api::panel_margins m;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"left", m.left}, {"right", m.right}, {"bottom", m.bottom}, {"top", m.top}},
                  [&] {
                      std::string why;
                      if (!api::set_panel_margin(job, step, m, why)) refuse(why);
                      return pass();
                  });
}

namespace {

// The keys of a panelisation request, shared by the two commands that plan.
struct PlanKeys {
    api::panel_request r;
    PlanKeys() { r.angles.clear(); }
};

} // namespace

KESTO_HANDLER(SR_Automatic)
{
    PlanKeys k;
    return handle(__func__, request, Form::Members,
                  {{"board_width", k.r.board_width}, {"board_height", k.r.board_height},
                   {"panel_width", k.r.panel_width}, {"panel_height", k.r.panel_height},
                   {"left", k.r.margins.left}, {"right", k.r.margins.right}, {"bottom", k.r.margins.bottom},
                   {"top", k.r.margins.top}, {"spacing_x", k.r.spacing_x}, {"spacing_y", k.r.spacing_y},
                   {"angles", k.r.angles}},
                  [&] {
                      std::string why;
                      api::panel_plan plan;
                      if (!api::SR_Automatic(k.r, plan, why)) refuse(why);
                      return reply_json("SR_AUTOMATIC", plan_json(plan));
                  });
}

KESTO_HANDLER(auto_set_step_repeat)
{
    std::string job, step, child;
    PlanKeys k;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"child", child}, {"panel_width", k.r.panel_width},
                   {"panel_height", k.r.panel_height}, {"left", k.r.margins.left}, {"right", k.r.margins.right},
                   {"bottom", k.r.margins.bottom}, {"top", k.r.margins.top}, {"spacing_x", k.r.spacing_x},
                   {"spacing_y", k.r.spacing_y}, {"angles", k.r.angles}},
                  [&] {
                      std::string why;
                      api::panel_plan plan;
                      if (!api::auto_set_step_repeat(job, step, child, k.r, plan, why)) refuse(why);
                      return reply_json("AUTO_SET_STEP_REPEAT", plan_json(plan));
                  });
}

KESTO_HANDLER(get_sr_coupon_plan)
{
    std::string job, step;
    double width = 0, height = 0, clearance = 0;
    int count = 0;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"width", width}, {"height", height}, {"count", count},
                   {"clearance", clearance}},
                  [&] {
                      std::string why;
                      std::vector<api::coupon_slot> slots;
                      if (!api::get_sr_coupon_plan(job, step, width, height, count, clearance, slots, why))
                          refuse(why);
                      Json::Value list(Json::arrayValue);
                      for (const auto& s : slots) {
                          Json::Value v(Json::objectValue);
                          v["x"] = s.x, v["y"] = s.y, v["angle"] = s.angle, v["side"] = s.side;
                          list.append(v);
                      }
                      Json::Value paras(Json::objectValue);
                      paras["coupons"] = list;
                      paras["requested"] = count;
                      paras["placed"] = int(slots.size());
                      return reply_json("GET_SR_COUPON_PLAN", paras);
                  });
}

KESTO_HANDLER(get_coupon_single_end_drill_positions)
{
    std::string job, step, drill_layer, signal_layer;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"drill_layer", drill_layer}, {"signal_layer", signal_layer}}, [&] {
                      std::string why;
                      std::vector<api::coupon_drill> drills;
                      if (!api::get_coupon_single_end_drill_positions(job, step, drill_layer, signal_layer, drills, why))
                          refuse(why);
                      Json::Value list(Json::arrayValue);
                      for (const auto& d : drills) {
                          Json::Value v(Json::objectValue);
                          v["index"] = d.index, v["x"] = d.x, v["y"] = d.y, v["size"] = d.size;
                          v["signal"] = d.signal, v["line"] = d.line, v["ground"] = d.ground, v["pitch"] = d.pitch;
                          list.append(v);
                      }
                      Json::Value paras(Json::objectValue);
                      paras["drills"] = list;
                      return reply_json("GET_COUPON_SINGLE_END_DRILL_POSITIONS", paras);
                  });
}

KESTO_HANDLER(get_coupon_drill_line_relations)
{
    std::string job, step, drill_layer, signal_layer;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"drill_layer", drill_layer}, {"signal_layer", signal_layer}}, [&] {
                      std::string why;
                      std::vector<api::coupon_line> lines;
                      if (!api::get_coupon_drill_line_relations(job, step, drill_layer, signal_layer, lines, why))
                          refuse(why);
                      Json::Value list(Json::arrayValue);
                      for (const auto& l : lines) {
                          Json::Value v(Json::objectValue);
                          v["index"] = l.index, v["width"] = l.width, v["length"] = l.length;
                          v["start_drill"] = l.start_drill, v["end_drill"] = l.end_drill;
                          v["xs"] = l.xs, v["ys"] = l.ys, v["xe"] = l.xe, v["ye"] = l.ye;
                          list.append(v);
                      }
                      Json::Value paras(Json::objectValue);
                      paras["lines"] = list;
                      return reply_json("GET_COUPON_DRILL_LINE_RELATIONS", paras);
                  });
}

KESTO_HANDLER(get_cam_guide_step_index)
{
    std::string job;
    return handle(__func__, request, Form::Members, {{"job", job}}, [&] {
        std::string why;
        std::vector<api::step_role> roles;
        int panel = 0, board = 0;
        if (!api::get_cam_guide_step_index(job, roles, panel, board, why)) refuse(why);
        Json::Value list(Json::arrayValue);
        for (const auto& r : roles) {
            Json::Value v(Json::objectValue);
            v["name"] = r.name, v["index"] = r.index, v["role"] = r.role, v["instances"] = r.instances;
            list.append(v);
        }
        Json::Value paras(Json::objectValue);
        paras["panel_index"] = panel;
        paras["board_index"] = board;
        paras["steps"] = list;
        return reply_json("GET_CAM_GUIDE_STEP_INDEX", paras);
    });
}

KESTO_HANDLER(get_cam_automatic)
{
    std::string job, step;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}}, [&] {
        std::string why;
        api::panel_summary s;
        if (!api::get_cam_automatic(job, step, s, why)) refuse(why);
        Json::Value paras(Json::objectValue);
        Json::Value profile(Json::objectValue);
        profile["xmin"] = s.xmin, profile["ymin"] = s.ymin, profile["xmax"] = s.xmax, profile["ymax"] = s.ymax;
        paras["profile"] = profile;
        paras["margins"] = margins_json(s.margins);
        paras["datum_x"] = s.datum_x, paras["datum_y"] = s.datum_y;
        paras["boards"] = s.boards;
        Json::Value per(Json::objectValue);
        for (const auto& [name, n] : s.per_step) per[name] = n;
        paras["per_step"] = per;
        paras["utilisation"] = s.utilisation;
        paras["inside"] = s.inside, paras["overlap"] = s.overlap;
        return reply_json("GET_CAM_AUTOMATIC", paras);
    });
}
