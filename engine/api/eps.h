// EPS artwork. The engine reads no PostScript, so these operations answer
// whether the file could be taken and, when not, why; they never pretend.
#pragma once
#include <map>
#include <string>
#include <vector>

namespace KESTO {
namespace API {

struct EPS_INFO {
    std::string name;               // the file's name, without its folder
    std::vector<std::string> rules; // layer rules found in the file
    std::string reason;             // why the file was not taken (empty when it was)
};

// Layer name to feature count, per step name.
using eps_steps = std::map<std::string, std::map<std::string, int>>;

bool open_eps(const std::string& job, const std::string& path, EPS_INFO& info);
bool identify_eps(const std::string& job, const std::string& path, EPS_INFO& info, eps_steps& steps);

} // namespace API
} // namespace KESTO
