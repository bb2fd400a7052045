#include "analysis/jw_analysis_filter.h"

#include "adaptor/reply.h"
#include "checks/ranges.h"
#include "engine/api/analysis.h"

#include <algorithm>

using KESTO::API::check_info;

namespace {

constexpr int kCacheLimit = 10;
constexpr int kDefaultPageSize = 50;

const char kSignalTable[] = "SignalLayerRanges";
const char kDrillTable[] = "DrillRanges";
const char kSolderMaskTable[] = "SolderMaskRanges";
const char kSilkScreenTable[] = "SilkScreenRanges";
const char kBoardDrillTable[] = "BoardDrillRanges";

// The level lists of one check item; silk screen has three, and its fourth
// reads as empty.
struct Lists {
    const std::vector<check_info>* lv[4];
    std::size_t n = 4;
    std::size_t total() const
    {
        std::size_t t = 0;
        for (std::size_t i = 0; i < n; ++i) t += lv[i]->size();
        return t;
    }
};

const std::vector<check_info>& no_findings()
{
    static const std::vector<check_info> none;
    return none;
}

Lists lists(const KESTO::API::check_levels<check_info, 4>& levels)
{
    return {{&levels.lv[0], &levels.lv[1], &levels.lv[2], &levels.lv[3]}, 4};
}

template <std::size_t N>
Lists lists(const KESTO::API::level_result<N>& r)
{
    Lists l{{&no_findings(), &no_findings(), &no_findings(), &no_findings()}, N};
    for (std::size_t i = 0; i < N; ++i) l.lv[i] = &r.lv[i];
    return l;
}

// Walks the items of one layer's result in ascending enum order.
template <class Item, class F>
void each_item(const KESTO::API::check_reply<Item, check_info>& r, F&& f)
{
    for (const auto& [item, levels] : r.items) f(int(item), lists(levels));
}
template <class Item, std::size_t N, class F>
void each_item(const std::map<Item, KESTO::API::level_result<N>>& r, F&& f)
{
    for (const auto& [item, result] : r) f(int(item), lists(result));
}

template <class Item>
bool find_item(const KESTO::API::check_reply<Item, check_info>& r, int value, Lists& out)
{
    auto it = r.items.find(Item(value));
    if (it == r.items.end()) return false;
    out = lists(it->second);
    return true;
}
template <class Item, std::size_t N>
bool find_item(const std::map<Item, KESTO::API::level_result<N>>& r, int value, Lists& out)
{
    auto it = r.find(Item(value));
    if (it == r.end()) return false;
    out = lists(it->second);
    return true;
}

// Levels 0..4 as requested; a negative level counts as large.
bool valid_level(int level) { return unsigned(level) <= 4; }

// The size of what a level selects.
std::size_t level_size(const Lists& l, int level)
{
    return level == 4 ? l.total() : level < int(l.n) ? l.lv[level]->size() : 0;
}

// The item, layer and analysed-layer names are UTF-8 throughout the engine
// and the hosts read UTF-8, so they are written as they are.
const std::string& host_text(const std::string& s) { return s; }

Json::Value texts(const std::vector<std::string>& list)
{
    Json::Value a(Json::arrayValue);
    for (const auto& s : list) a.append(host_text(s));
    return a;
}

Json::Value integers(const std::vector<std::int64_t>& list)
{
    Json::Value a(Json::arrayValue);
    for (std::int64_t v : list) a.append(Json::Int64(v));
    return a;
}

} // namespace

JWAnalysisFilter* JWAnalysisFilter::m_instance = nullptr;

JWAnalysisFilter* JWAnalysisFilter::instance()
{
    if (!m_instance) m_instance = new JWAnalysisFilter();
    return m_instance;
}

JWAnalysisFilter::JWAnalysisFilter()
{
    insertSignalLayerRout();
    insertDrillRout();
    insertSolderMaskRout();
    insertSilkScreenRout();
    insertBoardDrillRout();
}

JWAnalysisFilter::~JWAnalysisFilter() = default;

// ---------------------------------------------------------------- range tables

void JWAnalysisFilter::insertRout(const char* table)
{
    std::map<int, std::string>& routes = RangeRoutes[table];
    for (const auto& [value, name] : kesto::checks::category_rows(table)) routes[value] = name;
}

void JWAnalysisFilter::insertSignalLayerRout() { insertRout(kSignalTable); }
void JWAnalysisFilter::insertDrillRout() { insertRout(kDrillTable); }
void JWAnalysisFilter::insertSolderMaskRout() { insertRout(kSolderMaskTable); }
void JWAnalysisFilter::insertSilkScreenRout() { insertRout(kSilkScreenTable); }
void JWAnalysisFilter::insertBoardDrillRout() { insertRout(kBoardDrillTable); }

int JWAnalysisFilter::getRangesEnum(const std::string& table, const std::string& name)
{
    auto t = RangeRoutes.find(table);
    if (t == RangeRoutes.end()) return -1;
    for (const auto& [value, n] : t->second)
        if (n == name) return value;
    return -1;
}

std::string JWAnalysisFilter::getRangesName(const std::string& table, int value)
{
    auto t = RangeRoutes.find(table);
    if (t == RangeRoutes.end()) return std::string();
    auto it = t->second.find(value);
    return it == t->second.end() ? std::string() : it->second;
}

// ---------------------------------------------------------------- caches

template <class Set>
void JWAnalysisFilter::createCacheOf(std::map<std::string, Set>& cache, void (*fetch)(const std::string&, Set&),
                                     const std::string& uuid)
{
    if (cache.count(uuid)) return;
    if (CacheCount >= kCacheLimit) removeCache();
    Set fetched;
    fetch(uuid, fetched);
    cache[uuid] = std::move(fetched);
    CacheOrder.push_back(uuid);
    ++CacheCount;
}

// Fetched when missing, without counting towards the limit: such sets are
// never evicted.
template <class Set>
const Set& JWAnalysisFilter::cachedOf(std::map<std::string, Set>& cache, void (*fetch)(const std::string&, Set&),
                                      const std::string& uuid)
{
    auto it = cache.find(uuid);
    if (it != cache.end()) return it->second;
    Set fetched;
    fetch(uuid, fetched);
    return cache[uuid] = std::move(fetched);
}

void JWAnalysisFilter::createCache(int kind, const std::string& uuid)
{
    switch (kind) {
    case 1: createSignalLayerCache(uuid); break;
    case 2: createDrillCache(uuid); break;
    case 3: createSolderMaskCache(uuid); break;
    case 4: createSilkScreenCache(uuid); break;
    case 5: createBoardDrillCache(uuid); break;
    default: break;
    }
}

void JWAnalysisFilter::createSignalLayerCache(const std::string& uuid)
{
    createCacheOf(m_signalLayerCache, &KESTO::API::getJWSignalLayerAnalysisResult, uuid);
}
void JWAnalysisFilter::createDrillCache(const std::string& uuid)
{
    createCacheOf(m_drillCache, &KESTO::API::getJWDrillAnalysisResult, uuid);
}
void JWAnalysisFilter::createSolderMaskCache(const std::string& uuid)
{
    createCacheOf(m_solderMaskCache, &KESTO::API::getJWSolderMaskAnalysisResult, uuid);
}
void JWAnalysisFilter::createSilkScreenCache(const std::string& uuid)
{
    createCacheOf(m_silkScreenCache, &KESTO::API::getJWSilkScreenAnalysisResult, uuid);
}
void JWAnalysisFilter::createBoardDrillCache(const std::string& uuid)
{
    createCacheOf(m_boardDrillCache, &KESTO::API::getJWBoardDrillAnalysisResult, uuid);
}

void JWAnalysisFilter::removeCache()
{
    if (CacheOrder.empty()) return;
    const std::string uuid = CacheOrder.front();
    if (!m_signalLayerCache.erase(uuid) && !m_drillCache.erase(uuid) && !m_solderMaskCache.erase(uuid) &&
        !m_silkScreenCache.erase(uuid))
        m_boardDrillCache.erase(uuid);
    CacheOrder.erase(CacheOrder.begin());
    --CacheCount;
}

int JWAnalysisFilter::getCacheCount() const { return CacheCount; }
std::vector<std::string> JWAnalysisFilter::getCacheOrder() const { return CacheOrder; }

// ---------------------------------------------------------------- filters

template <class Set>
void JWAnalysisFilter::defaultFilterOf(const Set& set, const char* table, AnalysisFilter& filter)
{
    filter.layers.clear();
    for (const auto& [layer, result] : set) {
        LayerFilter lf;
        lf.layer = layer;
        each_item(result, [&](int value, const Lists&) {
            lf.subfilters.push_back({getRangesName(table, value), 0, kDefaultPageSize, 0});
        });
        filter.layers.push_back(std::move(lf));
    }
}

void JWAnalysisFilter::setDefaultFilter(const std::string& uuid, AnalysisFilter& filter)
{
    switch (filter.type) {
    case 1: setSignalLayerFilter(uuid, filter); break;
    case 2: setDrillFilter(uuid, filter); break;
    case 3: setSolderMaskFilter(uuid, filter); break;
    case 4: setSilkScreenFilter(uuid, filter); break;
    case 5: setBoardDrillFilter(uuid, filter); break;
    default: break;
    }
}

void JWAnalysisFilter::setSignalLayerFilter(const std::string& uuid, AnalysisFilter& filter)
{
    defaultFilterOf(cachedOf(m_signalLayerCache, &KESTO::API::getJWSignalLayerAnalysisResult, uuid), kSignalTable, filter);
}
void JWAnalysisFilter::setDrillFilter(const std::string& uuid, AnalysisFilter& filter)
{
    defaultFilterOf(cachedOf(m_drillCache, &KESTO::API::getJWDrillAnalysisResult, uuid), kDrillTable, filter);
}
void JWAnalysisFilter::setSolderMaskFilter(const std::string& uuid, AnalysisFilter& filter)
{
    defaultFilterOf(cachedOf(m_solderMaskCache, &KESTO::API::getJWSolderMaskAnalysisResult, uuid), kSolderMaskTable, filter);
}
void JWAnalysisFilter::setSilkScreenFilter(const std::string& uuid, AnalysisFilter& filter)
{
    defaultFilterOf(cachedOf(m_silkScreenCache, &KESTO::API::getJWSilkScreenAnalysisResult, uuid), kSilkScreenTable, filter);
}
void JWAnalysisFilter::setBoardDrillFilter(const std::string& uuid, AnalysisFilter& filter)
{
    defaultFilterOf(cachedOf(m_boardDrillCache, &KESTO::API::getJWBoardDrillAnalysisResult, uuid), kBoardDrillTable, filter);
}

void JWAnalysisFilter::setFilter(const std::string& uuid, const AnalysisFilter& filter) { m_filters[uuid] = filter; }

// ---------------------------------------------------------------- pages

void JWAnalysisFilter::getFilterResult4All(int start, int count, std::vector<check_info>& out,
                                           const std::vector<check_info>& lv1, const std::vector<check_info>& lv2,
                                           const std::vector<check_info>& lv3, const std::vector<check_info>& lv4)
{
    // The page's places, but never more than the lists still hold: the count
    // comes from the host.
    const std::size_t total = lv1.size() + lv2.size() + lv3.size() + lv4.size();
    if (count > 0 && std::size_t(start) < total) out.reserve(std::min(std::size_t(count), total - std::size_t(start)));
    std::size_t skip = std::size_t(start);
    std::size_t want = count > 0 ? std::size_t(count) : 0;
    for (const std::vector<check_info>* list : {&lv1, &lv2, &lv3, &lv4}) {
        if (want == 0) break;
        if (skip >= list->size()) {
            skip -= list->size();
            continue;
        }
        const std::size_t take = std::min(want, list->size() - skip);
        out.insert(out.end(), list->begin() + std::ptrdiff_t(skip), list->begin() + std::ptrdiff_t(skip + take));
        want -= take;
        skip = 0;
    }
}

template <class Set>
std::string JWAnalysisFilter::pageOf(const Set& set, const char* table, const AnalysisFilter& filter)
{
    std::map<std::string, std::vector<FilterResult>> out;
    for (const LayerFilter& lf : filter.layers) {
        auto layer = set.find(lf.layer);
        if (layer == set.end()) continue;
        std::vector<FilterResult> results;
        for (const SubFilter& sf : lf.subfilters) {
            if (!valid_level(sf.level)) continue;
            Lists l;
            if (!find_item(layer->second, getRangesEnum(table, sf.item), l)) continue;
            const long long start = (long long)sf.page * sf.count, end = start + sf.count;
            const long long size = (long long)level_size(l, sf.level);
            if (start < 0 || start >= size) continue;
            FilterResult fr{sf.item, sf.level, {}};
            if (sf.level == 4) {
                getFilterResult4All(int(start), sf.count, fr.check_info_list, *l.lv[0], *l.lv[1], *l.lv[2], *l.lv[3]);
            } else {
                const auto& list = *l.lv[sf.level];
                for (long long i = start; i < std::min(end, size); ++i) fr.check_info_list.push_back(list[std::size_t(i)]);
            }
            results.push_back(std::move(fr));
        }
        out[lf.layer] = std::move(results);
    }
    return filterResult2Json(out);
}

template <class Set>
bool JWAnalysisFilter::endOf(const Set& set, const char* table, const AnalysisFilter& filter)
{
    for (const LayerFilter& lf : filter.layers) {
        auto layer = set.find(lf.layer);
        if (layer == set.end()) continue;
        for (const SubFilter& sf : lf.subfilters) {
            if (sf.count < 1 || !valid_level(sf.level)) continue;
            Lists l;
            if (!find_item(layer->second, getRangesEnum(table, sf.item), l)) continue;
            const long long start = (long long)sf.page * sf.count;
            if (start >= 0 && start < (long long)level_size(l, sf.level)) return false;
        }
    }
    return true;
}

std::string JWAnalysisFilter::getFilterResult(const std::string& uuid, const AnalysisFilter& filter)
{
    switch (filter.type) {
    case 1: return getSignalLayerFilterResult(uuid, filter);
    case 2: return getDrillFilterResult(uuid, filter);
    case 3: return getSolderMaskFilterResult(uuid, filter);
    case 4: return getSilkScreenFilterResult(uuid, filter);
    case 5: return getBoardDrillFilterResult(uuid, filter);
    default: return std::string();
    }
}

std::string JWAnalysisFilter::getFilterResult(int kind, const std::string& uuid)
{
    switch (kind) {
    case 1: return getSignalLayerFilterResult(uuid);
    case 2: return getDrillFilterResult(uuid);
    case 3: return getSolderMaskFilterResult(uuid);
    case 4: return getSilkScreenFilterResult(uuid);
    case 5: return getBoardDrillFilterResult(uuid);
    default: return std::string();
    }
}

std::string JWAnalysisFilter::getSignalLayerFilterResult(const std::string& uuid, const AnalysisFilter& filter)
{
    createSignalLayerCache(uuid);
    return pageOf(m_signalLayerCache[uuid], kSignalTable, filter);
}
std::string JWAnalysisFilter::getDrillFilterResult(const std::string& uuid, const AnalysisFilter& filter)
{
    createDrillCache(uuid);
    return pageOf(m_drillCache[uuid], kDrillTable, filter);
}
std::string JWAnalysisFilter::getSolderMaskFilterResult(const std::string& uuid, const AnalysisFilter& filter)
{
    createSolderMaskCache(uuid);
    return pageOf(m_solderMaskCache[uuid], kSolderMaskTable, filter);
}
std::string JWAnalysisFilter::getSilkScreenFilterResult(const std::string& uuid, const AnalysisFilter& filter)
{
    createSilkScreenCache(uuid);
    return pageOf(m_silkScreenCache[uuid], kSilkScreenTable, filter);
}
std::string JWAnalysisFilter::getBoardDrillFilterResult(const std::string& uuid, const AnalysisFilter& filter)
{
    createBoardDrillCache(uuid);
    return pageOf(m_boardDrillCache[uuid], kBoardDrillTable, filter);
}

// The stored filter is taken by copy: fetching may evict, never the filter.
std::string JWAnalysisFilter::getSignalLayerFilterResult(const std::string& uuid) { return getSignalLayerFilterResult(uuid, AnalysisFilter(m_filters[uuid])); }
std::string JWAnalysisFilter::getDrillFilterResult(const std::string& uuid) { return getDrillFilterResult(uuid, AnalysisFilter(m_filters[uuid])); }
std::string JWAnalysisFilter::getSolderMaskFilterResult(const std::string& uuid) { return getSolderMaskFilterResult(uuid, AnalysisFilter(m_filters[uuid])); }
std::string JWAnalysisFilter::getSilkScreenFilterResult(const std::string& uuid) { return getSilkScreenFilterResult(uuid, AnalysisFilter(m_filters[uuid])); }
std::string JWAnalysisFilter::getBoardDrillFilterResult(const std::string& uuid) { return getBoardDrillFilterResult(uuid, AnalysisFilter(m_filters[uuid])); }

bool JWAnalysisFilter::isFilterResultEnd(int kind, const std::string& uuid)
{
    switch (kind) {
    case 1: return isSignalLayerFilterResultEnd(uuid);
    case 2: return isDrillFilterResultEnd(uuid);
    case 3: return isSolderMaskFilterResultEnd(uuid);
    case 4: return isSilkScreenFilterResultEnd(uuid);
    case 5: return isBoardDrillFilterResultEnd(uuid);
    default: return true;
    }
}

bool JWAnalysisFilter::isSignalLayerFilterResultEnd(const std::string& uuid)
{
    return endOf(cachedOf(m_signalLayerCache, &KESTO::API::getJWSignalLayerAnalysisResult, uuid), kSignalTable, m_filters[uuid]);
}
bool JWAnalysisFilter::isDrillFilterResultEnd(const std::string& uuid)
{
    return endOf(cachedOf(m_drillCache, &KESTO::API::getJWDrillAnalysisResult, uuid), kDrillTable, m_filters[uuid]);
}
bool JWAnalysisFilter::isSolderMaskFilterResultEnd(const std::string& uuid)
{
    return endOf(cachedOf(m_solderMaskCache, &KESTO::API::getJWSolderMaskAnalysisResult, uuid), kSolderMaskTable, m_filters[uuid]);
}
bool JWAnalysisFilter::isSilkScreenFilterResultEnd(const std::string& uuid)
{
    return endOf(cachedOf(m_silkScreenCache, &KESTO::API::getJWSilkScreenAnalysisResult, uuid), kSilkScreenTable, m_filters[uuid]);
}
bool JWAnalysisFilter::isBoardDrillFilterResultEnd(const std::string& uuid)
{
    return endOf(cachedOf(m_boardDrillCache, &KESTO::API::getJWBoardDrillAnalysisResult, uuid), kBoardDrillTable, m_filters[uuid]);
}

std::string JWAnalysisFilter::begin(const std::string& uuid)
{
    auto it = m_filters.find(uuid);
    if (it == m_filters.end()) return std::string();
    for (LayerFilter& lf : it->second.layers)
        for (SubFilter& sf : lf.subfilters) sf.page = 0;
    return getFilterResult(it->second.type, uuid);
}

std::string JWAnalysisFilter::next(const std::string& uuid)
{
    auto it = m_filters.find(uuid);
    if (it == m_filters.end()) return std::string();
    const int kind = it->second.type;
    if (kind < 1 || kind > 5) return std::string();
    // The test looks at the current page, so the walk steps once past the
    // last page with findings and stops there.
    if (isFilterResultEnd(kind, uuid)) return std::string();
    for (LayerFilter& lf : it->second.layers)
        for (SubFilter& sf : lf.subfilters) ++sf.page;
    return getFilterResult(kind, uuid);
}

std::string JWAnalysisFilter::prev(const std::string& uuid)
{
    auto it = m_filters.find(uuid);
    if (it == m_filters.end()) return std::string();
    for (LayerFilter& lf : it->second.layers)
        for (SubFilter& sf : lf.subfilters)
            if (sf.page > 0) --sf.page;
    return getFilterResult(it->second.type, uuid);
}

bool JWAnalysisFilter::isFilterResultEmpty(const std::map<std::string, std::vector<FilterResult>>& result)
{
    for (const auto& [layer, results] : result)
        for (const FilterResult& fr : results)
            if (!fr.check_info_list.empty()) return false;
    return true;
}

std::string JWAnalysisFilter::filterResult2Json(const std::map<std::string, std::vector<FilterResult>>& result)
{
    if (isFilterResultEmpty(result)) return std::string();
    Json::Value doc(Json::arrayValue);
    for (const auto& [layer, results] : result) {
        Json::Value l(Json::objectValue);
        l["layer"] = host_text(layer);
        Json::Value frs(Json::arrayValue);
        for (const FilterResult& fr : results) {
            Json::Value f(Json::objectValue);
            f["item"] = host_text(fr.item);
            f["level"] = fr.level;
            Json::Value infos(Json::arrayValue);
            for (const check_info& info : fr.check_info_list) {
                Json::Value i(Json::objectValue);
                i["LevelofCheckInfo"] = fr.level;
                i["type"] = info.shape;
                i["DispNum"] = info.disp_num;
                i["sort_value"] = info.sort_value;
                i["LayerNameForAna"] = host_text(info.layer_for_analysis);
                i["values"] = integers(info.values);
                i["layernames"] = texts(info.layer_names);
                i["symbolnames"] = texts(info.symbol_names);
                infos.append(std::move(i));
            }
            f["check_info_list"] = std::move(infos);
            frs.append(std::move(f));
        }
        l["filter_result"] = std::move(frs);
        doc.append(std::move(l));
    }
    return kesto::adaptor::compact(doc);
}

// ---------------------------------------------------------------- whole results

void JWAnalysisFilter::fillAnalysisCheckInfo2JsonObj(const check_info& info, Json::Value& obj, int level)
{
    obj["level"] = level;
    obj["type"] = info.shape;
    obj["values"] = integers(info.values);
    obj["layernames"] = texts(info.layer_names);
    // The symbol of the finding's first feature: the one the finding is about.
    obj["symbol"] = info.symbol_names.empty() ? std::string() : info.symbol_names.front();
}

// Signal-layer findings are spacing measurements that hosts sort by, so they
// also carry the measured value.
void JWAnalysisFilter::signalLayerInfo2JsonObj(const check_info& info, Json::Value& obj, int level)
{
    fillAnalysisCheckInfo2JsonObj(info, obj, level);
    obj["measureValue"] = info.measure_value;
}

template <class Set>
Json::Value JWAnalysisFilter::documentOf(const Set& set, const char* table, const char* kind_text, bool signal_findings)
{
    Json::Value doc(Json::objectValue);
    doc["analysis_type"] = kind_text;
    Json::Value layers(Json::arrayValue);
    for (const auto& [layer, result] : set) {
        Json::Value l(Json::objectValue);
        l["layer"] = layer;
        Json::Value items(Json::arrayValue);
        each_item(result, [&](int value, const Lists& lists) {
            Json::Value item(Json::objectValue);
            item["check_item"] = getRangesName(table, value);
            for (std::size_t lv = 0; lv < lists.n; ++lv) {
                const std::string n = std::to_string(lv + 1);
                Json::Value findings(Json::arrayValue);
                for (const check_info& info : *lists.lv[lv]) {
                    Json::Value f(Json::objectValue);
                    if (signal_findings)
                        signalLayerInfo2JsonObj(info, f, int(lv));
                    else
                        fillAnalysisCheckInfo2JsonObj(info, f, int(lv));
                    findings.append(std::move(f));
                }
                item["lv" + n + "count"] = Json::UInt(lists.lv[lv]->size());
                item["lv" + n + "features"] = std::move(findings);
            }
            items.append(std::move(item));
        });
        l["result"] = std::move(items);
        layers.append(std::move(l));
    }
    doc["analysis_result"] = std::move(layers);
    return doc;
}

Json::Value JWAnalysisFilter::getSignalLayerResult2Json4AllCo(const KESTO::API::signal_result& r) { return documentOf(r, kSignalTable, "signal layer", true); }
Json::Value JWAnalysisFilter::getDrillResult2Json4AllCo(const KESTO::API::drill_result& r) { return documentOf(r, kDrillTable, "drill", false); }
Json::Value JWAnalysisFilter::getSolderMaskResult2Json4AllCo(const KESTO::API::solder_mask_result& r) { return documentOf(r, kSolderMaskTable, "solder mask", false); }
Json::Value JWAnalysisFilter::getSilkScreenResult2Json4AllCo(const KESTO::API::silk_screen_result& r) { return documentOf(r, kSilkScreenTable, "silk screen", false); }
Json::Value JWAnalysisFilter::getBoardDrillResult2Json4AllCo(const KESTO::API::board_drill_result& r) { return documentOf(r, kBoardDrillTable, "board drill", false); }

std::string JWAnalysisFilter::getSignalLayerResult2JsonStr4AllCo(const KESTO::API::signal_result& r) { return kesto::adaptor::compact(getSignalLayerResult2Json4AllCo(r)); }
std::string JWAnalysisFilter::getDrillResult2JsonStr4AllCo(const KESTO::API::drill_result& r) { return kesto::adaptor::compact(getDrillResult2Json4AllCo(r)); }
std::string JWAnalysisFilter::getSolderMaskResult2JsonStr4AllCo(const KESTO::API::solder_mask_result& r) { return kesto::adaptor::compact(getSolderMaskResult2Json4AllCo(r)); }
std::string JWAnalysisFilter::getSilkScreenResult2JsonStr4AllCo(const KESTO::API::silk_screen_result& r) { return kesto::adaptor::compact(getSilkScreenResult2Json4AllCo(r)); }
std::string JWAnalysisFilter::getBoardDrillResult2JsonStr4AllCo(const KESTO::API::board_drill_result& r) { return kesto::adaptor::compact(getBoardDrillResult2Json4AllCo(r)); }

std::string JWAnalysisFilter::getDrillResult2JsonStr4AllCo(const KESTO::API::drill_result& r, const std::string& uuid)
{
    Json::Value doc = getDrillResult2Json4AllCo(r);
    if (!uuid.empty()) doc["analysis_uuid"] = uuid;
    return kesto::adaptor::compact(doc);
}

namespace {
template <class Set>
Set fresh(void (*fetch)(const std::string&, Set&), const std::string& uuid)
{
    Set set;
    fetch(uuid, set);
    return set;
}
} // namespace

Json::Value JWAnalysisFilter::getSignalLayerJsonResult4EDA(const std::string& uuid) { return getSignalLayerResult2Json4AllCo(fresh(&KESTO::API::getSignalLayerAnalysisResult4Co, uuid)); }
Json::Value JWAnalysisFilter::getDrillJsonResult4EDA(const std::string& uuid) { return getDrillResult2Json4AllCo(fresh(&KESTO::API::getDrillAnalysisResult4Co, uuid)); }
Json::Value JWAnalysisFilter::getSolderMaskJsonResult4EDA(const std::string& uuid) { return getSolderMaskResult2Json4AllCo(fresh(&KESTO::API::getSolderMaskAnalysisResult4Co, uuid)); }
Json::Value JWAnalysisFilter::getSilkScreenJsonResult4EDA(const std::string& uuid) { return getSilkScreenResult2Json4AllCo(fresh(&KESTO::API::getSilkScreenAnalysisResult4Co, uuid)); }
Json::Value JWAnalysisFilter::getBoardDrillJsonResult4EDA(const std::string& uuid) { return getBoardDrillResult2Json4AllCo(fresh(&KESTO::API::getBoardDrillAnalysisResult4Co, uuid)); }

std::string JWAnalysisFilter::getSignalLayerJsonStrResult4EDA(const std::string& uuid) { return getSignalLayerResult2JsonStr4AllCo(fresh(&KESTO::API::getSignalLayerAnalysisResult4Co, uuid)); }
std::string JWAnalysisFilter::getDrillJsonStrResult4EDA(const std::string& uuid) { return getDrillResult2JsonStr4AllCo(fresh(&KESTO::API::getDrillAnalysisResult4Co, uuid)); }
std::string JWAnalysisFilter::getSolderMaskJsonStrResult4EDA(const std::string& uuid) { return getSolderMaskResult2JsonStr4AllCo(fresh(&KESTO::API::getSolderMaskAnalysisResult4Co, uuid)); }
std::string JWAnalysisFilter::getSilkScreenJsonStrResult4EDA(const std::string& uuid) { return getSilkScreenResult2JsonStr4AllCo(fresh(&KESTO::API::getSilkScreenAnalysisResult4Co, uuid)); }
std::string JWAnalysisFilter::getBoardDrillJsonStrResult4EDA(const std::string& uuid) { return getBoardDrillResult2JsonStr4AllCo(fresh(&KESTO::API::getBoardDrillAnalysisResult4Co, uuid)); }

std::string JWAnalysisFilter::getSignalLayerResult(const std::string& uuid)
{
    return getSignalLayerResult2JsonStr4AllCo(cachedOf(m_signalLayerCache, &KESTO::API::getJWSignalLayerAnalysisResult, uuid));
}

std::string JWAnalysisFilter::get(int kind, const std::string& uuid)
{
    return kind == 1 ? getSignalLayerResult(uuid) : std::string();
}
