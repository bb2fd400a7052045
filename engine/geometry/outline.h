// Exact outlines and boxes of the features of a layer.
//
// An outline is the area the feature covers, whatever its polarity: the
// caller decides what a negative feature takes away. Arcs are replaced by
// chords within the bound of geometry.h.
#pragma once
#include "engine/geometry/geometry.h"
#include "engine/geometry/stroke_font.h"

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace kesto::geom {

// Outlines and boxes of user symbols worked out once per context, so that
// symbols placed many times, or nested, cost one expansion each.
struct UserSymbolCache {
    std::map<std::string, Paths> outlines;
    std::map<std::string, Box> boxes;
    std::set<std::string> expanding; // a symbol met again inside itself draws nothing
};

// What outlines need beyond the layer: the features of user-defined symbols
// and the stroke font of texts. A context is a snapshot for one piece of
// work: make a new one after user symbols change.
struct OutlineContext {
    // The features of a user symbol by name, or nullptr when there is none.
    std::function<const Layer*(const std::string& name)> user_symbol;
    // Stroke fonts by name (the job's fonts/<name> files). A text takes its
    // own font, else "standard", else the built-in font.
    std::map<std::string, std::shared_ptr<const StrokeFont>> fonts;
    std::shared_ptr<UserSymbolCache> cache = std::make_shared<UserSymbolCache>();
};

// Lookups into a job: its user symbols and the fonts of its fonts/ files.
// A font file that does not parse is left out, and `font_error` says which
// and why.
OutlineContext context_of(const Job& job, std::string* font_error = nullptr);
// Lookups into user symbols alone (a file being read or written), no fonts.
OutlineContext context_of(const std::map<std::string, UserSymbol>& symbols);

// User symbols may hold user symbols; deeper nesting than this draws nothing.
constexpr int kMaxSymbolDepth = 8;

// The outline of a symbol centred on the origin, unrotated.
Paths symbol_outline(const Symbol& symbol, const OutlineContext& context, int depth = 0);
// A box around the symbol centred on the origin, without building its outline.
Box symbol_box(const Symbol& symbol, const OutlineContext& context, int depth = 0);

Paths feature_outline(const Layer& layer, const Feature& feature, const OutlineContext& context,
                      int depth = 0);
// A box around the feature's outline, computed without it where the shape
// allows; never smaller than the outline's own box.
Box feature_box(const Layer& layer, const Feature& feature, const OutlineContext& context, int depth = 0);
// The extent of the layer's features from position `first` on.
Box layer_box(const Layer& layer, const OutlineContext& context, std::size_t first = 0);

// The whole image of a layer's features in drawing order: positive features
// add, negative ones take away.
Paths layer_outline(const Layer& layer, const OutlineContext& context, int depth = 0);

// The outline of a surface body (islands with their holes).
Paths surface_outline(const Surface& surface);
// A surface body covering an outline: each island followed by its holes,
// islands standing in holes after those; edges are straight (arcs of the
// outline stay chords).
Surface surface_of(const Paths& outline);

// The outline of a line or arc drawn with a symbol: round symbols give round
// ends, any other symbol is swept along the path.
Paths stroke_outline(const Path& centreline, const Symbol& symbol, const OutlineContext& context, int depth = 0);

} // namespace kesto::geom
