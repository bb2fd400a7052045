// Stroke fonts in the ODB++ font file format (fonts/standard):
//
//   XSIZE 0.302000        character cell width
//   YSIZE 0.302000        character cell height
//   OFFSET 0.000000       extra space between characters
//   CHAR A
//   LINE xs ys xe ye P|N R|S width
//   ECHAR
//
// Values are inches unless a "UNITS=MM" line comes first. Glyph coordinates
// put the cell's lower left corner at (-XSIZE/2, -YSIZE/3): the standard font
// centres its glyphs on x = 0 and puts capitals on y = -0.1 inch.
#pragma once
#include "engine/model/model.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace kesto::geom {

struct Stroke {
    double xs = 0, ys = 0, xe = 0, ye = 0; // nanometres, glyph coordinates
    double width = 0;                      // nanometres
    bool positive = true;
    bool round = true;                     // R: round ends, S: square ends
};

struct StrokeFont {
    double xsize = 0, ysize = 0, offset = 0; // nanometres
    std::map<unsigned char, std::vector<Stroke>> glyphs;
};

// The font of a font file's text; nullopt with a message naming the line
// when the text is not a font.
std::optional<StrokeFont> parse_stroke_font(const std::string& text, std::string* error = nullptr);

// The kernel's own font for jobs that carry none: digits, capitals (small
// letters draw as capitals) and common punctuation, in the standard font's
// cell and line width.
const StrokeFont& builtin_stroke_font();

} // namespace kesto::geom
