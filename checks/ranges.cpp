#include "checks/ranges.h"

namespace kesto::checks {
namespace {

const CategoryRows kDrill = {
    {0, "PTH Summary"}, {1, "NPTH Summary"}, {2, "Via Summary"}, {3, "Plated Slot Summary"},
    {4, "Non Plated Slot Summary"}, {5, "2nd Drilled Holes"}, {6, "2nd Drilled PTH Holes"}, {7, "Tooling Holes"},
    {8, "Mounting Holes"}, {9, "Duplicate Holes"}, {10, "Touching Holes"}, {11, "Close Holes"},
    {12, "Missing Holes"}, {13, "Extra Holes"}, {14, "Short_3"}, {15, "Short_4"}, {16, "Short_5"},
    {17, "Short_6"}, {18, "Short_7"}, {19, "Short_8"}, {20, "Short_9"}, {21, "Short_10_up"},
    {22, "NPTH to Rout"}, {23, "Non Standard Symbol"}, {24, "Non Standard Feature"}, {25, "Canned Text"},
    {26, "PTH slot to Rout"}, {27, "NPTH slot to Rout"}, {28, "Same Net Close PTHs"},
    {29, "Different Net Close PTHs"}, {30, "Close NPTHs"}, {31, "Close PTH2NPTH (isolate)"},
    {32, "Close PTH2NPTH (conn)"},
};

// Indexes 60, 61, 63, 76, 77 and 79 are engine items without a report name.
const CategoryRows kSignalLayer = {
    {0, "Pad to pad"}, {1, "Pad to circuit"}, {2, "SMD to circuit"}, {3, "Circuit to circuit"},
    {4, "Line to Line"}, {5, "Circuit to Line"}, {6, "Text to text"}, {7, "Spacing length"},
    {8, "Same Net Spacing"}, {9, "CAD Self Spacing"}, {10, "CAD Short"}, {11, "ToePrint to ToePrint"},
    {12, "SMD to SMD"}, {13, "SMD to Pad"}, {14, "Via to Via"}, {15, "PTH to PTH"},
    {16, "Exposed to Exposed"}, {17, "Covered to Covered"}, {18, "Exposed to Covered"},
    {19, "Exposed to Exposed(Same net)"}, {20, "Covered to Covered(Same net)"},
    {21, "Exposed to Covered(Same net)"}, {22, "Exposed to Fully Covered"}, {23, "NPTH to pad"},
    {24, "NPTH to circuit"}, {25, "PTH to Copper"}, {26, "PTH to Line"}, {27, "PTH to Pad"},
    {28, "VIA to Copper"}, {29, "VIA to Line"}, {30, "VIA to Pad"}, {31, "PTH Annular ring"},
    {32, "PTH (Comp) Annular ring"}, {33, "VIA Annular ring"}, {34, "Laser Via Annular ring"},
    {35, "Photo Via Annular ring"}, {36, "NPTH Annular ring"}, {37, "PTH Registration"},
    {38, "NPTH Registration"}, {39, "Missing Pad for VIA"}, {40, "Missing Pad for PTH"},
    {41, "Missing Cu for VIA"}, {42, "NPTH touches Copper"}, {43, "Rout to Copper"},
    {44, "Missing Cu for Plated Rout"}, {45, "Pads"}, {46, "Lines"}, {47, "Non standard rotated lines"},
    {48, "Shaved Lines"}, {49, "Inconsistent Line Width"}, {50, "Arcs"}, {51, "Shaved Arcs"},
    {52, "Inconsistent Arc Width"}, {53, "Line Neckdown"}, {54, "Text"}, {55, "Text Fields"},
    {56, "Slivers"}, {57, "Local Spacing"}, {58, "Stubs"}, {59, "SMD Pitch"}, {62, "SMD Pads"},
    {64, "Shaved SMD"}, {65, "Shaved BGA"}, {66, "SMD Packages"}, {67, "Conductor width"},
    {68, "Plated Rout Annular Ring"}, {69, "Incoming Trace to Hole"}, {70, "Net Too Large"},
    {71, "Ignored Net"}, {72, "Pad to Pad Connection"}, {73, "Pad to Cu Connection"},
    {74, "Pad to Line Connection"}, {75, "Feature too small to check"}, {78, "BGA to BGA spacing"},
    {80, "Pad to Line Spacing"},
};

// Registered 38 to 67, then 0 to 37, then 68 to 85. "SM local spacing" is
// carried by 39 and 85 alike, so a lookup by name gives 39.
const CategoryRows kSolderMask = {
    {38, "SM slivers"}, {39, "SM local spacing"}, {40, "Pad to Pad Spacing"},
    {41, "Pad to Pad Spacing(Same Net)"}, {42, "Pad to Non-Pad Spacing"}, {43, "Non-Pad to Non-Pad Spacing"},
    {44, "Fully Exposed Tear Drop Pad"}, {45, "Missing SMD clearance"}, {46, "Missing Undrilled Pad clearance"},
    {47, "Missing PTH clearance"}, {48, "Missing VIA clearance"}, {49, "Covered VIA to SM"},
    {50, "Missing NPTH clearance"}, {51, "SMD Partial Clearance"}, {52, "Undrilled Pad Partial Clearance"},
    {53, "Net Too Large"}, {54, "Fully Exposed Line"}, {55, "Partial Clearance on VIA drilled pad"},
    {56, "Partial Clearance on NPTH drilled pad"}, {57, "Partial Clearance on PTH drilled pad"},
    {58, "Partial SMD Clearance annular Ring"}, {59, "Partial SMD Clearance gasket"},
    {60, "Partial Undrilled Pad Clearance annular Ring"}, {61, "Partial Undrilled Pad Clearance gasket"},
    {62, "Via to SMD Clearance"}, {63, "PTH to SMD Clearance"}, {64, "NPTH to SMD Clearance"},
    {65, "Ignored Net"}, {66, "Clearance to Clearance Connection"}, {67, "Feature too small to check"},
    {0, "PTH annular Ring"}, {1, "NPTH annular Ring"}, {2, "Via annular Ring"}, {3, "SMD annular Ring"},
    {4, "Fiducial To SM"}, {5, "Pad annular Ring"}, {6, "VIA Pad annular Ring"}, {7, "PTH Pad annular Ring"},
    {8, "NPTH Pad annular Ring"}, {9, "Undrilled Pad annular Ring"}, {10, "Fully Exposed Line annular Ring"},
    {11, "Partial Exposed Line annular Ring"}, {12, "SMD Pad Gasket"}, {13, "Undrilled Pad Gasket"},
    {14, "PTH Pad Gasket"}, {15, "NPTH Pad Gasket"}, {16, "NPTH Hole Gasket"}, {17, "VIA Pad Gasket"},
    {18, "Undrilled Pad and Clearance Same Size"}, {19, "SMD Pad and Clearance Same Size"},
    {20, "PTH Pad and Clearance Same Size"}, {21, "NPTH Pad and Clearance Same Size"},
    {22, "NPTH Hole and Clearance Same Size"}, {23, "VIA Pad and Clearance Same Size"},
    {24, "NPTH touches mask"}, {25, "Coverage"}, {26, "Same Net Coverage"}, {27, "Clearance Cover Several Nets"},
    {28, "AR Larger than Coverage"}, {29, "Rout spacing"}, {30, "Missing Rout Clearance"}, {31, "No bridge"},
    {32, "No bridge (Same Net)"}, {33, "No Bridge (SMD Pads)"}, {34, "SMDs Clearance Bridge"},
    {35, "SMD to Pad Clearance Bridge"}, {36, "Pad to Pad Clearance Bridge"},
    {37, "Pad to Pad Clearance Bridge (Same Net)"},
    {68, "** Not in Use **"}, {69, "BGA Annular Ring"}, {70, "Coverage to line"}, {71, "Coverage to Pad"},
    {72, "Coverage to Surface"}, {73, "BGA Pad Gasket"}, {74, "BGA Pad and Clearance Same Size"},
    {75, "BGAs Clearance Bridge"}, {76, "BGA to Pad Clearance Bridge"}, {77, "BGA Partial Clearance"},
    {78, "Missing BGA clearance"}, {79, "Partial BGA Clearance annular Ring"}, {80, "Partial BGA Clearance gasket"},
    {81, "Via to BGA Clearance"}, {82, "PTH to BGA Clearance"}, {83, "NPTH to BGA Clearance"},
    {84, "No Bridge (BGA Pads)"}, {85, "SM local spacing"},
};

const CategoryRows kSilkScreen = {
    {0, "SM Clearance"}, {1, "SMD Clearance"}, {2, "PTH pads Clearance"}, {3, "Via pads Clearance"},
    {4, "NPTH pads Clearance"}, {5, "Undrilled pads Clearance"}, {6, "NPTH clearance"}, {7, "PTH clearance"},
    {8, "Via clearance"}, {9, "Rout clearance"}, {10, "Line width"}, {11, "Arc width"}, {12, "Pad width"},
    {13, "Surface width"}, {14, "Zero Line width"}, {15, "Shaved Line"}, {16, "Shaved Arc"}, {17, "Shaved Pad"},
    {18, "Shaved Surface"}, {19, "Inconsistent Line Width"}, {20, "Inconsistent Arc Width"},
    {21, "Inconsistent Surface Width"}, {22, "Text width"}, {23, "Text height"}, {24, "SS to SS spacing"},
    {25, "SS Over Text"}, {26, "SS Over Channel"},
};

const CategoryRows kPrepare = {
    {0, "Org step check"}, {1, "Org solder paste top layer check"}, {2, "Org silk screen top layer check"},
    {3, "Org solder mask top layer check"}, {4, "Org signal top layer check"}, {5, "Org signal layers check"},
    {6, "Org signal bot layer check"}, {7, "Org solder mask bottom layer check"},
    {8, "Org silk screen bottom layer check"}, {9, "Org solder paste bottom layer check"},
    {10, "Org drill layers check"}, {11, "Org rout layer check"}, {12, "Org zero point check"},
    {13, "Net step check"}, {14, "Net outerline layer check"}, {15, "Net profile check"},
    {16, "Net clip outerline check"}, {17, "Net clip outside check"}, {18, "Prepare smd pad sold check"},
    {19, "Prepare step check"}, {20, "Prepare line2surface check"}, {21, "Prepare signal layer negative check"},
    {22, "Prepare signal layer attribute check"}, {23, "Prepare drill layer negative check"},
    {24, "Prepare drill layer attribute check"}, {25, "Prepare solder mask layer negative check"},
    {26, "Prepare solder mask feature check"}, {27, "Prepare solder mask sold check"},
    {28, "Prepare outer layer drillpad check"}, {29, "Prepare board layer symbol size check"},
    {30, "Prepare step drill pad poisition check"},
};

const CategoryRows kSignalLayerOpt = {
    {1, "ARG repaired"}, {2, "ARG violation(min)"}, {3, "ARG violation(opt)"}, {4, "Pad enlarge > limit"},
    {5, "annular_ring"}, {6, "Spacing"}, {7, "Pth2c"}, {8, "NPth2c"}, {9, "Spacing repaired"},
    {10, "H2Cu repaired"}, {11, "Spacing violation(min)"}, {12, "Spacing violation(opt)"},
    {13, "H2Cu violation"}, {14, "Same net space"}, {15, "Same Net Spacing Violation"},
    {16, "Same Net Spacing Violation repaired"}, {17, "Polygon shave"}, {18, "Filled polygon shave"},
    {19, "Unfillable polygon shave"},
};

const CategoryRows kTeardrops = {
    {1, "Full Teardrops"}, {2, "One Sided Teardrops"}, {3, "Shortened Teardrops"}, {4, "Missing Teardrops"},
    {5, "Problematic Teardrops"}, {6, "Suspected Thermal"}, {7, "Spacing Violations"}, {8, "Line Too Narrow"},
    {9, "Updated Teardrops Size"}, {10, "Suspected Teardrop"},
};

// The inner blanks of 15 and 16 are part of the names.
const CategoryRows kSolderMaskOpt = {
    {0, "No Violations"}, {1, "Violations (Optimal)"}, {2, "Opt.Cover Only"}, {3, "Opt.Clear Only"},
    {4, "Violations (Minimal)"}, {5, "Gasket Removed"}, {6, "Bridges (All)"}, {7, "Bridges (Violations)"},
    {8, "Bridges (Positive)"}, {9, "Bridges (Net Intersected)"}, {10, "Cannot Bridge"}, {11, "Too dense"},
    {12, "Problems"}, {13, "Resize Problem"}, {14, "Oversized Clearances"}, {15, "Partial   Clearances"},
    {16, "Small     Clearances"}, {17, "Shave Avoided"}, {18, "Shaves"},
};

const CategoryRows kNfpRemoval = {{1, "Isolated"}, {2, "Duplicate"}, {3, "Drilled Over"}, {4, "Covered"}};

// The board-drill analysis reports one item per hole class and per pair of
// classes, after the switches its command accepts.
const CategoryRows kBoardDrill = {
    {0, "Via"}, {1, "Via to Via"}, {2, "Via to PTH"}, {3, "Via to NPTH"}, {4, "Via to Rout"},
    {5, "PTH"}, {6, "PTH to PTH"}, {7, "PTH to NPTH"}, {8, "PTH to Rout"},
    {9, "NPTH"}, {10, "NPTH to NPTH"}, {11, "NPTH to Rout"},
};

} // namespace

const CategoryRows& category_rows(const std::string& table)
{
    static const std::map<std::string, const CategoryRows*> all = {
        {"DrillRanges", &kDrill}, {"SignalLayerRanges", &kSignalLayer}, {"SolderMaskRanges", &kSolderMask},
        {"SilkScreenRanges", &kSilkScreen}, {"PrePareRanges", &kPrepare}, {"SignalLayerOptRanges", &kSignalLayerOpt},
        {"TeardropsRanges", &kTeardrops}, {"SolderMaskOpt", &kSolderMaskOpt}, {"NFPRemoval", &kNfpRemoval},
        {"BoardDrillRanges", &kBoardDrill},
    };
    static const CategoryRows none;
    auto it = all.find(table);
    return it == all.end() ? none : *it->second;
}

std::map<std::string, CategoryTable>& RangeTableRegistry::tables()
{
    static auto* registry = new std::map<std::string, CategoryTable>();
    return *registry;
}

void register_table(const std::string& table)
{
    CategoryTable built;
    for (const auto& [index, name] : category_rows(table)) built[index] = name;
    RangeTableRegistry::tables()[table] = std::move(built);
}

std::string category_name(const std::string& table, int index)
{
    const auto& tables = RangeTableRegistry::tables();
    auto t = tables.find(table);
    if (t == tables.end()) return std::string();
    auto it = t->second.find(index);
    return it == t->second.end() ? std::string() : it->second;
}

int category_index(const std::string& table, const std::string& name)
{
    const auto& tables = RangeTableRegistry::tables();
    auto t = tables.find(table);
    if (t == tables.end()) return -1;
    for (const auto& [index, n] : t->second)
        if (n == name) return index;
    return -1;
}

std::vector<RangeEntry> read_ranges(const Json::Value& ranges, const std::string& table)
{
    std::vector<RangeEntry> entries;
    const Json::Value& list = ranges["rangesList"];
    if (!list.isArray() && !list.isObject()) return entries;
    for (const Json::Value& entry : list) {
        RangeEntry e;
        e.red = entry["RedLv"].asDouble();
        e.yellow = entry["YellowLv"].asDouble();
        e.green = entry["GreenLv"].asDouble();
        e.index = category_index(table, entry["name"].asString());
        entries.push_back(e);
    }
    return entries;
}

std::map<int, std::tuple<int, int, int>> drill_thresholds(const std::vector<RangeEntry>& entries)
{
    std::map<int, std::tuple<int, int, int>> map;
    for (const RangeEntry& e : entries) map.emplace(e.index, std::make_tuple(int(e.red), int(e.yellow), int(e.green)));
    return map;
}

std::map<int, std::tuple<double, double, double>> signal_thresholds(const std::vector<RangeEntry>& entries)
{
    std::map<int, std::tuple<double, double, double>> map;
    for (const RangeEntry& e : entries) map[e.index] = {e.red, e.yellow, e.green};
    return map;
}

namespace {

const char* const kShapeNames[] = {"CR", "SEG", "LN", "ARC", "PT", "RECT"};
const std::vector<std::vector<const char*>> kShapeKeys = {
    {"CX", "CY", "Width", "Height"},
    {"SX", "SY", "EX", "EY", "Distance"},
    {"SX", "SY", "EX", "EY", "LineWidth"},
    {"SX", "SY", "EX", "EY", "CX", "CY", "LineWidth", "Direction"},
    {"X", "Y"},
    {"CX", "CY", "Width", "Height"},
};

Json::Value feature_json(const KESTO::API::featureInfo& f)
{
    Json::Value o(Json::objectValue);
    o["angle"] = f.angle;
    o["Icnt"] = f.Icnt;
    o["Hcnt"] = f.Hcnt;
    o["linewidth"] = f.linewidth;
    o["layername"] = f.layername;
    o["symbolname"] = f.symbolname;
    o["type"] = f.type;
    o["polarity"] = f.polarity;
    o["text"] = f.text;
    o["realtext"] = f.realtext;
    o["font"] = f.font;
    Json::Value attributes(Json::objectValue);
    for (const auto& [name, value] : f.attributes) attributes[name] = value;
    o["attributes"] = attributes;
    o["feature_index"] = f.feature_index;
    o["xsize"] = f.xsize;
    o["ysize"] = f.ysize;
    o["mirror"] = f.mirror;
    return o;
}

} // namespace

Json::Value finding_json(const KESTO::API::check_info& info)
{
    Json::Value o(Json::objectValue);
    Json::Value layers(Json::arrayValue), features(Json::arrayValue), value(Json::objectValue);
    for (const std::string& l : info.layer_names) layers.append(l);
    for (const auto& f : info.features) features.append(feature_json(f));
    o["layernames"] = layers;
    o["featureinfo"] = features;
    const bool known = info.shape >= 0 && info.shape < int(std::size(kShapeNames));
    o["type"] = known ? kShapeNames[info.shape] : "";
    if (known) {
        const auto& keys = kShapeKeys[std::size_t(info.shape)];
        for (std::size_t i = 0; i < keys.size() && i < info.geometry.size(); ++i) value[keys[i]] = info.geometry[i];
    }
    o["value"] = value;
    o["measureValue"] = info.measure_value;
    return o;
}

Json::Value findings_json(const std::vector<KESTO::API::check_info>& infos)
{
    Json::Value list(Json::arrayValue);
    for (const auto& info : infos) list.append(finding_json(info));
    return list;
}

} // namespace kesto::checks
