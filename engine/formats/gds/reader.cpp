#include "engine/formats/gds/reader.h"

#include <polyclipping/clipper.hpp>

#include <cmath>
#include <cstdint>
#include <functional>
#include <map>
#include <set>

namespace kesto::gds {
namespace {

enum Record : int {
    kHeader = 0x00, kBgnLib = 0x01, kUnits = 0x03, kEndLib = 0x04, kBgnStr = 0x05, kStrName = 0x06,
    kEndStr = 0x07, kBoundary = 0x08, kPath = 0x09, kSref = 0x0A, kAref = 0x0B, kText = 0x0C,
    kWidth = 0x0F, kXy = 0x10, kEndEl = 0x11, kSname = 0x12, kColRow = 0x13, kNode = 0x15,
    kStrans = 0x1A, kMag = 0x1B, kAngle = 0x1C, kPathType = 0x21, kBox = 0x2D,
};

struct Element {
    int kind = 0;
    std::vector<std::pair<double, double>> xy; // database units
    double width = 0;
    int path_type = 0;
    std::string sname;
    bool reflect = false;
    double mag = 1, angle = 0;
    int columns = 1, rows = 1;
};

struct Structure {
    std::vector<Element> elements;
};

// An excess-64, base-16 real of eight bytes.
double real8(const unsigned char* p)
{
    const int sign = p[0] & 0x80 ? -1 : 1;
    const int exponent = (p[0] & 0x7f) - 64;
    std::uint64_t mantissa = 0;
    for (int i = 1; i < 8; ++i) mantissa = (mantissa << 8) | p[i];
    return sign * double(mantissa) / 72057594037927936.0 * std::pow(16.0, exponent); // 2^56
}

std::int32_t int4(const unsigned char* p)
{
    return std::int32_t(std::uint32_t(p[0]) << 24 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 8 | p[3]);
}
std::int16_t int2(const unsigned char* p) { return std::int16_t(std::uint16_t(p[0]) << 8 | p[1]); }

std::string text_of(const unsigned char* p, std::size_t n)
{
    std::string s(reinterpret_cast<const char*>(p), n);
    while (!s.empty() && s.back() == '\0') s.pop_back();
    return s;
}

// x' = a x + b y + c, y' = d x + e y + f
struct Affine {
    double a = 1, b = 0, c = 0, d = 0, e = 1, f = 0;
    std::pair<double, double> operator()(double x, double y) const { return {a * x + b * y + c, d * x + e * y + f}; }
    Affine then(const Affine& outer) const
    {
        return {outer.a * a + outer.b * d, outer.a * b + outer.b * e, outer.a * c + outer.b * f + outer.c,
                outer.d * a + outer.e * d, outer.d * b + outer.e * e, outer.d * c + outer.e * f + outer.f};
    }
};

// Reflection about x first, then magnification and rotation, then the move.
Affine placement(const Element& e, double x, double y)
{
    const double r = e.angle * 3.14159265358979323846 / 180, m = e.mag;
    const double s = e.reflect ? -1 : 1;
    return {m * std::cos(r), -m * std::sin(r) * s, x, m * std::sin(r), m * std::cos(r) * s, y};
}

} // namespace

bool read(const std::string& bytes, Drawing& out, std::string& error)
{
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    std::map<std::string, Structure> structures;
    std::vector<std::string> order;
    Structure* current = nullptr;
    Element element;
    bool in_element = false, header = false, ended = false;
    double nm_per_unit = 0;
    std::size_t texts = 0, custom_ends = 0;
    for (std::size_t at = 0; at + 4 <= bytes.size() && !ended;) {
        const std::size_t length = std::size_t(data[at]) << 8 | data[at + 1];
        if (length == 0 && at > 0) break; // padding after the library's end
        if (length < 4 || at + length > bytes.size()) {
            error = "record at byte " + std::to_string(at) + " runs past the end of the file";
            return false;
        }
        const int type = data[at + 2];
        const unsigned char* body = data + at + 4;
        const std::size_t n = length - 4;
        if (!header && type != kHeader) {
            error = "not a GDSII stream (it does not open with a HEADER record)";
            return false;
        }
        switch (type) {
        case kHeader: header = true; break;
        case kUnits:
            if (n < 16) break;
            nm_per_unit = real8(body + 8) * 1e9;
            break;
        case kBgnStr: in_element = false; break;
        case kStrName:
            order.push_back(text_of(body, n));
            current = &structures[order.back()];
            break;
        case kEndStr: current = nullptr; break;
        case kBoundary: case kPath: case kSref: case kAref: case kText: case kBox: case kNode:
            element = Element{};
            element.kind = type;
            in_element = true;
            break;
        case kXy:
            for (std::size_t i = 0; i + 8 <= n; i += 8) element.xy.emplace_back(int4(body + i), int4(body + i + 4));
            break;
        case kWidth: if (n >= 4) element.width = std::abs(double(int4(body))); break;
        case kPathType: if (n >= 2) element.path_type = int2(body); break;
        case kSname: element.sname = text_of(body, n); break;
        case kStrans: if (n >= 2) element.reflect = (body[0] & 0x80) != 0; break;
        case kMag: if (n >= 8) element.mag = real8(body); break;
        case kAngle: if (n >= 8) element.angle = real8(body); break;
        case kColRow:
            if (n >= 4) {
                element.columns = std::max<int>(1, int2(body));
                element.rows = std::max<int>(1, int2(body + 2));
            }
            break;
        case kEndEl:
            if (in_element && current) current->elements.push_back(std::move(element));
            in_element = false;
            break;
        case kEndLib: ended = true; break;
        default: break;
        }
        at += length;
    }
    if (!header) {
        error = "not a GDSII stream (empty)";
        return false;
    }
    if (!ended) {
        error = "the stream ends before the library's end (ENDLIB): the file is cut short";
        return false;
    }
    if (!(nm_per_unit > 0)) {
        error = "no UNITS record: the size of a database unit is unknown";
        return false;
    }

    std::set<std::string> referenced;
    for (const auto& [name, s] : structures)
        for (const Element& e : s.elements)
            if (e.kind == kSref || e.kind == kAref) referenced.insert(e.sname);
    std::set<std::string> missing;
    std::function<void(const Structure&, const Affine&, int)> emit = [&](const Structure& s, const Affine& to_nm, int depth) {
        if (depth > 64) {
            out.notes.push_back("references nested deeper than 64 levels (a cycle?) left out");
            return;
        }
        for (const Element& e : s.elements) {
            if (e.kind == kText) {
                ++texts;
                continue;
            }
            if (e.kind == kSref || e.kind == kAref) {
                auto child = structures.find(e.sname);
                if (child == structures.end()) {
                    missing.insert(e.sname);
                    continue;
                }
                if (e.xy.empty()) continue;
                const auto [x0, y0] = e.xy[0];
                const int columns = e.kind == kAref ? e.columns : 1, rows = e.kind == kAref ? e.rows : 1;
                double cx = 0, cy = 0, rx = 0, ry = 0;
                if (e.kind == kAref && e.xy.size() >= 3) {
                    cx = (e.xy[1].first - x0) / columns, cy = (e.xy[1].second - y0) / columns;
                    rx = (e.xy[2].first - x0) / rows, ry = (e.xy[2].second - y0) / rows;
                }
                for (int c = 0; c < columns; ++c)
                    for (int r = 0; r < rows; ++r)
                        emit(child->second, placement(e, x0 + c * cx + r * rx, y0 + c * cy + r * ry).then(to_nm), depth + 1);
                continue;
            }
            if (e.kind != kBoundary && e.kind != kBox && e.kind != kPath) continue;
            ClipperLib::Path path;
            for (const auto& [x, y] : e.xy) {
                const auto [px, py] = to_nm(x, y);
                path.push_back({ClipperLib::cInt(std::llround(px)), ClipperLib::cInt(std::llround(py))});
            }
            geom::Paths shape;
            if (e.kind == kPath) {
                // The width scales with the placement (its magnification).
                const double scale = std::hypot(to_nm.a, to_nm.d);
                const double half = e.width * scale / 2;
                if (half <= 0 || path.empty()) {
                    out.notes.push_back("a path without width left out");
                    continue;
                }
                if (e.path_type == 4) ++custom_ends;
                ClipperLib::ClipperOffset offset(4.0, 250.0); // GDSII paths meet in mitres
                offset.AddPath(path, ClipperLib::jtMiter,
                               e.path_type == 1 ? ClipperLib::etOpenRound
                               : e.path_type == 2 ? ClipperLib::etOpenSquare
                                                  : ClipperLib::etOpenButt);
                offset.Execute(shape, half);
            } else {
                if (path.size() > 1 && path.front() == path.back()) path.pop_back();
                if (path.size() < 3) continue;
                ClipperLib::SimplifyPolygon(path, shape, ClipperLib::pftNonZero);
            }
            for (auto& p : shape)
                if (!ClipperLib::Orientation(p) && shape.size() == 1) ClipperLib::ReversePath(p);
            if (!shape.empty()) out.shapes.push_back(std::move(shape));
        }
    };
    Affine units;
    units.a = units.e = nm_per_unit;
    for (const std::string& name : order)
        if (!referenced.count(name)) emit(structures[name], units, 0);
    for (const std::string& name : missing) out.notes.push_back("reference to structure " + name + ", which the file lacks, left out");
    if (texts) out.notes.push_back(std::to_string(texts) + " texts left out (GDSII texts are labels, not artwork)");
    if (custom_ends) out.notes.push_back(std::to_string(custom_ends) + " paths with custom end extensions drawn with flush ends");
    return true;
}

} // namespace kesto::gds
