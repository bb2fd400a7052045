// The analysis pager: result sets of analysis runs, fetched from the engine
// by uuid and cached, cut into pages per layer, check item and level through
// filters, and whole results written as JSON documents for EDA hosts.
#pragma once
#include "adaptor/exports.h"
#include "engine/drc/check_records.h"

#include <json/json.h>

#include <map>
#include <string>
#include <vector>

// One page request for one check item: its display name, the level (0..3
// one list, 4 all lists in level order), the page size and the page number.
struct SubFilter {
    std::string item;
    int level = 0;
    int count = 0;
    int page = 0;
};

struct LayerFilter {
    std::string layer;
    std::vector<SubFilter> subfilters;
};

struct AnalysisFilter {
    int type = 0; // analysis kind: 1 signal layer, 2 drill, 3 solder mask, 4 silk screen, 5 board drill
    std::vector<LayerFilter> layers;
};

struct FilterResult {
    std::string item;
    int level = 0;
    std::vector<KESTO::API::check_info> check_info_list;
};

class KESTO_EXPORT JWAnalysisFilter {
public:
    static JWAnalysisFilter* instance();
    JWAnalysisFilter(const JWAnalysisFilter&) = default;
    JWAnalysisFilter& operator=(const JWAnalysisFilter&) = default;

    // Caches the result set of a run; at most ten sets entered this way are
    // held, the oldest evicted first.
    void createCache(int kind, const std::string& uuid);
    void removeCache();
    int getCacheCount() const;
    std::vector<std::string> getCacheOrder() const;

    int getRangesEnum(const std::string& table, const std::string& name);
    std::string getRangesName(const std::string& table, int value);

    // The whole signal-layer result of a run as JSON text; "" for other kinds.
    std::string get(int kind, const std::string& uuid);

    // Filters and pages.
    void setDefaultFilter(const std::string& uuid, AnalysisFilter& filter);
    void setFilter(const std::string& uuid, const AnalysisFilter& filter);
    std::string getFilterResult(const std::string& uuid, const AnalysisFilter& filter);
    std::string begin(const std::string& uuid);
    std::string next(const std::string& uuid);
    std::string prev(const std::string& uuid);
    bool isFilterResultEnd(int kind, const std::string& uuid);

    // Whole results for EDA hosts, read fresh from the engine.
    Json::Value getSignalLayerJsonResult4EDA(const std::string& uuid);
    Json::Value getDrillJsonResult4EDA(const std::string& uuid);
    Json::Value getSolderMaskJsonResult4EDA(const std::string& uuid);
    Json::Value getSilkScreenJsonResult4EDA(const std::string& uuid);
    Json::Value getBoardDrillJsonResult4EDA(const std::string& uuid);
    std::string getSignalLayerJsonStrResult4EDA(const std::string& uuid);
    std::string getDrillJsonStrResult4EDA(const std::string& uuid);
    std::string getSolderMaskJsonStrResult4EDA(const std::string& uuid);
    std::string getSilkScreenJsonStrResult4EDA(const std::string& uuid);
    std::string getBoardDrillJsonStrResult4EDA(const std::string& uuid);
    std::string getSignalLayerResult2JsonStr4AllCo(const KESTO::API::signal_result& result);
    std::string getDrillResult2JsonStr4AllCo(const KESTO::API::drill_result& result);
    // The same document naming its run under "analysis_uuid" (the drill check's reply).
    std::string getDrillResult2JsonStr4AllCo(const KESTO::API::drill_result& result, const std::string& uuid);
    std::string getSolderMaskResult2JsonStr4AllCo(const KESTO::API::solder_mask_result& result);
    std::string getSilkScreenResult2JsonStr4AllCo(const KESTO::API::silk_screen_result& result);
    std::string getBoardDrillResult2JsonStr4AllCo(const KESTO::API::board_drill_result& result);

    void fillAnalysisCheckInfo2JsonObj(const KESTO::API::check_info& info, Json::Value& obj, int level);
    void signalLayerInfo2JsonObj(const KESTO::API::check_info& info, Json::Value& obj, int level);

private:
    JWAnalysisFilter();
    ~JWAnalysisFilter();
    static JWAnalysisFilter* m_instance;

    void createSignalLayerCache(const std::string& uuid);
    void createDrillCache(const std::string& uuid);
    void createSolderMaskCache(const std::string& uuid);
    void createSilkScreenCache(const std::string& uuid);
    void createBoardDrillCache(const std::string& uuid);

    void insertSignalLayerRout();
    void insertDrillRout();
    void insertSolderMaskRout();
    void insertSilkScreenRout();
    void insertBoardDrillRout();

    void setSignalLayerFilter(const std::string& uuid, AnalysisFilter& filter);
    void setDrillFilter(const std::string& uuid, AnalysisFilter& filter);
    void setSolderMaskFilter(const std::string& uuid, AnalysisFilter& filter);
    void setSilkScreenFilter(const std::string& uuid, AnalysisFilter& filter);
    void setBoardDrillFilter(const std::string& uuid, AnalysisFilter& filter);

    std::string getFilterResult(int kind, const std::string& uuid);
    std::string getSignalLayerFilterResult(const std::string& uuid, const AnalysisFilter& filter);
    std::string getDrillFilterResult(const std::string& uuid, const AnalysisFilter& filter);
    std::string getSolderMaskFilterResult(const std::string& uuid, const AnalysisFilter& filter);
    std::string getSilkScreenFilterResult(const std::string& uuid, const AnalysisFilter& filter);
    std::string getBoardDrillFilterResult(const std::string& uuid, const AnalysisFilter& filter);
    std::string getSignalLayerFilterResult(const std::string& uuid);
    std::string getDrillFilterResult(const std::string& uuid);
    std::string getSolderMaskFilterResult(const std::string& uuid);
    std::string getSilkScreenFilterResult(const std::string& uuid);
    std::string getBoardDrillFilterResult(const std::string& uuid);

    bool isSignalLayerFilterResultEnd(const std::string& uuid);
    bool isDrillFilterResultEnd(const std::string& uuid);
    bool isSolderMaskFilterResultEnd(const std::string& uuid);
    bool isSilkScreenFilterResultEnd(const std::string& uuid);
    bool isBoardDrillFilterResultEnd(const std::string& uuid);

    void getFilterResult4All(int start, int count, std::vector<KESTO::API::check_info>& out,
                             const std::vector<KESTO::API::check_info>& lv1, const std::vector<KESTO::API::check_info>& lv2,
                             const std::vector<KESTO::API::check_info>& lv3, const std::vector<KESTO::API::check_info>& lv4);
    std::string filterResult2Json(const std::map<std::string, std::vector<FilterResult>>& result);
    bool isFilterResultEmpty(const std::map<std::string, std::vector<FilterResult>>& result);

    Json::Value getSignalLayerResult2Json4AllCo(const KESTO::API::signal_result& result);
    Json::Value getDrillResult2Json4AllCo(const KESTO::API::drill_result& result);
    Json::Value getSolderMaskResult2Json4AllCo(const KESTO::API::solder_mask_result& result);
    Json::Value getSilkScreenResult2Json4AllCo(const KESTO::API::silk_screen_result& result);
    Json::Value getBoardDrillResult2Json4AllCo(const KESTO::API::board_drill_result& result);
    std::string getSignalLayerResult(const std::string& uuid);

    // What the five kinds share, written once.
    template <class Set>
    void createCacheOf(std::map<std::string, Set>& cache, void (*fetch)(const std::string&, Set&), const std::string& uuid);
    template <class Set>
    const Set& cachedOf(std::map<std::string, Set>& cache, void (*fetch)(const std::string&, Set&), const std::string& uuid);
    template <class Set>
    void defaultFilterOf(const Set& set, const char* table, AnalysisFilter& filter);
    template <class Set>
    std::string pageOf(const Set& set, const char* table, const AnalysisFilter& filter);
    template <class Set>
    bool endOf(const Set& set, const char* table, const AnalysisFilter& filter);
    template <class Set>
    Json::Value documentOf(const Set& set, const char* table, const char* kind_text, bool signal_findings);
    void insertRout(const char* table);

    int CacheCount = 0;
    std::vector<std::string> CacheOrder;
    std::map<std::string, AnalysisFilter> m_filters;
    std::map<std::string, std::map<int, std::string>> RangeRoutes;
    std::map<std::string, KESTO::API::signal_result> m_signalLayerCache;
    std::map<std::string, KESTO::API::drill_result> m_drillCache;
    std::map<std::string, KESTO::API::solder_mask_result> m_solderMaskCache;
    std::map<std::string, KESTO::API::silk_screen_result> m_silkScreenCache;
    std::map<std::string, KESTO::API::board_drill_result> m_boardDrillCache;
};
