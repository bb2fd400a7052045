// Data exchange with the outside world: identifying input files, reading
// Gerber and Excellon into layers and writing layers back out.
#pragma once
#include "engine/edit/output_shaping.h"
#include "engine/model/model.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace KESTO {
namespace API {

// How an input file is to be read. Text values used by the engine:
//   format          "Gerber274x", "Gerber274D", "Excellon", "ODB++", "None"
//   data_type       "image", "image_x2", "drill", "rout", "job_directory", "job_archive"
//   units           "inch", "mm"
//   Coordinates     "absolute", "incremental"
//   zeroes_omitted  "leading", "trailing", "none"
struct file_Parameters {
    double file_size = 0;
    std::string format = "None";
    std::string data_type;
    std::string units;
    std::string Coordinates;
    std::string zeroes_omitted;
    bool Decimal_numbers = false;
    std::int32_t Number_format_integer = 0;
    std::int32_t Number_format_decimal = 0;
    std::string separator_char;
    std::string tool_units;
    double text_line_width = 0;
};

// One row of a drill layer's tool table. Sizes in engine units (nm).
struct drill_tools_info {
    std::int32_t iToolIdx = 0;
    std::int32_t iToolCount = 0;
    std::int32_t eToolType = 0;   // 0 plated, 1 non-plated, 2 via
    std::int32_t eViaType = 0;    // 0 standard, 1 photo, 2 laser, 3 press fit
    std::int32_t iMinTor = 0;
    std::int32_t iMaxTor = 0;
    std::int32_t iFinishSize = 0;
    std::int32_t iHoleSize = 0;
    std::int32_t iSlotLength = 0;
    std::int32_t iSymbolId = 0;
};

// One finding while reading or writing a file: where, and what.
struct translate_report {
    std::string file;
    int line = 0;          // 1-based; 0 when the finding is not about one line
    std::string message;
    bool error = true;     // false: a warning, the data was still read as intended
};

// Recognises the file or job at `pathname`; `name` is its base name. The
// parameters say what the file declares, guessed as a CAM tool would where it
// is silent. False (format "None") when the path cannot be read or is no
// format the engine knows.
bool file_identify(const std::string& pathname, std::string& name, file_Parameters& parameters,
                   std::string& format);

} // namespace API
} // namespace KESTO

namespace kesto {

namespace geom {
struct StrokeFont;
}

using Reports = std::vector<KESTO::API::translate_report>;
using UserSymbols = std::map<std::string, UserSymbol>;

namespace gerber {

struct ReadOptions {
    std::string file_name;                  // for reports
    KESTO::API::file_Parameters defaults;   // used where the file is silent (RS-274-D)
    // RS-274-D: the aperture list that came with the file, one aperture a line:
    // "D10 C 0.010", "D11 R 0.060 0.040", "D12 O 0.060 0.030" (shapes also
    // ROUND, SQUARE, RECT, RECTANGLE, OBLONG, OVAL), sizes in the file's units.
    std::string aperture_list;
    // Counts the bytes of the text read so far, for a progress bar.
    std::atomic<long long>* read = nullptr;
};

// Reads Gerber text into `layer` (appending), adding the user symbols it needs
// to `symbols`. False when the file breaks the format; what could be read is
// kept and every finding is in `reports`.
bool read(const std::string& text, const ReadOptions& options, Layer& layer, UserSymbols& symbols,
          Reports& reports);

struct WriteOptions {
    bool inch = false;        // units of the file
    int integer_digits = 4;   // number format
    int decimal_digits = 6;
    // File attributes (TF) written unless the layer carries its own of the name.
    std::vector<std::pair<std::string, std::string>> file_attributes;
    // The job's stroke fonts by name for texts; the built-in font when empty.
    std::map<std::string, std::shared_ptr<const geom::StrokeFont>> fonts;
    // Counts the layer's features as they are written, for a progress bar.
    std::atomic<long long>* written = nullptr;
};

// The X2 file attributes of a job's layer from its matrix row: .FileFunction
// (copper with its number and side, masks, legends and paste with their side,
// plated drill with its span), .FilePolarity and .SameCoordinates (the job's
// name). Only .SameCoordinates for layers X2 has no function for.
std::vector<std::pair<std::string, std::string>> file_attributes(const Job& job, const std::string& layer);

// The layer as Gerber X2 text. False when some feature has no Gerber form;
// those are named in `reports` and left out.
bool write(const Layer& layer, const UserSymbols& symbols, const WriteOptions& options, std::string& text,
           Reports& reports);

} // namespace gerber

namespace excellon {

struct ReadOptions {
    std::string file_name;
    KESTO::API::file_Parameters defaults; // used where the file is silent
};

// Reads an Excellon drill or rout file into `layer`: pads and slots with round
// symbols, the tool table in Layer::tools, plating as the .drill attribute.
bool read(const std::string& text, const ReadOptions& options, Layer& layer, Reports& reports);

struct WriteOptions {
    bool inch = false;
    int integer_digits = 3;
    int decimal_digits = 3;
    std::string zeroes_omitted = "leading"; // "leading", "trailing", "none" (with a decimal point)
    // Drill film compensation: coordinates scaled about the anchor (nm).
    double x_scale = 1, y_scale = 1;
    Point anchor;
    // The drilling sequence: tool numbers of the layer's tool table, drilled
    // first and in this order; the other tools follow by size, smallest first
    // unless `descending`.
    std::vector<int> tool_order;
    bool descending = false;
    // Counts the layer's features as they are written, for a progress bar.
    std::atomic<long long>* written = nullptr;
};

bool write(const Layer& layer, const WriteOptions& options, std::string& text, Reports& reports);

} // namespace excellon

// Writes `text` to `path` beside it first, then renames, so a failed save
// leaves any old file whole.
bool save_text(const std::string& path, const std::string& text, Reports& reports);

} // namespace kesto

namespace KESTO {
namespace API {

// A time of day; JSON {"iHour", "iMinute", "iSecond"}.
struct time {
    std::int32_t iHour = 0;
    std::int32_t iMinute = 0;
    std::int32_t iSecond = 0;
};

// Before a series of translations into a job: false when the job is not open.
bool file_translate_init(const std::string& job);

// Reads the Gerber or Excellon file at `path` into `layer` of `step`,
// replacing the layer's features; a layer the matrix lacks gets a new row
// (its type from the file's X2 file function, DRILL or ROUT for Excellon,
// else a DOCUMENT layer of the MISC context). Parameters with format "None"
// or empty are found by identification first. RS-274-D takes its aperture
// list from a file beside it with the same stem and the extension .apr,
// .apt, .lst, .rep or .txt. `dcodes` receives each D code (tool number for
// Excellon) with the index of its symbol in the layer. The times are when
// the translation started and ended. True when the file read without errors.
bool file_translate(const std::string& path, const std::string& job, const std::string& step, const std::string& layer,
                    const file_Parameters& parameters, time& start_time, time& end_time, std::map<int, int>& dcodes,
                    std::vector<translate_report>& reports);

// The tool table of a drill layer with the number of holes of each tool.
// `show_type` chooses nothing here: every row is given.
bool get_drill_info(const std::string& job, const std::string& step, const std::string& layer,
                    std::vector<drill_tools_info>& tools, int show_type);

// Replaces the tool table. A changed drill size moves the tool's holes to the
// round symbol of the new size; a changed type re-marks their .drill
// attribute. The via type (eViaType) is not taken: each tool keeps its own.
bool set_drill_info(const std::string& job, const std::string& step, const std::string& layer,
                    const std::vector<drill_tools_info>& tools);

// Shapes a layer of the job in place (undo keeps the old one). False with
// reports when the layer is missing or the shaping could not be done.
bool shape_layer(const std::string& job, const std::string& step, const std::string& layer,
                 const kesto::edit::OutputShaping& shaping, std::vector<translate_report>& reports);

// Writes a layer as Gerber X2 or as Excellon at `path` (atomically), shaped
// on the way out when `shaping` asks for it (the job's layer is not changed).
// False with reports when the layer is missing, a feature could not be
// written (the rest is written), the shaping could not be done or the file
// could not be saved.
bool export_gerber(const std::string& job, const std::string& step, const std::string& layer, const std::string& path,
                   const kesto::gerber::WriteOptions& options, std::vector<translate_report>& reports,
                   const kesto::edit::OutputShaping& shaping = {});
bool export_excellon(const std::string& job, const std::string& step, const std::string& layer, const std::string& path,
                     const kesto::excellon::WriteOptions& options, std::vector<translate_report>& reports,
                     const kesto::edit::OutputShaping& shaping = {});

} // namespace API
} // namespace KESTO
