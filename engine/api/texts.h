// A job's stroke fonts and the texts of a layer.
#pragma once
#include <string>
#include <vector>

namespace KESTO {
namespace API {

// The job's fonts (its fonts/ files that parse), sorted; the built-in font
// stands in for "standard" when the job has none of that name.
bool get_fonts(const std::string& job, std::vector<std::string>& names);
bool has_font(const std::string& job, const std::string& font, bool& has);
// Reads a font file and keeps it in the job under its file name (or `name`
// when given), replacing one of that name. A file that does not parse is
// refused whole, with the line at fault in the ERROR record.
bool load_one_font(const std::string& job, const std::string& path, const std::string& name);

struct text_entry {
    int index = 0;
    std::string text;
    std::string font;
    double x = 0, y = 0;
    double xsize = 0, ysize = 0; // character cell, working unit
    double angle = 0;
    bool mirror = false;
    bool barcode = false;
    bool selected = false;
};
// The layer's texts and barcodes in drawing order (the selected ones only
// when asked).
bool get_text_list(const std::string& job, const std::string& step, const std::string& layer, bool selected_only,
                   std::vector<text_entry>& out);

} // namespace API
} // namespace KESTO
