#include "engine/render/png_file.h"

#include <glog/logging.h>
#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstdio>
#include <memory>
#include <unistd.h>
#include <vector>

namespace kesto::render {
namespace {

// Up to 256 distinct colours in first-seen order, found through a small open
// hash; `full` once a 257th appears.
struct Palette {
    static constexpr int kSlots = 1024;
    std::array<std::uint32_t, kSlots> key{};
    std::array<std::int16_t, kSlots> index{};
    std::vector<std::uint32_t> colours;
    bool full = false;

    Palette() { index.fill(-1); }

    // The colour's entry, added if new; -1 when the palette is full.
    int find(std::uint32_t c)
    {
        std::uint32_t h = (c * 2654435761u) >> 22; // 10 bits
        for (;; h = (h + 1) & (kSlots - 1)) {
            if (index[h] < 0) {
                if (colours.size() == 256) {
                    full = true;
                    return -1;
                }
                key[h] = c;
                index[h] = std::int16_t(colours.size());
                colours.push_back(c);
                return index[h];
            }
            if (key[h] == c) return index[h];
        }
    }
};

const std::uint32_t* row_of(const unsigned char* pixels, int stride, int y)
{
    return reinterpret_cast<const std::uint32_t*>(pixels + std::size_t(y) * stride);
}

// Straight (not premultiplied) 8-bit channel.
unsigned char unpremultiply(std::uint32_t c, int shift)
{
    const unsigned a = c >> 24, v = (c >> shift) & 0xff;
    return a == 0 ? 0 : static_cast<unsigned char>((v * 255 + a / 2) / a);
}

struct Writer {
    png_structp png = nullptr;
    png_infop info = nullptr;
    ~Writer() { png_destroy_write_struct(&png, &info); }
};

void on_error(png_structp png, png_const_charp message)
{
    LOG(ERROR) << "PNG writer: " << message;
    png_longjmp(png, 1);
}
void on_warning(png_structp, png_const_charp) {}

bool encode(FILE* file, const unsigned char* pixels, int width, int height, int stride)
{
    // What the picture needs: one pass over it, stopping early once it has
    // more colours than a palette holds.
    Palette palette;
    bool grey = true, opaque = true;
    // (Every value is a colour, opaque white included, so the "last seen"
    // shortcuts start from a real pixel, never from a marker value.)
    std::uint32_t last = pixels ? row_of(pixels, stride, 0)[0] : 0;
    palette.find(last);
    for (int y = 0; y < height && !palette.full; ++y) {
        const std::uint32_t* row = row_of(pixels, stride, y);
        for (int x = 0; x < width; ++x) {
            const std::uint32_t c = row[x];
            if (c == last) continue;
            last = c;
            if (palette.find(c) < 0) break;
        }
    }
    for (std::uint32_t c : palette.colours) {
        opaque = opaque && (c >> 24) == 0xff;
        grey = grey && ((c >> 16) & 0xff) == ((c >> 8) & 0xff) && ((c >> 8) & 0xff) == (c & 0xff);
    }
    if (palette.full) { // true colour: whether any pixel is see-through decides RGB or RGBA
        for (int y = 0; y < height && opaque; ++y) {
            const std::uint32_t* row = row_of(pixels, stride, y);
            for (int x = 0; x < width; ++x)
                if ((row[x] >> 24) != 0xff) {
                    opaque = false;
                    break;
                }
        }
        grey = false;
    }

    struct Form {
        int colour_type, depth, channels;
    };
    const Form form = [&]() -> Form {
        const std::size_t n = palette.colours.size();
        // Few colours: a packed palette is both the smallest and the fastest.
        if (!palette.full && n <= 16) return {PNG_COLOR_TYPE_PALETTE, n <= 2 ? 1 : n <= 4 ? 2 : 4, 1};
        if (!palette.full && grey && opaque) return {PNG_COLOR_TYPE_GRAY, 8, 1};
        if (!palette.full) return {PNG_COLOR_TYPE_PALETTE, 8, 1};
        return opaque ? Form{PNG_COLOR_TYPE_RGB, 8, 3} : Form{PNG_COLOR_TYPE_RGB_ALPHA, 8, 4};
    }();
    const int colour_type = form.colour_type, depth = form.depth, channels = form.channels;
    const bool see_through = !opaque;

    Writer w;
    w.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, on_error, on_warning);
    if (!w.png) return false;
    w.info = png_create_info_struct(w.png);
    if (!w.info) return false;
    std::vector<unsigned char> line(std::size_t(width) * channels + 1);
    if (setjmp(png_jmpbuf(w.png))) return false;

    png_init_io(w.png, file);
    png_set_IHDR(w.png, w.info, png_uint_32(width), png_uint_32(height), depth, colour_type, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    // Flat pictures: runs of equal bytes are what there is to find, and no
    // filter keeps them runs. True colour (several layers blended) repeats
    // more down the columns, which the cheap "up" filter turns into zeros.
    const bool true_colour = channels > 1;
    png_set_filter(w.png, PNG_FILTER_TYPE_BASE, true_colour ? PNG_FILTER_UP : PNG_FILTER_NONE);
    png_set_compression_level(w.png, 1);
    png_set_compression_strategy(w.png, true_colour ? Z_DEFAULT_STRATEGY : Z_RLE);
    if (colour_type == PNG_COLOR_TYPE_PALETTE) {
        std::vector<png_color> entries;
        std::vector<png_byte> alphas;
        for (std::uint32_t c : palette.colours) {
            entries.push_back(png_color{unpremultiply(c, 16), unpremultiply(c, 8), unpremultiply(c, 0)});
            alphas.push_back(png_byte(c >> 24));
        }
        png_set_PLTE(w.png, w.info, entries.data(), int(entries.size()));
        if (see_through) png_set_tRNS(w.png, w.info, alphas.data(), int(alphas.size()), nullptr);
    }
    png_write_info(w.png, w.info);

    for (int y = 0; y < height; ++y) {
        const std::uint32_t* row = row_of(pixels, stride, y);
        unsigned char* out = line.data();
        if (colour_type == PNG_COLOR_TYPE_PALETTE) {
            const int per_byte = 8 / depth;
            std::uint32_t last_colour = row[0];
            int last_index = palette.find(row[0]);
            std::fill(line.begin(), line.end(), 0);
            for (int x = 0; x < width; ++x) {
                if (row[x] != last_colour) {
                    last_colour = row[x];
                    last_index = palette.find(row[x]);
                }
                const int slot = x % per_byte;
                out[x / per_byte] |= static_cast<unsigned char>(last_index << (8 - depth * (slot + 1)));
            }
        } else if (colour_type == PNG_COLOR_TYPE_GRAY) {
            for (int x = 0; x < width; ++x) out[x] = static_cast<unsigned char>(row[x] & 0xff);
        } else if (!see_through) {
            for (int x = 0; x < width; ++x) {
                out[3 * x] = static_cast<unsigned char>(row[x] >> 16);
                out[3 * x + 1] = static_cast<unsigned char>(row[x] >> 8);
                out[3 * x + 2] = static_cast<unsigned char>(row[x]);
            }
        } else {
            for (int x = 0; x < width; ++x) {
                out[4 * x] = unpremultiply(row[x], 16);
                out[4 * x + 1] = unpremultiply(row[x], 8);
                out[4 * x + 2] = unpremultiply(row[x], 0);
                out[4 * x + 3] = static_cast<unsigned char>(row[x] >> 24);
            }
        }
        png_write_row(w.png, out);
    }
    png_write_end(w.png, nullptr);
    return true;
}

} // namespace

bool write_png(const unsigned char* pixels, int width, int height, int stride, const std::string& path)
{
    if (!pixels || width <= 0 || height <= 0) return false;
    const std::string part = path + ".part";
    FILE* file = std::fopen(part.c_str(), "wb");
    if (!file) {
        LOG(ERROR) << "cannot write " << path << ": cannot create the file";
        return false;
    }
    const bool encoded = encode(file, pixels, width, height, stride);
    const bool closed = std::fclose(file) == 0;
    if (!encoded || !closed || std::rename(part.c_str(), path.c_str()) != 0) {
        LOG(ERROR) << "cannot write " << path;
        ::unlink(part.c_str());
        return false;
    }
    return true;
}

} // namespace kesto::render
