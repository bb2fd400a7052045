// ODB++ features files: one record (L, P, A, T, B, or a surface S ... SE)
// into a kesto::Feature on a Layer and back, and whole files (units, symbol,
// attribute name and attribute text tables, records).
//
// The same record parser serves files and the commands that build or add
// features from text. In a record a symbol may be given by its number in the
// layer's table ("L 0 0 1 1 3 P 0") or by name ("L 0 0 1 1 r10 P 0"; a name
// the table lacks is appended), and an attribute by number or by name
// (";.smd,.string=abc").
#pragma once
#include "engine/model/model.h"

#include <map>
#include <set>
#include <vector>
#include <string>
#include <string_view>

namespace kesto::odb {

// The names of attributes whose values are texts: in files they are written as
// numbers of the &n table.
using TextAttributes = std::set<std::string>;
// The options of option attributes, in order: files write an option by its
// number in this list (or, in some jobs, by its name); we hold its name.
using OptionLists = std::map<std::string, std::vector<std::string>>;

// Appends the feature(s) of one record to `layer`, coordinates in `units`.
// A surface record may span lines ("S P 0\nOB ...\nOS ...\nOE\nSE"). False with
// `error` set when the record does not parse; the layer is then unchanged.
bool parse_feature_record(std::string_view record, Layer& layer, Units units, std::string* error = nullptr);

// One record as a features file writes it (a surface over several lines, no
// final line feed), attribute values as they are held.
std::string write_feature_record(const Layer& layer, const Feature& feature, Units units);

// Reads a whole features file into an empty layer: its UNITS (the file's
// unit, else `default_units`), tables and records. Values of text attributes
// stay numbers of layer.attribute_texts until resolve_attribute_texts.
// False with `error` as "line N: what" when any line does not parse.
bool read_features_file(std::string_view text, Layer& layer, Units default_units, std::string& error);

// Replaces the values of text attributes by their texts and drops the table;
// option values (numbers or names) become the option's name.
void resolve_attribute_texts(Layer& layer, const TextAttributes& text_attributes, const OptionLists& options = {});

// The whole features file of a layer, in layer.units. Text values go to the
// &n table (an empty one is written as a valueless attribute); options named
// in `options` are written by number.
std::string write_features_file(const Layer& layer, const TextAttributes& text_attributes,
                                const OptionLists& options = {});

} // namespace kesto::odb
