// Starting the library as a host does, in the test's working directory, and
// sending requests through process.
#pragma once
#include "adaptor/exports.h"
#include "support/test_support.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <string>

namespace kesto::test {

inline void start_library(const std::string& job_library = "./jobs")
{
    write_file("config.json", R"({"log_path":"./log","gmsg_pass":"OK","gmsg_error":"ERROR","job_library":")" +
                                  job_library + R"("})");
    ASSERT_TRUE(init());
    init_func_map();
    ASSERT_STREQ(init_orig_func_map(), "OK");
}

inline std::string call(const std::string& request) { return process(request.c_str()); }

inline Json::Value json_of(const std::string& reply)
{
    Json::Value root;
    Json::CharReaderBuilder builder;
    std::string errors;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    EXPECT_TRUE(reader->parse(reply.data(), reply.data() + reply.size(), &root, &errors)) << reply;
    return root;
}

// The matrix as one line per row and column, from GET_MATRIX.
inline std::string matrix_of(const std::string& job)
{
    const Json::Value reply = json_of(call(R"({"func":"GET_MATRIX","paras":{"job":")" + job + R"("}})"));
    std::string out;
    for (const Json::Value& step : reply["paras"]["steps"]) out += "col " + step.asString() + "\n";
    for (const Json::Value& row : reply["paras"]["info"])
        out += std::to_string(row["row"].asInt()) + " " + row["name"].asString() + " " + row["context"].asString() +
               " " + row["type"].asString() + "\n";
    return out;
}

inline const std::string kSampleFolder = std::string(KESTO_TESTDATA) + "/odb";

} // namespace kesto::test
