#include "engine/formats/odb/structured.h"

namespace kesto::odb {
namespace {

std::string_view trim(std::string_view s)
{
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t' || s.front() == '\r')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) s.remove_suffix(1);
    return s;
}

} // namespace

bool parse_structured(std::string_view text, StructuredText& out, std::string& error)
{
    out = StructuredText();
    Block* open = nullptr;
    size_t line_no = 0;
    while (!text.empty()) {
        const size_t nl = text.find('\n');
        const std::string_view line = trim(text.substr(0, nl));
        text = nl == std::string_view::npos ? std::string_view() : text.substr(nl + 1);
        ++line_no;
        if (line.empty() || line[0] == '#') continue;
        const size_t eq = line.find('=');
        if (eq == std::string_view::npos) {
            if (line == "}" && open) {
                open = nullptr;
                continue;
            }
            if (!open && line.size() > 1 && line.back() == '{') {
                out.blocks.push_back(Block{std::string(trim(line.substr(0, line.size() - 1))), {}});
                open = &out.blocks.back();
                continue;
            }
            error = "line " + std::to_string(line_no) + ": '" + std::string(line) + "' is neither KEY=VALUE nor a block";
            return false;
        }
        Fields& fields = open ? open->fields : out.fields;
        fields.emplace_back(std::string(trim(line.substr(0, eq))), std::string(trim(line.substr(eq + 1))));
    }
    if (open) {
        error = "block '" + open->type + "' is not closed";
        return false;
    }
    return true;
}

std::string write_structured(const StructuredText& text, std::string_view separator)
{
    std::string out;
    for (const auto& [key, value] : text.fields) ((out += key) += separator) += value + "\n";
    for (const Block& block : text.blocks) {
        if (!out.empty()) out += '\n';
        out += block.type + " {\n";
        for (const auto& [key, value] : block.fields) (((out += "    ") += key) += separator) += value + "\n";
        out += "}\n";
    }
    return out;
}

std::string field(const Fields& fields, std::string_view key, const std::string& fallback)
{
    for (const auto& [k, v] : fields)
        if (k == key) return v;
    return fallback;
}

} // namespace kesto::odb
