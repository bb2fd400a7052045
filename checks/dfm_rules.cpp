// DFM rule configuration: the relationship matrix, the per-attribute rules
// and the rule texts the DFM operations read.
#include "adaptor/handler.h"
#include "checks/dfm_frame.h"
#include "engine/api/dfm_rules.h"

using kesto::adaptor::Form;
using kesto::adaptor::handle;
using kesto::adaptor::Trace;
using kesto::checks::ValueLog;

namespace {

char* reply(const char* command, const char* member, Json::Value value)
{
    Json::Value doc(Json::objectValue);
    doc["func"] = command;
    doc["paras"][member] = std::move(value);
    return kesto::adaptor::keep(kesto::adaptor::compact(doc));
}

} // namespace

KESTO_HANDLER(setRelationship)
{
    std::string col, row;
    double value = 0, ratio = 0;
    return handle(__func__, request, Form::ElementsLogged,
                  {{"colname", col}, {"rowname", row}, {"relation_value", value}, {"relation_ratio", ratio}}, [&] {
                      KESTO::API::setRelationship(col, row, {value, ratio});
                      KESTO_INFO << ValueLog()
                                        .add("colname:", col)
                                        .add("rowname:", row)
                                        .add("relation_value:", value)
                                        .add("relation_ratio:", ratio)
                                        .text();
                      return kesto::adaptor::pass();
                  });
}

KESTO_HANDLER(getRelationship)
{
    bool outer = false;
    return handle(__func__, request, Form::ElementsLogged, {{"isoutter", outer}}, [&] {
        Json::Value cells(Json::arrayValue);
        for (const auto& [key, cell] : KESTO::API::get_realationship(outer)) {
            Json::Value c(Json::objectValue);
            c["col_name"] = key.first;
            c["row_name"] = key.second;
            c["value"] = cell.value;
            c["ratio"] = cell.ratio;
            cells.append(c);
        }
        return reply("GETRELATIONSHIP", "relationship", cells);
    });
}

KESTO_HANDLER(setIntroduction)
{
    std::string name;
    double min_resize = 0, min_ring = 0, opt_resize = 0, opt_ring = 0;
    bool shave = false;
    return handle(__func__, request, Form::ElementsLogged,
                  {{"attributename", name}, {"min_resize", min_resize}, {"min_ring", min_ring},
                   {"opt_resize", opt_resize}, {"opt_ring", opt_ring}, {"is_shave", shave}},
                  [&] {
                      KESTO::API::setIntroduction(name, min_resize, min_ring, opt_resize, opt_ring, shave);
                      KESTO_INFO << ValueLog()
                                        .add("attributename :", name)
                                        .add("min_resize:", min_resize)
                                        .add("min_ring:", min_ring)
                                        .add("opt_resize:", opt_resize)
                                        .add("opt_ring:", opt_ring)
                                        .add("is_shave:", shave)
                                        .text();
                      return kesto::adaptor::pass();
                  });
}

KESTO_HANDLER(getIntroduction)
{
    bool outer = false;
    return handle(__func__, request, Form::ElementsLogged, {{"isoutter", outer}}, [&] {
        Json::Value rules(Json::arrayValue);
        for (const auto& [name, rule] : KESTO::API::get_introduction(outer)) {
            Json::Value r(Json::objectValue);
            r["attribute"] = name;
            r["total_min"] = rule.min_resize;
            r["ar_min"] = rule.min_ring;
            r["total_opt"] = rule.opt_resize;
            r["ar_opt"] = rule.opt_ring;
            r["shave"] = rule.shave;
            rules.append(r);
        }
        return reply("GETINTRODUCTION", "getIntroduction", rules);
    });
}

KESTO_HANDLER(setParameter)
{
    std::string rules;
    return handle(__func__, request, Form::ElementsLogged, {{"rules", rules}}, [&] {
        KESTO::API::set_parameter(rules);
        return kesto::adaptor::pass();
    });
}

KESTO_HANDLER(setJobParameter)
{
    std::string rules, job;
    return handle(__func__, request, Form::MembersParse, {{"rules", rules}, {"jobName", job}}, [&] {
        if (!KESTO::API::setParameter(job, rules)) {
            LOG(ERROR) << "setJobParameter failed";
            return kesto::adaptor::error();
        }
        KESTO_INFO << "setJobParameter successfully";
        return kesto::adaptor::pass();
    });
}

KESTO_HANDLER(getParameter)
{
    return handle(__func__, request, Form::Elements, {},
                  [&] { return reply("GETPARAMETER", "parameter", KESTO::API::get_parameter()); });
}

KESTO_HANDLER(getJobParameter)
{
    std::string job;
    KESTO_INFO << "Begin getJobParameter";
    // Its parameters are read as setJobParameter reads them, under its records.
    return handle(Trace("setJobParameter", "setJobParameter"), request, Form::MembersParse, {{"job", job}}, [&] {
        char* text = reply("GETJOBPARAMETER", "parameter", KESTO::API::get_parameter(job));
        KESTO_INFO << "End getJobParameter";
        return text;
    });
}
