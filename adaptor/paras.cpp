#include "adaptor/paras.h"

#include <cstring>

namespace kesto::adaptor {
namespace {

void match_members(const Json::Value& object, Keys keys)
{
    if (object.isNull()) return;
    if (!object.isObject()) throw Json::LogicError("paras element is not an object");
    for (auto it = object.begin(); it != object.end(); ++it) {
        const char* end = nullptr;
        const char* member = it.memberName(&end);
        const size_t length = static_cast<size_t>(end - member);
        for (const Key& key : keys)
            if (std::strncmp(member, key.name(), length) == 0 && key.name()[length] == '\0') key.read(*it);
    }
}

} // namespace

void read_elements(const Json::Value& paras, Keys keys)
{
    for (Json::ArrayIndex i = 0; i < paras.size(); ++i) match_members(paras[i], keys);
}

void reset_keys(Keys keys)
{
    for (const Key& key : keys) key.reset();
}

void read_members(const Json::Value& paras, Keys keys) { match_members(paras, keys); }

const Json::Value& element_member(const Json::Value& paras, Json::ArrayIndex index, const char* key)
{
    return paras[index][key];
}

bool parse_request(const char* request, Json::Value& root)
{
    if (!request) return false;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    // The reader throws rather than fails on some input (nesting beyond its
    // depth limit); to a caller that is text that does not parse.
    try {
        Json::Reader reader;
        return reader.parse(request, request + std::strlen(request), root, false);
    } catch (const std::exception&) {
        root = Json::Value();
        return false;
    }
#pragma GCC diagnostic pop
}

} // namespace kesto::adaptor
