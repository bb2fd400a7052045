#include "engine/api/nets.h"
#include "engine/model/text.h"

#include "engine/drc/drill_analysis.h"
#include "engine/drc/nets.h"
#include "engine/geometry/hit.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <algorithm>
#include <cctype>
#include <memory>
#include <set>

namespace KESTO {
namespace API {

namespace {

using kesto::drc::BoardNets;

using kesto::lower;

struct Opened {
    kesto::Job* job = nullptr;
    kesto::Step* step = nullptr;
};

Opened open_step(const std::string& job, const std::string& step, const char* operation)
{
    Opened o;
    o.job = kesto::store::find_job(job);
    o.step = o.job ? kesto::store::find_step(*o.job, lower(step)) : nullptr;
    if (!o.job)
        LOG(ERROR) << operation << ": job " << job << " is not open";
    else if (!o.step)
        LOG(ERROR) << operation << ": step " << step << " is not a step of job " << job;
    return o;
}

bool is_board_layer(const BoardNets& nets, const std::string& layer) { return nets.net_of.count(layer) != 0; }

// The layers of the board in matrix order: copper, then drill.
std::vector<std::string> board_layers(const BoardNets& nets)
{
    std::vector<std::string> all = nets.copper;
    all.insert(all.end(), nets.drills.begin(), nets.drills.end());
    return all;
}

} // namespace

bool calculate_layer_net(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                         std::map<std::string, int>& per_layer, int& net_count)
{
    per_layer.clear();
    net_count = 0;
    Opened o = open_step(job, step, "calculate_layer_net");
    if (!o.step) return false;
    const auto nets = kesto::drc::board_nets(*o.job, *o.step);
    std::vector<std::string> wanted;
    for (const std::string& name : layers) wanted.push_back(lower(name));
    for (const std::string& name : wanted)
        if (!is_board_layer(*nets, name)) {
            LOG(ERROR) << "calculate_layer_net: " << name << " is no copper or drill layer of job " << job;
            return false;
        }
    if (wanted.empty()) wanted = board_layers(*nets);
    for (const std::string& name : wanted) {
        std::set<std::int32_t> seen;
        for (std::int32_t n : nets->net_of.at(name))
            if (n >= 0) seen.insert(n);
        per_layer[name] = int(seen.size());
    }
    net_count = nets->count;
    return true;
}

int clear_layer_net(const std::string& job, const std::string& step)
{
    return kesto::drc::forget_board_nets(job, step.empty() ? step : lower(step));
}

bool classify_layer_net(const std::string& job, const std::string& step, const std::string& layer,
                        std::vector<layer_net>& result, std::vector<int>& no_net)
{
    result.clear();
    no_net.clear();
    Opened o = open_step(job, step, "classify_layer_net");
    if (!o.step) return false;
    const auto nets = kesto::drc::board_nets(*o.job, *o.step);
    const std::string name = lower(layer);
    if (!is_board_layer(*nets, name)) {
        LOG(ERROR) << "classify_layer_net: " << layer << " is no copper or drill layer of job " << job;
        return false;
    }
    std::map<std::int32_t, layer_net> on_layer;
    const std::vector<std::int32_t>& list = nets->net_of.at(name);
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (list[i] < 0) {
            no_net.push_back(int(i));
            continue;
        }
        layer_net& n = on_layer[list[i]];
        n.net = list[i];
        n.features.push_back(int(i));
    }
    // Where else each net goes, and the name its features carry.
    for (const std::string& other : board_layers(*nets)) {
        const std::vector<std::int32_t>& nets_there = nets->net_of.at(other);
        const kesto::Layer* features = kesto::store::find_layer(*o.job, *o.step, other);
        for (std::size_t i = 0; i < nets_there.size(); ++i) {
            auto it = on_layer.find(nets_there[i]);
            if (it == on_layer.end()) continue;
            layer_net& n = it->second;
            if (n.layers.empty() || n.layers.back() != other) n.layers.push_back(other);
            if (n.name.empty() && features && i < features->features.size())
                if (const std::string* v = kesto::drc::attribute(*features, features->features[i], ".net_name")) n.name = *v;
        }
    }
    for (auto& [net, n] : on_layer) result.push_back(std::move(n));
    return true;
}

bool select_features_by_net(const std::string& job, const std::string& step, const std::string& layer,
                            const std::vector<std::string>& dest_layers, const std::vector<point>& points)
{
    Opened o = open_step(job, step, "select_features_by_net");
    if (!o.step) return false;
    if (points.empty()) {
        LOG(ERROR) << "select_features_by_net: no point was given";
        return false;
    }
    const auto nets = kesto::drc::board_nets(*o.job, *o.step);
    const std::string name = lower(layer);
    auto index = nets->index.find(name);
    kesto::Layer* clicked = kesto::store::find_layer(*o.job, *o.step, name);
    if (index == nets->index.end() || !clicked) {
        LOG(ERROR) << "select_features_by_net: " << layer << " is no copper layer of job " << job;
        return false;
    }
    const kesto::Point at{points.front().ix, points.front().iy};
    const auto hits = kesto::geom::features_at(*clicked, *index->second, at, 0, kesto::geom::context_of(*o.job));
    std::int32_t net = -1;
    for (auto it = hits.rbegin(); it != hits.rend() && net < 0; ++it) net = nets->net(name, *it);
    if (net < 0) {
        LOG(ERROR) << "select_features_by_net: no copper of a net under (" << at.x << ", " << at.y << ") on " << layer;
        return false;
    }
    std::vector<std::string> targets{name};
    for (const std::string& d : dest_layers) targets.push_back(lower(d));
    for (const std::string& target : targets) {
        kesto::Layer* features = kesto::store::find_layer(*o.job, *o.step, target);
        auto list = nets->net_of.find(target);
        if (!features || list == nets->net_of.end()) {
            LOG(WARNING) << "select_features_by_net: " << target << " is no copper or drill layer; skipped";
            continue;
        }
        for (std::size_t i = 0; i < list->second.size() && i < features->features.size(); ++i)
            if (list->second[i] == net) features->features[i].selected = true;
    }
    return true;
}

} // namespace API
} // namespace KESTO
