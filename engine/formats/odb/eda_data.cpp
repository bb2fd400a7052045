#include "engine/formats/odb/eda_data.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <functional>
#include <mutex>

namespace kesto::odb {

namespace {

constexpr std::size_t kMaxProblems = 20;

// Splits a record at blanks, up to the ';' that opens its attributes.
std::vector<std::string_view> words(std::string_view line)
{
    const std::size_t semi = line.find(';');
    if (semi != std::string_view::npos) line = line.substr(0, semi);
    std::vector<std::string_view> out;
    std::size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && std::isspace(static_cast<unsigned char>(line[i]))) ++i;
        const std::size_t start = i;
        while (i < line.size() && !std::isspace(static_cast<unsigned char>(line[i]))) ++i;
        if (i > start) out.push_back(line.substr(start, i - start));
    }
    return out;
}

bool to_int(std::string_view s, long long& v)
{
    const auto r = std::from_chars(s.data(), s.data() + s.size(), v);
    return r.ec == std::errc() && r.ptr == s.data() + s.size();
}

bool to_double(std::string_view s, double& v)
{
    // strtod wants a terminated string; words are short.
    const std::string t(s);
    char* end = nullptr;
    v = std::strtod(t.c_str(), &end);
    return !t.empty() && end == t.c_str() + t.size();
}

template <class OnLine>
void each_line(std::string_view text, OnLine&& on_line)
{
    std::size_t n = 0, pos = 0;
    while (pos < text.size()) {
        std::size_t end = text.find('\n', pos);
        if (end == std::string_view::npos) end = text.size();
        std::string_view line = text.substr(pos, end - pos);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        ++n;
        on_line(n, line);
        pos = end + 1;
    }
}

void note(std::vector<std::string>& problems, std::size_t line, const char* why)
{
    if (problems.size() < kMaxProblems) problems.push_back("line " + std::to_string(line) + ": " + why);
}

std::string lower(std::string s)
{
    for (char& c : s) c = char(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

const Layer* layer_named(const Step& step, const std::string& name)
{
    const std::string want = lower(name);
    for (const auto& [n, l] : step.layers)
        if (lower(n) == want) return &l;
    return nullptr;
}

} // namespace

bool is_no_net(const std::string& name) { return name == "$NONE$"; }

void read_eda_data(std::string_view text, EdaData& out)
{
    EdaNet* net = nullptr;
    EdaSubnet* subnet = nullptr;
    EdaPackage* package = nullptr;
    EdaPin* pin = nullptr;  // a pin whose first outline record is still to come
    bool group = false;     // inside a feature group (FGR): its feature ids name no net
    each_line(text, [&](std::size_t n, std::string_view line) {
        const std::vector<std::string_view> w = words(line);
        if (w.empty() || w[0].front() == '#') return;
        const std::string_view key = w[0];
        long long a = 0, b = 0;
        if (key == "LYR") {
            out.layers.assign(w.begin() + 1, w.end());
        } else if (key == "NET") {
            out.nets.emplace_back();
            net = &out.nets.back();
            net->name = w.size() > 1 ? std::string(w[1]) : std::string();
            subnet = nullptr, package = nullptr, pin = nullptr, group = false;
        } else if (key == "SNT") {
            if (!net || w.size() < 2) return note(out.problems, n, "subnet outside a net");
            net->subnets.emplace_back();
            subnet = &net->subnets.back();
            subnet->kind = std::string(w[1]);
            if (subnet->kind == "TOP") {
                if (w.size() < 5 || w[2].size() != 1 || !to_int(w[3], a) || !to_int(w[4], b) || a < 0 || b < 0 ||
                    a > (1 << 30) || b > (1 << 30))
                    return note(out.problems, n, "toeprint subnet without side, component and pin");
                subnet->side = w[2][0];
                subnet->component = int(a);
                subnet->toeprint = int(b);
            }
        } else if (key == "FGR") {
            net = nullptr, subnet = nullptr, package = nullptr, pin = nullptr, group = true;
        } else if (key == "FID") {
            if (group) return;
            if (!subnet) return note(out.problems, n, "feature id outside a subnet");
            if (w.size() < 4 || w[1].size() != 1 || !to_int(w[2], a) || !to_int(w[3], b) || a < 0 || b < 0 ||
                a >= (long long)out.layers.size() || b > 0xffffffffLL)
                return note(out.problems, n, "feature id without type, known layer and index");
            subnet->features.push_back({w[1][0], int(a), std::uint32_t(b)});
        } else if (key == "PKG") {
            out.packages.emplace_back();
            package = &out.packages.back();
            package->name = w.size() > 1 ? std::string(w[1]) : std::string();
            if (w.size() > 2 && !to_double(w[2], package->pitch)) package->pitch = 0;
            net = nullptr, subnet = nullptr, pin = nullptr, group = false;
        } else if (key == "PIN") {
            double x = 0, y = 0;
            if (!package || w.size() < 5 || w[2].size() != 1 || !to_double(w[3], x) || !to_double(w[4], y))
                return note(out.problems, n, "pin outside a package or without type and centre");
            package->pins.push_back({std::string(w[1]), w[2][0], x, y, false});
            pin = &package->pins.back();
        } else if (pin && (key == "CR" || key == "RC" || key == "SQ" || key == "CT" || key == "OB")) {
            pin->round = key == "CR";
            pin = nullptr;
        }
    });
}

void read_components(std::string_view text, std::vector<EdaComponent>& out, std::vector<std::string>& problems)
{
    each_line(text, [&](std::size_t n, std::string_view line) {
        const std::vector<std::string_view> w = words(line);
        if (w.empty() || w[0] != "CMP") return;
        long long pkg = -1;
        EdaComponent c;
        if (w.size() < 7 || !to_int(w[1], pkg) || pkg < 0 || pkg > (1 << 30)) {
            note(problems, n, "component without package reference and name");
        } else {
            c.package = int(pkg);
            c.name = std::string(w[6]);
        }
        out.push_back(c);  // kept even when unreadable: components are numbered by position
    });
}

std::shared_ptr<const EdaData> step_eda_data(const Step& step)
{
    const auto file = step.files.find("eda/data");
    if (file == step.files.end()) return nullptr;
    const Layer* top = layer_named(step, "comp_+_top");
    const Layer* bot = layer_named(step, "comp_+_bot");
    auto text_of = [](const Layer* l) -> std::string_view {
        if (!l) return {};
        const auto f = l->files.find("components");
        return f == l->files.end() ? std::string_view() : std::string_view(f->second);
    };
    const std::string_view data = file->second, top_text = text_of(top), bot_text = text_of(bot);
    const std::hash<std::string_view> h;
    const std::size_t key = h(data) ^ (h(top_text) * 31) ^ (h(bot_text) * 131);

    // One job's data is asked for once per copper layer and family: keep the last.
    static std::mutex mutex;
    static std::size_t cached_key = 0;
    static std::shared_ptr<const EdaData> cached;
    std::lock_guard<std::mutex> lock(mutex);
    if (cached && cached_key == key) return cached;
    auto eda = std::make_shared<EdaData>();
    read_eda_data(data, *eda);
    read_components(top_text, eda->top, eda->problems);
    read_components(bot_text, eda->bottom, eda->problems);
    cached = eda, cached_key = key;
    return cached;
}

} // namespace kesto::odb
