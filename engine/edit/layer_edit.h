// Edits of one layer's features that need no geometry beyond the model:
// deleting, moving, copying (within the layer and to another one), polarity,
// attributes, drawing order and the selection itself. Each works on the
// selected features and answers how many it changed.
#pragma once
#include "engine/edit/transform.h"
#include "engine/model/model.h"

#include <map>
#include <string>
#include <vector>

namespace kesto::edit {

// The symbol table index of `name` in `layer`, added (as `symbol`) when the
// layer lacks it.
std::int32_t symbol_index(Layer& layer, const Symbol& symbol);
// The attribute name table index of `name`, added when missing.
std::uint32_t attribute_name_index(Layer& layer, const std::string& name);

// Appends a copy of `feature` of `from` to `to`, its symbol, attributes and
// body carried over, and returns the new feature's index. The copy is not
// selected or highlighted.
size_t copy_feature(const Layer& from, const Feature& feature, Layer& to);

// The features' attributes as names and values.
std::map<std::string, std::string> attributes_of(const Layer& layer, const Feature& feature);
void set_attributes(Layer& layer, Feature& feature, const std::map<std::string, std::string>& attributes);

size_t count_selected(const Layer& layer);

// The layer from position `first` on exposed negative: a dark `field` comes
// first and each of those features takes the opposite polarity.
void expose_negative(Layer& layer, Surface field, size_t first = 0);
// Drops the selected features (and their surface and text bodies).
size_t delete_selected(Layer& layer);
size_t place_selected(Layer& layer, const Placement& p);
// Copies of the selected features, placed, appended to `to` (which may be
// `from`); `invert` gives the copies the other polarity.
size_t copy_selected(Layer& from, Layer& to, const Placement& p, bool invert);

enum class PolarityChange { Positive, Negative, Invert };
size_t set_polarity_selected(Layer& layer, PolarityChange change);

enum class AttributeChange { Add, Replace, Remove };
// Add: sets the given attributes, keeping the others; Replace: the given
// attributes become the feature's only ones; Remove: drops the named ones
// (all when `attributes` is empty).
size_t change_attributes_selected(Layer& layer, AttributeChange change, const std::map<std::string, std::string>& attributes);

// Moves the selected features to the end of the drawing order (drawn last,
// on top) or to its start, keeping their order among themselves.
size_t reorder_selected(Layer& layer, bool to_end);

size_t reverse_selection(Layer& layer);
size_t clear_selection(Layer& layer);
size_t clear_highlight(Layer& layer);

} // namespace kesto::edit
