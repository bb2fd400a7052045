#include "engine/api/eps.h"

#include <glog/logging.h>

#include <fstream>

namespace KESTO::API {
namespace {

// Fills the record's name and tells why the file cannot be taken: it is not
// there, it is not EPS, or it is EPS, which this engine does not interpret.
void examine(const std::string& path, EPS_INFO& info)
{
    const size_t slash = path.find_last_of('/');
    info.name = slash == std::string::npos ? path : path.substr(slash + 1);
    info.rules.clear();
    std::ifstream in(path, std::ios::binary);
    std::string head(64, '\0');
    if (!in || !in.read(&head[0], std::streamsize(head.size())).gcount()) {
        info.reason = "cannot read " + path;
        return;
    }
    head.resize(size_t(in.gcount()));
    // An EPS file opens with "%!PS-Adobe-n.n EPSF-n.n", or with the
    // binary preview header C5 D0 D3 C6.
    const bool eps = head.rfind("%!PS-Adobe", 0) == 0 || head.rfind("\xC5\xD0\xD3\xC6", 0) == 0;
    info.reason = eps ? "EPS artwork is not interpreted by this engine" : path + " is not an EPS file";
}

} // namespace

bool open_eps(const std::string& job, const std::string& path, EPS_INFO& info)
{
    examine(path, info);
    LOG(ERROR) << "open_eps " << job << ": " << info.reason;
    return false;
}

bool identify_eps(const std::string& job, const std::string& path, EPS_INFO& info, eps_steps& steps)
{
    steps.clear();
    examine(path, info);
    LOG(ERROR) << "identify_eps " << job << ": " << info.reason;
    return false;
}

} // namespace KESTO::API
