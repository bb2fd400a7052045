// JSON forms of the engine records that hosts send and receive. They live in
// the records' namespace so that the paras reader finds them for any target.
#pragma once
#include "adaptor/paras.h"
#include "engine/api/display.h"
#include "engine/api/features.h"
#include "engine/api/selection.h"

namespace KESTO::API {

void read_value(const Json::Value& v, show_param& out);
void read_value(const Json::Value& v, color& out);
void read_value(const Json::Value& v, select_info& out);
// Only the seven feature-type values 0, 1, 2, 4, 8, 16 and 32 set "type".
void read_value(const Json::Value& v, featureInfo& out);

Json::Value to_json(const select_info& info);
Json::Value to_json(const featureInfo& info);

} // namespace KESTO::API

namespace kesto::adaptor {

// Feature attributes as hosts send them: an object of names and values, or a
// list of "name" / "name=value" texts.
struct AttributeMap {
    std::map<std::string, std::string> values;
};
void read_value(const Json::Value& v, AttributeMap& out);

} // namespace kesto::adaptor

namespace kesto::adaptor {
// A unit as hosts name it: 0, "mm" or "metric" for millimetres, 1, "inch"
// or "imperial" for inches (any case); -1 for anything else.
int unit_choice(const Json::Value& v);
// Sets the display parameters' unit from a host's unit value; another value
// is logged under `command` and leaves the unit as it was.
void change_unit(const Json::Value& units, KESTO::API::show_param& param, const char* command);
} // namespace kesto::adaptor

namespace KESTO::API {
// {"x": .., "y": ..} in the working unit, or {"ix": .., "iy": ..} in engine units.
void read_value(const Json::Value& v, lPoint& out);
} // namespace KESTO::API
