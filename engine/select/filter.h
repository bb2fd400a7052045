// The selection filter: which features of a layer a select-by-filter command
// takes.
#pragma once
#include "engine/model/model.h"

#include <functional>
#include <string>
#include <vector>

namespace kesto::select {

enum TypeBits : int { kLine = 1, kPad = 2, kArc = 4, kSurface = 8, kText = 16, kBarcode = 32, kAllTypes = 127 };

struct AttributeTest {
    std::string name;
    bool any_value = true; // "name" matches any value, "name=value" that value
    std::string value;
};

struct Filter {
    int types = kAllTypes;
    bool by_symbol = false;            // only symbols matching `symbols` (with * and ? wildcards)
    std::vector<std::string> symbols;
    Coord min_width = 0, max_width = 0; // lines and arcs; max 0 means no upper bound
    int dcode = -1;                    // -1 any
    bool any_attribute = false;        // false: every test must hold; true: one is enough
    std::vector<AttributeTest> attributes;
    int profile = 0;                   // 0 anywhere, 1 inside the profile, 2 outside
    bool within_selection = false;     // only features already selected
};

// "name" or "name=value".
AttributeTest parse_attribute_test(const std::string& text);

int type_bit(FeatureKind kind);

// The width a line or arc is drawn with (its symbol's diameter or side); 0
// for other features.
Coord line_width(const Layer& layer, const Feature& feature);

bool glob_match(const std::string& pattern, const std::string& text);

// True when `feature` passes every part of `filter`. `inside_profile` answers
// the profile test; it is consulted only when the filter has one.
bool passes(const Layer& layer, const Feature& feature, const Filter& filter,
            const std::function<bool(const Feature&)>& inside_profile = {});

} // namespace kesto::select
