// The structured text files of an ODB++ job (matrix/matrix, misc/info,
// stephdr, tools, attrlist, sysattr): KEY=VALUE lines and TYPE { ... } blocks.
#pragma once
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kesto::odb {

using Fields = std::vector<std::pair<std::string, std::string>>;

struct Block {
    std::string type;
    Fields fields;
};

struct StructuredText {
    Fields fields;              // top-level KEY=VALUE lines, in order
    std::vector<Block> blocks;  // TYPE { ... } blocks, in order
};

// Keys and values are trimmed ("KEY=V" and ".name = v" alike). False with
// `error` as "line N: what" on a line that is neither, or a block left open.
bool parse_structured(std::string_view text, StructuredText& out, std::string& error);

// `separator` sits between key and value: "=" for most files, " = " for attrlist.
std::string write_structured(const StructuredText& text, std::string_view separator = "=");

// The value of `key`, or `fallback`.
std::string field(const Fields& fields, std::string_view key, const std::string& fallback = std::string());

} // namespace kesto::odb
