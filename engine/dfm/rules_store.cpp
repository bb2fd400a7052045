#include "engine/dfm/rules_store.h"

#include "engine/config/configuration.h"

#include <glog/logging.h>
#include <json/json.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

namespace kesto::dfm {
namespace {

std::unique_ptr<RuleSettings>& held()
{
    static std::unique_ptr<RuleSettings> settings;
    return settings;
}

const char* side_key(int side) { return side == Outer ? "outer" : "inner"; }

bool write_atomically(const std::string& path, const std::string& text)
{
    const std::string part = path + ".part";
    {
        std::ofstream out(part, std::ios::binary | std::ios::trunc);
        out << text;
        out.flush();
        if (!out) {
            std::remove(part.c_str());
            return false;
        }
    }
    if (std::rename(part.c_str(), path.c_str()) != 0) {
        std::remove(part.c_str());
        return false;
    }
    return true;
}

} // namespace

std::string rules_file()
{
    const std::string& folder = KESTO::configuration_instance::instance().folder();
    std::error_code ec;
    const std::filesystem::path base = folder.empty() ? std::filesystem::current_path(ec) : std::filesystem::path(folder);
    return (base / "dfm_rules.json").string();
}

std::string rules_text(const RuleSettings& settings)
{
    Json::Value doc(Json::objectValue);
    doc["version"] = 1;
    for (int side : {Outer, Inner}) {
        Json::Value& s = doc[side_key(side)];
        s["relationship"] = Json::Value(Json::arrayValue);
        for (const auto& [key, cell] : settings.relationship[side]) {
            Json::Value c;
            c["col_name"] = key.first;
            c["row_name"] = key.second;
            c["value"] = cell.value;
            c["ratio"] = cell.ratio;
            s["relationship"].append(c);
        }
        s["introduction"] = Json::Value(Json::arrayValue);
        for (const auto& [name, rule] : settings.introduction[side]) {
            Json::Value r;
            r["attribute"] = name;
            r["min_resize"] = rule.min_resize;
            r["min_ring"] = rule.min_ring;
            r["opt_resize"] = rule.opt_resize;
            r["opt_ring"] = rule.opt_ring;
            r["shave"] = rule.shave;
            s["introduction"].append(r);
        }
    }
    doc["parameter"] = settings.parameter;
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "  ";
    // Doubles written so they read back bit for bit.
    writer["precision"] = 17;
    return Json::writeString(writer, doc) + "\n";
}

bool parse_rules(const std::string& text, RuleSettings& settings, std::string& error)
{
    Json::Value doc;
    Json::CharReaderBuilder builder;
    std::istringstream in(text);
    if (!Json::parseFromStream(builder, in, &doc, &error)) return false;
    if (!doc.isObject()) {
        error = "not a JSON object";
        return false;
    }
    try {
        RuleSettings read;
        for (int side : {Outer, Inner}) {
            const Json::Value& s = doc[side_key(side)];
            if (s.isNull()) continue;
            for (const Json::Value& c : s["relationship"])
                read.relationship[side][{c["col_name"].asString(), c["row_name"].asString()}] = {
                    c["value"].asDouble(), c["ratio"].asDouble()};
            for (const Json::Value& r : s["introduction"])
                read.introduction[side][r["attribute"].asString()] = {
                    r["min_resize"].asDouble(), r["min_ring"].asDouble(), r["opt_resize"].asDouble(),
                    r["opt_ring"].asDouble(), r["shave"].asBool()};
        }
        read.parameter = doc["parameter"].asString();
        settings = std::move(read);
        return true;
    } catch (const std::exception& e) {
        error = e.what();
        return false;
    }
}

RuleSettings& rules()
{
    auto& settings = held();
    if (settings) return *settings;
    settings = std::make_unique<RuleSettings>();
    const std::string path = rules_file();
    std::ifstream in(path, std::ios::binary);
    if (!in) return *settings;
    std::stringstream text;
    text << in.rdbuf();
    std::string error;
    if (!parse_rules(text.str(), *settings, error)) {
        // Kept for the user to look at rather than overwritten by the next change.
        const std::string aside = path + ".unreadable";
        LOG(ERROR) << "DFM rules: " << path << " cannot be read (" << error << "); moved to " << aside
                   << ", starting with no rules";
        std::rename(path.c_str(), aside.c_str());
    }
    return *settings;
}

bool save_rules()
{
    const std::string path = rules_file();
    if (!write_atomically(path, rules_text(rules()))) {
        LOG(ERROR) << "DFM rules: cannot write " << path;
        return false;
    }
    return true;
}

void forget_rules() { held().reset(); }

} // namespace kesto::dfm
