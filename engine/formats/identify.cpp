#include "engine/formats/identify.h"
#include "engine/model/text.h"

#include <archive.h>
#include <archive_entry.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

namespace kesto::formats {

namespace {

using KESTO::API::file_Parameters;

constexpr std::size_t kHeadBytes = 1 << 20; // enough coordinates to guess a number format

bool has(const std::string& s, const char* what) { return s.find(what) != std::string::npos; }


bool binary(const std::string& head)
{
    const std::size_t n = std::min<std::size_t>(head.size(), 4096);
    std::size_t odd = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const unsigned char c = static_cast<unsigned char>(head[i]);
        if (c == 0) return true;
        if (c < 9 || (c > 13 && c < 32)) ++odd;
    }
    return odd * 20 > n;
}

// The digits of the coordinates after X and Y that carry no decimal point:
// their longest length, and how many start or end with a zero.
struct DigitStats {
    int longest = 0, shortest = 99, count = 0, leading_zero = 0, trailing_zero = 0, with_point = 0;
};

DigitStats coordinate_digits(const std::string& s)
{
    DigitStats d;
    for (std::size_t i = 0; i + 1 < s.size(); ++i) {
        if (s[i] != 'X' && s[i] != 'Y') continue;
        std::size_t j = i + 1;
        if (j < s.size() && (s[j] == '-' || s[j] == '+')) ++j;
        const std::size_t start = j;
        bool point = false;
        for (; j < s.size() && (std::isdigit(static_cast<unsigned char>(s[j])) || s[j] == '.'); ++j)
            if (s[j] == '.') point = true;
        if (j == start) continue;
        if (point) {
            ++d.with_point;
            continue;
        }
        const int len = int(j - start);
        ++d.count;
        d.longest = std::max(d.longest, len);
        d.shortest = std::min(d.shortest, len);
        if (len > 1 && s[start] == '0') ++d.leading_zero;
        if (len > 1 && s[j - 1] == '0') ++d.trailing_zero;
        i = j - 1;
    }
    return d;
}

// Where a file does not say, the zeros and number format a CAM tool would
// assume from the coordinates it sees.
void guess_numbers(file_Parameters& p, const DigitStats& d, bool excellon)
{
    if (d.with_point > d.count) {
        p.Decimal_numbers = true;
        p.zeroes_omitted = "none";
    } else if (p.zeroes_omitted.empty()) {
        if (d.count && d.shortest == d.longest && d.leading_zero > 0) p.zeroes_omitted = "none";
        else if (d.leading_zero > d.trailing_zero) p.zeroes_omitted = "trailing";
        else p.zeroes_omitted = "leading";
    }
    if (p.Number_format_integer == 0 && p.Number_format_decimal == 0) {
        const bool mm = p.units == "mm";
        p.Number_format_integer = mm ? 3 : 2;
        p.Number_format_decimal = mm ? 3 : 4;
        // Longer numbers than the usual format hold mean more decimals.
        const int longest = d.longest;
        if (!excellon && longest > p.Number_format_integer + p.Number_format_decimal)
            p.Number_format_decimal = std::min(7, longest - p.Number_format_integer);
        if (p.zeroes_omitted == "none" && longest > 0 && !p.Decimal_numbers)
            p.Number_format_decimal = std::max(1, longest - p.Number_format_integer);
    }
}

void gerber_parameters(file_Parameters& p, const std::string& s, bool extended)
{
    p.separator_char = "*";
    const std::size_t fs = s.find("%FS");
    if (fs != std::string::npos) {
        std::size_t i = fs + 3;
        if (i < s.size() && (s[i] == 'L' || s[i] == 'T' || s[i] == 'D')) {
            p.zeroes_omitted = s[i] == 'L' ? "leading" : s[i] == 'T' ? "trailing" : "none";
            ++i;
        }
        if (i < s.size() && (s[i] == 'A' || s[i] == 'I')) p.Coordinates = s[i++] == 'A' ? "absolute" : "incremental";
        const std::size_t x = s.find('X', i);
        if (x != std::string::npos && x + 2 < s.size() && std::isdigit(static_cast<unsigned char>(s[x + 1])) &&
            std::isdigit(static_cast<unsigned char>(s[x + 2]))) {
            p.Number_format_integer = s[x + 1] - '0';
            p.Number_format_decimal = s[x + 2] - '0';
        }
    }
    if (has(s, "%MOMM")) p.units = "mm";
    else if (has(s, "%MOIN")) p.units = "inch";
    else if (has(s, "G71")) p.units = "mm";
    else if (has(s, "G70")) p.units = "inch";
    if (p.Coordinates.empty()) p.Coordinates = has(s, "G91") ? "incremental" : "absolute";
    if (p.units.empty()) p.units = "inch"; // what photoplotters assumed
    if (!extended || fs == std::string::npos) guess_numbers(p, coordinate_digits(s), false);
    if (p.zeroes_omitted.empty()) p.zeroes_omitted = "leading";
    p.tool_units = p.units;
}

void excellon_parameters(file_Parameters& p, const std::string& s)
{
    const std::string u = upper(s);
    p.separator_char = "\n";
    p.data_type = has(u, "G00") || has(u, "M15") || has(u, "G01") ? "rout" : "drill";
    const std::size_t metric = u.find("METRIC"), inch = u.find("INCH");
    if (metric != std::string::npos || has(u, "M71")) p.units = "mm";
    else p.units = "inch";
    const std::size_t units = metric != std::string::npos ? metric : inch;
    if (units != std::string::npos) {
        const std::size_t end = u.find('\n', units);
        const std::string row = u.substr(units, end == std::string::npos ? std::string::npos : end - units);
        if (has(row, ",LZ")) p.zeroes_omitted = "trailing";
        else if (has(row, ",TZ")) p.zeroes_omitted = "leading";
        const std::size_t point = row.find('.');
        if (point != std::string::npos && point > 0 && row[point - 1] == '0') {
            std::size_t a = point, b = point + 1;
            while (a > 0 && row[a - 1] == '0') --a;
            while (b < row.size() && row[b] == '0') ++b;
            p.Number_format_integer = int(point - a);
            p.Number_format_decimal = int(b - point - 1);
        }
    }
    const std::size_t format = u.find("FILE_FORMAT=");
    if (format != std::string::npos) std::sscanf(u.c_str() + format + 12, "%d:%d", &p.Number_format_integer, &p.Number_format_decimal);
    p.Coordinates = has(u, "G91") || has(u, "ICI,ON") ? "incremental" : "absolute";
    // The tool table is in the file's units unless a comment says otherwise.
    p.tool_units = p.units;
    guess_numbers(p, coordinate_digits(u), true);
}

bool looks_excellon(const std::string& s)
{
    const std::string u = upper(s.substr(0, 65536));
    if (has(u, "%FS") || has(u, "%AD")) return false;
    if (u.rfind("M48", 0) == 0 || has(u, "\nM48") || has(u, "\r\nM48")) return true;
    // Headerless drill files: tool selections and bare coordinate rows, ending in M30.
    const bool tools = has(u, "\nT1\n") || has(u, "\nT01\n") || has(u, "\nT1\r") || has(u, "\nT01\r") || has(u, "T1C") || has(u, "T01C");
    return tools && (has(u, "M30") || has(u, "\nX"));
}

bool looks_rs274d(const std::string& s)
{
    // Words ending in '*' with D codes and coordinates, and no extended commands.
    int words = 0, coordinates = 0, dcodes = 0;
    for (std::size_t i = 0; i < s.size() && i < 65536; ++i) {
        const char c = s[i];
        if (s.compare(i, 3, "G04") == 0) { // a comment may hold anything up to its '*'
            const std::size_t end = s.find('*', i);
            if (end == std::string::npos) break;
            i = end;
            ++words;
            continue;
        }
        if (c == '*') ++words;
        else if ((c == 'X' || c == 'Y') && i + 1 < s.size() && (std::isdigit(static_cast<unsigned char>(s[i + 1])) || s[i + 1] == '-')) ++coordinates;
        else if (c == 'D' && i + 1 < s.size() && std::isdigit(static_cast<unsigned char>(s[i + 1]))) ++dcodes;
        else if (!(std::isalnum(static_cast<unsigned char>(c)) || std::isspace(static_cast<unsigned char>(c)) || c == '-' || c == '+' || c == '.'))
            return false;
    }
    return words >= 2 && coordinates >= 1 && dcodes >= 1;
}

bool archive_holds_job(const std::string& path)
{
    archive* a = archive_read_new();
    archive_read_support_filter_all(a);
    archive_read_support_format_all(a);
    bool found = false;
    if (archive_read_open_filename(a, path.c_str(), 1 << 16) == ARCHIVE_OK) {
        archive_entry* e = nullptr;
        for (int n = 0; n < 100000 && archive_read_next_header(a, &e) == ARCHIVE_OK; ++n) {
            const char* name = archive_entry_pathname(e);
            if (!name) continue;
            std::string s = name;
            for (char& c : s) c = char(std::tolower(static_cast<unsigned char>(c)));
            if (s == "matrix/matrix" || (s.size() > 14 && s.compare(s.size() - 14, 14, "/matrix/matrix") == 0)) {
                found = true;
                break;
            }
            archive_read_data_skip(a);
        }
    }
    archive_read_free(a);
    return found;
}

} // namespace

file_Parameters identify_text(const std::string& head)
{
    file_Parameters p;
    if (head.empty() || binary(head)) return p;
    const bool extended = has(head, "%FS") || has(head, "%MO") || has(head, "%AD") || has(head, "%AM");
    if (extended) {
        p.format = "Gerber274x";
        p.data_type = has(head, "%TF") || has(head, "%TA") || has(head, "%TO") || has(head, "G04 #@! T") ? "image_x2" : "image";
        gerber_parameters(p, head, true);
    } else if (looks_excellon(head)) {
        p.format = "Excellon";
        excellon_parameters(p, head);
    } else if (looks_rs274d(head)) {
        p.format = "Gerber274D";
        p.data_type = "image";
        gerber_parameters(p, head, false);
    }
    return p;
}

file_Parameters identify_path(const std::string& path)
{
    file_Parameters p;
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) return p;
    if (S_ISDIR(st.st_mode)) {
        struct stat matrix {};
        if (::stat((path + "/matrix/matrix").c_str(), &matrix) == 0 && S_ISREG(matrix.st_mode)) {
            p.format = "ODB++";
            p.data_type = "job_directory";
        }
        return p;
    }
    if (!S_ISREG(st.st_mode)) return p;
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return p;
    std::string head(kHeadBytes, '\0');
    head.resize(std::fread(&head[0], 1, head.size(), f));
    std::fclose(f);
    const bool packed = head.size() > 4 && ((unsigned char)head[0] == 0x1f && (unsigned char)head[1] == 0x8b);
    const bool zip = head.size() > 4 && head.compare(0, 4, "PK\x03\x04") == 0;
    const bool tar = head.size() > 262 && head.compare(257, 5, "ustar") == 0;
    if ((packed || zip || tar) && archive_holds_job(path)) {
        p.format = "ODB++";
        p.data_type = "job_archive";
    } else if (!packed && !zip) {
        p = identify_text(head);
    }
    p.file_size = double(st.st_size);
    return p;
}

} // namespace kesto::formats

namespace KESTO::API {

bool file_identify(const std::string& pathname, std::string& name, file_Parameters& parameters, std::string& format)
{
    std::string trimmed = pathname;
    while (trimmed.size() > 1 && trimmed.back() == '/') trimmed.pop_back();
    const std::size_t slash = trimmed.find_last_of('/');
    name = slash == std::string::npos ? trimmed : trimmed.substr(slash + 1);
    parameters = kesto::formats::identify_path(pathname);
    format = parameters.format;
    return format != "None";
}

} // namespace KESTO::API
