// gerbv as a second opinion: its picture of a file, and how far two pictures agree.
#pragma once
#include <cairo.h>
#include <unistd.h>

#include <cstdint>
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

inline double agreement(const std::string& a, const std::string& b)
{
    cairo_surface_t* x = cairo_image_surface_create_from_png(a.c_str());
    cairo_surface_t* y = cairo_image_surface_create_from_png(b.c_str());
    double same = -1;
    if (cairo_surface_status(x) == CAIRO_STATUS_SUCCESS && cairo_surface_status(y) == CAIRO_STATUS_SUCCESS &&
        cairo_image_surface_get_width(x) == cairo_image_surface_get_width(y) &&
        cairo_image_surface_get_height(x) == cairo_image_surface_get_height(y)) {
        const int w = cairo_image_surface_get_width(x), h = cairo_image_surface_get_height(x);
        long equal = 0;
        for (int r = 0; r < h; ++r) {
            const auto* p = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(x) + r * cairo_image_surface_get_stride(x));
            const auto* q = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(y) + r * cairo_image_surface_get_stride(y));
            for (int c = 0; c < w; ++c) equal += ((p[c] >> 8) & 0xff) > 127 == ((q[c] >> 8) & 0xff) > 127;
        }
        same = double(equal) / (double(w) * h);
    }
    cairo_surface_destroy(x);
    cairo_surface_destroy(y);
    return same;
}

} // namespace kesto
