// Reading "paras": a handler declares its keys once, each bound to a typed
// target, and one call walks the request the way its table reads it.
//
//   std::string job; std::vector<std::string> layers; double dx = 0;
//   read_elements(root["paras"], {{"job", job}, {"layers", layers}, {"offset_x", dx}});
//
// Conversions are jsoncpp's own (asString, asInt, asDouble, asBool), so a value
// of the wrong type throws and the handler answers with the error text.
#pragma once
#include <json/json.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace kesto::adaptor {

// Target conversions. A record type gets its own by an overload of read_value
// found next to it (argument-dependent lookup), e.g. for layer_info.
inline void read_value(const Json::Value& v, std::string& out) { out = v.asString(); }
inline void read_value(const Json::Value& v, int& out) { out = v.asInt(); }
inline void read_value(const Json::Value& v, unsigned& out) { out = v.asUInt(); }
inline void read_value(const Json::Value& v, long long& out) { out = v.asInt64(); }
inline void read_value(const Json::Value& v, double& out) { out = v.asDouble(); }
inline void read_value(const Json::Value& v, bool& out) { out = v.asBool(); }
inline void read_value(const Json::Value& v, Json::Value& out) { out = v; }

// A list: an array whose elements are converted one by one. jsoncpp answers
// size() 0 for a scalar, so a scalar gives an empty list, as the host's
// library always did.
template <class T>
void read_value(const Json::Value& v, std::vector<T>& out)
{
    out.clear();
    out.resize(v.size());
    for (Json::ArrayIndex i = 0; i < v.size(); ++i) read_value(v[i], out[i]);
}

// One declared key: its name in "paras", where its value goes, and the value
// the target takes when the request never names the key: the type's empty
// value (empty, 0, 0.0, false, the record's defaults) unless the key declares
// another, as {"key", target, fallback}. The frame sets every target to that
// value before reading, so an initial value in the handler never leaks in.
class Key {
    template <class T>
    struct Same { using type = T; }; // keeps the fallback from deducing the type
public:
    template <class T>
    Key(const char* name, T& target)
        : name_(name), target_(&target), fallback_(nullptr),
          read_(+[](const Json::Value& v, void* t) { read_value(v, *static_cast<T*>(t)); }),
          reset_(+[](void* t, const void*) { *static_cast<T*>(t) = T{}; })
    {
    }
    // The fallback must live as long as the handler call (a literal in the key
    // list does: it lives to the end of the statement that runs the handler).
    template <class T>
    Key(const char* name, T& target, const typename Same<T>::type& fallback)
        : name_(name), target_(&target), fallback_(&fallback),
          read_(+[](const Json::Value& v, void* t) { read_value(v, *static_cast<T*>(t)); }),
          reset_(+[](void* t, const void* f) { *static_cast<T*>(t) = *static_cast<const T*>(f); })
    {
    }
    const char* name() const { return name_; }
    void read(const Json::Value& v) const { read_(v, target_); }
    void reset() const { reset_(target_, fallback_); }

private:
    const char* name_;
    void* target_;
    const void* fallback_;
    void (*read_)(const Json::Value&, void*);
    void (*reset_)(void*, const void*);
};

using Keys = std::initializer_list<Key>;

// First-table form: "paras" is an array of objects; every member of every
// element is matched against the keys and a later occurrence wins. A "paras"
// that is an object with members is refused (jsoncpp cannot index it).
void read_elements(const Json::Value& paras, Keys keys);

// Sets every target to its fallback: what a key that never occurs keeps.
void reset_keys(Keys keys);

// Second-table form: "paras" is one object whose members are matched.
void read_members(const Json::Value& paras, Keys keys);

// Positional form: element `index` of the "paras" array, member `key`
// (null when absent), as open_job reads "path" and "job".
const Json::Value& element_member(const Json::Value& paras, Json::ArrayIndex index, const char* key);

// Direct-index form: paras[key] without walking, so an absent key reads null.
template <class T>
void read_direct(const Json::Value& paras, const char* key, T& out)
{
    read_value(paras[key], out);
}

// Parses a request text as the dispatchers do; false when it is not JSON.
bool parse_request(const char* request, Json::Value& root);

} // namespace kesto::adaptor

#include "engine/api/records.h"

namespace KESTO::API {
// {"ix": .., "iy": ..}: ADL finds this for point targets and point lists.
inline void read_value(const Json::Value& v, point& out)
{
    out.ix = v["ix"].asInt();
    out.iy = v["iy"].asInt();
}
} // namespace KESTO::API
