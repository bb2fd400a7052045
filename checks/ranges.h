// Category tables of the checks and DFM reports, the registry that holds
// them, the callers' level thresholds, and findings written as JSON.
#pragma once
#include "engine/drc/check_records.h"

#include <json/json.h>

#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace kesto::checks {

using CategoryRows = std::vector<std::pair<int, const char*>>;
using CategoryTable = std::map<int, std::string>;

// The rows of a category table in the order its check registers them:
// "DrillRanges", "SignalLayerRanges", "SolderMaskRanges", "SilkScreenRanges",
// "PrePareRanges", "SignalLayerOptRanges", "TeardropsRanges",
// "SolderMaskOpt", "NFPRemoval", and the analysis pager's "BoardDrillRanges".
// Empty for any other name.
const CategoryRows& category_rows(const std::string& table);

// The process-wide registry of tables, filled by the checks as they run.
struct RangeTableRegistry {
    static std::map<std::string, CategoryTable>& tables();
};

// Builds the named table from its rows and enters it in the registry.
void register_table(const std::string& table);
// The category's name, or "" for an unregistered table or unnamed index.
std::string category_name(const std::string& table, int index);
// The lowest index carrying the name, or -1.
int category_index(const std::string& table, const std::string& name);

// One "rangesList" entry: the category index ("name" looked up, -1 when
// unknown) and its red, yellow and green numbers as sent.
struct RangeEntry {
    int index = -1;
    double red = 0, yellow = 0, green = 0;
};
// The entries of the request's "ranges" block, in order; none when
// "rangesList" is neither an array nor an object. A value of the wrong type
// throws, and the handler answers with the error text.
std::vector<RangeEntry> read_ranges(const Json::Value& ranges, const std::string& table);

// Drill thresholds: each number truncated toward zero; the first entry for
// an index is kept.
std::map<int, std::tuple<int, int, int>> drill_thresholds(const std::vector<RangeEntry>& entries);
// Signal-layer thresholds: the numbers as sent; a later entry for an index
// replaces an earlier one.
std::map<int, std::tuple<double, double, double>> signal_thresholds(const std::vector<RangeEntry>& entries);

Json::Value finding_json(const KESTO::API::check_info& info);
Json::Value findings_json(const std::vector<KESTO::API::check_info>& infos);

// The level report of one layer: {"func": command, "paras": {name: {"type",
// "lv1count".., "lv1features"..}}} over per-category results, with the names
// of `table`. Levels is 4 for checks and 3 for DFM operations.
template <std::size_t Levels, class Item>
Json::Value level_report(const char* command, const std::string& table,
                         const std::map<Item, KESTO::API::level_result<Levels>>& results)
{
    Json::Value paras(Json::objectValue);
    for (const auto& [item, r] : results) {
        Json::Value& category = paras[category_name(table, int(item))];
        category["type"] = int(item);
        for (std::size_t l = 0; l < Levels; ++l) {
            const std::string n = std::to_string(l + 1);
            category["lv" + n + "count"] = r.counts[l];
            category["lv" + n + "features"] = findings_json(r.lv[l]);
        }
    }
    Json::Value doc(Json::objectValue);
    doc["func"] = command;
    doc["paras"] = paras;
    return doc;
}

} // namespace kesto::checks
