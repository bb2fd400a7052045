// Analysis-cache commands: fill the pager's cache for a run, read a page,
// export whole results for EDA hosts, and the whole-board analysis from files.
#include "adaptor/handler.h"
#include "analysis/jw_analysis_filter.h"
#include "engine/api/analysis.h"

#include <cstring>
#include <stdexcept>

using kesto::adaptor::Form;
using kesto::adaptor::handle;
using kesto::adaptor::keep;
using kesto::adaptor::parse_request;
using kesto::adaptor::ReplyBuffer;

extern "C" KESTO_EXPORT char* create_jw_analysis_cache(const char* request)
{
    LOG(INFO) << "create_jw_analysis_cache begin";
    try {
        Json::Value root;
        if (!parse_request(request, root)) throw std::invalid_argument("the request is not JSON");
        const int kind = root["analysis_type"].asInt();
        const std::string uuid = root["uuid"].asString();
        JWAnalysisFilter::instance()->createCache(kind, uuid);
    } catch (const std::exception& e) {
        LOG(ERROR) << "create_jw_analysis_cache error: " << e.what();
    }
    LOG(INFO) << "create_jw_analysis_cache end";
    // Nothing to answer; an empty text spares hosts a null check.
    static char none[] = "";
    return none;
}

extern "C" KESTO_EXPORT char* get_jw_analysis_result(const char* request)
{
    // A failure answers the buffer as the previous call left it.
    static char empty[] = "";
    thread_local char* reply = empty;
    try {
        LOG(INFO) << "get_jw_analysis_result begin";
        Json::Value root;
        if (!parse_request(request, root)) throw std::invalid_argument("the request is not JSON");
        const std::string uuid = root["uuid"].asString();
        AnalysisFilter filter;
        filter.type = root["analysis_type"].asInt();
        const int page = root["page"].asInt();
        for (const Json::Value& layer : root["filter"]) {
            LayerFilter lf;
            lf.layer = layer["layer"].asString();
            for (const Json::Value& sub : layer["subfilter"])
                lf.subfilters.push_back({sub["item"].asString(), sub["level"].asInt(), sub["count"].asInt(), page});
            filter.layers.push_back(std::move(lf));
        }
        reply = keep(JWAnalysisFilter::instance()->getFilterResult(uuid, filter), ReplyBuffer::AnalysisPage);
        LOG(INFO) << "get_jw_analysis_result end";
        LOG(INFO) << "result size: " << std::strlen(reply);
    } catch (const std::exception& e) {
        LOG(ERROR) << "get_jw_analysis_result error: " << e.what();
    }
    return reply;
}

extern "C" KESTO_EXPORT char* get_eda_analysis_results(const char* request)
{
    static char empty[] = "";
    thread_local char* reply = empty;
    try {
        LOG(INFO) << "get_eda_analysis_results begin";
        Json::Value root;
        if (!parse_request(request, root)) throw std::invalid_argument("the request is not JSON");
        Json::Value out(Json::objectValue);
        out["analysis_jobName"] = root["jobName"];
        out["analysis_jobUUID"] = root["jobUUID"];
        Json::Value steps(Json::arrayValue);
        JWAnalysisFilter* pager = JWAnalysisFilter::instance();
        for (const Json::Value& step : root["analysis_list"]) {
            const std::string name = step["analysisStep"].asString();
            Json::Value documents(Json::arrayValue);
            for (const Json::Value& param : step["paramList"]) {
                const std::string uuid = param["analysisGuid"].asString();
                switch (param["analysisType"].asInt()) {
                case 1: documents.append(pager->getSignalLayerJsonResult4EDA(uuid)); break;
                case 2: documents.append(pager->getDrillJsonResult4EDA(uuid)); break;
                case 3: documents.append(pager->getSolderMaskJsonResult4EDA(uuid)); break;
                case 4: documents.append(pager->getSilkScreenJsonResult4EDA(uuid)); break;
                case 5: documents.append(pager->getBoardDrillJsonResult4EDA(uuid)); break;
                default: break;
                }
            }
            Json::Value entry(Json::objectValue);
            entry["step"] = name;
            entry["checkInfoList"] = std::move(documents);
            steps.append(std::move(entry));
        }
        out["resultList"] = std::move(steps);
        reply = keep(kesto::adaptor::compact(out), ReplyBuffer::EdaDocument);
        LOG(INFO) << "get_eda_analysis_results end";
        LOG(INFO) << "result size: " << std::strlen(reply);
    } catch (const std::exception& e) {
        LOG(ERROR) << "get_eda_analysis_results error: " << e.what();
    }
    return reply;
}

KESTO_HANDLER(get_analysis_result_from_g)
{
    std::string matrix, signal, drill, silk, solder;
    return handle(__func__, request, Form::MembersParse,
                  {{"matrix_path", matrix}, {"signal_path", signal}, {"drill_path", drill},
                   {"silk_path", silk}, {"solder_path", solder}},
                  [&] {
                      AllTypeAnalysisHandle analysis;
                      return keep(analysis.allTypeAnalysisDoor(matrix, signal, drill, silk, solder));
                  });
}
