// Replies: the configuration's verdict texts, and JSON texts kept in reply
// buffers that outlive the call. Hosts never free a reply; they copy it before
// their next call that writes the same buffer.
#pragma once
#include <json/json.h>

#include <string>

namespace kesto::adaptor {

// One buffer per reply kind and per thread. Most JSON replies share one;
// commands whose replies hosts keep while calling others get their own.
enum class ReplyBuffer {
    Shared,
    AnalysisPage,  // get_jw_analysis_result
    EdaDocument,   // get_eda_analysis_results
    Count
};

char* pass();
char* error();

// Keeps `text` in the buffer and returns it.
char* keep(std::string text, ReplyBuffer buffer = ReplyBuffer::Shared);

// Compact one-line JSON, as jsoncpp's fast writer writes it (ends with "\n").
std::string compact(const Json::Value& value);

// {"func": func, "paras": paras} written compactly into the buffer.
char* reply_json(const char* func, const Json::Value& paras, ReplyBuffer buffer = ReplyBuffer::Shared);

} // namespace kesto::adaptor
