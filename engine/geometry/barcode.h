// Barcodes: Code 39 (named "UPC39" in job files) as bars, with the
// human-readable text in the job's font and an optional inverted background.
// The layout is described in docs/geometry.md.
#pragma once
#include "engine/geometry/outline.h"

#include <optional>
#include <string>

namespace kesto::geom {

// A wide element is this many narrow ones.
constexpr int kCode39WideRatio = 3;

// What a barcode record says after its orientation, lengths in nanometres.
struct BarcodeLayout {
    double element = 0;        // narrow bar width
    double height = 0;         // bar height
    bool full_ascii = false;   // every ASCII character, as Code 39 shift pairs
    bool checksum = false;     // a modulo 43 check character before the stop
    bool inverted = false;     // a dark background with the bars and text cleared
    bool readable = false;     // the text drawn beside the bars
    bool readable_top = false; // above the bars, else below
};

// Reads `Text::barcode` ("UPC39 E 0.008 0.2 Y N Y T T": type, E, width,
// height, full ASCII, checksum, background, text, text position), lengths in
// `units`. Nothing when the type is not Code 39 or a size is not positive.
std::optional<BarcodeLayout> parse_barcode(const std::string& fields, Units units);

// The characters the bars show: the start '*', the text (as shift pairs with
// full ASCII), the check character when asked, the stop '*'. Characters
// Code 39 cannot encode are left out.
std::string code39_symbols(const std::string& text, bool full_ascii, bool checksum);

// The outline and box of a barcode feature, placed as texts are.
Paths barcode_outline(const Layer& layer, const Feature& feature, const OutlineContext& context);
Box barcode_box(const Layer& layer, const Feature& feature, const OutlineContext& context);

} // namespace kesto::geom
