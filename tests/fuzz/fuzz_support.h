// What the fuzz targets share: quiet logging and a scratch directory that
// files a target writes land in.
#pragma once
#include <glog/logging.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace kesto::fuzz {

inline void quiet_logging()
{
    FLAGS_minloglevel = google::GLOG_FATAL;
    FLAGS_logtostderr = false;
    FLAGS_stderrthreshold = google::GLOG_FATAL;
}

// A fresh directory under the temporary directory, made the working directory.
inline std::string enter_scratch()
{
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/kesto-fuzz-XXXXXX";
    if (!mkdtemp(pattern.data()) || chdir(pattern.c_str()) != 0) std::abort();
    return pattern;
}

} // namespace kesto::fuzz
