// gerbv as a second opinion: its picture of a file, and how far two pictures agree.
#pragma once
#include <cairo.h>
#include <unistd.h>

#include <cstdint>
#include <algorithm>
#include <cstdlib>
#include <string>

namespace kesto {

inline bool have_gerbv() { return access("/usr/bin/gerbv", X_OK) == 0; }

// gerbv's picture of a file: white where exposed, 400 dpi over a fixed 3-inch window.
inline bool gerbv_png(const std::string& gerber, const std::string& png)
{
    const std::string command = "/usr/bin/gerbv -x png -B 0 --dpi=400 --origin=-1.5x-1.5 --window_inch=3x3 -b '#000000' "
                                "-f '#FFFFFFFF' -o '" + png + "' '" + gerber + "' >/dev/null 2>&1";
    return std::system(command.c_str()) == 0;
}

// The share of pixels on which two pictures agree, lit being a green channel
// above half: strictly, and with slack, where a pixel that differs still
// agrees when each picture has the other's value within one pixel of it (the
// two then differ only by where an edge falls between neighbouring pixels).
// Both from one reading of each picture; -1 when they cannot be compared.
struct Agreement {
    double strict = -1, within = -1;
};

inline Agreement agreements(const std::string& a, const std::string& b)
{
    cairo_surface_t* x = cairo_image_surface_create_from_png(a.c_str());
    cairo_surface_t* y = cairo_image_surface_create_from_png(b.c_str());
    Agreement out;
    if (cairo_surface_status(x) == CAIRO_STATUS_SUCCESS && cairo_surface_status(y) == CAIRO_STATUS_SUCCESS &&
        cairo_image_surface_get_width(x) == cairo_image_surface_get_width(y) &&
        cairo_image_surface_get_height(x) == cairo_image_surface_get_height(y)) {
        const int w = cairo_image_surface_get_width(x), h = cairo_image_surface_get_height(x);
        auto lit = [](cairo_surface_t* s, int r, int c) {
            const auto* row = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(s) + r * cairo_image_surface_get_stride(s));
            return ((row[c] >> 8) & 0xff) > 127;
        };
        auto near = [&](cairo_surface_t* s, int r, int c, bool value) {
            for (int i = std::max(r - 1, 0); i <= std::min(r + 1, h - 1); ++i)
                for (int j = std::max(c - 1, 0); j <= std::min(c + 1, w - 1); ++j)
                    if (lit(s, i, j) == value) return true;
            return false;
        };
        long equal = 0, close = 0;
        for (int r = 0; r < h; ++r)
            for (int c = 0; c < w; ++c) {
                const bool p = lit(x, r, c), q = lit(y, r, c);
                if (p == q) ++equal, ++close;
                else close += near(y, r, c, p) && near(x, r, c, q);
            }
        out.strict = double(equal) / (double(w) * h);
        out.within = double(close) / (double(w) * h);
    }
    cairo_surface_destroy(x);
    cairo_surface_destroy(y);
    return out;
}

inline double agreement(const std::string& a, const std::string& b, bool slack = false)
{
    const Agreement both = agreements(a, b);
    return slack ? both.within : both.strict;
}

} // namespace kesto
