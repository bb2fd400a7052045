#include "adaptor/records_json.h"

#include <glog/logging.h>

namespace KESTO::API {

using kesto::adaptor::read_members;

void read_value(const Json::Value& v, show_param& out)
{
    read_members(v, {{"Units", out.Units},
                     {"mode", out.mode},
                     {"SR_features", out.SR_features},
                     {"negative_data", out.negative_data},
                     {"dynamic_test_value", out.dynamic_test_value},
                     {"drill_markers", out.drill_markers},
                     {"zoom_to_cursor", out.zoom_to_cursor},
                     {"profile", out.profile},
                     {"datum_and_origin", out.datum_and_origin},
                     {"chains", out.chains},
                     {"compensation", out.compensation},
                     {"dimensions", out.dimensions},
                     {"updata_feature_hist", out.updata_feature_hist},
                     {"updata_slot_hist", out.updata_slot_hist},
                     {"popview_mode", out.popview_mode},
                     // Hosts send the doubled word; the single one is not read.
                     {"spacing_previewspacing_preview", out.spacing_preview}});
}

void read_value(const Json::Value& v, color& out)
{
    read_members(v, {{"red", out.red}, {"green", out.green}, {"blue", out.blue}, {"alpha", out.alpha}});
}

void read_value(const Json::Value& v, select_info& out)
{
    read_members(v, {{"featuretypes", out.featuretypes},
                     {"has_symbols", out.has_symbols},
                     {"symbols", out.symbols},
                     {"minline", out.minline},
                     {"maxline", out.maxline},
                     {"dcode", out.dcode},
                     {"attributes_flag", out.attributes_flag},
                     {"attributes_value", out.attributes_value},
                     {"profile_value", out.profile_value},
                     {"use_selection", out.use_selection}});
}

namespace {

struct FeatureType {
    int* target;
};
void read_value(const Json::Value& v, FeatureType& out)
{
    const int type = v.asInt();
    if (type == 0 || type == 1 || type == 2 || type == 4 || type == 8 || type == 16 || type == 32) *out.target = type;
}

struct Attributes {
    std::vector<std::pair<std::string, std::string>>* target;
};
void read_value(const Json::Value& v, Attributes& out)
{
    out.target->clear();
    for (auto it = v.begin(); it != v.end(); ++it) out.target->emplace_back(it.name(), it->asString());
}

} // namespace

void read_value(const Json::Value& v, featureInfo& out)
{
    FeatureType type{&out.type};
    Attributes attributes{&out.attributes};
    read_members(v, {{"X", out.X},
                     {"Y", out.Y},
                     {"XS", out.XS},
                     {"YS", out.YS},
                     {"XE", out.XE},
                     {"YE", out.YE},
                     {"XC", out.XC},
                     {"YC", out.YC},
                     {"angle", out.angle},
                     {"D", out.D},
                     {"Icnt", out.Icnt},
                     {"Hcnt", out.Hcnt},
                     {"linewidth", out.linewidth},
                     {"layername", out.layername},
                     {"symbolname", out.symbolname},
                     {"type", type},
                     {"polarity", out.polarity},
                     {"CW", out.CW},
                     {"text", out.text},
                     {"realtext", out.realtext},
                     {"font", out.font},
                     {"attributes", attributes},
                     {"feature_index", out.feature_index},
                     {"xsize", out.xsize},
                     {"ysize", out.ysize},
                     {"mirror", out.mirror}});
}

Json::Value to_json(const select_info& info)
{
    Json::Value v(Json::objectValue);
    v["featuretypes"] = info.featuretypes;
    v["has_symbols"] = info.has_symbols;
    v["symbols"] = Json::Value(Json::arrayValue);
    for (const auto& s : info.symbols) v["symbols"].append(s);
    v["minline"] = info.minline;
    v["maxline"] = info.maxline;
    v["dcode"] = info.dcode;
    v["attributes_flag"] = info.attributes_flag;
    v["attributes_value"] = Json::Value(Json::arrayValue);
    for (const auto& a : info.attributes_value) v["attributes_value"].append(a);
    v["profile_value"] = info.profile_value;
    v["use_selection"] = info.use_selection;
    return v;
}

Json::Value to_json(const featureInfo& info)
{
    Json::Value v(Json::objectValue);
    v["symbolname"] = info.symbolname;
    v["type"] = info.type;
    v["polarity"] = info.polarity;
    v["angle"] = info.angle;
    v["mirror"] = info.mirror;
    // The reply has no position keys of its own: a pad, text or surface gives
    // its position as both its start and its end.
    const bool stroke = info.type == 1 || info.type == 4;
    v["XS"] = stroke ? info.XS : info.X;
    v["YS"] = stroke ? info.YS : info.Y;
    v["XE"] = stroke ? info.XE : info.X;
    v["YE"] = stroke ? info.YE : info.Y;
    v["XC"] = info.XC;
    v["YC"] = info.YC;
    v["CW"] = info.CW;
    v["xsize"] = info.xsize;
    v["ysize"] = info.ysize;
    v["linewidth"] = info.linewidth;
    v["srclinewidth"] = info.srclinewidth;
    v["feature_index"] = info.feature_index;
    v["attributes"] = Json::Value(Json::objectValue);
    for (const auto& a : info.attributes) v["attributes"][a.first] = a.second;
    return v;
}

} // namespace KESTO::API

namespace kesto::adaptor {

void read_value(const Json::Value& v, AttributeMap& out)
{
    out.values.clear();
    if (v.isObject()) {
        for (auto it = v.begin(); it != v.end(); ++it) out.values[it.name()] = it->asString();
        return;
    }
    for (Json::ArrayIndex i = 0; i < v.size(); ++i) {
        const std::string text = v[i].asString();
        const size_t eq = text.find('=');
        out.values[text.substr(0, eq)] = eq == std::string::npos ? "" : text.substr(eq + 1);
    }
}

int unit_choice(const Json::Value& v)
{
    std::string u = v.asString();
    for (char& c : u) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (u == "0" || u == "mm" || u == "metric") return 0;
    if (u == "1" || u == "inch" || u == "imperial") return 1;
    return -1;
}

void change_unit(const Json::Value& units, KESTO::API::show_param& param, const char* command)
{
    const int choice = unit_choice(units);
    if (choice < 0)
        LOG(ERROR) << command << ": unknown unit '" << units.asString() << "'";
    else
        param.Units = choice;
}

} // namespace kesto::adaptor

namespace KESTO::API {

void read_value(const Json::Value& v, lPoint& out)
{
    // Engine units are accepted too, as the point records of other commands carry them.
    if (v.isMember("ix") || v.isMember("iy")) {
        out.x = to_working_unit(v["ix"].asInt());
        out.y = to_working_unit(v["iy"].asInt());
        return;
    }
    kesto::adaptor::read_members(v, {{"x", out.x}, {"y", out.y}});
}

} // namespace KESTO::API
